#include "text/MatchForms.h"

#include <algorithm>
#include <iterator>

#include "substrate/zeugma/MaybeU63.h"
#include "text/Constants.h"

namespace Agent {

namespace {

using Operand = MatchForm::Operand;

constexpr std::string_view kPrefixList = "the name of a prefix list";
constexpr std::string_view kNextHop = "an address or the name of an access list";

constexpr MatchForm kForms[] = {
   { "ip address prefix-list", MatchOption::matchIpPrefixList, Operand::invertibleName, kPrefixList },
   { "ipv6 address prefix-list", MatchOption::matchIpv6PrefixList, Operand::invertibleName, kPrefixList },
   { "ip address", MatchOption::matchIpAccessList, Operand::name, "the name of an access list" },
   { "ipv6 address", kMatchIpv6AccessList, Operand::name, "the name of an access list" },
   { "ip next-hop prefix-list", MatchOption::matchIpNexthopPrefixList, Operand::name, kPrefixList },
   { "ipv6 next-hop prefix-list", MatchOption::matchIpv6NexthopPrefixList, Operand::name, kPrefixList },
   { "ip next-hop", MatchOption::matchIpNexthop, Operand::nextHop, kNextHop },
   { "ipv6 next-hop", MatchOption::matchIpv6Nexthop, Operand::nextHop, kNextHop },
   { "tag", MatchOption::matchTag, Operand::number, "a tag", kMax32 },
   { "tag-set", MatchOption::matchTagSet, Operand::name, "the name of a tag set" },
   { "metric", MatchOption::matchMetric, Operand::number, "a metric", Zeugma::MaybeU63::kAbsent - 1 },
   { "source-protocol", MatchOption::matchSourceProtocol, Operand::protocol, "" },
   { "ospf-instance", MatchOption::matchOspfInstance, Operand::number, "an instance", kMax32 },
   { "isis-instance", MatchOption::matchIsisInstance, Operand::number, "an instance", kMax32 },
   { "interface", MatchOption::matchInterface, Operand::name, "the name of an interface" },
   { "community", MatchOption::matchCommunity, Operand::name, "the name of a community list" },
   { "as-path", MatchOption::matchAsPath, Operand::name, "the name of an AS path list" },
};

}   // namespace

std::span<const MatchForm> matchForms() noexcept {
   return kForms;
}

const MatchForm * matchForm( MatchOption option ) noexcept {
   const auto * const at =
      std::find_if( std::begin( kForms ), std::end( kForms ), [ = ]( const auto & form ) { return form.option == option; } );
   return at == std::end( kForms ) ? nullptr : at;
}

}   // namespace Agent
