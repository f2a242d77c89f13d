#include "policy/RoutingPolicyAcl.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace ListFixtures;
using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;

static_assert( sizeof( IpAccessListWalkerCb ) == sizeof( Routing::PatriciaTrieWalkCb ), "no fields" );

bool match( const Ptr<const IpAccessListStatus> & list, const char * asked ) {
   return IpAccessListMatcher( "ACL", list ).matchForTest( routeTo( asked ), noContext );
}

/// The list of these rules in each form that it can have.
std::vector<Ptr<const IpAccessListStatus>> eachForm( Texts texts ) {
   std::vector<Ptr<const IpAccessListStatus>> forms{ accessList( texts ) };
   std::vector<AclPrefixEntry> rules;
   for( const char * text : texts ) rules.push_back( accessListRule( text ) );
   if( forms[ 0 ]->trie().af() == AddressFamily::ipv4 ) forms.push_back( compiledAccessListOf( rules ) );
   return forms;
}

/// A rule that decides late.
struct OwnRule final : AclEntryData {
   OwnRule( const AclPrefixEntry & rule, std::function<Acl::MatchPermit()> d ) : AclEntryData( rule ), decide( std::move( d ) ) {}
   Acl::MatchPermit permit() const override { return decide(); }
   std::function<Acl::MatchPermit()> decide;
};

Ptr<IpAccessListStatus> listThatDecides( const std::function<Acl::MatchPermit()> & decide ) {
   const auto rule = accessListRule( "10 permit 10.0.0.0/8" );
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   trie->routeIs( keyOf( rule ), makeNode<OwnRule>( rule, decide ) );
   auto status = makeNode<IpAccessListStatus>( "own" );
   status->trieIs( trie );
   return status;
}

void expectCleanThread() {
   EXPECT_EQ( IpAccessListWalkerCbCtx::ofThisThread().prefix, nullptr );
   EXPECT_EQ( IpAccessListWalkerCbCtx::ofThisThread().entry, nullptr );
}

TEST( IpAccessListMatcher, anUndefinedListMatchesNothing ) {
   EXPECT_FALSE( match( nullptr, "10.0.0.0/8" ) );
   EXPECT_FALSE( match( nullptr, "2001:db8::/32" ) );
}

TEST( IpAccessListMatcher, anUndefinedListDoesNotLookAtThePrefixThatItAsksFor ) {
   struct Route final : MatchInput_ {
      const IpGenPrefix * getPrefixPointer() const override {
         ++calls;
         return nullptr;
      }
      mutable int calls = 0;
   } route;
   EXPECT_FALSE( IpAccessListMatcher( "ACL", nullptr ).match( &route, noContext ) );
   EXPECT_EQ( route.calls, 1 );
}

// A walk stores the prefix and drops the entry that it finds; what is put there shows that none began.
TEST( IpAccessListMatcher, aListOfTheOtherFamilyMatchesNothingAndIsNotWalked ) {
   const auto sentinel = makeNode<AclEntryData>( AclPrefixEntry{} );
   const IpGenPrefix other;
   auto & ctx = IpAccessListWalkerCbCtx::ofThisThread();
   ctx.prefix = &other;
   ctx.entry = sentinel;
   for( const auto & list : eachForm( { "10 permit 0.0.0.0/0" } ) ) {
      EXPECT_FALSE( match( list, "2001:db8::/32" ) );
      EXPECT_FALSE( match( list, "::/0" ) );
   }
   EXPECT_FALSE( match( accessList( { "10 permit ::/0" } ), "10.0.0.0/8" ) );
   EXPECT_FALSE( match( nullptr, "10.0.0.0/8" ) );
   EXPECT_FALSE( IpAccessListMatcher( "ACL", accessList( { "10 permit 0.0.0.0/0" } ) ).matchForTest( MatchInput_(), noContext ) )
      << "of no family";
   EXPECT_EQ( ctx.prefix, &other );
   EXPECT_EQ( ctx.entry, sentinel );
   ctx.prefix = nullptr;
   ctx.entry = nullptr;
}

TEST( IpAccessListMatcher, theLowestNumberThatCoversTheRouteGoverns ) {
   const struct {
      const char * name;
      Texts rules;
      const char * asked;
      bool matches;
   } rows[] = {
      { "no rules", {}, "10.0.0.0/8", false },
      { "two of one source, the permit first", { "10 permit 10.0.0.0/8", "20 deny 10.0.0.0/8" }, "10.1.0.0/16", true },
      { "two of one source, entered backwards", { "20 deny 10.0.0.0/8", "10 permit 10.0.0.0/8" }, "10.1.0.0/16", true },
      { "two of one source, the deny first", { "10 deny 10.0.0.0/8", "20 permit 10.0.0.0/8" }, "10.1.0.0/16", false },
      { "a deny with a lower number", { "10 deny 10.0.0.0/8", "20 permit 10.1.0.0/16" }, "10.1.1.0/24", false },
      { "a permit with a lower number", { "10 permit 10.0.0.0/8", "20 deny 10.1.0.0/16" }, "10.1.1.0/24", true },
      { "a longer one with a lower number", { "20 deny 10.0.0.0/8", "10 permit 10.1.0.0/16" }, "10.1.1.0/24", true },
      { "no rule", { "10 permit 10.0.0.0/8" }, "11.0.0.0/24", false },
      { "the very prefix", { "10 permit 10.0.0.0/8" }, "10.0.0.0/8", true },
      { "a host", { "10 permit 10.0.0.0/8" }, "10.1.1.1/32", true },
      { "shorter than the rule", { "10 permit 10.0.0.0/8" }, "10.0.0.0/7", false },
      { "the default route", { "10 permit 10.0.0.0/8" }, "0.0.0.0/0", false },
      { "all", { "10 permit 0.0.0.0/0" }, "0.0.0.0/0", true },
      { "a host rule", { "10 permit 10.1.1.1/32" }, "10.1.1.1/32", true },
      { "a host rule and the network around it", { "10 permit 10.1.1.1/32" }, "10.1.1.0/24", false },
      { "bits behind the route's length", { "10 permit 10.0.0.0/8" }, "10.255.1.2/16", true },
      { "the numbers 0 and greatest", { "4294967295 deny 10.0.0.0/8", "0 permit 0.0.0.0/0" }, "10.1.0.0/16", true },
      { "the greatest number alone", { "4294967295 permit 10.0.0.0/8" }, "10.1.0.0/16", true },
      { "IPv6", { "10 permit 2001:db8::/32", "5 deny 2001:db8:1::/48" }, "2001:db8:2::/48", true },
      { "IPv6, denied", { "10 permit 2001:db8::/32", "5 deny 2001:db8:1::/48" }, "2001:db8:1:1::/64", false },
      { "IPv6 with host bits", { "10 permit 2001:db8::1/32" }, "2001:db8:2::/48", true },
      { "IPv6 with host bits, elsewhere", { "10 permit 2001:db8::1/32" }, "2001:db9::/48", false },
   };
   for( const auto & row : rows )
      for( const auto & list : eachForm( row.rules ) ) EXPECT_EQ( match( list, row.asked ), row.matches ) << row.name;
}

TEST( IpAccessListMatcher, aMaskThatIsNoPrefixIsTestedWhole ) {
   const struct {
      const char * name;
      Texts rules;
      const char * asked;
      bool matches;
   } rows[] = {
      { "a gap that fits", { "10 permit 10.0.0.0 255.0.255.0", "20 deny 10.0.0.0/8" }, "10.1.0.0/24", true },
      { "a gap that does not fit", { "10 permit 10.0.0.0 255.0.255.0", "20 deny 10.0.0.0/8" }, "10.1.1.0/24", false },
      { "a gap that does not fit, and nothing behind", { "10 permit 10.0.0.0 255.0.255.0" }, "10.1.1.0/24", false },
      { "the address alone is tested, not the length", { "10 permit 10.0.0.0 255.0.255.0" }, "10.1.0.0/16", true },
      { "bits behind the route's length are tested too", { "10 permit 10.0.0.0 255.0.255.0" }, "10.1.1.0/16", false },
      { "a route shorter than the leading ones", { "10 permit 10.0.0.0 255.0.255.0" }, "8.0.0.0/7", false },
      { "host bits", { "10 permit 10.1.2.3/8" }, "10.200.0.0/16", true },
      { "host bits, elsewhere", { "10 permit 10.1.2.3/8" }, "11.1.2.3/32", false },
      { "host bits, the network itself", { "10 permit 10.1.2.3/8" }, "10.0.0.0/8", true },
      { "a zero mask with an address", { "10 permit 1.2.3.4 0.0.0.0" }, "200.0.0.0/8", true },
      { "a zero mask with an address, the default route", { "10 permit 1.2.3.4 0.0.0.0" }, "0.0.0.0/0", true },
      { "a mask without its highest bit, fitting", { "10 permit 0.5.0.0 0.255.0.0" }, "77.5.0.0/16", true },
      { "a mask without its highest bit, not fitting", { "10 permit 0.5.0.0 0.255.0.0" }, "77.6.0.0/16", false },
      { "a gap and a host bit in it", { "10 permit 10.9.0.0 255.0.255.0" }, "10.1.0.0/24", true },
      { "a full mask", { "10 permit 10.1.2.3 255.255.255.255" }, "10.1.2.3/32", true },
      { "the last bit alone", { "10 permit 0.0.0.1 0.0.0.1" }, "10.0.0.1/32", true },
      { "the last bit alone, not set", { "10 permit 0.0.0.1 0.0.0.1" }, "10.0.0.2/32", false },
   };
   for( const auto & row : rows )
      for( const auto & list : eachForm( row.rules ) ) EXPECT_EQ( match( list, row.asked ), row.matches ) << row.name;
}

TEST( IpAccessListMatcher, bitsAfterTheLengthCountForARuleThatIsNoPrefix ) {
   for( const auto & prefixes : eachForm( { "10 deny 10.0.0.0/16", "20 permit 10.0.0.0/8", "30 deny 0.0.0.0/0" } ) ) {
      for( const char * route : { "10.0.0.0/8", "10.0.0.1/8", "10.1.0.1/16" } ) EXPECT_TRUE( match( prefixes, route ) ) << route;
      for( const char * route : { "10.0.0.0/16", "10.0.0.1/16", "11.0.0.1/8" } ) EXPECT_FALSE( match( prefixes, route ) ) << route;
   }
   for( const auto & masks : eachForm( { "10 permit 10.0.0.1 255.0.0.255" } ) ) {
      EXPECT_TRUE( match( masks, "10.0.0.1/8" ) );
      EXPECT_TRUE( match( masks, "10.9.9.1/16" ) );
      EXPECT_FALSE( match( masks, "10.0.0.0/8" ) );
      EXPECT_FALSE( match( masks, "10.0.0.2/8" ) );
   }
}

TEST( IpAccessListMatcher, theOrderWithinANodeDoesNotMatter ) {
   std::vector<AclPrefixEntry> rules;
   for( const char * text : { "10 deny 10.0.0.0 255.0.255.0", "20 permit 10.0.0.0/8", "30 deny 10.0.0.0/8", "40 permit 10.5.5.5/8" } )
      rules.push_back( accessListRule( text ) );
   const auto byNumber = []( const AclPrefixEntry & a, const AclPrefixEntry & b ) { return a.seqno < b.seqno; };
   do {
      const auto list = accessListOf( AddressFamily::ipv4, rules );
      ASSERT_EQ( list->trie().prefixCount(), 1u ) << "one node";
      EXPECT_FALSE( match( list, "10.1.0.0/24" ) );
      EXPECT_TRUE( match( list, "10.1.1.0/24" ) );
   } while( std::next_permutation( rules.begin(), rules.end(), byNumber ) );
}

TEST( IpAccessListMatcher, aRuleIsAskedWhenItGoverns ) {
   int calls = 0;
   auto answer = permit;
   const auto list = listThatDecides( [ & ] {
      ++calls;
      return answer;
   } );
   EXPECT_TRUE( match( list, "10.0.0.0/8" ) );
   answer = deny;
   EXPECT_FALSE( match( list, "10.0.0.0/8" ) );
   EXPECT_EQ( calls, 2 );
   EXPECT_FALSE( match( list, "11.0.0.0/8" ) );
   EXPECT_EQ( calls, 2 );
}

TEST( IpAccessListMatcher, whatIsEnteredIntoTheTrieLaterCounts ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   const auto status = makeNode<IpAccessListStatus>( "ACL" );
   status->trieIs( trie );
   EXPECT_FALSE( match( status, "10.1.0.0/16" ) );
   const auto rule = accessListRule( "10 permit 10.0.0.0/8" );
   trie->routeIs( keyOf( rule ), makeNode<AclEntryData>( rule ) );
   EXPECT_TRUE( match( status, "10.1.0.0/16" ) );
   trie->compact();
   EXPECT_TRUE( match( status, "10.1.0.0/16" ) );
}

// The list may be replaced, and this matcher dropped, by what the call itself runs.
TEST( IpAccessListMatcher, theListLivesAsLongAsTheCallOfARule ) {
   struct State {
      Ptr<IpAccessListMatcher> matcher;
      std::weak_ptr<int> rule;
      bool whole = false;
   } state;
   auto alive = std::make_shared<int>();
   state.rule = alive;
   state.matcher = makeNode<IpAccessListMatcher>( "ACL", listThatDecides( [ &state, alive = std::move( alive ) ] {
                                                     State & s = state;   // the closure is the rule's
                                                     s.matcher = nullptr;
                                                     s.whole = !s.rule.expired();
                                                     return permit;
                                                  } ) );
   EXPECT_TRUE( state.matcher->matchForTest( routeTo( "10.0.0.0/8" ), noContext ) );
   EXPECT_EQ( state.matcher, nullptr );
   EXPECT_TRUE( state.whole );
   EXPECT_TRUE( state.rule.expired() ) << "and no longer";
   expectCleanThread();
}

TEST( IpAccessListMatcher, theListLivesAsLongAsTheCallOfAGetter ) {
   struct Route final : MatchInput_ {
      const IpGenPrefix * getPrefixPointer() const override {
         matcher = nullptr;
         return MatchInput_::getPrefixPointer();
      }
      mutable Ptr<IpAccessListMatcher> matcher;
   } route;
   route.prefixIs( IpGenPrefix( "10.0.0.0/8" ) );
   auto list = accessList( { "10 permit 10.0.0.0/8" } );
   const auto * raw = list.get();
   route.matcher = makeNode<IpAccessListMatcher>( "ACL", list );
   EXPECT_TRUE( route.matcher->match( &route, noContext ) );
   EXPECT_EQ( route.matcher, nullptr );
   EXPECT_EQ( raw->useCount(), 1u );
}

TEST( IpAccessListMatcher, theThreadIsCleanBehindEveryAnswer ) {
   const IpAccessListMatcher matcher( "ACL", accessList( { "10 permit 10.0.0.0/8", "20 deny 11.0.0.0/8" } ) );
   for( const char * asked : { "10.1.0.0/16", "11.0.0.0/8", "12.0.0.0/8", "2001:db8::/32" } ) {
      matcher.matchForTest( routeTo( asked ), noContext );
      expectCleanThread();
   }
}

TEST( IpAccessListMatcher, whatAnotherWalkLeftDoesNotCount ) {
   const auto stale = makeNode<AclEntryData>( accessListRule( "1 deny 10.0.0.0/8" ) );
   const auto permits = makeNode<AclEntryData>( accessListRule( "1 permit 10.0.0.0/8" ) );
   for( const auto & list : eachForm( { "10 permit 10.0.0.0/8" } ) ) {
      IpAccessListWalkerCbCtx::ofThisThread().entry = stale;
      EXPECT_TRUE( match( list, "10.0.0.0/8" ) );
      IpAccessListWalkerCbCtx::ofThisThread().entry = permits;
      EXPECT_FALSE( match( list, "11.0.0.0/8" ) );
      expectCleanThread();
   }
}

TEST( IpAccessListMatcher, theThreadIsCleanBehindARuleThatThrows ) {
   const auto status = listThatDecides( []() -> Acl::MatchPermit { throw std::runtime_error( "no answer" ); } );
   const IpAccessListMatcher matcher( "ACL", status );
   const auto uses = status->useCount();
   EXPECT_THROW( matcher.matchForTest( routeTo( "10.0.0.0/8" ), noContext ), std::runtime_error );
   expectCleanThread();
   EXPECT_EQ( status->useCount(), uses );
   status->trie().visitAll( []( const IpGenPrefix &, const Routing::PrefixData * head ) { EXPECT_EQ( head->useCount(), 1u ); } );
   EXPECT_TRUE( match( accessList( { "20 permit 10.0.0.0/8" } ), "10.0.0.0/8" ) ) << "the next walk starts empty";
   EXPECT_FALSE( match( accessList( { "20 permit 10.0.0.0/8" } ), "11.0.0.0/8" ) );
}

TEST( IpAccessListMatcher, theThreadIsCleanBehindAGetterThatThrows ) {
   struct Route final : MatchInput_ {
      const IpGenPrefix * getPrefixPointer() const override { throw std::runtime_error( "no such field" ); }
   } route;
   const IpAccessListMatcher matcher( "ACL", accessList( { "10 permit 10.0.0.0/8" } ) );
   EXPECT_THROW( matcher.match( &route, noContext ), std::runtime_error );
   expectCleanThread();
   EXPECT_TRUE( matcher.matchForTest( routeTo( "10.0.0.0/8" ), noContext ) );
}

TEST( IpAccessListMatcher, itsTextNamesTheListAndItsStatus ) {
   const Ptr<const IpAccessListStatus> lists[] = { accessList( {} ), nullptr };
   for( const auto & list : lists ) {
      const auto matcher = makeNode<IpAccessListMatcher>( "ACL1", list );
      EXPECT_EQ( matcher->name(), "ACL1" );
      EXPECT_EQ( matcher->status(), list );
      EXPECT_EQ( matcher->getFeatures().value(), 1u );
      const std::string expected = "IpAccessListMatcher prefix-list ACL1;" + Quoin::DisplayPointer::toString( list.get() );
      EXPECT_EQ( matcher->toStrep(), expected.c_str() );
      EXPECT_EQ( Fixtures::textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), expected );
      std::ostringstream os;
      os << std::hex << std::showbase << std::left << std::setfill( '*' );
      const auto flags = os.flags();
      matcher->formatDerivedType( os );
      EXPECT_EQ( os.flags(), flags );
      EXPECT_EQ( os.fill(), '*' );
   }
   EXPECT_EQ( IpAccessListMatcher( "ACL1", nullptr ).toStrep(), "IpAccessListMatcher prefix-list ACL1;NULL" );
}

TEST( IpAccessListMatcher, readsTheRouteThroughItsGetterOnce ) {
   struct Route final : MatchInput_ {
      const IpGenPrefix * getPrefixPointer() const override {
         ++calls;
         return &other;
      }
      IpGenPrefix other{ "10.0.0.0/8" };
      mutable int calls = 0;
   } route;
   route.prefixIs( IpGenPrefix( "11.0.0.0/8" ) );
   EXPECT_TRUE( IpAccessListMatcher( "ACL", accessList( { "10 permit 10.0.0.0/8" } ) ).match( &route, noContext ) );
   EXPECT_EQ( route.calls, 1 );
}

TEST( IpAccessListMatcher, matchingDoesNotAllocate ) {
   for( const auto & list :
        eachForm( { "10 deny 10.0.0.0 255.0.255.0", "30 permit 10.0.0.0/8", "20 permit 10.1.0.0/16", "5 deny 1.2.3.4/6" } ) ) {
      const IpAccessListMatcher matcher( "ACL", list );
      const auto route = routeTo( "10.1.1.0/24" ), elsewhere = routeTo( "192.0.2.0/24" );
      matcher.match( &route, noContext );   // the thread's context is made for the first walk
      const auto before = allocationCount();
      const bool a = matcher.match( &route, noContext ), b = matcher.match( &elsewhere, noContext );
      EXPECT_EQ( allocationCount(), before );
      EXPECT_TRUE( a );
      EXPECT_FALSE( b );
   }
   const auto before = allocationCount();
   const auto something = makeNode<IpAccessListStatus>( "another" );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

// A use count that every match updates would pass from processor to processor. A thread of its own builds the list, because a thread that
// has allocated entries before goes on in a block of that time.
TEST( IpAccessListMatcherDeathTest, matchingWritesNothingThatThreadsShare ) {
   const auto answersFromReadOnlyMemory = []( bool compiled ) {
      Ptr<const IpAccessListMatcher> matcher;
      std::thread( [ & ] {
         ProtectableMemory memory;
         const std::vector<AclPrefixEntry> rules{ accessListRule( "10 deny 10.0.0.0 255.0.255.0" ),
                                                  accessListRule( "20 permit 10.1.0.0/16" ), accessListRule( "30 deny 10.0.0.0/8" ) };
         const auto list = compiled ? compiledAccessListOf( rules ) : accessListOf( AddressFamily::ipv4, rules );
         matcher = makeNode<IpAccessListMatcher>( "ACL", list );
         memory.readOnlyIs();
         const auto denied = routeTo( "10.1.0.0/24" ), permitted = routeTo( "10.1.1.0/24" ), elsewhere = routeTo( "11.0.0.0/8" );
         const bool right =
            !matcher->match( &denied, noContext ) && matcher->match( &permitted, noContext ) && !matcher->match( &elsewhere, noContext );
         std::_Exit( right ? 0 : 1 );   // the list cannot be released any more
      } ).join();
   };
   EXPECT_EXIT( answersFromReadOnlyMemory( false ), testing::ExitedWithCode( 0 ), "" );
   EXPECT_EXIT( answersFromReadOnlyMemory( true ), testing::ExitedWithCode( 0 ), "" );
}

TEST( IpAccessListMatcher, oneMatcherServesManyThreads ) {
   const auto list = accessList( { "10 permit 10.0.0.0 255.0.255.0", "20 deny 10.0.0.0/8", "30 permit 11.0.0.0/8" } );
   const IpAccessListMatcher matcher( "ACL", list );
   const std::pair<const char *, bool> expected[] = {
      { "10.1.0.0/24", true }, { "10.1.1.0/24", false }, { "11.0.0.0/8", true }, { "12.0.0.0/8", false }
   };
   std::atomic<int> wrong = 0;
   std::vector<std::thread> threads;
   for( size_t t = 0; t < 4; ++t )
      threads.emplace_back( [ &, t ] {
         for( size_t i = 0; i < 2000; ++i ) {
            const auto & [ asked, answer ] = expected[ ( i + t ) % 4 ];
            wrong += matcher.matchForTest( routeTo( asked ), noContext ) != answer;
         }
         wrong += IpAccessListWalkerCbCtx::ofThisThread().entry != nullptr;
      } );
   for( auto & thread : threads ) thread.join();
   EXPECT_EQ( wrong, 0 );
   EXPECT_EQ( list->useCount(), 2u );
}

// ---- the walkers

TEST( IpAccessListWalkerCb, goesOnWhateverItIsGiven ) {
   const auto walker = makeNode<IpAccessListWalkerCb>();
   const IpGenPrefix asked( "10.0.0.0/8" );
   EXPECT_TRUE( walker->handlePrefixData( asked, nullptr ) );
   auto & ctx = IpAccessListWalkerCbCtx::ofThisThread();
   ctx.prefix = &asked;
   EXPECT_TRUE( walker->handlePrefixData( asked, nullptr ) );
   const auto entry = makeNode<AclEntryData>( accessListRule( "10 permit 10.0.0.0/8" ) );
   EXPECT_TRUE( walker->handlePrefixData( asked, entry.get() ) );
   EXPECT_EQ( ctx.entry, entry );
   const auto equal = makeNode<AclEntryData>( accessListRule( "10 deny 0.0.0.0/0" ) );
   EXPECT_TRUE( walker->handlePrefixData( asked, equal.get() ) );
   EXPECT_EQ( ctx.entry, entry ) << "of equal numbers the one seen first is kept";
   const auto failing = makeNode<AclEntryData>( accessListRule( "5 deny 10.0.1.0 255.0.255.0" ) );
   EXPECT_TRUE( walker->handlePrefixData( asked, failing.get() ) );
   EXPECT_EQ( ctx.entry, entry );
   ctx.prefix = nullptr;
   ctx.entry = nullptr;
}

// That it stands above the prefix says all of a rule whose mask is a prefix; any other mask is tested.
TEST( IpAccessListWalkerCb, aRuleWithAPlainPrefixNeedsNoTest ) {
   const auto walker = makeNode<IpAccessListWalkerCb>();
   const IpGenPrefix asked( "10.0.0.0/8" );
   auto & ctx = IpAccessListWalkerCbCtx::ofThisThread();
   const struct {
      const char * rule;
      bool taken;
   } rows[] = { { "10 permit 11.0.0.0/8", true },
                { "10 permit 11.1.1.1/32", true },
                { "10 permit 11.0.0.0 255.0.255.0", false },
                { "10 permit 11.0.0.1/8", false } };   // with host bits
   for( const auto & row : rows ) {
      ctx.prefix = &asked;
      const auto entry = makeNode<AclEntryData>( accessListRule( row.rule ) );
      EXPECT_TRUE( walker->handlePrefixData( asked, entry.get() ) );
      EXPECT_EQ( ctx.entry == entry, row.taken ) << row.rule;
      EXPECT_EQ( ctx.entry == nullptr, !row.taken ) << row.rule;
      ctx.prefix = nullptr;
      ctx.entry = nullptr;
   }
}

TEST( AclTestWalkCb, collectsEveryRuleOfEveryChain ) {
   const auto list = accessList(
      { "10 permit 10.0.0.0/8", "20 deny 10.0.0.0/8", "30 permit 10.0.0.1 255.0.255.255", "40 deny 10.1.0.0/16", "50 permit 11.0.0.0/8" } );
   const auto walker = makeNode<AclTestWalkCb>();
   EXPECT_TRUE( walker->walkedEntries().empty() );
   const auto numbers = [ & ] {
      std::vector<uint32_t> n;
      for( const auto & entry : walker->walkedEntries() ) n.push_back( entry->seqno() );
      std::sort( n.begin(), n.end() );
      return n;
   };
   list->trie().ancestorWalk( IpGenPrefix( "10.0.0.0/8" ), walker.get() );
   EXPECT_THAT( numbers(), ElementsAre( 10, 20, 30 ) ) << "also one that does not cover the prefix";
   list->trie().ancestorWalk( IpGenPrefix( "10.1.1.1/32" ), walker.get() );
   EXPECT_THAT( numbers(), ElementsAre( 10, 20, 30, 40 ) ) << "each once";
   EXPECT_TRUE( walker->handlePrefixData( IpGenPrefix(), nullptr ) );
   EXPECT_EQ( walker->walkedEntries().size(), 4u );
}

TEST( AclTestWalkCb, itsCollectionCanBeWritten ) {
   const auto walker = makeNode<AclTestWalkCb>();
   const Ptr<const AclEntryData> a = makeNode<AclEntryData>( AclPrefixEntry{} ), b = makeNode<AclEntryData>( AclPrefixEntry{} );
   walker->walkedEntriesIs( a );
   walker->walkedEntriesIs( a );
   walker->walkedEntriesIs( b );
   EXPECT_EQ( walker->walkedEntries().size(), 2u );
   EXPECT_EQ( a->useCount(), 2u );
   walker->walkedEntriesDel( a );
   walker->walkedEntriesDel( a );
   EXPECT_THAT( walker->walkedEntries(), ElementsAre( b ) );
   EXPECT_EQ( a->useCount(), 1u );
   walker->walkedEntriesDelAll();
   EXPECT_TRUE( walker->walkedEntries().empty() );
}

TEST( IpAccessListWalkerCbCtx, eachThreadHasItsOwnAndLetsGoAtItsEnd ) {
   const auto entry = makeNode<AclEntryData>( AclPrefixEntry{} );
   auto * mine = &IpAccessListWalkerCbCtx::ofThisThread();
   std::thread( [ & ] {
      auto & theirs = IpAccessListWalkerCbCtx::ofThisThread();
      EXPECT_NE( &theirs, mine );
      EXPECT_EQ( theirs.entry, nullptr );
      theirs.entry = entry;
   } ).join();
   EXPECT_EQ( entry->useCount(), 1u );
   EXPECT_EQ( mine->entry, nullptr );
}

}   // namespace
