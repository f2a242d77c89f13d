#include "policy/PrefixListMatcher.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "policy/PrefixListWalker.h"
#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace ListFixtures;
using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;
using Result = PrefixListMatchResult;
using Tuple = PrefixListMatchResultTuple;

static_assert( sizeof( Result ) == 1 );
static_assert( uint8_t( Result::deny ) == 0 && uint8_t( Result::permit ) == 1 && uint8_t( Result::notMatched ) == 2 );

constexpr Tuple kNothing{ 0, Result::notMatched };

PrefixListModel modelOf( Texts texts ) {
   PrefixListModel model{ AddressFamily::ipv4, {} };
   if( texts.size() ) model.af = prefixListEntry( *texts.begin() ).prefix.af();
   for( const char * text : texts ) EXPECT_TRUE( model.entryIs( prefixListEntry( text ) ) ) << text;
   std::sort( model.entries.begin(), model.entries.end(), []( const auto & a, const auto & b ) { return a.seqno > b.seqno; } );
   return model;
}

/// The list of these entries on every road; a road that answers otherwise fails the test.
class OnEveryRoad {
 public:
   explicit OnEveryRoad( Texts texts ) {
      const auto model = modelOf( texts );
      matchers_.push_back( makeNode<PrefixListMatcher>( "PL", prefixList( texts ) ) );
      for( const Road road : kRoads ) matchers_.push_back( makeNode<PrefixListMatcher>( "PL", prefixListBy( road, model ) ) );
   }
   Tuple matchPrefix( const char * asked ) const {
      return same<Tuple>( [ & ]( auto & m ) { return m.matchPrefix( IpGenPrefix( asked ) ); } );
   }
   std::optional<bool> tristate( const char * asked ) const {
      return same<std::optional<bool>>( [ & ]( auto & m ) { return m.matchWithTristateForTest( routeTo( asked ), noContext ); } );
   }
   std::optional<bool> coveredBy( const char * asked ) const {
      return same<std::optional<bool>>( [ & ]( auto & m ) { return m.coveredByForTest( routeTo( asked ), noContext ); } );
   }
   bool match( const char * asked, bool invert = false ) const {
      return same<bool>( [ & ]( auto & m ) {
         m.invertResultIs( invert );
         return m.matchForTest( routeTo( asked ), noContext );
      } );
   }

 private:
   template <class T, class Ask>
   T same( Ask ask ) const {
      const T answer = ask( *matchers_.front() );
      for( size_t i = 1; i < matchers_.size(); ++i ) EXPECT_EQ( ask( *matchers_[ i ] ), answer ) << kRoads[ i - 1 ];
      return answer;
   }
   std::vector<Ptr<PrefixListMatcher>> matchers_;
};

/// A list whose one entry, or whose one entry among others, does what it is told when it is asked for its action.
Ptr<const PrefixListStatus> listThatDecides( const OwnEntry::Decide & decide ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   trie->routeIs( IpGenPrefix( "10.0.0.0/8" ),
                  makeNode<OwnEntry>( PrefixListModel::Entry{ 10, permit, IpGenPrefix( "10.0.0.0/8" ), 8, 32 }, decide ) );
   const auto status = makeNode<PrefixListStatus>( "own", AddressFamily::ipv4 );
   status->trieIs( trie );
   return status;
}

void expectCleanThread() {
   EXPECT_EQ( PrefixListWalkerCbCtx::ofThisThread().prefix, nullptr );
   EXPECT_EQ( PrefixListWalkerCbCtx::ofThisThread().entry, nullptr );
}

TEST( PrefixListMatchResultTuple, itsTextNamesTheResultFirst ) {
   const struct {
      Tuple tuple;
      const char * text;
   } rows[] = {
      { { 10, Result::deny }, "Routing::Policy::PrefixListMatchResultTuple(result=deny, seqNo=10)" },
      { { 4294967295u, Result::permit }, "Routing::Policy::PrefixListMatchResultTuple(result=permit, seqNo=4294967295)" },
      { kNothing, "Routing::Policy::PrefixListMatchResultTuple(result=notMatched, seqNo=0)" },
      { { 1, Result( 7 ) }, "Routing::Policy::PrefixListMatchResultTuple(result=7, seqNo=1)" },
   };
   for( const auto & row : rows ) EXPECT_EQ( Fixtures::textOnOddStream( row.tuple ), row.text );
}

// ---- the prefix of the route

TEST( PrefixListMatcher, aNullStatusIsNotMatched ) {
   PrefixListMatcher matcher( "PL", nullptr );
   const auto route = routeTo( "10.0.0.0/8" );
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.0.0.0/8" ) ), kNothing );
   EXPECT_EQ( matcher.matchWithTristateForTest( route, noContext ), std::nullopt );
   EXPECT_EQ( matcher.coveredByForTest( route, noContext ), std::nullopt );
   EXPECT_FALSE( matcher.matchForTest( route, noContext ) );
   matcher.invertResultIs( true );
   EXPECT_TRUE( matcher.matchForTest( route, noContext ) );
   EXPECT_EQ( matcher.matchWithTristateForTest( route, noContext ), std::nullopt );
}

/// Has no prefix to give, and counts how often it is asked for one.
struct RouteWithoutAPrefix final : MatchInput_ {
   const IpGenPrefix * getPrefixPointer() const override {
      ++calls;
      return nullptr;
   }
   mutable int calls = 0;
};

TEST( PrefixListMatcher, anUndefinedListDoesNotLookAtThePrefixThatItAsksFor ) {
   const RouteWithoutAPrefix route;
   PrefixListMatcher matcher( "PL", nullptr );
   EXPECT_FALSE( matcher.match( &route, noContext ) );
   EXPECT_EQ( route.calls, 1 );
   EXPECT_EQ( matcher.matchWithTristate( &route, noContext ), std::nullopt );
   EXPECT_EQ( route.calls, 2 );
   EXPECT_EQ( matcher.coveredBy( &route, noContext ), std::nullopt );
   EXPECT_EQ( route.calls, 3 );
   matcher.invertResultIs( true );
   EXPECT_TRUE( matcher.match( &route, noContext ) );
}

// A walk stores the prefix and drops the entry that it finds; what is put there shows that none began.
TEST( PrefixListMatcher, aListOfTheOtherFamilyIsNotMatchedAndNotWalked ) {
   const auto sentinel = plainEntry( { 1, permit, IpGenPrefix(), 0, 0 } );
   const IpGenPrefix other;
   for( const Road road : { Road::rows, Road::ownEntries } ) {
      PrefixListMatcher v4( "PL", prefixListBy( road, modelOf( { "10 permit 0.0.0.0/0 le 32" } ) ) );
      PrefixListMatcher v6( "PL", prefixListBy( road, modelOf( { "10 permit ::/0 le 128" } ) ) );
      auto & ctx = PrefixListWalkerCbCtx::ofThisThread();
      ctx.prefix = &other;
      ctx.entry = sentinel;
      for( auto [ matcher, asked ] : { std::pair( &v4, "2001:db8::/32" ), std::pair( &v6, "10.0.0.0/8" ), std::pair( &v4, "::/0" ),
                                       std::pair( &v6, "0.0.0.0/0" ) } ) {
         SCOPED_TRACE( asked );
         const auto route = routeTo( asked );
         EXPECT_EQ( matcher->matchPrefix( route.prefix() ), kNothing );
         EXPECT_EQ( matcher->matchWithTristateForTest( route, noContext ), std::nullopt );
         EXPECT_EQ( matcher->coveredByForTest( route, noContext ), std::nullopt );
         matcher->invertResultIs( false );
         EXPECT_FALSE( matcher->matchForTest( route, noContext ) );
         matcher->invertResultIs( true );
         EXPECT_TRUE( matcher->matchForTest( route, noContext ) );
      }
      EXPECT_EQ( v4.matchPrefix( IpGenPrefix() ), kNothing ) << "of no family";
      EXPECT_EQ( ctx.prefix, &other );
      EXPECT_EQ( ctx.entry, sentinel );
      ctx.prefix = nullptr;
      ctx.entry = nullptr;
   }
}

TEST( PrefixListMatcher, anEmptyListIsNotMatched ) {
   const OnEveryRoad list( {} );
   for( const char * asked : { "10.0.0.0/8", "0.0.0.0/0", "10.1.1.1/32" } ) {
      EXPECT_EQ( list.matchPrefix( asked ), kNothing );
      EXPECT_EQ( list.coveredBy( asked ), std::nullopt );
   }
}

TEST( PrefixListMatcher, aDenyWithALowerNumberGovernsOverALongerPermit ) {
   const OnEveryRoad list( { "10 deny 10.0.0.0/8 ge 24 le 24", "20 permit 10.1.1.0/24" } );
   EXPECT_EQ( list.matchPrefix( "10.1.1.0/24" ), ( Tuple{ 10, Result::deny } ) );
   EXPECT_EQ( list.tristate( "10.1.1.0/24" ), false );
   EXPECT_FALSE( list.match( "10.1.1.0/24" ) );
   EXPECT_TRUE( list.match( "10.1.1.0/24", true ) );
}

TEST( PrefixListMatcher, bitsAfterTheLengthAreIgnored ) {
   const OnEveryRoad v4(
      { "10 deny 10.0.0.0/8 ge 24 le 24", "20 permit 10.0.0.0/8 le 32", "30 permit 10.0.0.1/32", "40 permit 0.0.0.0/0" } );
   const OnEveryRoad v6( { "10 permit 2001:db8::/32", "20 deny 2001:db8::/29 le 64" } );
   const struct {
      const char *with, *without;
   } rows[] = { { "10.0.0.1/8", "10.0.0.0/8" },   { "10.255.255.255/9", "10.128.0.0/9" }, { "10.0.0.255/24", "10.0.0.0/24" },
                { "10.0.0.1/31", "10.0.0.0/31" }, { "10.0.0.1/0", "0.0.0.0/0" },          { "11.0.0.1/8", "11.0.0.0/8" } };
   for( const auto & row : rows ) {
      ASSERT_FALSE( IpGenPrefix( row.with ).isCanonical() ) << row.with;
      ASSERT_EQ( IpGenPrefix( row.with ).subnet(), IpGenPrefix( row.without ) );
      EXPECT_EQ( v4.matchPrefix( row.with ), v4.matchPrefix( row.without ) ) << row.with;
      EXPECT_EQ( v4.coveredBy( row.with ), v4.coveredBy( row.without ) ) << row.with;
      EXPECT_EQ( v4.match( row.with ), v4.match( row.without ) ) << row.with;
   }
   EXPECT_EQ( v4.matchPrefix( "10.0.0.1/8" ), ( Tuple{ 20, Result::permit } ) );
   EXPECT_EQ( v6.matchPrefix( "2001:db8::1/32" ), ( Tuple{ 10, Result::permit } ) );
   EXPECT_EQ( v6.matchPrefix( "2001:db8::ffff/64" ), ( Tuple{ 20, Result::deny } ) );
}

TEST( PrefixListMatcher, aRangeThatExcludesTheLengthDoesNotGovern ) {
   const OnEveryRoad list( { "20 permit 10.0.0.0/8 le 32", "10 deny 10.1.0.0/16 ge 30 le 32" } );
   EXPECT_EQ( list.matchPrefix( "10.1.1.0/24" ), ( Tuple{ 20, Result::permit } ) );
   EXPECT_EQ( list.tristate( "10.1.1.0/24" ), true );
   EXPECT_EQ( list.matchPrefix( "10.1.1.0/30" ), ( Tuple{ 10, Result::deny } ) );
}

TEST( PrefixListMatcher, ofTwoEntriesAtOneNodeTheFirstThatFitsCounts ) {
   const OnEveryRoad two( { "10 permit 10.0.0.0/8 ge 24 le 24", "20 permit 10.0.0.0/8 ge 16 le 32" } );
   EXPECT_EQ( two.matchPrefix( "10.1.1.0/24" ).seqNo, 10u );
   EXPECT_EQ( two.matchPrefix( "10.1.16.0/20" ).seqNo, 20u );
   const OnEveryRoad three( { "10 permit 10.0.0.0/8 ge 24 le 24", "20 permit 10.0.0.0/8 ge 16 le 32", "15 permit 10.1.0.0/16 le 32" } );
   EXPECT_EQ( three.matchPrefix( "10.1.1.0/24" ).seqNo, 10u );
   EXPECT_EQ( three.matchPrefix( "10.1.16.0/20" ).seqNo, 15u );
}

TEST( PrefixListMatcher, aPrefixIsCoveredWhateverTheLengthsSay ) {
   const OnEveryRoad list( { "10 permit 10.0.0.0/8 ge 24 le 24" } );
   EXPECT_EQ( list.coveredBy( "10.1.0.0/16" ), true );
   EXPECT_EQ( list.tristate( "10.1.0.0/16" ), std::nullopt );
   EXPECT_EQ( list.coveredBy( "10.0.0.0/8" ), true );
   EXPECT_EQ( list.coveredBy( "10.0.0.0/7" ), std::nullopt );
   EXPECT_EQ( list.coveredBy( "11.0.0.0/16" ), std::nullopt );
}

TEST( PrefixListMatcher, ofThoseThatCoverTheLowestNumberGoverns ) {
   const OnEveryRoad list(
      { "20 permit 10.0.0.0/8 ge 24", "10 deny 10.1.0.0/16 ge 30", "30 permit 10.1.1.0/24 ge 32", "25 permit 10.0.0.0/8 ge 30" } );
   EXPECT_EQ( list.coveredBy( "10.1.1.0/24" ), false );
   EXPECT_EQ( list.coveredBy( "10.2.0.0/24" ), true );
   EXPECT_EQ( list.coveredBy( "10.0.0.0/8" ), true );
}

TEST( PrefixListMatcher, theThreeAnswersAreToldApartAndInversionTurnsTheYesAlone ) {
   const OnEveryRoad list( { "10 permit 10.0.0.0/8", "20 deny 11.0.0.0/8" } );
   const struct {
      const char * name;
      const char * asked;
      std::optional<bool> tristate;
      bool match, inverted;
   } rows[] = {
      { "permit", "10.0.0.0/8", true, true, false },
      { "deny", "11.0.0.0/8", false, false, true },
      { "not matched", "12.0.0.0/8", std::nullopt, false, true },
      { "not matched, too long", "10.0.0.0/9", std::nullopt, false, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      EXPECT_EQ( list.match( row.asked, false ), row.match );
      EXPECT_EQ( list.tristate( row.asked ), row.tristate );
      EXPECT_EQ( list.match( row.asked, true ), row.inverted );
      EXPECT_EQ( list.tristate( row.asked ), row.tristate ) << "inverted";
   }
   EXPECT_EQ( list.coveredBy( "11.0.0.0/9" ), false ) << "inverted";
}

TEST( PrefixListMatcher, readsTheRouteThroughItsGetterEachTime ) {
   struct Route final : MatchInput_ {
      const IpGenPrefix * getPrefixPointer() const override {
         ++calls;
         return &other;
      }
      IpGenPrefix other{ "10.0.0.0/8" };
      mutable int calls = 0;
   } route;
   route.prefixIs( IpGenPrefix( "11.0.0.0/8" ) );
   const PrefixListMatcher matcher( "PL", prefixList( { "10 permit 10.0.0.0/8" } ) );
   EXPECT_TRUE( matcher.match( &route, noContext ) );
   EXPECT_EQ( route.calls, 1 );
   EXPECT_EQ( matcher.matchWithTristate( &route, noContext ), true );
   EXPECT_EQ( route.calls, 2 );
   EXPECT_EQ( matcher.coveredBy( &route, noContext ), true );
   EXPECT_EQ( route.calls, 3 );
   route.other = IpGenPrefix( "12.0.0.0/8" );
   EXPECT_FALSE( matcher.match( &route, noContext ) );
}

TEST( PrefixListMatcher, itSharesTheListThatItWasMadeFor ) {
   const auto list = prefixList( { "10 permit 10.0.0.0/8" } );
   const PrefixListMatcher matcher( "PL", list );
   EXPECT_EQ( matcher.name(), "PL" ) << "its own, not the list's";
   EXPECT_EQ( matcher.status(), list );
   EXPECT_FALSE( matcher.invertResult() );
}

TEST( PrefixListMatcher, whatIsEnteredIntoTheTrieLaterCounts ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   trie->routeIs( IpGenPrefix( "10.0.0.0/8" ), plainEntry( { 20, permit, IpGenPrefix( "10.0.0.0/8" ), 8, 32 } ) );
   const auto status = makeNode<PrefixListStatus>( "PL", AddressFamily::ipv4 );
   status->trieIs( trie );
   const PrefixListMatcher matcher( "PL", status );
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.0.0/16" ) ), ( Tuple{ 20, Result::permit } ) );
   trie->routeIs( IpGenPrefix( "10.1.0.0/16" ), plainEntry( { 10, deny, IpGenPrefix( "10.1.0.0/16" ), 16, 16 } ) );
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.0.0/16" ) ), ( Tuple{ 10, Result::deny } ) );
   trie->compact();
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.0.0/16" ) ), ( Tuple{ 10, Result::deny } ) );
   status->trieIs( trie );
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.0.0/16" ) ), ( Tuple{ 10, Result::deny } ) );
}

TEST( PrefixListMatcher, anAgentsOwnEntryIsAskedWhenItGoverns ) {
   bool answer = true;
   int calls = 0;
   const PrefixListMatcher matcher( "PL", listThatDecides( [ & ] {
                                       ++calls;
                                       return answer;
                                    } ) );
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.0.0/16" ) ), ( Tuple{ 10, Result::permit } ) );
   answer = false;
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.0.0/16" ) ), ( Tuple{ 10, Result::deny } ) );
   EXPECT_EQ( calls, 2 );
   EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "11.0.0.0/16" ) ), kNothing );
   EXPECT_EQ( calls, 2 ) << "not asked when it does not govern";
}

TEST( PrefixListMatcher, aHundredThousandEntriesAtOneNodeAnswerOnEveryRoad ) {
   PrefixListModel model{ AddressFamily::ipv4, {} };
   const IpGenPrefix p( "10.0.0.0/8" );
   for( uint32_t seqno = 100000; seqno > 0; --seqno )
      model.entries.push_back( { seqno, seqno % 2 ? permit : deny, p, seqno == 100000 ? 32u : 9u, seqno == 100000 ? 32u : 9u } );
   for( const Road road : kRoads ) {
      SCOPED_TRACE( road );
      const PrefixListMatcher matcher( "PL", prefixListBy( road, model ) );
      EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.0.0.0/9" ) ), ( Tuple{ 1, Result::permit } ) );
      EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.1.1/32" ) ), ( Tuple{ 100000, Result::deny } ) );
      EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.0.0.0/10" ) ), kNothing );
      EXPECT_EQ( matcher.coveredByForTest( routeTo( "10.0.0.0/10" ), noContext ), true );
   }
}

// ---- the thread's context

TEST( PrefixListMatcher, theThreadIsCleanBehindEveryAnswer ) {
   const auto status = prefixListBy( Road::ownEntries, modelOf( { "10 permit 10.0.0.0/8 le 32", "20 deny 11.0.0.0/8" } ) );
   const PrefixListMatcher matcher( "PL", status );
   for( const char * asked : { "10.1.0.0/16", "11.0.0.0/8", "12.0.0.0/8", "2001:db8::/32" } ) {
      matcher.matchForTest( routeTo( asked ), noContext );
      expectCleanThread();
      matcher.coveredByForTest( routeTo( asked ), noContext );
      expectCleanThread();
   }
}

TEST( PrefixListMatcher, whatAnotherWalkLeftDoesNotCount ) {
   const auto stale = plainEntry( { 1, deny, IpGenPrefix( "10.0.0.0/8" ), 0, 32 } );
   for( const Road road : { Road::rows, Road::ownEntries } ) {
      const PrefixListMatcher matcher( "PL", prefixListBy( road, modelOf( { "10 permit 10.0.0.0/8 le 32" } ) ) );
      PrefixListWalkerCbCtx::ofThisThread().entry = stale;
      EXPECT_EQ( matcher.matchPrefix( IpGenPrefix( "10.1.0.0/16" ) ), ( Tuple{ 10, Result::permit } ) ) << road;
      PrefixListWalkerCbCtx::ofThisThread().entry = stale;
      EXPECT_EQ( matcher.coveredByForTest( routeTo( "10.1.0.0/16" ), noContext ), true ) << road;
      PrefixListWalkerCbCtx::ofThisThread().entry = stale;
      EXPECT_EQ( matcher.coveredByForTest( routeTo( "11.0.0.0/16" ), noContext ), std::nullopt ) << road;
      PrefixListWalkerCbCtx::ofThisThread().entry = nullptr;
   }
   EXPECT_EQ( stale->useCount(), 1u );
}

TEST( PrefixListMatcher, theThreadIsCleanBehindAnEntryThatThrows ) {
   const auto status = listThatDecides( []() -> bool { throw std::runtime_error( "no answer" ); } );
   auto set = makeNode<ResolvedNexthopInfoSet>();
   set->resolvedNexthopIs( Ferule::IpGenAddr( "10.1.1.1" ), true );
   MatchInput_ route = routeTo( "10.1.0.0/16" );
   route.nexthopIs( Ferule::IpGenAddr( "10.1.1.1" ) );
   route.routerIdIs( Ferule::IpAddr( "10.1.1.1" ) );
   route.resolvedNexthopInfoSetIs( set );
   route.matchResolvedNexthopInfoIs( true );
   const PrefixListMatcher prefix( "PL", status );
   const NexthopPrefixListMatcher nexthop( "PL", status );
   const ResolvedNexthopPfxListMatcher resolved( "PL", status );
   const RouterIdMatcher routerId( "PL", status );
   const struct {
      const char * name;
      std::function<void()> ask;
   } rows[] = {
      { "match", [ & ] { prefix.matchForTest( route, noContext ); } },
      { "matchWithTristate", [ & ] { prefix.matchWithTristateForTest( route, noContext ); } },
      { "coveredBy", [ & ] { prefix.coveredByForTest( route, noContext ); } },
      { "next hop", [ & ] { nexthop.matchForTest( route, noContext ); } },
      { "resolved next hop", [ & ] { resolved.matchForTest( route, noContext ); } },
      { "router id", [ & ] { routerId.matchForTest( route, noContext ); } },
   };
   const Routing::PrefixData * entry = nullptr;
   status->trie().visitAll( [ & ]( const IpGenPrefix &, const Routing::PrefixData * head ) { entry = head; } );
   const OnEveryRoad other( { "10 permit 0.0.0.0/0 le 32" } );
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      EXPECT_THROW( row.ask(), std::runtime_error );
      expectCleanThread();
      EXPECT_EQ( entry->useCount(), 1u );
      EXPECT_EQ( other.matchPrefix( "10.1.0.0/16" ), ( Tuple{ 10, Result::permit } ) ) << "the next walk starts empty";
      EXPECT_EQ( other.coveredBy( "10.1.0.0/16" ), true );
   }
}

TEST( PrefixListMatcher, theThreadIsCleanBehindAGetterThatThrows ) {
   struct Route final : MatchInput_ {
      [[noreturn]] static void no() { throw std::runtime_error( "no such field" ); }
      const IpGenPrefix * getPrefixPointer() const override { no(); }
      Ferule::IpGenAddr getNexthop() const override { no(); }
      Ferule::IpAddr getRouterId() const override { no(); }
      const Ptr<const ResolvedNexthopInfoSet> & getResolvedNexthopInfoSet() const override { no(); }
   } route;
   route.matchResolvedNexthopInfoIs( true );
   for( const Road road : { Road::rows, Road::ownEntries } ) {
      const auto status = prefixListBy( road, modelOf( { "10 permit 0.0.0.0/0 le 32" } ) );
      const PrefixListMatcher prefix( "PL", status );
      const NexthopPrefixListMatcher nexthop( "PL", status );
      const ResolvedNexthopPfxListMatcher resolved( "PL", status );
      const RouterIdMatcher routerId( "PL", status );
      for( const Matcher * matcher : { static_cast<const Matcher *>( &prefix ), static_cast<const Matcher *>( &nexthop ),
                                       static_cast<const Matcher *>( &resolved ), static_cast<const Matcher *>( &routerId ) } ) {
         EXPECT_THROW( matcher->matchForTest( route, noContext ), std::runtime_error ) << matcher;
         expectCleanThread();
      }
      EXPECT_THROW( prefix.matchWithTristateForTest( route, noContext ), std::runtime_error );
      EXPECT_THROW( prefix.coveredByForTest( route, noContext ), std::runtime_error );
      expectCleanThread();
      EXPECT_TRUE( prefix.matchForTest( routeTo( "10.0.0.0/8" ), noContext ) );
   }
}

// ---- the next hop

MatchInput_ routeVia( const char * nexthop ) {
   MatchInput_ route;
   route.nexthopIs( Ferule::IpGenAddr( nexthop ) );
   return route;
}

TEST( NexthopPrefixListMatcher, asksAboutTheHostPrefixOfTheNextHop ) {
   const NexthopPrefixListMatcher v4(
      "PL", prefixList( { "10 deny 10.1.0.0/16 ge 32", "20 permit 10.0.0.0/8 ge 32", "30 permit 11.0.0.0/8 le 31" } ) );
   const NexthopPrefixListMatcher v6( "PL", prefixList( { "10 permit 2001:db8::/32 ge 128" } ) );
   const struct {
      const char * name;
      const NexthopPrefixListMatcher & matcher;
      const char * nexthop;
      bool matches;
   } rows[] = {
      { "permitted", v4, "10.2.0.1", true },
      { "denied", v4, "10.1.0.1", false },
      { "the length is 32, not less", v4, "11.0.0.1", false },
      { "no entry", v4, "12.0.0.1", false },
      { "other family", v4, "2001:db8::1", false },
      { "IPv6, permitted", v6, "2001:db8::1", true },
      { "IPv6, no entry", v6, "2001:db9::1", false },
      { "IPv6, other family", v6, "10.2.0.1", false },
   };
   for( const auto & row : rows ) EXPECT_EQ( row.matcher.matchForTest( routeVia( row.nexthop ), noContext ), row.matches ) << row.name;
   EXPECT_FALSE( v4.matchForTest( MatchInput_(), noContext ) ) << "a route without a next hop";
   EXPECT_FALSE( NexthopPrefixListMatcher( "PL", nullptr ).matchForTest( routeVia( "10.2.0.1" ), noContext ) ) << "undefined";
}

TEST( NexthopPrefixListMatcher, answersAsIfInvertResultWereClear ) {
   NexthopPrefixListMatcher matcher( "PL", prefixList( { "10 permit 10.0.0.0/8 le 32", "20 deny 11.0.0.0/8 le 32" } ) );
   NexthopPrefixListMatcher undefined( "PL", nullptr );
   for( const bool invert : { false, true } ) {
      matcher.invertResultIs( invert );
      undefined.invertResultIs( invert );
      EXPECT_TRUE( matcher.matchForTest( routeVia( "10.1.1.1" ), noContext ) );
      EXPECT_FALSE( matcher.matchForTest( routeVia( "11.1.1.1" ), noContext ) );
      EXPECT_FALSE( matcher.matchForTest( routeVia( "12.1.1.1" ), noContext ) );
      EXPECT_FALSE( undefined.matchForTest( routeVia( "10.1.1.1" ), noContext ) );
   }
}

// ---- the router id

TEST( RouterIdMatcher, asksAboutTheHostPrefixOfTheRouterId ) {
   const struct {
      const char * name;
      Texts entries;
      const char * routerId;
      bool matches;
   } rows[] = {
      { "permitted", { "10 permit 10.0.0.0/8 ge 32" }, "10.1.1.1", true },
      { "itself", { "10 permit 10.1.1.1/32" }, "10.1.1.1", true },
      { "denied", { "10 deny 10.1.1.1/32", "20 permit 0.0.0.0/0 le 32" }, "10.1.1.1", false },
      { "the length is 32, not less", { "10 permit 10.0.0.0/8 le 31" }, "10.1.1.1", false },
      { "no entry", { "10 permit 10.0.0.0/8 le 32" }, "11.1.1.1", false },
      { "0.0.0.0 as a host", { "10 permit 0.0.0.0/32" }, "0.0.0.0", true },
      { "0.0.0.0 is not the default route", { "10 permit 0.0.0.0/0" }, "0.0.0.0", false },
      { "0.0.0.0 below the default route", { "10 permit 0.0.0.0/0 le 32" }, "0.0.0.0", true },
      { "255.255.255.255", { "10 permit 255.255.255.255/32" }, "255.255.255.255", true },
      { "a list of IPv6", { "10 permit ::/0 le 128" }, "10.1.1.1", false },
      { "a list of IPv6, 0.0.0.0", { "10 permit ::/0 le 128" }, "0.0.0.0", false },
   };
   for( const auto & row : rows ) {
      MatchInput_ route;
      route.routerIdIs( Ferule::IpAddr( row.routerId ) );
      RouterIdMatcher matcher( "PL", prefixList( row.entries ) );
      EXPECT_EQ( matcher.matchForTest( route, noContext ), row.matches ) << row.name;
      matcher.invertResultIs( true );
      EXPECT_EQ( matcher.matchForTest( route, noContext ), row.matches ) << row.name << ", inverted";
   }
   EXPECT_FALSE( RouterIdMatcher( "PL", nullptr ).matchForTest( MatchInput_(), noContext ) ) << "undefined";
}

// ---- the resolved next hops

MatchInput_ routeResolvedTo( Texts addresses ) {
   const auto set = makeNode<ResolvedNexthopInfoSet>();
   for( const char * a : addresses ) set->resolvedNexthopIs( Ferule::IpGenAddr( a ), false );
   MatchInput_ route;
   route.resolvedNexthopInfoSetIs( set );
   route.matchResolvedNexthopInfoIs( true );
   return route;
}

TEST( ResolvedNexthopPfxListMatcher, theFirstMemberThatAnEntrySpeaksOfDecides ) {
   const auto v4 = prefixList( { "10 permit 10.0.0.0/8 ge 32", "20 deny 20.0.0.0/8 ge 32", "30 permit 30.0.0.0/8 le 31" } );
   const auto v6 = prefixList( { "10 permit 2001:db8::/32 le 128" } );
   const struct {
      const char * name;
      Ptr<const PrefixListStatus> list;
      Texts members;
      bool matches;
   } rows[] = {
      { "A matches nothing, B is denied", v4, { "5.0.0.1", "20.0.0.1" }, false },
      { "A matches nothing, B is permitted", v4, { "5.0.0.1", "10.0.0.1" }, true },
      { "A is permitted, B denied", v4, { "10.0.0.1", "20.0.0.1" }, true },
      { "whatever the order in which they came", v4, { "20.0.0.1", "10.0.0.1" }, true },
      { "one that is denied", v4, { "20.0.0.1" }, false },
      { "denied, then one of which nothing is said", v4, { "20.0.0.1", "40.0.0.1" }, false },
      { "all of which nothing is said", v4, { "5.0.0.1", "40.0.0.1" }, false },
      { "as a host, not shorter", v4, { "30.0.0.1" }, false },
      { "no members", v4, {}, false },
      { "members of the other family are passed over", v6, { "10.0.0.1", "20.0.0.1", "2001:db8::1" }, true },
      { "members of the other family alone", v6, { "10.0.0.1" }, false },
      { "IPv4 stands before IPv6", v4, { "2001:db8::1", "10.0.0.1" }, true },
      { "an undefined list", nullptr, { "10.0.0.1" }, false },
   };
   for( const auto & row : rows ) {
      ResolvedNexthopPfxListMatcher matcher( "PL", row.list );
      const auto route = routeResolvedTo( row.members );
      EXPECT_EQ( matcher.matchForTest( route, noContext ), row.matches ) << row.name;
      matcher.invertResultIs( true );
      EXPECT_EQ( matcher.matchForTest( route, noContext ), row.matches ) << row.name << ", inverted";
   }
}

TEST( ResolvedNexthopPfxListMatcher, itsFlagsDecideBeforeTheList ) {
   const Ptr<const PrefixListStatus> permits = prefixList( { "10 permit 0.0.0.0/0 le 32" } ),
                                     denies = prefixList( { "10 deny 0.0.0.0/0 le 32" } );
   for( const auto & list : { permits, denies, Ptr<const PrefixListStatus>() } )
      for( const bool set : { false, true } ) {
         const ResolvedNexthopPfxListMatcher matcher( "PL", list );
         const bool permitted = set && list == permits;
         const struct {
            const char * name;
            bool deny, match, matches;
         } rows[] = {
            { "neither flag", false, false, true },
            { "denyResolvedNexthop", true, false, false },
            { "matchResolvedNexthopInfo", false, true, permitted },
            { "both flags", true, true, false },
         };
         for( const auto & row : rows ) {
            auto route = routeResolvedTo( { "10.0.0.1" } );
            if( !set ) route.resolvedNexthopInfoSetIs( nullptr );
            route.denyResolvedNexthopIs( row.deny );
            route.matchResolvedNexthopInfoIs( row.match );
            EXPECT_EQ( matcher.matchForTest( route, noContext ), row.matches ) << row.name << ( set ? ", with a set" : ", without a set" );
         }
      }
}

TEST( ResolvedNexthopPfxListMatcher, neitherListNorSetIsConsultedWhenAFlagDecides ) {
   struct Route final : MatchInput_ {
      const Ptr<const ResolvedNexthopInfoSet> & getResolvedNexthopInfoSet() const override { throw std::runtime_error( "consulted" ); }
   } route;
   const ResolvedNexthopPfxListMatcher matcher( "PL", listThatDecides( []() -> bool { throw std::runtime_error( "asked" ); } ) );
   EXPECT_TRUE( matcher.match( &route, noContext ) );
   route.denyResolvedNexthopIs( true );
   EXPECT_FALSE( matcher.match( &route, noContext ) );
   route.matchResolvedNexthopInfoIs( true );
   EXPECT_FALSE( matcher.match( &route, noContext ) );
   route.denyResolvedNexthopIs( false );
   EXPECT_THROW( matcher.match( &route, noContext ), std::runtime_error );
}

TEST( ResolvedNexthopPfxListMatcher, thoseBehindTheOneThatDecidesAreNotAsked ) {
   int asked = 0;
   const ResolvedNexthopPfxListMatcher matcher( "PL", listThatDecides( [ & ] { return ++asked == 1; } ) );
   const auto route = routeResolvedTo( { "5.0.0.1", "10.0.0.1", "10.0.0.2", "10.0.0.3" } );
   EXPECT_TRUE( matcher.matchForTest( route, noContext ) );
   EXPECT_EQ( asked, 1 );
   EXPECT_FALSE( matcher.matchForTest( route, noContext ) );
   EXPECT_EQ( asked, 2 );
}

// ---- what all of them share

/// One of each class, over one list.
std::vector<Ptr<PrefixListMatcherBase>> oneOfEach( const Ptr<const PrefixListStatus> & status ) {
   return { makeNode<PrefixListMatcher>( "PL1", status ), makeNode<NexthopPrefixListMatcher>( "PL1", status ),
            makeNode<ResolvedNexthopPfxListMatcher>( "PL1", status ), makeNode<RouterIdMatcher>( "PL1", status ) };
}

TEST( PrefixListMatcherBase, eachTellsWhatItReadsOfARoute ) {
   const uint32_t features[] = { 1, 0, 4, 8 };
   for( const auto & status : { prefixList( {} ), Ptr<const PrefixListStatus>() } ) {
      const auto matchers = oneOfEach( status );
      for( size_t i = 0; i < 4; ++i ) EXPECT_EQ( matchers[ i ]->getFeatures().value(), features[ i ] ) << matchers[ i ].get();
   }
}

TEST( PrefixListMatcherBase, eachHasATextOfItsOwn ) {
   const char * const openings[] = { "PrefixListMatcher prefix-list ", "NexthopPrefixListMatcher prefix-list ",
                                     "ResolvedNexthopMatcher prefix-list ", "RouterIdMatcher router-id prefix-list " };
   for( const auto & status : { prefixList( {} ), Ptr<const PrefixListStatus>() } ) {
      const auto matchers = oneOfEach( status );
      for( size_t i = 0; i < 4; ++i ) {
         const std::string expected = openings[ i ] + ( "PL1;" + Quoin::DisplayPointer::toString( status.get() ) );
         EXPECT_EQ( matchers[ i ]->toStrep(), expected.c_str() );
         EXPECT_EQ( Fixtures::textOnOddStream( matchers[ i ].get() ), expected );
      }
   }
   EXPECT_EQ( PrefixListMatcher( "PL1", nullptr ).toStrep(), "PrefixListMatcher prefix-list PL1;NULL" );
   EXPECT_EQ( PrefixListMatcher( "", nullptr ).toStrep(), "PrefixListMatcher prefix-list ;NULL" );
}

TEST( PrefixListMatcherBase, matchingDoesNotAllocate ) {
   auto route = routeResolvedTo( { "5.0.0.1", "10.0.0.1", "2001:db8::1" } );
   route.prefixIs( IpGenPrefix( "10.1.1.0/24" ) );
   route.nexthopIs( Ferule::IpGenAddr( "10.1.1.1" ) );
   route.routerIdIs( Ferule::IpAddr( "10.1.1.1" ) );
   const auto model =
      modelOf( { "10 permit 10.0.0.0/8 ge 30 le 31", "20 permit 0.0.0.0/0 le 32", "30 deny 10.0.0.0/8 le 32", "40 deny 10.1.1.0/24" } );
   for( const Road road : kRoads ) {
      SCOPED_TRACE( road );
      const auto list = prefixListBy( road, model );
      const PrefixListMatcher prefix( "PL", list );
      const auto matchers = oneOfEach( list );
      bool all = prefix.match( &route, noContext );   // the thread's context is made for the first walk
      const auto before = allocationCount();
      for( const auto & matcher : matchers ) all &= matcher->match( &route, noContext );
      all &= *prefix.matchWithTristate( &route, noContext );
      all &= *prefix.coveredBy( &route, noContext );
      EXPECT_EQ( allocationCount(), before );
      EXPECT_TRUE( all );
   }
   const auto before = allocationCount();
   const auto something = makeNode<ResolvedNexthopInfoSet>();
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

TEST( PrefixListMatcherBase, oneMatcherServesManyThreads ) {
   const auto model = modelOf(
      { "20 permit 10.0.0.0/8 le 32", "10 deny 10.1.0.0/16 le 32", "30 permit 10.2.0.0/16 le 24", "5 permit 10.1.128.0/17 ge 30" } );
   for( const Road road : { Road::compactedRows, Road::ownEntries } ) {
      const PrefixListMatcher matcher( "PL", prefixListBy( road, model ) );
      std::vector<std::pair<IpGenPrefix, Tuple>> expected;
      for( const char * asked : { "10.1.1.0/24", "10.2.0.0/16", "10.1.128.0/30", "11.0.0.0/8", "10.0.0.0/8", "10.3.0.0/32" } )
         expected.emplace_back( IpGenPrefix( asked ), model.match( IpGenPrefix( asked ) ) );
      std::atomic<int> wrong = 0;
      std::vector<std::thread> threads;
      for( size_t t = 0; t < 4; ++t )
         threads.emplace_back( [ &, t ] {
            for( size_t i = 0; i < 5000; ++i ) {
               const auto & [ asked, answer ] = expected[ ( i + t ) % expected.size() ];
               wrong += matcher.matchPrefix( asked ) != answer;
               wrong += matcher.coveredByForTest( routeTo( asked ), noContext ).has_value() != ( model.coveredBy( asked ) != kNothing );
            }
            wrong += PrefixListWalkerCbCtx::ofThisThread().entry != nullptr;
         } );
      for( auto & thread : threads ) thread.join();
      EXPECT_EQ( wrong, 0 ) << road;
      const auto & trie = matcher.status()->trie();
      trie.visitAll( []( const IpGenPrefix &, const Routing::PrefixData * head ) { EXPECT_EQ( head->useCount(), 1u ); } );
   }
}

}   // namespace
