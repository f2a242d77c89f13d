#include "compile/CommonComponent.h"

#include <utility>

#include "substrate/plinth/Exception.h"
#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using namespace Routing::RouteMap;

namespace {

const Plinth::TraceHandle trace( "CommonComponent" );

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
   QUOIN_ASSERT( isProtocol( number ), "0 && \"Unsupported RouteMap Protocol match option\"" );
   return RouteProto( kRouteProto[ number ] );
}

const MatchOptionRow & listOptionRow( MatchOption option, std::span<const MatchOptionRow> own ) {
   const auto * row = findMatchOption( option, own );
   QUOIN_ASSERT( row && row->isOfPresentList, "0 && \"Unsupported match option\"" );
   return *row;
}

void matcherIs( MatcherChange & change, const MatchOptionRow & row, const MatchRule & rule, const PolicySymbol * symbol ) {
   const bool undefined = symbol && row.list->isUndefined( *symbol );
   const auto isReportedAs = [ & ]( auto bit ) { return undefined && row.list->reportedAs.has( bit ); };
   change.listIs( row.list );
   auto matcher = row.makeMatcher( rule, symbol );
   if( !matcher ) Plinth::throwMutatorArgNullPointerException( "MatchOptionRow::makeMatcher" );
   change.matcherIs( std::move( matcher ) );
   change.prefixListUndefinedIs( isReportedAs( UndefinedPolicyReferenceBitfield::prefixListUndefined ) );
   change.commListUndefinedIs( isReportedAs( UndefinedPolicyReferenceBitfield::commListUndefined ) );
}

void matchRuleIs( MatcherChange & change, MatcherChangeSymbol & symbols, const MatchRule & rule, const PolicyRoot & policyRoot,
                  std::span<const MatchOptionRow> own ) {
   const auto * row = findMatchOption( rule.option, own );
   const bool isCompiled = row && row->makeMatcher;
   QUOIN_ASSERT( isCompiled || !isMatchOption( rule.option ), "false && \"option not supported\"" );
   if( !isCompiled ) return change.matcherIs( nullptr );
   Quoin::Ptr<const PolicySymbol> symbol;
   if( row->list && ( !row->namesList || row->namesList( rule ) ) ) {
      symbol = row->list->symbol( rule.listName, policyRoot );
      symbols.matchSymbolIs( symbol );
   }
   matcherIs( change, *row, rule, symbol.get() );
}

bool CommonComponentRmSeqConfigSmInterface::matchRuleSupported( MatchOption option ) const {
   PLINTH_TRACE( trace, level8 ) << "option: " << option;
   const auto * row = findMatchOption( option, ownOptions_ );
   return row && row->makeMatcher;
}

const MatchOptionRow & CommonComponentRmSeqConfigSmInterface::matchOption( MatchOption option ) const {
   const auto * row = findMatchOption( option, ownOptions_ );
   QUOIN_ASSERT( row && row->makeMatcher, "false && \"option not supported\"" );
   return *row;
}

}   // namespace Routing::Policy
