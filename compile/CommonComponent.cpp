#include "compile/CommonComponent.h"

#include "policy/IsisInstanceMatcher.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/SourceProtoMatcher.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using namespace Routing::RouteMap;

namespace {

const Plinth::TraceHandle trace( "CommonComponent" );

// Calls `f` with the classes of matcher and symbol that an option has.
template <class F>
auto withListKind( MatchOption option, F && f ) {
   switch( option ) {
      case MatchOption::matchIpAccessList: return f.template operator()<IpAccessListMatcher, IpAccessListSymbol>();
      case MatchOption::matchTagSet: return f.template operator()<TagSetMatcher, TagSetSymbol>();
      case MatchOption::matchIpPrefixList:
      case MatchOption::matchIpv6PrefixList: break;
      default: QUOIN_ASSERT( false, "0 && \"Unsupported match option\"" );
   }
   return f.template operator()<PrefixListMatcher, PrefixListSymbol>();
}

}   // namespace

CommonComponentRmSeqConfigSmInterface::~CommonComponentRmSeqConfigSmInterface() = default;

Quoin::Ptr<PrefixListSymbol> getPrefixListSymbol( Quoin::String name, const Quoin::Ptr<const PrefixListSymbolDedupTable> & table ) {
   return table->symbol( name );
}

Quoin::Ptr<IpAccessListSymbol> getIpAccessListSymbol( Quoin::String name, const Quoin::Ptr<const IpAccessListSymbolDedupTable> & table ) {
   return table->symbol( name );
}

Quoin::Ptr<TagSetSymbol> getTagSetSymbol( Quoin::String name, const Quoin::Ptr<const TagSetSymbolDedupTable> & table ) {
   return table->symbol( name );
}

RouteProto routeMapProtocolToRouteProto( Protocol protocol ) {
   static constexpr uint32_t kRouteProto[] = { 0, 1, 24, 31, 10, 4, 9, 15, 49, 52 };
   const unsigned number = unsigned( protocol );
   QUOIN_ASSERT( number >= 1 && number < std::size( kRouteProto ), "0 && \"Unsupported RouteMap Protocol match option\"" );
   return RouteProto( kRouteProto[ number ] );
}

void listMatcherIs( MatcherChange & change, const MatchRule & rule, const PolicySymbol & symbol ) {
   withListKind( rule.option, [ & ]<class M, class Symbol>() {
      const auto & list = static_cast<const Symbol &>( symbol );
      const auto matcher = Quoin::makeNode<M>( list.name(), list.status() );
      constexpr bool isPrefixList = std::is_same_v<M, PrefixListMatcher>;
      if constexpr( isPrefixList ) matcher->invertResultIs( rule.invertResult );
      change.matcherIs( matcher );
      change.prefixListUndefinedIs( isPrefixList && !list.status() );
   } );
}

bool isOfPresentList( const Matcher & matcher, MatchOption option, const PolicySymbol & symbol ) {
   return withListKind( option, [ & ]<class M, class Symbol>() {
      const auto * m = dynamic_cast<const M *>( &matcher );
      return m && m->status() == static_cast<const Symbol &>( symbol ).status();
   } );
}

void matchRuleIs( MatcherChange & change, MatcherChangeSymbol & symbols, const MatchRule & rule, const PolicyRoot & policyRoot ) {
   const auto number = static_cast<uint32_t>( rule.numericValue );
   const auto list = [ & ]( const Quoin::Ptr<const PolicySymbol> & symbol ) {
      symbols.matchSymbolIs( symbol );
      listMatcherIs( change, rule, *symbol );
   };
   switch( rule.option ) {
      case MatchOption::matchIpAccessList: return list( getIpAccessListSymbol( rule.listName, policyRoot.ipv4AclListTable() ) );
      case MatchOption::matchIpPrefixList: return list( getPrefixListSymbol( rule.listName, policyRoot.ipv4PrefixListTable() ) );
      case MatchOption::matchIpv6PrefixList: return list( getPrefixListSymbol( rule.listName, policyRoot.ipv6PrefixListTable() ) );
      case MatchOption::matchTagSet: return list( getTagSetSymbol( rule.listName, policyRoot.tagSetTable() ) );
      case MatchOption::matchIsisInstance: return change.matcherIs( Quoin::makeNode<IsisInstanceMatcher>( number ) );
      case MatchOption::matchOspfInstance: return change.matcherIs( Quoin::makeNode<OspfInstanceMatcher>( number ) );
      case MatchOption::matchTag: return change.matcherIs( Quoin::makeNode<TagMatcher>( RouteTag( number ) ) );
      case MatchOption::matchSourceProtocol:
         return change.matcherIs(
            Quoin::makeNode<SourceProtoMatcher>( routeMapProtocolToRouteProto( Protocol( static_cast<uint8_t>( number ) ) ) ) );
      default: break;
   }
   // An option that is said to be supported and is missing above must not go unseen.
   const unsigned option = unsigned( rule.option );
   const bool belongsToOthers = ( option >= 3 && option <= 16 ) || ( option >= 100 && option <= 130 );
   QUOIN_ASSERT( !belongsToOthers, "false && \"option not supported\"" );
   change.matcherIs( nullptr );
}

bool CommonComponentRmSeqConfigSmInterface::matchRuleSupported( MatchOption option ) const {
   PLINTH_TRACE( trace, level8 ) << "option: " << option;
   constexpr uint32_t kFrom106 = 0x6000681;   // bit n is option 106 + n
   const unsigned number = unsigned( option );
   if( number < 3 ) return number != 0;
   return number >= 106 && number <= 132 && ( kFrom106 >> ( number - 106 ) & 1 );
}

}   // namespace Routing::Policy
