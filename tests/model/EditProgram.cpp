#include "tests/model/EditProgram.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "policy/DistanceSetter.h"
#include "policy/TagMatcher.h"

namespace CompilationModel {

namespace {

constexpr MatchOption kOwnOption{ 101 };   // of the agent
constexpr SetOption kOwnSetter{ 200 };
constexpr MatchOption kUnsupported = MatchOption::matchMetric;

constexpr MatchOptionRow kOwnOptions[] = { valueOption(
   kOwnOption, []( const MatchRule & rule ) { return makeNode<TagMatcher>( static_cast<Routing::RouteTag>( rule.numericValue ) ); } ) };

constexpr MatchOption kClauses[] = {
   MatchOption::matchIpPrefixList, MatchOption::matchTagSet, MatchOption::matchIpAccessList, MatchOption::matchTag, kOwnOption, kUnsupported
};

const char * stemOf( MatchOption option ) {
   switch( option ) {
      case MatchOption::matchIpPrefixList: return "PL";
      case MatchOption::matchIpAccessList: return "AL";
      default: return "TS";
   }
}

}   // namespace

EditProgram::EditProgram( Choices & choices ) : choices_( choices ) {
   agent_.options = { kOwnOptions, makeNode<SetterTable>() };
   watchesMore_ = chance( 2 );
   agent_.scheduler->budgetIs( [ this ]( const Zeugma::Task & ) { return yields_ && chance( 2 ); } );
}

EditProgram::~EditProgram() {
   inside_ = 0;
   watchers_.clear();
}

std::string EditProgram::run( int steps ) {
   for( int i = 0; i < steps && isWell() && choices_.step(); ++i ) step();
   if( isWell() ) settle();
   if( isWell() ) compare();
   if( isWell() ) fillEmpty();
   if( isWell() ) deleteAll();
   return differences_.str();
}

// ---- steps and edits

void EditProgram::step() {
   inside_ = 8;
   if( watchesMore_ && chance( 3 ) )
      watch();
   else if( !agent_.machine && chance( 4 ) )
      start();
   else if( chance( 6 ) )
      runTasks();
   else
      edit();
   verify();
}

void EditProgram::edit() {
   ++edits_;
   const unsigned i = pick( kNames ), what = pick( 24 );
   const uint32_t seqno = anyNumber();
   switch( what ) {
      case 0:
      case 1: return editRouteMaps( i );
      case 2:
      case 3: return editSequences( i, seqno );
      case 4:
      case 5: return watch();
      case 6:
      case 7: return changeVersion( i );
      case 8: return editScopes();
      case 9:
      case 10:
      case 11: return editLists();
      case 12: return editSetters( i, seqno );
      case 13: {
         const unsigned mode = pick( 3 );
         choices_.say( "mode ", mode );
         return agent_.config->routeMapOpModeIs( RouteMapOpModeType( mode ) );
      }
      case 14:
      case 15:
      case 16:
      case 17:
      case 18:
      case 19:
      case 20: {
         const auto m = map( i );
         const auto entry = m ? m->mapEntry( seqno ) : nullptr;
         if( !entry ) return create( i, seqno );
         choices_.say( mapName( i ), " ", seqno );
         return editSequence( entry );
      }
      default: return create( i, seqno );
   }
}

void EditProgram::create( unsigned i, uint32_t seqno ) {
   choices_.say( "create ", mapName( i ), " ", seqno );
   const auto entry = agent_.config->routeMapIs( mapName( i ) )->mapEntryIs( seqno );
   if( !entry ) return;
   entry->matchRuleIs( { .numericValue = ++lastTag_, .option = MatchOption::matchTag } );
   if( chance( 3 ) ) editSequence( entry );
   if( chance( 2 ) ) changeVersion( i );
}

void EditProgram::editRouteMaps( unsigned i ) {
   switch( pick( 8 ) ) {
      case 0: choices_.say( "delete all" ); return agent_.config->routeMapDelAll();
      case 1:   // some wish to be compiled again, others end the machine
         if( !agent_.machine ) return;
         if( chance( 3 ) ) {
            choices_.say( "release the machine" );
            agent_.machine = nullptr;
         } else if( const auto mailbox = agent_.machine->rmConfigSymbolReactorColl()->reactor( mapName( i ) ) ) {
            choices_.say( "compile ", mapName( i ), " again" );
            mailbox->reevaluateInc( 1 );
         }
         return;
      default: choices_.say( "delete ", mapName( i ) ); agent_.config->routeMapDel( mapName( i ) );
   }
}

void EditProgram::editSequences( unsigned i, uint32_t seqno ) {
   const auto m = map( i );
   if( !m ) return;
   if( chance( 4 ) ) {
      choices_.say( "delete all of ", mapName( i ) );
      for( const uint32_t number : kNumbers ) noteDeletion( *m, number );
      return m->mapEntryDelAll();
   }
   choices_.say( "delete ", mapName( i ), " ", seqno );
   noteDeletion( *m, seqno );
   m->mapEntryDel( seqno );
}

void EditProgram::editSequence( const Ptr<MapEntry> & entry ) {
   switch( pick( 10 ) ) {
      case 0: {
         const auto action = chance( 2 ) ? Acl::MatchPermit::deny : Acl::MatchPermit::permit;
         choices_.say( action );
         return entry->permitIs( action );
      }
      case 1: {
         const uint32_t distance = chance( 2 ) ? 0 : 1 + pick( 200 );
         choices_.say( "distance ", distance );
         if( distance == 0 ) noteDeletion( entry, kDistance );
         return entry->distanceIs( distance );
      }
      case 2: {
         const bool on = chance( 2 ), flagsFirst = chance( 2 );
         const uint32_t flags = on ? uint32_t( MapEntry::continueSeqSet ) : 0;
         const uint32_t target = chance( 3 ) ? 0 : anyNumber();
         choices_.say( on ? "continue " : "no continue, to ", target, flagsFirst ? ", flags first" : "" );
         if( flagsFirst ) entry->setFlagsIs( flags );
         entry->continueSeqIs( target );
         if( !flagsFirst ) entry->setFlagsIs( flags );
         return;
      }
      case 3: {
         const uint32_t line = pick( 2 );
         choices_.say( "description" );
         if( chance( 3 ) ) return entry->descriptionDel( line );
         return entry->descriptionIs( line, Quoin::String( "text " + std::to_string( ++lastTag_ ) ) );
      }
      case 4:
      case 5:
      case 6: {
         const Routing::RouteMap::SubRouteMap call{ chance( 4 ) ? Quoin::String() : mapName( pick( kNames ) ), chance( 4 ) };
         choices_.say( "call '", call, "'" );
         return entry->subRouteMapIs( call );
      }
      default: return editClause( entry );
   }
}

void EditProgram::editClause( const Ptr<MapEntry> & entry ) {
   const MatchOption option = kClauses[ pick( std::size( kClauses ) ) ];
   if( chance( 3 ) ) {
      choices_.say( "no match ", option );
      noteDeletion( entry, int( option ) );
      return entry->matchRuleDel( option );
   }
   MatchRule rule;
   rule.option = option;
   rule.numericValue = ++lastTag_;
   if( option != MatchOption::matchTag && option != kOwnOption && option != kUnsupported )
      rule.listName = listName( stemOf( option ), pick( kListNames ) );
   rule.invertResult = chance( 4 );
   choices_.say( "match ", rule );
   entry->matchRuleIs( rule );
}

void EditProgram::editSetters( unsigned i, uint32_t seqno ) {
   choices_.say( "set clause of ", mapName( i ), " ", seqno );
   const auto setters = agent_.options.set->of( mapName( i ), seqno );
   if( chance( 3 ) ) return setters->setterDel( kOwnSetter );
   setters->setterIs( kOwnSetter, makeNode<DistanceSetter>( static_cast<Routing::RoutePreference>( 1 + ++lastTag_ % 250 ) ) );
}

void EditProgram::editScopes() {
   if( !scopes_.empty() && chance( 2 ) ) {
      choices_.say( "close a scope" );
      const auto scope = std::move( scopes_.back() );   // its end notifies
      scopes_.pop_back();
   } else if( scopes_.size() < 3 ) {
      choices_.say( "open a scope" );
      scopes_.push_back( std::make_unique<ConfigEdit>( agent_.config ) );
   }
}

void EditProgram::editLists() {
   const unsigned i = pick( kListNames );
   switch( pick( 3 ) ) {
      case 0:
         choices_.say( "prefix list ", i );
         return editList(
            prefixLists_[ i ],
            [ & ] {
               return std::make_unique<PrefixListProducer>( agent_.root->ipv4PrefixListTable(), listName( "PL", i ),
                                                            Ferule::AddressFamily::ipv4 );
            },
            [ & ]( PrefixListProducer & list ) {
               const uint32_t seqno = 1 + pick( 3 );
               if( list.entryDel( seqno ) ) return;
               const auto refused = list.entryIs( { seqno, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, {} } );
               if( refused ) differs( "an entry is refused: ", refused->toStrep() );
            } );
      case 1:
         choices_.say( "tag set ", i );
         return editList(
            tagSets_[ i ], [ & ] { return std::make_unique<TagSetProducer>( agent_.root->tagSetTable(), listName( "TS", i ) ); },
            [ & ]( TagSetProducer & set ) {
               const Routing::RouteTag tag = pick( 3 );
               if( !set.tagDel( tag ) ) set.tagIs( tag );
            } );
      default:
         choices_.say( "access list ", i );
         return editList(
            accessLists_[ i ],
            [ & ] { return std::make_unique<AccessListProducer>( agent_.root->ipv4AclListTable()->symbol( listName( "AL", i ) ) ); },
            []( AccessListProducer & list ) { list.begin(); } );
   }
}

// A subscriber may delete the list at every write.
template <class Producer, class Make, class Edit>
void EditProgram::editList( std::unique_ptr<Producer> & list, Make make, Edit edit ) {
   if( list && chance( 4 ) ) {
      choices_.say( "delete it" );
      list.reset();
      return;
   }
   if( !list ) list = make();
   if( chance( 4 ) ) {
      choices_.say( "new version of the same" );
      if( const auto named = list->symbol(); named->statusCurrent() ) named->notifier()->versionInc( 1 );
      return;
   }
   edit( *list );
   if( !list || chance( 3 ) ) return;   // the edit stays pending
   choices_.say( "publish" );
   if constexpr( requires { list->publish(); } )
      list->publish();
   else
      list->publish( [ name = list->symbol()->name() ] { return makeNode<IpAccessListStatus>( name ); } );
}

// Mostly upwards; a version may also return to a former one.
void EditProgram::changeVersion( unsigned i ) {
   const auto m = map( i );
   if( !m ) return;
   const uint32_t now = m->version();
   const uint32_t next = now > 0 && chance( 8 ) ? now - 1 : now + 1;
   choices_.say( "version ", next, " of ", mapName( i ) );
   m->versionIs( next );
}

void EditProgram::runTasks() {
   switch( pick( 3 ) ) {
      case 0:
         choices_.say( "run all tasks" );
         agent_.scheduler->runUntilIdle();
         break;
      case 1:
         choices_.say( "run a task" );
         agent_.scheduler->runOne();
         break;
      default:
         choices_.say( "run a task, which may yield" );
         yields_ = true;
         agent_.scheduler->runOne();
         yields_ = false;
   }
}

// What a former machine has published of a name, and this one does not know, is the agent's to withdraw.
void EditProgram::start() {
   choices_.say( "start the machine" );
   const auto withdraw = [ this ] {
      for( bool found = hadMachine_; found; ) {
         found = false;
         for( unsigned i = 0; i < kNames; ++i ) {
            const auto named = symbol( i );
            if( map( i ) || ( !named->rmStatus() && named->statusCurrent() ) ) continue;
            if( agent_.machine && agent_.machine->allRmSymbol()->symbol( mapName( i ) ) ) continue;
            named->updateAndNotify( nullptr );
            found = true;
         }
      }
   };
   withdraw();
   formerBlocks_.clear();
   kept_.clear();
   isStarting_ = true;
   agent_.start();
   isStarting_ = false;
   withdraw();
   hadMachine_ = true;
}

// ---- subscribers

// A subscriber of an object that no machine watches yet is notified before the machines.
void EditProgram::watch() {
   if( watchers_.size() > 30 ) {
      choices_.say( "watch no more" );
      const auto gone = std::move( watchers_.front() );
      watchers_.erase( watchers_.begin() );
      return;
   }
   const unsigned i = pick( kNames ), list = pick( kListNames );
   const uint32_t seqno = anyNumber();
   const auto & config = agent_.config;
   const auto & machine = agent_.machine;
   const auto m = map( i );
   const auto copy = agent_.filtered->routeMap( mapName( i ) );
   const auto entry = m ? m->mapEntry( seqno ) : nullptr;
   const auto copiedEntry = copy ? copy->mapEntry( seqno ) : nullptr;
   const auto named = symbol( i );
   const auto filter = machine ? machine->routeMapConfigFilterSm( mapName( i ) ) : nullptr;
   const auto mailbox = machine ? machine->rmConfigSymbolReactorColl()->reactor( mapName( i ) ) : nullptr;
   const Ptr<const PolicySymbol> prefixList = prefixLists_[ list ] ? prefixLists_[ list ]->symbol() : nullptr;
   const Ptr<const PolicySymbol> tagSet = tagSets_[ list ] ? tagSets_[ list ]->symbol() : nullptr;
   const auto setters = agent_.options.set->of( mapName( i ), seqno );
   std::vector<std::pair<const char *, const Quoin::Node *>> all = {
      { "configuration", config.get() },
      { "copies", agent_.filtered.get() },
      { "route map", m.get() },
      { "copy", copy.get() },
      { "sequence", entry.get() },
      { "copied sequence", copiedEntry.get() },
      { "symbol", named.get() },
      { "notifier", named->notifier().get() },
      { "prefix list", prefixList.get() },
      { "prefix list's notifier", prefixList ? prefixList->notifier().get() : nullptr },
      { "tag set", tagSet.get() },
      { "tag set's notifier", tagSet ? tagSet->notifier().get() : nullptr },
      { "set clauses", setters.get() },
      { "mailbox", mailbox.get() },
      { "blocked sequences", filter ? filter->routeMapBlockedSequenceList().get() : nullptr },
      { "notifier of updates", machine ? machine->routeMapUpdateNotifier().get() : nullptr },
      { "notifier of the mode", machine ? machine->routeMapOpModeNotifier().get() : nullptr }
   };
   std::erase_if( all, []( const auto & each ) { return !each.second; } );
   const auto & [ what, node ] = all[ pick( static_cast<unsigned>( all.size() ) ) ];
   choices_.say( "watch ", what, " of ", mapName( i ), " ", seqno );
   symbols_.push_back( named );
   watchers_.push_back( std::make_unique<Reaction>( *node, [ this, by = what ]( const Quoin::Change & ) { react( by ); } ) );
}

void EditProgram::react( const char * what ) {
   if( inside_ == 0 || ( watchesMore_ ? pick( 4 ) == 0 : !chance( 2 ) ) ) return;
   --inside_;
   ++editsInside_;
   choices_.say( "inside, by the ", what, ":" );
   edit();
}

// ---- what depends on the past by rule

const RouteMapConfigFilterSm * EditProgram::filterOf( const Map & map ) const {
   const auto filter = agent_.machine ? agent_.machine->routeMapConfigFilterSm( map.name() ) : nullptr;
   return filter && filter->routeMap().get() == &map ? filter.get() : nullptr;
}

// A sequence that is deleted while it is blocked stays in the list, and its route map keeps its former version. A list that is being built
// cannot be seen.
void EditProgram::noteDeletion( const Map & map, uint32_t seqno ) {
   if( !agent_.machine && !isStarting_ ) return;
   const auto * filter = filterOf( map );
   if( filter && !filter->routeMapBlockedSequenceList()->sequence( seqno ) ) return;
   formerBlocks_.emplace( &map, seqno );
   heldMaps_.emplace_back( &map );
}

// Whether a machine has recorded the clause and not yet applied it. Records that are being built cannot be seen.
bool EditProgram::isPending( const MapEntry & entry, int clause ) const {
   if( !agent_.machine ) return isStarting_;
   for( unsigned i = 0; i < kNames; ++i ) {
      const auto m = map( i );
      if( !m || m->mapEntry( entry.seqno() ).get() != &entry ) continue;
      const auto copy = agent_.filtered->routeMap( m->name() );
      if( !copy || !copy->mapEntry( entry.seqno() ) ) return false;
      const auto compiler = agent_.machine->routeMapConfigSymbolSm( m->name() );
      const auto sm = compiler ? compiler->seqConfigSm( entry.seqno() ) : nullptr;
      if( !sm ) return true;
      if( clause == kDistance ) {
         const auto change = sm->sequenceChange()->setterChange( SetOption::setDistance );
         return change && change->setter();
      }
      const auto change = sm->sequenceChange()->matcherChange( MatchOption( clause ) );
      return change && change->matcher();
   }
   return false;
}

// A clause that is set and deleted within one version keeps what was set. Clauses of the agent do not.
void EditProgram::noteDeletion( const Ptr<MapEntry> & entry, int clause ) {
   if( MatchOption( clause ) != kOwnOption && isPending( *entry, clause ) ) kept_.emplace( entry, clause );
}

// ---- the end

// The machine finds nothing wrong at any time.
void EditProgram::verify() {
   if( !agent_.machine ) return;
   std::set<std::string> expected;
   for( const auto & [ entry, clause ] : keptClauses() )
      for( unsigned i = 0; i < kNames; ++i )
         expected.insert( std::string( mapName( i ) ) + ' ' + std::to_string( entry->seqno() ) +
                          ": a matcher is published, but not configured: " + stringValue( MatchOption( clause ) ) );
   for( const auto & line : agent_.machine->verify() )
      if( !expected.contains( line ) ) differs( line );
}

void EditProgram::runAll() {
   yields_ = false;
   agent_.scheduler->runUntilIdle();
}

void EditProgram::publishLists() {
   for( const auto & list : prefixLists_ )
      if( list && list->edited() ) list->publish();
   for( const auto & set : tagSets_ )
      if( set && set->edited() ) set->publish();
   for( const auto & list : accessLists_ )
      if( list && list->underWay() ) list->publish( [ & ] { return makeNode<IpAccessListStatus>( list->symbol()->name() ); } );
}

// Gives each route map a version that it never had.
void EditProgram::declareAll() {
   for( unsigned i = 0; i < kNames; ++i )
      if( const auto m = map( i ) ) m->versionIs( ++lastVersion_ );
   runAll();
}

bool EditProgram::isBlocked() const {
   return std::ranges::any_of( agent_.machine->routeMapConfigFilterSm(),
                               []( const auto & member ) { return !member.second->routeMapBlockedSequenceList()->sequence().empty(); } );
}

// Ends the past of sequences that were deleted while they were blocked: a new sequence of the number calls something.
void EditProgram::deleteFormerBlocks() {
   for( unsigned i = 0; i < kNames; ++i ) {
      const auto m = map( i );
      const auto * filter = m ? filterOf( *m ) : nullptr;
      if( !filter ) continue;
      for( const uint32_t seqno : kNumbers ) {
         if( !filter->routeMapBlockedSequenceList()->sequence( seqno ) ) continue;
         const auto entry = m->mapEntry( seqno );
         if( entry && !entry->subRouteMap().name.empty() ) continue;   // it waits for its call
         if( !formerBlocks_.contains( { m.get(), seqno } ) ) differs( mapName( i ), ' ', seqno, ": is blocked, and calls nothing" );
         m->mapEntryIs( seqno )->subRouteMapIs( { "NOWHERE", false } );
         if( entry )
            entry->subRouteMapIs( {} );
         else
            m->mapEntryDel( seqno );
      }
   }
}

// A blocked sequence tries its call again when any route map has a new version.
void EditProgram::wakeBlocked() {
   for( size_t n = 0; n < kNames * std::size( kNumbers ) && isBlocked(); ++n ) {
      agent_.config->routeMapIs( "WAKE" )->versionIs( 1 );
      runAll();
      agent_.config->routeMapDel( "WAKE" );
      runAll();
   }
   if( isBlocked() ) differs( "a sequence is blocked, and no call closes a cycle" );
}

std::vector<EditProgram::Clause> EditProgram::keptClauses() const {
   std::vector<Clause> clauses;
   for( unsigned i = 0; i < kNames; ++i )
      if( const auto m = map( i ) )
         for( const auto & [ seqno, entry ] : m->mapEntry() )
            for( auto k = kept_.lower_bound( { entry, 0 } ); k != kept_.end() && k->first == entry; ++k )
               if( k->second == kDistance ? entry->distance() == 0 : !entry->matchRule().find( MatchOption( k->second ) ) )
                  clauses.push_back( *k );
   return clauses;
}

// Ends the past of clauses that were set and deleted within one version: they are set in one version, and deleted in another.
void EditProgram::deleteKeptClauses() {
   const auto clauses = keptClauses();
   if( clauses.empty() ) return;
   for( const auto & [ entry, clause ] : clauses )
      if( clause == kDistance )
         entry->distanceIs( 1 );
      else
         entry->matchRuleIs( { .listName = listName( stemOf( MatchOption( clause ) ), 0 ), .option = MatchOption( clause ) } );
   declareAll();
   for( const auto & [ entry, clause ] : clauses )
      if( clause == kDistance )
         entry->distanceIs( 0 );
      else
         entry->matchRuleDel( MatchOption( clause ) );
   declareAll();
   kept_.clear();
}

void EditProgram::settle() {
   choices_.say( "let all settle" );
   inside_ = 0;
   scopes_.clear();
   if( !agent_.machine ) start();
   publishLists();
   runAll();
   breakCycles( agent_.config );
   deleteFormerBlocks();
   wakeBlocked();
   declareAll();
   verify();
   deleteKeptClauses();
   verify();
}

void EditProgram::compare() {
   if( !agent_.scheduler->idle() ) differs( "a task is due" );
   for( unsigned i = 0; i < kNames; ++i ) compareConfigured( i );
   if( isWell() ) differences_ << differencesFromFresh( agent_, kNames, kListNames );
}

// What is read without a machine: the names, numbers and tags. Nothing waits.
void EditProgram::compareConfigured( unsigned i ) {
   const auto m = map( i );
   const auto named = symbol( i );
   if( !named->statusCurrent() ) differs( mapName( i ), " is not current" );
   const auto & status = named->rmStatus();
   if( !m != !status ) differs( mapName( i ), m ? " is not published" : " is published, and not configured" );
   if( !m || !status ) return;
   std::map<uint32_t, uint64_t> configured, published;
   for( const auto & [ seqno, entry ] : m->mapEntry() ) configured[ seqno ] = entry->matchRule( MatchOption::matchTag ).numericValue;
   for( const auto & [ seqno, seq ] : status->seqStatus() ) {
      const auto matcher = seq->matcher( MatchOption::matchTag );
      const auto * tag = dynamic_cast<const TagMatcher *>( matcher.get() );
      published[ seqno ] = tag ? tag->tag() : 0;
   }
   if( configured != published ) differs( mapName( i ), " has other sequences or tags than are configured" );
   const auto compiler = agent_.machine->routeMapConfigSymbolSm( mapName( i ) );
   if( !compiler ) return differs( mapName( i ), " has no machine" );
   if( compiler->hasModifiedSequence() || !compiler->modifiedRmSeqStatusList()->seqStatus().empty() ||
       !compiler->rmConfigSymbolReactor()->pendingUpdate().empty() )
      differs( mapName( i ), " has changes that wait" );
}

// The undefined references of a route map without sequences depend on whether it ever had any. With a sequence, they do not.
void EditProgram::fillEmpty() {
   bool found = false;
   for( unsigned i = 0; i < kNames; ++i )
      if( const auto m = map( i ); m && m->mapEntry().empty() ) {
         m->mapEntryIs( 20 );
         found = true;
      }
   if( !found ) return;
   choices_.say( "fill the empty route maps" );
   declareAll();
   verify();
   compare();
}

void EditProgram::deleteAll() {
   choices_.say( "delete everything" );
   watchers_.clear();
   agent_.config->routeMapDelAll();
   for( auto & list : prefixLists_ ) list.reset();
   for( auto & list : accessLists_ ) list.reset();
   for( auto & set : tagSets_ ) set.reset();
   runAll();
   for( unsigned i = 0; i < kNames; ++i )
      if( symbol( i )->rmStatus() ) differs( mapName( i ), " is still published" );
   symbols_.clear();
   const auto & machine = *agent_.machine;
   if( !machine.routeMapConfigFilterSm().empty() || !machine.routeMapConfigSymbolSm().empty() || !machine.allRmSymbol()->symbol().empty() ||
       !machine.rmConfigSymbolReactorColl()->reactor().empty() || !agent_.filtered->routeMap().empty() )
      differs( "the machine holds a route map" );
   agent_.machine = nullptr;
   const auto & root = *agent_.root;
   if( root.routeMapTable()->count() != 0 ) differs( "a symbol of a route map is held" );
   if( root.ipv4PrefixListTable()->count() + root.ipv4AclListTable()->count() + root.tagSetTable()->count() != 0 )
      differs( "a symbol of a list is held" );
   if( agent_.config->useCount() != 1 || agent_.filtered->useCount() != 1 || root.useCount() != 1 || agent_.scheduler->useCount() != 1 )
      differs( "the configuration, the root or the scheduler is held" );
}

}   // namespace CompilationModel
