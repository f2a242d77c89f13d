#include "text/ListLines.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

#include "text/Operands.h"
#include "text/ParseWhole.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

constexpr std::string_view kListName = "the name of a list";

// "NAME TEXT", or after "no" also "NAME": the description of a list. Its word has been taken already.
template <class List>
void describe( NumberedLists<List> & lists, const Token & name, LineCursor & line, bool no ) {
   if( no ) return lists.undescribe( name.text );
   lists.describe( name.text, line.takeText( "a description" ), line.place() );
}

// The text of a list of one line.
std::string writeList( const PrefixListText & list ) {
   return writePrefixList( list.lines.begin()->second.prefix.af(), {}, list );
}
std::string writeList( const AccessListText & list ) {
   return writeAccessList( list.lines.begin()->second.source.address().af(), {}, list );
}
template <class C>
std::string writeList( CommunityListTextOf<C> list ) {
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

template <class List>
constexpr bool isPrefixList = std::is_same_v<List, PrefixListText>;
// Whether FRR has the lists in bgpd alone.
template <class List>
constexpr bool isOfBgpd = !isPrefixList<List> && !std::is_same_v<List, AccessListText>;

// Removes as FRR does: from prefix lists and access lists by the number, if it is given; from all others by the content.
template <class List>
void removeAsFrr( NumberedLists<List> & lists, std::string_view name, std::optional<uint32_t> number,
                  const std::optional<typename NumberedLists<List>::Line> & said ) {
   if( !said && !number ) {
      if( isOfBgpd<List> && !lists.find( name ) ) throw RefusedLine{ "the list does not exist" };
      lists.remove( name );
   } else if( !said && !isPrefixList<List> ) {
      throw RefusedLine{ kIncomplete };
   } else if( number && !isOfBgpd<List> ) {
      lists.removeNumber( name, *number, std::nullopt );
   } else if( !lists.removeLine( name, *said, std::is_same_v<List, AsPathListText> ) ) {
      throw RefusedLine{ "the list has no such line" };
   }
}

// FRR keeps the netmask of the line `before`, which the line replaces, if the new one has neither a netmask nor a prefix.
void keepNetmask( AccessListLine & line, const AccessListLine * before ) {
   const auto way = line.spelling.way;
   if( !before || !before->netmask || line.netmask || ( way != Spelling::host && way != Spelling::wildcard ) ) return;
   line.netmask = before->netmask;
   line.compares = AccessListLine::Compares::address;
   line.spelling = Spelling::behindIp( line.spelling.source(), before->spelling.netmask() );
}

// Whether the list has the line already. FRR looks for a prefix as it is written, and refuses it if only the network is there.
template <class List>
bool isThere( NumberedLists<List> & lists, std::string_view name, std::optional<uint32_t> number,
              typename NumberedLists<List>::Line & said ) {
   if constexpr( std::is_same_v<List, AccessListText> )
      if( said.spelling.way == Spelling::oddPrefix ) {
         said.spelling.way = Spelling::usual;
         const auto same = lists.numberOf( name, said );
         if( same && same != number ) throw RefusedLine{ "the list has this prefix under another number" };
         return false;
      }
   return lists.has( name, said );
}

// "NAME [seq N] permit|deny CONTENT"; after "no" also "NAME" and "NAME seq N". `describing` is the word before a description; empty if
// such lists have none. Doubts of `readContent( line, said, noted )` count if the line has no error and is not removed.
template <class List, class ReadContent>
void edit( NumberedLists<List> & lists, Doubts & doubts, LineCursor & line, bool no, std::string_view describing,
           ReadContent readContent ) {
   const Token name = line.take( kListName );
   if( isPrefixList<List> && line.dialect() == Dialect::frr ) lists.keepDescribed();
   if( no ) lists.ordered( name.text );
   if( !describing.empty() && line.takeWords( describing ) ) return describe( lists, name, line, no );

   std::optional<uint32_t> number;
   const bool isFrr = line.dialect() == Dialect::frr;
   if( line.takeWords( "seq" ) ) number = isFrr && isOfBgpd<List> ? takeNumber32( line, "a sequence number" ) : takeSequenceNumber( line );
   const bool saysNumber = number.has_value();
   if( no && line.atEnd() && isFrr ) return removeAsFrr( lists, name.text, number, {} );
   if( no && line.atEnd() ) return number ? lists.removeNumber( name.text, *number, std::nullopt ) : lists.remove( name.text );

   typename NumberedLists<List>::Line said;
   said.action = takeAction( line );
   said.place = line.place();
   std::vector<Doubt> noted;
   readContent( line, said, noted );
   line.expectEnd();

   if( no && isFrr ) return removeAsFrr( lists, name.text, number, { said } );
   if( no ) return number ? lists.removeNumber( name.text, *number, said ) : void( lists.removeLine( name.text, said ) );
   for( auto & doubt : noted ) doubts.add( std::move( doubt ) );
   if( ( isFrr || !number ) && isThere( lists, name.text, number, said ) ) return lists.ordered( name.text );
   const Place place = said.place;
   if constexpr( std::is_same_v<List, AccessListText> ) keepNetmask( said, number ? lists.find( name.text, *number ) : nullptr );
   const auto hasNoneLeft = [ & ] {
      return LineError{ name.column, fmt::format( "list {} has no number left for a line without \"seq\"", inQuotes( name.text ) ) };
   };
   if( !saysNumber ) lists.ordered( name.text );   // also if it has no number left: other lines decide
   if( !number && isFrr && !isOfBgpd<List> ) {     // five above the highest number, while bgpd's own lists get multiples of five
      if( lists.highest( name.text ) > kMax32 - 5 ) throw hasNoneLeft();
      number = lists.highest( name.text ) + 5;
   }
   const auto added = lists.add( name.text, number, std::move( said ) );
   if( !added.done ) throw hasNoneLeft();
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
   std::string_view digits = token.text;
   if( line.dialect() == Dialect::frr && digits.starts_with( '+' ) ) digits.remove_prefix( 1 );
   if( digits.empty() || digits.find_first_not_of( "0123456789" ) != digits.npos ) throwExpected( "a length", token );
   uint32_t length = 0;
   const auto [ end, error ] = std::from_chars( digits.data(), digits.data() + digits.size(), length );
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

// A prefix without bits after its length. The dialect of FRR takes them away, with a doubt; the other one refuses them.
Ferule::IpGenPrefix takeNetwork( LineCursor & line, AddressFamily af, std::vector<Doubt> & noted ) {
   const Token token = line.peek();
   const auto prefix = takePrefix( line, af, false );
   if( prefix.isCanonical() ) return prefix;
   std::string what =
      fmt::format( "{} has bits set after its length; the network is {}", inQuotes( token.text ), prefix.subnet().toStrep().view() );
   if( line.dialect() != Dialect::frr ) throw LineError{ token.column, std::move( what ) };
   noted.push_back( { Doubt::Kind::hostBits, line.place( token ), std::move( what ) } );
   return prefix.subnet();
}

// "any", or "PREFIX [ge N] [le N]" in any order. Accepts the same lines as the library's builder of prefix lists.
void readPrefixLine( LineCursor & line, AddressFamily af, PrefixListLine & said, std::vector<Doubt> & noted ) {
   if( line.takeWords( "any" ) ) {
      said.prefix = Ferule::IpGenPrefix( Ferule::IpGenAddr( af ), 0 );
      said.le = Ferule::addressBits( af );
      return;
   }
   said.prefix = takeNetwork( line, af, noted );

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
   const bool saysAny =
      said.prefix == Ferule::IpGenPrefix( Ferule::IpGenAddr( af ), 0 ) && !said.ge && said.le == Ferule::addressBits( af );
   if( saysAny && line.dialect() == Dialect::frr ) said.spelling.way = Spelling::oddPrefix;
}

// ---- access lists of the native dialect

using Source = Ferule::IpGenAddrWithFullMask;

// The wildcard of an address that has been taken.
Source takeWildcard( LineCursor & line, const Ferule::IpGenAddr & address, std::vector<Doubt> & noted ) {
   const Place place = line.place( line.peek() );
   const auto wildcard = takeAddress( line, address.af(), "a wildcard mask" );   // bits that do not count
   if( auto doubt = Doubts::wildcard( line.dialect(), place, address.v4Addr(), wildcard.v4Addr() ) ) noted.push_back( std::move( *doubt ) );
   return { address, Ferule::Bits128::leadingOnes( Ferule::addressBits( address.af() ) ) & ~wildcard.bits() };
}

// "any", "PREFIX", "[host] ADDRESS", and for IPv4 "ADDRESS WILDCARD".
void readAccessLine( LineCursor & line, AddressFamily af, AccessListLine & said, std::vector<Doubt> & noted ) {
   const unsigned bits = Ferule::addressBits( af );
   if( line.takeWords( "any" ) ) {
      said.source = { Ferule::IpGenAddr( af ), {} };
   } else if( line.takeWords( "host" ) ) {
      said.source = { takeAddress( line, af ), Ferule::Bits128::leadingOnes( bits ) };
   } else {
      const bool alone = line.peek().text.find( '/' ) == std::string_view::npos;
      const Ferule::IpGenPrefix prefix = takePrefix( line, af, true );
      said.source = { prefix.ipGenAddr(), Ferule::Bits128::leadingOnes( prefix.length() ) };
      if( alone && af == AddressFamily::ipv4 && !line.atEnd() ) said.source = takeWildcard( line, prefix.ipGenAddr(), noted );
   }
}

// ---- access lists of the dialect of FRR

// "any", "host ADDRESS" or "ADDRESS WILDCARD".
Source takeSource( LineCursor & line, Spelling::Way & way, std::vector<Doubt> & noted ) {
   constexpr auto af = AddressFamily::ipv4;
   way = line.peek().text == "any" ? Spelling::any : line.peek().text == "host" ? Spelling::host : Spelling::wildcard;
   if( line.takeWords( "any" ) ) return { Ferule::IpGenAddr( af ), {} };
   if( line.takeWords( "host" ) ) return { takeAddress( line, af ), Ferule::Bits128::leadingOnes( Ferule::addressBits( af ) ) };
   const auto address = takeAddress( line, af, "\"any\", \"host\" or an IPv4 address" );
   return takeWildcard( line, address, noted );
}

// "any" or "PREFIX [exact-match]"; for IPv4 also "[host] ADDRESS", "ADDRESS WILDCARD" and "ip SOURCE NETMASK".
void readFrrAccessLine( LineCursor & line, AddressFamily af, AccessListLine & said, std::vector<Doubt> & noted ) {
   using Compares = AccessListLine::Compares;
   const bool isAddress = line.peek().text.find( '/' ) == std::string_view::npos;
   auto way = Spelling::usual;
   said.compares = af == AddressFamily::ipv4 && isAddress ? Compares::address : Compares::covering;
   if( line.takeWords( "any" ) ) {
      said.compares = Compares::covering;
      said.source = { Ferule::IpGenAddr( af ), {} };
      way = Spelling::any;
   } else if( said.compares == Compares::covering ) {
      const Token token = line.peek();
      const auto prefix = takeNetwork( line, af, noted );
      if( prefix.toStrep().view() != token.text ) way = Spelling::oddPrefix;
      said.source = { prefix.ipGenAddr(), Ferule::Bits128::leadingOnes( prefix.length() ) };
      if( line.takeWords( "exact-match" ) ) said.compares = Compares::exact;
   } else if( line.takeWords( "ip" ) ) {
      auto second = Spelling::usual;
      said.source = takeSource( line, way, noted );
      said.netmask = takeSource( line, second, noted );
      said.spelling = Spelling::behindIp( way, second );
      return;
   } else {
      const bool isHost = line.takeWords( "host" );
      const auto address = takeAddress( line, af );
      said.source = { address, Ferule::Bits128::leadingOnes( Ferule::addressBits( af ) ) };
      way = isHost || line.atEnd() ? Spelling::host : Spelling::wildcard;
      if( way == Spelling::wildcard ) said.source = takeWildcard( line, address, noted );
      if( said.source.mask().none() && address.bits().none() ) said.compares = Compares::covering;   // as "any"
   }
   said.spelling.way = way;
}

// ---- community lists

// "standard" or "expanded". In the dialect of FRR, a number tells the kind, too, and is left as the name of the list.
bool takeExpanded( LineCursor & line ) {
   const auto text = line.peek().text;
   const auto number = line.dialect() == Dialect::frr ? parseWhole<uint32_t>( text ) : std::nullopt;
   if( number && *number >= 1 && *number <= 99 ) return false;
   if( number && *number >= 100 && *number <= 500 ) return true;
   if( line.takeWords( "expanded" ) ) return true;
   if( !line.takeWords( "standard" ) ) throwExpected( alternatives( { "standard", "expanded" } ), line.peek() );
   return false;
}

// The communities of a line; none for a line that matches all routes.
std::vector<Community> takeListedCommunities( LineCursor & line ) {
   constexpr std::string_view kAll = "internet";
   bool all = false;   // in the dialect of FRR, also among others, and as a number
   if( line.dialect() == Dialect::frr )
      for( LineCursor words = line; !words.atEnd(); ) all |= words.take().text == kAll;
   auto communities = takeCommunities( line, "", kAll );
   all |= line.dialect() == Dialect::frr && !communities.empty() && communities.front() == 0;
   if( all ) communities.clear();
   return communities;
}

// ---- AS path lists

void readAsPathLine( LineCursor & line, AsPathListLine & said, std::vector<Doubt> & ) {
   const Token token = LineCursor( line ).takeRest( "a regular expression" );
   const size_t at = token.text.find_first_not_of( "0123456789 \t$()*+,-.?[\\]^_{|}" );
   if( line.dialect() == Dialect::frr && at != token.text.npos )   // FRR refuses such a line
      throwExpected( "digits, blanks and operators of a regular expression",
                     { token.text.substr( at, 1 ), token.column + static_cast<uint32_t>( at ) } );
   said.expression = takeExpression( line );
}

template <AddressFamily af>
void readAccessLineOf( LineCursor & line, AccessListLine & said, std::vector<Doubt> & noted ) {
   if( line.dialect() == Dialect::frr )
      readFrrAccessLine( line, af, said, noted );
   else
      readAccessLine( line, af, said, noted );
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
        largeCommunityLists_( "bgp large-community-list", text.largeCommunityLists ),
        extCommunityLists_( "bgp extcommunity-list", text.extCommunityLists ),
        asPathLists_( "bgp as-path access-list", text.asPathLists ) {}

// In other dialects these words also begin packet filters, and a switch.
bool ListLines::isOfOthers( LineCursor line ) {
   const bool no = line.takeWords( "no" );
   const bool isFrr = line.dialect() == Dialect::frr;
   if( line.takeWords( "ip prefix-list sequence-number" ) || ( isFrr && line.takeWords( "ipv6 prefix-list sequence-number" ) ) )
      return line.atEnd();
   const bool ipv6 = line.takeWords( "ipv6 access-list" );
   if( !ipv6 && !line.takeWords( "access-list" ) ) return false;
   if( line.take().text.empty() ) return false;
   if( ipv6 && line.atEnd() ) return !no;   // the lines of the filter follow, indented
   if( line.takeWords( "seq" ) ) line.take();
   if( !line.takeWords( "permit" ) && !line.takeWords( "deny" ) ) return false;
   static constexpr std::string_view kProtocols[] = { "ip",  "ipv6", "tcp", "udp",  "icmp",  "icmpv6", "igmp",
                                                      "gre", "esp",  "ahp", "ospf", "eigrp", "pim" };
   if( isFrr && line.peek().text == kProtocols[ 0 ] ) return ipv6;   // the others filter packets
   return std::ranges::find( kProtocols, line.peek().text ) != std::end( kProtocols );
}

bool ListLines::read( LineCursor & line, bool no ) {
   struct Form {
      std::string_view words;
      void ( ListLines::*read )( LineCursor &, bool );
      std::optional<Dialect> only{};   // the dialect that has the form; none: both
   };
   static constexpr auto kFrr = Dialect::frr;
   static constexpr Form kForms[] = {
      { "ip prefix-list", &ListLines::readIpv4PrefixList },
      { "ipv6 prefix-list", &ListLines::readIpv6PrefixList },
      { "access-list", &ListLines::readIpv4AccessList },
      { "ipv6 access-list", &ListLines::readIpv6AccessList },
      { "tag-set", &ListLines::readTagSet },
      { "bgp community-list", &ListLines::readCommunityList },
      { "bgp large-community-list", &ListLines::readLargeCommunityList, kFrr },
      { "bgp extcommunity-list", &ListLines::readExtCommunityList, kFrr },
      { "bgp as-path", &ListLines::readAsPathList },
      // Older spellings.
      { "ip community-list", &ListLines::readCommunityList, kFrr },
      { "ip large-community-list", &ListLines::readLargeCommunityList, kFrr },
      { "ip extcommunity-list", &ListLines::readExtCommunityList, kFrr },
      { "ip as-path", &ListLines::readAsPathList, kFrr },
   };
   for( const auto & form : kForms )
      if( isIn( line.dialect(), form.only ) && line.takeWords( form.words ) ) {
         line.expectNoControlBytes();
         ( this->*form.read )( line, no );
         return true;
      }
   return false;
}

void ListLines::readIpv4PrefixList( LineCursor & line, bool no ) {
   edit( ipv4PrefixLists_, doubts_, line, no, "description",
         []( LineCursor & l, PrefixListLine & said, auto & noted ) { readPrefixLine( l, AddressFamily::ipv4, said, noted ); } );
}

void ListLines::readIpv6PrefixList( LineCursor & line, bool no ) {
   edit( ipv6PrefixLists_, doubts_, line, no, "description",
         []( LineCursor & l, PrefixListLine & said, auto & noted ) { readPrefixLine( l, AddressFamily::ipv6, said, noted ); } );
}

void ListLines::readIpv4AccessList( LineCursor & line, bool no ) {
   edit( ipv4AccessLists_, doubts_, line, no, "remark", readAccessLineOf<AddressFamily::ipv4> );
}

void ListLines::readIpv6AccessList( LineCursor & line, bool no ) {
   edit( ipv6AccessLists_, doubts_, line, no, "remark", readAccessLineOf<AddressFamily::ipv6> );
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

template <class C, class Take>
void ListLines::readCommunityList( NumberedLists<CommunityListTextOf<C>> & lists, LineCursor & line, bool no, Take takeStandard ) {
   const Token kind = line.peek();
   const bool expanded = takeExpanded( line );
   const Token name = line.peek();
   if( const auto * const list = lists.find( name.text ); list && list->expanded != expanded ) {
      if( no && line.dialect() == Dialect::native ) return;   // the list of this kind does not exist
      if( !no )
         throw LineError{ kind.column,
                          fmt::format( "list {} is already {}", inQuotes( name.text ), list->expanded ? "expanded" : "standard" ) };
   }
   edit( lists, doubts_, line, no, "", [ & ]( LineCursor & l, CommunityListLineOf<C> & said, auto & ) {
      if( expanded )
         said.expression = takeExpression( l );
      else
         said.communities = takeStandard( l );
   } );
   if( auto * const list = no ? nullptr : lists.find( name.text ) ) list->expanded = expanded;
}

void ListLines::readCommunityList( LineCursor & line, bool no ) {
   readCommunityList( communityLists_, line, no, takeListedCommunities );
}

void ListLines::readLargeCommunityList( LineCursor & line, bool no ) {
   // "no bgp large-community-list NAME".
   if( LineCursor behind = line; no && !behind.take().text.empty() && behind.atEnd() )
      return removeAsFrr( largeCommunityLists_, line.take().text, std::nullopt, std::nullopt );
   if( LineCursor behind = line; !no && ( behind.takeWords( "standard" ) || behind.takeWords( "expanded" ) ) ) {
      const std::string_view name = behind.peek().text;
      if( !name.empty() && name.find_first_not_of( "0123456789" ) == name.npos ) throw RefusedLine{ "the name of the list is a number" };
   }
   readCommunityList( largeCommunityLists_, line, no, []( LineCursor & l ) { return takeLargeCommunities( l, "" ); } );
}

void ListLines::readExtCommunityList( LineCursor & line, bool no ) {
   readCommunityList( extCommunityLists_, line, no, []( LineCursor & l ) { return takeExtCommunities( l ); } );
}

void ListLines::readAsPathList( LineCursor & line, bool no ) {
   if( !line.takeWords( "access-list" ) ) throwExpected( alternatives( { "access-list" } ), line.peek() );
   edit( asPathLists_, doubts_, line, no, "", readAsPathLine );
}

}   // namespace Agent
