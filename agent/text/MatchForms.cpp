#include "text/MatchForms.h"

#include <algorithm>
#include <iterator>

#include "substrate/zeugma/MaybeU63.h"
#include "text/Constants.h"

namespace Agent {

namespace {

using Operand = MatchForm::Operand;
using Subject = MatchForm::Subject;

constexpr std::string_view kPrefixList = "the name of a prefix list";
constexpr std::string_view kAccessList = "the name of an access list";
constexpr std::string_view kNextHop = "an address or the name of an access list";

constexpr MatchForm number( std::string_view words, MatchOption option, std::string_view what, uint64_t max ) {
   return { .words = words, .option = option, .operand = Operand::number, .what = what, .max = max };
}

// clang-format off
constexpr MatchForm kForms[] = {
   { "ip address prefix-list", MatchOption::matchIpPrefixList, Operand::invertibleName, kPrefixList, ThingKind::ipv4PrefixList, Subject::prefix },
   { "ipv6 address prefix-list", MatchOption::matchIpv6PrefixList, Operand::invertibleName, kPrefixList, ThingKind::ipv6PrefixList, Subject::prefix },
   { "ip address", MatchOption::matchIpAccessList, Operand::name, kAccessList, ThingKind::ipv4AccessList, Subject::prefix },
   { "ipv6 address", kMatchIpv6AccessList, Operand::name, kAccessList, ThingKind::ipv6AccessList, Subject::prefix },
   { "ip next-hop prefix-list", MatchOption::matchIpNexthopPrefixList, Operand::name, kPrefixList, ThingKind::ipv4PrefixList, Subject::nextHop },
   { "ipv6 next-hop prefix-list", MatchOption::matchIpv6NexthopPrefixList, Operand::name, kPrefixList, ThingKind::ipv6PrefixList, Subject::nextHop },
   { "ip next-hop", MatchOption::matchIpNexthop, Operand::nextHop, kNextHop, ThingKind::ipv4AccessList, Subject::nextHop },
   { "ipv6 next-hop", MatchOption::matchIpv6Nexthop, Operand::nextHop, kNextHop, ThingKind::ipv6AccessList, Subject::nextHop },
   number( "tag", MatchOption::matchTag, "a tag", kMax32 ),
   { "tag-set", MatchOption::matchTagSet, Operand::name, "the name of a tag set", ThingKind::tagSet },
   number( "metric", MatchOption::matchMetric, "a metric", Zeugma::MaybeU63::kAbsent - 1 ),
   { "source-protocol", MatchOption::matchSourceProtocol, Operand::protocol, "" },
   number( "ospf-instance", MatchOption::matchOspfInstance, "an instance", kMax32 ),
   number( "isis-instance", MatchOption::matchIsisInstance, "an instance", kMax32 ),
   { "interface", MatchOption::matchInterface, Operand::name, "the name of an interface" },
   { "community", MatchOption::matchCommunity, Operand::name, "the name of a community list", ThingKind::communityList },
   { "as-path", MatchOption::matchAsPath, Operand::name, "the name of an AS path list", ThingKind::asPathList },
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
   std::vector<std::string_view> words;
   for( const auto & form : kForms ) {
      if( !form.words.starts_with( begun ) || ( dialect && !isIn( *dialect, form.only ) ) ) continue;
      const auto rest = form.words.substr( begun.size() );
      const auto word = rest.substr( 0, rest.find( ' ' ) );
      if( std::ranges::find( words, word ) == words.end() ) words.push_back( word );
   }
   return words;
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
