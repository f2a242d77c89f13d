#include "tests/model/EvaluationTwin.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "policy/DistanceSetter.h"
#include "policy/GwMatcher.h"
#include "policy/InterfaceMatcher.h"
#include "policy/IsisInstanceMatcher.h"
#include "policy/NexthopMatcher.h"
#include "policy/NexthopPrefixMatcher.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/RouteMetricMatcher.h"
#include "policy/RouteMetricSetter.h"
#include "policy/SourceProtoMatcher.h"
#include "policy/TagMatcher.h"
#include "substrate/routemap/PrefixListBuilder.h"

namespace EvaluationModel {

// ---- matchers, setters and functions that leave traces

struct CountdownMatcher final : Lib::Matcher {
   explicit CountdownMatcher( unsigned t ) : times( t ) {}
   bool match( const Lib::MatchInput_ *, const Ptr<Lib::PolicyEvalContext> & ) const override {
      if( asked == 100000 ) throw std::runtime_error( "an evaluation without end" );   // no policy asks so often
      return asked++ < times;
   }
   void formatDerivedType( std::ostream & os ) const override { os << "CountdownMatcher"; }
   unsigned times;
   mutable unsigned asked = 0;
};

namespace {

/// Says that it was asked, and asks the one behind it.
struct WatchedMatcher final : Lib::Matcher {
   WatchedMatcher( Ptr<const Matcher> i, size_t w, Asked & a ) : inner( std::move( i ) ), which( w ), asked( a ) {}
   bool match( const Lib::MatchInput_ * input, const Ptr<Lib::PolicyEvalContext> & context ) const override {
      asked.matchers.push_back( which );
      asked.context = context.get();
      return inner->match( input, context );
   }
   void formatDerivedType( std::ostream & os ) const override { inner->formatDerivedType( os ); }
   Ptr<const Matcher> inner;
   size_t which;
   Asked & asked;
};

struct FixedMatcher final : Lib::Matcher {
   explicit FixedMatcher( bool a ) : answer( a ) {}
   bool match( const Lib::MatchInput_ *, const Ptr<Lib::PolicyEvalContext> & ) const override { return answer; }
   void formatDerivedType( std::ostream & os ) const override { os << "FixedMatcher"; }
   bool answer;
};

std::vector<Event> & eventsOf( Lib::Result_ * result ) {
   return static_cast<WatchedResult *>( result )->events;
}

struct WatchedSetter final : Lib::Setter {
   WatchedSetter( Ptr<const Setter> i, size_t w ) : inner( std::move( i ) ), which( w ) {}
   void setValue( Lib::Result_ * result ) const override {
      eventsOf( result ).push_back( { Event::set, which } );
      inner->setValue( result );
   }
   void formatDerivedType( std::ostream & os ) const override { inner->formatDerivedType( os ); }
   Ptr<const Setter> inner;
   size_t which;
};

struct TagSetter final : Lib::Setter {
   explicit TagSetter( uint32_t t ) : tag( t ) {}
   void setValue( Lib::Result_ * result ) const override { result->tagIs( tag ); }
   void formatDerivedType( std::ostream & os ) const override { os << "TagSetter"; }
   uint32_t tag;
};

struct NoSetter final : Lib::Setter {
   void setValue( Lib::Result_ * ) const override {}
   void formatDerivedType( std::ostream & os ) const override { os << "NoSetter"; }
};

struct LateSetter final : Lib::Setter {
   LateSetter( uint64_t a, size_t w, bool s ) : add( a ), which( w ), watched( s ) {}
   void setValue( Lib::Result_ * result ) const override {
      if( watched ) eventsOf( result ).push_back( { Event::set, which } );
      result->deferredSetterIs( this );
   }
   void deferredSetValue( Lib::Result_ * result ) const override {
      if( watched ) eventsOf( result ).push_back( { Event::setLate, which } );
      result->metricIs( ( result->metric().present() ? result->metric().value() : result->preference() ) + add );
   }
   void formatDerivedType( std::ostream & os ) const override { os << "LateSetter"; }
   uint64_t add;
   size_t which;
   bool watched;
};

struct FunctionLog final : Lib::EvaluationLogBase {
   explicit FunctionLog( size_t w ) : which( w ) {}
   const char * policyType() const override { return "function"; }
   void toJson( Gloss::RendererV2 * ) const override {}
   size_t which;
};

struct FunctionContext final : Gyre::Eval::EvalContextBase {
   explicit FunctionContext( WatchedResult & r ) : where( r ) {}
   Lib::Result_ * result() const override { return &where; }
   void shouldLogEvalIs( bool shouldLog ) override { logging = shouldLog; }
   Ptr<const Lib::EvaluationLogBase> takeEvaluationLog() override { return std::exchange( log, nullptr ); }
   WatchedResult & where;
   bool logging = false;
   Ptr<const Lib::EvaluationLogBase> log;
};

struct FunctionBody final : Gyre::Eval::FunctionBase {
   FunctionBody( Body b, size_t w ) : body( b ), which( w ) {}
   Gyre::Eval::ResultCode evaluate( const Ptr<Gyre::Eval::EvalContextBase> & context ) const override {
      auto & ctx = static_cast<FunctionContext &>( *context );
      ctx.where.events.push_back( { ctx.logging ? Event::functionRanLogging : Event::functionRan, which } );
      ctx.where.preferenceIs( static_cast<Routing::RoutePreference>( body.preference ) );
      if( ctx.logging ) ctx.log = makeNode<FunctionLog>( which );
      return Gyre::Eval::ResultCode( body.code );
   }
   void dumpState( const Zeugma::DumpContextPtr &, unsigned ) const override {}
   Body body;
   size_t which;
};

}   // namespace

// ---- plain values

namespace {

Ferule::AddressFamily familyOf( unsigned family ) {
   return family == 4 ? Ferule::AddressFamily::ipv4 : family == 6 ? Ferule::AddressFamily::ipv6 : Ferule::AddressFamily::unset;
}

}   // namespace

Ferule::IpGenAddr twinOf( const Address & a ) {
   Ferule::Bits128 bits;
   for( size_t i = 0; i < a.bits.size(); ++i )
      if( a.bits[ i ] == '1' ) ( i < 64 ? bits.high : bits.low ) |= uint64_t( 1 ) << ( 63 - i % 64 );
   if( a.family == 4 ) return Ferule::IpAddr( static_cast<uint32_t>( bits.high >> 32 ) );
   if( a.family == 6 ) return Ferule::Ip6Addr( bits );
   return {};
}

Ferule::IpGenPrefix twinOf( const Prefix & p ) {
   if( p.address.family == 0 ) return {};
   return { twinOf( p.address ), static_cast<uint8_t>( p.length ) };
}

Zeugma::MaybeU63 twinOf( const Metric & metric ) {
   return metric ? Zeugma::MaybeU63( *metric ) : Zeugma::MaybeU63();
}

Metric metricOf( Zeugma::MaybeU63 metric ) {
   return metric.present() ? Metric( metric.value() ) : Metric();
}

Ptr<Lib::ResolvedNexthopInfoSet> twinOf( const Resolved & resolved ) {
   auto set = makeNode<Lib::ResolvedNexthopInfoSet>();
   for( uint32_t intf : resolved.interfaces ) set->intfIdIs( Ferule::IntfId( intf ) );
   for( const Address & nexthop : resolved.nexthops ) set->resolvedNexthopIs( twinOf( nexthop ), false );
   return set;
}

Lib::MatchInput_ twinOf( const Route & route ) {
   Lib::MatchInput_ input;
   input.metricIs( twinOf( route.metric ) );
   input.protocolIs( Routing::RouteProto( route.protocol ) );
   input.prefixIs( twinOf( route.prefix ) );
   input.nexthopIs( twinOf( route.nexthop ) );
   input.routerIdIs( twinOf( route.routerId ).v4Addr() );
   input.tagIs( route.tag );
   if( route.resolved ) input.resolvedNexthopInfoSetIs( twinOf( *route.resolved ) );
   input.ospfInstanceIs( route.ospfInstance );
   input.isisInstanceIs( route.isisInstance );
   input.matchInterfaceIs( route.matchInterface );
   input.matchResolvedNexthopInfoIs( route.matchResolvedNexthopInfo );
   input.denyResolvedNexthopIs( route.denyResolvedNexthop );
   return input;
}

LateInput::LateInput( const Route & route ) : late( twinOf( route ) ) {
   matchInterfaceIs( route.matchInterface );
   matchResolvedNexthopInfoIs( route.matchResolvedNexthopInfo );
   denyResolvedNexthopIs( route.denyResolvedNexthop );
}

void WatchedResult::setPreference( Routing::RoutePreference preference ) {
   events.push_back( { Event::toldPreference, preference } );
   Result_::setPreference( preference );
}

void WatchedResult::setTag( Routing::RouteTag tag ) {
   events.push_back( { Event::toldTag, tag } );
   Result_::setTag( tag );
}

Twin::Twin( const Policy & p ) : policy( p ) {
   for( const PrefixList & list : p.prefixLists ) prefixLists_.push_back( build( list ) );
   for( const auto & tags : p.tagSets ) {
      tagSets_.push_back( makeNode<Lib::TagSetStatus>( "tags" ) );
      for( uint32_t tag : tags ) tagSets_.back()->tagIs( tag );
   }
   for( size_t i = 0; i < p.matchers.size(); ++i ) {
      Ptr<const Lib::Matcher> matcher = std::visit( [ this ]( const auto & t ) { return this->build( t ); }, p.matchers[ i ].test );
      if( p.matchers[ i ].watched ) matcher = makeNode<WatchedMatcher>( matcher, i, asked );
      matchers_.push_back( matcher );
   }
   for( size_t i = 0; i < p.setters.size(); ++i ) setters_.push_back( build( p.setters[ i ], i ) );
   for( size_t i = 0; i < p.routeMaps.size(); ++i ) routeMaps.push_back( build( p.routeMaps[ i ], i ) );
   for( size_t i = 0; i < p.functions.size(); ++i ) {
      functions.push_back( Gyre::FunctionStatusBase::FunctionStatusBaseIs( "function" ) );
      if( p.functions[ i ].body ) functions.back()->aetIs( makeNode<FunctionBody>( *p.functions[ i ].body, i ) );
   }
}

Twin::~Twin() = default;

void Twin::restart() {
   asked = {};
   for( const auto & countdown : countdowns_ ) countdown->asked = 0;
}

void Twin::enrol( const Ptr<const Lib::RouteMapStatus> & map, size_t index ) {
   for( const auto & [ number, seq ] : map->seqStatus() ) places_[ seq.get() ] = { index, number };
   indices_[ map.get() ] = index;
}

Place Twin::placeOf( const Lib::RouteMapSeqStatus * seq ) const {
   const auto found = places_.find( seq );
   return found == places_.end() ? Place{ 999, seq->seqno() } : found->second;
}

Matched Twin::placesOf( const Lib::MatchedRouteMapSequences & matched ) const {
   Matched places;
   for( const auto * seq : matched ) places.push_back( placeOf( seq ) );
   return places;
}

Decision Twin::decisionOf( const Lib::Decision & d ) const {
   Decision decision;
   if( d.routeMap ) decision.routeMap = indices_.at( d.routeMap );
   for( size_t i = 0; i < functions.size(); ++i )
      if( d.function == functions[ i ].get() ) decision.function = i;
   if( d.sequence ) decision.sequence = d.sequence->seqno();
   if( d.caller ) decision.caller = placeOf( d.caller );
   decision.depth = d.depth;
   if( d.precedence ) decision.precedence = d.precedence->value();
   decision.inverted = d.inverted;
   decision.permitted = d.permitted;
   return decision;
}

Ptr<Lib::RouteMapStatusList> Twin::build( const List & list ) const {
   auto twin = makeNode<Lib::RouteMapStatusList>();
   for( const ListEntry & e : list.routeMaps )
      twin->rmStatusIs( Lib::RmPrecedence( static_cast<uint8_t>( e.precedence ) ), routeMaps[ e.routeMap ] );
   if( list.gyre ) twin->gyreStatusIs( functions[ *list.gyre ] );
   if( list.gyreMaint ) twin->gyreStatusMaintIs( functions[ *list.gyreMaint ] );
   if( list.gyreFilter ) twin->gyreStatusFilterIs( functions[ *list.gyreFilter ] );
   if( list.gyreDefaultOriginate ) twin->gyreStatusDefaultOriginateIs( functions[ *list.gyreDefaultOriginate ] );
   return twin;
}

void Twin::start( WatchedResult & twin, const Result & before ) const {
   twin.preferenceStorageIs( static_cast<Routing::RoutePreference>( before.preference ) );
   twin.tagStorageIs( before.tag );
   twin.metricIs( twinOf( before.metric ) );
   if( !before.deferred ) return;
   // A list that was used and emptied stays with the result.
   const auto spare = makeNode<NoSetter>();
   twin.deferredSetterIs( spare.get() );
   twin.deferredSetterDel( spare.get() );
   for( size_t setter : *before.deferred ) twin.deferredSetterIs( setters_[ setter ].get() );
}

Result Twin::resultOf( const WatchedResult & twin ) const {
   Result result{ twin.preference(), twin.tag(), metricOf( twin.metric() ), {}, twin.events };
   if( !twin.dps() ) return result;
   result.deferred.emplace();
   for( const auto * setter : twin.dps()->setters() ) {
      size_t which = 0;
      while( which < setters_.size() && setters_[ which ].get() != setter ) ++which;
      result.deferred->push_back( which );
   }
   return result;
}

Ptr<const Lib::PrefixListStatus> Twin::build( const PrefixList & list ) {
   Routing::RouteMap::PrefixListBuilder builder( "list", familyOf( list.family ) );
   for( const PrefixListEntry & e : list.entries ) {
      const auto action = e.permit ? Acl::MatchPermit::permit : Acl::MatchPermit::deny;
      if( const auto error = builder.entryIs( { e.number, action, twinOf( e.prefix ), e.ge, e.le } ) )
         throw std::logic_error( error->toStrep().data() );
   }
   return builder.build();
}

Twin::M Twin::build( const Fixed & t ) {
   return makeNode<FixedMatcher>( t.answer );
}

Twin::M Twin::build( const TagIs & t ) {
   return makeNode<Lib::TagMatcher>( t.tag );
}

Twin::M Twin::build( const MetricIs & t ) {
   return makeNode<Lib::RouteMetricMatcher>( twinOf( t.metric ) );
}

Twin::M Twin::build( const ProtocolIs & t ) {
   return makeNode<Lib::SourceProtoMatcher>( Routing::RouteProto( t.protocol ) );
}

Twin::M Twin::build( const NexthopIs & t ) {
   return makeNode<Lib::NexthopMatcher>( twinOf( t.address ) );
}

Twin::M Twin::build( const NexthopIn & t ) {
   return makeNode<Lib::NexthopPrefixMatcher>( twinOf( t.prefix ) );
}

Twin::M Twin::build( const OspfInstanceIs & t ) {
   return makeNode<Lib::OspfInstanceMatcher>( t.instance );
}

Twin::M Twin::build( const IsisInstanceIs & t ) {
   return makeNode<Lib::IsisInstanceMatcher>( t.instance );
}

Twin::M Twin::build( const InterfaceIs & t ) {
   return makeNode<Lib::InterfaceMatcher>( Ferule::IntfId( t.interface ) );
}

Twin::M Twin::build( const Gateway & ) {
   return makeNode<Lib::GwMatcher>();
}

Twin::M Twin::build( const Countdown & t ) {
   countdowns_.push_back( makeNode<CountdownMatcher>( t.times ) );
   return countdowns_.back();
}

Twin::M Twin::build( const TagIn & t ) {
   return makeNode<Lib::TagSetMatcher>( "tags", t.set ? Ptr<const Lib::TagSetStatus>( tagSets_[ *t.set ] ) : nullptr );
}

Twin::M Twin::build( const PermittedBy & t ) {
   switch( t.about ) {
      case About::route: return prefixListMatcher<Lib::PrefixListMatcher>( t );
      case About::nexthop: return prefixListMatcher<Lib::NexthopPrefixListMatcher>( t );
      case About::resolvedNexthop: return prefixListMatcher<Lib::ResolvedNexthopPfxListMatcher>( t );
      case About::routerId: return prefixListMatcher<Lib::RouterIdMatcher>( t );
   }
   return nullptr;
}

template <class T>
Twin::M Twin::prefixListMatcher( const PermittedBy & t ) {
   auto matcher = makeNode<T>( "list", t.list ? prefixLists_[ *t.list ] : nullptr );
   matcher->invertResultIs( t.invert );
   return matcher;
}

Ptr<const Lib::Setter> Twin::build( const Setter & s, size_t which ) {
   if( auto * e = std::get_if<SetLate>( &s.effect ) ) return makeNode<LateSetter>( e->add, which, s.watched );
   Ptr<const Lib::Setter> setter = makeNode<NoSetter>();
   if( auto * e = std::get_if<SetPreference>( &s.effect ) )
      setter = makeNode<Lib::DistanceSetter>( static_cast<Routing::RoutePreference>( e->preference ) );
   if( auto * e = std::get_if<SetMetric>( &s.effect ) ) setter = makeNode<Lib::RouteMetricSetter>( twinOf( e->metric ) );
   if( auto * e = std::get_if<SetTag>( &s.effect ) ) setter = makeNode<TagSetter>( e->tag );
   if( s.watched ) setter = makeNode<WatchedSetter>( setter, which );
   return setter;
}

Ptr<const Lib::RouteMapStatus> Twin::build( const RouteMap & map, size_t index ) {
   std::map<uint32_t, Ptr<Lib::RouteMapSeqStatus>> built;
   std::vector<const Sequence *> descending;
   for( const Sequence & s : map.sequences ) descending.push_back( &s );
   std::sort( descending.begin(), descending.end(), []( auto * a, auto * b ) { return a->number > b->number; } );
   for( const Sequence * s : descending ) built[ s->number ] = build( *s, built );

   auto status = makeNode<Lib::RouteMapStatus>( Quoin::String( map.name ) );
   for( const Sequence & s : map.sequences ) status->seqStatusIs( built[ s.number ] );
   enrol( status, index );
   return status;
}

// `later` has the sequences of higher numbers.
Ptr<Lib::RouteMapSeqStatus> Twin::build( const Sequence & s, const std::map<uint32_t, Ptr<Lib::RouteMapSeqStatus>> & later ) {
   auto seq = makeNode<Lib::RouteMapSeqStatus>( s.number );
   seq->matchActionIs( s.permit ? Acl::MatchPermit::permit : Acl::MatchPermit::deny );
   seq->subInvertIs( s.subInvert );
   for( const Clause & c : s.matchers ) seq->matcherIs( Lib::MatchOption( c.option ), matchers_[ c.which ] );
   for( const Clause & c : s.setters ) seq->setterIs( Lib::SetOption( c.option ), setters_[ c.which ] );
   if( s.subRouteMap ) seq->subRouteMapIs( routeMaps[ *s.subRouteMap ] );
   if( s.aggregateRouteMap ) seq->aggRoleAttrMapIs( routeMaps[ *s.aggregateRouteMap ] );
   if( s.continueTo ) {
      const auto found = later.find( *s.continueTo );
      seq->continueSeqIs( found == later.end() || s.continueByStandIn ? standIn( *s.continueTo ) : found->second );
   }
   return seq;
}

// Nothing of it may count but its number.
Ptr<Lib::RouteMapSeqStatus> Twin::standIn( uint32_t number ) const {
   auto seq = makeNode<Lib::RouteMapSeqStatus>( number );
   seq->matchActionIs( Acl::MatchPermit::deny );
   seq->matcherIs( Lib::MatchOption::matchTag, makeNode<FixedMatcher>( false ) );
   seq->setterIs( Lib::SetOption::setTag, setters_.empty() ? makeNode<NoSetter>() : setters_[ 0 ] );
   return seq;
}

void Recorder::decided( const Lib::Decision & decision ) {
   decisions.push_back( twin_.decisionOf( decision ) );
   chain_.decided( decision );
}

Decisions Recorder::chain() const {
   Decisions all;
   for( const Lib::Decision & d : chain_ ) all.push_back( twin_.decisionOf( d ) );
   return all;
}

// ---- showing

namespace {

void show( std::ostream & os, const Event & e ) {
   static const char * const kKinds[] = { "set ", "set late ", "told preference ", "told tag ", "function ", "function, logging, " };
   os << kKinds[ e.kind ] << e.what;
}

void show( std::ostream & os, const Place & p ) {
   os << p.routeMap << ':' << p.number;
}

void show( std::ostream & os, bool value ) {
   os << ( value ? "true" : "false" );
}

void show( std::ostream & os, const std::string & text ) {
   os << text;
}

template <class T>
   requires std::is_arithmetic_v<T>
void show( std::ostream & os, T number ) {
   os << +number;
}

void show( std::ostream & os, const Decision & d );

template <class T>
void show( std::ostream & os, const std::vector<T> & row ) {
   os << '{';
   for( const T & item : row ) {
      os << ' ';
      show( os, item );
      os << ';';
   }
   os << " }";
}

template <class T>
void show( std::ostream & os, const std::optional<T> & value ) {
   if( value )
      show( os, *value );
   else
      os << "none";
}

void show( std::ostream & os, const Decision & d ) {
   os << d.depth << ": " << ( d.routeMap ? "route map " : "function " ) << d.routeMap.value_or( d.function.value_or( 999 ) )
      << ", sequence ";
   show( os, d.sequence );
   os << ( d.permitted ? " permits for " : " denies for " );
   show( os, d.caller );
   os << ( d.inverted ? ", inverted, at " : ", at " );
   show( os, d.precedence );
}

void show( std::ostream & os, const Result & r ) {
   os << "preference " << r.preference << ", tag " << r.tag << ", metric ";
   show( os, r.metric );
   os << ", deferred ";
   show( os, r.deferred );
   os << ", events ";
   show( os, r.events );
}

}   // namespace

// ---- describing a policy

std::string describe( const Address & a ) {
   return std::string( twinOf( a ).toStrep().view() );
}

std::string describe( const Prefix & p ) {
   return std::string( twinOf( p ).toStrep().view() );
}

std::string describe( const std::optional<size_t> & place ) {
   return place ? std::to_string( *place ) : "undefined";
}

std::string describe( const Metric & metric, const char * absent ) {
   return metric ? std::to_string( *metric ) : absent;
}

std::string describe( const Condition & test ) {
   static const char * const kAbout[] = { "prefix", "next hop", "resolved next hop", "router id" };
   struct Describe {
      std::string operator()( const Fixed & t ) const { return t.answer ? "holds" : "fails"; }
      std::string operator()( const Countdown & t ) const { return "holds " + std::to_string( t.times ) + " times"; }
      std::string operator()( const TagIs & t ) const { return "tag " + std::to_string( t.tag ); }
      std::string operator()( const MetricIs & t ) const { return "metric " + describe( t.metric, "none" ); }
      std::string operator()( const ProtocolIs & t ) const { return "protocol " + std::to_string( t.protocol ); }
      std::string operator()( const NexthopIs & t ) const { return "next hop " + describe( t.address ); }
      std::string operator()( const NexthopIn & t ) const { return "next hop in " + describe( t.prefix ); }
      std::string operator()( const OspfInstanceIs & t ) const { return "ospf " + std::to_string( t.instance ); }
      std::string operator()( const IsisInstanceIs & t ) const { return "isis " + std::to_string( t.instance ); }
      std::string operator()( const InterfaceIs & t ) const { return "interface " + std::to_string( t.interface ); }
      std::string operator()( const Gateway & ) const { return "gateway"; }
      std::string operator()( const TagIn & t ) const { return "tag in set " + describe( t.set ); }
      std::string operator()( const PermittedBy & t ) const {
         return std::string( kAbout[ int( t.about ) ] ) + ( t.invert ? " not" : "" ) + " in prefix list " + describe( t.list );
      }
   };
   return std::visit( Describe(), test );
}

std::string describe( const Effect & effect ) {
   struct Describe {
      std::string operator()( const SetPreference & e ) const { return "preference " + std::to_string( e.preference ); }
      std::string operator()( const SetMetric & e ) const { return "metric " + describe( e.metric, "none" ); }
      std::string operator()( const SetTag & e ) const { return "tag " + std::to_string( e.tag ); }
      std::string operator()( const SetNothing & ) const { return "nothing"; }
      std::string operator()( const SetLate & e ) const { return "late, add " + std::to_string( e.add ); }
   };
   return std::visit( Describe(), effect );
}

std::string describe( const Sequence & s ) {
   std::string out = "   " + std::to_string( s.number ) + ( s.permit ? " permit" : " deny" );
   for( const Clause & c : s.matchers ) out += ", matcher " + std::to_string( c.which ) + " under " + std::to_string( c.option );
   if( s.subInvert ) out += ", inverted";
   if( s.subRouteMap ) out += ", calls " + std::to_string( *s.subRouteMap );
   for( const Clause & c : s.setters ) out += ", setter " + std::to_string( c.which ) + " under " + std::to_string( c.option );
   if( s.continueTo ) out += ", continues at " + std::to_string( *s.continueTo ) + ( s.continueByStandIn ? " (stand-in)" : "" );
   return out + "\n";
}

std::string describe( const Policy & p ) {
   std::ostringstream os;
   for( size_t i = 0; i < p.prefixLists.size(); ++i ) {
      os << "prefix list " << i << ", IPv" << p.prefixLists[ i ].family << '\n';
      for( const PrefixListEntry & e : p.prefixLists[ i ].entries )
         os << "   " << e.number << ( e.permit ? " permit " : " deny " ) << describe( e.prefix )
            << ( e.ge ? " ge " + std::to_string( *e.ge ) : "" ) << ( e.le ? " le " + std::to_string( *e.le ) : "" ) << '\n';
   }
   for( size_t i = 0; i < p.tagSets.size(); ++i ) {
      os << "tag set " << i << ' ';
      show( os, p.tagSets[ i ] );
      os << '\n';
   }
   for( size_t i = 0; i < p.matchers.size(); ++i ) os << "matcher " << i << ": " << describe( p.matchers[ i ].test ) << '\n';
   for( size_t i = 0; i < p.setters.size(); ++i ) os << "setter " << i << ": " << describe( p.setters[ i ].effect ) << '\n';
   for( size_t i = 0; i < p.routeMaps.size(); ++i ) {
      os << "route map " << i << ' ' << quoted( p.routeMaps[ i ].name ) << '\n';
      for( const Sequence & s : p.routeMaps[ i ].sequences ) os << describe( s );
   }
   for( size_t i = 0; i < p.functions.size(); ++i ) {
      const auto & body = p.functions[ i ].body;
      os << "function " << i << ": "
         << ( body ? "code " + std::to_string( body->code ) + ", preference " + std::to_string( body->preference ) : "undefined" ) << '\n';
   }
   for( const List & list : p.lists ) {
      os << "list";
      for( const ListEntry & e : list.routeMaps ) os << ", route map " << e.routeMap << " at " << e.precedence;
      if( list.gyre ) os << ", function " << *list.gyre;
      if( list.gyreMaint ) os << ", function for maintenance " << *list.gyreMaint;
      os << '\n';
   }
   return os.str();
}

std::string describe( const Route & r ) {
   std::string resolved = "unknown";
   if( r.resolved ) {
      resolved = "{";
      for( uint32_t interface : r.resolved->interfaces ) resolved += " " + std::to_string( interface );
      for( const Address & nexthop : r.resolved->nexthops ) resolved += " " + describe( nexthop );
      resolved += " }";
   }
   return "route " + describe( r.prefix ) + ", next hop " + describe( r.nexthop ) + ", resolved " + resolved + ", router id " +
      describe( r.routerId ) + ", metric " + describe( r.metric, "none" ) + ", protocol " + std::to_string( r.protocol ) + ", tag " +
      std::to_string( r.tag ) + ", ospf " + std::to_string( r.ospfInstance ) + ", isis " + std::to_string( r.isisInstance ) +
      ( r.matchInterface ? ", matchInterface" : "" ) + ( r.matchResolvedNexthopInfo ? ", matchResolvedNexthopInfo" : "" ) +
      ( r.denyResolvedNexthop ? ", denyResolvedNexthop" : "" ) + "\n";
}

Comparison::Comparison( Twin & twin, const Route & route, const Result & before, Watching watching )
      : twin_( twin ),
        route_( route ),
        before_( before ),
        plainInput_( twinOf( route ) ),
        lateInput_( route ),
        logging_( watching == Watching::log || watching == Watching::logAndTimers ) {
   if( watching == Watching::logWithoutContext ) eval_->shouldLogEvalIs( true );
   if( watching == Watching::nothing || watching == Watching::logWithoutContext ) return;
   context_ = makeNode<Lib::PolicyEvalContext>();
   context_->enableTrailmarkIs( watching == Watching::timers || watching == Watching::logAndTimers );
   eval_->contextIs( context_ );
   eval_->shouldLogEvalIs( logging_ );
}

void Comparison::routeMap( const Policy & policy, size_t index, const Ptr<const Lib::RouteMapStatus> & status ) {
   about_ = "route map " + std::to_string( index );
   Evaluation model( policy, route_ );
   RouteMapLog log{ index };
   toRender_ = true;
   matched_.clear();
   permitted_ = model.routeMap( index, matched_, &log );
   Result after = before_;
   if( permitted_ ) model.applySetters( matched_, after );

   for( const Lib::MatchInput_ * input : inputs() ) {
      Lib::MatchedRouteMapSequences matched;
      evaluateLogged( policy, log, status, [ & ] {
         const bool verdict = eval_->evalRouteMapMatchers( input, status.get(), &matched );
         same( "evalRouteMapMatchers", permitted_, verdict );
      } );
      sameAsked( "matchers asked", model.asked );
      same( "matched", matched_, twin_.placesOf( matched ) );
      if( permitted_ ) applied( "applyPolicySetters", after, [ & ]( WatchedResult & r ) { eval_->applyPolicySetters( &matched, &r ); } );
   }
   evaluateLogged( policy, log, status, [ & ] {
      Lib::MatchedRouteMapSequences matched;
      Recorder recorder( twin_ );
      same( "evalRouteMapMatchers, observed", permitted_, eval_->evalRouteMapMatchers( &plainInput_, status.get(), &matched, recorder ) );
      same( "matched, observed", matched_, twin_.placesOf( matched ) );
      sameDecisions( model, recorder );
   } );
   sameAsked( "matchers asked, observed", model.asked );
   appends( status );
   snapshot( policy, status, log, after );
   peerFilter( policy, index, status );
}

void Comparison::list( const List & list ) {
   about_ = "list";
   const auto twinList = twin_.build( list );
   for( const auto & [ oneResult, observed ] : { std::pair( false, false ), std::pair( true, false ), std::pair( false, true ) } ) {
      Evaluation model( twin_.policy, route_ );
      Result at4 = before_, at6 = before_;
      Matched expected;
      std::vector<FinishedLog> queue;
      const bool permitted = model.list( list, expected, &at4, oneResult ? &at4 : &at6, logging_ || asksInVain(), queue );

      twin_.restart();
      WatchedResult twin4, twin6;
      twin_.start( twin4, before_ );
      twin_.start( twin6, before_ );
      const auto ctx4 = makeNode<FunctionContext>( twin4 );
      const auto ctx6 = makeNode<FunctionContext>( oneResult ? twin4 : twin6 );
      Ptr<Gyre::Eval::GyreEvalContextMap> contexts;
      if( list.gyre || list.gyreMaint ) {
         contexts = Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( Lib::RmPrecedence( uint8_t( 4 ) ), ctx4 );
         contexts->contextIs( Lib::RmPrecedence( uint8_t( 6 ) ), ctx6 );
      }
      Lib::MatchedRouteMapSequences matched;
      Recorder recorder( twin_ );
      same( "evalPolicyMatchers", permitted,
            observed ? eval_->evalPolicyMatchers( &plainInput_, twinList, &matched, contexts, recorder )
                     : eval_->evalPolicyMatchers( &plainInput_, twinList, &matched, contexts ) );
      if( observed ) sameDecisions( model, recorder );
      sameAsked( "matchers asked by evalPolicyMatchers", model.asked );
      same( "matched by evalPolicyMatchers", expected, twin_.placesOf( matched ) );
      same( "the result of context 4", at4, twin_.resultOf( twin4 ) );
      same( "the result of context 6", at6, twin_.resultOf( twin6 ) );
      same( "logging of context 4 afterwards", false, ctx4->logging );
      same( "logging of context 6 afterwards", false, ctx6->logging );
      drained( "evalPolicyMatchers", queue );
   }
   if( list.gyre || list.gyreMaint ) return;

   Evaluation model( twin_.policy, route_ );
   Result after = before_;
   Matched expected;
   std::vector<FinishedLog> queue;
   const bool permitted = model.list( list, expected, nullptr, nullptr, logging_, queue );
   if( permitted ) model.applySetters( expected, after );
   for( const bool observed : { false, true } ) {
      twin_.restart();
      Recorder recorder( twin_ );
      applied( "eval", after, [ & ]( WatchedResult & r ) {
         same( "eval", permitted,
               observed ? eval_->eval( &lateInput_, twinList, &r, recorder ) : eval_->eval( &lateInput_, twinList, &r ) );
      } );
      if( observed ) sameDecisions( model, recorder );
      sameAsked( "matchers asked by eval", model.asked );
      drained( "eval", queue );
   }
}

void Comparison::function( size_t index ) {
   about_ = "function " + std::to_string( index );
   Evaluation model( twin_.policy, route_ );
   Result after = before_;
   Matched none;
   std::vector<FinishedLog> queue;
   const bool permitted = model.list( { {}, index }, none, &after, nullptr, logging_ || asksInVain(), queue );
   applied( "evalGyre", after, [ & ]( WatchedResult & r ) {
      same( "evalGyre", permitted, eval_->evalGyre( twin_.functions[ index ], makeNode<FunctionContext>( r ) ) );
   } );
   drained( "evalGyre", queue );
}

template <class T>
void Comparison::same( const char * what, const T & model, const T & library ) {
   if( model == library ) return;
   std::ostringstream os;
   os << about_ << ", " << what << "\n   model:   ";
   show( os, model );
   os << "\n   library: ";
   show( os, library );
   differences_ += os.str() + "\n";
}

void Comparison::sameDecisions( const Evaluation & model, const Recorder & library ) {
   same( "decisions", model.decisions, library.decisions );
   same( "the chain of the last decision", model.chain, library.chain() );
}

void Comparison::sameAsked( const char * what, const std::vector<size_t> & model ) {
   same( what, model, twin_.asked.matchers );
   if( !model.empty() ) same( "they were given the context", true, twin_.asked.context == context_.get() );
}

// Runs `evaluate` from a fresh start; when logging, with a log installed, which must then be as the model's.
template <class Evaluate>
void Comparison::evaluateLogged( const Policy & policy, const RouteMapLog & expected, const Ptr<const Lib::RouteMapStatus> & status,
                                 Evaluate evaluate ) {
   twin_.restart();
   if( !logging_ ) return evaluate();
   const auto log = makeNode<Lib::PolicyEvaluationLog>( status );
   context_->logIs( log );
   evaluate();
   same( "the log is still installed", true, context_->log() == log );
   same( "elements of the call stack", size_t( 1 ), context_->callStack().count() );
   same( "the log is on the call stack", true, context_->callStackPeek() == log );
   context_->logIs( nullptr );
   sameLog( policy, expected, *log );
   if( std::exchange( toRender_, false ) ) sameRenderings( policy, expected, *log );
}

template <class Apply>
void Comparison::applied( const char * what, const Result & expected, Apply apply ) {
   WatchedResult result;
   twin_.start( result, before_ );
   apply( result );
   same( what, expected, twin_.resultOf( result ) );
}

// What stands in `matched` already stays in front, also when sub route maps are cut.
void Comparison::appends( const Ptr<const Lib::RouteMapStatus> & status ) {
   if( status->seqStatus().empty() ) return;
   const auto * first = status->seqStatus().first().value().get();
   Lib::MatchedRouteMapSequences matched{ first, first };
   Matched expected{ twin_.placeOf( first ), twin_.placeOf( first ) };
   expected.insert( expected.end(), matched_.begin(), matched_.end() );
   twin_.restart();
   eval_->evalRouteMapMatchers( &plainInput_, status.get(), &matched );
   same( "matched behind two others", expected, twin_.placesOf( matched ) );
}

void Comparison::snapshot( const Policy & policy, const Ptr<const Lib::RouteMapStatus> & status, const RouteMapLog & log,
                           const Result & after ) {
   Ptr<const Lib::MatchedRouteMapSequencesSnapshot> snapshot;
   evaluateLogged( policy, log, status, [ & ] { snapshot = eval_->evalRouteMapMatchersSnapshot( plainInput_, status ); } );
   same( "there is a snapshot", permitted_, bool( snapshot ) );
   if( !snapshot ) return;
   Matched places;
   for( uint32_t i = 1; i < snapshot->seqStatus().size(); ++i )
      if( const auto seq = snapshot->seqStatus( i ) ) places.push_back( twin_.placeOf( seq.get() ) );
   same( "the snapshot", matched_, places );
   same( "entries of the snapshot", matched_.size(), size_t( snapshot->seqStatus().count() ) );
   same( "entry 0 of the snapshot is set", false, bool( snapshot->seqStatus( 0 ) ) );
   applied( "applyPolicySettersSnapshot", after, [ & ]( const WatchedResult & r ) { eval_->applyPolicySettersSnapshot( snapshot, r ); } );
}

void Comparison::peerFilter( const Policy & policy, size_t index, const Ptr<const Lib::RouteMapStatus> & status ) {
   Evaluation model( policy, route_ );
   Matched matched;
   std::vector<FinishedLog> queue;
   const bool permitted = model.list( { { { 4, index } } }, matched, nullptr, nullptr, logging_, queue );
   for( const bool observed : { false, true } ) {
      twin_.restart();
      Recorder recorder( twin_ );
      same( "evalPeerFilter", permitted,
            observed ? eval_->evalPeerFilter( status, &plainInput_, recorder ) : eval_->evalPeerFilter( status, &plainInput_ ) );
      if( observed ) sameDecisions( model, recorder );
      sameAsked( "matchers asked by evalPeerFilter", model.asked );
      drained( "evalPeerFilter", queue, policy );
   }
}

void Comparison::drained( const char * by, const std::vector<FinishedLog> & expected, const Policy & policy ) {
   if( !context_ ) return;
   same( "a log is installed afterwards", false, bool( context_->log() ) );
   same( "logs queued", logging_ ? expected.size() : 0, eval_->evaluationLogs()->count() );
   bool ofRouteMap = false;
   for( size_t i = 0; logging_ && i < expected.size() && !context_->evaluationLog().empty(); ++i ) {
      const auto log = context_->evaluationLogDeq();
      const auto * routeMapLog = dynamic_cast<const Lib::PolicyEvaluationLog *>( log.get() );
      const auto * functionLog = dynamic_cast<const FunctionLog *>( log.get() );
      if( auto * routeMap = std::get_if<RouteMapLog>( &expected[ i ] ) ) {
         same( by, true, routeMapLog != nullptr );
         if( routeMapLog ) sameLog( policy, *routeMap, *routeMapLog );
         ofRouteMap = true;
      } else {
         same( by, true, functionLog && functionLog->which == std::get<size_t>( expected[ i ] ) );
      }
   }
   eval_->resetEvaluationLog();
   same( "logs queued behind resetEvaluationLog", size_t( 0 ), eval_->evaluationLogs()->count() );
   if( !ofRouteMap ) return;
   // Taking the log out leaves one element without a log.
   same( "elements of the call stack afterwards", size_t( 1 ), context_->callStack().count() );
   same( "the call stack has a log afterwards", false, bool( context_->callStackPeek() ) );
}

void Comparison::sameLog( const Policy & policy, const RouteMapLog & model, const Lib::PolicyEvaluationLog & library ) {
   const std::string about = about_;
   about_ += ", log of " + policy.routeMaps[ model.routeMap ].name;
   same( "name", policy.routeMaps[ model.routeMap ].name, std::string( library.rmStatus()->name().view() ) );
   same( "policyType", std::string( "routemap" ), std::string( library.policyType() ) );
   same( "permitResult", model.permitResult, library.permitResult() );
   same( "defaultDeny", model.defaultDeny, library.defaultDeny() );
   same( "sequences visited", model.seq.size(), library.seq().count() );
   for( const auto & [ number, seq ] : model.seq ) {
      about_ = about + ", log of " + policy.routeMaps[ model.routeMap ].name + " " + std::to_string( number );
      const auto record = library.seq( number );
      same( "visited", true, bool( record ) );
      if( !record ) continue;
      same( "seqno", number, record->seqno() );
      same( "continueSeq", seq.continueSeq, record->continueSeq() );
      same( "failedMatcher", seq.failedMatcher, unsigned( record->failedMatcher() ) );
      same( "hadNoMatchers", seq.hadNoMatchers, record->hadNoMatchers() );
      same( "subRouteMapResult", seq.subRouteMapResult, record->subRouteMapResult() );
      same( "matchActionDeny", seq.matchActionDeny, record->matchActionDeny() );
      same( "permitResult", seq.permitResult, record->permitResult() );
      same( "subRouteMapInvertResult", seq.subRouteMapInvertResult, record->subRouteMapInvertResult() );
      same( "subPolicyEvaluationLog", bool( seq.sub ), bool( record->subPolicyEvaluationLog() ) );
      if( seq.sub && record->subPolicyEvaluationLog() ) sameLog( policy, *seq.sub, *record->subPolicyEvaluationLog() );
   }
   about_ = about;
}

// The line of an object's address begins so at any depth; names that do are none of the generator's.
std::string Comparison::withoutAddresses( const std::string & text ) {
   std::string out;
   for( size_t at = 0; at < text.size(); ) {
      const size_t end = text.find( '\n', at );
      const std::string line = text.substr( at, end - at );
      const size_t begin = line.find_first_not_of( ' ' );
      const bool address = begin != std::string::npos && line.compare( begin, 2, "0x" ) == 0 && line.size() > begin + 2 &&
         line.find_first_not_of( "0123456789abcdef", begin + 2 ) == std::string::npos;
      out += address ? line.substr( 0, begin ) + kAddress : line;
      if( end != std::string::npos ) out += '\n';
      at = end == std::string::npos ? text.size() : end + 1;
   }
   return out;
}

void Comparison::sameRenderings( const Policy & policy, const RouteMapLog & model, const Lib::PolicyEvaluationLog & library ) {
   same( "text", text( policy, model, 1 ), withoutAddresses( std::string( library.toStrep( 1 ).view() ) ) );

   Gloss::RendererV2 renderer;
   renderer._startJsonObject( library.policyType() );
   library.toJson( &renderer );
   renderer.endJsonObject();
   const std::string expected = "\"routemap\":{" + json( policy, model ) + "}";
   same( "json", expected, renderer.text() );
   rendered_.push_back( { model, renderer.text() } );

   renderer._startJsonObject( "routemap" );   // behind a member, it opens with a comma
   library.toJson( &renderer );
   renderer.endJsonObject();
   same( "json, a second time", expected + "," + expected, renderer.text() );

   for( const int mode : { 0, 1, 3 } ) {
      Gloss::RendererV2 other( mode );
      library.toJson( &other );
      same( "json in another mode", std::string(), other.text() );
   }
}

// ---- copies

Policy withoutContinues( Policy policy, size_t routeMap ) {
   for( Sequence & s : policy.routeMaps[ routeMap ].sequences ) s.continueTo.reset();
   return policy;
}

Ptr<Lib::RouteMapStatus> copyBySequence( const Ptr<const Lib::RouteMapStatus> & map ) {
   auto copy = makeNode<Lib::RouteMapStatus>( map->name() );
   for( const auto & [ number, seq ] : map->seqStatus() ) copy->seqStatusIs( Lib::RouteMapSeqStatus::newFrom( seq, number ) );
   return copy;
}

std::string differencesOfCopies( Twin & twin, size_t index, const Route & route, const Result & before, Watching watching ) {
   const auto & original = twin.routeMaps[ index ];
   std::string differences;
   auto compare = [ & ]( const char * kind, const Policy & policy, const Ptr<const Lib::RouteMapStatus> & copy ) {
      twin.enrol( copy, index );
      Comparison comparison( twin, route, before, watching );
      comparison.routeMap( policy, index, copy );
      if( !comparison.differences().empty() ) differences += std::string( kind ) + ": " + comparison.differences();
   };
   compare( "deepCopy", withoutContinues( twin.policy, index ), original->deepCopy() );
   compare( "copy by sequence", twin.policy, copyBySequence( original ) );
   Policy renamed = twin.policy;
   renamed.routeMaps[ index ].name = "another name";
   compare( "newFrom", renamed, Lib::RouteMapStatus::newFrom( original, "another name" ) );
   twin.enrol( original, index );
   return differences;
}

// ---- everything at once

std::string differencesOf( Twin & twin, const Route & route, const Result & before, Watching watching ) {
   Comparison comparison( twin, route, before, watching );
   for( size_t i = 0; i < twin.policy.routeMaps.size(); ++i ) comparison.routeMap( i );
   for( const List & list : twin.policy.lists ) comparison.list( list );
   for( size_t i = 0; i < twin.policy.functions.size(); ++i ) comparison.function( i );
   return comparison.differences();
}

}   // namespace EvaluationModel
