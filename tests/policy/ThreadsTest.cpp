#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DistanceSetter.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/Policy.h"
#include "policy/PrefixListMatcher.h"
#include "policy/PublishedPolicy.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "tests/policy/EvalFixtures.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace EvalTest;

/// How many matchers exist, and how many were destroyed on another thread than the one that created this tally.
struct Tally {
   const std::thread::id home = std::this_thread::get_id();
   std::atomic<int> alive = 0, endedElsewhere = 0;
};

/// Holds always.
struct Counted final : Matcher {
   explicit Counted( Tally & t ) : tally( t ) { ++tally.alive; }
   ~Counted() override {
      --tally.alive;
      tally.endedElsewhere += std::this_thread::get_id() != tally.home;
   }
   bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override { return true; }
   void formatDerivedType( std::ostream & ) const override {}
   Tally & tally;
};

/// A policy that permits routes to 10.N.0.0/16 with tag N, all parts of it together, and sets their preference to N. Its route map is called N.
struct Policy : Quoin::Node {
   Policy( uint8_t n, Tally & tally ) : number( n ) {
      const std::string net = "10." + std::to_string( n ) + ".0.0/16";
      const auto tags = makeNode<TagSetStatus>( "T", std::initializer_list<Routing::RouteTag>{ n } );
      const auto rules = ListFixtures::accessList( { ( "10 permit " + net ).c_str(), "20 deny 10.0.0.0/8" } );
      const auto prefixes = ListFixtures::prefixList( { "5 permit 192.0.2.0/24", ( "10 permit " + net + " le 24" ).c_str() } );
      const auto tagged = routeMap( "TAG", { seq( 1 ).match( makeNode<TagSetMatcher>( "T", tags ) ) } );
      const auto ruled = routeMap( "ACL",
                                   { seq( 1 )
                                        .match( makeNode<IpAccessListMatcher>( "A", rules ), MatchOption::matchIpAccessList )
                                        .match( makeNode<Counted>( tally ), MatchOption::matchTag )
                                        .call( tagged )
                                        .continueTo( 2 ),
                                     seq( 2 ).match( makeNode<TagMatcher>( 1000 ) ) } );
      map = routeMap( std::to_string( n ).c_str(),
                      { seq( 10 ).match( makeNode<PrefixListMatcher>( "P", prefixes ) ).call( ruled ).set( makeNode<DistanceSetter>( n ) ),
                        seq( 20 ).deny() } );
      list = listOf( { { 0, routeMap( "FIRST", { seq( 10 ).set( makeNode<DistanceSetter>( 255 ) ) } ) }, { 4, map } } );
   }
   const uint8_t number;
   Ptr<const RouteMapStatus> map;
   Ptr<const RouteMapStatusList> list;
};

/// Where the present policy stands.
class Board {
 public:
   Ptr<const Policy> present() const {
      const std::lock_guard lock( mutex_ );
      return present_;
   }
   void publish( Ptr<const Policy> policy ) {
      const std::lock_guard lock( mutex_ );
      std::swap( present_, policy );
   }

 private:
   mutable std::mutex mutex_;
   Ptr<const Policy> present_;
};

MatchInput_ route( uint8_t n, Routing::RouteTag tag ) {
   MatchInput_ input = ListFixtures::routeTo( ( "10." + std::to_string( n ) + ".1.0/24" ).c_str() );
   input.tagIs( tag );
   return input;
}

/// Holds one policy to what it must answer; the number of wrong answers.
int wrongAnswers( const PolicyEval & eval, uint8_t n, const Ptr<const RouteMapStatusList> & list, const Ptr<const RouteMapStatus> & map ) {
   const uint8_t other = uint8_t( n + 1 );
   const MatchInput_ good = route( n, n ), wrongNet = route( other, n ), wrongTag = route( n, other );
   Result_ permitted, denied;
   int wrong = 0;
   wrong += !eval.eval( &good, list, &permitted ) || permitted.preference() != n;
   wrong += eval.eval( &wrongNet, list, &denied ) || eval.eval( &wrongTag, list, &denied ) || denied.preference() != 0;
   wrong += !eval.evalPeerFilter( map, &good ) || eval.evalPeerFilter( map, &wrongNet );
   return wrong;
}

TEST( Threads, anyNumberEvaluateWhatAnotherReplaces ) {
   constexpr int kThreads = 3, kPolicies = 200;
   Tally tally;
   std::atomic<int> wrong = 0;
   std::atomic<long> evaluated = 0;
   std::atomic<bool> done = false;
   Board board;
   board.publish( makeNode<Policy>( 0, tally ) );
   PolicyEval eval;   // one for all
   std::vector<std::thread> threads;
   for( int t = 0; t < kThreads; ++t )
      threads.emplace_back( [ & ] {
         Ptr<const MatchedRouteMapSequencesSnapshot> kept;   // of the policy before
         uint8_t keptNumber = 0;
         while( !done ) {
            auto policy = board.present();
            wrong += wrongAnswers( eval, policy->number, policy->list, policy->map );
            Result_ result;
            if( kept ) {
               PolicyEval().applyPolicySettersSnapshot( kept, result );
               wrong += result.preference() != keptNumber;
            }
            keptNumber = policy->number;
            kept = eval.evalRouteMapMatchersSnapshot( route( keptNumber, keptNumber ), policy->map );
            wrong += !kept;
            policy = nullptr;
            ++evaluated;
         }
      } );
   for( int n = 1; n < kPolicies; ++n ) {
      board.publish( makeNode<Policy>( uint8_t( n ), tally ) );
      for( const long before = evaluated; evaluated < before + kThreads; ) std::this_thread::yield();   // each policy is used
   }
   done = true;
   for( auto & t : threads ) t.join();
   EXPECT_EQ( wrong, 0 );
   EXPECT_EQ( tally.alive, 1 );   // those replaced have gone, with their last user
   board.publish( nullptr );
   EXPECT_EQ( tally.alive, 0 );
}

TEST( Threads, readersEvaluateOnePolicyAtATimeAndFreeNone ) {
   constexpr int kThreads = 3, kPolicies = 200;
   Tally tally;
   std::atomic<int> wrong = 0;
   std::atomic<long> evaluated = 0;
   std::atomic<bool> done = false;
   PublishedPolicy published;
   const PolicyEval eval;
   std::vector<std::thread> threads;
   for( int t = 0; t < kThreads; ++t )
      threads.emplace_back( [ & ] {
         PublishedPolicy::Reader reader( published );
         int before = -1;
         for( bool last = false; !last; ++evaluated ) {
            last = done;
            const auto & list = reader.policy();
            if( !list ) continue;
            const int n = std::stoi( std::string( list->routeMapName() ) );
            wrong += wrongAnswers( eval, uint8_t( n ), list, list->rmStatus( RmPrecedence::routeMapPrecedence ) );
            wrong += n < before || ( last && n != kPolicies - 1 );
            before = n;
         }
      } );
   for( int n = 0; n < kPolicies; ++n ) {
      published.policyIs( makeNode<Policy>( uint8_t( n ), tally )->list );
      if( n % 2 == 0 ) continue;   // some policies come so fast that not every reader takes them
      for( const long before = evaluated; evaluated < before + kThreads; ) std::this_thread::yield();
   }
   done = true;
   for( auto & t : threads ) t.join();
   EXPECT_EQ( wrong, 0 );
   EXPECT_EQ( published.retiredDelAll(), 0u );
   EXPECT_EQ( tally.alive, 1 );
   published.policyIs( nullptr );
   EXPECT_EQ( tally.alive, 0 );
   EXPECT_EQ( tally.endedElsewhere, 0 );
}

// While the readers come and go, each change drops what they have given back.
TEST( Threads, readersComeAndGo ) {
   constexpr int kThreads = 3, kTimes = 500;
   Tally tally;
   std::atomic<int> wrong = 0, running = kThreads;
   PublishedPolicy published;
   published.policyIs( makeNode<Policy>( 0, tally )->list );
   std::vector<std::thread> threads;
   for( int t = 0; t < kThreads; ++t )
      threads.emplace_back( [ & ] {
         for( int i = 0; i < kTimes; ++i ) {
            PublishedPolicy::Reader first( published ), second( published );
            wrong += first.policy()->rmStatus().count() != 2;
            wrong += second.policy()->rmStatus().count() != 2;
         }
         --running;
      } );
   for( int n = 1; running > 0; ++n ) {
      published.policyIs( makeNode<Policy>( uint8_t( n ), tally )->list );
      wrong += tally.alive > 2 * kThreads + 1;   // a generation for each reader, and the current one
   }
   for( auto & t : threads ) t.join();
   EXPECT_EQ( wrong, 0 );
   published.policyIs( nullptr );
   EXPECT_EQ( tally.alive, 0 );
   EXPECT_EQ( tally.endedElsewhere, 0 );
}

TEST( Threads, eachOfTheLogsBelongsToOneThread ) {
   constexpr int kThreads = 3, kTimes = 200;
   Tally tally;
   const auto policy = makeNode<Policy>( 7, tally );
   std::vector<std::string> texts( kThreads );
   std::vector<std::thread> threads;
   for( int t = 0; t < kThreads; ++t )
      threads.emplace_back( [ &, t ] {
         PolicyEval eval;
         eval.contextIs( makeNode<PolicyEvalContext>() );
         eval.context()->enableTrailmarkIs( true );
         eval.shouldLogEvalIs( true );
         const MatchInput_ input = route( 7, 7 );
         for( int i = 0; i < kTimes; ++i ) {
            Result_ result;
            eval.eval( &input, policy->list, &result );
            texts[ size_t( t ) ] = fieldsOf( *eval.context()->evaluationLogDeq() );
         }
      } );
   for( auto & t : threads ) t.join();
   for( const auto & text : texts )
      EXPECT_EQ( text, "10{call ACL( 1{call TAG( 1{permit} permit )=permit permit >2} 2{failed matchTag} permit )=permit permit} permit" );
}

}   // namespace
