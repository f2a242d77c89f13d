#include "text/SetForms.h"

#include <algorithm>
#include <array>
#include <iterator>

#include <fmt/format.h>

#include "substrate/zeugma/MaybeU63.h"
#include "text/Community.h"
#include "text/Operands.h"
#include "text/Origin.h"

namespace Agent {

namespace {

using Mode = SetClause::Mode;

constexpr std::string_view kDelete = "delete";
constexpr std::string_view kAll = "all";
constexpr std::string_view kAny = "any";
constexpr std::string_view kAsPathList = "as-path-access-list";
constexpr std::string_view kLastAs = "last-as";
constexpr std::string_view kAs = "as";

bool isFrr( const LineCursor & line ) noexcept {
   return line.dialect() == Dialect::frr;
}

template <class Words>
[[noreturn]] void throwExpectedOneOf( const Words & words, const LineCursor & line ) {
   throwExpected( alternatives( { std::begin( words ), std::end( words ) } ), line.peek() );
}

// ---- numbers

// "5"; in the dialect of FRR also "+5" and "-5".
void takeChange( LineCursor & line, SetClause & clause, const SetForm & form, uint64_t leastChange ) {
   const auto & text = line.peek().text;
   const bool adds = text.starts_with( '+' ), subtracts = text.starts_with( '-' );
   if( !isFrr( line ) || ( !adds && !subtracts ) ) {
      clause.number = takeNumber( line, form.what, form.min, isFrr( line ) ? kMax32 : form.max );
   } else {
      clause.mode = adds ? Mode::adds : Mode::subtracts;
      clause.number = takeSigned( line, text.front(), form.what, leastChange, kMax32 );
   }
}

void takeMetric( LineCursor & line, SetClause & clause, const SetForm & form ) {
   const Token & token = line.peek();
   if( !isFrr( line ) && ( token.text.starts_with( '+' ) || token.text.starts_with( '-' ) ) )
      throw LineError{ token.column,
                       fmt::format( "expected a metric, found {}: relative metrics are not supported", inQuotes( token.text ) ) };
   for( const std::string_view word : { "rtt", "+rtt", "-rtt", "igp", "aigp" } )
      if( isFrr( line ) && line.takeWords( word ) ) {
         clause.word = word;
         return;
      }
   takeChange( line, clause, form, 1 );
}

void takeLocalPreference( LineCursor & line, SetClause & clause, const SetForm & form ) {
   takeChange( line, clause, form, 0 );
}

void takeNumberOf( LineCursor & line, SetClause & clause, const SetForm & form ) {
   clause.number = takeNumber( line, form.what, form.min, form.max );
}

// In the dialect of FRR, 0 changes nothing.
void takeDistance( LineCursor & line, SetClause & clause, const SetForm & form ) {
   clause.number = takeNumber( line, form.what, isFrr( line ) ? 0 : form.min, form.max );
}

void takeTag( LineCursor & line, SetClause & clause, const SetForm & form ) {
   if( isFrr( line ) && line.takeWords( "untagged" ) ) return;
   takeNumberOf( line, clause, form );
   if( isFrr( line ) && clause.number == 0 ) throw RefusedLine{ "the lowest number is 1" };
}

std::string numberText( const SetClause & clause ) {
   const std::string_view sign = clause.mode == Mode::adds ? "+" : clause.mode == Mode::subtracts ? "-" : "";
   return clause.word.empty() ? fmt::format( "{}{}", sign, clause.number ) : clause.word;
}

void takeOrigin( LineCursor & line, SetClause & clause, const SetForm & ) {
   const auto origin = originOf( line.peek().text );
   if( !origin ) throwExpected( alternatives( { "egp", "igp", "incomplete" } ), line.peek() );
   if( line.peek().text != nameOf( *origin ) ) throw RefusedLine{ "the origin is written in lower case" };
   clause.number = uint64_t( *origin );
   line.take();
}

std::string originText( const SetClause & clause ) {
   return std::string( nameOf( Origin( clause.number ) ) );
}

// ---- communities

// In the dialect of FRR, "additive" may come first, and "internet" is the community 0:0.
void takeCommunity( LineCursor & line, SetClause & clause, const SetForm & ) {
   constexpr std::string_view kInternet = "internet";
   if( line.takeWords( "none" ) ) return;
   clause.additive = isFrr( line ) && line.takeWords( "additive" );
   bool hasInternet = false;
   if( isFrr( line ) )
      for( LineCursor words = line; !words.atEnd(); ) hasInternet |= words.take().text == kInternet;
   auto & communities = clause.communities = takeCommunities( line, clause.additive ? "" : "additive", hasInternet ? kInternet : "" );
   if( hasInternet && ( communities.empty() || communities.front() != 0 ) ) communities.insert( communities.begin(), 0 );
   if( line.takeWords( "additive" ) ) clause.additive = true;
   if( !clause.additive || !isFrr( line ) || line.atEnd() ) return;
   const auto more = takeCommunities( line, "", hasInternet ? kInternet : "" );   // behind "additive"
   communities.insert( communities.end(), more.begin(), more.end() );
   std::ranges::sort( communities );
   communities.erase( std::unique( communities.begin(), communities.end() ), communities.end() );
}

std::string communityText( const SetClause & clause ) {
   if( clause.communities.empty() ) return "none";
   return fmt::format( "{}{}", communitiesText( clause.communities ), clause.additive ? " additive" : "" );
}

void takeLargeCommunity( LineCursor & line, SetClause & clause, const SetForm & ) {
   if( line.takeWords( "none" ) ) return;
   clause.largeCommunities = takeLargeCommunities( line, "additive" );
   clause.additive = line.takeWords( "additive" );
}

std::string largeCommunityText( const SetClause & clause ) {
   if( clause.largeCommunities.empty() ) return "none";
   std::string text;
   for( const auto & community : clause.largeCommunities ) text += communityText( community ) + ' ';
   return clause.additive ? text + "additive" : text.substr( 0, text.size() - 1 );
}

// The last of the words is the word of the kind.
void takeExtCommunity( LineCursor & line, SetClause & clause, const SetForm & form ) {
   clause.extCommunities = takeExtCommunities( line, form.words.substr( form.words.rfind( ' ' ) + 1 ) );
}

std::string extCommunityText( const SetClause & clause ) {
   std::string text;
   for( const ExtCommunity community : clause.extCommunities ) text += ( text.empty() ? "" : " " ) + wordsOf( community ).second;
   return text;
}

void takeListToDelete( LineCursor & line, SetClause & clause, const SetForm & form ) {
   clause.word = line.take( form.what ).text;
   if( !line.takeWords( kDelete ) ) throwExpected( inQuotes( kDelete ), line.peek() );
}

std::string listToDeleteText( const SetClause & clause ) {
   return fmt::format( "{} {}", clause.word, kDelete );
}

// ---- AS paths

void takePrepend( LineCursor & line, SetClause & clause, const SetForm & ) {
   if( line.takeWords( kLastAs ) )
      clause.number = takeNumber( line, "a number", 1, 10 );
   else
      clause.ases = takeAses( line );
}

void takeExclude( LineCursor & line, SetClause & clause, const SetForm & ) {
   if( line.takeWords( kAsPathList ) )
      clause.word = line.take( "the name of an AS path list" ).text;
   else if( !line.takeWords( kAll ) )
      clause.ases = takeAses( line );
}

std::string asesText( const SetClause & clause ) {
   return fmt::format( "{}", fmt::join( clause.ases, " " ) );
}

std::string prependText( const SetClause & clause ) {
   return clause.ases.empty() ? fmt::format( "{} {}", kLastAs, clause.number ) : asesText( clause );
}

std::string excludeText( const SetClause & clause ) {
   if( !clause.word.empty() ) return fmt::format( "{} {}", kAsPathList, clause.word );
   return clause.ases.empty() ? std::string( kAll ) : asesText( clause );
}

// "any|AS|as-path-access-list NAME [AS]". `ases`: what is replaced (0: any AS; absent if a list is named), then the new AS, if given.
void takeReplace( LineCursor & line, SetClause & clause, const SetForm & ) {
   const auto takeAs = [ & ]( std::string_view what ) { clause.ases.push_back( uint32_t( takeNumber( line, what, 1, kMax32 ) ) ); };
   if( line.takeWords( kAsPathList ) )
      clause.word = line.take( "the name of an AS path list" ).text;
   else if( line.takeWords( kAny ) )
      clause.ases.push_back( 0 );
   else
      takeAs( "\"any\", \"as-path-access-list\" or an AS" );
   if( !line.atEnd() ) takeAs( "an AS" );
}

std::string replaceText( const SetClause & clause ) {
   std::string text = clause.word.empty() ? "" : fmt::format( "{} {}", kAsPathList, clause.word );
   for( const uint32_t as : clause.ases ) text += ( text.empty() ? "" : " " ) + ( as ? std::to_string( as ) : std::string( kAny ) );
   return text;
}

// ---- next hops

bool isLinkLocal( const Ferule::IpGenAddr & address ) {
   return address.af() == AddressFamily::ipv6 && address.bits().high >> 54 == 0xfe80 >> 6;
}

// An address that a route can be sent to. FRR refuses others.
Ferule::IpGenAddr takeHop( LineCursor & line, AddressFamily af ) {
   const Token token = line.peek();
   const auto address = takeAddress( line, af );
   const auto high = address.bits().high;
   const bool isIpv4 = af == AddressFamily::ipv4;
   const bool isNone = address == Ferule::IpGenAddr( af ), isMulticast = high >> ( isIpv4 ? 60 : 56 ) == ( isIpv4 ? 0xe : 0xff );
   if( isNone || isMulticast || ( isIpv4 && high >> 60 == 0xf ) )
      throw LineError{ token.column, fmt::format( "{} cannot be a next hop", inQuotes( token.text ) ) };
   return address;
}

void takeIpNextHop( LineCursor & line, SetClause & clause, const SetForm & ) {
   for( const std::string_view word : { "peer-address", "unchanged" } )
      if( line.takeWords( word ) ) {
         clause.word = word;
         return;
      }
   clause.address = takeHop( line, AddressFamily::ipv4 );
}

void takeIpv6NextHop( LineCursor & line, SetClause & clause, const SetForm & ) {
   clause.address = takeHop( line, AddressFamily::ipv6 );
   if( isLinkLocal( *clause.address ) || *clause.address == Ferule::IpGenAddr( "::1" ) ) throw RefusedLine{ "the address is not global" };
}

std::string nextHopText( const SetClause & clause ) {
   return clause.address ? std::string( clause.address->toStrep().view() ) : clause.word;
}

// ---- carried operands: each is written as it is kept

std::string wordText( const SetClause & clause ) {
   return clause.word;
}

void takeNothing( LineCursor &, SetClause &, const SetForm & ) {}

void takeCarriedNumber( LineCursor & line, SetClause & clause, const SetForm & form ) {
   clause.word = std::to_string( takeNumber( line, form.what, form.min, form.max ) );
}

template <AddressFamily af>
void takeCarriedAddress( LineCursor & line, SetClause & clause, const SetForm & ) {
   clause.word = takeAddress( line, af ).toStrep().view();
}

void takeLinkLocal( LineCursor & line, SetClause & clause, const SetForm & ) {
   const auto address = takeAddress( line, AddressFamily::ipv6 );
   if( !isLinkLocal( address ) ) throw RefusedLine{ "the address is not link-local" };
   clause.word = address.toStrep().view();
}

// As FRR has it: IPv4 neither 0.0.0.0 nor multicast nor reserved, IPv6 neither link-local nor multicast.
template <AddressFamily af>
void takeGateway( LineCursor & line, SetClause & clause, const SetForm & ) {
   const auto address = takeAddress( line, af );
   const auto high = address.bits().high;
   const bool isUnusable = af == AddressFamily::ipv4 ? high == 0 || high >> 60 >= 0xe : isLinkLocal( address ) || high >> 56 == 0xff;
   if( isUnusable ) throw RefusedLine{ "the address cannot be a gateway" };
   clause.word = address.toStrep().view();
}

template <AddressFamily af>
void takeVpnHop( LineCursor & line, SetClause & clause, const SetForm & ) {
   const auto address = parseAddress( line.peek().text );
   if( !address ) throwExpected( addressName( af ), line.peek() );
   if( address->af() != af ) throw RefusedLine{ af == AddressFamily::ipv4 ? "the address is not IPv4" : "the address is not IPv6" };
   clause.word = address->toStrep().view();
   line.take();
}

// Of either family.
void takeCarriedAnyAddress( LineCursor & line, SetClause & clause, const SetForm & ) {
   const auto address = parseAddress( line.peek().text );
   if( !address ) throwExpected( "an address", line.peek() );
   clause.word = address->toStrep().view();
   line.take();
}

template <const auto & words>   // one of them
void takeCarriedWord( LineCursor & line, SetClause & clause, const SetForm & ) {
   const auto at = std::ranges::find( words, line.peek().text );
   if( at == std::end( words ) ) throwExpectedOneOf( words, line );
   clause.word = *at;
   line.take();
}
constexpr std::string_view kMetricTypes[] = { "type-1", "type-2" };
constexpr std::string_view kEncapsulations[] = { "gre", "gretap" };

void takeAggregator( LineCursor & line, SetClause & clause, const SetForm & form ) {
   if( !line.takeWords( kAs ) ) throwExpected( inQuotes( kAs ), line.peek() );
   const auto as = takeNumber( line, form.what, form.min, form.max );
   clause.word = fmt::format( "as {} {}", as, takeAddress( line, AddressFamily::ipv4 ).toStrep().view() );
}

void takeAigpMetric( LineCursor & line, SetClause & clause, const SetForm & form ) {
   constexpr std::string_view kIgp = "igp-metric";
   if( line.takeWords( kIgp ) )
      clause.word = kIgp;
   else
      takeCarriedNumber( line, clause, form );
}

void takeBandwidth( LineCursor & line, SetClause & clause, const SetForm & form ) {
   for( const std::string_view word : { "cumulative", "num-multipaths" } )
      if( line.takeWords( word ) ) clause.word = word;
   if( clause.word.empty() ) takeCarriedNumber( line, clause, form );
   if( line.takeWords( "non-transitive" ) ) clause.word += " non-transitive";
}

// ---- the table

constexpr SetForm frr( SetKind kind, std::string_view words, decltype( SetForm::take ) take, decltype( SetForm::text ) text = wordText ) {
   return { .kind = kind, .words = words, .take = take, .text = text, .only = Dialect::frr };
}

constexpr SetForm number( SetForm form, std::string_view what, uint64_t min, uint64_t max ) {
   form.what = what;
   form.min = min;
   form.max = max;
   return form;
}

constexpr SetForm naming( SetForm form, std::string_view what, ThingKind kind ) {
   form.what = what;
   form.refersTo = kind;
   return form;
}

constexpr SetForm removed( SetForm::Removal removal, SetForm form, std::string_view bare = {} ) {
   form.removal = removal;
   form.bare = bare;
   return form;
}

constexpr SetForm removesRefused( SetForm form ) {
   form.removesRefused = true;
   return form;
}

constexpr auto kAnyOperand = SetForm::Removal::anyOperand, kWholeOperand = SetForm::Removal::wholeOperand,
               kNoOperand = SetForm::Removal::noOperand;

constexpr SetForm deletes( SetKind kind, std::string_view words, std::string_view what, ThingKind list ) {
   return naming( frr( kind, words, takeListToDelete, listToDeleteText ), what, list );
}

constexpr auto kIpv4 = AddressFamily::ipv4, kIpv6 = AddressFamily::ipv6;

// clang-format off
constexpr SetForm kForms[] = {
   removesRefused( number( { SetKind::metric, "metric", takeMetric, numberText }, "a metric", 0, Zeugma::MaybeU63::kAbsent - 1 ) ),
   number( { SetKind::distance, "distance", takeDistance, numberText }, "a distance", 1, 255 ),
   number( { SetKind::tag, "tag", takeTag, numberText }, "a tag", 0, kMax32 ),
   removesRefused( number( { SetKind::localPreference, "local-preference", takeLocalPreference, numberText }, "a local preference", 0, kMax32 ) ),
   removesRefused( { SetKind::community, "community", takeCommunity, communityText } ),
   number( frr( SetKind::minMetric, "min-metric", takeNumberOf, numberText ), "a metric", 0, kMax32 ),
   number( frr( SetKind::maxMetric, "max-metric", takeNumberOf, numberText ), "a metric", 0, kMax32 ),
   frr( SetKind::origin, "origin", takeOrigin, originText ),
   removed( kAnyOperand, frr( SetKind::asPathPrepend, "as-path prepend", takePrepend, prependText ), kLastAs ),
   naming( frr( SetKind::asPathExclude, "as-path exclude", takeExclude, excludeText ), "", ThingKind::asPathList ),
   naming( frr( SetKind::asPathReplace, "as-path replace", takeReplace, replaceText ), "", ThingKind::asPathList ),
   deletes( SetKind::commListDelete, "comm-list", "the name of a community list", ThingKind::communityList ),
   removesRefused( frr( SetKind::largeCommunity, "large-community", takeLargeCommunity, largeCommunityText ) ),
   deletes( SetKind::largeCommListDelete, "large-comm-list", "the name of a large community list", ThingKind::largeCommunityList ),
   removesRefused( frr( SetKind::extRouteTarget, "extcommunity rt", takeExtCommunity, extCommunityText ) ),
   frr( SetKind::extSiteOfOrigin, "extcommunity soo", takeExtCommunity, extCommunityText ),
   frr( SetKind::extNodeTarget, "extcommunity nt", takeExtCommunity, extCommunityText ),
   frr( SetKind::extColor, "extcommunity color", takeExtCommunity, extCommunityText ),
   frr( SetKind::extNone, "extcommunity none", takeNothing ),
   deletes( SetKind::extCommListDelete, "extended-comm-list", "the name of an extended community list", ThingKind::extCommunityList ),
   removesRefused( frr( SetKind::ipNextHop, "ip next-hop", takeIpNextHop, nextHopText ) ),
   removesRefused( removed( kWholeOperand, frr( SetKind::ipv6NextHopGlobal, "ipv6 next-hop global", takeIpv6NextHop, nextHopText ) ) ),
   number( frr( SetKind::weight, "weight", takeCarriedNumber ), "a weight", 0, kMax32 ),
   frr( SetKind::atomicAggregate, "atomic-aggregate", takeNothing ),
   number( removed( kWholeOperand, frr( SetKind::aggregator, "aggregator", takeAggregator ), kAs ), "an AS", 1, kMax32 ),
   frr( SetKind::originatorId, "originator-id", takeCarriedAddress<kIpv4> ),
   number( frr( SetKind::labelIndex, "label-index", takeCarriedNumber ), "an index", 0, 1048560 ),
   number( frr( SetKind::aigpMetric, "aigp-metric", takeAigpMetric ), "a metric", 1, kMax32 ),
   number( frr( SetKind::extBandwidth, "extcommunity bandwidth", takeBandwidth ), "a bandwidth", 1, 25600 ),
   removesRefused( frr( SetKind::ipv6NextHopLocal, "ipv6 next-hop local", takeLinkLocal ) ),
   frr( SetKind::ipv6NextHopPeer, "ipv6 next-hop peer-address", takeNothing ),
   frr( SetKind::ipv6NextHopPreferGlobal, "ipv6 next-hop prefer-global", takeNothing ),
   removesRefused( frr( SetKind::ipv4VpnNextHop, "ipv4 vpn next-hop", takeVpnHop<kIpv4> ) ),
   removesRefused( frr( SetKind::ipv6VpnNextHop, "ipv6 vpn next-hop", takeVpnHop<kIpv6> ) ),
   number( removed( kNoOperand, frr( SetKind::table, "table", takeCarriedNumber ) ), "a table", 1, kMax32 ),
   number( frr( SetKind::srTeColor, "sr-te color", takeCarriedNumber ), "a color", 1, kMax32 ),
   frr( SetKind::src, "src", takeCarriedAnyAddress ),
   frr( SetKind::metricType, "metric-type", takeCarriedWord<kMetricTypes> ),
   frr( SetKind::forwardingAddress, "forwarding-address", takeCarriedAddress<kIpv6> ),
   removed( kWholeOperand, frr( SetKind::evpnGatewayIpv4, "evpn gateway-ip ipv4", takeGateway<kIpv4> ) ),
   removed( kWholeOperand, frr( SetKind::evpnGatewayIpv6, "evpn gateway-ip ipv6", takeGateway<kIpv6> ) ),
   removed( kWholeOperand, frr( SetKind::l3vpnEncapsulation, "l3vpn next-hop encapsulation", takeCarriedWord<kEncapsulations> ) ),
};
// clang-format on

constexpr bool isInOrder() {
   for( size_t i = 0; i < std::size( kForms ); ++i )
      if( size_t( kForms[ i ].kind ) != i ) return false;
   return true;
}
static_assert( isInOrder() );

}   // namespace

std::span<const SetForm> setForms() noexcept {
   return kForms;
}

const SetForm & setForm( SetKind kind ) noexcept {
   return kForms[ size_t( kind ) ];
}

std::optional<ThingKind> thingNamedBy( const SetClause & clause ) noexcept {
   return clause.word.empty() ? std::nullopt : setForm( clause.kind ).refersTo;
}

}   // namespace Agent
