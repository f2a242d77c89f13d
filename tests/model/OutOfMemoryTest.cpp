// A scripted life of an agent, each of whose allocations fails once. A write that fails is repeated, as an agent would do; then the
// policy in force is the one of an undisturbed life. Or else the process ends, and says why.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/model/CompilationModel.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace CompilationModel;
using Ferule::AddressFamily;
using Ferule::IpGenPrefix;

constexpr auto permit = Acl::MatchPermit::permit, deny = Acl::MatchPermit::deny;

/// Each step is one write, or the work that the agent's loop does.
class Life {
 public:
   void run() {
      for( const auto & step : steps_ ) {
         try {
            step();
         } catch( const std::bad_alloc & ) { step(); }
      }
   }
   /// The policies in force.
   std::string text() const {
      std::string all;
      for( const char * name : { "A", "B", "C" } ) {
         const auto symbol = agent_.root->routeMapTable()->symbol( name );
         all += std::string( name ) + ( symbol->statusCurrent() ? ": " : " (not current): " ) + textOf( symbol->rmStatus().get() ) + '\n';
      }
      return all;
   }

 private:
   Ptr<MapEntry> entry( const char * map, uint32_t seqno ) const { return agent_.config->routeMap( map )->mapEntry( seqno ); }
   void list( const char * prefix ) {
      list_->entryDel( 10 );
      ASSERT_FALSE( list_->entryIs( { 10, permit, IpGenPrefix( prefix ), {}, 32 } ) );
   }

   std::vector<std::function<void()>> steps() {
      const auto routeMap = [ this ]( const char * name ) { return [ =, this ] { agent_.config->routeMapIs( name ); }; };
      const auto sequence = [ this ]( const char * name, uint32_t seqno ) {
         return [ =, this ] { agent_.config->routeMap( name )->mapEntryIs( seqno ); };
      };
      const auto version = [ this ]( const char * name, uint32_t number ) {
         return [ =, this ] { agent_.config->routeMap( name )->versionIs( number ); };
      };
      const auto loop = [ this ] { agent_.scheduler->runUntilIdle(); };
      const auto publish = [ this ] { list_->publish(); };
      return { // the start, with a configuration
               [ this ] { list_.emplace( agent_.root->ipv4PrefixListTable(), "L", AddressFamily::ipv4 ); },
               [ this ] { list( "10.0.0.0/8" ); }, publish, routeMap( "A" ), sequence( "A", 10 ), sequence( "A", 20 ), sequence( "A", 30 ),
               [ this ] { entry( "A", 10 )->matchRuleIs( { .listName = "L", .option = MatchOption::matchIpPrefixList } ); },
               [ this ] {
                  entry( "A", 20 )->subRouteMapIs( { "B", false } );
               },
               [ this ] { entry( "A", 30 )->permitIs( deny ); }, version( "A", 1 ), routeMap( "B" ), sequence( "B", 10 ),
               [ this ] { entry( "B", 10 )->distanceIs( 7 ); }, version( "B", 1 ), [ this ] { agent_.start(); }, loop,
               // edits
               [ this ] { entry( "A", 10 )->permitIs( deny ); }, version( "A", 2 ), [ this ] { list( "10.1.0.0/16" ); }, publish, loop,
               [ this ] { entry( "B", 10 )->matchRuleIs( { .numericValue = 5, .option = MatchOption::matchTag } ); }, version( "B", 2 ),
               loop, [ this ] { entry( "A", 10 )->setFlagsIs( MapEntry::continueSeqSet ); },
               [ this ] { entry( "A", 10 )->permitIs( permit ); }, version( "A", 3 ),
               [ this ] {
                  entry( "B", 10 )->subRouteMapIs( { "A", false } );
               },
               version( "B", 3 ),   // a cycle
               [ this ] { entry( "B", 10 )->subRouteMapIs( {} ); }, version( "B", 4 ), loop,
               // deletions, and creation anew
               [ this ] { agent_.config->routeMap( "A" )->mapEntryDel( 30 ); }, [ this ] { agent_.config->routeMapDel( "B" ); }, loop,
               routeMap( "C" ), sequence( "C", 10 ),
               [ this ] { entry( "C", 10 )->matchRuleIs( { .listName = "L2", .option = MatchOption::matchIpPrefixList } ); },
               version( "C", 1 ), routeMap( "B" ), sequence( "B", 20 ), [ this ] { entry( "B", 20 )->distanceIs( 9 ); }, version( "B", 5 ),
               loop, [ this ] { list_.reset(); }, loop
      };
   }

   Agent agent_{ makeNode<Config>() };
   std::optional<PrefixListProducer> list_;
   const std::vector<std::function<void()>> steps_ = steps();
};

/// What becomes of a life whose allocation `n` fails.
struct Outcome {
   bool failed = false;   // else it has fewer allocations
   bool isRight = false;
   int signal = 0;
   std::string errors;
};

Outcome liveWithFailure( size_t n, const std::string & expected ) {
   int ends[ 2 ];
   if( pipe( ends ) != 0 ) return {};
   const pid_t child = fork();
   if( child == 0 ) {
      dup2( ends[ 1 ], STDERR_FILENO );
      std::signal( SIGABRT, SIG_DFL );
      bool happened = false;
      std::string text;
      {
         Life life;
         {
            const AllocationFailure failure( n );
            life.run();
            happened = failure.happened();
         }
         text = life.text();
      }
      if( text != expected ) std::fputs( text.c_str(), stderr );
      _exit( happened + 2 * ( text == expected ) );
   }
   close( ends[ 1 ] );
   Outcome outcome;
   char buffer[ 4096 ];
   for( ssize_t got = 0; ( got = read( ends[ 0 ], buffer, sizeof buffer ) ) > 0; ) outcome.errors.append( buffer, size_t( got ) );
   close( ends[ 0 ] );
   int status = 0;
   waitpid( child, &status, 0 );
   outcome.signal = WIFSIGNALED( status ) ? WTERMSIG( status ) : 0;
   outcome.failed = outcome.signal != 0 || WEXITSTATUS( status ) & 1;
   outcome.isRight = outcome.signal == 0 && WEXITSTATUS( status ) & 2;
   return outcome;
}

TEST( OutOfMemory, thePolicyIsRightOrTheProcessEndsWithTheText ) {
   std::string expected;
   {
      Life undisturbed;
      undisturbed.run();
      expected = undisturbed.text();
   }
   size_t repeated = 0, ended = 0;
   for( size_t n = 0;; ++n ) {
      const auto outcome = liveWithFailure( n, expected );
      if( !outcome.failed ) {
         EXPECT_TRUE( outcome.isRight );
         break;
      }
      ++( outcome.signal ? ended : repeated );
      if( outcome.signal ) {
         EXPECT_EQ( outcome.signal, SIGABRT ) << "allocation " << n;
         EXPECT_EQ( outcome.errors, "out of memory\n" ) << "allocation " << n;
      } else {
         EXPECT_TRUE( outcome.isRight ) << "allocation " << n << "\n" << outcome.errors << "instead of\n" << expected;
      }
      if( HasFailure() ) return;
   }
   EXPECT_GT( repeated, 50u );
   EXPECT_GT( ended, 200u );
}

}   // namespace
