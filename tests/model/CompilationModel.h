/// @file tests/model/CompilationModel.h
/// Random edit programs on a whole configuration, and what must have come of one when all has settled, said by the raw configuration alone.
///
///    CompilationModel::Program program( seed );
///    program.run( 150 );          // settles and checks now and then, and at the end
///    program.checkNothingIsLeft();
///
/// A seed says everything that a program does. Some programs yield at every point, some edit inside the notifications that they get.
/// Access lists come from their configuration, whose slices are steps of the program: what they have shown is held against the steps.
/// What is left out: edits whose outcome is a matter of history, such as which call of a cycle is refused.
#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "compile/AclConfigSm.h"
#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"
#include "compile/RouteMapLoopDetect.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/Policy.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/TagSetMatcher.h"
#include "substrate/routemap/PrefixListProducer.h"
#include "substrate/routemap/TagSetProducer.h"
#include "tests/compile/AclFixtures.h"
#include "tests/compile/Fixtures.h"
#include "tests/model/AccessListModel.h"
#include "tests/model/EvaluationTwin.h"
#include "tests/policy/ListFixtures.h"

namespace CompilationModel {

using namespace Routing::RouteMap;
using namespace Routing::Policy;
using EvaluationModel::Route;
using Quoin::makeNode;
using Quoin::Ptr;

constexpr unsigned kMaps = 6;
constexpr unsigned kLists = 3;   // of each kind
constexpr uint32_t kSeqnos[] = { 10, 20, 30, 40, 50 };

inline Quoin::String mapName( unsigned i ) {
   return Quoin::String( "RM" + std::to_string( i ) );
}
inline Quoin::String listName( const char * stem, unsigned i ) {
   return Quoin::String( stem + std::to_string( i ) );
}

// ---- lists

/// Access lists that come from their configuration, and what their symbols must show of them.
class AccessLists {
 public:
   using Status = IpAccessListStatus;
   using Statuses = std::vector<Ptr<const Status>>;
   using VersionTwin = AccessListTwins::VersionTwin;
   using Rules = AccessListTwins::Rules;

   AccessLists( std::mt19937 & random, const Ptr<const IpAccessListSymbolDedupTable> & table ) : random_( random ), table_( table ) {
      static constexpr const char * kNames[] = { "AL0", "AL1", "AL2" };
      static_assert( std::size( kNames ) == kLists );
      for( unsigned i = 0; i < kLists; ++i ) lists_[ i ].twin.name = kNames[ i ];
   }

   bool started() const { return machine_ != nullptr; }
   void start() {
      machine_ = Zeugma::makeSm<AclConfigSm>( config_, table_, clock_ );
      for( unsigned i = 0; i < kLists; ++i ) {
         auto & list = lists_[ i ].twin;
         if( !list.real ) continue;
         made( i );
         list.changed();
      }
   }

   // ---- steps. `time` is that of the program, and goes up; it is 0 inside a notification, where those who hear of a deletion later find
   // what came within it.

   /// Some edit of one list, or of all at once.
   void edit( unsigned i, unsigned time ) {
      auto & list = lists_[ i ];
      list.time = time;
      if( chance( 24 ) ) return typeGoesOrComes();
      if( chance( 24 ) ) return editOfOthers();
      if( !list.twin.real ) {
         if( !type() ) config_->aclTypeIs( Acl::AclType::ipv4 );
         list.twin.real = type()->aclIs( list.twin.name );
         if( machine_ ) made( i );
         if( chance( 6 ) ) return;
      }
      switch( pick( 12 ) ) {
         case 0: return del( i );
         case 1:
         case 2: return versionIs( i, newVersion() );
         case 3: return versionIs( i, versions_.empty() || chance( 6 ) ? nullptr : versions_[ pick( unsigned( versions_.size() ) ) ] );
         case 4:
            if( list.twin.version && chance( 2 ) ) empty( *list.twin.version );
            return;
         default:
            if( !list.twin.version )
               versionIs( i, newVersion() );
            else
               write( *list.twin.version );
      }
   }
   /// An edit of what a list has.
   void editRules( unsigned i ) {
      if( lists_[ i ].twin.version ) write( *lists_[ i ].twin.version );
   }
   /// A turn of the clock: a slice of each list that is being compiled.
   void slice() {
      uint32_t before[ kLists ];
      for( unsigned i = 0; i < kLists; ++i ) {
         before[ i ] = lists_[ i ].twin.published;
         lists_[ i ].twin.slice();
      }
      slicing_ = true;
      clock_->callDue();
      slicing_ = false;
      for( unsigned i = 0; i < kLists; ++i )
         if( lists_[ i ].twin.published != before[ i ] ) told( i );
   }
   void slicesToTheEnd() {
      for( int turns = 0; !idle(); ++turns ) {
         ASSERT_LT( turns, 1000 );
         slice();
      }
   }
   /// A version behind which nothing has changed: but who has not heard of an empty list does now.
   void tell( unsigned i ) {
      ++lists_[ i ].twin.published;
      symbol( i )->notifier()->versionInc( 1 );
      told( i );
   }
   /// The list goes: whoever hears of it may make it again.
   void del( unsigned i ) {
      lists_[ i ].twin.gone();
      if( machine_ ) {
         lists_[ i ].twin.undefined();
         lists_[ i ].held = false;
         lists_[ i ].sinceTold = { nullptr };
      }
      type()->aclDel( lists_[ i ].twin.name );
   }

   // ---- what there is

   bool idle() const { return CompileFixtures::nothingDue( *clock_ ); }
   bool slicing() const { return slicing_; }
   const AccessListTwins::ListTwin & twin( unsigned i ) const { return lists_[ i ].twin; }
   Ptr<IpAccessListSymbol> symbol( unsigned i ) const { return table_->symbol( lists_[ i ].twin.name ); }
   /// Whether its symbol is in use for the list's own sake.
   bool holds( unsigned i ) const { return lists_[ i ].held; }
   /// Whether the status of its symbol is the one of the last version.
   bool isTold( unsigned i ) const { return lists_[ i ].sinceTold.size() == 1; }
   /// Its symbol's version has moved: those who follow it take what it shows.
   void told( unsigned i ) {
      record( i );
      lists_[ i ].sinceTold = { symbol( i )->status() };
   }

   /// What a matcher may hold whose clause was last built at `built` or before, when all know what they were told.
   bool mayBeSeen( unsigned i, const Ptr<const Status> & status, unsigned built ) const {
      const auto & list = lists_[ i ];
      if( built < list.untoldAt ) return status == list.sinceTold.front();
      return std::ranges::count( list.sinceTold, status ) != 0;
   }
   /// The rules of a whole list that its symbol has shown; null for a status of no such list.
   const Rules * rulesOf( const Ptr<const Status> & status ) const {
      const auto found = shown_.find( status.get() );
      return found == shown_.end() ? nullptr : &found->second.rules;
   }

   /// What holds after every step.
   void check( const Ferule::IpGenPrefix & asked ) const {
      const auto * typeSm = machine_ ? machine_->ipConfigSm().find( Acl::AclType::ipv4 ) : nullptr;
      ASSERT_EQ( typeSm != nullptr, machine_ && type() );
      size_t held = 0, configured = 0;
      for( unsigned i = 0; i < kLists; ++i ) {
         const auto & list = lists_[ i ];
         SCOPED_TRACE( list.twin.name );
         held += list.held;
         configured += list.twin.real != nullptr;
         const auto status = symbol( i )->status();
         ASSERT_EQ( status, list.sinceTold.back() );
         ASSERT_EQ( status != nullptr, list.twin.shown.has_value() );
         if( status ) checkShown( status, *list.twin.shown, asked );
         if( list.twin.symbol ) { ASSERT_EQ( list.twin.symbol->notifierVersion(), list.twin.published ); }
         const auto sm = machineOf( i );
         ASSERT_EQ( sm != nullptr, machine_ && list.twin.real );
         if( !sm ) continue;
         ASSERT_EQ( sm->bookmark(), list.twin.bookmark );
         ASSERT_EQ( sm->newTrie() != nullptr, list.twin.compiling );
      }
      if( !machine_ ) return;
      EXPECT_EQ( machine_->ipAclSymbolTable()->symbol().count(), held );
      EXPECT_EQ( machine_->ipConfigSm().count(), typeSm ? 1u : 0u );
      if( typeSm ) { EXPECT_EQ( ( *typeSm )->ipAccessListConfigSm().count(), configured ); }
      EXPECT_EQ( idle(), std::ranges::none_of( lists_, []( const List & list ) { return list.twin.compiling; } ) );
   }

   /// Nobody holds what was shown and is not any more: its rules need not be known.
   void forget() {
      std::erase_if( shown_, []( const auto & row ) { return row.second.status->useCount() == 1; } );
   }

   // ---- the two ends

   /// Holds the symbols, and counts their versions; `hear` is called at each of them.
   void watch( const std::function<void( unsigned i )> & hear ) {
      for( unsigned i = 0; i < kLists; ++i ) {
         lists_[ i ].twin.symbol = symbol( i );
         lists_[ i ].reaction =
            std::make_unique<CompileFixtures::Reaction>( *lists_[ i ].twin.symbol->notifier(), [ this, i, hear ]( const Quoin::Change & ) {
               told( i );
               hear( i );
            } );
      }
   }
   void drop() {
      if( !machine_ ) return;
      if( chance( 2 ) ) {
         for( unsigned i = 0; i < kLists; ++i )
            if( lists_[ i ].twin.real && chance( 2 ) ) del( i );
         config_->aclTypeDelAll();
         EXPECT_TRUE( idle() );
         EXPECT_TRUE( machine_->ipConfigSm().empty() );
      }
      machine_ = nullptr;
      EXPECT_TRUE( idle() );
   }
   void checkNothingIsLeft() {
      for( auto & list : lists_ ) list = {};
      shown_.clear();
      config_->aclTypeDelAll();
      for( const auto & version : versions_ ) EXPECT_EQ( version->real->useCount(), 1u );
      EXPECT_EQ( clock_->useCount(), 1u );
      EXPECT_EQ( config_->useCount(), 1u );
   }

   // ---- for programs that make one change at a time

   Ptr<Acl::Input::AclTypeConfig> type() const { return config_->aclType( Acl::AclType::ipv4 ); }
   void typeGoesOrComes() {
      if( !type() ) return static_cast<void>( config_->aclTypeIs( Acl::AclType::ipv4 ) );
      for( auto & list : lists_ ) list.twin.gone();
      config_->aclTypeDel( Acl::AclType::ipv4 );   // symbols keep what they have
      if( chance( 2 ) ) config_->aclTypeIs( Acl::AclType::ipv4 );
   }
   void makeEmpty( unsigned i, unsigned time ) {
      lists_[ i ].time = time;
      if( !type() ) config_->aclTypeIs( Acl::AclType::ipv4 );
      lists_[ i ].twin.real = type()->aclIs( lists_[ i ].twin.name );
      made( i );
   }

 private:
   struct List {
      AccessListTwins::ListTwin twin;   // its symbol is null unless it is watched
      bool held = false;                // its symbol, by the table of those that are configured
      Statuses sinceTold{ nullptr };    // that of the last version, and what its symbol has shown since
      unsigned time = 0;                // of its last edit
      unsigned untoldAt = 0;            // when it first showed something without a word
      std::unique_ptr<CompileFixtures::Reaction> reaction;
   };
   struct Shown {
      Ptr<const Status> status;
      Rules rules;
   };

   unsigned pick( unsigned n ) { return static_cast<unsigned>( random_() % n ); }
   bool chance( unsigned oneIn ) { return pick( oneIn ) == 0; }

   Ptr<IpAclConfigSm> machineOf( unsigned i ) const {
      const auto * typeSm = machine_ ? machine_->ipConfigSm().find( Acl::AclType::ipv4 ) : nullptr;
      const auto * sm = typeSm ? ( *typeSm )->ipAccessListConfigSm().find( lists_[ i ].twin.name ) : nullptr;
      return sm ? *sm : nullptr;
   }

   // The empty list, of which nobody is told.
   void made( unsigned i ) {
      auto & list = lists_[ i ];
      list.twin.made();
      list.held = true;
      record( i );
      if( list.sinceTold.size() == 1 ) list.untoldAt = list.time;
      list.sinceTold.push_back( symbol( i )->status() );
      list.twin.oneRuleEach = chance( 2 );
      const auto sm = machineOf( i );
      ASSERT_TRUE( sm );
      if( list.twin.oneRuleEach ) sm->clockQuantumIs( IpAclConfigSm::Seconds( 0 ) );
   }
   // What a symbol shows is a whole list, whatever has been edited while it was compiled.
   void record( unsigned i ) {
      const auto & list = lists_[ i ].twin;
      const auto status = symbol( i )->status();
      ASSERT_EQ( status != nullptr, list.shown.has_value() ) << list.name;
      if( !status ) return;
      EXPECT_TRUE( std::ranges::equal( AccessListTwins::rulesIn( *status ), *list.shown, AccessListTwins::sameRule ) )
         << testing::PrintToString( CompileFixtures::rulesOf( status ) );
      shown_.insert_or_assign( status.get(), Shown{ status, *list.shown } );
   }
   static void checkShown( const Ptr<const Status> & status, const Rules & rules, const Ferule::IpGenPrefix & asked ) {
      EXPECT_EQ( CompileFixtures::listPermits( status, asked ), ( AccessListModel{ Ferule::AddressFamily::ipv4, rules }.match( asked ) ) )
         << asked << " " << testing::PrintToString( CompileFixtures::rulesOf( status ) );
   }

   std::shared_ptr<VersionTwin> newVersion() {
      versions_.push_back( std::make_shared<VersionTwin>( Ferule::AddressFamily::ipv4 ) );
      const auto version = versions_.back();
      for( uint32_t seqno = 1; seqno <= 3; ++seqno )
         if( !chance( 3 ) ) {
            version->ruleIs( CompileFixtures::ruleIdOf( seqno ), anyRule() );
            version->sequenceIs( seqno, CompileFixtures::ruleIdOf( seqno ) );
         }
      return version;
   }
   const AclPrefixEntry & anyRule() {
      static const std::vector<AclPrefixEntry> rules = [] {
         const char * const sources[] = { "10.0.0.0/8",  "10.1.0.0 255.255.0.0", "0.0.0.0/0",         "10.0.2.0 255.0.255.0",
                                          "10.1.2.3/16", "1.2.3.4 0.0.0.0",      "0.1.0.0 0.255.0.0", "192.0.2.0/24" };
         std::vector<AclPrefixEntry> all;
         for( const char * action : { "permit ", "permit ", "deny " } )
            for( const char * source : sources ) all.push_back( ListFixtures::accessListRule( std::string( "0 " ) + action + source ) );
         return all;
      }();
      return rules[ pick( unsigned( rules.size() ) ) ];
   }
   void changed( const VersionTwin & version ) {
      if( !machine_ ) return;
      for( auto & list : lists_ )
         if( list.twin.version.get() == &version ) list.twin.changed();
   }
   // A rule is changed in place, comes, goes, or moves.
   void write( VersionTwin & version ) {
      const uint32_t seqno = 1 + pick( 4 ), id = CompileFixtures::ruleIdOf( chance( 6 ) ? 1 + pick( 4 ) : seqno );
      bool changes = false;
      switch( pick( 8 ) ) {
         case 0: changes = version.sequenceDel( seqno ); break;
         case 1: changes = version.ruleDel( id ); break;
         case 2: changes = version.sequenceIs( seqno, id ); break;
         default:
            if( version.ruleIs( id, anyRule() ) ) changed( version );
            changes = version.sequenceIs( seqno, id );
      }
      if( changes ) changed( version );
   }
   // All at once: what is under way goes on with what there is left.
   void empty( VersionTwin & version ) {
      version.rules.clear();
      version.real->ipRuleDelAll();
      if( chance( 4 ) ) return;   // every number stands for a rule that is missing
      version.sequences.clear();
      version.real->ruleBySequenceDelAll();
   }
   void versionIs( unsigned i, std::shared_ptr<VersionTwin> version ) {
      auto & list = lists_[ i ].twin;
      const bool changes = list.version != version;
      list.version = std::move( version );
      list.real->currVersionIs( list.version ? list.version->real : nullptr );
      if( changes && machine_ ) list.changed();
   }
   // Of those, nothing is compiled.
   void editOfOthers() {
      const auto version = versions_.empty() ? newVersion() : versions_.front();
      if( chance( 2 ) )
         config_->aclTypeIs( Acl::AclType::ipv6 )->aclIs( lists_[ 0 ].twin.name )->currVersionIs( version->real );
      else if( chance( 2 ) )
         config_->aclTypeDel( Acl::AclType::ipv6 );
      else if( !type() )
         return;
      else if( chance( 2 ) )
         type()->aclIs( IpAclTypeConfigSm::kControlPlaneAcl )->currVersionIs( version->real );
      else
         type()->aclDel( IpAclTypeConfigSm::kControlPlaneAcl );
   }

   std::mt19937 & random_;
   Ptr<const IpAccessListSymbolDedupTable> table_;
   Ptr<Acl::Input::Config> config_ = makeNode<Acl::Input::Config>();
   Ptr<Plinth::ManualClock> clock_ = makeNode<Plinth::ManualClock>();
   std::vector<std::shared_ptr<VersionTwin>> versions_;
   List lists_[ kLists ];
   std::map<const Status *, Shown> shown_;
   Ptr<AclConfigSm> machine_;
   bool slicing_ = false;
};

inline EvaluationModel::Prefix modelOf( const Ferule::IpGenPrefix & prefix ) {
   const bool isV4 = prefix.af() == Ferule::AddressFamily::ipv4;
   const auto bits = prefix.ipGenAddr().bits();
   std::string text;
   for( unsigned i = 0; i < ( isV4 ? 32u : 128u ); ++i ) text += ( ( i < 64 ? bits.high : bits.low ) >> ( 63 - i % 64 ) & 1 ) ? '1' : '0';
   return { { isV4 ? 4u : 6u, text }, prefix.length() };
}

// ---- routes

/// Routes that the clauses of the programs tell apart.
inline const std::vector<Route> & sampleRoutes() {
   static const std::vector<Route> routes = [] {
      const char * const prefixes[] = { "10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "192.0.2.0/24", "2001:db8::/32", "2001:db8:1::/48" };
      constexpr uint32_t kProtocols[] = { 1, 24, 31, 10, 4, 9, 15, 49, 52, 20, 5, 25 };
      std::vector<Route> all;
      for( unsigned i = 0; i < 24; ++i ) {
         Route route;
         route.prefix = modelOf( Ferule::IpGenPrefix( prefixes[ i % 6 ] ) );
         route.protocol = kProtocols[ i % 12 ];
         route.tag = i % 4;
         route.ospfInstance = i / 4 % 3;
         route.isisInstance = i / 8 % 3;
         all.push_back( route );
      }
      return all;
   }();
   return routes;
}

/// Their prefixes.
inline const std::vector<Ferule::IpGenPrefix> & samplePrefixes() {
   static const std::vector<Ferule::IpGenPrefix> prefixes = [] {
      std::vector<Ferule::IpGenPrefix> all;
      for( const Route & route : sampleRoutes() ) all.push_back( *EvaluationModel::twinOf( route ).getPrefixPointer() );
      return all;
   }();
   return prefixes;
}

/// What a route map makes of a route.
struct Verdict {
   bool permitted = false;
   unsigned preference = 0;
   friend bool operator==( const Verdict &, const Verdict & ) = default;
   friend std::ostream & operator<<( std::ostream & os, const Verdict & v ) {
      return os << ( v.permitted ? "permitted, preference " : "denied, preference " ) << v.preference;
   }
};

constexpr Routing::RoutePreference kPreferenceBefore = 7;

inline Verdict verdictOf( const RouteMapStatus & status, const MatchInput_ & input ) {
   const PolicyEval eval;
   MatchedRouteMapSequences matched;
   Result_ result;
   result.preferenceIs( kPreferenceBefore );
   const bool permitted = eval.evalRouteMapMatchers( &input, &status, &matched );
   if( permitted ) eval.applyPolicySetters( &matched, &result );
   return { permitted, result.preference() };
}

// ---- statuses as text

inline const Quoin::Node * listOf( const Matcher & matcher ) {
   if( const auto * m = dynamic_cast<const PrefixListMatcher *>( &matcher ) ) return m->status().get();
   if( const auto * m = dynamic_cast<const IpAccessListMatcher *>( &matcher ) ) return m->status().get();
   if( const auto * m = dynamic_cast<const TagSetMatcher *>( &matcher ) ) return m->status().get();
   return nullptr;
}

// A map without sequences says that nothing is undefined when it was born so, and that everything is when it was emptied. Who calls one
// inherits that.
inline bool saysByItsHistory( const RouteMapStatus & status ) {
   if( status.seqStatus().empty() ) return true;
   for( const auto & [ seqno, seq ] : status.seqStatus() )
      if( seq->subRouteMap() && saysByItsHistory( *seq->subRouteMap() ) ) return true;
   return false;
}

/// One route map in one line; called maps by name and text.
inline std::string textOf( const RouteMapStatus * status ) {
   if( !status ) return "undefined";
   std::ostringstream os;
   os << status->name() << "<" << status->features() << ";"
      << ( saysByItsHistory( *status ) ? "history" : std::to_string( status->undefinedReferences().value ) ) << ">[";
   for( const auto & [ seqno, seq ] : status->seqStatus() ) {
      os << " " << seqno << " " << seq->matchAction();
      for( const auto & [ option, matcher ] : seq->matcher() ) {
         os << " " << option << "=" << matcher->toStrep();
         if( const auto * list = dynamic_cast<const PrefixListMatcher *>( matcher.get() ) ) os << ( list->invertResult() ? "!" : "" );
      }
      for( const auto & [ option, setter ] : seq->setter() ) os << " " << option << "=" << setter->toStrep();
      if( seq->subRouteMap() ) os << " call" << ( seq->subInvert() ? "!" : "" ) << " " << textOf( seq->subRouteMap().get() );
      if( seq->continueSeq() ) os << " ->" << seq->continueSeq()->seqno();
   }
   os << " ]";
   return os.str();
}

// ---- an agent

/// A configuration with its machine, and the lists of one root.
struct Agent {
   Ptr<Config> config;
   Ptr<Config> filtered = makeNode<Config>();
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<MatchAggregateRoleUsers> aggregateUsers;   // may be null
   Ptr<RouteMapConfigSm> machine;
   explicit Agent( Ptr<Config> c ) : config( std::move( c ) ) {}
   void start() {
      machine = routeMapConfigSmFactory( config, filtered, root, makeNode<CommonRmConfigFilterSmHelper>(),
                                         makeNode<CommonRmConfigSymbolSmHelper>( root ), scheduler, aggregateUsers );
   }
};

// ---- a program

/// What some programs do inside the notifications that they get: edit what there is, or let things come and go as well.
enum class Inside { nothing, changes, everything };

class Program {
 public:
   using OnPublished = std::function<void( unsigned map, const Ptr<const RouteMapStatus> & status )>;

   /// `onPublished` hears of every version of every map's symbol.
   explicit Program( unsigned seed, OnPublished onPublished = {}, Inside inside = Inside::changes )
         : random_( seed ), onPublished_( std::move( onPublished ) ) {
      watches_ = onPublished_ || !chance( 4 );
      inside_ = watches_ && chance( 3 ) ? inside : Inside::nothing;
      if( watches_ ) acls_.watch( [ this ]( unsigned i ) { heardList( i ); } );
      publishOneIn_ = chance( 3 ) ? 8 : 1;
      tasksOneIn_ = 1 + pick( 8 );
      slicesOneIn_ = 1 + pick( 6 );
      const unsigned listsStart = pick( 4 );   // before all that, before the maps, after them
      if( chance( 2 ) ) agent_.aggregateUsers = makeNode<MatchAggregateRoleUsers>();
      // The clock's budget would have a program depend on what else the machine does.
      const bool yields = chance( 2 );
      agent_.scheduler->budgetIs( [ this, yields ]( const Zeugma::Task & ) { return yields && chance( 2 ); } );
      if( listsStart < 2 ) acls_.start();
      if( chance( 2 ) ) {   // what stands before the machine comes
         for( int i = 0; i < 30; ++i ) edit();
         for( unsigned i = 0; i < kMaps; ++i ) raise( i );
      }
      if( chance( 2 ) ) agent_.filtered->routeMapIs( chance( 2 ) ? mapName( 0 ) : Quoin::String( "LEFT" ) )->mapEntryIs( 15 );
      if( watches_ ) watch();
      if( listsStart == 2 ) acls_.start();
      std::ranges::fill( waits_, true );
      agent_.start();
      if( listsStart == 3 ) acls_.start();
   }

   /// From now on, edit scopes open and close at random.
   void useScopes() { usesScopes_ = true; }

   void run( int edits ) {
      for( int i = 0; i < edits && !testing::Test::HasFailure(); ++i ) {
         if( usesScopes_ ) openOrCloseScope();
         edit();
         EXPECT_FALSE( copyHasCycle() );
         if( chance( 4 ) ) raise( pick( kMaps ) );
         if( chance( tasksOneIn_ ) ) agent_.scheduler->runOne();
         if( chance( slicesOneIn_ ) ) acls_.slice();
         checkStep();
         if( chance( 12 ) ) check();
      }
      check();
   }

   /// Lets all settle, and compares. Where something is wrong, the rest is not looked at.
   void check() {
      settle();
      checkStep();
      tellOfEmptyLists();
      acls_.forget();
      for( unsigned i = 0; i < kMaps && !testing::Test::HasFailure(); ++i ) {
         const auto m = map( i );
         SCOPED_TRACE( mapName( i ) );
         const auto symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
         EXPECT_TRUE( symbol->statusCurrent() );
         ASSERT_EQ( symbol->rmStatus() != nullptr, m != nullptr );
         if( m ) checkCompiled( i, *m, *symbol->rmStatus() );
         if( m ) checkMachines( *m );
      }
      if( !testing::Test::HasFailure() ) checkTables();
      if( !testing::Test::HasFailure() ) checkFreshCompile();
      if( !testing::Test::HasFailure() ) checkEvaluation();
      if( !testing::Test::HasFailure() ) checkCounts();
      hasSettled_ = inside_ == Inside::nothing;
   }

   /// Takes everything away, in one of several orders: then nobody holds anything any more.
   void checkNothingIsLeft() {
      settling_ = true;
      const bool machineFirst = chance( 3 );
      if( machineFirst ) {
         for( int i = 0; i < 10; ++i ) edit();   // it goes with work under way
         agent_.machine = nullptr;
         EXPECT_TRUE( agent_.scheduler->idle() );
      }
      const auto dropLists = [ this ] {
         for( auto & list : v4_ ) list.reset();
         for( auto & list : v6_ ) list.reset();
         acls_.drop();
         for( auto & list : sets_ ) list.reset();
      };
      const bool listsFirst = chance( 2 );
      if( listsFirst ) dropLists();
      agent_.scheduler->budgetIs( []( const Zeugma::Task & ) { return true; } );
      agent_.config->routeMapDelAll();
      if( const auto & machine = agent_.machine ) {
         const auto * task = machine->routeMapDeleteTask();
         size_t left = machine->pendingDelete().count();
         EXPECT_EQ( left, machine->routeMapConfigSymbolSm().count() );
         EXPECT_TRUE( machine->deferredCreates().empty() );
         const auto done = task->taskWorkCount() + left;
         while( agent_.scheduler->runOne() ) {
            const size_t now = machine->pendingDelete().count();
            EXPECT_LE( left - now, 1u );   // a run that must yield takes one
            left = now;
         }
         EXPECT_EQ( task->taskWorkCount(), done );
         EXPECT_EQ( task->taskWorkPending(), 0u );
      }
      dropLists();
      while( agent_.scheduler->runOne() ) {}
      if( const auto & machine = agent_.machine ) {
         EXPECT_TRUE( machine->routeMapConfigFilterSm().empty() );
         EXPECT_TRUE( machine->routeMapConfigSymbolSm().empty() );
         EXPECT_TRUE( machine->allRmSymbol()->symbol().empty() );
         EXPECT_TRUE( machine->rmConfigSymbolReactorColl()->reactor().empty() );
         EXPECT_TRUE( machine->filteredRmConfig()->routeMap().empty() );
         EXPECT_TRUE( machine->pendingDelete().empty() );
         EXPECT_TRUE( machine->deferredCreates().empty() );
         EXPECT_FALSE( machine->routeMapDeleteTask()->taskScheduled() );
      }
      EXPECT_TRUE( machineFirst || !agent_.aggregateUsers || agent_.aggregateUsers->mapName().empty() );
      for( auto & watched : watched_ ) {
         EXPECT_TRUE( !watched.symbol || machineFirst || !watched.symbol->rmStatus() );
         watched = {};
      }
      acls_.checkNothingIsLeft();
      const struct {
         const char * name;
         size_t count;
      } rows[] = { { "route maps", agent_.root->routeMapTable()->count() },
                   { "IPv4 prefix lists", agent_.root->ipv4PrefixListTable()->count() },
                   { "IPv6 prefix lists", agent_.root->ipv6PrefixListTable()->count() },
                   { "access lists", agent_.root->ipv4AclListTable()->count() },
                   { "tag sets", agent_.root->tagSetTable()->count() } };
      for( const auto & row : rows ) EXPECT_EQ( row.count, 0u ) << row.name;
      agent_.machine = nullptr;
      EXPECT_EQ( agent_.config.get()->useCount(), 1u );
      EXPECT_EQ( agent_.filtered.get()->useCount(), 1u );
      EXPECT_EQ( agent_.root.get()->useCount(), 1u );
      EXPECT_EQ( agent_.scheduler.get()->useCount(), 1u );
      EXPECT_TRUE( !agent_.aggregateUsers || agent_.aggregateUsers.get()->useCount() == 1 );
   }

   /// What there is, in one text, but for where it lies.
   std::string text() const {
      static const std::regex address( "0x[0-9a-f]+" );
      std::string out;
      for( unsigned i = 0; i < kMaps; ++i ) {
         const auto symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
         out += std::regex_replace( textOf( symbol->rmStatus().get() ), address, "list" ) + " after " +
            std::to_string( watched_[ i ].publications ) + "\n";
      }
      return out;
   }
   uint64_t publications() const {
      uint64_t all = 0;
      for( const auto & watched : watched_ ) all += watched.publications;
      return all;
   }

 private:
   struct Watched {
      Ptr<RouteMapSymbol> symbol;
      std::unique_ptr<Routing::Policy::CompileFixtures::Reaction> reaction;
      unsigned publications = 0;
      bool hadSequences = false;   // since it was born
      Ptr<const RouteMapStatus> last;
      std::string lastText;
   };

   unsigned pick( unsigned n ) { return static_cast<unsigned>( random_() % n ); }
   bool chance( unsigned oneIn ) { return pick( oneIn ) == 0; }
   Ptr<Map> map( unsigned i ) const { return agent_.config->routeMap( mapName( i ) ); }

   // ---- edits

   // The end of a batch. Versions go up, down, and now and then stay: then it is none.
   void raise( unsigned i ) {
      const auto m = map( i );
      if( !m ) return;
      const uint32_t now = m->version();
      const uint32_t next = chance( 8 ) ? now : chance( 6 ) && now > 2 ? now - 1 - pick( 2 ) : now + 1 + pick( 2 );
      if( next == now ) return;
      if( !touched_[ i ].empty() ) built_[ i ] = time_;
      const auto touched = std::exchange( touched_[ i ], {} );   // what is touched inside the write belongs to the next batch
      m->versionIs( next );
      if( blocked( i ) ) touched_[ i ].insert( touched.begin(), touched.end() );
   }

   // What is set and removed again within one batch keeps what was set; a batch ends before that, or it does not come to that.
   bool touch( unsigned i, uint32_t seqno, int what, bool removes ) {
      if( removes && touched_[ i ].contains( { seqno, what } ) ) raise( i );
      if( !removes ) touched_[ i ].insert( { seqno, what } );
      built_[ i ] = time_;
      return !removes || !touched_[ i ].contains( { seqno, what } );
   }

   void edit() {
      ++time_;
      const unsigned i = pick( kMaps );
      if( agent_.aggregateUsers && agent_.machine && chance( 8 ) && agent_.machine->allRmSymbol()->symbol( mapName( i ) ) )
         agent_.aggregateUsers->mapNameIs( mapName( i ) );   // as if it had matched on a role: it does not, and the next generation says so
      if( hearing_ && inside_ == Inside::changes ) return editChange( i );
      switch( pick( 24 ) ) {
         case 0:
         case 1:
         case 2: return editList();
         case 3:
            if( chance( 3 ) ) {
               touched_.erase( i );
               agent_.config->routeMapDel( mapName( i ) );
            }
            return;
         case 4:
            if( !chance( 12 ) ) return;
            touched_.clear();
            return agent_.config->routeMapDelAll();
         case 5: return agent_.config->routeMapOpModeIs( RouteMapOpModeType( pick( 3 ) ) );
         case 6:
            if( agent_.machine )
               if( const auto reactor = agent_.machine->rmConfigSymbolReactorColl()->reactor( mapName( i ) ) ) reactor->reevaluateInc( 1 );
            return;
         default: return editMap( i );
      }
   }

   // Nothing comes or goes.
   void editChange( unsigned i ) {
      const auto m = map( i );
      const uint32_t seqno = kSeqnos[ pick( std::size( kSeqnos ) ) ];
      if( chance( 8 ) ) return agent_.config->routeMapOpModeIs( RouteMapOpModeType( pick( 3 ) ) );
      if( chance( 8 ) && !acls_.slicing() ) return acls_.editRules( pick( kLists ) );
      if( m && m->mapEntry( seqno ) ) editEntry( i, m->mapEntry( seqno ) );
   }

   void editMap( unsigned i ) {
      const auto m = agent_.config->routeMapIs( mapName( i ) );
      const uint32_t seqno = kSeqnos[ pick( std::size( kSeqnos ) ) ];
      if( chance( 8 ) ) {
         // A blocked one that goes leaves its map deferred; which are, cannot be seen while the machine is being made.
         if( blocked( i, seqno ) || ( hearing_ && !agent_.machine ) ) return;
         std::erase_if( touched_[ i ], [ seqno ]( const auto & touched ) { return touched.first == seqno; } );
         m->mapEntryDel( seqno );
         return;
      }
      editEntry( i, m->mapEntryIs( seqno ) );
   }

   void editEntry( unsigned i, const Ptr<MapEntry> & entry ) {
      const uint32_t seqno = entry->seqno();
      switch( pick( 8 ) ) {
         case 0: return entry->permitIs( chance( 2 ) ? Acl::MatchPermit::permit : Acl::MatchPermit::deny );
         case 1: {
            const uint32_t distance = chance( 3 ) ? 0 : 1 + pick( 600 );
            if( touch( i, seqno, 1000, distance == 0 ) ) entry->distanceIs( distance );
            return;
         }
         case 2: {
            const bool on = chance( 2 ), flagsFirst = chance( 2 );
            const uint32_t flags = ( on ? uint32_t( MapEntry::continueSeqSet ) : 0 ) | pick( 2 );
            if( flagsFirst ) entry->setFlagsIs( flags );
            if( !chance( 4 ) ) entry->continueSeqIs( chance( 3 ) ? 0 : kSeqnos[ pick( std::size( kSeqnos ) ) ] );
            if( !flagsFirst ) entry->setFlagsIs( flags );
            return;
         }
         case 3:
         case 4: return entry->subRouteMapIs( { chance( 3 ) ? Quoin::String() : mapName( pick( kMaps ) ), chance( 2 ) } );
         case 5:
            if( chance( 3 ) ) return entry->descriptionDel( pick( 3 ) );
            return entry->descriptionIs( pick( 3 ), Quoin::String( "text " + std::to_string( pick( 3 ) ) ) );
         default: return editRule( i, entry );
      }
   }

   void editRule( unsigned i, const Ptr<MapEntry> & entry ) {
      static constexpr MatchOption kOptions[] = {
         MatchOption::matchIpAccessList, MatchOption::matchIpPrefixList, MatchOption::matchIpv6PrefixList,
         MatchOption::matchTagSet,       MatchOption::matchTag,          MatchOption::matchSourceProtocol,
         MatchOption::matchIsisInstance, MatchOption::matchOspfInstance, MatchOption( 77 )
      };
      // Lists more often than the rest: they have a life of their own.
      const MatchOption option = kOptions[ chance( 2 ) ? pick( 4 ) : pick( std::size( kOptions ) ) ];
      const bool removes = chance( 3 );
      if( !touch( i, entry->seqno(), int( option ), removes ) ) return;
      if( removes ) return entry->matchRuleDel( option );
      MatchRule rule;
      rule.option = option;
      rule.invertResult = chance( 2 );
      rule.numericValue = option == MatchOption::matchSourceProtocol ? 1 + pick( 9 ) : pick( 3 );
      rule.listName = listName( stemOf( option ), pick( kLists ) );
      entry->matchRuleIs( rule );
   }

   static const char * stemOf( MatchOption option ) {
      switch( option ) {
         case MatchOption::matchIpAccessList: return "AL";
         case MatchOption::matchIpv6PrefixList: return "P6";
         case MatchOption::matchTagSet: return "TS";
         default: return "PL";
      }
   }

   void editList() {
      const unsigned i = pick( kLists );
      switch( pick( 4 ) ) {
         case 0: return editPrefixList( v4_[ i ], agent_.root->ipv4PrefixListTable(), listName( "PL", i ), Ferule::AddressFamily::ipv4 );
         case 1: return editPrefixList( v6_[ i ], agent_.root->ipv6PrefixListTable(), listName( "P6", i ), Ferule::AddressFamily::ipv6 );
         case 2:
            if( acls_.slicing() ) return;   // what comes of it then depends on whose turn it is
            return chance( 10 ) ? acls_.tell( i ) : acls_.edit( i, hearing_ ? 0 : time_ );
         default:
            return editList( sets_[ i ], agent_.root->tagSetTable(), listName( "TS", i ), [ this ]( TagSetProducer & set ) {
               const Routing::RouteTag tag = pick( 4 );
               if( !set.tagDel( tag ) ) set.tagIs( tag );
            } );
      }
   }

   void editPrefixList( std::unique_ptr<PrefixListProducer> & list, const Ptr<PrefixListSymbolDedupTable> & table,
                        const Quoin::String & name, Ferule::AddressFamily af ) {
      const bool isV4 = af == Ferule::AddressFamily::ipv4;
      editList(
         list, table, name,
         [ this, isV4 ]( PrefixListProducer & producer ) {
            static const char * const kV4[] = { "10.0.0.0/8", "10.1.0.0/16", "0.0.0.0/0", "192.0.2.0/24" };
            static const char * const kV6[] = { "2001:db8::/32", "::/0", "2001:db8:1::/48", "2001:db8::/48" };
            const uint32_t seqno = 1 + pick( 4 ), which = pick( 4 );
            if( producer.entryDel( seqno ) ) return;
            PrefixListEntry entry{ seqno,
                                   chance( 3 ) ? Acl::MatchPermit::deny : Acl::MatchPermit::permit,
                                   Ferule::IpGenPrefix( isV4 ? kV4[ which ] : kV6[ which ] ),
                                   {},
                                   {} };
            if( chance( 2 ) ) entry.le = isV4 ? 32 : 128;
            EXPECT_FALSE( producer.entryIs( entry ) );
         },
         af );
   }

   template <class Producer, class Table, class Edit, class... Family>
   void editList( std::unique_ptr<Producer> & list, const Ptr<Table> & table, const Quoin::String & name, Edit edit, Family... family ) {
      if( chance( 10 ) ) {   // a version behind which nothing has changed
         if( const auto symbol = table->symbol( name ); symbol->statusCurrent() ) symbol->notifier()->versionInc( 1 );
         return;
      }
      if( list && chance( 6 ) ) return list.reset();
      if( !list ) list = std::make_unique<Producer>( table, name, family... );
      edit( *list );
      if( list && ( chance( publishOneIn_ ) || chance( 4 ) ) ) list->publish();   // else it is left under way
   }

   Ptr<RouteMapConfigFilterSm> filterOf( unsigned i ) const {
      const auto * sm = agent_.machine ? agent_.machine->routeMapConfigFilterSm().find( mapName( i ) ) : nullptr;
      return sm ? *sm : nullptr;
   }
   bool blocked( unsigned i, uint32_t seqno ) const {
      const auto sm = filterOf( i );
      return sm && sm->routeMapBlockedSequenceList()->sequence( seqno );
   }
   bool blocked( unsigned i ) const {
      const auto sm = filterOf( i );
      return sm && !sm->routeMapBlockedSequenceList()->sequence().empty();
   }

   // Whether calls close a cycle in what is compiled.
   bool copyHasCycle() const {
      std::set<std::string> done, path;
      std::function<bool( const std::string & )> walk = [ & ]( const std::string & name ) {
         if( path.contains( name ) ) return true;
         if( !done.insert( name ).second ) return false;
         path.insert( name );
         if( const auto m = agent_.filtered->routeMap( Quoin::String( name ) ) )
            for( const auto & [ seqno, entry ] : m->mapEntry() )
               if( !entry->subRouteMap().name.empty() && walk( std::string( entry->subRouteMap().name ) ) ) return true;
         path.erase( name );
         return false;
      };
      for( unsigned i = 0; i < kMaps; ++i )
         if( walk( std::string( mapName( i ) ) ) ) return true;
      return false;
   }

   // ---- edit scopes

   // At times one stands from a settled state to the next: then its end publishes each map once.
   void openOrCloseScope() {
      if( hasSettled_ && chance( 2 ) ) {
         ofWholeBatch_.emplace();
         for( unsigned i = 0; i < kMaps; ++i ) ( *ofWholeBatch_ )[ i ] = watched_[ i ].publications;
         scopes_.push_back( std::make_unique<ConfigEdit>( agent_.config ) );
      } else if( scopes_.size() < 3 && chance( 4 ) ) {
         scopes_.push_back( std::make_unique<ConfigEdit>( agent_.config ) );
      } else if( scopes_.size() > ( ofWholeBatch_ ? 1 : 0 ) && chance( 3 ) ) {
         scopes_.pop_back();
      }
      hasSettled_ = false;
   }
   // Runs all tasks; a map that was deleted and created again is published twice.
   void closeScopes() {
      std::array<unsigned, kMaps> most{};
      for( unsigned i = 0; i < kMaps; ++i ) most[ i ] = agent_.machine->pendingDelete().find( mapName( i ) ) ? 2 : 1;
      scopes_.clear();
      while( agent_.scheduler->runOne() ) {}
      if( !ofWholeBatch_ ) return;
      for( unsigned i = 0; i < kMaps; ++i ) EXPECT_LE( watched_[ i ].publications - ( *ofWholeBatch_ )[ i ], most[ i ] ) << mapName( i );
      ofWholeBatch_.reset();
   }

   // ---- what is published, when it is

   void watch() {
      for( unsigned i = 0; i < kMaps; ++i ) {
         watched_[ i ].symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
         watched_[ i ].reaction = std::make_unique<Routing::Policy::CompileFixtures::Reaction>(
            *watched_[ i ].symbol->notifier(), [ this, i ]( const Quoin::Change & ) { heard( i ); } );
      }
   }
   bool editsInside() const { return inside_ != Inside::nothing && !settling_ && !hearing_; }
   void heardList( unsigned i ) {
      if( editsInside() && inside_ == Inside::everything && acls_.started() && acls_.type() && !acls_.twin( i ).real && chance( 2 ) )
         acls_.makeEmpty( i, 0 );   // inside its deletion
      reactInside();
   }
   void reactInside() {
      if( !editsInside() ) return;
      hearing_ = true;
      for( unsigned n = pick( 3 ); n; --n ) edit();
      if( chance( 3 ) ) raise( pick( kMaps ) );
      hearing_ = false;
   }

   void heard( unsigned i ) {
      auto & watched = watched_[ i ];
      const auto status = watched.symbol->rmStatus();
      ++watched.publications;
      EXPECT_TRUE( scopes_.empty() ) << mapName( i ) << " was published while an edit scope is open";
      watched.hadSequences = status && ( watched.hadSequences || !status->seqStatus().empty() );
      EXPECT_TRUE( watched.symbol->statusCurrent() || hearing_ ) << mapName( i );
      if( agent_.aggregateUsers && ( watched.hadSequences || !status ) ) {
         EXPECT_FALSE( agent_.aggregateUsers->mapNameHas( mapName( i ) ) ) << mapName( i );
      }
      if( watched.last ) { EXPECT_EQ( textOf( watched.last.get() ), watched.lastText ) << "was changed behind its publication"; }
      watched.last = status;
      watched.lastText = textOf( status.get() );
      if( status ) checkPublished( *status );
      if( waits_[ i ] ) built_[ i ] = time_;
      if( status && inside_ == Inside::nothing ) checkAccessListMatchers( i, *status, true );
      if( onPublished_ ) onPublished_( i, status );
      reactInside();
   }

   // What holds of every generation.
   void checkPublished( const RouteMapStatus & status ) const {
      SCOPED_TRACE( textOf( &status ) );
      RouteMapFeatures features;
      for( const auto & [ seqno, seq ] : status.seqStatus() ) {
         EXPECT_EQ( seq->seqno(), seqno );
         features.updateFrom( seq->getFeatures() );
         if( const auto & next = seq->continueSeq() ) {
            EXPECT_GT( next->seqno(), seqno );
            EXPECT_EQ( next, status.seqStatus( next->seqno() ) ) << seqno;
         }
         if( inside_ != Inside::nothing ) continue;   // such an edit may come between a list and those who have not heard of it yet
         if( seq->subRouteMap() ) {
            const auto sub = agent_.root->routeMapTable()->symbol( seq->subRouteMap()->name() );
            EXPECT_EQ( seq->subRouteMap(), sub->rmStatus() ) << seqno;
            EXPECT_TRUE( sub->statusCurrent() ) << seqno;
         }
         for( const auto & [ option, matcher ] : seq->matcher() ) {
            if( const auto symbol = listSymbolOf( option, *matcher ) ) {
               EXPECT_TRUE( symbol->statusCurrent() || !listOf( *matcher ) ) << seqno << " " << option;
            }
         }
      }
      EXPECT_EQ( status.features(), features );
   }

   Ptr<const PolicySymbol> listSymbolOf( MatchOption option, const Matcher & matcher ) const {
      if( const auto * m = dynamic_cast<const PrefixListMatcher *>( &matcher ) )
         return ( option == MatchOption::matchIpPrefixList ? agent_.root->ipv4PrefixListTable() : agent_.root->ipv6PrefixListTable() )
            ->symbol( m->name() );
      if( const auto * m = dynamic_cast<const IpAccessListMatcher *>( &matcher ) )
         return agent_.root->ipv4AclListTable()->symbol( m->name() );
      if( const auto * m = dynamic_cast<const TagSetMatcher *>( &matcher ) ) return agent_.root->tagSetTable()->symbol( m->name() );
      return nullptr;
   }

   // ---- access lists, at every step

   void checkStep() {
      if( testing::Test::HasFailure() ) return;
      const auto & prefixes = samplePrefixes();
      acls_.check( prefixes[ pick( unsigned( prefixes.size() ) ) ] );
      const unsigned asked = pick( kMaps );
      const bool remade = !agent_.machine->pendingDelete().empty();   // what was deleted is compiled anew when that is done
      for( unsigned i = 0; i < kMaps; ++i ) {
         const auto symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
         const bool waits = remade || !symbol->rmStatus() || !touched_[ i ].empty() || !symbol->statusCurrent();
         if( std::exchange( waits_[ i ], waits ) || waits ) built_[ i ] = time_;
         if( const auto & status = symbol->rmStatus() ) {
            checkAccessListMatchers( i, *status, symbol->statusCurrent() );
            if( i == asked ) askAccessListMatchers( *status );
         }
      }
   }

   // A matcher holds what its symbol showed when it was built: the list of the last version that it was told of, or what it found since.
   void checkAccessListMatchers( unsigned i, const RouteMapStatus & status, bool current ) const {
      const auto m = map( i );
      for( const auto & [ seqno, seq ] : status.seqStatus() ) {
         const auto * found = seq->matcher().find( MatchOption::matchIpAccessList );
         if( !found ) continue;
         const auto & matcher = dynamic_cast<const IpAccessListMatcher &>( **found );
         EXPECT_TRUE( !matcher.status() || acls_.rulesOf( matcher.status() ) ) << mapName( i ) << " " << seqno;
         const auto entry = m ? m->mapEntry( seqno ) : nullptr;
         const auto * rule = entry ? entry->matchRule().find( MatchOption::matchIpAccessList ) : nullptr;
         if( !current || !rule || rule->listName != matcher.name() || isTouched( i, seqno, MatchOption::matchIpAccessList ) ) continue;
         const unsigned list = numberIn( rule->listName );
         EXPECT_TRUE( acls_.mayBeSeen( list, matcher.status(), built_[ i ] ) )
            << mapName( i ) << " " << seqno << " " << rule->listName << " "
            << testing::PrintToString( Routing::Policy::CompileFixtures::rulesOf( matcher.status() ) );
      }
   }
   bool isTouched( unsigned i, uint32_t seqno, MatchOption option ) const {
      const auto found = touched_.find( i );
      return found != touched_.end() && found->second.contains( { seqno, int( option ) } );
   }
   static unsigned numberIn( const Quoin::String & listName ) { return static_cast<unsigned>( std::string( listName ).back() - '0' ); }

   // Also of a list that is not the present one any more.
   void askAccessListMatchers( const RouteMapStatus & status ) {
      const Route & route = sampleRoutes()[ pick( unsigned( sampleRoutes().size() ) ) ];
      const auto input = EvaluationModel::twinOf( route );
      for( const auto & [ seqno, seq ] : status.seqStatus() ) {
         const auto * found = seq->matcher().find( MatchOption::matchIpAccessList );
         if( !found ) continue;
         const auto & matcher = dynamic_cast<const IpAccessListMatcher &>( **found );
         const auto * rules = matcher.status() ? acls_.rulesOf( matcher.status() ) : nullptr;
         EXPECT_EQ( matcher.matchForTest( input, nullptr ),
                    rules && ( AccessListModel{ Ferule::AddressFamily::ipv4, *rules }.match( *input.getPrefixPointer() ) ) )
            << EvaluationModel::describe( route ) << seqno;
      }
   }

   // An empty list of which nobody is told is seen by some, and by others not: then all are told.
   void tellOfEmptyLists() {
      settling_ = true;
      for( unsigned i = 0; i < kLists; ++i )
         if( !acls_.isTold( i ) ) acls_.tell( i );
      while( agent_.scheduler->runOne() ) {}
      settling_ = false;
   }

   // ---- when all has settled

   // Takes calls out until none closes a cycle: which of a cycle's calls is refused is a matter of history.
   void breakCycles() {
      for( bool found = true; found; ) {
         found = false;
         for( unsigned i = 0; i < kMaps; ++i ) {
            const auto m = map( i );
            if( !m ) continue;
            for( const auto & [ seqno, entry ] : m->mapEntry() ) {
               if( entry->subRouteMap().name.empty() ||
                   !RouteMapLoopDetect{ agent_.config }.hasLoops( m->name(), entry->subRouteMap().name ) )
                  continue;
               entry->subRouteMapIs( {} );
               found = true;
            }
         }
      }
   }

   void settle() {
      ++time_;
      settling_ = true;
      breakCycles();
      const auto publish = []( auto & lists ) {
         for( auto & list : lists )
            if( list && list->edited() ) list->publish();
      };
      publish( v4_ );
      publish( v6_ );
      if( !chance( 4 ) ) acls_.slicesToTheEnd();   // else maps settle on what the lists show
      publish( sets_ );
      for( unsigned i = 0; i < kMaps; ++i )
         if( const auto m = map( i ) ) {
            if( !touched_[ i ].empty() ) built_[ i ] = time_;
            m->versionIs( highestVersion_ += 1000 );   // none that was deferred once
            touched_.erase( i );
         }
      closeScopes();
      settling_ = false;
   }

   /// Where a configured sequence continues; 0 for nowhere.
   static uint32_t continueOf( const Map & m, const MapEntry & entry ) {
      if( !( entry.setFlags() & MapEntry::continueSeqSet ) ) return 0;
      const uint32_t target = entry.continueSeq();
      if( target != 0 ) return target > entry.seqno() && m.mapEntry( target ) ? target : 0;
      for( const auto & [ seqno, other ] : m.mapEntry() )
         if( seqno > entry.seqno() ) return seqno;
      return 0;
   }

   static bool isSupported( MatchOption option ) { return option != MatchOption( 77 ); }

   void checkCompiled( unsigned i, const Map & m, const RouteMapStatus & status ) const {
      size_t sequences = 0;
      uint8_t undefined = 0;
      for( const auto & [ seqno, entry ] : m.mapEntry() ) {
         ++sequences;
         SCOPED_TRACE( seqno );
         const auto seq = status.seqStatus( seqno );
         ASSERT_TRUE( seq );
         EXPECT_EQ( seq->matchAction(), entry->permit() );
         size_t matchers = 0;
         for( const auto & [ option, rule ] : entry->matchRule() ) {
            if( !isSupported( option ) ) continue;
            ++matchers;
            const auto * matcher = seq->matcher().find( option );
            ASSERT_TRUE( matcher ) << option;
            if( checkMatcher( option, rule, **matcher ) ) undefined |= UndefinedPolicyReferenceBitfield::prefixListUndefined;
         }
         EXPECT_EQ( seq->matcher().count(), matchers );
         EXPECT_EQ( seq->setter().count(), entry->distance() ? 1u : 0u );
         if( entry->distance() ) {
            const auto * setter = seq->setter().find( SetOption::setDistance );
            ASSERT_TRUE( setter );
            EXPECT_EQ( dynamic_cast<const DistanceSetter &>( **setter ).distance(), entry->distance() % 256 );
         }
         const auto & call = entry->subRouteMap();
         const auto sub = call.name.empty() ? nullptr : agent_.root->routeMapTable()->symbol( call.name )->rmStatus();
         EXPECT_EQ( seq->subRouteMap(), sub );
         EXPECT_EQ( seq->subInvert(), !call.name.empty() && call.invertResult );
         if( sub ) undefined = static_cast<uint8_t>( undefined | sub->undefinedReferences().value );
         if( !sub && !call.name.empty() ) undefined |= UndefinedPolicyReferenceBitfield::subRouteMapUndefined;
         EXPECT_EQ( seq->aggRoleAttrMap(), nullptr );
         const uint32_t target = continueOf( m, *entry );
         EXPECT_EQ( seq->continueSeq(), target ? status.seqStatus( target ) : nullptr );
      }
      EXPECT_EQ( status.seqStatus().count(), sequences );
      if( sequences == 0 && !watches_ ) return;
      if( sequences == 0 && watched_[ i ].hadSequences ) undefined = 255;
      EXPECT_EQ( unsigned( status.undefinedReferences().value ), undefined );
   }

   // Whether its list is an undefined one that is told of.
   bool checkMatcher( MatchOption option, const MatchRule & rule, const Matcher & matcher ) const {
      static constexpr uint32_t kProto[] = { 0, 1, 24, 31, 10, 4, 9, 15, 49, 52 };
      const auto number = static_cast<uint32_t>( rule.numericValue );
      switch( option ) {
         case MatchOption::matchIpPrefixList:
         case MatchOption::matchIpv6PrefixList: {
            const auto & m = dynamic_cast<const PrefixListMatcher &>( matcher );
            const auto & table =
               option == MatchOption::matchIpPrefixList ? agent_.root->ipv4PrefixListTable() : agent_.root->ipv6PrefixListTable();
            EXPECT_EQ( m.name(), rule.listName );
            EXPECT_EQ( m.invertResult(), rule.invertResult );
            EXPECT_EQ( m.status(), table->symbol( rule.listName )->status() ) << option << " " << rule.listName;
            return !m.status();
         }
         case MatchOption::matchIpAccessList: {
            const auto & m = dynamic_cast<const IpAccessListMatcher &>( matcher );
            EXPECT_EQ( m.name(), rule.listName );
            EXPECT_EQ( m.status(), agent_.root->ipv4AclListTable()->symbol( rule.listName )->status() ) << rule.listName;
            return false;
         }
         case MatchOption::matchTagSet: {
            const auto & m = dynamic_cast<const TagSetMatcher &>( matcher );
            EXPECT_EQ( m.name(), rule.listName );
            EXPECT_EQ( m.status(), agent_.root->tagSetTable()->symbol( rule.listName )->status() ) << rule.listName;
            return false;
         }
         case MatchOption::matchTag: return checkText( matcher, TagMatcher( number ) );
         case MatchOption::matchIsisInstance: return checkText( matcher, IsisInstanceMatcher( number ) );
         case MatchOption::matchOspfInstance: return checkText( matcher, OspfInstanceMatcher( number ) );
         case MatchOption::matchSourceProtocol: return checkText( matcher, SourceProtoMatcher( Routing::RouteProto( kProto[ number ] ) ) );
         default: ADD_FAILURE() << option;
      }
      return false;
   }
   static bool checkText( const Matcher & matcher, const Matcher & wanted ) {
      EXPECT_EQ( matcher.toStrep(), wanted.toStrep() );
      return false;
   }

   // Nothing waits in the machines of a map, and its filtered copy is one.
   void checkMachines( const Map & m ) const {
      const auto * sm = agent_.machine->routeMapConfigSymbolSm().find( m.name() );
      ASSERT_TRUE( sm );
      EXPECT_TRUE( ( *sm )->modifiedRmSeqStatusList()->seqStatus().empty() );
      EXPECT_TRUE( ( *sm )->rmConfigSymbolReactor()->pendingUpdate().empty() );
      EXPECT_FALSE( ( *sm )->hasModifiedSequence() );
      EXPECT_EQ( ( *sm )->seqConfigSm().count(), m.mapEntry().count() );
      for( const auto & [ seqno, seq ] : ( *sm )->seqConfigSm() ) {
         EXPECT_TRUE( seq->sequenceChangeSym()->matcherChangeSymbol().empty() ) << seqno;
         const auto entry = m.mapEntry( seqno );
         ASSERT_TRUE( entry ) << seqno;
         EXPECT_EQ( ( *sm )->targetSeqnoForOrigin( seqno ), continueOf( m, *entry ) ) << seqno;
      }
      const auto copy = agent_.filtered->routeMap( m.name() );
      ASSERT_TRUE( copy );
      EXPECT_EQ( copy->version(), m.version() );
      EXPECT_EQ( copy->mapEntry().count(), m.mapEntry().count() );
      for( const auto & [ seqno, entry ] : m.mapEntry() ) {
         SCOPED_TRACE( seqno );
         const auto other = copy->mapEntry( seqno );
         ASSERT_TRUE( other );
         EXPECT_EQ( other->permit(), entry->permit() );
         EXPECT_EQ( other->setFlags(), entry->setFlags() );
         EXPECT_EQ( other->continueSeq(), entry->continueSeq() );
         EXPECT_EQ( other->distance(), entry->distance() );
         EXPECT_TRUE( other->subRouteMap().name == entry->subRouteMap().name &&
                      ( other->subRouteMap().name.empty() || other->subRouteMap() == entry->subRouteMap() ) )
            << other->subRouteMap() << " for " << entry->subRouteMap();
         for( uint32_t line = 0; line < 3; ++line ) EXPECT_EQ( other->description( line ), entry->description( line ) ) << line;
         for( const auto & [ option, rule ] : entry->matchRule() ) {
            const auto * found = other->matchRule().find( option );
            ASSERT_EQ( found != nullptr, isSupported( option ) ) << option;
            if( found ) { EXPECT_EQ( *found, rule ); }
         }
         for( const auto & [ option, rule ] : other->matchRule() ) EXPECT_TRUE( entry->matchRule().find( option ) ) << option;
      }
   }

   // What is configured, called, matched on, produced or watched has a symbol, and nothing else has.
   void checkTables() const {
      std::set<std::string> maps, lists;
      for( unsigned i = 0; i < kMaps; ++i ) {
         const auto m = map( i );
         if( m || watches_ ) maps.insert( std::string( mapName( i ) ) );
         if( !m ) continue;
         for( const auto & [ seqno, entry ] : m->mapEntry() ) {
            if( !entry->subRouteMap().name.empty() ) maps.insert( std::string( entry->subRouteMap().name ) );
            for( const auto & [ option, rule ] : entry->matchRule() )
               if( option == MatchOption::matchIpAccessList || option == MatchOption::matchIpPrefixList ||
                   option == MatchOption::matchIpv6PrefixList || option == MatchOption::matchTagSet )
                  lists.insert( std::string( rule.listName ) );
         }
      }
      for( unsigned i = 0; i < kLists; ++i ) {
         if( v4_[ i ] ) lists.insert( std::string( listName( "PL", i ) ) );
         if( v6_[ i ] ) lists.insert( std::string( listName( "P6", i ) ) );
         if( acls_.holds( i ) || watches_ ) lists.insert( std::string( listName( "AL", i ) ) );
         if( sets_[ i ] ) lists.insert( std::string( listName( "TS", i ) ) );
      }
      const auto & root = *agent_.root;
      EXPECT_EQ( root.routeMapTable()->count(), maps.size() );
      EXPECT_EQ( root.ipv4PrefixListTable()->count() + root.ipv6PrefixListTable()->count() + root.ipv4AclListTable()->count() +
                    root.tagSetTable()->count(),
                 lists.size() );
      EXPECT_EQ( agent_.filtered->routeMap().count(), agent_.config->routeMap().count() );
      EXPECT_EQ( agent_.machine->routeMapOpModeNotifier()->routeMapOpMode(), agent_.config->routeMapOpMode() );
      EXPECT_EQ( agent_.filtered->routeMapOpMode(), agent_.config->routeMapOpMode() );
      EXPECT_EQ( agent_.machine->allRmSymbol()->symbol().count(), agent_.config->routeMap().count() );
   }

   void checkFreshCompile() const {
      Agent fresh( agent_.config );
      std::vector<Ptr<const PolicySymbol>> held;
      const auto give = [ & ]<class Table>( const Ptr<Table> & from, const Ptr<Table> & to, const char * stem ) {
         for( unsigned i = 0; i < kLists; ++i ) {
            const auto symbol = to->symbol( listName( stem, i ) );
            symbol->statusIs( from->symbol( listName( stem, i ) )->status() );
            held.push_back( symbol );
         }
      };
      give( agent_.root->ipv4PrefixListTable(), fresh.root->ipv4PrefixListTable(), "PL" );
      give( agent_.root->ipv6PrefixListTable(), fresh.root->ipv6PrefixListTable(), "P6" );
      give( agent_.root->ipv4AclListTable(), fresh.root->ipv4AclListTable(), "AL" );
      give( agent_.root->tagSetTable(), fresh.root->tagSetTable(), "TS" );
      fresh.start();
      fresh.scheduler->runUntilIdle();
      for( unsigned i = 0; i < kMaps; ++i )
         EXPECT_EQ( textOf( agent_.root->routeMapTable()->symbol( mapName( i ) )->rmStatus().get() ),
                    textOf( fresh.root->routeMapTable()->symbol( mapName( i ) )->rmStatus().get() ) );
   }

   // ---- evaluation of what is configured

   std::optional<size_t> prefixListOf( const std::unique_ptr<PrefixListProducer> & list, unsigned family,
                                       EvaluationModel::Policy & policy ) const {
      if( !list || !list->symbol()->status() ) return {};
      EvaluationModel::PrefixList out{ family, {} };
      for( const auto & [ seqno, entry ] : list->entries() )
         out.entries.push_back( { seqno, entry.action == Acl::MatchPermit::permit, modelOf( entry.prefix ),
                                  entry.ge ? std::optional<unsigned>( *entry.ge ) : std::nullopt,
                                  entry.le ? std::optional<unsigned>( *entry.le ) : std::nullopt } );
      policy.prefixLists.push_back( out );
      return policy.prefixLists.size() - 1;
   }

   EvaluationModel::Condition conditionOf( const MatchRule & rule, const Ferule::IpGenPrefix & prefix,
                                           EvaluationModel::Policy & policy ) const {
      static constexpr uint32_t kProto[] = { 0, 1, 24, 31, 10, 4, 9, 15, 49, 52 };
      using namespace EvaluationModel;
      const unsigned list = numberIn( rule.listName );
      const auto number = static_cast<uint32_t>( rule.numericValue );
      switch( rule.option ) {
         case MatchOption::matchIpPrefixList: return PermittedBy{ About::route, prefixListOf( v4_[ list ], 4, policy ), rule.invertResult };
         case MatchOption::matchIpv6PrefixList:
            return PermittedBy{ About::route, prefixListOf( v6_[ list ], 6, policy ), rule.invertResult };
         case MatchOption::matchIpAccessList: {
            const auto & rules = acls_.twin( list ).shown;
            return Fixed{ rules && AccessListModel{ Ferule::AddressFamily::ipv4, *rules }.match( prefix ) };
         }
         case MatchOption::matchTagSet: {
            if( !sets_[ list ] || !sets_[ list ]->symbol()->status() ) return TagIn{ {} };
            policy.tagSets.emplace_back( sets_[ list ]->tags().begin(), sets_[ list ]->tags().end() );
            return TagIn{ policy.tagSets.size() - 1 };
         }
         case MatchOption::matchTag: return TagIs{ number };
         case MatchOption::matchIsisInstance: return IsisInstanceIs{ number };
         case MatchOption::matchOspfInstance: return OspfInstanceIs{ number };
         default: return ProtocolIs{ kProto[ number ] };
      }
   }

   // The configuration, as the evaluator has it. An access list is asked beforehand.
   EvaluationModel::Policy policyFor( const Ferule::IpGenPrefix & prefix ) const {
      EvaluationModel::Policy policy;
      for( unsigned i = 0; i < kMaps; ++i ) {
         EvaluationModel::RouteMap out{ std::string( mapName( i ) ), {} };
         if( const auto m = map( i ) )
            for( const auto & [ seqno, entry ] : m->mapEntry() ) {
               EvaluationModel::Sequence seq{ .number = seqno, .permit = entry->permit() == Acl::MatchPermit::permit };
               for( const auto & [ option, rule ] : entry->matchRule() ) {
                  if( !isSupported( option ) ) continue;
                  policy.matchers.push_back( { conditionOf( rule, prefix, policy ), false } );
                  seq.matchers.push_back( { unsigned( option ), policy.matchers.size() - 1 } );
               }
               if( entry->distance() ) {
                  policy.setters.push_back( { EvaluationModel::SetPreference{ entry->distance() % 256 }, false } );
                  seq.setters.push_back( { unsigned( SetOption::setDistance ), policy.setters.size() - 1 } );
               }
               if( const auto & call = entry->subRouteMap(); !call.name.empty() ) {
                  seq.subRouteMap = static_cast<size_t>( std::string( call.name ).back() - '0' );
                  seq.subInvert = call.invertResult;
               }
               if( const uint32_t target = continueOf( *m, *entry ) ) seq.continueTo = target;
               out.sequences.push_back( seq );
            }
         policy.routeMaps.push_back( out );
      }
      return policy;
   }

   void checkEvaluation() {
      for( int n = 0; n < 4; ++n ) {
         const Route & route = sampleRoutes()[ pick( unsigned( sampleRoutes().size() ) ) ];
         const auto input = EvaluationModel::twinOf( route );
         const auto policy = policyFor( *input.getPrefixPointer() );
         for( unsigned i = 0; i < kMaps; ++i ) {
            const auto status = agent_.root->routeMapTable()->symbol( mapName( i ) )->rmStatus();
            if( !status ) continue;
            EvaluationModel::Evaluation evaluation( policy, route );
            EvaluationModel::Matched matched;
            EvaluationModel::Result result{ .preference = kPreferenceBefore };
            const bool permitted = evaluation.routeMap( i, matched );
            if( permitted ) evaluation.applySetters( matched, result );
            EXPECT_EQ( verdictOf( *status, input ), ( Verdict{ permitted, result.preference } ) )
               << EvaluationModel::describe( route ) << "\n"
               << EvaluationModel::describe( policy ) << mapName( i );
         }
      }
   }

   // ---- how often

   // How many calls lie between what changed and each map, on every way there.
   using Lengths = std::map<unsigned, std::set<unsigned>>;
   void lengthsFrom( Lengths & lengths, unsigned at, unsigned length ) const {
      lengths[ at ].insert( length );
      for( unsigned i = 0; i < kMaps; ++i ) {
         const auto m = map( i );
         if( !m ) continue;
         for( const auto & [ seqno, entry ] : m->mapEntry() )
            if( entry->subRouteMap().name == mapName( at ) ) {
               lengthsFrom( lengths, i, length + 1 );
               break;
            }
      }
   }

   // One change where all stands still, and how often it makes each map publish.
   void checkCounts() {
      if( !watches_ || !chance( 2 ) ) return;
      settling_ = true;
      std::vector<unsigned> before;
      for( const auto & watched : watched_ ) before.push_back( watched.publications );
      Lengths lengths;
      const std::string what = changeOnce( lengths );
      while( agent_.scheduler->runOne() ) {}
      settling_ = false;
      if( what.empty() ) return;
      for( unsigned i = 0; i < kMaps; ++i ) {
         const unsigned times = watched_[ i ].publications - before[ i ];
         const auto & ways = lengths[ i ];
         if( ways.empty() ) {
            EXPECT_EQ( times, 0u ) << what << ", " << mapName( i );
         } else if( *ways.rbegin() - *ways.begin() <= 1 ) {
            EXPECT_EQ( times, 1u ) << what << ", " << mapName( i );
         } else {
            EXPECT_GE( times, 1u ) << what << ", " << mapName( i );
            EXPECT_LE( times, ways.size() ) << what << ", " << mapName( i );
         }
         EXPECT_TRUE( watched_[ i ].symbol->statusCurrent() ) << what << ", " << mapName( i );
      }
   }

   bool usesList( unsigned i, MatchOption option, const Quoin::String & name ) const {
      const auto m = map( i );
      if( !m ) return false;
      for( const auto & [ seqno, entry ] : m->mapEntry() )
         if( const auto * rule = entry->matchRule().find( option ); rule && rule->listName == name ) return true;
      return false;
   }

   unsigned times( unsigned i ) const { return watched_[ i ].publications; }
   bool isCurrent( unsigned i ) const { return watched_[ i ].symbol->statusCurrent(); }
   static void raiseOnce( Map & m ) { m.versionIs( m.version() + 1 ); }
   static void flip( MapEntry & entry ) {
      entry.permitIs( entry.permit() == Acl::MatchPermit::permit ? Acl::MatchPermit::deny : Acl::MatchPermit::permit );
   }
   std::vector<unsigned> usersOf( MatchOption option, const Quoin::String & name ) const {
      std::vector<unsigned> users;
      for( unsigned i = 0; i < kMaps; ++i )
         if( usesList( i, option, name ) ) users.push_back( i );
      return users;
   }

   // Says what it has done; nothing when it could do nothing. `lengths`: whom it reaches.
   std::string changeOnce( Lengths & lengths ) {
      const unsigned i = pick( kMaps ), list = pick( kLists );
      const auto prefixUsers = usersOf( MatchOption::matchIpPrefixList, listName( "PL", list ) );
      const auto tagUsers = usersOf( MatchOption::matchTagSet, listName( "TS", list ) );
      switch( pick( 5 ) ) {
         case 0: {   // a list lands; nobody is current until its task has run, not even with a new version
            if( !v4_[ list ] ) return {};
            v4_[ list ]->publish();
            for( const unsigned user : prefixUsers ) {
               lengthsFrom( lengths, user, 0 );
               EXPECT_FALSE( isCurrent( user ) );
               if( chance( 2 ) ) raiseOnce( *map( user ) );
               EXPECT_FALSE( isCurrent( user ) );
            }
            return "a prefix list landed";
         }
         case 1: {   // a set is gone, or comes, or both
            const bool stands = sets_[ list ] != nullptr, both = !stands && chance( 2 );
            if( !stands ) {
               sets_[ list ] = std::make_unique<TagSetProducer>( agent_.root->tagSetTable(), listName( "TS", list ) );
               sets_[ list ]->publish();
            }
            if( stands || both ) sets_[ list ].reset();
            if( both ) return "a tag set came and went";
            for( const unsigned user : tagUsers ) lengthsFrom( lengths, user, 0 );
            return "a tag set came or went";
         }
         case 2: return changeOfAccessList( lengths, list, usersOf( MatchOption::matchIpAccessList, listName( "AL", list ) ) );
         case 3: return changeOfMaps( lengths, i );
         default: return map( i ) && !map( i )->mapEntry().empty() ? changeOfSequences( lengths, i, list, prefixUsers ) : "";
      }
   }

   // Where all are told of all lists.
   std::string changeOfAccessList( Lengths & lengths, unsigned list, const std::vector<unsigned> & users ) {
      ++time_;
      const auto & twin = acls_.twin( list );
      const auto nobodyHasPublished = [ &, before = publications() ] {
         while( agent_.scheduler->runOne() ) {}
         EXPECT_EQ( publications(), before );
         checkStep();
      };
      if( !twin.real ) {   // nobody is told of what is empty: who comes later finds it
         acls_.makeEmpty( list, time_ );
         nobodyHasPublished();
         if( !users.empty() || !map( 0 ) || map( 0 )->mapEntry( 30 ) ) return "an access list came, without rules";
         const auto entry = map( 0 )->mapEntryIs( 30 );
         MatchRule rule;
         rule.option = MatchOption::matchIpAccessList;
         rule.listName = listName( "AL", list );
         touch( 0, 30, int( rule.option ), false );
         entry->matchRuleIs( rule );
         raise( 0 );
         return "";
      }
      switch( pick( 5 ) ) {
         case 0: acls_.tell( list ); return "an access list has a new version of the same";
         case 1:
            acls_.typeGoesOrComes();
            nobodyHasPublished();
            return "all access lists went from the configuration";
         case 2: {
            acls_.del( list );
            for( const unsigned user : users ) {
               EXPECT_FALSE( isCurrent( user ) );
               lengthsFrom( lengths, user, 0 );
            }
            return "an access list went";
         }
         default: {   // whole, or not at all
            if( !acls_.idle() ) return {};
            acls_.editRules( list );
            for( unsigned other = 0; other < kLists; ++other )
               if( other != list && acls_.twin( other ).compiling ) return {};   // which has the same version
            if( acls_.idle() ) return "an access list was left as it was";
            while( !acls_.idle() && !testing::Test::HasFailure() ) {
               nobodyHasPublished();
               acls_.slice();
            }
            for( const unsigned user : users ) {
               EXPECT_FALSE( isCurrent( user ) );
               lengthsFrom( lengths, user, 0 );
            }
            return "an access list was compiled";
         }
      }
   }

   std::string changeOfMaps( Lengths & lengths, unsigned i ) {
      const auto m = map( i );
      if( m && chance( 2 ) ) {
         raiseOnce( *m );
         return "a version without changes";
      }
      if( m && chance( 3 ) ) {   // who calls it has it already
         if( agent_.aggregateUsers ) agent_.aggregateUsers->mapNameDel( mapName( i ) );
         watched_[ i ].symbol->updateAndNotify( watched_[ i ].symbol->rmStatus() );
         lengths[ i ].insert( 0 );
         return "a status was published again";
      }
      lengthsFrom( lengths, i, 0 );
      if( m ) {   // by a task: until then there is the old status
         const unsigned before = times( i );
         agent_.config->routeMapDel( mapName( i ) );
         EXPECT_EQ( times( i ), before );
         EXPECT_TRUE( watched_[ i ].symbol->rmStatus() );
         return "a map went";
      }
      const auto made = agent_.config->routeMapIs( mapName( i ) );
      made->mapEntryIs( 10 );
      made->versionIs( 1 );
      return "a map came";
   }

   // Of a map that has some.
   std::string changeOfSequences( Lengths & lengths, unsigned i, unsigned list, const std::vector<unsigned> & prefixUsers ) {
      const auto m = map( i );
      const auto entry = m->mapEntry( m->mapEntry().first().key() );
      const unsigned before = times( i );
      const bool usesIt = v4_[ list ] && prefixUsers == std::vector<unsigned>{ i };   // a prefix list, and nobody else does
      switch( pick( 6 ) ) {
         case 0: {   // inside the version, also with what a list of the same turn has left
            for( const auto & [ seqno, each ] : m->mapEntry() ) {
               flip( *each );
               each->distanceIs( each->distance() + 1 );
            }
            if( usesIt ) v4_[ list ]->publish();
            EXPECT_EQ( times( i ), before );
            raiseOnce( *m );
            EXPECT_EQ( times( i ), before + 1 );
            lengthsFrom( lengths, i, 0 );
            return usesIt ? "a map and its list changed in one turn" : "a map changed";
         }
         case 1: {   // while a list is under way: when that lands
            if( !usesIt || v4_[ list ]->entries().empty() ) return {};
            v4_[ list ]->entryDel( v4_[ list ]->entries().begin()->first );
            flip( *entry );
            raiseOnce( *m );
            while( agent_.scheduler->runOne() ) {}
            EXPECT_EQ( times( i ), before );
            EXPECT_FALSE( isCurrent( i ) );
            v4_[ list ]->publish();
            lengthsFrom( lengths, i, 0 );
            return "a map changed while its list was under way";
         }
         case 2: {   // without a version
            flip( *entry );
            if( chance( 2 ) )
               agent_.machine->rmConfigSymbolReactorColl()->reactor( m->name() )->reevaluateInc( 1 );
            else
               agent_.config->routeMapOpModeIs( RouteMapOpModeType( unsigned( agent_.config->routeMapOpMode() ) == 0 ) );
            lengthsFrom( lengths, i, 0 );
            return "a map was compiled again";
         }
         case 3: {   // at once, unless other sequences have changes that wait for the version
            const bool waits = m->mapEntry().count() > 1 && chance( 2 );
            for( const auto & [ seqno, other ] : m->mapEntry() )
               if( waits && other != entry ) flip( *other );
            m->mapEntryDel( entry->seqno() );
            EXPECT_EQ( times( i ), before + ( waits ? 0 : 1 ) );
            raiseOnce( *m );
            EXPECT_EQ( times( i ), before + 1 );
            lengthsFrom( lengths, i, 0 );
            return "a sequence went";
         }
         case 4: {   // a call that closes a cycle changes nothing
            const auto call = entry->subRouteMap();
            const auto copy = agent_.filtered->routeMap( m->name() )->mapEntry( entry->seqno() );
            const auto copied = copy->subRouteMap();
            if( copied != call ) return {};   // a flag without a name
            entry->subRouteMapIs( { m->name(), false } );
            EXPECT_EQ( copy->subRouteMap(), copied );
            EXPECT_TRUE( blocked( i, entry->seqno() ) );
            raiseOnce( *m );
            entry->subRouteMapIs( call );
            EXPECT_FALSE( blocked( i ) );
            return "a call was refused and taken back";
         }
         default:
            entry->descriptionIs( 9, "said twice" );
            raiseOnce( *m );
            entry->descriptionIs( 9, "said otherwise" );
            raiseOnce( *m );
            return "a description changed";
      }
   }

   std::mt19937 random_;
   OnPublished onPublished_;
   bool watches_ = false;
   Inside inside_ = Inside::nothing;
   unsigned publishOneIn_ = 1, tasksOneIn_ = 1, slicesOneIn_ = 1;
   Agent agent_{ makeNode<Config>() };
   std::map<unsigned, std::set<std::pair<uint32_t, int>>> touched_;
   unsigned time_ = 0;              // goes up with the edits
   unsigned built_[ kMaps ] = {};   // when clauses of a map may have been built last
   bool waits_[ kMaps ] = {};       // whether a map had changes that were not compiled, before the step
   std::unique_ptr<PrefixListProducer> v4_[ kLists ];
   std::unique_ptr<PrefixListProducer> v6_[ kLists ];
   AccessLists acls_{ random_, agent_.root->ipv4AclListTable() };
   std::unique_ptr<TagSetProducer> sets_[ kLists ];
   Watched watched_[ kMaps ];
   uint32_t highestVersion_ = 0;
   bool settling_ = false, hearing_ = false;
   bool usesScopes_ = false;
   bool hasSettled_ = false;   // and nothing has been edited since
   std::vector<std::unique_ptr<ConfigEdit>> scopes_;
   std::optional<std::array<unsigned, kMaps>> ofWholeBatch_;   // what had been published when its scope opened
};

}   // namespace CompilationModel
