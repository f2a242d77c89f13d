#include "substrate/routemap/CallOrder.h"

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/routemap/Config.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;

std::string numbered( size_t i ) {
   return "M" + std::to_string( i );
}

TEST( CallOrder, calleesAreBeforeTheirCallers ) {
   const auto order = makeNode<CallOrder>();
   order->callIs( "A", "B" );
   order->callIs( "C", "A" );
   order->callIs( "B", "D" );
   EXPECT_LT( order->place( "D" ), order->place( "B" ) );
   EXPECT_LT( order->place( "B" ), order->place( "A" ) );
   EXPECT_LT( order->place( "A" ), order->place( "C" ) );
   EXPECT_LT( order->place( "X" ), order->place( "D" ) );
   EXPECT_EQ( order->place( "X" ), order->place( "Y" ) );
   EXPECT_TRUE( order->reaches( "C", "D" ) );
   EXPECT_FALSE( order->reaches( "D", "C" ) );
   EXPECT_FALSE( order->reaches( "A", "A" ) );
   EXPECT_FALSE( order->reaches( "X", "A" ) );
}

TEST( CallOrder, theLastOfSeveralCallsEndsTheConnection ) {
   const auto order = makeNode<CallOrder>();
   order->callIs( "A", "B" );
   order->callIs( "A", "B" );
   order->callDel( "A", "B" );
   EXPECT_TRUE( order->reaches( "A", "B" ) );
   EXPECT_EQ( order->deletions(), 0u );
   order->callDel( "A", "B" );
   EXPECT_FALSE( order->reaches( "A", "B" ) );
   EXPECT_EQ( order->deletions(), 1u );
}

TEST( CallOrder, aCycleEndsTheOrder ) {
   for( const auto & calls : { std::vector<std::pair<const char *, const char *>>{ { "A", "A" } },
                               { { "A", "B" }, { "B", "A" } },
                               { { "A", "B" }, { "C", "A" }, { "B", "D" }, { "D", "C" } } } ) {
      const auto order = makeNode<CallOrder>();
      for( const auto & [ caller, callee ] : calls ) {
         EXPECT_TRUE( order->exists() );
         order->callIs( caller, callee );
      }
      EXPECT_FALSE( order->exists() );
      order->callDel( calls.back().first, calls.back().second );
      order->callIs( "X", "Y" );
      EXPECT_FALSE( order->exists() );
   }
}

TEST( CallOrder, anAdditionThatFindsNoMemoryEndsTheOrder ) {
   const Quoin::String caller( "B" ), callee( "C" );
   size_t n = 0;
   for( bool failed = true; failed; ++n ) {
      const auto order = makeNode<CallOrder>();
      order->callIs( "A", caller );
      {
         const AllocationFailure failure( n );
         order->callIs( caller, callee );   // moves route maps
         failed = failure.happened();
      }
      ASSERT_EQ( order->exists(), !failed ) << "allocation " << n;
      order->callDel( caller, callee );
      order->callIs( callee, "A" );   // no half of the former call closes a cycle
      ASSERT_EQ( order->exists(), !failed ) << "allocation " << n;
   }
   EXPECT_GT( n, 5u );
}

/// Random calls that close no cycle, against the closure of all calls.
TEST( CallOrder, randomCallsAgainstTheirClosure ) {
   constexpr size_t kMaps = 12;
   std::mt19937 random( 7 );
   for( int round = 0; round < 60; ++round ) {
      const auto order = makeNode<CallOrder>();
      std::vector<std::pair<size_t, size_t>> calls;
      const auto reaches = [ & ]( size_t from, size_t to ) {
         std::vector<size_t> at{ from };
         for( size_t i = 0; i < at.size(); ++i )
            for( const auto & [ caller, callee ] : calls ) {
               if( caller != at[ i ] ) continue;
               if( callee == to ) return true;
               if( std::ranges::find( at, callee ) == at.end() ) at.push_back( callee );
            }
         return false;
      };
      for( int edit = 0; edit < 80; ++edit ) {
         const size_t caller = random() % kMaps, callee = random() % kMaps;
         if( random() % 3 == 0 && !calls.empty() ) {
            const auto gone = calls.begin() + ptrdiff_t( random() % calls.size() );
            order->callDel( numbered( gone->first ), numbered( gone->second ) );
            calls.erase( gone );
         } else if( caller != callee && !reaches( callee, caller ) ) {
            order->callIs( numbered( caller ), numbered( callee ) );
            calls.emplace_back( caller, callee );
         }
         ASSERT_TRUE( order->exists() );
         for( const auto & [ from, to ] : calls ) ASSERT_LT( order->place( numbered( to ) ), order->place( numbered( from ) ) );
         ASSERT_EQ( order->reaches( numbered( caller ), numbered( callee ) ), caller != callee && reaches( caller, callee ) );
      }
   }
}

// ---- what a configuration reports

class ReportedCalls : public testing::Test {
 public:
   const Ptr<Config> config = makeNode<Config>();

   Ptr<MapEntry> call( const char * caller, const char * callee, uint32_t seqno = 10 ) const {
      const auto entry = config->routeMapIs( caller )->mapEntryIs( seqno );
      entry->subRouteMapIs( { callee, false } );
      return entry;
   }
   bool calls( const char * caller, const char * callee ) const { return config->callOrder()->reaches( caller, callee ); }
};

TEST_F( ReportedCalls, onRequestAlsoThoseThatExist ) {
   call( "A", "B" );
   EXPECT_EQ( config->callOrder(), nullptr );
   config->callOrderIs();
   const auto order = config->callOrder();
   config->callOrderIs();
   EXPECT_EQ( config->callOrder(), order );
   call( "B", "C" );
   EXPECT_TRUE( calls( "A", "C" ) );
}

TEST_F( ReportedCalls, aReplacedCall ) {
   config->callOrderIs();
   const auto entry = call( "A", "B" );
   entry->subRouteMapIs( { "B", true } );
   EXPECT_EQ( config->callOrder()->deletions(), 0u );
   entry->subRouteMapIs( { "C", true } );
   EXPECT_TRUE( calls( "A", "C" ) );
   EXPECT_FALSE( calls( "A", "B" ) );
   entry->subRouteMapIs( {} );
   EXPECT_FALSE( calls( "A", "C" ) );
}

TEST_F( ReportedCalls, theCallsOfADeletedSequence ) {
   config->callOrderIs();
   const auto map = config->routeMapIs( "A" );
   const auto gone = call( "A", "B" ), replaced = call( "A", "C", 20 );
   map->mapEntryDel( 10 );
   EXPECT_FALSE( calls( "A", "B" ) );
   map->mapEntryDelAll();
   EXPECT_FALSE( calls( "A", "C" ) );
   call( "A", "D", 20 );
   gone->subRouteMapIs( { "X", false } );
   replaced->subRouteMapIs( { "X", false } );
   EXPECT_FALSE( calls( "A", "X" ) );
   EXPECT_TRUE( calls( "A", "D" ) );
}

TEST_F( ReportedCalls, theCallsOfADeletedRouteMap ) {
   config->callOrderIs();
   const auto entry = call( "A", "B" );
   call( "C", "A" );
   const auto map = config->routeMapDel( "A" );
   EXPECT_FALSE( calls( "A", "B" ) );
   EXPECT_TRUE( calls( "C", "A" ) );
   entry->subRouteMapIs( { "X", false } );
   EXPECT_FALSE( calls( "A", "X" ) );
   config->routeMapDelAll();
   EXPECT_FALSE( calls( "C", "A" ) );
}

TEST_F( ReportedCalls, beforeTheSubscribersAreNotified ) {
   config->callOrderIs();
   const auto map = config->routeMapIs( "A" );
   struct Sees final : Quoin::Subscriber {
      explicit Sees( const ReportedCalls & test ) : test_( test ) { test_.config->routeMap( "A" )->publisher()->subscriberAdd( this ); }
      void onChange( const Quoin::Change & ) override {
         const auto & entries = test_.config->routeMap( "A" )->mapEntry();
         if( !entries.empty() ) return ( *entries.find( 10 ) )->subRouteMapIs( { "B", false } );
         EXPECT_FALSE( test_.calls( "A", "B" ) );
         ++deletions;
      }
      const ReportedCalls & test_;
      int deletions = 0;
   } sees( *this );
   map->mapEntryIs( 10 );
   EXPECT_TRUE( calls( "A", "B" ) ) << "a subscriber that is notified of the new sequence may write its call";
   map->mapEntryDel( 10 );
   EXPECT_EQ( sees.deletions, 1 );
}

TEST_F( ReportedCalls, membersMayOutliveTheirOwners ) {
   config->callOrderIs();
   const auto entry = call( "A", "B" );
   const auto order = config->callOrder();
   {
      const auto other = makeNode<Config>();
      other->callOrderIs();
      const auto map = other->routeMapIs( "A" );
      const auto kept = map->mapEntryIs( 10 );
      const auto lastOrder = other->callOrder();
      Ptr<MapEntry> outlives;
      {
         const auto dropped = makeNode<Map>( "D" );
         outlives = dropped->mapEntryIs( 10 );
      }
      outlives->subRouteMapIs( { "X", false } );
      kept->subRouteMapIs( { "B", false } );
      EXPECT_TRUE( lastOrder->reaches( "A", "B" ) );
   }
   EXPECT_TRUE( order->reaches( "A", "B" ) );
}

}   // namespace
