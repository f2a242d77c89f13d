#include "tests/model/CompilationModel.h"

#include <algorithm>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "policy/DistanceSetter.h"
#include "policy/IsisInstanceMatcher.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/SourceProtoMatcher.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "tests/model/Shrinking.h"
#include "tests/policy/ListFixtures.h"

namespace CompilationModel {

namespace {

EvaluationModel::Prefix modelOf( const Ferule::IpGenPrefix & prefix ) {
   const bool isV4 = prefix.af() == Ferule::AddressFamily::ipv4;
   const auto bits = prefix.ipGenAddr().bits();
   std::string text;
   for( unsigned i = 0; i < ( isV4 ? 32u : 128u ); ++i ) text += ( ( i < 64 ? bits.high : bits.low ) >> ( 63 - i % 64 ) & 1 ) ? '1' : '0';
   return { { isV4 ? 4u : 6u, text }, prefix.length() };
}

}   // namespace

// ---- routes

const std::vector<Route> & sampleRoutes() {
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

const std::vector<Ferule::IpGenPrefix> & samplePrefixes() {
   static const std::vector<Ferule::IpGenPrefix> prefixes = [] {
      std::vector<Ferule::IpGenPrefix> all;
      for( const Route & route : sampleRoutes() ) all.push_back( *EvaluationModel::twinOf( route ).getPrefixPointer() );
      return all;
   }();
   return prefixes;
}

Verdict verdictOf( const RouteMapStatus & status, const MatchInput_ & input ) {
   const PolicyEval eval;
   MatchedRouteMapSequences matched;
   Result_ result;
   result.preferenceIs( kPreferenceBefore );
   const bool permitted = eval.evalRouteMapMatchers( &input, &status, &matched );
   if( permitted ) eval.applyPolicySetters( &matched, &result );
   return { permitted, result.preference() };
}

// ---- a program

namespace {

const Quoin::Node * listOf( const Matcher & matcher ) {
   if( const auto * m = dynamic_cast<const PrefixListMatcher *>( &matcher ) ) return m->status().get();
   if( const auto * m = dynamic_cast<const IpAccessListMatcher *>( &matcher ) ) return m->status().get();
   if( const auto * m = dynamic_cast<const TagSetMatcher *>( &matcher ) ) return m->status().get();
   return nullptr;
}

// The kinds of steps, in their order.
enum StepKind : unsigned { kBeforeStart, kStart, kRun, kLastCheck, kEnd };

}   // namespace

Program::Program( Choices & random, OnPublished onPublished, Inside inside ) : random_( random ), onPublished_( std::move( onPublished ) ) {
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
      for( int i = 0; i < 30 && random_.step( kBeforeStart ); ++i ) edit();
      random_.step( kStart );
      for( unsigned i = 0; i < kMaps; ++i ) raise( i );
   }
   if( chance( 2 ) ) agent_.filtered->routeMapIs( chance( 2 ) ? mapName( 0 ) : Quoin::String( "LEFT" ) )->mapEntryIs( 15 );
   if( watches_ ) watch();
   if( listsStart == 2 ) acls_.start();
   std::ranges::fill( waits_, true );
   random_.say( "the machine starts" );
   agent_.start();
   if( listsStart == 3 ) acls_.start();
}

void Program::run( int edits ) {
   for( int i = 0; i < edits && !caseFailed() && random_.step( kRun ); ++i ) {
      if( usesScopes_ ) openOrCloseScope();
      edit();
      EXPECT_FALSE( copyHasCycle() );
      if( chance( 4 ) ) raise( pick( kMaps ) );
      if( chance( tasksOneIn_ ) ) runOneTask();
      if( chance( slicesOneIn_ ) ) acls_.slice();
      checkStep();
      if( chance( 12 ) ) check();
   }
   random_.step( kLastCheck );
   check();
}

void Program::runOneTask() {
   random_.say( "run a task" );
   agent_.scheduler->runOne();
}

void Program::check() {
   settle();
   checkStep();
   tellOfEmptyLists();
   acls_.forget();
   for( unsigned i = 0; i < kMaps && !caseFailed(); ++i ) {
      const auto m = map( i );
      SCOPED_TRACE( mapName( i ) );
      const auto symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
      EXPECT_TRUE( symbol->statusCurrent() );
      ASSERT_EQ( symbol->rmStatus() != nullptr, m != nullptr );
      if( m ) checkCompiled( i, *m, *symbol->rmStatus() );
      if( m ) checkMachines( *m );
   }
   for( const auto & difference : agent_.machine->verify() ) ADD_FAILURE() << difference;
   if( !caseFailed() ) checkTables();
   if( !caseFailed() ) checkFreshCompile();
   if( !caseFailed() ) checkEvaluation();
   if( !caseFailed() ) checkCounts();
   hasSettled_ = inside_ == Inside::nothing;
}

void Program::checkNothingIsLeft() {
   random_.step( kEnd );
   settling_ = true;
   const bool machineFirst = chance( 3 );
   random_.say( machineFirst ? "delete the machine, then everything else" : "delete everything else, then the machine" );
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

std::string Program::text() const {
   static const std::regex address( "0x[0-9a-f]+" );
   std::string out;
   for( unsigned i = 0; i < kMaps; ++i ) {
      const auto symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
      out += std::regex_replace( textOf( symbol->rmStatus().get() ), address, "list" ) + " after " +
         std::to_string( watched_[ i ].publications ) + "\n";
   }
   return out;
}

uint64_t Program::publications() const {
   uint64_t all = 0;
   for( const auto & watched : watched_ ) all += watched.publications;
   return all;
}

// ---- edits

// The end of a batch. Versions go up, down, and now and then stay: then it is none.
void Program::raise( unsigned i ) {
   const auto m = map( i );
   if( !m ) return;
   const uint32_t now = m->version();
   const uint32_t next = chance( 8 ) ? now : chance( 6 ) && now > 2 ? now - 1 - pick( 2 ) : now + 1 + pick( 2 );
   if( next == now ) return;
   if( !touched_[ i ].empty() ) built_[ i ] = time_;
   const auto touched = std::exchange( touched_[ i ], {} );   // what is touched inside the write belongs to the next batch
   random_.say( mapName( i ), " version ", next );
   m->versionIs( next );
   if( blocked( i ) ) touched_[ i ].insert( touched.begin(), touched.end() );
}

// What is set and removed again within one batch keeps what was set; a batch ends before that, or it does not come to that.
bool Program::touch( unsigned i, uint32_t seqno, int what, bool removes ) {
   if( removes && touched_[ i ].contains( { seqno, what } ) ) raise( i );
   if( !removes ) touched_[ i ].insert( { seqno, what } );
   built_[ i ] = time_;
   return !removes || !touched_[ i ].contains( { seqno, what } );
}

void Program::edit() {
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
            random_.say( "delete ", mapName( i ) );
            agent_.config->routeMapDel( mapName( i ) );
         }
         return;
      case 4:
         if( !chance( 12 ) ) return;
         touched_.clear();
         random_.say( "delete all route maps" );
         return agent_.config->routeMapDelAll();
      case 5: return editMode();
      case 6:
         if( agent_.machine )
            if( const auto reactor = agent_.machine->rmConfigSymbolReactorColl()->reactor( mapName( i ) ) ) {
               random_.say( "reevaluate ", mapName( i ) );
               reactor->reevaluateInc( 1 );
            }
         return;
      default: return editMap( i );
   }
}

void Program::editMode() {
   const auto mode = RouteMapOpModeType( pick( 3 ) );
   random_.say( "mode ", unsigned( mode ) );
   agent_.config->routeMapOpModeIs( mode );
}

// Nothing comes or goes.
void Program::editChange( unsigned i ) {
   const auto m = map( i );
   const uint32_t seqno = kSeqnos[ pick( std::size( kSeqnos ) ) ];
   if( chance( 8 ) ) return editMode();
   if( chance( 8 ) && !acls_.slicing() ) return acls_.editRules( pick( kLists ) );
   if( m && m->mapEntry( seqno ) ) editEntry( i, m->mapEntry( seqno ) );
}

void Program::editMap( unsigned i ) {
   const auto m = agent_.config->routeMapIs( mapName( i ) );
   const uint32_t seqno = kSeqnos[ pick( std::size( kSeqnos ) ) ];
   if( chance( 8 ) ) {
      // A blocked one that goes leaves its map deferred; which are, cannot be seen while the machine is being made.
      if( blocked( i, seqno ) || ( hearing_ && !agent_.machine ) ) return;
      std::erase_if( touched_[ i ], [ seqno ]( const auto & touched ) { return touched.first == seqno; } );
      random_.say( "delete ", mapName( i ), " ", seqno );
      m->mapEntryDel( seqno );
      return;
   }
   editEntry( i, m->mapEntryIs( seqno ) );
}

void Program::editEntry( unsigned i, const Ptr<MapEntry> & entry ) {
   const uint32_t seqno = entry->seqno();
   const auto say = [ & ]( const auto &... what ) { random_.say( mapName( i ), " ", seqno, " ", what... ); };
   switch( pick( 8 ) ) {
      case 0: {
         const auto action = chance( 2 ) ? Acl::MatchPermit::permit : Acl::MatchPermit::deny;
         say( action );
         return entry->permitIs( action );
      }
      case 1: {
         const uint32_t distance = chance( 3 ) ? 0 : 1 + pick( 600 );
         if( !touch( i, seqno, 1000, distance == 0 ) ) return;
         say( "distance ", distance );
         return entry->distanceIs( distance );
      }
      case 2: {
         const bool on = chance( 2 ), flagsFirst = chance( 2 );
         const uint32_t flags = ( on ? uint32_t( MapEntry::continueSeqSet ) : 0 ) | pick( 2 );
         const uint32_t target = chance( 4 ) ? entry->continueSeq() : chance( 3 ) ? 0 : kSeqnos[ pick( std::size( kSeqnos ) ) ];
         say( on ? "continue " : "no continue, to ", target, ", flags ", flags, flagsFirst ? ", flags first" : "" );
         if( flagsFirst ) entry->setFlagsIs( flags );
         entry->continueSeqIs( target );
         if( !flagsFirst ) entry->setFlagsIs( flags );
         return;
      }
      case 3:
      case 4: {
         const Routing::RouteMap::SubRouteMap call{ chance( 3 ) ? Quoin::String() : mapName( pick( kMaps ) ), chance( 2 ) };
         say( "call '", call.name, call.invertResult ? "' inverted" : "'" );
         return entry->subRouteMapIs( call );
      }
      case 5: {
         const uint32_t line = pick( 3 );
         say( "description, line ", line );
         if( chance( 3 ) ) return entry->descriptionDel( line );
         return entry->descriptionIs( line, Quoin::String( "text " + std::to_string( pick( 3 ) ) ) );
      }
      default: return editRule( i, entry );
   }
}

void Program::editRule( unsigned i, const Ptr<MapEntry> & entry ) {
   static constexpr MatchOption kOptions[] = {
      MatchOption::matchIpAccessList, MatchOption::matchIpPrefixList, MatchOption::matchIpv6PrefixList,
      MatchOption::matchTagSet,       MatchOption::matchTag,          MatchOption::matchSourceProtocol,
      MatchOption::matchIsisInstance, MatchOption::matchOspfInstance, MatchOption( 77 )
   };
   // Lists more often than the rest: they have a life of their own.
   const MatchOption option = kOptions[ chance( 2 ) ? pick( 4 ) : pick( std::size( kOptions ) ) ];
   const bool removes = chance( 3 );
   if( !touch( i, entry->seqno(), int( option ), removes ) ) return;
   if( removes ) {
      random_.say( mapName( i ), " ", entry->seqno(), " no match ", option );
      return entry->matchRuleDel( option );
   }
   MatchRule rule;
   rule.option = option;
   rule.invertResult = chance( 2 );
   rule.numericValue = option == MatchOption::matchSourceProtocol ? 1 + pick( 9 ) : pick( 3 );
   rule.listName = listName( stemOf( option ), pick( kLists ) );
   random_.say( mapName( i ), " ", entry->seqno(), " match ", option, " ", rule.listName, " or ", rule.numericValue,
                rule.invertResult ? " inverted" : "" );
   entry->matchRuleIs( rule );
}

const char * Program::stemOf( MatchOption option ) {
   switch( option ) {
      case MatchOption::matchIpAccessList: return "AL";
      case MatchOption::matchIpv6PrefixList: return "P6";
      case MatchOption::matchTagSet: return "TS";
      default: return "PL";
   }
}

void Program::editList() {
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
            random_.say( "tag ", tag );
            if( !set.tagDel( tag ) ) set.tagIs( tag );
         } );
   }
}

void Program::editPrefixList( std::unique_ptr<PrefixListProducer> & list, const Ptr<PrefixListSymbolDedupTable> & table,
                              const Quoin::String & name, Ferule::AddressFamily af ) {
   const bool isV4 = af == Ferule::AddressFamily::ipv4;
   editList(
      list, table, name,
      [ this, isV4 ]( PrefixListProducer & producer ) {
         static const char * const kV4[] = { "10.0.0.0/8", "10.1.0.0/16", "0.0.0.0/0", "192.0.2.0/24" };
         static const char * const kV6[] = { "2001:db8::/32", "::/0", "2001:db8:1::/48", "2001:db8::/48" };
         const uint32_t seqno = 1 + pick( 4 ), which = pick( 4 );
         random_.say( "entry ", seqno );
         if( producer.entryDel( seqno ) ) return;
         PrefixListEntry entry{ seqno,
                                chance( 3 ) ? Acl::MatchPermit::deny : Acl::MatchPermit::permit,
                                Ferule::IpGenPrefix( isV4 ? kV4[ which ] : kV6[ which ] ),
                                {},
                                {} };
         if( chance( 2 ) ) entry.le = isV4 ? 32 : 128;
         random_.say( entry.action, " ", entry.prefix, entry.le ? " and longer" : "" );
         EXPECT_FALSE( producer.entryIs( entry ) );
      },
      af );
}

template <class Producer, class Table, class Edit, class... Family>
void Program::editList( std::unique_ptr<Producer> & list, const Ptr<Table> & table, const Quoin::String & name, Edit edit,
                        Family... family ) {
   random_.say( "list ", name );
   if( chance( 10 ) ) {   // a version behind which nothing has changed
      random_.say( "notify without a change" );
      if( const auto symbol = table->symbol( name ); symbol->statusCurrent() ) symbol->notifier()->versionInc( 1 );
      return;
   }
   if( list && chance( 6 ) ) {
      random_.say( "delete" );
      return list.reset();
   }
   if( !list ) list = std::make_unique<Producer>( table, name, family... );
   edit( *list );
   if( !list || !( chance( publishOneIn_ ) || chance( 4 ) ) ) return;   // the edit stays pending
   random_.say( "publish" );
   list->publish();
}

Ptr<RouteMapConfigFilterSm> Program::filterOf( unsigned i ) const {
   const auto * sm = agent_.machine ? agent_.machine->routeMapConfigFilterSm().find( mapName( i ) ) : nullptr;
   return sm ? *sm : nullptr;
}

bool Program::blocked( unsigned i, uint32_t seqno ) const {
   const auto sm = filterOf( i );
   return sm && sm->routeMapBlockedSequenceList()->sequence( seqno );
}

bool Program::blocked( unsigned i ) const {
   const auto sm = filterOf( i );
   return sm && !sm->routeMapBlockedSequenceList()->sequence().empty();
}

// Whether calls close a cycle in what is compiled.
bool Program::copyHasCycle() const {
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

// Some scopes stay open from a settled state to the next: then each map is published once, when they close.
void Program::openOrCloseScope() {
   const auto open = [ this ]( const char * what ) {
      random_.say( what );
      scopes_.push_back( std::make_unique<ConfigEdit>( agent_.config ) );
   };
   if( hasSettled_ && chance( 2 ) ) {
      ofWholeBatch_.emplace();
      for( unsigned i = 0; i < kMaps; ++i ) ( *ofWholeBatch_ )[ i ] = watched_[ i ].publications;
      open( "open an edit scope until all settles" );
   } else if( scopes_.size() < 3 && chance( 4 ) ) {
      open( "open an edit scope" );
   } else if( scopes_.size() > ( ofWholeBatch_ ? 1 : 0 ) && chance( 3 ) ) {
      random_.say( scopes_.size() == 1 ? "close the edit scope" : "close an inner edit scope" );
      scopes_.pop_back();
   }
   hasSettled_ = false;
}

// Runs all tasks; a map that was deleted and created again is published twice.
void Program::closeScopes() {
   std::array<unsigned, kMaps> most{};
   for( unsigned i = 0; i < kMaps; ++i ) most[ i ] = agent_.machine->pendingDelete().find( mapName( i ) ) ? 2 : 1;
   if( !scopes_.empty() ) random_.say( "close all edit scopes" );
   scopes_.clear();
   while( agent_.scheduler->runOne() ) {}
   if( !ofWholeBatch_ ) return;
   for( unsigned i = 0; i < kMaps; ++i ) EXPECT_LE( watched_[ i ].publications - ( *ofWholeBatch_ )[ i ], most[ i ] ) << mapName( i );
   ofWholeBatch_.reset();
}

// ---- what is published, when it is

void Program::watch() {
   for( unsigned i = 0; i < kMaps; ++i ) {
      watched_[ i ].symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
      watched_[ i ].reaction = std::make_unique<Routing::Policy::CompileFixtures::Reaction>(
         *watched_[ i ].symbol->notifier(), [ this, i ]( const Quoin::Change & ) { heard( i ); } );
   }
}

void Program::heardList( unsigned i ) {
   if( editsInside() && inside_ == Inside::everything && acls_.started() && acls_.type() && !acls_.twin( i ).real && chance( 2 ) )
      acls_.makeEmpty( i, 0 );   // inside its deletion
   reactInside();
}

void Program::reactInside() {
   if( !editsInside() ) return;
   hearing_ = true;
   for( unsigned n = pick( 3 ); n; --n ) edit();
   if( chance( 3 ) ) raise( pick( kMaps ) );
   hearing_ = false;
}

void Program::heard( unsigned i ) {
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
void Program::checkPublished( const RouteMapStatus & status ) const {
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

Ptr<const PolicySymbol> Program::listSymbolOf( MatchOption option, const Matcher & matcher ) const {
   if( const auto * m = dynamic_cast<const PrefixListMatcher *>( &matcher ) )
      return ( option == MatchOption::matchIpPrefixList ? agent_.root->ipv4PrefixListTable() : agent_.root->ipv6PrefixListTable() )
         ->symbol( m->name() );
   if( const auto * m = dynamic_cast<const IpAccessListMatcher *>( &matcher ) ) return agent_.root->ipv4AclListTable()->symbol( m->name() );
   if( const auto * m = dynamic_cast<const TagSetMatcher *>( &matcher ) ) return agent_.root->tagSetTable()->symbol( m->name() );
   return nullptr;
}

// ---- access lists, at every step

void Program::checkStep() {
   if( caseFailed() ) return;
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
void Program::checkAccessListMatchers( unsigned i, const RouteMapStatus & status, bool current ) const {
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

bool Program::isTouched( unsigned i, uint32_t seqno, MatchOption option ) const {
   const auto found = touched_.find( i );
   return found != touched_.end() && found->second.contains( { seqno, int( option ) } );
}

// Also of a list that is not the present one any more.
void Program::askAccessListMatchers( const RouteMapStatus & status ) {
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
void Program::tellOfEmptyLists() {
   settling_ = true;
   for( unsigned i = 0; i < kLists; ++i )
      if( !acls_.isTold( i ) ) acls_.tell( i );
   while( agent_.scheduler->runOne() ) {}
   settling_ = false;
}

// ---- when all has settled

void Program::settle() {
   random_.say( "let all settle" );
   ++time_;
   settling_ = true;
   breakCycles( agent_.config );
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

uint32_t Program::continueOf( const Map & m, const MapEntry & entry ) {
   if( !( entry.setFlags() & MapEntry::continueSeqSet ) ) return 0;
   const uint32_t target = entry.continueSeq();
   if( target != 0 ) return target > entry.seqno() && m.mapEntry( target ) ? target : 0;
   for( const auto & [ seqno, other ] : m.mapEntry() )
      if( seqno > entry.seqno() ) return seqno;
   return 0;
}

void Program::checkCompiled( unsigned i, const Map & m, const RouteMapStatus & status ) const {
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
bool Program::checkMatcher( MatchOption option, const MatchRule & rule, const Matcher & matcher ) const {
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

bool Program::checkText( const Matcher & matcher, const Matcher & wanted ) {
   EXPECT_EQ( matcher.toStrep(), wanted.toStrep() );
   return false;
}

// Nothing waits in the machines of a map, and its filtered copy is one.
void Program::checkMachines( const Map & m ) const {
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
void Program::checkTables() const {
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

void Program::checkFreshCompile() const {
   EXPECT_EQ( differencesFromFresh( agent_, kMaps, kLists ), "" );
}

// ---- evaluation of what is configured

std::optional<size_t> Program::prefixListOf( const std::unique_ptr<PrefixListProducer> & list, unsigned family,
                                             EvaluationModel::Policy & policy ) const {
   if( !list || !list->symbol()->status() ) return {};
   EvaluationModel::PrefixList out{ family, {} };
   for( const auto & entry : list->entries() )
      out.entries.push_back( { entry.seqno, entry.action == Acl::MatchPermit::permit, modelOf( entry.prefix ),
                               entry.ge ? std::optional<unsigned>( *entry.ge ) : std::nullopt,
                               entry.le ? std::optional<unsigned>( *entry.le ) : std::nullopt } );
   policy.prefixLists.push_back( out );
   return policy.prefixLists.size() - 1;
}

EvaluationModel::Condition Program::conditionOf( const MatchRule & rule, const Ferule::IpGenPrefix & prefix,
                                                 EvaluationModel::Policy & policy ) const {
   static constexpr uint32_t kProto[] = { 0, 1, 24, 31, 10, 4, 9, 15, 49, 52 };
   using namespace EvaluationModel;
   const unsigned list = numberIn( rule.listName );
   const auto number = static_cast<uint32_t>( rule.numericValue );
   switch( rule.option ) {
      case MatchOption::matchIpPrefixList: return PermittedBy{ About::route, prefixListOf( v4_[ list ], 4, policy ), rule.invertResult };
      case MatchOption::matchIpv6PrefixList: return PermittedBy{ About::route, prefixListOf( v6_[ list ], 6, policy ), rule.invertResult };
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
EvaluationModel::Policy Program::policyFor( const Ferule::IpGenPrefix & prefix ) const {
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

void Program::checkEvaluation() {
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

void Program::lengthsFrom( Lengths & lengths, unsigned at, unsigned length ) const {
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
void Program::checkCounts() {
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

bool Program::usesList( unsigned i, MatchOption option, const Quoin::String & name ) const {
   const auto m = map( i );
   if( !m ) return false;
   for( const auto & [ seqno, entry ] : m->mapEntry() )
      if( const auto * rule = entry->matchRule().find( option ); rule && rule->listName == name ) return true;
   return false;
}

void Program::flip( MapEntry & entry ) {
   entry.permitIs( entry.permit() == Acl::MatchPermit::permit ? Acl::MatchPermit::deny : Acl::MatchPermit::permit );
}

std::vector<unsigned> Program::usersOf( MatchOption option, const Quoin::String & name ) const {
   std::vector<unsigned> users;
   for( unsigned i = 0; i < kMaps; ++i )
      if( usesList( i, option, name ) ) users.push_back( i );
   return users;
}

// Says what it has done; nothing when it could do nothing. `lengths`: whom it reaches.
std::string Program::changeOnce( Lengths & lengths ) {
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
std::string Program::changeOfAccessList( Lengths & lengths, unsigned list, const std::vector<unsigned> & users ) {
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
         while( !acls_.idle() && !caseFailed() ) {
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

std::string Program::changeOfMaps( Lengths & lengths, unsigned i ) {
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
std::string Program::changeOfSequences( Lengths & lengths, unsigned i, unsigned list, const std::vector<unsigned> & prefixUsers ) {
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
         v4_[ list ]->entryDel( ( *v4_[ list ]->entries().begin() ).seqno );
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

}   // namespace CompilationModel
