#include "live/RouteMapsInForce.h"

#include <algorithm>
#include <utility>

#include "live/AgentSetters.h"
#include "live/Differences.h"
#include "live/OwnOptions.h"
#include "policy/RouteMetricSetter.h"

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
      setter<RouteMetricSetter>( SetOption::setMetric, was.set.metric, is.set.metric );
      setter<TagSetter>( SetOption::setTag, was.set.tag, is.set.tag );
      setter<LocalPreferenceSetter>( SetOption::setLocalPreference, was.set.localPreference, is.set.localPreference );
      setter<CommunitySetter>( SetOption::setCommunity, was.set.community, is.set.community );
      clause( was.set.distance, is.set.distance, [ & ] { entry_.distanceIs( is.set.distance.value_or( 0 ) ); } );
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
   template <class S, class T>
   void setter( SetOption option, const std::optional<T> & was, const std::optional<T> & is ) {
      clause( was, is, [ & ] {
         if( is )
            setters_.setterIs( option, makeNode<S>( *is ) );
         else
            setters_.setterDel( option );
      } );
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

RouteMapsInForce::RouteMapsInForce( const Ptr<AgentRoot> & root, const Ptr<Zeugma::TaskScheduler> & scheduler )
      : config_( makeNode<Config>() ),
        setters_( makeNode<SetterTable>() ),
        root_( root ),
        machine_( compileRouteMaps( config_, setters_, root, scheduler ) ) {}

size_t RouteMapsInForce::apply( const PolicyText & before, const PolicyText & after ) {
   static const RouteMapText kNone;
   const auto heldBefore = std::exchange( heldBack_, routeMapsHeldBack( after.routeMaps ) );
   size_t edits = 0;
   forEachPair( before.routeMaps, after.routeMaps, [ & ]( const std::string & name, const RouteMapText * was, const RouteMapText * is ) {
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
