// Evaluation by a plan against the walk over all sequences, on random policies and routes; plans that were made from others against plans
// that were made of nothing; and changes that come after a plan was made.
//    RC_PARAMS="max_success=1000"   ten times as many
#include "policy/RouteMapPlan.h"

#include "tests/policy/RandomPolicy.h"

namespace PlanTest {
namespace {

Way anyWay( RandomPolicy & policy ) {
   return Way( policy.pick( kWays ) );
}

// One route in one way, without and with a plan.
void askOnce( RandomPolicy & policy, const Policies & policies ) {
   const auto route = policy.route();
   const LateInput late( route );
   const MatchInput_ & input = policy.chance( 2 ) ? late : route;
   expectAsTheWalk( policies, anyWay( policy ), input, policy.journal(), [ & ] { policy.restart(); } );
}

void ask( RandomPolicy & policy, const Policies & policies, int routes ) {
   while( routes-- && !caseFailed() ) askOnce( policy, policies );
}

// What a failed case shows of a map.
void sayMap( Random & random, const RouteMapStatus & map ) {
   if( !random.keepsText() ) return;
   for( const auto & [ seqno, seq ] : map.seqStatus() ) {
      random.say( "sequence ", seqno, seq->matchAction() == deny ? " deny" : " permit" );
      for( const auto & [ option, matcher ] : seq->matcher() ) random.say( unsigned( option ), " ", matcher->toStrep() );
      if( seq->subRouteMap() ) random.say( "calls ", seq->subRouteMap().get() );
      if( seq->continueSeq() ) random.say( "continues to ", seq->continueSeq()->seqno() );
   }
}

TEST( RouteMapPlanModel, evaluationIsThatOfTheWalk ) {
   forRandomCases( 30, []( Random & random ) {
      RandomPolicy policy( random );
      for( const auto & callee : policy.maps() ) callee->makePlan();
      for( int i = 0; i < 5 && random.step(); ++i ) {
         const auto map = policy.topMap();
         sayMap( random, *map );
         const Policies policies{ map, policy.listOf( map ) };
         ASSERT_TRUE( map->plan() );
         ask( policy, policies, 50 );
      }
   } );
}

// ---- generations

/// The generations of one map. The plan of each is made of that of the one before it.
class Line {
 public:
   explicit Line( Random & random ) : random_( random ), policy_( random ) { keep( policy_.map( 0, policy_.pick( 25 ) ) ); }

   void step() {
      const Ptr<const RouteMapStatus> & from = policy_.chance( 5 ) ? anyOf( random_, kept_ ).map : kept_.back().map;
      const auto next = RouteMapStatus::successorOf( from, "M" );
      for( auto edits = 1 + policy_.pick( 3 ); edits; --edits ) edit( *next );
      keep( next );
      if( policy_.chance( 8 ) ) {   // once more, when the plan has been made
         edit( *next );
         kept_.pop_back();
         keep( next );
      }
      if( kept_.size() > 4 ) kept_.erase( kept_.begin() + policy_.pick( unsigned( kept_.size() ) ) );
      check();
   }

 private:
   struct Generation {
      Ptr<const RouteMapStatus> map;
      PlainContent content;   // when it was made
   };

   void keep( const Ptr<const RouteMapStatus> & map ) {
      map->makePlan();
      sayMap( random_, *map );
      kept_.push_back( { map, freshContent( *map ) } );
   }

   void check() {
      for( const auto & [ map, content ] : kept_ ) {
         ASSERT_TRUE( map->plan() );
         expectEqual( PlainContent( map->plan()->content() ), content );
         for( const auto & [ seqno, seq ] : map->seqStatus() )
            if( const auto & callee = seq->subRouteMap() ) { EXPECT_TRUE( callee->plan() ) << seqno; }
         ask( policy_, { map, policy_.listOf( map ) }, 3 );
      }
   }

   void edit( RouteMapStatus & map ) {
      switch( policy_.pick( 8 ) ) {
         case 0: return map.seqStatusDel( policy_.seqno() );
         case 1: return policy_.chance( 10 ) ? map.seqStatusDelAll() : map.seqStatusDel( policy_.seqno() );
         case 2: {
            const auto old = policy_.lists();
            const auto i = policy_.editList();
            return replace<PrefixListMatcher>( map, old[ i ].get(), policy_.lists()[ i ] );
         }
         case 3: {
            const auto old = policy_.sets();
            const auto i = policy_.editSet();
            return replace<TagSetMatcher>( map, old[ i ].get(), policy_.sets()[ i ] );
         }
         case 4:
            if( !map.seqStatus().empty() ) {   // an equal one
               const Ptr<const RouteMapSeqStatus> seq = ( *map.seqStatus().begin() ).second;
               map.seqStatusIs( RouteMapSeqStatus::newFrom( seq, seq->seqno() ) );
            }
            return;
         default: return map.seqStatusIs( policy_.sequence( policy_.seqno(), 0 ) );
      }
   }

   // As compilation does when a list is published: each sequence that uses it is replaced.
   template <class T, class Status>
   void replace( RouteMapStatus & map, const void * old, const Ptr<Status> & now ) {
      std::vector<Ptr<const RouteMapSeqStatus>> changed;
      for( const auto & [ seqno, seq ] : map.seqStatus() )
         for( const auto & [ option, matcher ] : seq->matcher() ) {
            const auto * const user = dynamic_cast<const T *>( matcher.get() );
            if( !user || user->status().get() != old ) continue;
            const auto next = RouteMapSeqStatus::newFrom( seq, seqno );
            next->matcherIs( option, makeNode<T>( user->name(), now ) );
            changed.push_back( next );
         }
      for( const auto & seq : changed ) map.seqStatusIs( seq );
   }

   Random & random_;
   RandomPolicy policy_;
   std::vector<Generation> kept_;
};

TEST( RouteMapPlanModel, aPlanMadeFromAnotherIsThatMadeOfNothing ) {
   forRandomCases( 5, []( Random & random ) {
      Line line( random );
      for( int i = 0; i < 40 && random.step() && !caseFailed(); ++i ) line.step();
   } );
}

// ---- late changes

Ptr<RouteMapSeqStatus> anySequence( RandomPolicy & policy ) {
   return anyOf( policy.random(), policy.sequences() );
}
bool mayLoop( const RouteMapSeqStatus & seq ) {
   return seq.continueSeq() && seq.continueSeq()->seqno() <= seq.seqno();
}
Ptr<RouteMapStatus> anyMap( RandomPolicy & policy ) {
   return anyOf( policy.random(), policy.maps() );
}

using Change = void ( * )( RandomPolicy & );
const std::pair<const char *, Change> kChanges[] = {
   { "a matcher",
     []( RandomPolicy & p ) {
        if( const auto seq = anySequence( p ); !mayLoop( *seq ) ) seq->matcherIs( p.option(), makeNode<TagMatcher>( p.tag() ) );
     } },
   { "no matchers",
     []( RandomPolicy & p ) {
        if( const auto seq = anySequence( p ); !mayLoop( *seq ) ) seq->matcherDelAll();
     } },
   { "an action",
     []( RandomPolicy & p ) {
        const auto seq = anySequence( p );
        seq->matchActionIs( seq->matchAction() == deny ? permit : deny );
     } },
   { "no callee", []( RandomPolicy & p ) { anySequence( p )->subRouteMapIs( nullptr ); } },
   { "inversion",
     []( RandomPolicy & p ) {
        const auto seq = anySequence( p );
        seq->subInvertIs( !seq->subInvert() );
     } },
   { "a continue",
     []( RandomPolicy & p ) {
        const auto seq = anySequence( p );
        if( seq->seqno() < 1000 )
           seq->continueSeqIs( p.chance( 2 ) ? nullptr : makeNode<RouteMapSeqStatus>( seq->seqno() + 1 + p.pick( 9 ) ) );
     } },
   { "a tag of a set",
     []( RandomPolicy & p ) {
        const auto set = anyOf( p.random(), p.sets() );
        if( const auto tag = p.tag(); !set->tagIs( tag ) ) set->tagDel( tag );
     } },
   { "the trie of a list",
     []( RandomPolicy & p ) {
        const auto & list = anyOf( p.random(), p.lists() );
        const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( list->af(), false );
        const auto prefix = p.network( list->af() );
        trie->routeIs( prefix, ListFixtures::plainEntry( { 5, permit, prefix, prefix.length(), Ferule::addressBits( list->af() ) } ) );
        list->trieIs( trie );
     } },
   { "the inversion of a list",
     []( RandomPolicy & p ) {
        for( const auto & [ option, matcher ] : anySequence( p )->matcher() )
           if( const auto * list = dynamic_cast<const PrefixListMatcherBase *>( matcher.get() ) )
              const_cast<PrefixListMatcherBase *>( list )->invertResultIs( !list->invertResult() );
     } },
   { "a new sequence", []( RandomPolicy & p ) { anyMap( p )->seqStatusIs( p.sequence( p.seqno(), RandomPolicy::kLevels ) ); } },
   { "a sequence less", []( RandomPolicy & p ) { anyMap( p )->seqStatusDel( p.seqno() ); } },
   { "no sequences",
     []( RandomPolicy & p ) {
        if( p.chance( 8 ) ) anyMap( p )->seqStatusDelAll();
     } },
};

TEST( RouteMapPlanModel, aChangeThatComesLateTakesEffect ) {
   forRandomCases( 10, []( Random & random ) {
      RandomPolicy policy( random );
      Ptr<RouteMapStatus> map = policy.topMap();
      Policies policies{ map, policy.listOf( map ) };
      const auto change = [ & ] {
         const auto & [ name, make ] = kChanges[ policy.pick( unsigned( std::size( kChanges ) ) ) ];
         random.say( name );
         make( policy );
      };
      for( int i = 0; i < 20 && random.step() && !caseFailed(); ++i ) {
         change();
         for( const auto & any : policy.maps() )
            if( any->plan() ) expectPlanned( *any );
         ask( policy, policies, 3 );
         if( policy.chance( 2 ) ) continue;
         policies.list = policy.listOf( map );
         ASSERT_TRUE( map->plan() );
         ask( policy, policies, 3 );
         const auto next = RouteMapStatus::successorOf( map, "M" );
         if( policy.chance( 2 ) ) next->seqStatusIs( policy.sequence( policy.seqno(), 0 ) );
         if( policy.chance( 2 ) ) change();   // what the next plan is made of is outdated then
         policies = { next, policy.listOf( next ) };
         if( policy.chance( 2 ) ) expectPlanned( *next );   // the plan that it compares with closes all seals, too
         ask( policy, policies, 3 );
         map = next;
      }
   } );
}

// Two equal policies, which change themselves in the same way while they are evaluated: one by plans, one by the walk.
TEST( RouteMapPlanModel, aPolicyMayChangeWhileItIsEvaluated ) {
   struct Changing {
      explicit Changing( uint64_t seed ) : random( seed ) {
         std::vector<RandomPolicy::Change> changes;
         for( const auto & [ name, change ] : kChanges ) changes.push_back( change );
         policy.changesAre( changes );
         map = policy.map( 0, 4 + policy.pick( 20 ) );
         list = policy.listOf( map );
         policy.nameAll();
      }
      std::vector<uint64_t> ask( bool byWalk ) {
         policy.restart();
         const auto route = policy.route();
         if( policy.chance( 3 ) ) map->makePlan();
         return outcomeOf( byWalk, anyWay( policy ), { map, list }, route, policy.journal() );
      }
      Random random;
      RandomPolicy policy{ random };
      Ptr<RouteMapStatus> map;
      Ptr<RouteMapStatusList> list;
   };
   forRandomCases( 20, []( Random & random ) {
      const uint64_t seed = random();
      Changing planned( seed ), walked( seed );
      for( int i = 0; i < 10 && random.step() && !caseFailed(); ++i ) EXPECT_EQ( planned.ask( false ), walked.ask( true ) );
   } );
}

// ---- single cases

Ptr<RouteMapStatus> mapOf( const Ptr<const RouteMapSeqStatus> & seq ) {
   const auto map = makeNode<RouteMapStatus>( "M" );
   map->seqStatusIs( seq );
   map->makePlan();
   return map;
}

Ptr<RouteMapSeqStatus> seqOf( uint32_t seqno, const Ptr<const Matcher> & matcher, MatchOption option = MatchOption::matchTag ) {
   const auto seq = makeNode<RouteMapSeqStatus>( seqno );
   seq->matcherIs( option, matcher );
   return seq;
}

/// A sequence with this matcher alone, in a plan: is it among those that any route may match, how many keys and rows find it?
struct Found {
   bool always;
   size_t keys, rows;
   bool isAnswered;
   friend bool operator==( const Found &, const Found & ) = default;
   friend std::ostream & operator<<( std::ostream & os, const Found & f ) {
      return os << ( f.always ? "always " : "" ) << f.keys << " keys, " << f.rows << " rows" << ( f.isAnswered ? ", answered" : "" );
   }
};

Found foundBy( const Ptr<const Matcher> & matcher ) {
   const auto map = mapOf( seqOf( 10, matcher ) );
   const PlainContent content( map->plan()->content() );
   const PlanStep step = !content.always.empty() ? content.always.at( 10 )
      : !content.listed.empty()                  ? content.listed.at( 10 )
      : !content.keys.empty()                    ? content.keys.begin()->second.front()
                                                 : PlanStep();
   return { !content.always.empty(), content.keys.size(), content.rows[ 0 ].size() + content.rows[ 1 ].size(), step.isAnswered };
}

Ptr<const Matcher> listOfEntries( uint32_t count ) {
   PrefixListBuilder builder( "L", AddressFamily::ipv4 );
   for( uint32_t i = 0; i < count; ++i )
      EXPECT_FALSE( builder.entryIs( { i, permit, prefixOf( AddressFamily::ipv4, { uint64_t( i ) << 40, 0 }, 24 ), {}, {} } ) );
   return makeNode<PrefixListMatcher>( "L", builder.build() );
}

Ptr<const Matcher> setOf( uint32_t tags ) {
   const auto set = makeNode<TagSetStatus>( "T" );
   for( uint32_t i = 0; i < tags; ++i ) set->tagIs( i );
   return makeNode<TagSetMatcher>( "T", set );
}

TEST( RouteMapPlanModel, aSequenceIsFoundByAsLittleAsPossible ) {
   const auto list = []( ListFixtures::Texts texts ) { return makeNode<PrefixListMatcher>( "L", ListFixtures::prefixList( texts ) ); };
   const auto keys = []( uint32_t count ) {
      return makeNode<TellingMatcher>(
         [ count ]( MatchKeys & told ) {
            for( uint32_t i = 0; i < count; ++i ) told.keyIs( MatchKey::tag( i ) );
         },
         [ count ]( const MatchInput_ & input ) { return input.getTag() < count; } );
   };
   const struct {
      const char * name;
      Ptr<const Matcher> matcher;
      Found found;
   } rows[] = {
      { "a tag", makeNode<TagMatcher>( 5u ), { false, 1, 0, true } },
      { "a next hop, which has no key of its own", makeNode<NexthopMatcher>( IpGenAddr( "10.0.0.1" ) ), { false, 1, 0, false } },
      { "an empty set", setOf( 0 ), { false, 0, 0, false } },
      { "as many tags as can be", setOf( 64 ), { false, 64, 0, true } },
      { "a tag too many", setOf( 65 ), { true, 0, 0, false } },
      { "as many keys of an agent's matcher as can be", keys( 64 ), { false, 64, 0, false } },
      { "a key too many", keys( 65 ), { true, 0, 0, false } },
      { "an empty list", listOfEntries( 0 ), { false, 0, 0, false } },
      { "as many entries as can be", listOfEntries( 1024 ), { false, 0, 1024, true } },
      { "an entry too many", listOfEntries( 1025 ), { true, 0, 0, false } },
      { "an undefined list", makeNode<PrefixListMatcher>( "L", nullptr ), { false, 0, 0, false } },
      { "permit entries only", list( { "1 permit 10.0.0.0/8", "2 permit 10.0.0.0/8" } ), { false, 0, 2, true } },
      { "with a deny entry", list( { "1 deny 10.1.0.0/16", "2 permit 10.0.0.0/8 le 24" } ), { false, 0, 1, false } },
      { "the default route", list( { "1 permit 0.0.0.0/0" } ), { false, 0, 1, true } },
      { "every route", list( { "1 permit 0.0.0.0/0 le 32" } ), { true, 0, 0, false } },
      { "IPv6", list( { "1 permit 2001:db8::/32" } ), { false, 0, 1, true } },
   };
   for( const auto & row : rows ) EXPECT_EQ( foundBy( row.matcher ), row.found ) << row.name;
}

TEST( RouteMapPlanModel, aPlanOfWhatChangesMeanwhileIsNotUsed ) {
   const auto set = makeNode<TagSetStatus>( "T", std::initializer_list<Routing::RouteTag>{ 1 } );
   const auto map = mapOf( seqOf( 10, makeNode<TagSetMatcher>( "T", set ) ) );
   map->seqStatusIs( seqOf( 20,
                            makeNode<TellingMatcher>( [ & ]( MatchKeys & keys ) { keys.skippable(), set->tagIs( 2 ); },
                                                      []( const MatchInput_ & ) { return false; } ) ) );
   map->makePlan();
   EXPECT_FALSE( map->plan() );
   map->makePlan();
   expectPlanned( *map );
}

// A matcher that tells a list may match a part of what the list permits, unless it is exact.
TEST( RouteMapPlanModel, aMatcherMayMatchLessThanItsListPermits ) {
   const auto list = ListFixtures::prefixList( { "10 permit 10.0.0.0/8" } );
   const auto map = mapOf( seqOf(
      10,
      makeNode<TellingMatcher>( [ & ]( MatchKeys & keys ) { keys.listIs( list.get() ); }, []( const MatchInput_ & ) { return false; } ) ) );
   Journal journal;
   for( const Way way : { Way::map, Way::mapObserved } )
      expectAsTheWalk( { map, nullptr }, way, ListFixtures::routeTo( "10.0.0.0/8" ), journal );
}

TEST( RouteMapPlanModel, aCalleeThatHasChangedHasAPlanAgain ) {
   const auto callee = mapOf( seqOf( 10, makeNode<TagMatcher>( 1u ) ) );
   const auto caller = makeNode<RouteMapSeqStatus>( 10 );
   caller->subRouteMapIs( callee );
   const auto map = mapOf( caller );
   ASSERT_TRUE( callee->plan() );
   callee->seqStatusIs( seqOf( 20, makeNode<TagMatcher>( 2u ) ) );
   EXPECT_FALSE( callee->plan() );
   makeNode<RouteMapStatusList>()->rmStatusIs( RmPrecedence::routeMapPrecedence, map );
   EXPECT_TRUE( map->plan() );
   EXPECT_TRUE( callee->plan() );
}

// An agent's matcher that is derived from a class of the library and does not override keys().
TEST( RouteMapPlanModel, aDerivedMatcherThatTellsNothingIsAsked ) {
   struct OwnListMatcher final : PrefixListMatcherBase {
      OwnListMatcher( Journal & j, const Ptr<const PrefixListStatus> & list ) : PrefixListMatcherBase( "own ", "L", list ), journal( j ) {}
      bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override {
         journal.note( Journal::What::asked, this );
         return true;
      }
      Journal & journal;
   };
   Journal journal;
   const auto seq = seqOf( 10, makeNode<OwnListMatcher>( journal, ListFixtures::prefixList( { "10 permit 10.0.0.0/8" } ) ) );
   seq->matcherIs( MatchOption::matchTagSet, makeNode<TagMatcher>( 5u ) );   // the later option
   expectAsTheWalk( { mapOf( seq ), nullptr }, Way::map, ListFixtures::routeTo( "10.0.0.0/8" ), journal );
}

// An access list gets rules of an agent's own class after the plan was made.
TEST( RouteMapPlanModel, rulesOfAnAgentThatComeLateAreAsked ) {
   Journal journal;
   const auto rule = ListFixtures::accessListRule( "10 permit 10.0.0.0/8" );
   const auto list = ListFixtures::compiledAccessListOf( { rule } );
   const auto seq = seqOf( 10, makeNode<IpAccessListMatcher>( "A", list ) );
   seq->matcherIs( MatchOption::matchTagSet, makeNode<TagMatcher>( 5u ) );
   const auto map = mapOf( seq );
   const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   trie->routeIs( ListFixtures::keyOf( rule ), makeNode<OwnRule>( rule, journal ) );
   list->trieIs( trie );
   expectAsTheWalk( { map, nullptr }, Way::map, ListFixtures::routeTo( "10.0.0.0/8" ), journal );
}

}   // namespace
}   // namespace PlanTest
