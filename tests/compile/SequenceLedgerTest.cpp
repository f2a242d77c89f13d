#include "compile/SequenceLedger.h"

#include <cstdint>
#include <set>
#include <vector>

#include <gmock/gmock.h>

#include "compile/PolicyRoot.h"

namespace {

using namespace Routing::Policy;
using testing::ElementsAre;
using testing::IsEmpty;

class SequenceLedgerTest : public testing::Test {
 protected:
   /// The sequences that are asked whether they are modified.
   std::vector<uint32_t> asked() {
      std::vector<uint32_t> all;
      found = ledger.findModified( [ & ]( uint32_t seqno ) {
         all.push_back( seqno );
         return modified.contains( seqno );
      } );
      return all;
   }
   SequenceLedger ledger;
   std::set<uint32_t> modified;
   bool found = false;
};

TEST_F( SequenceLedgerTest, asksTheEnteredSequencesUpToTheFirstModifiedOne ) {
   EXPECT_THAT( asked(), IsEmpty() );
   EXPECT_FALSE( found );
   for( const uint32_t seqno : { 30, 10, 20, 20, 10 } ) ledger.recordedIs( seqno );
   modified = { 20 };
   EXPECT_THAT( asked(), ElementsAre( 10, 20 ) );
   EXPECT_TRUE( found );
   EXPECT_THAT( asked(), ElementsAre( 20 ) ) << "10 is deleted";
   modified.clear();
   EXPECT_THAT( asked(), ElementsAre( 20, 30 ) );
   EXPECT_FALSE( found );
   EXPECT_THAT( asked(), IsEmpty() );
}

TEST_F( SequenceLedgerTest, aSequenceIsEnteredAgainAfterItWasApplied ) {
   ledger.recordedIs( 10 );
   ledger.recordedIs( 20 );
   ledger.appliedIs( 20 );
   EXPECT_THAT( asked(), ElementsAre( 10 ) );
   ledger.recordedIs( 20 );
   ledger.appliedIs( 20 );
   ledger.recordedIs( 20 );
   modified = { 20 };
   EXPECT_THAT( asked(), ElementsAre( 20 ) );
   ledger.recordedIs( 30 );
   ledger.appliedIs( 20 );   // not the highest: it stays until it is asked
   EXPECT_THAT( asked(), ElementsAre( 20 ) );
}

TEST_F( SequenceLedgerTest, asksEachSymbolInUse ) {
   const auto root = Quoin::makeNode<PolicyRoot>();
   using Routing::RouteMap::PolicySymbol;
   const Quoin::Ptr<PolicySymbol> symbols[] = { root->tagSetTable()->symbol( "TS" ), root->routeMapTable()->symbol( "RM" ) };
   for( const auto & symbol : symbols ) {
      symbol->statusCurrentIs( false );
      EXPECT_TRUE( ledger.symbolsAreCurrent() );
      ledger.symbolIs( symbol );
      ledger.symbolIs( symbol );
      ledger.symbolDel( symbol );
      EXPECT_FALSE( ledger.symbolsAreCurrent() ) << "one use is left";
      ledger.symbolDel( symbol );
      EXPECT_TRUE( ledger.symbolsAreCurrent() );
      EXPECT_DEATH( ledger.symbolDel( symbol ), "uses.contains" );
      EXPECT_EQ( PolicySymbol::listsAreCurrent(), !symbol->isOfList() ) << "a callee counts as a list";
      symbol->statusCurrentIs( true );
   }
}

}   // namespace
