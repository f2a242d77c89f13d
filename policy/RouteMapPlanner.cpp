#include "policy/RouteMapPlanner.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>

#include "policy/RouteMapStatus.h"
#include "substrate/lists/PrefixListStatus.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

namespace {

using Ferule::AddressFamily;
using RouteMap::PrefixRow;
using Item = RouteMap::PrefixListRowsEditor::Item;

constexpr std::array kFamilies = { AddressFamily::ipv4, AddressFamily::ipv6 };

// By prefix and number first, as a trie needs them.
auto inOrder( const Item & item ) {
   return std::tuple( item.bits, item.length, item.row.seqno(), item.row.word() );
}

auto inOrderOfKeys( const MatchKey & key ) {
   return std::tuple( key.attribute, key.value );
}

// Without duplicates.
template <class T, class Order>
std::vector<T> sorted( std::vector<T> values, Order order ) {
   std::ranges::sort( values, {}, order );
   values.erase( std::unique( values.begin(), values.end() ), values.end() );
   return values;
}

// How well a clause tells sequences apart; 0: not at all.
enum class Selects : uint8_t { nothing, protocol, own, list, value, noRoute };

Selects selects( const MatchKeys & told ) {
   if( !told.isSelective() ) return Selects::nothing;
   if( told.list() ) return told.list()->ownRows() ? Selects::list : Selects::nothing;
   if( told.keys().empty() ) return Selects::noRoute;
   const auto has = [ & ]( MatchKey::Attribute attribute ) {
      return std::ranges::find( told.keys(), attribute, &MatchKey::attribute ) != told.keys().end();
   };
   if( has( MatchKey::Attribute::protocol ) ) return Selects::protocol;
   return has( MatchKey::Attribute::own ) ? Selects::own : Selects::value;   // all routes may have the same community
}

// Notes what asking a matcher does to the route.
void changesAt( PlanStep & step, MatchOption option, MatchKeys::Effect effect ) {
   if( effect == MatchKeys::Effect::none ) return;
   const unsigned from = 2 * unsigned( option ) + ( effect == MatchKeys::Effect::ofMatch ? 1 : 0 );
   step.changesFrom = std::min( step.changesFrom, uint16_t( from ) );
}

// Whether a plan says the same of both, but for the object. An edit of the configuration clones all sequences of its route map.
bool arePlannedAlike( const RouteMapSeqStatus & a, const RouteMapSeqStatus & b ) {
   return a.subRouteMapRawPtr() == b.subRouteMapRawPtr() && a.subInvert() == b.subInvert() && a.matchAction() == b.matchAction() &&
      !a.continueSeq() == !b.continueSeq() && a.setter().empty() == b.setter().empty() && std::ranges::equal( a.matcher(), b.matcher() );
}

// `begun`: evaluation, or the remainder.
PlanStep::Left leftOf( const RouteMapSeqStatus & seq, PlanStep::Left begun ) {
   const size_t answered = begun == PlanStep::Left::remainder ? 1 : 0;
   if( seq.matcher().count() != answered || seq.subRouteMapRawPtr() ) return begun;
   if( seq.matchAction() == Acl::MatchPermit::deny ) return PlanStep::Left::deny;
   if( seq.continueSeq() ) return begun;
   return seq.setter().empty() ? PlanStep::Left::permit : PlanStep::Left::setters;
}

}   // namespace

// ---- one sequence

// A matcher that tells nothing is asked as the walk would ask it. Therefore no clause behind it may be looked up in front of it.
PlanInWork::Way PlanInWork::wayTo( const RouteMapSeqStatus & seq, Limits & limits ) {
   Way way;
   way.step = { &seq, seq.seqno() };
   struct Clause {
      MatchKeys told;
      MatchOption option;
   };
   Clause byKey{}, byPrefix{};
   for( const auto & [ option, matcher ] : seq.matcher() ) {
      MatchKeys told;
      matcher->keys( told );
      changesAt( way.step, option, told.effect() );
      const bool isSkippable = told.isSkippable();
      Clause & best = told.list() ? byPrefix : byKey;
      if( way.isSkippable && selects( told ) > selects( best.told ) ) best = { std::move( told ), option };
      way.isSkippable &= isSkippable;
   }
   const auto answered = [ & ]( const Clause & clause, bool byAll ) {
      if( !byAll || !clause.told.isExact() ) return;
      way.step.answered = clause.option;
      way.step.left = PlanStep::Left::remainder;
   };
   const Selects byKeySelects = selects( byKey.told );
   if( selects( byPrefix.told ) > byKeySelects ) answered( byPrefix, byList( way, *byPrefix.told.list()->ownRows(), limits ) );
   if( way.isAlways && byKeySelects != Selects::nothing ) answered( byKey, byKeys( way, byKey.told ) );
   const RouteMapStatus * const callee = seq.subRouteMapRawPtr();
   if( callee && !byCallee( way, *callee, limits ) ) way.isSkippable = false;
   way.step.left = leftOf( seq, way.step.left );
   if( way.step.left == PlanStep::Left::deny )
      for( Rows & rows : way.rows )
         for( Item & item : rows ) item.row = PrefixRow( item.row.seqno(), false, item.row.ge(), item.row.le() );
   return way;
}

PlanInWork::Way PlanInWork::wayTo( const RouteMapSeqStatus & seq ) {
   Limits limits;
   return wayTo( seq, limits );
}

// Each of these returns whether every route with such a key, or with a prefix that the list permits, is found, and no other one.
bool PlanInWork::byKeys( Way & way, const MatchKeys & told ) {
   way.isAlways = false;
   way.keys = sorted( told.keys(), inOrderOfKeys );
   return true;
}

// By the permit entries of a small list. If they permit nearly every prefix, they tell nothing.
bool PlanInWork::byList( Way & way, const RouteMap::PrefixListRows & list, const Limits & limits ) {
   if( list.af() != AddressFamily::ipv4 && list.af() != AddressFamily::ipv6 ) return false;
   if( list.entryCount() > limits.entries ) {
      way.asked = &list;
      way.isAlways = false;
      return true;
   }
   bool hasDeny = false, permitsAll = false;
   Rows rows;
   list.visitAll( [ & ]( const Ferule::IpGenPrefix & prefix, PrefixRow row ) {
      hasDeny |= !row.permit();
      if( !row.permit() ) return;
      permitsAll |= prefix.length() == 0 && row.ge() != row.le();
      rows.push_back( { prefix.ipGenAddr().bits(), prefix.length(), PrefixRow( way.step.seqno, true, row.ge(), row.le() ) } );
   } );
   if( permitsAll ) return false;
   if( !std::ranges::is_sorted( rows, {}, inOrder ) ) std::ranges::sort( rows, {}, inOrder );
   way.rows[ list.af() == AddressFamily::ipv6 ] = std::move( rows );
   way.isAlways = false;
   return !hasDeny;
}

// By all ways that lead to a permit of the callee, unless the sequence is found by a clause of its own. Returns whether no matcher of the
// callee need be asked about other routes.
bool PlanInWork::byCallee( Way & way, const RouteMapStatus & callee, Limits & limits ) {
   const auto & sequences = callee.seqStatus();
   callee.seal().close();
   if( sequences.count() > limits.sequences || limits.calls == 0 ) return false;
   if( sequences.empty() ) return true;   // is not called
   const Limits before = limits;
   limits.sequences -= sequences.count();
   --limits.calls;
   Way all;
   bool isFound = way.isAlways && way.isSkippable && !way.step.seq->subInvert();
   limits.entries = std::min( limits.entries, RouteMapPlan::kMostCalledRows );
   for( const auto & [ seqno, seq ] : sequences ) {
      seq->seal().close();
      if( !isFound ) limits.entries = 0;   // only the matchers are still of interest
      const Way one = wayTo( *seq, limits );
      if( !one.isSkippable ) return false;
      if( seq->matchAction() == Acl::MatchPermit::deny ) continue;
      isFound &= !one.isAlways && ( !one.asked || !all.asked || one.asked == all.asked );
      if( one.asked ) all.asked = one.asked;
      all.keys.insert( all.keys.end(), one.keys.begin(), one.keys.end() );
      for( unsigned family = 0; family < all.rows.size(); ++family )
         for( Item item : one.rows[ family ] ) {
            item.row = PrefixRow( way.step.seqno, true, item.row.ge(), item.row.le() );
            all.rows[ family ].push_back( item );
         }
      isFound &= all.keys.size() <= MatchKeys::kMost && all.rows[ 0 ].size() + all.rows[ 1 ].size() <= RouteMapPlan::kMostCalledRows;
   }
   limits = { before.entries, limits.sequences, before.calls };
   if( !isFound ) return true;
   way.isAlways = false;
   way.isCall = true;
   way.asked = all.asked;
   way.keys = sorted( std::move( all.keys ), inOrderOfKeys );
   for( unsigned family = 0; family < all.rows.size(); ++family ) way.rows[ family ] = sorted( std::move( all.rows[ family ] ), inOrder );
   return true;
}

void PlanInWork::addSteps( const Way & way ) {
   const PlanStep & step = way.step;
   if( way.isAlways ) content_.always.put( step.seqno, step );
   for( const MatchKey & key : way.keys ) {
      const auto * const found = keysLike( key ).findMember( key.value );
      keyIs( key, found ? found->second.with( step ) : PlanSteps( step ) );
   }
   if( way.isListed() ) listedIs( step );
   if( way.asked ) askedIs( way.asked, stepsOf( way.asked ), stepsOf( way.asked ).with( step ) );
   if( way.isCall ) content_.calls.put( step.seqno, step );
}

void PlanInWork::removeSteps( const Way & way ) {
   const uint32_t seqno = way.step.seqno;
   if( way.isAlways ) content_.always.erase( seqno );
   for( const MatchKey & key : way.keys ) {
      const auto * const found = keysLike( key ).findMember( key.value );
      QUOIN_ASSERT( found, "the keys of a matcher have changed" );
      keyIs( key, found->second.without( seqno ) );
   }
   if( way.isListed() ) content_.undecided -= !content_.listed.extract( seqno ).member->second.isVerdict();
   if( way.asked ) askedIs( way.asked, stepsOf( way.asked ), stepsOf( way.asked ).without( seqno ) );
   if( way.isCall ) content_.calls.erase( seqno );
}

void PlanInWork::keyIs( const MatchKey & key, const PlanSteps & steps ) {
   auto & keys = keysLike( key );
   if( steps.all().empty() )
      keys.extract( key.value );
   else if( auto * const own = keys.own( key.value ) )
      own->second = steps;
   else
      keys.insert( { key.value, steps } );
}

void PlanInWork::listedIs( const PlanStep & step ) {
   content_.undecided += !step.isVerdict();
   if( auto * const own = content_.listed.own( step.seqno ) )
      content_.undecided -= !std::exchange( own->second, step ).isVerdict();
   else
      content_.listed.insert( { step.seqno, step } );
}

// Large lists are few.
PlanSteps PlanInWork::stepsOf( const RouteMap::PrefixListRows * rows ) const {
   for( const auto & [ seqno, asked ] : content_.asked )
      if( asked.rows == rows ) return asked.steps;
   return {};
}

void PlanInWork::askedIs( const RouteMap::PrefixListRows * rows, const PlanSteps & before, const PlanSteps & after ) {
   if( !before.all().empty() ) content_.asked.erase( before.all().front().seqno );
   if( !after.all().empty() ) content_.asked.put( after.all().front().seqno, { rows, after } );
}

PlanInWork::Editor & PlanInWork::editor( unsigned family ) {
   auto & editor = editors_[ family ];
   if( !editor ) editor = std::make_unique<Editor>( kFamilies[ family ] );
   return *editor;
}

void PlanInWork::rowsChange( unsigned family, const Rows & before, const Rows & after ) {
   Rows gone, come;
   std::ranges::set_difference( before, after, std::back_inserter( gone ), {}, inOrder, inOrder );
   std::ranges::set_difference( after, before, std::back_inserter( come ), {}, inOrder, inOrder );
   for( const Item & item : gone ) editor( family ).rowDel( item );
   for( const Item & item : come ) editor( family ).rowIs( item );
   rowCounts_[ family ] += come.size() - gone.size();
   rowsChanged_[ family ] |= !gone.empty() || !come.empty();
}

// ---- all sequences

// A late change of what the plan reads must be noticed.
void PlanInWork::seal( const RouteMapSeqStatus & seq, Callees & callees ) const {
   seq.seal().close();
   if( const auto * const callee = seq.subRouteMapRawPtr() ) {
      callee->seal().close();
      callees.push_back( callee );
   }
}

// In the order in which look-ups will visit it, and without a copy for each sequence of a key.
void PlanInWork::build( const RouteMapPlan::Sequences & sequences, Callees & callees ) {
   std::array<Rows, 2> rows;
   std::map<decltype( inOrderOfKeys( {} ) ), std::vector<PlanStep>> keyed;
   std::map<const RouteMap::PrefixListRows *, std::vector<PlanStep>> asked;
   for( const auto & [ seqno, seq ] : sequences ) {
      seal( *seq, callees );
      const Way way = wayTo( *seq );
      if( way.isAlways ) content_.always.put( seqno, way.step );
      for( const MatchKey & key : way.keys ) keyed[ inOrderOfKeys( key ) ].push_back( way.step );
      if( way.isListed() ) listedIs( way.step );
      if( way.asked ) asked[ way.asked ].push_back( way.step );
      if( way.isCall ) content_.calls.put( seqno, way.step );
      for( unsigned family = 0; family < rows.size(); ++family )
         rows[ family ].insert( rows[ family ].end(), way.rows[ family ].begin(), way.rows[ family ].end() );
   }
   for( auto & [ key, steps ] : keyed ) keyIs( { std::get<1>( key ), std::get<0>( key ) }, PlanSteps( std::move( steps ) ) );
   for( auto & [ list, steps ] : asked ) askedIs( list, {}, PlanSteps( std::move( steps ) ) );
   for( unsigned family = 0; family < rows.size(); ++family ) {
      const Rows & all = rows[ family ];
      if( all.empty() ) continue;
      std::ranges::sort( rows[ family ], {}, inOrder );
      editor( family ).rowsAre( all.size(), [ & ]( size_t i ) { return all[ i ]; } );
      rowCounts_[ family ] = all.size();
      rowsChanged_[ family ] = true;
   }
   content_.sequences = sequences;
}

bool PlanInWork::edit( const RouteMapPlan::Sequences & sequences, Callees & callees ) {
   constexpr size_t kMany = 1000;   // a new plan costs less: an edit copies the steps of a key
   std::vector<Change> changes;
   size_t clones = 0;
   RouteMapPlan::Sequences::differences( content_.sequences, sequences, [ & ]( const Member * before, const Member * after ) {
      changes.push_back( { before, after, before && after && arePlannedAlike( *before->second, *after->second ) } );
      clones += changes.back().isClone;
   } );
   const bool renewsAll = 4 * clones > sequences.count();   // as after an edit of the configuration
   if( changes.size() - ( renewsAll ? clones : 0 ) > kMany ) return false;
   for( const Change & change : changes ) {
      if( change.after ) seal( *change.after->second, callees );
      if( !( renewsAll && change.isClone ) ) apply( change );
   }
   content_.sequences = sequences;
   if( renewsAll ) renewSteps();
   return true;
}

void PlanInWork::apply( const Change & change ) {
   const Way old = change.before ? wayTo( *change.before->second ) : Way();
   const Way now = change.after ? wayTo( *change.after->second ) : Way();
   for( unsigned family = 0; family < old.rows.size(); ++family ) rowsChange( family, old.rows[ family ], now.rows[ family ] );
   if( change.before && !( change.after && old.isLike( now ) ) ) removeSteps( old );
   if( change.after ) addSteps( now );
}

// Gives each step the present object of its sequence.
void PlanInWork::renewSteps() {
   const auto renewed = [ this ]( PlanStep step ) {
      step.seq = content_.sequences.find( step.seqno )->get();
      return step;
   };
   const auto allRenewed = [ & ]( const PlanSteps & steps ) {
      if( steps.all().size() == 1 ) return PlanSteps( renewed( steps.front() ) );
      std::vector<PlanStep> now( steps.all().begin(), steps.all().end() );
      std::ranges::transform( now, now.begin(), renewed );
      return PlanSteps( std::move( now ) );
   };
   // Each loop visits a copy.
   for( auto * const steps : { &content_.always, &content_.calls } )
      for( const auto & [ seqno, step ] : Plinth::TreeMap( *steps ) ) steps->put( seqno, renewed( step ) );
   for( auto & keys : content_.keys )
      for( const auto & [ value, steps ] : Plinth::HashTrie( keys ) ) keys.own( value )->second = allRenewed( steps );
   for( const auto & [ seqno, step ] : Plinth::HashTrie( content_.listed ) ) content_.listed.own( seqno )->second = renewed( step );
   for( const auto & [ seqno, asked ] : Plinth::TreeMap( content_.asked ) )
      content_.asked.put( seqno, { asked.rows, allRenewed( asked.steps ) } );
}

const RouteMapPlan::Content & PlanInWork::content() {
   for( unsigned family = 0; family < editors_.size(); ++family )
      if( std::exchange( rowsChanged_[ family ], false ) )
         content_.rows[ family ] = rowCounts_[ family ] ? editors_[ family ]->publish() : nullptr;
   return content_;
}

// ---- plans

Quoin::Ptr<const RouteMapPlan> RouteMapPlanner::plan( const RouteMapPlan::Sequences & sequences,
                                                      const Quoin::Ptr<const RouteMapPlan> & base, PlanInWork::Callees & callees ) {
   const uint64_t seals = Quoin::Seal::broken();
   auto work = base && base->isCurrent() ? base->planner_->take() : nullptr;
   if( !work || !work->edit( sequences, callees ) ) {
      work = std::make_unique<PlanInWork>();
      work->build( sequences, callees );
   }
   const RouteMapPlan::Content & content = work->content();
   return Quoin::makeNode<RouteMapPlan>( content, Quoin::makeNode<RouteMapPlanner>( std::move( work ) ), seals );
}

}   // namespace Routing::Policy
