#include "live/RouteMapsInForce.h"

#include <algorithm>
#include <utility>

#include "live/AgentSetters.h"
#include "live/Differences.h"
#include "live/OwnOptions.h"
#include "policy/RouteMetricSetter.h"
#include "text/SetForms.h"

namespace Agent {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;

namespace {

/// Writes the differing clauses of one sequence.
class SequenceEdit {
 public:
   SequenceEdit( MapEntry & entry, SequenceSetters & setters ) : entry_( entry ), setters_( setters ) {}

   /// Returns the number of differing clauses.
   size_t apply( const SequenceText & was, const SequenceText & is ) {
      clause( was.action, is.action, [ & ] { entry_.permitIs( is.action ); } );
      clause( was.description, is.description, [ & ] { description( is.description ); } );
      edits_ += forEachDifference( was.match, is.match, [ & ]( MatchOption option, const MatchClause *, const MatchClause * clause ) {
         if( clause )
            entry_.matchRuleIs( matchRuleOf( option, *clause ) );
         else
            entry_.matchRuleDel( option );
      } );
      for( const auto & form : setForms() ) {
         const auto * before = was.set.find( form.kind );
         const auto * now = is.set.find( form.kind );
         if( !differ( before, now ) ) continue;
         ++edits_;
         set( form.kind, now );
      }
      clause( was.call, is.call, [ & ] {
         entry_.subRouteMapIs( is.call ? SubRouteMap{ is.call->name, is.call->invert } : SubRouteMap{} );
      } );
      clause( was.continueTo, is.continueTo, [ & ] { continueTo( is.continueTo ); } );
      return edits_;
   }

 private:
   static constexpr uint32_t kDescriptionLine = 1;

   template <class T, class Write>
   void clause( const T & was, const T & is, Write && write ) {
      if( was == is ) return;
      ++edits_;
      write();
   }
   // Null: the clause was deleted.
   void set( SetKind kind, const SetClause * clause ) {
      const auto setter = [ & ]( SetOption option, auto make ) {
         if( clause )
            setters_.setterIs( option, make() );
         else
            setters_.setterDel( option );
      };
      const uint64_t number = clause ? clause->number : 0;
      switch( kind ) {
         case SetKind::metric: return setter( SetOption::setMetric, [ & ] { return makeNode<RouteMetricSetter>( number ); } );
         case SetKind::distance: return entry_.distanceIs( static_cast<uint32_t>( number ) );
         case SetKind::tag: return setter( SetOption::setTag, [ & ] { return makeNode<TagSetter>( static_cast<uint32_t>( number ) ); } );
         case SetKind::localPreference:
            return setter( SetOption::setLocalPreference,
                           [ & ] { return makeNode<LocalPreferenceSetter>( static_cast<uint32_t>( number ) ); } );
         case SetKind::community: return setter( SetOption::setCommunity, [ & ] { return makeNode<CommunitySetter>( *clause ); } );
         default: return;   // of the dialect of FRR, where steps apply the set clauses
      }
   }
   void description( const std::string & text ) {
      if( text.empty() )
         entry_.descriptionDel( kDescriptionLine );
      else
         entry_.descriptionIs( kDescriptionLine, text );
   }
   void continueTo( const std::optional<ContinueClause> & clause ) {
      entry_.continueSeqIs( clause ? clause->target : 0 );
      entry_.setFlagsIs( clause ? MapEntry::continueSeqSet : 0 );
   }

   MapEntry & entry_;
   SequenceSetters & setters_;
   size_t edits_ = 0;
};

}   // namespace

RouteMapsInForce::RouteMapsInForce( const Ptr<AgentRoot> & root, const Ptr<Zeugma::TaskScheduler> & scheduler, Dialect dialect )
      : dialect_( dialect ),
        config_( makeNode<Config>() ),
        setters_( makeNode<SetterTable>() ),
        root_( root ),
        machine_( compileRouteMaps( config_, setters_, root, scheduler, dialect ) ) {}

size_t RouteMapsInForce::apply( const RouteMaps & before, const RouteMaps & after ) {
   static const RouteMapText kNone;
   const auto heldBefore = std::exchange( heldBack_, routeMapsHeldBack( after, dialect_ ) );
   size_t edits = 0;
   forEachPair( before, after, [ & ]( const std::string & name, const RouteMapText * was, const RouteMapText * is ) {
      if( heldBefore.contains( name ) ) was = nullptr;
      if( heldBack_.contains( name ) ) is = nullptr;
      if( !differ( was, is ) ) return;
      edits += is ? routeMapIs( name, was ? *was : kNone, *is ) : routeMapDel( name );
   } );
   return edits;
}

size_t RouteMapsInForce::routeMapDel( const std::string & name ) {
   const auto gone = inForce_.extract( name );
   for( auto i = gone.mapped().map->mapEntry().first(); i; i.next() ) setters_->sequenceDel( name, i.key() );
   config_->routeMapDel( name );
   if( gone.mapped().told ) gone_.push_back( name );
   return 1;
}

size_t RouteMapsInForce::routeMapIs( const std::string & name, const RouteMapText & was, const RouteMapText & is ) {
   static const SequenceText kNone;
   auto & inForce = inForce_[ name ];
   if( !inForce.map ) inForce = { config_->routeMapIs( name ), root_->routeMapTable()->symbol( name ), nullptr };
   Map & map = *inForce.map;
   size_t edits = 0;
   forEachDifference( was.sequences, is.sequences, [ & ]( uint32_t seqno, const SequenceText * old, const SequenceText * sequence ) {
      if( !old || !sequence ) ++edits;
      if( !sequence ) {
         map.mapEntryDel( seqno );
         setters_->sequenceDel( name, seqno );
         return;
      }
      edits += SequenceEdit( *map.mapEntryIs( seqno ), *setters_->of( name, seqno ) ).apply( old ? *old : kNone, *sequence );
   } );
   map.versionIs( map.version() + 1 );
   return edits;
}

std::vector<std::string> RouteMapsInForce::republished() {
   std::vector<std::string> names = std::exchange( gone_, {} );
   for( auto & [ name, inForce ] : inForce_ ) {
      const auto & status = inForce.symbol->rmStatus();
      if( status == inForce.told ) continue;
      inForce.told = status;
      names.push_back( name );
   }
   std::sort( names.begin(), names.end() );
   return names;
}

Ptr<const RouteMapStatus> RouteMapsInForce::status( const std::string & name ) const {
   const auto found = inForce_.find( name );
   return found == inForce_.end() ? nullptr : found->second.symbol->rmStatus();
}

}   // namespace Agent
