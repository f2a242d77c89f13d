#include "text/TextWriter.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "text/Community.h"
#include "text/MatchForms.h"
#include "text/NumberedLists.h"
#include "text/SetForms.h"
#include "text/SourceProtocol.h"

namespace Agent {

namespace {

constexpr size_t kTagsPerLine = 16;

std::string_view wordsOf( const CommunityListText & ) {
   return nameOf( ThingKind::communityList );
}
std::string_view wordsOf( const LargeCommunityListText & ) {
   return nameOf( ThingKind::largeCommunityList );
}
std::string_view wordsOf( const ExtCommunityListText & ) {
   return nameOf( ThingKind::extCommunityList );
}

// A community in a line of a list.
std::string inListLine( Community community ) {
   return communityText( community );
}
std::string inListLine( const LargeCommunity & community ) {
   return communityText( community );
}
std::string inListLine( ExtCommunity community ) {
   const auto [ kind, value ] = wordsOf( community );
   return fmt::format( "{} {}", kind, value );
}

template <class C>
std::string communitiesOf( const std::vector<C> & communities ) {
   std::string text;
   for( const C & community : communities ) text += ( text.empty() ? "" : " " ) + inListLine( community );
   return text;
}

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
      for( const auto & [ number, line ] : list.lines ) writeLine( head, number, line, writeContent );
   }
   template <class Line, class WriteContent>
   void writeLine( std::string_view head, uint32_t number, const Line & line, WriteContent writeContent ) {
      write( "{} seq {} {} ", head, number, stringValue( line.action ) );
      writeContent( line );
      write( "\n" );
   }

   void prefixList( AddressFamily af, const std::string & name, const PrefixListText & list );
   void accessList( AddressFamily af, const std::string & name, const AccessListText & list );
   void tagSet( const std::string & name, const TagSetText & set );
   template <class C>
   void communityList( const std::string & name, const CommunityListTextOf<C> & list );
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

bool isAny( const Ferule::IpGenAddrWithFullMask & source ) {
   return source.mask().none() && source.address().bits().none();
}

// "any", "host ADDRESS" or "ADDRESS WILDCARD".
std::string sourceText( const Ferule::IpGenAddrWithFullMask & source, Spelling::Way way ) {
   const auto address = source.address().toStrep();
   const bool isWildcard = way == Spelling::wildcard;
   if( !isWildcard && isAny( source ) ) return "any";
   if( !isWildcard && source.leadingOnesOfMask() == Ferule::addressBits( source.address().af() ) )
      return fmt::format( "host {}", address.view() );
   const Ferule::IpAddr wildcard( ~static_cast<uint32_t>( source.mask().high >> 32 ) );
   return fmt::format( "{} {}", address.view(), wildcard.toStrep().view() );
}

void Lines::prefixLine( const PrefixListLine & line ) {
   const AddressFamily af = line.prefix.af();
   if( line.prefix == Ferule::IpGenPrefix( Ferule::IpGenAddr( af ), 0 ) && !line.ge && line.le == Ferule::addressBits( af ) &&
       line.spelling.way == Spelling::usual )
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
   using Compares = AccessListLine::Compares;
   const auto & source = line.source;
   const unsigned length = source.leadingOnesOfMask();
   const bool isExact = line.compares == Compares::exact;
   const auto way = line.spelling.source();
   const bool isPrefixOfAll = line.compares == Compares::covering && way == Spelling::usual;
   const bool isHost = length == Ferule::addressBits( source.address().af() ) && line.compares == Compares::mask;
   const bool isPrefix = source.mask() == Ferule::Bits128::leadingOnes( length ) && line.compares != Compares::address && !isHost;
   if( line.netmask )
      write( "ip {} {}", sourceText( source, way ), sourceText( *line.netmask, line.spelling.netmask() ) );
   else if( isPrefix && way != Spelling::wildcard && ( isExact || !isAny( source ) || isPrefixOfAll ) )
      write( "{}/{}{}", source.address().toStrep().view(), length, isExact ? " exact-match" : "" );
   else
      write( "{}", sourceText( source, way ) );
}

// The lines that FRR would take for an earlier line of the list.
std::set<uint32_t> linesToReadFirst( const AccessListText & list ) {
   using Line = AccessListLine;
   const auto hasMoreWords = []( const auto & line ) { return line.second.netmask || line.second.compares == Line::Compares::exact; };
   if( std::ranges::none_of( list.lines, hasMoreWords ) ) return {};
   std::set<uint32_t> first;
   const ContentIndex<Line> index( list.lines );
   for( const auto & [ number, line ] : list.lines )
      if( const auto longer = index.findLonger( list.lines, line ); longer && *longer < number ) first.insert( number );
   return first;
}

void Lines::accessList( AddressFamily af, const std::string & name, const AccessListText & list ) {
   const auto head = fmt::format( "{}access-list {}", af == AddressFamily::ipv4 ? "" : "ipv6 ", name );
   if( !list.description.empty() ) write( "{} remark {}\n", head, list.description );
   const auto first = linesToReadFirst( list );
   const auto writeContent = [ this ]( const AccessListLine & line ) { accessLine( line ); };
   for( const uint32_t number : first ) writeLine( head, number, list.lines.at( number ), writeContent );
   for( const auto & [ number, line ] : list.lines )
      if( !first.contains( number ) ) writeLine( head, number, line, writeContent );
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

template <class C>
void Lines::communityList( const std::string & name, const CommunityListTextOf<C> & list ) {
   // A number tells the kind; FRR refuses both for a large community list.
   const bool isNumbered = std::is_same_v<C, LargeCommunity> && name.find_first_not_of( "0123456789" ) == name.npos;
   const std::string_view kind = isNumbered ? "" : list.expanded ? "expanded " : "standard ";
   writeList( fmt::format( "{} {}{}", wordsOf( list ), kind, name ), list, [ & ]( const CommunityListLineOf<C> & line ) {
      write( "{}", list.expanded ? line.expression : line.communities.empty() ? "internet" : communitiesOf( line.communities ) );
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

std::string operandText( const MatchForm & form, const MatchClause & clause ) {
   using Operand = MatchForm::Operand;
   if( clause.address ) return std::string( clause.address->toStrep().view() );
   switch( form.operand ) {
      case Operand::number: return std::to_string( clause.number );
      case Operand::protocol: return std::string( nameOf( SourceProtocol( clause.number ) ) );
      case Operand::keyword: return std::string( form.keywords[ clause.number ] );
      case Operand::invertibleName: return clause.name + ( clause.invert ? " invert" : "" );
      case Operand::none: return {};
      case Operand::comparedName:
         return clause.name + ( clause.number == 0 ? "" : fmt::format( " {}", wordOf( ListComparison( clause.number ) ) ) );
      case Operand::name:
      case Operand::nextHop:
      case Operand::peer:
      case Operand::text:
      case Operand::address: break;
   }
   return clause.name;
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
         for( const auto & [ name, list ] : text.largeCommunityLists ) lines.communityList( name, list );
         for( const auto & [ name, list ] : text.extCommunityLists ) lines.communityList( name, list );
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
template <class C>
std::string writeCommunityList( const std::string & name, const CommunityListTextOf<C> & list ) {
   return linesOf( [ & ]( Lines & lines ) { lines.communityList( name, list ); } );
}
template std::string writeCommunityList( const std::string &, const CommunityListText & );
template std::string writeCommunityList( const std::string &, const LargeCommunityListText & );
template std::string writeCommunityList( const std::string &, const ExtCommunityListText & );
std::string writeAsPathList( const std::string & name, const AsPathListText & list ) {
   return linesOf( [ & ]( Lines & lines ) { lines.asPathList( name, list ); } );
}
std::string writeRouteMap( const std::string & name, const RouteMapText & map, Dialect dialect ) {
   return linesOf( [ & ]( Lines & lines ) { lines.routeMap( name, map ); }, dialect );
}
std::string writeMatch( MatchOption option, const MatchClause & clause ) {
   const MatchForm * const form = matchForm( option );
   if( !form ) return {};
   const std::string operand = operandText( *form, clause );
   return fmt::format( "match {}{}{}", form->words, operand.empty() ? "" : " ", operand );
}

std::string writeSet( const SetClause & clause ) {
   const SetForm & form = setForm( clause.kind );
   const std::string operand = form.text( clause );
   return fmt::format( "{}{}{}", form.words, operand.empty() ? "" : " ", operand );
}

std::string writeSequence( const std::string & name, uint32_t number, const SequenceText & sequence, Dialect dialect ) {
   return linesOf( [ & ]( Lines & lines ) { lines.sequence( name, number, sequence ); }, dialect );
}

}   // namespace Agent
