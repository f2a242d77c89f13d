#include "tests/model/CompiledAgent.h"

#include <sstream>
#include <vector>

#include "compile/RouteMapLoopDetect.h"
#include "policy/PrefixListMatcher.h"

namespace CompilationModel {

Quoin::String mapName( unsigned i ) {
   return Quoin::String( "RM" + std::to_string( i ) );
}

Quoin::String listName( const char * stem, unsigned i ) {
   return Quoin::String( stem + std::to_string( i ) );
}

// ---- statuses as text

namespace {

// A map without sequences says that nothing is undefined when it was born so, and that everything is when it was emptied. Who calls one
// inherits that.
bool saysByItsHistory( const RouteMapStatus & status ) {
   if( status.seqStatus().empty() ) return true;
   for( const auto & [ seqno, seq ] : status.seqStatus() )
      if( seq->subRouteMap() && saysByItsHistory( *seq->subRouteMap() ) ) return true;
   return false;
}

}   // namespace

std::string textOf( const RouteMapStatus * status ) {
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

void Agent::start() {
   machine = routeMapConfigSmFactory( config, filtered, root, makeNode<CommonRmConfigFilterSmHelper>( options.match ),
                                      makeNode<CommonRmConfigSymbolSmHelper>( root, options ), scheduler, aggregateUsers );
}

void breakCycles( const Ptr<Config> & config ) {
   for( bool found = true; found; ) {
      found = false;
      for( const auto & [ name, map ] : config->routeMap() )
         for( const auto & [ seqno, entry ] : map->mapEntry() ) {
            const auto & call = entry->subRouteMap();
            if( call.name.empty() || !RouteMapLoopDetect{ config }.hasLoops( name, call.name ) ) continue;
            entry->subRouteMapIs( {} );
            found = true;
         }
   }
}

std::string differencesFromFresh( const Agent & agent, unsigned maps, unsigned lists ) {
   Agent fresh( agent.config );
   fresh.options = agent.options;
   std::vector<Ptr<const PolicySymbol>> held;
   const auto give = [ & ]<class Table>( const Ptr<Table> & from, const Ptr<Table> & to, const char * stem ) {
      for( unsigned i = 0; i < lists; ++i ) {
         const auto symbol = to->symbol( listName( stem, i ) );
         symbol->statusIs( from->symbol( listName( stem, i ) )->status() );
         held.push_back( symbol );
      }
   };
   give( agent.root->ipv4PrefixListTable(), fresh.root->ipv4PrefixListTable(), "PL" );
   give( agent.root->ipv6PrefixListTable(), fresh.root->ipv6PrefixListTable(), "P6" );
   give( agent.root->ipv4AclListTable(), fresh.root->ipv4AclListTable(), "AL" );
   give( agent.root->tagSetTable(), fresh.root->tagSetTable(), "TS" );
   fresh.start();
   fresh.scheduler->runUntilIdle();
   std::ostringstream differences;
   for( unsigned i = 0; i < maps; ++i ) {
      const auto text = [ & ]( const Agent & of ) { return textOf( of.root->routeMapTable()->symbol( mapName( i ) )->rmStatus().get() ); };
      if( const auto ours = text( agent ), wanted = text( fresh ); ours != wanted )
         differences << mapName( i ) << " is published as " << ours << ", and compiled afresh as " << wanted << '\n';
   }
   return differences.str();
}

}   // namespace CompilationModel
