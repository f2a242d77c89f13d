#include "text/ListLines.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "text/Operands.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

constexpr std::string_view kListName = "the name of a list";

// "NAME TEXT", or after "no" also "NAME": the description of a list. Its word has been taken already.
template <class List>
void describe( NumberedLists<List> & lists, const Token & name, LineCursor & line, bool no ) {
   if( no ) return lists.undescribe( name.text );
   lists.describe( name.text, line.takeRest( "a description" ).text, line.place() );
}

// The text of a list of one line.
std::string writeList( const PrefixListText & list ) {
   return writePrefixList( list.lines.begin()->second.prefix.af(), {}, list );
}
std::string writeList( const AccessListText & list ) {
   return writeAccessList( list.lines.begin()->second.source.address().af(), {}, list );
}
std::string writeList( CommunityListText list ) {
   list.expanded = !list.lines.begin()->second.expression.empty();
   return writeCommunityList( {}, list );
}
std::string writeList( const AsPathListText & list ) {
   return writeAsPathList( {}, list );
}

// "seq 5 permit 10.0.0.0/8".
template <class List>
std::string lineText( uint32_t number, const typename NumberedLists<List>::Line & line ) {
   List list;
   list.lines.emplace( number, line );
   const std::string text = writeList( list );
   const size_t start = text.find( "seq" );   // the name is empty
   return text.substr( start, text.size() - 1 - start );
}

// "NAME [seq N] permit|deny CONTENT"; after "no" also "NAME" and "NAME seq N". `describing` is the word before a description; empty if
// such lists have none.
template <class List, class ReadContent>
void edit( NumberedLists<List> & lists, Doubts & doubts, LineCursor & line, bool no, std::string_view describing,
           ReadContent readContent ) {
   const Token name = line.take( kListName );
   if( !describing.empty() && line.takeWords( describing ) ) return describe( lists, name, line, no );

   std::optional<uint32_t> number;
   if( line.takeWords( "seq" ) ) number = takeSequenceNumber( line );
   if( no && line.atEnd() ) return number ? lists.removeNumber( name.text, *number, std::nullopt ) : lists.remove( name.text );

   typename NumberedLists<List>::Line said;
   said.action = takeAction( line );
   said.place = line.place();
   readContent( line, said );
   line.expectEnd();

   if( no ) return number ? lists.removeNumber( name.text, *number, said ) : lists.removeLine( name.text, said );
   const Place place = said.place;
   const auto added = lists.add( name.text, number, std::move( said ) );
   if( !added.done )
      throw LineError{ name.column, fmt::format( "list {} has no number left for a line without \"seq\"", inQuotes( name.text ) ) };
   if( added.before && Doubts::isReplaced( added.before->place, place ) )
      doubts.replaced( fmt::format( "{} {}", lists.words(), name.text ), lineText<List>( *number, *added.before ), added.before->place,
                       lineText<List>( *number, lists.find( name.text )->lines.at( *number ) ), place );
}

struct Bound {
   std::string_view word;   // "ge" or "le"
   uint32_t column;
   uint32_t length;
};

Bound takeBound( LineCursor & line, AddressFamily af ) {
   const auto word = line.take().text;
   const Token token = line.take( "a length" );
   if( token.text.find_first_not_of( "0123456789" ) != token.text.npos ) throwExpected( "a length", token );
   uint32_t length = 0;
   const auto [ end, error ] = std::from_chars( token.text.data(), token.text.data() + token.text.size(), length );
   const uint32_t bits = Ferule::addressBits( af );
   if( error != std::errc() || length > bits )
      throw LineError{ token.column,
                       fmt::format( "{} is above {}, the length of {}", inQuotes( fmt::format( "{} {}", word, token.text ) ), bits,
                                    addressName( af ) ) };
   return { word, token.column, length };
}

void expectNotBelow( const Bound & bound, uint32_t length, std::string_view what ) {
   if( bound.length < length )
      throw LineError{ bound.column, fmt::format( "\"{} {}\" is below {}, {}", bound.word, bound.length, length, what ) };
}

// "any", or "PREFIX [ge N] [le N]" in any order. Accepts the same lines as the library's builder of prefix lists.
void readPrefixLine( LineCursor & line, AddressFamily af, PrefixListLine & said ) {
   if( line.takeWords( "any" ) ) {
      said.prefix = Ferule::IpGenPrefix( Ferule::IpGenAddr( af ), 0 );
      said.le = Ferule::addressBits( af );
      return;
   }
   const Token token = line.peek();
   said.prefix = takePrefix( line, af, false );
   if( !said.prefix.isCanonical() )
      throw LineError{ token.column,
                       fmt::format( "{} has bits set after its length; the network is {}", inQuotes( token.text ),
                                    said.prefix.subnet().toStrep().view() ) };

   std::optional<Bound> ge, le;
   while( ( !ge && line.peek().text == "ge" ) || ( !le && line.peek().text == "le" ) ) {
      auto & bound = line.peek().text == "ge" ? ge : le;
      bound = takeBound( line, af );
   }
   if( ge ) {
      expectNotBelow( *ge, said.prefix.length(), "the length of the prefix" );
      said.ge = ge->length;
   }
   if( le ) {
      if( ge )
         expectNotBelow( *le, ge->length, "the value of \"ge\"" );
      else
         expectNotBelow( *le, said.prefix.length(), "the length of the prefix" );
      said.le = le->length;
   }
}

/// An IPv4 address and its wildcard.
struct Wildcard {
   Place place;
   uint32_t address = 0;
   uint32_t bits = 0;
};

// "any", "PREFIX", "[host] ADDRESS", and for IPv4 "ADDRESS WILDCARD".
std::optional<Wildcard> readAccessLine( LineCursor & line, AddressFamily af, AccessListLine & said ) {
   std::optional<Wildcard> wildcard;
   const unsigned bits = Ferule::addressBits( af );
   if( line.takeWords( "any" ) ) {
      said.source = { Ferule::IpGenAddr( af ), {} };
   } else if( line.takeWords( "host" ) ) {
      said.source = { takeAddress( line, af ), Ferule::Bits128::leadingOnes( bits ) };
   } else {
      const bool alone = line.peek().text.find( '/' ) == std::string_view::npos;
      const Ferule::IpGenPrefix prefix = takePrefix( line, af, true );
      auto mask = Ferule::Bits128::leadingOnes( prefix.length() );
      if( alone && af == AddressFamily::ipv4 && !line.atEnd() ) {
         const auto upper = []( const Ferule::Bits128 & b ) { return static_cast<uint32_t>( b.high >> 32 ); };
         const Place place = line.place( line.peek() );
         const auto ones = takeAddress( line, af, "a wildcard mask" ).bits();   // bits that do not count
         wildcard = { place, upper( prefix.ipGenAddr().bits() ), upper( ones ) };
         mask = mask & ~ones;
      }
      said.source = { prefix.ipGenAddr(), mask };
   }
   return wildcard;
}

}   // namespace

ListLines::ListLines( PolicyText & text, Doubts & doubts )
      : text_( text ),
        doubts_( doubts ),
        ipv4PrefixLists_( "ip prefix-list", text.ipv4PrefixLists ),
        ipv6PrefixLists_( "ipv6 prefix-list", text.ipv6PrefixLists ),
        ipv4AccessLists_( "access-list", text.ipv4AccessLists ),
        ipv6AccessLists_( "ipv6 access-list", text.ipv6AccessLists ),
        communityLists_( "bgp community-list", text.communityLists ),
        asPathLists_( "bgp as-path access-list", text.asPathLists ) {}

// In other dialects these words also begin packet filters, and a switch.
bool ListLines::isOfOthers( LineCursor line ) {
   const bool no = line.takeWords( "no" );
   if( line.takeWords( "ip prefix-list sequence-number" ) ) return line.atEnd();
   const bool ipv6 = line.takeWords( "ipv6 access-list" );
   if( !ipv6 && !line.takeWords( "access-list" ) ) return false;
   if( line.take().text.empty() ) return false;
   if( ipv6 && line.atEnd() ) return !no;   // the lines of the filter follow, indented
   if( line.takeWords( "seq" ) ) line.take();
   if( !line.takeWords( "permit" ) && !line.takeWords( "deny" ) ) return false;
   static constexpr std::string_view kProtocols[] = { "ip",  "ipv6", "tcp", "udp",  "icmp",  "icmpv6", "igmp",
                                                      "gre", "esp",  "ahp", "ospf", "eigrp", "pim" };
   return std::ranges::find( kProtocols, line.peek().text ) != std::end( kProtocols );
}

bool ListLines::read( LineCursor & line, bool no ) {
   struct Form {
      std::string_view words;
      void ( ListLines::*read )( LineCursor &, bool );
   };
   static constexpr Form kForms[] = {
      { "ip prefix-list", &ListLines::readIpv4PrefixList },
      { "ipv6 prefix-list", &ListLines::readIpv6PrefixList },
      { "access-list", &ListLines::readIpv4AccessList },
      { "ipv6 access-list", &ListLines::readIpv6AccessList },
      { "tag-set", &ListLines::readTagSet },
      { "bgp community-list", &ListLines::readCommunityList },
      { "bgp as-path", &ListLines::readAsPathList },
   };
   for( const auto & form : kForms )
      if( line.takeWords( form.words ) ) {
         line.expectNoControlBytes();
         ( this->*form.read )( line, no );
         return true;
      }
   return false;
}

void ListLines::readIpv4PrefixList( LineCursor & line, bool no ) {
   edit( ipv4PrefixLists_, doubts_, line, no, "description",
         []( LineCursor & l, PrefixListLine & said ) { readPrefixLine( l, AddressFamily::ipv4, said ); } );
}

void ListLines::readIpv6PrefixList( LineCursor & line, bool no ) {
   edit( ipv6PrefixLists_, doubts_, line, no, "description",
         []( LineCursor & l, PrefixListLine & said ) { readPrefixLine( l, AddressFamily::ipv6, said ); } );
}

void ListLines::readIpv4AccessList( LineCursor & line, bool no ) {
   std::optional<Wildcard> wildcard;
   edit( ipv4AccessLists_, doubts_, line, no, "remark",
         [ & ]( LineCursor & l, AccessListLine & said ) { wildcard = readAccessLine( l, AddressFamily::ipv4, said ); } );
   if( !no && wildcard ) doubts_.wildcard( wildcard->place, wildcard->address, wildcard->bits );
}

void ListLines::readIpv6AccessList( LineCursor & line, bool no ) {
   edit( ipv6AccessLists_, doubts_, line, no, "remark",
         []( LineCursor & l, AccessListLine & said ) { readAccessLine( l, AddressFamily::ipv6, said ); } );
}

void ListLines::readTagSet( LineCursor & line, bool no ) {
   const Token name = line.take( "the name of a tag set" );
   const bool whole = no && line.atEnd();
   std::set<uint32_t> tags;
   if( !whole ) do
         tags.insert( takeNumber32( line, "a tag" ) );
      while( !line.atEnd() );

   const auto [ at, made ] = text_.tagSets.try_emplace( std::string( name.text ) );
   TagSetText & set = at->second;
   if( made ) set.place = line.place();
   if( whole )
      set.tags.clear();
   else if( no )
      for( const uint32_t tag : tags ) set.tags.erase( tag );
   else
      set.tags.merge( tags );
   if( set.tags.empty() ) text_.tagSets.erase( at );
}

void ListLines::readCommunityList( LineCursor & line, bool no ) {
   const bool expanded = line.peek().text == "expanded";
   if( !expanded && line.peek().text != "standard" ) throwExpected( alternatives( { "standard", "expanded" } ), line.peek() );
   const Token kind = line.take();
   const Token name = line.peek();
   if( const auto * const list = communityLists_.find( name.text ); list && list->expanded != expanded ) {
      if( no ) return;   // the list of this kind does not exist
      throw LineError{ kind.column,
                       fmt::format( "list {} is already {}", inQuotes( name.text ), list->expanded ? "expanded" : "standard" ) };
   }
   edit( communityLists_, doubts_, line, no, "", [ expanded ]( LineCursor & l, CommunityListLine & said ) {
      if( expanded )
         said.expression = takeExpression( l );
      else
         said.communities = takeCommunities( l, "", "internet" );
   } );
   if( auto * const list = communityLists_.find( name.text ) ) list->expanded = expanded;
}

void ListLines::readAsPathList( LineCursor & line, bool no ) {
   if( !line.takeWords( "access-list" ) ) throwExpected( alternatives( { "access-list" } ), line.peek() );
   edit( asPathLists_, doubts_, line, no, "", []( LineCursor & l, AsPathListLine & said ) { said.expression = takeExpression( l ); } );
}

}   // namespace Agent
