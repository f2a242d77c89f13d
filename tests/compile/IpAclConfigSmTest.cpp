#include "compile/IpAclConfigSm.h"

#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "substrate/plinth/Exception.h"
#include "tests/compile/AclFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Acl::AclType;
using Acl::AclVersion;
using Acl::RuleAction;
using Ferule::AddressFamily;
using Plinth::Clock;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;
using Seconds = Clock::Seconds;

static_assert( std::is_base_of_v<Zeugma::BaseOutputSm, IpAclConfigSm> );

const char * const kNotContiguous = "acl prefix is not contiguous, using contiguous prefix: ";

/// Runs a function at every trace of one category, while it stands.
struct TraceReaction {
   TraceReaction( const char * name, std::function<void()> function ) : category( name ) {
      Plinth::TraceHandle::levelIs( category, Plinth::TraceFacility::level8 );
      Plinth::TraceHandle::sinkIs( [ f = std::move( function ) ]( const Plinth::TraceRecord & ) { f(); } );
   }
   ~TraceReaction() {
      Plinth::TraceHandle::sinkIs( nullptr );
      Plinth::TraceHandle::levelIs( category, Plinth::TraceFacility::kOff );
   }
   TraceReaction( const TraceReaction & ) = delete;
   TraceReaction & operator=( const TraceReaction & ) = delete;
   const char * category;
};

/// One list, with the machine alone that compiles it.
class IpAclConfigSmTest : public testing::Test, protected AclCase {
 protected:
   explicit IpAclConfigSmTest( AclType family = AclType::ipv4 ) : AclCase( family ) { symbols->symbolIs( symbol() ); }
   void start( const Ptr<Clock> & on = {} ) {
      sm = Zeugma::makeSm<IpAclConfigSm>( "A", type, symbols, list, on ? on : Ptr<Clock>( clock ) );
   }
   /// With a version of these rules.
   void startWith( const Log & rules, const Ptr<Clock> & on = {} ) {
      list->currVersionIs( version = aclVersion( rules ) );
      start( on );
   }
   /// A list of which each slice takes one rule.
   void startSliced( const Log & rules, const Ptr<Clock> & on = {} ) {
      startWith( rules, on );
      sm->clockQuantumIs( Seconds( 0 ) );
   }
   void startSliced( unsigned rules, const Ptr<Clock> & on = {} ) { startSliced( manyRules( rules ), on ); }
   /// A list of four rules, of which a slice takes all, on a clock that calls `inside` as it is read behind the second.
   Ptr<AskingClock> startInterruptedBy( OnlyOnce & inside ) {
      sm = nullptr;
      auto asking = makeNode<AskingClock>( [ this, &inside ] {
         if( hasTaken( sm, 2 ) ) inside();
         return Seconds( 0 );
      } );
      startSliced( 4, asking );
      sm->clockQuantumIs( Seconds( 1 ) );
      return asking;
   }
   /// Moves on one second for every rule that has been put into the trie since the last trie was begun.
   Ptr<AskingClock> workClock() {
      return makeNode<AskingClock>( [ this ] {
         const auto entered = sm && sm->newTrie() ? rulesOf( *sm->newTrie() ).size() : 0;
         if( entered > enteredBefore_ ) time_ += Seconds( double( entered - enteredBefore_ ) );
         enteredBefore_ = entered;
         return time_;
      } );
   }
   /// What the turns of the loop find as their bookmark, up to the end of the compilation.
   std::vector<uint32_t> bookmarks( Clock & on ) const {
      std::vector<uint32_t> found;
      while( !nothingDue( on ) && found.size() < 1000 ) {
         on.callDue();
         found.push_back( sm->bookmark() );
      }
      return found;
   }
   std::vector<uint32_t> bookmarks() const { return bookmarks( *clock ); }
   uint32_t published() const { return symbol()->notifierVersion(); }
   /// What leaves the list without rules at the first change.
   std::vector<std::pair<const char *, std::function<void()>>> waysToEmptyIt() {
      return { { "by another version", [ this ] { list->currVersionIs( makeNode<AclVersion>() ); } },
               { "by no version", [ this ] { list->currVersionIs( nullptr ); } },
               { "at once", [ this ] { version->ipRuleDelAll(), version->ruleBySequenceDelAll(); } } };
   }
   struct Inspection {
      const char * rule;
      const char * prefixes;
      Log traced;
   };
   void expectFound( const Inspection & inspection, TraceLog & traces ) const {
      ASSERT_TRUE( sm->pset() );
      EXPECT_EQ( sm->pset()->toStrep(), inspection.prefixes );
      EXPECT_EQ( traces.take(), inspection.traced );
      EXPECT_THAT( traces.levels(), testing::Each( 8 ) );
   }

   Ptr<Acl::AclConfig> list = type->aclIs( "A" );
   Ptr<AclVersion> version;
   Ptr<IpAclConfigSm> sm;
   Ptr<Routing::RouteMap::IpAccessListSymbol> held = symbol();   // stays the same symbol

 private:
   Seconds time_{ 0 };
   size_t enteredBefore_ = 0;
};

class Ip6AclConfigSmTest : public IpAclConfigSmTest {
 protected:
   Ip6AclConfigSmTest() : IpAclConfigSmTest( AclType::ipv6 ) {}
};

// ---- the start

TEST_F( IpAclConfigSmTest, isIdleAtFirst ) {
   start();
   EXPECT_EQ( sm->name(), "A" );
   EXPECT_EQ( sm->ipConfig(), type );
   EXPECT_EQ( sm->ipAclSymbolTable(), symbols );
   EXPECT_EQ( sm->ipAccessList(), list );
   EXPECT_EQ( sm->bookmark(), 0u );
   sm->bookmarkSeqInc( 2 );
   sm->bookmarkSeqInc( 3 );
   EXPECT_EQ( sm->bookmarkSeq(), 5u );
   EXPECT_EQ( sm->clockQuantum(), Seconds( 0.01 ) );
   EXPECT_FALSE( sm->newTrie() );
   EXPECT_FALSE( sm->pset() );
   EXPECT_TRUE( sm->initialized() );
   EXPECT_TRUE( sm->hasNotificationActive() );
   std::ostringstream text;
   text << *sm;
   EXPECT_EQ( text.str(), "access-list: A" );
}

TEST_F( IpAclConfigSmTest, aListWithoutRulesOfItsFamilyKeepsItsOldStatus ) {
   const auto other = aclVersion( { "10 permit 2001:db8::/32" } );
   const auto numbers = aclVersion();
   numbers->ruleBySequenceIs( 10, 1 );
   const struct {
      const char * what;
      Ptr<AclVersion> version;
   } rows[] = { { "no version", nullptr },
                { "a version without rules", aclVersion() },
                { "rules of the other family alone", other },
                { "a number without a rule", numbers } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      const auto old = makeNode<IpAccessListStatus>( "A" );
      symbol()->statusIs( old );
      list->currVersionIs( row.version );
      start();
      EXPECT_TRUE( sm->initialized() );
      EXPECT_FALSE( sm->newTrie() );
      EXPECT_TRUE( nothingDue( *clock ) );
      EXPECT_EQ( clock->callDue(), 0u );
      EXPECT_EQ( symbol()->status(), old );
      EXPECT_EQ( published(), 0u );
   }
}

TEST_F( IpAclConfigSmTest, existingRulesAreCompiledInTheNextTurn ) {
   startWith( { "10 permit 10.0.0.0/8", "20 deny 0.0.0.0/0" } );
   ASSERT_TRUE( sm->newTrie() );
   EXPECT_EQ( sm->newTrie()->af(), AddressFamily::ipv4 );
   EXPECT_EQ( sm->newTrie()->prefixCount(), 0u );
   EXPECT_EQ( sm->newTrie()->bytes(), makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false )->bytes() );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   EXPECT_FALSE( symbol()->status() );
   EXPECT_EQ( clock->callDue(), 1u );
   EXPECT_THAT( rules(), ElementsAre( "10 permit 10.0.0.0/8 at 10.0.0.0/8", "20 deny 0.0.0.0/0 at 0.0.0.0/0" ) );
   EXPECT_EQ( symbol()->status()->name(), "A" );
   EXPECT_EQ( published(), 1u );
   EXPECT_FALSE( sm->newTrie() );
   EXPECT_FALSE( sm->pset() );
   EXPECT_EQ( sm->bookmark(), 0u );
   EXPECT_TRUE( nothingDue( *clock ) );
}

TEST_F( IpAclConfigSmTest, theStatusIsPublishedBeforeTheVersion ) {
   for( const bool current : { false, true } ) {
      SCOPED_TRACE( current );
      symbol()->statusCurrentIs( current );
      startWith( { "10 permit 10.0.0.0/8" } );
      const auto before = published();
      const AclSymbolWatcher watcher( symbol() );
      clock->callDue();
      EXPECT_THAT(
         watcher.take(),
         ElementsAre( "status",
                      "version " + std::to_string( before + 1 ) + ( current ? ", current, defined" : ", not current, defined" ) ) );
      EXPECT_EQ( symbol()->statusCurrent(), current );
   }
}

TEST_F( IpAclConfigSmTest, nothingIsCompiledBeforeItIsInitialized ) {
   list->currVersionIs( aclVersion( { "10 permit 10.0.0.0/8" } ) );
   size_t calls = 0;
   clock->wakeUpCallbackIs( [ & ] { calls += clock->callDue(); } );   // inside the construction
   start();
   clock->wakeUpCallbackIs( {} );
   EXPECT_EQ( calls, 1u );
   EXPECT_FALSE( symbol()->status() );
   EXPECT_EQ( published(), 0u );
   EXPECT_TRUE( sm->initialized() );
   sm->processClock();
   EXPECT_EQ( ruleCountOf( symbol()->status() ), 1u );
}

TEST_F( IpAclConfigSmTest, anEditInsideTheWakeUpCallbackIsCompiled ) {
   for( const bool made : { true, false } ) {
      SCOPED_TRACE( made ? "as the machine is made" : "as a version comes" );
      list->currVersionIs( nullptr );
      OnlyOnce once( [ & ] { list->currVersionIs( version = aclVersion( manyRules( 3 ) ) ); } );
      clock->wakeUpCallbackIs( std::ref( once ) );
      if( !made ) start();
      list->currVersionIs( aclVersion( manyRules( 2 ) ) );
      if( made ) start();
      clock->wakeUpCallbackIs( {} );
      ASSERT_FALSE( once );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), 3u );
      ruleIs( *version, "99 deny 99.0.0.0/8" );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), 4u ) << "the version that came last is watched";
      sm = nullptr;
   }
}

// ---- rules

TEST_F( IpAclConfigSmTest, aRuleStandsAtThePrefixOfItsLeadingOnes ) {
   const struct {
      const char * what;
      const char * rule;
      const char * at;
      bool traced;
   } rows[] = {
      { "everything", "0.0.0.0/0", "0.0.0.0/0", false },
      { "a prefix", "10.0.0.0/8", "10.0.0.0/8", false },
      { "half of the space", "128.0.0.0/1", "128.0.0.0/1", false },
      { "the last but one length", "10.1.2.2/31", "10.1.2.2/31", false },
      { "a host", "10.1.2.3/32", "10.1.2.3/32", false },
      { "all ones", "255.255.255.255/32", "255.255.255.255/32", false },
      { "host bits", "10.1.2.3/8", "10.0.0.0/8", true },
      { "one host bit", "10.1.2.3/31", "10.1.2.2/31", true },
      { "a zero mask with an address", "1.2.3.4 0.0.0.0", "0.0.0.0/0", true },
      { "a zero mask with the lowest bit", "0.0.0.1 0.0.0.0", "0.0.0.0/0", true },
      { "a gap", "10.0.5.0 255.0.255.0", "10.0.0.0/8", true },
      { "a gap, and address bits in it", "10.9.5.7 255.0.255.0", "10.0.0.0/8", true },
      { "a gap behind one bit", "192.0.0.1 128.0.0.1", "128.0.0.0/1", true },
      { "a gap of one bit", "10.1.2.3 255.255.255.253", "10.1.2.0/30", true },
      { "the highest bit clear", "0.1.0.0 0.255.0.0", "0.0.0.0/0", true },
      { "the highest bit clear, no address", "0.0.0.0 0.255.0.0", "0.0.0.0/0", true },
      { "the highest bit alone clear", "127.1.2.3 127.255.255.255", "0.0.0.0/0", true },
      { "the lowest bit alone", "0.0.0.1 0.0.0.1", "0.0.0.0/0", true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      const std::string text = std::string( "10 deny " ) + row.rule;
      const auto rule = ListFixtures::accessListRule( text );
      startWith( { text } );
      TraceLog traces( "IpAclConfigSm" );
      clock->callDue();
      EXPECT_THAT( rules(), ElementsAre( "10 deny " + std::string( rule.source.toStrep().view() ) + " at " + row.at ) );
      if( row.traced ) {
         EXPECT_THAT( traces.take(), ElementsAre( kNotContiguous + std::string( row.at ) ) );
      } else {
         EXPECT_THAT( traces.take(), IsEmpty() );
      }
   }
}

TEST_F( Ip6AclConfigSmTest, aRuleStandsAtItsSubnetAndKeepsItsAddress ) {
   const struct {
      const char * rule;
      const char * at;
   } rows[] = {
      { "::/0", "::/0" },
      { "2001:db8::/32", "2001:db8::/32" },
      { "2001:db8::1/128", "2001:db8::1/128" },
      { "2001:db8::1/32", "2001:db8::/32" },
      { "2001:db8::1/0", "::/0" },
      { "2001:db8::ff/121", "2001:db8::80/121" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.rule );
      startWith( { std::string( "10 permit " ) + row.rule } );
      ASSERT_TRUE( sm->newTrie() );
      EXPECT_EQ( sm->newTrie()->af(), AddressFamily::ipv6 );
      TraceLog traces( "IpAclConfigSm" );
      clock->callDue();
      EXPECT_EQ( symbol()->status()->trie().af(), AddressFamily::ipv6 );
      EXPECT_THAT( rules(), ElementsAre( std::string( "10 permit " ) + row.rule + " at " + row.at ) );
      EXPECT_THAT( traces.take(), IsEmpty() );
   }
   EXPECT_TRUE( listPermits( status(), "2001:db8::ff/128" ) );
   EXPECT_FALSE( listPermits( status(), "2001:db8::7f/128" ) );
   EXPECT_FALSE( listPermits( status(), "10.0.0.0/8" ) );
}

TEST_F( Ip6AclConfigSmTest, aMaskLongerThanAnAddressIsCut ) {
   for( const int length : { 128, 129, 130, 255 } ) {
      SCOPED_TRACE( length );
      auto rule = ip6Rule( "10 deny 2001:db8::1/128" );
      rule.filter.source.length = uint8_t( length );
      version = makeNode<AclVersion>();
      version->ip6RuleIs( 1, rule );
      version->ruleBySequenceIs( 10, 1 );
      list->currVersionIs( version );
      start();
      TraceLog traces( "IpAclConfigSm" );
      clock->callDue();
      EXPECT_THAT( rules(), ElementsAre( "10 deny 2001:db8::1/128 at 2001:db8::1/128" ) );
      if( length == 128 ) {
         EXPECT_THAT( traces.take(), IsEmpty() );
      } else {
         EXPECT_THAT( traces.take(), ElementsAre( "acl mask is too long, using 128 bits of 2001:db8::1" ) );
         EXPECT_THAT( traces.levels(), ElementsAre( 8 ) );
      }
   }
}

TEST_F( IpAclConfigSmTest, onlyActionZeroPermits ) {
   for( const auto & [ action, permits ] :
        { std::pair( RuleAction::permit, true ), { RuleAction::deny, false }, { RuleAction( 2 ), false }, { RuleAction( 255 ), false } } ) {
      auto rule = ipRule( "10 permit 10.0.0.0/8" );
      rule.action = action;
      version = makeNode<AclVersion>();
      version->ipRuleIs( 1, rule );
      version->ruleBySequenceIs( 10, 1 );
      list->currVersionIs( version );
      start();
      clock->callDue();
      EXPECT_EQ( listPermits( status(), "10.1.0.0/16" ), permits ) << int( action );
   }
   EXPECT_EQ( int( RuleAction::permit ), 0 );
}

TEST_F( IpAclConfigSmTest, aMissingRulePermitsEverything ) {
   list->currVersionIs( version = aclVersion( { "20 deny 10.0.0.0/8" } ) );
   version->ruleBySequenceIs( 10, 12345 );
   start();
   TraceLog traces( "IpAclConfigSm" );
   clock->callDue();
   EXPECT_THAT( rules(), ElementsAre( "10 permit 0.0.0.0/0 at 0.0.0.0/0", "20 deny 10.0.0.0/8 at 10.0.0.0/8" ) );
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_TRUE( listPermits( status(), "10.1.0.0/16" ) );
   EXPECT_TRUE( listPermits( status(), "0.0.0.0/0" ) );
}

TEST_F( Ip6AclConfigSmTest, aMissingRulePermitsEverything ) {
   list->currVersionIs( version = aclVersion( { "20 deny 2001:db8::/32" } ) );
   version->ipRuleIs( 12345, ipRule( "10 deny 10.0.0.0/8" ) );   // of the other family: not looked at
   version->ruleBySequenceIs( 10, 12345 );
   start();
   clock->callDue();
   EXPECT_THAT( rules(), ElementsAre( "10 permit ::/0 at ::/0", "20 deny 2001:db8::/32 at 2001:db8::/32" ) );
   EXPECT_TRUE( listPermits( status(), "2001:db8:1::/48" ) );
}

TEST_F( IpAclConfigSmTest, theLowestNumberThatCoversTheRouteGoverns ) {
   const struct {
      const char * what;
      Log rules;
      const char * route;
      bool permits;
   } rows[] = {
      { "the wider rule has the lower number", { "10 deny 10.0.0.0/8", "20 permit 10.1.0.0/16" }, "10.1.1.0/24", false },
      { "the narrower one", { "20 deny 10.0.0.0/8", "10 permit 10.1.0.0/16" }, "10.1.1.0/24", true },
      { "gap, agrees", { "10 permit 10.0.0.0 255.0.255.0", "20 deny 10.0.0.0/8" }, "10.1.0.0/24", true },
      { "gap, does not agree", { "10 permit 10.0.0.0 255.0.255.0", "20 deny 10.0.0.0/8" }, "10.1.1.0/24", false },
      { "host bits do not count", { "10 permit 10.1.2.3/8" }, "10.200.0.0/16", true },
      { "nor govern above", { "10 permit 10.1.2.3/8" }, "0.0.0.0/0", false },
      { "nor beside", { "10 permit 10.1.2.3/8" }, "11.0.0.0/8", false },
      { "a zero mask covers all", { "10 permit 1.2.3.4 0.0.0.0" }, "200.0.0.0/8", true },
      { "the highest bit clear, agrees", { "10 permit 0.1.0.0 0.255.0.0" }, "77.1.0.0/16", true },
      { "the highest bit clear, does not", { "10 permit 0.1.0.0 0.255.0.0" }, "77.2.0.0/16", false },
      { "a gap governs at its leading ones", { "10 permit 10.0.0.0 255.0.255.0" }, "10.0.0.0/8", true },
      { "and not above them", { "10 permit 10.0.0.0 255.0.255.0" }, "0.0.0.0/0", false },
      { "one source, lower permits", { "10 permit 10.0.0.0/8", "20 deny 10.0.0.0/8" }, "10.0.0.0/8", true },
      { "one source, lower denies", { "10 deny 10.0.0.0/8", "20 permit 10.0.0.0/8" }, "10.0.0.0/8", false },
      { "number 0 is the lowest", { "0 permit 10.0.0.0/8", "1 deny 10.0.0.0/8" }, "10.0.0.0/8", true },
      { "the highest number", { "4294967295 permit 10.0.0.0/8" }, "10.0.0.0/8", true },
   };
   for( const auto & row : rows ) {
      startWith( row.rules );
      clock->callDue();
      EXPECT_EQ( listPermits( status(), row.route ), row.permits ) << row.what;
   }
}

TEST_F( IpAclConfigSmTest, rulesOfOneSourceShareANode ) {
   startWith( { "20 deny 10.0.0.0/8", "10 permit 10.0.0.0/8", "30 deny 10.1.2.3/8" } );
   clock->callDue();
   EXPECT_EQ( status()->trie().prefixCount(), 1u );
   EXPECT_THAT(
      rules(),
      ElementsAre( "10 permit 10.0.0.0/8 at 10.0.0.0/8", "20 deny 10.0.0.0/8 at 10.0.0.0/8", "30 deny 10.1.2.3/8 at 10.0.0.0/8" ) );
   EXPECT_TRUE( listPermits( status(), "10.1.0.0/16" ) );
}

TEST_F( IpAclConfigSmTest, theNumbersTellWhichRulesAreInTheList ) {
   version = aclVersion( { "10 permit 10.0.0.0/8" } );
   version->ruleBySequenceIs( 5, ruleIdOf( 10 ) );
   version->ipRuleIs( 99, ipRule( "20 permit 11.0.0.0/8" ) );   // no number names it
   list->currVersionIs( version );
   start();
   clock->callDue();
   EXPECT_THAT( rules(), ElementsAre( "5 permit 10.0.0.0/8 at 10.0.0.0/8", "10 permit 10.0.0.0/8 at 10.0.0.0/8" ) );
}

// ---- slices

TEST_F( IpAclConfigSmTest, withAQuantumOfZeroEachSliceTakesOneRule ) {
   startSliced( 3 );
   TraceLog traces( "IpAclConfigSm" );
   EXPECT_EQ( clock->callDue(), 1u );
   EXPECT_EQ( sm->bookmark(), 20u );
   EXPECT_EQ( rulesOf( *sm->newTrie() ).size(), 1u );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   EXPECT_THAT( traces.take(), ElementsAre( "A pausing processing at rule 20" ) );
   EXPECT_EQ( clock->callDue(), 1u );
   EXPECT_EQ( sm->bookmark(), 30u );
   EXPECT_THAT( traces.take(), ElementsAre( "A pausing processing at rule 30" ) );
   EXPECT_EQ( published(), 0u );
   EXPECT_FALSE( status() );
   EXPECT_EQ( clock->callDue(), 1u );
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( ruleCountOf( status() ), 3u );
   EXPECT_EQ( published(), 1u );
   EXPECT_TRUE( nothingDue( *clock ) );
}

TEST_F( IpAclConfigSmTest, aSliceEndsWhereItsTimeIsUp ) {
   const struct {
      double quantum;
      std::vector<uint32_t> bookmarks;
   } rows[] = {
      { -std::numeric_limits<double>::infinity(), { 20, 30, 40, 50, 60, 70, 80, 90, 100, 0 } },
      { -1, { 20, 30, 40, 50, 60, 70, 80, 90, 100, 0 } },
      { 0, { 20, 30, 40, 50, 60, 70, 80, 90, 100, 0 } },
      { 0.5, { 20, 30, 40, 50, 60, 70, 80, 90, 100, 0 } },
      { 1, { 20, 30, 40, 50, 60, 70, 80, 90, 100, 0 } },   // at the deadline is past it
      { 1.5, { 30, 50, 70, 90, 0 } },
      { 3, { 40, 70, 100, 0 } },
      { 9, { 100, 0 } },
      { 10, { 0 } },
      { std::numeric_limits<double>::infinity(), { 0 } },
      { std::numeric_limits<double>::quiet_NaN(), { 0 } },   // no time is at or past that
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.quantum );
      sm = nullptr;
      const auto work = workClock();
      startSliced( 10, work );
      sm->clockQuantumIs( Seconds( row.quantum ) );
      EXPECT_EQ( bookmarks( *work ), row.bookmarks );
      EXPECT_EQ( ruleCountOf( status() ), 10u );
   }
   EXPECT_EQ( published(), std::size( rows ) );
}

TEST_F( IpAclConfigSmTest, theTimeIsReadAtTheStartAndAtEveryRule ) {
   double time = 0;
   const auto ticking = makeNode<AskingClock>( [ & ] { return Seconds( time += 1 ); } );
   startSliced( 20, ticking );
   sm->clockQuantumIs( Seconds( 5 ) );
   sm->processClock();   // 1 at the start, 2 at the first rule, ..., 6 at the fifth: that is the deadline
   EXPECT_EQ( sm->bookmark(), 50u );
}

TEST_F( IpAclConfigSmTest, onlyTimeEndsASlice ) {
   constexpr unsigned kRules = 2000;
   startSliced( kRules );
   sm->clockQuantumIs( Seconds( 0.01 ) );   // of a clock that stands still
   clock->callDue();
   EXPECT_EQ( sm->bookmark(), 0u );
   EXPECT_EQ( ruleCountOf( status() ), kRules );
}

TEST_F( IpAclConfigSmTest, aSliceOutOfTurnReplacesTheNext ) {
   startSliced( 2 );
   sm->processClock();
   EXPECT_EQ( sm->bookmark(), 20u );
   sm->processClock();
   EXPECT_EQ( ruleCountOf( status() ), 2u );
   EXPECT_TRUE( nothingDue( *clock ) );
   EXPECT_EQ( clock->callDue(), 0u );
   EXPECT_EQ( published(), 1u );
}

TEST_F( IpAclConfigSmTest, aSliceOfAnIdleMachineWithoutRulesPublishesNothing ) {
   const auto old = makeNode<IpAccessListStatus>( "A" );
   symbol()->statusIs( old );
   start();
   sm->processClock();
   EXPECT_EQ( status(), old );
   EXPECT_EQ( published(), 0u );
}

TEST_F( IpAclConfigSmTest, theBookmarkIsTheNextRuleHoweverFarItIs ) {
   startSliced( { "0 permit 10.0.0.0/8", "1 permit 11.0.0.0/8", "4294967295 permit 12.0.0.0/8" } );
   EXPECT_EQ( bookmarks(), ( std::vector<uint32_t>{ 1, 4294967295, 0 } ) );
   EXPECT_EQ( ruleCountOf( status() ), 3u );
}

// ---- changes

TEST_F( IpAclConfigSmTest, aChangeDuringAPauseRestarts ) {
   const EditRow rows[] = {
      { "a rule already done", [ & ] { version->ipRuleIs( ruleIdOf( 10 ), ipRule( "10 deny 99.0.0.0/8" ) ); }, 4 },
      { "a rule not done yet", [ & ] { version->ipRuleIs( ruleIdOf( 40 ), ipRule( "40 deny 99.0.0.0/8" ) ); }, 4 },
      { "a new rule", [ & ] { ruleIs( *version, "15 deny 99.0.0.0/8" ); }, 5 },
      { "a new rule ahead of all", [ & ] { ruleIs( *version, "1 deny 99.0.0.0/8" ); }, 5 },
      { "a deleted rule", [ & ] { ruleDel( *version, 10 ); }, 3 },
      { "the rule of the bookmark", [ & ] { ruleDel( *version, 30 ); }, 3 },
      { "a deleted number", [ & ] { version->ruleBySequenceDel( 10 ); }, 3 },
      { "a rule of the other family", [ & ] { version->ip6RuleIs( 1, ip6Rule( "10 deny 2001:db8::/32" ) ); }, 4 },
      { "another version", [ & ] { list->currVersionIs( version = aclVersion( manyRules( 6 ) ) ); }, 6 },
      { "a version of one rule", [ & ] { list->currVersionIs( version = aclVersion( manyRules( 1 ) ) ); }, 1 },
      { "handleIpAccessPrefixEntry", [ & ] { sm->handleIpAccessPrefixEntry(); }, 4 },
      { "handleIpAccessListVersion", [ & ] { sm->handleIpAccessListVersion(); }, 4 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      startSliced( 4 );
      clock->callDue();
      clock->callDue();
      ASSERT_EQ( sm->bookmark(), 30u );
      const auto before = published();
      const auto trie = sm->newTrie();
      row.edit();
      EXPECT_EQ( sm->bookmark(), 0u );
      ASSERT_TRUE( sm->newTrie() );
      EXPECT_NE( sm->newTrie(), trie );
      EXPECT_EQ( sm->newTrie()->prefixCount(), 0u );
      EXPECT_EQ( trie->useCount(), 1u ) << "the old one is dropped";
      EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
      EXPECT_EQ( published(), before );
      EXPECT_EQ( size_t( runUntilIdle( *clock ) ), row.rules );
      EXPECT_EQ( ruleCountOf( status() ), row.rules );
      EXPECT_EQ( published(), before + 1 );
   }
}

TEST_F( IpAclConfigSmTest, anUnchangedWriteStartsNothing ) {
   startSliced( 3 );
   clock->callDue();
   ruleIs( *version, manyRules( 3 )[ 0 ] );
   list->currVersionIs( version );
   ruleDel( *version, 99 );
   EXPECT_EQ( sm->bookmark(), 20u );
   runUntilIdle( *clock );
   ruleIs( *version, manyRules( 3 )[ 0 ] );
   EXPECT_TRUE( nothingDue( *clock ) );
   EXPECT_EQ( published(), 1u );
}

TEST_F( IpAclConfigSmTest, theOldListStaysUntilTheNewOneIsComplete ) {
   startSliced( 3 );
   runUntilIdle( *clock );
   const auto old = status();
   const auto oldRules = rules();
   ruleDel( *version, 10 );
   ruleIs( *version, "40 deny 99.0.0.0/8" );
   for( const uint32_t bookmark : { 30u, 40u } ) {
      clock->callDue();
      EXPECT_EQ( sm->bookmark(), bookmark );
      EXPECT_EQ( status(), old );
      EXPECT_EQ( rules(), oldRules );
      EXPECT_EQ( published(), 1u );
   }
   clock->callDue();
   EXPECT_EQ( ruleCountOf( status() ), 3u );
   EXPECT_NE( status(), old );
   EXPECT_EQ( published(), 2u );
   EXPECT_EQ( rulesOf( old ), oldRules ) << "a published list is not written again";
}

TEST_F( IpAclConfigSmTest, severalChangesAreCompiledOnce ) {
   startSliced( 2 );
   runUntilIdle( *clock );
   version->ipRuleIs( ruleIdOf( 10 ), ipRule( "10 deny 99.0.0.0/8" ) );
   version->ipRuleIs( ruleIdOf( 20 ), ipRule( "20 deny 98.0.0.0/8" ) );
   EXPECT_EQ( runUntilIdle( *clock ), 2 );
   EXPECT_EQ( published(), 2u );
   EXPECT_THAT( rules(), ElementsAre( "10 deny 99.0.0.0/8 at 99.0.0.0/8", "20 deny 98.0.0.0/8 at 98.0.0.0/8" ) );
}

TEST_F( IpAclConfigSmTest, onlyTheCurrentVersionIsWatched ) {
   startSliced( 2 );
   runUntilIdle( *clock );
   const auto first = version;
   list->currVersionIs( version = aclVersion( manyRules( 3 ) ) );
   runUntilIdle( *clock );
   EXPECT_EQ( published(), 2u );
   ruleIs( *first, "99 deny 99.0.0.0/8" );
   EXPECT_TRUE( nothingDue( *clock ) );
   ruleIs( *version, "99 deny 99.0.0.0/8" );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 4u );
}

TEST_F( IpAclConfigSmTest, aChangeBeforeItIsSwitchedOnIsCompiled ) {
   const EditRow rows[] = { { "another version", [ & ] { list->currVersionIs( version = aclVersion( manyRules( 3 ) ) ); }, 3 },
                            { "a rule", [ & ] { ruleIs( *version, "98 deny 98.0.0.0/8" ); }, 3 } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      list->currVersionIs( version = aclVersion( manyRules( 2 ) ) );
      sm = makeNode<IpAclConfigSm>( "A", type, symbols, list, clock );
      clock->callDue();
      row.edit();
      sm->hasNotificationActiveIs( true );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), row.rules );
      ruleIs( *version, "99 deny 99.0.0.0/8" );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), row.rules + 1 ) << "the current version is watched";
   }
}

TEST_F( IpAclConfigSmTest, aListThatIsEmptiedKeepsItsOldStatus ) {
   for( const auto & [ way, empty ] : waysToEmptyIt() ) {
      SCOPED_TRACE( way );
      startSliced( 2 );
      runUntilIdle( *clock );
      const auto old = status();
      const auto before = published();
      empty();
      EXPECT_TRUE( nothingDue( *clock ) );
      EXPECT_EQ( status(), old );
      EXPECT_EQ( published(), before );
   }
}

TEST_F( IpAclConfigSmTest, aListEmptiedDuringItsCompilationPublishesTheRulesDone ) {
   for( const auto & [ way, empty ] : waysToEmptyIt() ) {
      SCOPED_TRACE( way );
      startSliced( 4 );
      clock->callDue();
      clock->callDue();
      const auto before = published();
      empty();
      EXPECT_EQ( sm->bookmark(), 30u );
      EXPECT_EQ( published(), before );
      EXPECT_EQ( runUntilIdle( *clock ), 1 );
      EXPECT_EQ( published(), before + 1 );
      EXPECT_THAT( rules(), ElementsAre( "10 permit 10.0.1.0/24 at 10.0.1.0/24", "20 permit 10.0.2.0/24 at 10.0.2.0/24" ) );
      EXPECT_FALSE( sm->newTrie() );
      EXPECT_EQ( sm->bookmark(), 0u );
   }
}

TEST_F( IpAclConfigSmTest, aListWithRulesAndNoNumbersIsEmpty ) {
   startSliced( 2 );
   runUntilIdle( *clock );
   version->ruleBySequenceDelAll();
   EXPECT_EQ( runUntilIdle( *clock ), 1 );
   EXPECT_THAT( rules(), IsEmpty() );
   EXPECT_EQ( published(), 2u );
}

TEST_F( IpAclConfigSmTest, theListIsReadFromItsType ) {
   startSliced( 2 );
   type->aclDel( "A" );
   EXPECT_EQ( runUntilIdle( *clock ), 1 );   // stops there
   EXPECT_FALSE( status() );
   EXPECT_EQ( published(), 0u );
   EXPECT_TRUE( sm->newTrie() );
   const auto another = type->aclIs( "A" );
   another->currVersionIs( aclVersion( manyRules( 5 ) ) );
   sm->handleIpAccessListVersion();
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 5u );
}

TEST_F( IpAclConfigSmTest, withoutATypeItIsIpv4AndFindsNoList ) {
   list->currVersionIs( aclVersion( { "10 permit 10.0.0.0/8" } ) );
   sm = Zeugma::makeSm<IpAclConfigSm>( "A", nullptr, symbols, list, clock );
   ASSERT_TRUE( sm->newTrie() );
   EXPECT_EQ( sm->newTrie()->af(), AddressFamily::ipv4 );
   EXPECT_EQ( runUntilIdle( *clock ), 1 );
   EXPECT_FALSE( status() );
   EXPECT_EQ( published(), 0u );
   list->currVersionIs( aclVersion( { "10 permit 2001:db8::/32" } ) );
   EXPECT_TRUE( nothingDue( *clock ) );
}

TEST_F( IpAclConfigSmTest, withoutASymbolNothingIsPublished ) {
   startSliced( 2 );
   symbols->symbolDel( "A" );
   runUntilIdle( *clock );
   EXPECT_FALSE( held->status() );
   EXPECT_FALSE( sm->newTrie() );
   symbols->symbolIs( held );
   version->ruleBySequenceDel( 10 );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( held->status() ), 1u );
}

TEST_F( IpAclConfigSmTest, aSymbolWithoutNotifierGetsItsList ) {
   startSliced( 2 );
   symbol()->notifierIs( nullptr );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 2u );
}

TEST_F( Ip6AclConfigSmTest, isSlicedAndRestartedLikeIpv4 ) {
   startSliced( { "10 permit 2001:db8::/32", "20 deny 2001:db8:1::/48", "30 permit ::/0" } );
   clock->callDue();
   EXPECT_EQ( sm->bookmark(), 20u );
   ruleDel( *version, 30 );
   EXPECT_EQ( sm->bookmark(), 0u );
   EXPECT_EQ( bookmarks(), ( std::vector<uint32_t>{ 20, 0 } ) );
   EXPECT_EQ( ruleCountOf( status() ), 2u );
   version->ip6RuleDelAll();
   version->ipRuleIs( 1, ipRule( "10 permit 10.0.0.0/8" ) );   // the count of its own family decides
   EXPECT_TRUE( nothingDue( *clock ) );
}

// ---- reactions

TEST_F( IpAclConfigSmTest, anEditInsideThePublicationIsCompiled ) {
   const EditRow rows[] = {
      { "a rule", [ & ] { ruleIs( *version, "5 deny 99.0.0.0/8" ); }, 3 },
      { "another version", [ & ] { list->currVersionIs( version = aclVersion( manyRules( 4 ) ) ); }, 4 },
   };
   for( const auto & row : rows )
      for( const bool byVersion : { false, true } ) {
         SCOPED_TRACE( testing::Message() << row.what << ( byVersion ? ", inside the version" : ", inside the status" ) );
         startSliced( 2 );
         const auto before = published();
         OnlyOnce once( row.edit );
         const Reaction reaction( heardAt( *held, byVersion ), std::ref( once ) );
         clock->callDue();
         clock->callDue();
         ASSERT_FALSE( once );
         EXPECT_EQ( published(), before + 1 );
         EXPECT_EQ( ruleCountOf( status() ), 2u );
         ASSERT_TRUE( sm->newTrie() ) << "the edit is being compiled";
         EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
         EXPECT_EQ( size_t( runUntilIdle( *clock ) ), row.rules );
         EXPECT_EQ( ruleCountOf( status() ), row.rules );
         EXPECT_EQ( published(), before + 2 );
      }
}

TEST_F( IpAclConfigSmTest, mayBeReleasedInsideThePublication ) {
   for( const bool byVersion : { false, true } ) {
      SCOPED_TRACE( byVersion );
      startSliced( 2 );
      const auto before = published();
      const Reaction reaction( heardAt( *held, byVersion ), [ & ]( const Quoin::Change & ) { sm = nullptr; } );
      runUntilIdle( *clock );
      EXPECT_FALSE( sm );
      EXPECT_EQ( ruleCountOf( status() ), 2u );
      EXPECT_EQ( published(), before + 1 );
      ruleIs( *version, "99 deny 99.0.0.0/8" );
      EXPECT_TRUE( nothingDue( *clock ) );
   }
}

// Clocks and readers of traces run inside a slice.
TEST_F( IpAclConfigSmTest, anEditInsideASliceRestarts ) {
   const EditRow rows[] = {
      { "a rule ahead", [ & ] { ruleIs( *version, "5 deny 99.0.0.0/8" ); }, 5 },
      { "a rule behind", [ & ] { ruleIs( *version, "99 deny 99.0.0.0/8" ); }, 5 },
      { "the present rule goes", [ & ] { ruleDel( *version, 20 ); }, 3 },
      { "another version", [ & ] { list->currVersionIs( version = aclVersion( manyRules( 6 ) ) ); }, 6 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      OnlyOnce once( row.edit );
      const auto asking = startInterruptedBy( once );
      runUntilIdle( *asking );
      ASSERT_FALSE( once );
      EXPECT_EQ( ruleCountOf( status() ), row.rules );
   }
}

TEST_F( IpAclConfigSmTest, anEditInsideTheTraceOfAPauseRestarts ) {
   const EditRow rows[] = {
      { "a rule ahead", [ & ] { ruleIs( *version, "5 deny 99.0.0.0/8" ); }, 5 },
      { "a rule already done", [ & ] { ruleDel( *version, 10 ); }, 3 },
      { "the rule of the bookmark", [ & ] { ruleDel( *version, 30 ); }, 3 },
      { "another version", [ & ] { list->currVersionIs( version = aclVersion( manyRules( 6 ) ) ); }, 6 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      startSliced( 4 );
      clock->callDue();
      const auto before = published();
      OnlyOnce once( row.edit );
      const TraceReaction reaction( "IpAclConfigSm", std::ref( once ) );
      clock->callDue();
      ASSERT_FALSE( once );
      EXPECT_EQ( sm->bookmark(), 0u );
      EXPECT_EQ( size_t( runUntilIdle( *clock ) ), row.rules );
      EXPECT_EQ( ruleCountOf( status() ), row.rules );
      EXPECT_EQ( published(), before + 1 );
   }
}

TEST_F( IpAclConfigSmTest, mayBeEditedOrReleasedInsideATrace ) {
   for( const char * first : { "10 permit 10.0.0.0/8", "10 permit 10.1.2.3/8" } ) {   // the trace of a pause, of a rule
      SCOPED_TRACE( first );
      startSliced( { first, "20 permit 20.0.0.0/8" } );
      OnlyOnce once( [ & ] { ruleIs( *version, "10 deny 11.0.0.0/8" ); } );
      {
         const TraceReaction edit( "IpAclConfigSm", std::ref( once ) );
         runUntilIdle( *clock );
      }
      ASSERT_FALSE( once );
      EXPECT_THAT( rules(), ElementsAre( "10 deny 11.0.0.0/8 at 11.0.0.0/8", "20 permit 20.0.0.0/8 at 20.0.0.0/8" ) );
      const auto before = published();
      startSliced( { first, "20 permit 20.0.0.0/8" } );
      const TraceReaction release( "IpAclConfigSm", [ & ] { sm = nullptr; } );
      runUntilIdle( *clock );
      EXPECT_FALSE( sm );
      EXPECT_EQ( published(), before );
   }
}

TEST_F( IpAclConfigSmTest, theSymbolIsTheOneAtTheStartOfTheSlice ) {
   OnlyOnce once( [ & ] { symbols->symbolDel( "A" ); } );
   const auto asking = startInterruptedBy( once );
   runUntilIdle( *asking );
   ASSERT_FALSE( once );
   EXPECT_EQ( ruleCountOf( held->status() ), 4u );
}

TEST_F( IpAclConfigSmTest, mayBeReleasedOrStoppedInsideASlice ) {
   OnlyOnce release( [ & ] { sm = nullptr; } );
   runUntilIdle( *startInterruptedBy( release ) );
   EXPECT_FALSE( sm );
   const auto before = published();
   OnlyOnce stop( [ & ] {
      const auto stopped = std::exchange( sm, nullptr );
      stopped->hasNotificationActiveIs( false );
      stopped->plinthDoZombieReactors( true );
   } );
   runUntilIdle( *startInterruptedBy( stop ) );
   EXPECT_FALSE( sm );
   EXPECT_EQ( published(), before ) << "a stopped machine publishes nothing";
}

// ---- inspections

TEST_F( IpAclConfigSmTest, aRuleMayBePutIntoTheTrieUnderConstruction ) {
   startSliced( 1 );
   sm->testAddIpAclEntryToTrie( 7, ipRule( "0 deny 10.1.2.3/8" ) );
   EXPECT_THAT( rulesOf( *sm->newTrie() ), ElementsAre( "7 deny 10.1.2.3/8 at 10.0.0.0/8" ) );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 2u );
}

TEST_F( Ip6AclConfigSmTest, aRuleMayBePutIntoTheTrieUnderConstruction ) {
   startWith( { "10 permit 2001:db8::/32" } );
   sm->testAddIp6AclEntryToTrie( 7, ip6Rule( "0 deny 2001:db8::1/64" ) );
   EXPECT_THAT( rulesOf( *sm->newTrie() ), ElementsAre( "7 deny 2001:db8::1/64 at 2001:db8::/64" ) );
}

TEST_F( IpAclConfigSmTest, theEndOfACompilationDropsTheInspectedPrefixes ) {
   startSliced( 2 );
   sm->getIpPfxFromRule( ipRule( "10 permit 10.0.0.0/8" ) );
   const auto found = sm->pset();
   ASSERT_TRUE( found );
   clock->callDue();
   EXPECT_EQ( sm->pset(), found ) << "not in a pause";
   clock->callDue();
   EXPECT_FALSE( sm->pset() );
}

TEST_F( IpAclConfigSmTest, anInspectionFindsThePrefixesThatARulePermits ) {
   start();
   const Inspection rows[] = {
      { "10 permit 0.0.0.0/0", "{0.0.0.0/0}", { "0 to 4294967295" } },   // the multicast space too
      { "10 permit 10.0.0.0/8", "{10.0.0.0/8}", { "167772160 to 184549375" } },
      { "10 permit 255.255.255.255/32", "{255.255.255.255/32}", { "4294967295 to 4294967295" } },
      { "10 permit 192.0.0.0/2", "{192.0.0.0/2}", { "3221225472 to 4294967295" } },
      { "10 deny 128.0.0.0/1", "{0.0.0.0/1}", { "0 to 2147483647" } },
      { "10 deny 64.0.0.0/2", "{0.0.0.0/2, 128.0.0.0/1}", { "0 to 1073741823", "2147483648 to 4294967295" } },
      { "10 permit 10.0.1.0 255.255.253.0", "{10.0.1.0/24, 10.0.3.0/24}", { "167772416 to 167772671", "167772928 to 167773183" } },
      { "10 deny 0.0.0.0/0", "{}", {} },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.rule );
      const auto former = sm->pset();
      const auto formerText = former ? former->toStrep() : Quoin::String();
      TraceLog traces( "AclToPrefix::PermittedPrefixes" );
      sm->getIpPfxFromRule( ipRule( row.rule ) );
      expectFound( row, traces );
      if( former ) { EXPECT_EQ( former->toStrep(), formerText ) << "the former set is not written again"; }
   }
   EXPECT_FALSE( sm->newTrie() );
   EXPECT_TRUE( nothingDue( *clock ) );
}

TEST_F( Ip6AclConfigSmTest, anInspectionFindsThePrefixesThatARulePermits ) {
   start();
   const Inspection rows[] = {
      { "10 permit ::/0", "{::/0}", { ":: to ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" } },   // the multicast space too
      { "10 permit 2001:db8::/32", "{2001:db8::/32}", { "2001:db8:: to 2001:db8:ffff:ffff:ffff:ffff:ffff:ffff" } },
      { "10 permit 2001:db8::1/128", "{2001:db8::1/128}", { "2001:db8::1 to 2001:db8::1" } },
      { "10 permit c000::/2", "{c000::/2}", { "c000:: to ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" } },
      { "10 deny 8000::/1", "{::/1}", { ":: to 7fff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" } },
      { "10 deny 4000::/2",
        "{::/2, 8000::/1}",
        { ":: to 3fff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "8000:: to ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" } },
      { "10 deny ::/0", "{}", {} },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.rule );
      TraceLog traces( "AclToIp6Prefix::PermittedPrefixes" );
      sm->getIp6PfxFromRule( ip6Rule( row.rule ) );
      expectFound( row, traces );
   }
}

using IpAclConfigSmDeathTest = IpAclConfigSmTest;

TEST_F( IpAclConfigSmDeathTest, aRuleWithoutATrieEndsTheProcess ) {
   start();
   ASSERT_FALSE( sm->newTrie() );
   EXPECT_DEATH( sm->testAddIpAclEntryToTrie( 10, {} ), "Assertion failed: trie" );
   EXPECT_DEATH( sm->testAddIp6AclEntryToTrie( 10, {} ), "Assertion failed: trie" );
}

TEST_F( IpAclConfigSmDeathTest, nullsEndTheProcess ) {
   EXPECT_DEATH( makeNode<IpAclConfigSm>( "A", type, nullptr, list, clock ), "ipAclSymbolTable" );
   EXPECT_DEATH( makeNode<IpAclConfigSm>( "A", type, symbols, nullptr, clock ), "ipAccessList" );
   EXPECT_THROW( makeNode<IpAclConfigSm>( "A", type, symbols, list, nullptr ), Plinth::MutatorArgNullPointerException );
}

// ---- the form of the list

TEST_F( IpAclConfigSmTest, anInspectedListBecomesATrieAndHasTheSameRules ) {
   const Log texts{ "10 permit 10.0.0.0/8", "20 deny 10.1.2.3 255.0.255.0", "30 deny 10.1.0.0/16" };
   for( const int inspectedAfter : { 0, 1, 2, 3 } ) {
      SCOPED_TRACE( inspectedAfter );
      startSliced( texts );
      for( int i = 0; i < inspectedAfter; ++i ) clock->callDue();
      const auto held = sm->newTrie();
      EXPECT_EQ( held != nullptr, inspectedAfter != 3 );
      runUntilIdle( *clock );
      EXPECT_EQ( status()->rules() != nullptr, inspectedAfter == 3 );
      if( held ) { EXPECT_EQ( &status()->trie(), held.get() ); }
      EXPECT_THAT( rules(),
                   ElementsAre( "10 permit 10.0.0.0/8 at 10.0.0.0/8", "20 deny 10.1.2.3/255.0.255.0 at 10.0.0.0/8",
                                "30 deny 10.1.0.0/16 at 10.1.0.0/16" ) );
      EXPECT_TRUE( listPermits( status(), "10.1.2.0/24" ) );
   }
}

TEST_F( IpAclConfigSmTest, aRuleThatIsAddedOutOfOrderCounts ) {
   startSliced( Log{ "10 deny 10.0.0.0/8", "20 permit 0.0.0.0/0" } );
   clock->callDue();
   sm->testAddIpAclEntryToTrie( 5, ipRule( "5 permit 10.1.0.0/16" ) );
   runUntilIdle( *clock );
   EXPECT_EQ( rules().size(), 3u );
   EXPECT_TRUE( listPermits( status(), "10.1.0.0/16" ) );
   EXPECT_FALSE( listPermits( status(), "10.2.0.0/16" ) );
}

TEST_F( IpAclConfigSmTest, aLargeOldListIsFreedInSlices ) {
   const auto retired = makeNode<Routing::RetiredTries>( clock );
   for( const unsigned count : { unsigned( Routing::RetiredTries::kSmall ), unsigned( Routing::RetiredTries::kSmall ) + 1 } ) {
      list->currVersionIs( aclVersion( manyRules( count ) ) );
      sm = Zeugma::makeSm<IpAclConfigSm>( "A", type, symbols, list, clock, retired );
      runUntilIdle( *clock );
      ASSERT_TRUE( status()->rules() );
      symbol()->statusIs( nullptr );   // drops the last use
      EXPECT_EQ( retired->count(), count > Routing::RetiredTries::kSmall ? 1u : 0u );
      runUntilIdle( *clock );
      EXPECT_EQ( retired->count(), 0u );
   }
}

// ---- the end

TEST_F( IpAclConfigSmTest, aMachineReleasedBetweenSlicesDropsItsTrie ) {
   for( const int turns : { 0, 1, 2 } ) {
      SCOPED_TRACE( turns );
      startSliced( 3 );
      for( int i = 0; i < turns; ++i ) clock->callDue();
      const auto trie = sm->newTrie();
      ASSERT_TRUE( trie );
      sm = nullptr;
      EXPECT_EQ( trie->useCount(), 1u );
      EXPECT_TRUE( nothingDue( *clock ) );
      EXPECT_FALSE( status() );
      EXPECT_EQ( published(), 0u );
   }
}

TEST_F( IpAclConfigSmTest, aStoppedMachineCompilesNothing ) {
   startSliced( 3 );
   clock->callDue();
   sm->hasNotificationActiveIs( false );
   sm->plinthDoZombieReactors( true );
   runUntilIdle( *clock );
   EXPECT_FALSE( status() );
   EXPECT_EQ( published(), 0u );
   ruleIs( *version, "99 deny 99.0.0.0/8" );
   EXPECT_TRUE( nothingDue( *clock ) );
}

}   // namespace
}   // namespace Routing::Policy
