#include "text/TextWriter.h"

#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "text/Community.h"
#include "text/MatchForms.h"
#include "text/SetForms.h"
#include "text/SourceProtocol.h"

namespace Agent {

namespace {

constexpr size_t kTagsPerLine = 16;

/// Collects the lines.
class Lines {
 public:
   explicit Lines( Dialect dialect = Dialect::native ) : dialect_( dialect ) {}
   template <class... Args>
   void write( fmt::format_string<Args...> format, const Args &... args ) {
      fmt::vformat_to( std::back_inserter( text_ ), fmt::string_view( format ), fmt::make_format_args( args... ) );
   }
   std::string take() { return std::move( text_ ); }

   template <class Line, class WriteContent>
   void writeList( std::string_view head, const ListText<Line> & list, WriteContent writeContent ) {
      for( const auto & [ number, line ] : list.lines ) {
         write( "{} seq {} {} ", head, number, stringValue( line.action ) );
         writeContent( line );
         write( "\n" );
      }
   }

   void prefixList( AddressFamily af, const std::string & name, const PrefixListText & list );
   void accessList( AddressFamily af, const std::string & name, const AccessListText & list );
   void tagSet( const std::string & name, const TagSetText & set );
   void communityList( const std::string & name, const CommunityListText & list );
   void asPathList( const std::string & name, const AsPathListText & list );
   void routeMap( const std::string & name, const RouteMapText & map );
   void sequence( const std::string & name, uint32_t number, const SequenceText & sequence );

 private:
   void prefixLine( const PrefixListLine & line );
   void accessLine( const AccessListLine & line );
   void match( MatchOption option, const MatchClause & clause );
   void set( const SetClauses & set );
   void continueTo( uint32_t target );

   const Dialect dialect_;
   std::string text_;
};

void Lines::prefixLine( const PrefixListLine & line ) {
   const AddressFamily af = line.prefix.af();
   if( line.prefix == Ferule::IpGenPrefix( Ferule::IpGenAddr( af ), 0 ) && !line.ge && line.le == Ferule::addressBits( af ) )
      return write( "any" );
   write( "{}", line.prefix.toStrep().view() );
   if( line.ge ) write( " ge {}", *line.ge );
   if( line.le ) write( " le {}", *line.le );
}

void Lines::prefixList( AddressFamily af, const std::string & name, const PrefixListText & list ) {
   const auto head = fmt::format( "{} prefix-list {}", af == AddressFamily::ipv4 ? "ip" : "ipv6", name );
   if( !list.description.empty() ) write( "{} description {}\n", head, list.description );
   writeList( head, list, [ this ]( const PrefixListLine & line ) { prefixLine( line ); } );
}

void Lines::accessLine( const AccessListLine & line ) {
   const auto & [ address, mask ] = std::pair( line.source.address(), line.source.mask() );
   const unsigned bits = Ferule::addressBits( address.af() );
   const unsigned length = line.source.leadingOnesOfMask();
   if( mask.none() && address.bits().none() )
      write( "any" );
   else if( mask != Ferule::Bits128::leadingOnes( length ) )
      write( "{} {}", address.toStrep().view(), Ferule::IpAddr( ~static_cast<uint32_t>( mask.high >> 32 ) ).toStrep().view() );
   else if( length == bits )
      write( "host {}", address.toStrep().view() );
   else
      write( "{}/{}", address.toStrep().view(), length );
}

void Lines::accessList( AddressFamily af, const std::string & name, const AccessListText & list ) {
   const auto head = fmt::format( "{}access-list {}", af == AddressFamily::ipv4 ? "" : "ipv6 ", name );
   if( !list.description.empty() ) write( "{} remark {}\n", head, list.description );
   writeList( head, list, [ this ]( const AccessListLine & line ) { accessLine( line ); } );
}

void Lines::tagSet( const std::string & name, const TagSetText & set ) {
   size_t onThisLine = 0;
   for( const uint32_t tag : set.tags ) {
      if( onThisLine == 0 ) write( "tag-set {}", name );
      write( " {}", tag );
      if( ++onThisLine == kTagsPerLine ) write( "\n" );
      onThisLine %= kTagsPerLine;
   }
   if( onThisLine != 0 ) write( "\n" );
}

void Lines::communityList( const std::string & name, const CommunityListText & list ) {
   writeList( fmt::format( "bgp community-list {} {}", list.expanded ? "expanded" : "standard", name ), list,
              [ & ]( const CommunityListLine & line ) {
                 if( list.expanded )
                    write( "{}", line.expression );
                 else if( line.communities.empty() )
                    write( "internet" );
                 else
                    write( "{}", communitiesText( line.communities ) );
              } );
}

void Lines::asPathList( const std::string & name, const AsPathListText & list ) {
   writeList( fmt::format( "bgp as-path access-list {}", name ), list,
              [ this ]( const AsPathListLine & line ) { write( "{}", line.expression ); } );
}

void Lines::match( MatchOption option, const MatchClause & clause ) {
   if( const std::string line = writeMatch( option, clause ); !line.empty() ) write( " {}\n", line );
}

void Lines::set( const SetClauses & set ) {
   for( const auto & clause : set ) write( " set {}\n", writeSet( clause ) );
}

void Lines::continueTo( uint32_t target ) {
   const bool isFrr = dialect_ == Dialect::frr;
   if( target == 0 ) return write( " {}\n", isFrr ? "on-match next" : "continue" );
   write( " {} {}\n", isFrr ? "on-match goto" : "continue", target );
}

void Lines::sequence( const std::string & name, uint32_t number, const SequenceText & sequence ) {
   write( "route-map {} {} {}\n", name, stringValue( sequence.action ), number );
   if( !sequence.description.empty() ) write( " description {}\n", sequence.description );
   for( const auto & [ option, clause ] : sequence.match ) match( option, clause );
   set( sequence.set );
   if( sequence.call ) write( " call {}{}\n", sequence.call->name, sequence.call->invert ? " invert" : "" );
   if( sequence.continueTo ) continueTo( sequence.continueTo->target );
}

void Lines::routeMap( const std::string & name, const RouteMapText & map ) {
   for( const auto & [ number, sequence ] : map.sequences ) this->sequence( name, number, sequence );
}

// The lines that `write` produces.
template <class Write>
std::string linesOf( Write write, Dialect dialect = Dialect::native ) {
   Lines lines( dialect );
   write( lines );
   return lines.take();
}

}   // namespace

std::string writeText( const PolicyText & text ) {
   return linesOf(
      [ & ]( Lines & lines ) {
         for( const auto & [ name, list ] : text.ipv4PrefixLists ) lines.prefixList( AddressFamily::ipv4, name, list );
         for( const auto & [ name, list ] : text.ipv6PrefixLists ) lines.prefixList( AddressFamily::ipv6, name, list );
         for( const auto & [ name, list ] : text.ipv4AccessLists ) lines.accessList( AddressFamily::ipv4, name, list );
         for( const auto & [ name, list ] : text.ipv6AccessLists ) lines.accessList( AddressFamily::ipv6, name, list );
         for( const auto & [ name, set ] : text.tagSets ) lines.tagSet( name, set );
         for( const auto & [ name, list ] : text.communityLists ) lines.communityList( name, list );
         for( const auto & [ name, list ] : text.asPathLists ) lines.asPathList( name, list );
         for( const auto & [ name, map ] : text.routeMaps ) lines.routeMap( name, map );
      },
      text.dialect );
}

std::string writePrefixList( AddressFamily af, const std::string & name, const PrefixListText & list ) {
   return linesOf( [ & ]( Lines & lines ) { lines.prefixList( af, name, list ); } );
}
std::string writeAccessList( AddressFamily af, const std::string & name, const AccessListText & list ) {
   return linesOf( [ & ]( Lines & lines ) { lines.accessList( af, name, list ); } );
}
std::string writeTagSet( const std::string & name, const TagSetText & set ) {
   return linesOf( [ & ]( Lines & lines ) { lines.tagSet( name, set ); } );
}
std::string writeCommunityList( const std::string & name, const CommunityListText & list ) {
   return linesOf( [ & ]( Lines & lines ) { lines.communityList( name, list ); } );
}
std::string writeAsPathList( const std::string & name, const AsPathListText & list ) {
   return linesOf( [ & ]( Lines & lines ) { lines.asPathList( name, list ); } );
}
std::string writeRouteMap( const std::string & name, const RouteMapText & map, Dialect dialect ) {
   return linesOf( [ & ]( Lines & lines ) { lines.routeMap( name, map ); }, dialect );
}
std::string writeMatch( MatchOption option, const MatchClause & clause ) {
   const MatchForm * const form = matchForm( option );
   if( !form ) return {};
   const auto line = [ & ]( const auto & operand, std::string_view behind = {} ) {
      return fmt::format( "match {} {}{}", form->words, operand, behind );
   };
   switch( form->operand ) {
      case MatchForm::Operand::invertibleName: return line( clause.name, clause.invert ? " invert" : "" );
      case MatchForm::Operand::nextHop:
         if( clause.address ) return line( clause.address->toStrep().view() );
         break;
      case MatchForm::Operand::number: return line( clause.number );
      case MatchForm::Operand::protocol: return line( nameOf( SourceProtocol( clause.number ) ) );
      case MatchForm::Operand::name: break;
   }
   return line( clause.name );
}

std::string writeSet( const SetClause & clause ) {
   const SetForm & form = setForm( clause.kind );
   return fmt::format( "{} {}", form.word, form.text( clause ) );
}

std::string writeSequence( const std::string & name, uint32_t number, const SequenceText & sequence, Dialect dialect ) {
   return linesOf( [ & ]( Lines & lines ) { lines.sequence( name, number, sequence ); }, dialect );
}

}   // namespace Agent
