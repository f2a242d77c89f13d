#include <string>
#include <vector>

#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"
#include "policy/DistanceSetter.h"

namespace Routing::Policy {

using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;

namespace {

// Compares the three stages of all route maps: configured, copied (filtered), published.
class Verification {
 public:
   explicit Verification( const RouteMapConfigSm & machine ) : machine_( machine ) {}

   std::vector<std::string> run() {
      for( const auto & [ name, map ] : machine_.rmConfig()->routeMap() ) {
         name_ = name;
         if( !machine_.pendingDelete().find( name ) && !machine_.deferredCreates().find( name ) ) verifyRouteMap( map );
      }
      for( const auto & [ name, map ] : machine_.filteredRmConfig()->routeMap() ) {
         name_ = name;
         if( !machine_.rmConfig()->routeMap().find( name ) && !machine_.pendingDelete().find( name ) )
            differs( "is compiled but not configured" );
      }
      return std::move( differences_ );
   }

 private:
   using Entry = Quoin::Ptr<const MapEntry>;

   void differs( const std::string & what ) { differences_.push_back( std::string( name_.view() ) + ": " + what ); }
   void differs( uint32_t seqno, const std::string & what ) {
      differences_.push_back( std::string( name_.view() ) + ' ' + std::to_string( seqno ) + ": " + what );
   }
   template <class Option>
   void differs( uint32_t seqno, const char * what, Option option ) {
      differs( seqno, std::string( what ) + stringValue( option ) );
   }

   void verifyRouteMap( const Quoin::Ptr<const Map> & configured ) {
      const Quoin::Ptr<const Map> copy = machine_.filteredRmConfig()->routeMap( name_ );
      const auto filter = machine_.routeMapConfigFilterSm( name_ );
      const auto compiler = machine_.routeMapConfigSymbolSm( name_ );
      if( !copy || !filter || !compiler ) return differs( "is not compiled" );
      if( filter->routeMap() != configured || compiler->routeMap() != copy )
         return differs( "a former route map of this name is compiled" );
      const auto & blocked = *filter->routeMapBlockedSequenceList();
      if( blocked.sequence().empty() && copy->version() != configured->version() ) differs( "the version is not copied" );
      for( const auto & [ seqno, entry ] : configured->mapEntry() )
         verifyCopy( entry, copy->mapEntry( seqno ), filter->seqConfigSm( seqno ).get(), blocked.sequence( seqno ) );
      for( const auto & [ seqno, entry ] : copy->mapEntry() )
         if( !configured->mapEntry().find( seqno ) ) differs( seqno, "is copied but not configured" );
      verifyPublished( *copy, *compiler );
   }

   // ---- configured and copied

   void verifyCopy( const Entry & entry, const Entry & copy, const RmSeqConfigFilterSmBase * sm, bool isBlocked ) {
      const uint32_t seqno = entry->seqno();
      if( !copy || !sm ) return differs( seqno, "is not copied" );
      if( sm->seqConfig() != entry || sm->filteredSeqConfig() != copy )
         return differs( seqno, "a former sequence of this number is copied" );
      if( copy->permit() != entry->permit() ) differs( seqno, "the action is not copied" );
      if( copy->setFlags() != entry->setFlags() || copy->continueSeq() != entry->continueSeq() )
         differs( seqno, "the continue is not copied" );
      if( copy->distance() != entry->distance() ) differs( seqno, "the distance is not copied" );
      const auto & call = entry->subRouteMap();
      const bool isCopied = call.name.empty() ? copy->subRouteMap().name.empty() : copy->subRouteMap() == call;
      if( !isCopied && !isBlocked ) differs( seqno, "the call is not copied" );
      for( const auto & [ line, text ] : entry->description() )
         if( copy->description( line ) != text ) differs( seqno, "the description is not copied" );
      for( const auto & [ option, rule ] : entry->matchRule() ) {
         const auto * copied = copy->matchRule().find( option );
         if( sm->matchRuleSupported( option ) ? !copied || *copied != rule : copied != nullptr )
            differs( seqno, "the copy has another clause of ", option );
      }
      for( const auto & [ option, rule ] : copy->matchRule() )
         if( !entry->matchRule().find( option ) ) differs( seqno, "the copy has a deleted clause of ", option );
   }

   // ---- copied and published

   void verifyPublished( const Map & copy, const RouteMapConfigSymbolSm & compiler ) {
      const auto & symbol = *compiler.rmSymbol();
      if( machine_.allRmSymbol()->symbol( name_ ) != compiler.rmSymbol() ) differs( "another symbol of this name is in the table" );
      if( !symbol.statusCurrent() ) return;   // it waits for its version, for a list or for a callee
      const auto & status = symbol.rmStatus();
      if( !status ) {
         // A route map that lost its last sequence before its first publication is undefined until its next version.
         if( copy.version() != 0 && !copy.mapEntry().empty() ) differs( "is not published" );
         return;
      }
      for( const auto & [ seqno, entry ] : copy.mapEntry() ) {
         const auto sm = compiler.seqConfigSm( seqno );
         if( !sm || sm->seqConfig() != entry ) {
            differs( seqno, "is not compiled" );
         } else if( !sm->isModified() ) {   // else it waits for the version
            if( const auto seq = status->seqStatus( seqno ) )
               verifyCompiled( *entry, *seq, *status, *sm, compiler );
            else
               differs( seqno, "is not published" );
         }
      }
      for( const auto & [ seqno, seq ] : status->seqStatus() )
         if( !copy.mapEntry().find( seqno ) ) differs( seqno, "is published but not configured" );
   }

   void verifyCompiled( const MapEntry & entry, const RouteMapSeqStatus & seq, const RouteMapStatus & status,
                        const RmSeqConfigSymbolSmBase & sm, const RouteMapConfigSymbolSm & compiler ) {
      const uint32_t seqno = entry.seqno();
      if( seq.matchAction() != entry.permit() ) differs( seqno, "another action is published" );
      for( const auto & [ option, rule ] : entry.matchRule() )
         if( sm.matchRuleSupported( option ) ) verifyMatcher( seqno, rule, seq.matcher( option ).get(), sm );
      for( const auto & [ option, matcher ] : seq.matcher() )
         if( !entry.matchRule().find( option ) ) differs( seqno, "a matcher is published, but not configured: ", option );
      if( entry.distance() != 0 ) {
         const auto setter = seq.setter( SetOption::setDistance );
         const auto * distance = dynamic_cast<const DistanceSetter *>( setter.get() );
         if( !distance || distance->distance() != static_cast<RoutePreference>( entry.distance() ) )
            differs( seqno, "another distance is published" );
      }
      verifyCall( entry, seq );
      const auto & linked = seq.continueSeq();
      const uint32_t target = compiler.targetSeqnoForOrigin( seqno );
      if( ( linked ? linked->seqno() : 0 ) != target || ( linked && linked != status.seqStatus( target ) ) )
         differs( seqno, "another continue is published" );
   }

   void verifyMatcher( uint32_t seqno, const Routing::RouteMap::MatchRule & rule, const Matcher * matcher,
                       const RmSeqConfigSymbolSmBase & sm ) {
      if( !matcher ) return differs( seqno, "no matcher is published of ", rule.option );
      const auto * common = dynamic_cast<const CommonRmSeqConfigSymbolSm *>( &sm );
      if( !common ) return;   // only the agent knows how its machine chooses matchers
      const auto * row = findMatchOption( rule.option, common->ownOptions() );
      if( !row || !row->list || !row->isOfPresentList || ( row->namesList && !row->namesList( rule ) ) ) return;
      const auto symbol = row->list->symbol( rule.listName, *machine_.policyRoot() );
      if( symbol->statusCurrent() && !row->isOfPresentList( *matcher, *symbol ) )
         differs( seqno, "an outdated list is published of ", rule.option );
   }

   void verifyCall( const MapEntry & entry, const RouteMapSeqStatus & seq ) {
      const auto & sub = entry.subRouteMap();
      Quoin::Ptr<const RouteMapStatus> callee;
      if( !sub.name.empty() ) callee = machine_.policyRoot()->routeMapTable()->symbol( sub.name )->rmStatus();
      if( seq.subRouteMap() != callee ) differs( entry.seqno(), "another callee is published" );
      if( seq.subInvert() != ( !sub.name.empty() && sub.invertResult ) )
         differs( entry.seqno(), "the inversion of the call is not published" );
   }

   const RouteMapConfigSm & machine_;
   Quoin::String name_;   // of the route map at hand
   std::vector<std::string> differences_;
};

}   // namespace

std::vector<std::string> RouteMapConfigSm::verify() const {
   return Verification( *this ).run();
}

}   // namespace Routing::Policy
