#include "text/MatchForms.h"

#include <algorithm>
#include <iterator>

#include "substrate/zeugma/MaybeU63.h"
#include "text/Constants.h"
#include "text/FormWords.h"
#include "text/RpkiState.h"
#include "text/ValueOptions.h"

namespace Agent {

namespace {

using Operand = MatchForm::Operand;
using Subject = MatchForm::Subject;

constexpr std::string_view kPrefixList = "the name of a prefix list";
constexpr std::string_view kAccessList = "the name of an access list";
constexpr std::string_view kNextHop = "an address or the name of an access list";

constexpr std::string_view kOrigins[] = { "igp", "egp", "incomplete" };   // as in Origin
constexpr std::string_view kEvpnTypes[] = { "ead", "1", "macip", "2", "multicast", "3", "es", "4", "prefix", "5" };

constexpr MatchForm number( std::string_view words, MatchOption option, std::string_view what, uint64_t max ) {
   return { .words = words, .option = option, .operand = Operand::number, .what = what, .max = max };
}

constexpr MatchForm only( Dialect dialect, MatchForm form ) {
   form.only = dialect;
   return form;
}

constexpr Daemons kBgpd = daemonsOf( Daemon::bgpd );
constexpr Daemons kZebra = daemonsOf( Daemon::zebra );
constexpr Daemons kPimd = daemonsOf( Daemon::pimd );

// A clause that only these daemons have.
constexpr MatchForm of( Daemons daemons, MatchForm form ) {
   form.daemons = daemons;
   return form;
}

// A clause of FRR alone; of bgpd unless it is told.
constexpr MatchForm frr( std::string_view words, ValueOption option, Operand operand, std::string_view what = "" ) {
   return of( kBgpd, { .words = words, .option = optionOf( option ), .operand = operand, .what = what, .only = Dialect::frr } );
}
constexpr MatchForm frrNumber( std::string_view words, ValueOption option, std::string_view what, uint64_t max ) {
   return of( kBgpd, only( Dialect::frr, number( words, optionOf( option ), what, max ) ) );
}
constexpr MatchForm frrKeyword( std::string_view words, ValueOption option, std::span<const std::string_view> keywords ) {
   auto form = frr( words, option, Operand::keyword );
   form.keywords = keywords;
   return form;
}
constexpr MatchForm removedWhole( MatchForm form ) {
   form.isRemovedWhole = true;
   return form;
}
// A clause that not all routes answer.
constexpr MatchForm toldBy( std::string_view field, MatchForm form ) {
   form.field = field;
   return form;
}
constexpr MatchForm assumed( MatchForm form ) {
   return toldBy( "", form );
}
constexpr MatchForm communities( std::string_view words, MatchOption option, std::string_view what, ThingKind list ) {
   return of( kBgpd, only( Dialect::frr, { words, option, Operand::comparedName, what, list } ) );
}

// clang-format off
constexpr MatchForm kForms[] = {
   of( kZebra, frrNumber( "ip address prefix-len", ValueOption::ipPrefixLength, "a length", 32 ) ),
   of( kZebra, frrNumber( "ipv6 address prefix-len", ValueOption::ipv6PrefixLength, "a length", 128 ) ),
   of( kZebra, frrNumber( "ip next-hop prefix-len", ValueOption::ipNextHopLength, "a length", 32 ) ),
   of( kAllDaemons, frr( "ip next-hop type blackhole", ValueOption::ipNextHopBlackhole, Operand::none ) ),
   of( kAllDaemons, frr( "ipv6 next-hop type blackhole", ValueOption::ipv6NextHopBlackhole, Operand::none ) ),
   frr( "ip next-hop address", ValueOption::ipNextHopAddress, Operand::address, "an IPv4 address" ),
   frr( "ipv6 next-hop address", ValueOption::ipv6NextHopAddress, Operand::address, "an IPv6 address" ),
   toldBy( "peer", of( kBgpd, only( Dialect::frr, { "ip route-source prefix-list", kMatchRouteSourcePrefixList, Operand::name, kPrefixList, ThingKind::ipv4PrefixList } ) ) ),
   toldBy( "peer", of( kBgpd, only( Dialect::frr, { "ip route-source", kMatchRouteSource, Operand::name, kAccessList, ThingKind::ipv4AccessList } ) ) ),
   frrNumber( "local-preference", ValueOption::localPreference, "a local preference", kMax32 ),
   toldBy( "origin", frrKeyword( "origin", ValueOption::origin, kOrigins ) ),
   assumed( frrNumber( "probability", ValueOption::probability, "a percentage", 100 ) ),
   of( daemonsOf( Daemon::zebra, Daemon::bgpd ), frr( "source-protocol", ValueOption::sourceProtocol, Operand::protocol ) ),
   of( kZebra, frrNumber( "source-instance", ValueOption::sourceInstance, "an instance", 255 ) ),
   toldBy( "peer", frr( "peer", ValueOption::peer, Operand::peer, "an address, a name or \"local\"" ) ),
   toldBy( "rpki", removedWhole( frrKeyword( "rpki", ValueOption::rpki, kRpkiStates ) ) ),
   removedWhole( frrKeyword( "rpki-extcommunity", ValueOption::rpkiExtCommunity, kRpkiStates ) ),
   toldBy( "peer", frr( "src-peer", ValueOption::sourcePeer, Operand::peer, "an address, a name or \"local\"" ) ),
   frrNumber( "community-limit", ValueOption::communityLimit, "a number", 65535 ),
   frrNumber( "extcommunity-limit", ValueOption::extCommunityLimit, "a number", 65535 ),
   assumed( removedWhole( frr( "source-vrf", ValueOption::sourceVrf, Operand::name, "the name of a VRF" ) ) ),
   assumed( frr( "vrl-source-vrf", ValueOption::vrlSourceVrf, Operand::name, "the name of a VRF" ) ),
   assumed( removedWhole( frrKeyword( "evpn route-type", ValueOption::evpnRouteType, kEvpnTypes ) ) ),
   assumed( removedWhole( frrNumber( "evpn vni", ValueOption::evpnVni, "a VNI", 16777215 ) ) ),
   assumed( frr( "evpn rd", ValueOption::evpnRd, Operand::name, "a route distinguisher" ) ),
   assumed( frr( "evpn default-route", ValueOption::evpnDefaultRoute, Operand::none ) ),
   assumed( frr( "alias", ValueOption::alias, Operand::name, "the alias of a community" ) ),
   assumed( removedWhole( frr( "mac address", ValueOption::macAddress, Operand::name, "the name of a MAC access list" ) ) ),
   assumed( of( kPimd, frr( "ip multicast-source", ValueOption::multicastSource, Operand::text, "an address or a prefix list" ) ) ),
   assumed( of( kPimd, frr( "ip multicast-group", ValueOption::multicastGroup, Operand::text, "an address or a prefix list" ) ) ),
   assumed( of( kPimd, frr( "multicast-interface", ValueOption::multicastInterface, Operand::name, "the name of an interface" ) ) ),
   assumed( of( kPimd, frr( "multicast-iif", ValueOption::multicastIif, Operand::name, "the name of an interface" ) ) ),
   assumed( frr( "script", ValueOption::script, Operand::name, "the name of a script" ) ),
   { "ip address prefix-list", MatchOption::matchIpPrefixList, Operand::invertibleName, kPrefixList, ThingKind::ipv4PrefixList, Subject::prefix },
   { "ipv6 address prefix-list", MatchOption::matchIpv6PrefixList, Operand::invertibleName, kPrefixList, ThingKind::ipv6PrefixList, Subject::prefix },
   { "ip address", MatchOption::matchIpAccessList, Operand::name, kAccessList, ThingKind::ipv4AccessList, Subject::prefix },
   { "ipv6 address", kMatchIpv6AccessList, Operand::name, kAccessList, ThingKind::ipv6AccessList, Subject::prefix },
   { "ip next-hop prefix-list", MatchOption::matchIpNexthopPrefixList, Operand::name, kPrefixList, ThingKind::ipv4PrefixList, Subject::nextHop },
   { "ipv6 next-hop prefix-list", MatchOption::matchIpv6NexthopPrefixList, Operand::name, kPrefixList, ThingKind::ipv6PrefixList, Subject::nextHop },
   { "ip next-hop", MatchOption::matchIpNexthop, Operand::nextHop, kNextHop, ThingKind::ipv4AccessList, Subject::nextHop },
   { "ipv6 next-hop", MatchOption::matchIpv6Nexthop, Operand::nextHop, kNextHop, ThingKind::ipv6AccessList, Subject::nextHop },
   number( "tag", MatchOption::matchTag, "a tag", kMax32 ),
   only( Dialect::native, { "tag-set", MatchOption::matchTagSet, Operand::name, "the name of a tag set", ThingKind::tagSet } ),
   number( "metric", MatchOption::matchMetric, "a metric", Zeugma::MaybeU63::kAbsent - 1 ),
   only( Dialect::native, { "source-protocol", MatchOption::matchSourceProtocol, Operand::protocol, "" } ),
   only( Dialect::native, number( "ospf-instance", MatchOption::matchOspfInstance, "an instance", kMax32 ) ),
   only( Dialect::native, number( "isis-instance", MatchOption::matchIsisInstance, "an instance", kMax32 ) ),
   { "interface", MatchOption::matchInterface, Operand::name, "the name of an interface" },
   of( kBgpd, { "community", MatchOption::matchCommunity, Operand::comparedName, "the name of a community list", ThingKind::communityList } ),
   communities( "large-community", MatchOption::matchLargeCommunity, "the name of a large community list", ThingKind::largeCommunityList ),
   communities( "extcommunity", MatchOption::matchExtCommunity, "the name of an extended community list", ThingKind::extCommunityList ),
   of( kBgpd, { "as-path", MatchOption::matchAsPath, Operand::name, "the name of an AS path list", ThingKind::asPathList } ),
};
// clang-format on

template <class Is>
const MatchForm * find( Is is ) noexcept {
   const auto * at = std::ranges::find_if( kForms, is );
   return at == std::end( kForms ) ? nullptr : at;
}

}   // namespace

std::span<const MatchForm> matchForms() noexcept {
   return kForms;
}

const MatchForm * matchForm( MatchOption option ) noexcept {
   return find( [ = ]( const MatchForm & form ) { return form.option == option; } );
}

std::vector<std::string_view> matchWordsBehind( std::string_view begun, std::optional<Dialect> dialect ) {
   return wordsBehind( kForms, begun, dialect );
}

std::optional<AddressFamily> familyOf( const MatchForm & form ) noexcept {
   return form.refersTo ? addressFamilyOf( *form.refersTo ) : std::nullopt;
}

std::optional<ThingKind> thingNamedBy( MatchOption option, const MatchClause & clause ) noexcept {
   const auto * form = clause.address ? nullptr : matchForm( option );
   return form ? form->refersTo : std::nullopt;
}

const MatchForm * matchFormNaming( ThingKind kind, const MatchForm & inPlaceOf ) noexcept {
   if( inPlaceOf.subject == Subject::other ) return nullptr;
   return find( [ & ]( const MatchForm & form ) {
      return form.refersTo == kind && form.subject == inPlaceOf.subject && form.option != inPlaceOf.option &&
         familyOf( form ) == familyOf( inPlaceOf );
   } );
}

}   // namespace Agent
