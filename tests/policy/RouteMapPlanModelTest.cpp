// Evaluation by a plan against the walk over all sequences, on random policies and routes; plans that were made from others against plans
// that were made of nothing; and changes that come after a plan was made.
//    RC_PARAMS="max_success=1000"   ten times as many
#include "policy/RouteMapPlan.h"

#include "tests/policy/EvalFixtures.h"
#include "tests/policy/RandomPolicy.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace PlanTest {
namespace {

using EvalTest::routeMap;
using EvalTest::seq;

Way anyWay( RandomPolicy & policy ) {
   return Way( policy.pick( kWays ) );
}

// One route in one way, without and with a plan.
void askOnce( RandomPolicy & policy, const Policies & policies ) {
   MatchInput_ route = policy.route();
   LateInput late( route );
   const bool isLate = policy.chance( 2 );
   policy.routeIs( isLate ? late.late : route );
   const Policies asked{ policies.map, policies.list, policy.chance( 6 ) ? makeNode<NotingSetter>( policy.journal(), false ) : nullptr };
   expectAsTheWalk( asked, anyWay( policy ), isLate ? static_cast<const MatchInput_ &>( late ) : route, policy.journal(),
                    [ & ] { policy.restart(); } );
}

void ask( RandomPolicy & policy, const Policies & policies, int routes ) {
   while( routes-- && !caseFailed() ) askOnce( policy, policies );
}

Ptr<RouteMapStatus> mapOf( const Ptr<const RouteMapSeqStatus> & seq ) {
   auto map = makeNode<RouteMapStatus>( "M" );
   map->seqStatusIs( seq );
   map->makePlan();
   return map;
}

Ptr<RouteMapSeqStatus> seqOf( uint32_t seqno, const Ptr<const Matcher> & matcher, MatchOption option = MatchOption::matchTag ) {
   auto seq = makeNode<RouteMapSeqStatus>( seqno );
   seq->matcherIs( option, matcher );
   return seq;
}

// All plans are outdated; some maps get plans again, with their callees. The others are walked.
void outdatePlans( RandomPolicy & policy ) {
   const auto other = mapOf( seqOf( 10, makeNode<TagMatcher>( 1u ) ) );
   other->seqStatusDelAll();
   for( const auto & map : policy.maps() )
      if( policy.chance( 2 ) ) map->makePlan();
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
   forRandomCases( 15, []( Random & random ) {
      RandomPolicy policy( random );
      for( const auto & callee : policy.maps() ) callee->makePlan();
      for( int i = 0; i < 5 && random.step(); ++i ) {
         const auto map = policy.topMap();
         sayMap( random, *map );
         const Policies policies{ map, policy.listOf( map ) };
         ASSERT_TRUE( map->plan() );
         ask( policy, policies, 40 );
         if( !policy.chance( 3 ) ) continue;
         outdatePlans( policy );
         ask( policy, policies, 10 );
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
            if( policy_.chance( 4 ) )
               return replace<PrefixListMatcher>( map, anyOf( random_, policy_.larges() ).get(), anyOf( random_, policy_.larges() ) );
            const auto old = policy_.lists();
            const auto i = policy_.editList();
            return replace<PrefixListMatcher>( map, old[ i ].get(), policy_.lists()[ i ] );
         }
         case 3: {
            const auto old = policy_.sets();
            const auto i = policy_.editSet();
            return replace<TagSetMatcher>( map, old[ i ].get(), policy_.sets()[ i ] );
         }
         case 4:   // equal ones; all of them, as after an edit of the configuration, or some
            for( const auto & [ seqno, seq ] : RouteMapStatus::Sequences( map.seqStatus() ) ) {
               const auto clone = RouteMapSeqStatus::newFrom( seq, seqno );
               if( policy_.chance( 9 ) ) changeOne( *clone );
               map.seqStatusIs( clone );
               if( policy_.chance( 20 ) ) return;
            }
            return;
         default: return map.seqStatusIs( policy_.sequence( policy_.seqno(), 0 ) );
      }
   }

   void changeOne( RouteMapSeqStatus & seq ) {
      switch( policy_.pick( 5 ) ) {
         case 0: return seq.matchActionIs( seq.matchAction() == permit ? deny : permit );
         case 1: return seq.subInvertIs( !seq.subInvert() );
         case 2: return seq.setterDelAll();
         case 3: return seq.subRouteMapIs( nullptr );
         default: return seq.continueSeq() ? seq.continueSeqIs( nullptr ) : policy_.continueIs( seq, seq.seqno() + 1 );
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
            changed.emplace_back( next );
         }
      for( const auto & seq : changed ) map.seqStatusIs( seq );
   }

   Random & random_;
   RandomPolicy policy_;
   std::vector<Generation> kept_;
};

TEST( RouteMapPlanModel, aPlanMadeFromAnotherIsThatMadeOfNothing ) {
   forRandomCases( 4, []( Random & random ) {
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
        const auto prefix = p.networkOf( list->af() );
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
   forRandomCases( 6, []( Random & random ) {
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
         for( const auto & [ name, change ] : kChanges ) changes.emplace_back( change );
         policy.changesAre( changes );
         map = policy.map( 0, 4 + policy.pick( 20 ) );
         list = policy.listOf( map );
         policy.nameAll();
      }
      std::vector<uint64_t> ask( bool byWalk ) {
         auto route = policy.route();
         policy.routeIs( route );
         policy.restart();
         if( policy.chance( 3 ) ) map->makePlan();
         return outcomeOf( byWalk, anyWay( policy ), { map, list }, route, policy.journal() );
      }
      Random random;
      RandomPolicy policy{ random };
      Ptr<RouteMapStatus> map;
      Ptr<RouteMapStatusList> list;
   };
   forRandomCases( 15, []( Random & random ) {
      const uint64_t seed = random();
      Changing planned( seed ), walked( seed );
      for( int i = 0; i < 10 && random.step() && !caseFailed(); ++i ) EXPECT_EQ( planned.ask( false ), walked.ask( true ) );
   } );
}

// ---- single cases

/// How the plan of a map with this sequence alone finds the sequence, and what then remains to be done.
std::string foundBy( const Ptr<const RouteMapSeqStatus> & seq ) {
   const auto map = mapOf( seq );
   const PlainContent content( map->plan()->content() );
   std::vector<PlanStep> steps;
   std::string text;
   const auto add = [ & ]( const std::string & word ) { text += ( text.empty() ? "" : ", " ) + word; };
   const auto ofMap = [ & ]( const std::map<uint32_t, PlanStep> & found, const char * word ) {
      if( found.empty() ) return;
      if( *word ) add( word );
      steps.push_back( found.at( seq->seqno() ) );
   };
   ofMap( content.always, "always" );
   if( !content.keys.empty() ) add( std::to_string( content.keys.size() ) + " keys" );
   for( const auto & [ key, found ] : content.keys ) steps.insert( steps.end(), found.begin(), found.end() );
   ofMap( content.listed, "" );
   if( const size_t rows = content.rows[ 0 ].size() + content.rows[ 1 ].size() ) add( std::to_string( rows ) + " rows" );
   for( const auto & [ seqno, list ] : content.asked ) {
      add( "asked" );
      steps.insert( steps.end(), list.second.begin(), list.second.end() );
   }
   ofMap( content.calls, "called" );
   if( steps.empty() ) return "never";
   const PlanStep & step = steps.front();
   EXPECT_EQ( size_t( std::ranges::count( steps, step ) ), steps.size() ) << "one sequence has one step";
   if( step.left == PlanStep::Left::remainder || ( step.isDecided() && !seq->matcher().empty() ) ) add( "answered" );
   if( !step.leavesRoute( PlanStep::kAllMatch ) ) add( "impure" );
   if( step.isDecided() ) add( step.left == PlanStep::Left::deny ? "denies" : "permits" );
   return text;
}

Ptr<const Matcher> listOfEntries( uint32_t count ) {
   PrefixListBuilder builder( "L", AddressFamily::ipv4 );
   for( uint32_t i = 0; i < count; ++i )
      EXPECT_FALSE( builder.entryIs( { i, permit, prefixOf( AddressFamily::ipv4, { uint64_t( i ) << 40, 0 }, 24 ), {}, {} } ) );
   return makeNode<PrefixListMatcher>( "L", builder.build() );
}

Ptr<const Matcher> listOf( ListFixtures::Texts texts ) {
   return makeNode<PrefixListMatcher>( "L", ListFixtures::prefixList( texts ) );
}

Ptr<const Matcher> tagOf( Routing::RouteTag tag ) {
   return makeNode<TagMatcher>( tag );
}

Ptr<const Matcher> setOf( uint32_t tags ) {
   const auto set = makeNode<TagSetStatus>( "T" );
   for( uint32_t i = 0; i < tags; ++i ) set->tagIs( i );
   return makeNode<TagSetMatcher>( "T", set );
}

Ptr<const Matcher> keysOf( uint32_t count ) {
   return makeNode<TellingMatcher>(
      [ count ]( MatchKeys & told ) {
         for( uint32_t i = 0; i < count; ++i ) told.keyIs( MatchKey::tag( i ) );
      },
      [ count ]( const MatchInput_ & input ) { return input.getTag() < count; } );
}

Ptr<const Matcher> skippable() {
   return makeNode<TellingMatcher>( []( MatchKeys & keys ) { keys.skippable(); }, []( const MatchInput_ & ) { return true; } );
}

TEST( RouteMapPlanModel, aSequenceIsFoundByAsLittleAsPossible ) {
   const struct {
      const char * name;
      Ptr<const Matcher> matcher;
      const char * found;
   } rows[] = {
      { "a tag", tagOf( 5 ), "1 keys, answered, permits" },
      { "a next hop, which has no key of its own", makeNode<NexthopMatcher>( IpGenAddr( "10.0.0.1" ) ), "1 keys" },
      { "an empty set", setOf( 0 ), "never" },
      { "as many tags as can be", setOf( 64 ), "64 keys, answered, permits" },
      { "a tag too many", setOf( 65 ), "always" },
      { "as many keys of an agent's matcher as can be", keysOf( 64 ), "64 keys" },
      { "a key too many", keysOf( 65 ), "always" },
      { "an empty list", listOfEntries( 0 ), "never" },
      { "as many entries as can be", listOfEntries( 128 ), "128 rows, answered, permits" },
      { "an entry too many", listOfEntries( 129 ), "asked, answered, permits" },
      { "an undefined list", makeNode<PrefixListMatcher>( "L", nullptr ), "never" },
      { "permit entries only", listOf( { "1 permit 10.0.0.0/8", "2 permit 10.0.0.0/8" } ), "2 rows, answered, permits" },
      { "with a deny entry", listOf( { "1 deny 10.1.0.0/16", "2 permit 10.0.0.0/8 le 24" } ), "1 rows" },
      { "the default route", listOf( { "1 permit 0.0.0.0/0" } ), "1 rows, answered, permits" },
      { "every route", listOf( { "1 permit 0.0.0.0/0 le 32" } ), "always" },
      { "IPv6", listOf( { "1 permit 2001:db8::/32" } ), "1 rows, answered, permits" },
      { "a matcher that tells nothing", EvalTest::matcher( true ), "always, impure" },
      { "no matcher need be asked", skippable(), "always" },
   };
   for( const auto & row : rows ) EXPECT_EQ( foundBy( seqOf( 10, row.matcher ) ), row.found ) << row.name;
}

// Many routes may have the same community; few are in one list.
TEST( RouteMapPlanModel, ofTwoClausesTheOneThatTellsMoreFinds ) {
   const Ptr<const Matcher> own = makeNode<TellingMatcher>( []( MatchKeys &told ) { told.keyIs( MatchKey::own( 1 ) ); },
                                                            []( const MatchInput_ & ) { return false; } ),
                            changer = makeNode<TellingMatcher>(
                               []( MatchKeys &told ) {
                                  told.keyIs( MatchKey::tag( 1 ) );
                                  told.changesMatchedRoute();
                               },
                               []( const MatchInput_ & ) { return false; } ),
                            thrower = makeNode<TellingMatcher>( []( MatchKeys &told ) { told.mayThrow(); },
                                                                []( const MatchInput_ & ) { return false; } );
   const auto small = listOf( { "1 permit 10.0.0.0/8" } ), all = listOf( { "1 permit 0.0.0.0/0 le 32" } );
   const struct {
      const char * name;
      Ptr<const Matcher> first, second;
      const char * found;
   } rows[] = {
      { "an own key and a list", own, small, "1 rows, answered" },
      { "an own key and a tag", own, tagOf( 1 ), "1 keys, answered" },
      { "an own key and a list that permits every route", own, all, "1 keys" },
      { "a list and a tag", small, tagOf( 1 ), "1 keys, answered" },
      { "a list behind one that may throw", thrower, small, "always" },
      { "a list in front of it", small, thrower, "1 rows, answered" },
      { "a key that changes the route, and a list", changer, small, "1 keys, impure" },
      { "a list in front of that", small, changer, "1 keys, impure" },
   };
   for( const auto & row : rows )
      EXPECT_EQ( foundBy( seq( 10 ).match( row.first ).match( row.second, MatchOption::matchTagSet ) ), row.found ) << row.name;
}

// Any number may be an option.
TEST( RouteMapPlanModel, aMatcherMayHaveTheHighestOption ) {
   MatchInput_ input;
   input.tagIs( 7 );
   const auto highest = MatchOption( 255 );
   const auto map = routeMap( "M", { seq( 10 ).match( tagOf( 5 ), highest ), seq( 20 ).match( tagOf( 7 ) ).match( tagOf( 5 ), highest ) } );
   map->makePlan();
   MatchedRouteMapSequences matched;
   PolicyEval eval;
   EXPECT_FALSE( eval.evalRouteMapMatchers( &input, map.get(), &matched ) );
   eval.contextIs( makeNode<PolicyEvalContext>() );
   EXPECT_FALSE( eval.evalRouteMapMatchers( &input, map.get(), &matched ) );
}

TEST( RouteMapPlanModel, whatRemainsOfASequence ) {
   const auto callee = routeMap( "C", { seq( 1 ).match( tagOf( 1 ) ) } );
   const auto tag = [] { return seq( 10 ).match( tagOf( 5 ) ); };
   const auto later = MatchOption::matchTagSet;
   const struct {
      const char * name;
      Ptr<const RouteMapSeqStatus> seq;
      const char * found;
   } rows[] = {
      { "a tag", tag(), "1 keys, answered, permits" },
      { "a deny", tag().deny(), "1 keys, answered, denies" },
      { "a continue", tag().continueTo( 20 ), "1 keys, answered" },
      { "a continue of a deny, which ends the route map", tag().deny().continueTo( 20 ), "1 keys, answered, denies" },
      { "a call", tag().call( callee ), "1 keys, answered" },
      { "a call and a deny", tag().deny().call( callee ), "1 keys, answered" },
      { "a second clause", tag().match( tagOf( 5 ), later ), "1 keys, answered" },
      { "a deny with a second clause", tag().deny().match( tagOf( 5 ), later ), "1 keys, answered" },
      { "no clause", seq( 10 ), "always, permits" },
      { "no clause, and a deny", seq( 10 ).deny(), "always, denies" },
      { "no clause, and a continue", seq( 10 ).continueTo( 20 ), "always" },
      { "one clause that is not answered", seq( 10 ).match( keysOf( 1 ) ), "1 keys" },
      { "behind the clause, a matcher that tells nothing", tag().match( EvalTest::matcher( true ), later ), "1 keys, answered, impure" },
      { "in front of the clause", seq( 10 ).match( EvalTest::matcher( true ) ).match( tagOf( 5 ), later ), "always, impure" },
   };
   for( const auto & row : rows ) EXPECT_EQ( foundBy( row.seq ), row.found ) << row.name;
}

TEST( RouteMapPlanModel, aCallIsFoundByTheWaysOfItsCallee ) {
   const auto of = []( std::initializer_list<Ptr<const Matcher>> matchers ) {   // a sequence for each
      auto map = makeNode<RouteMapStatus>( "C" );
      uint32_t seqno = 0;
      for( const auto & matcher : matchers ) map->seqStatusIs( seqOf( ++seqno, matcher ) );
      return map;
   };
   const auto ofSequences = [ & ]( uint32_t count ) {
      auto map = makeNode<RouteMapStatus>( "C" );
      for( uint32_t i = 1; i <= count; ++i ) map->seqStatusIs( seqOf( i, tagOf( 1 ) ) );
      return map;
   };
   const auto calling = []( const Ptr<const RouteMapStatus> & callee ) { return seq( 10 ).call( callee ); };
   const auto tag1 = tagOf( 1 ), tag2 = tagOf( 2 ), large = listOfEntries( 129 ), ownOne = Ptr<const Matcher>( EvalTest::matcher( true ) );
   const auto one = listOf( { "1 permit 10.0.0.0/8" } ), ipv6 = listOf( { "1 permit 2001:db8::/32" } ),
              other = listOf( { "1 deny 10.1.0.0/16", "2 permit 10.0.0.0/8 le 24" } );
   const auto later = MatchOption::matchTagSet;
   const struct {
      const char * name;
      Ptr<const RouteMapSeqStatus> seq;
      const char * found;
   } rows[] = {
      { "tags", calling( of( { tag1, tag2 } ) ), "2 keys, called" },
      { "a tag twice", calling( of( { tag1, tag1 } ) ), "1 keys, called" },
      { "lists", calling( of( { one, other } ) ), "2 rows, called" },
      { "a list twice", calling( of( { one, one } ) ), "1 rows, called" },
      { "lists of both families", calling( of( { one, ipv6 } ) ), "2 rows, called" },
      { "a tag and a list", calling( of( { tag1, one } ) ), "1 keys, 1 rows, called" },
      { "a deny of the caller", calling( of( { tag1 } ) ).deny(), "1 keys, called" },
      { "a continue of the caller", calling( of( { tag1 } ) ).continueTo( 20 ), "1 keys, called" },
      { "a sequence that always matches", calling( routeMap( "C", { seq( 1 ).match( tag1 ), seq( 2 ) } ) ), "always" },
      { "a deny", calling( routeMap( "C", { seq( 1 ).match( tag1 ).deny(), seq( 2 ).match( tag2 ) } ) ), "1 keys, called" },
      { "a deny of each route", calling( routeMap( "C", { seq( 1 ).deny(), seq( 2 ).match( tag2 ) } ) ), "1 keys, called" },
      { "denies only", calling( routeMap( "C", { seq( 1 ).match( tag1 ).deny(), seq( 2 ).deny() } ) ), "called" },
      { "a continue", calling( routeMap( "C", { seq( 1 ).match( tag1 ).continueTo( 2 ), seq( 2 ).match( tag2 ) } ) ), "2 keys, called" },
      { "an inverted call", seq( 10 ).callInverted( of( { tag1 } ) ), "always" },
      { "an inverted call beside a tag", seq( 10 ).match( tag2 ).callInverted( of( { tag1 } ) ), "1 keys, answered" },
      { "as many sequences as can be", calling( ofSequences( 64 ) ), "1 keys, called" },
      { "a sequence too many", calling( ofSequences( 65 ) ), "always" },
      { "as many keys as can be", calling( of( { setOf( 63 ), tag1 } ) ), "63 keys, called" },
      { "a key too many", calling( of( { setOf( 64 ), tag1 } ) ), "always" },
      { "as many rows as can be", calling( of( { listOfEntries( 127 ), ipv6 } ) ), "128 rows, called" },
      { "a row too many", calling( of( { listOfEntries( 128 ), ipv6 } ) ), "always" },
      { "a large list", calling( of( { listOfEntries( 129 ) } ) ), "asked, called" },
      { "a large list of two sequences", calling( of( { large, large } ) ), "asked, called" },
      { "a large list and a tag", calling( of( { large, tag1 } ) ), "1 keys, asked, called" },
      { "two large lists", calling( of( { large, listOfEntries( 129 ) } ) ), "always" },
      { "a large list of a deny", calling( routeMap( "C", { seq( 1 ).match( listOfEntries( 129 ) ).deny() } ) ), "called" },
      { "a matcher that tells nothing", calling( of( { tag1, ownOne } ) ), "always" },
      { "a matcher that tells nothing, of a deny", calling( routeMap( "C", { seq( 1 ).match( ownOne ).deny() } ) ), "always" },
      { "the same behind a tag", calling( routeMap( "C", { seq( 1 ).match( tag1 ).match( ownOne, later ) } ) ), "always" },
      { "the same if the caller has a tag", seq( 10 ).match( tag2 ).call( of( { ownOne } ) ), "1 keys, answered" },
      { "a matcher of the caller that tells nothing", calling( of( { tag1 } ) ).match( ownOne ), "always, impure" },
      { "a matcher of the caller that need not be asked", calling( of( { tag1 } ) ).match( skippable() ), "1 keys, called" },
      { "a list of the caller that permits every route", calling( of( { tag1 } ) ).match( listOf( { "1 permit 0.0.0.0/0 le 32" } ) ),
        "1 keys, called" },
      { "a tag of the caller", calling( of( { tag1 } ) ).match( tag2 ), "1 keys, answered" },
      { "a large list of the caller", calling( of( { tag1 } ) ).match( listOfEntries( 129 ) ), "asked, answered" },
      { "no sequences", calling( of( {} ) ), "always" },
      { "a callee of the callee", calling( routeMap( "C", { calling( of( { tag1, one } ) ) } ) ), "1 keys, 1 rows, called" },
      { "an inverted callee of the callee", calling( routeMap( "C", { seq( 1 ).callInverted( of( { tag1 } ) ) } ) ), "always" },
      { "an empty callee of the callee", calling( routeMap( "C", { seq( 1 ).match( tag1 ).call( of( {} ) ) } ) ), "1 keys, called" },
      { "a callee of the callee with a matcher that tells nothing",
        calling( routeMap( "C", { seq( 1 ).match( tag1 ).call( of( { ownOne } ) ) } ) ), "always" },
      { "a callee of the callee with as many sequences as can be", calling( routeMap( "C", { calling( ofSequences( 63 ) ) } ) ),
        "1 keys, called" },
      { "a sequence too many in the callee of the callee", calling( routeMap( "C", { calling( ofSequences( 64 ) ) } ) ), "always" },
   };
   for( const auto & row : rows ) EXPECT_EQ( foundBy( row.seq ), row.found ) << row.name;
}

// A plan reads the callees of the callees, too.
TEST( RouteMapPlanModel, aLateChangeOfACalleeOutdatesThePlan ) {
   for( int change = 0; change < 4; ++change ) {
      const auto innerSeq = seq( 1 ).match( tagOf( 1 ) ), outerSeq = seq( 1 );
      const auto inner = routeMap( "I", { innerSeq } );
      outerSeq.get()->subRouteMapIs( inner );
      const auto outer = routeMap( "O", { outerSeq } );
      const auto map = routeMap( "M", { seq( 10 ).call( outer ) } );
      std::vector<const RouteMapStatus *> callees;
      const auto plan = RouteMapPlan::of( map->seqStatus(), nullptr, callees );
      ASSERT_TRUE( plan->isCurrent() );
      switch( change ) {
         case 0: outer->seqStatusIs( seq( 2 ) ); break;
         case 1: outerSeq.get()->subInvertIs( true ); break;
         case 2: inner->seqStatusIs( seq( 2 ) ); break;
         default: innerSeq.get()->matcherDelAll();
      }
      EXPECT_FALSE( plan->isCurrent() ) << change;
   }
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

// Fails each allocation of a plan in turn, of one made from another and of one made of nothing. Later it is made whole.
TEST( RouteMapPlanModel, aPlanThatLacksMemoryIsMadeLater ) {
   const auto sequences = []( const Ptr<RouteMapStatus> & map, const Ptr<RouteMapStatus> & callee ) {
      const auto call = makeNode<RouteMapSeqStatus>( 41 );
      call->subRouteMapIs( callee );
      map->seqStatusIs( call );
      map->seqStatusIs( makeNode<RouteMapSeqStatus>( 42 ) );
      map->seqStatusIs( seqOf( 43, listOfEntries( RouteMapPlan::kMostEntries + 1 ) ) );
      for( uint32_t i = 1; i <= 40; i += 4 ) {
         map->seqStatusIs( seqOf( i, tagOf( i ) ) );
         map->seqStatusIs( seqOf( i + 1, setOf( 3 ) ) );
         map->seqStatusIs( seqOf( i + 2, listOf( { "10 permit 10.0.0.0/8" } ) ) );
         const auto denies = seqOf( i + 3, listOf( { "10 permit 10.1.0.0/16", "20 permit 10.2.0.0/16 le 32" } ) );
         denies->matchActionIs( deny );
         map->seqStatusIs( denies );
      }
   };
   const auto make = [ & ]( bool hasBase ) {
      const auto callee = makeNode<RouteMapStatus>( "CALLEE" );
      callee->seqStatusIs( seqOf( 10, tagOf( 77 ) ) );
      const auto map = makeNode<RouteMapStatus>( "M" );
      sequences( map, callee );
      if( !hasBase ) return map;
      map->makePlan();
      const auto next = RouteMapStatus::successorOf( map, "M" );   // as after an edit of the configuration
      const auto newCallee = makeNode<RouteMapStatus>( "CALLEE" );
      newCallee->seqStatusIs( seqOf( 10, tagOf( 78 ) ) );
      for( const auto & [ seqno, seq ] : map->seqStatus() ) {
         const auto clone = RouteMapSeqStatus::newFrom( seq, seqno );
         if( seqno == 41 ) clone->subRouteMapIs( newCallee );
         if( seqno == 8 ) clone->matchActionIs( permit );
         next->seqStatusIs( clone );
      }
      next->seqStatusIs( seqOf( 7, listOf( { "10 permit 10.3.0.0/16" } ) ) );
      return next;
   };
   for( const bool hasBase : { false, true } ) {
      bool isShort = true;
      for( size_t n = 0; isShort; ++n ) {
         const auto map = make( hasBase );
         {
            const AllocationFailure failure( n );
            map->makePlan();
            isShort = failure.happened();
         }
         EXPECT_TRUE( isShort || map->plan() );
         map->makePlan();
         expectPlanned( *map );
         EXPECT_TRUE( map->seqStatus( 41 )->subRouteMap()->plan() );
      }
   }
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

// More large lists than an evaluation remembers answers of, and for one prefix more that permit it than a search can hold; the callee asks
// all of them again.
TEST( RouteMapPlanModel, anEvaluationMayAskManyLargeLists ) {
   const auto callee = makeNode<RouteMapStatus>( "C" ), map = makeNode<RouteMapStatus>( "M" );
   for( uint32_t i = 0; i < 24; ++i ) {
      PrefixListBuilder builder( "L", AddressFamily::ipv4 );
      EXPECT_FALSE( builder.entryIs( { 0, i % 3 ? deny : permit, prefixOf( AddressFamily::ipv4, { 10ull << 56, 0 }, 8 ), {}, {} } ) );
      for( uint32_t n = 1; n <= RouteMapPlan::kMostEntries; ++n )
         EXPECT_FALSE( builder.entryIs( { n, permit, prefixOf( AddressFamily::ipv4, { uint64_t( n ) << 40, 0 }, 24 ), {}, {} } ) );
      const auto list = makeNode<PrefixListMatcher>( "L", builder.build() );
      for( const auto & m : { callee, map } ) m->seqStatusIs( seq( i ).match( list ).continueTo( i + 1 ) );
   }
   map->seqStatusIs( seq( 50 ).call( callee ) );
   map->makePlan();
   ASSERT_EQ( map->plan()->content().asked.count(), 24u );
   Journal journal;
   for( const char * prefix : { "10.0.0.0/8", "0.0.1.0/24", "192.0.2.0/24" } )
      expectAsTheWalk( { map, nullptr }, Way::map, ListFixtures::routeTo( prefix ), journal );
}

// The list of a sequence finds it, but its tag decides: a search that finds too many such sequences gives way to the walk.
TEST( RouteMapPlanModel, manySequencesMayHaveOneList ) {
   const auto list = makeNode<PrefixListMatcher>( "L", ListFixtures::prefixList( { "10 permit 10.0.0.0/8 le 32" } ) );
   const auto own = []( uint32_t value ) {   // has no keys: the list finds the sequence
      return makeNode<TellingMatcher>( []( MatchKeys & keys ) { keys.skippable(); },
                                       [ value ]( const MatchInput_ & input ) { return input.getTag() == value; } );
   };
   const auto map = makeNode<RouteMapStatus>( "M" );
   for( uint32_t i = 0; i < 40; ++i ) {
      const auto sequence = seqOf( i, list, MatchOption::matchIpPrefixList );
      sequence->matcherIs( MatchOption::matchTagSet, own( i ) );
      if( i % 8 == 0 ) sequence->continueSeqIs( seqOf( i + 2, own( 0 ) ) );
      map->seqStatusIs( sequence );
   }
   map->makePlan();
   Journal journal;
   for( uint32_t tag = 0; tag <= 40; ++tag )
      for( const char * prefix : { "10.1.0.0/16", "192.0.2.0/24" } ) {
         auto route = ListFixtures::routeTo( prefix );
         route.tagIs( tag );
         expectAsTheWalk( { map, nullptr }, Way::map, route, journal );
      }
}

// A getter of an agent may be expensive, or throw.
TEST( RouteMapPlanModel, noGetterIsCalledBehindAFirstSequenceWithoutClauses ) {
   struct Silent final : MatchInput_ {
      Routing::RouteTag getTag() const override { throw std::runtime_error( "no tag" ); }
   };
   const auto map = makeNode<RouteMapStatus>( "M" );
   map->seqStatusIs( makeNode<RouteMapSeqStatus>( 10 ) );
   map->seqStatusIs( seqOf( 20, tagOf( 1 ) ) );
   map->makePlan();
   ASSERT_TRUE( map->plan() );
   MatchedRouteMapSequences matched;
   EXPECT_TRUE( makeNode<PolicyEval>()->evalRouteMapMatchers( std::make_unique<Silent>().get(), map.get(), &matched ) );
}

// A function of the agent runs between two route maps.
TEST( RouteMapPlanModel, aFunctionMayChangeTheRoute ) {
   MatchInput_ route;
   EvalTest::Journal calls;
   const auto body = makeNode<EvalTest::FakeFunction>( calls, EvalTest::kPermit );
   body->during = [ & ] { route.tagIs( 2 ); };
   const auto list =
      EvalTest::listOf( { { 3, routeMap( "BEFORE", { seq( 10 ).match( tagOf( 1 ) ) } ) },
                          { 5, routeMap( "AFTER", { seq( 10 ).match( tagOf( 1 ) ).deny(), seq( 20 ).match( tagOf( 2 ) ) } ) } } );
   list->gyreStatusIs( EvalTest::function( "F", body ) );
   const auto contexts = Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( RmPrecedence::routeMapPrecedence,
                                                                                            makeNode<EvalTest::FakeContext>( calls, "F" ) );
   for( const bool byWalk : { false, true } ) {
      const auto eval = makeNode<PolicyEval>();
      if( byWalk ) eval->contextIs( makeNode<PolicyEvalContext>() );
      route.tagIs( 1 );
      MatchedRouteMapSequences matched;
      EXPECT_TRUE( eval->evalPolicyMatchers( &route, list, &matched, contexts ) ) << byWalk;
      EXPECT_EQ( EvalTest::seqnosOf( matched ), std::vector<uint32_t>{ 20 } ) << byWalk;
   }
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
