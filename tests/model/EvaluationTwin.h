/// @file tests/model/EvaluationTwin.h
/// The library's objects for a policy of the model, and comparisons of what the two make of a route. What differs comes back as
/// text, so that a test and a fuzzer can use it alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "policy/DecisionObserver.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/Policy.h"
#include "policy/PrefixListMatcher.h"
#include "policy/TagSetMatcher.h"
#include "tests/model/EvaluationModel.h"

namespace EvaluationModel {

namespace Lib = Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;

// ---- plain values

Ferule::IpGenAddr twinOf( const Address & a );
Ferule::IpGenPrefix twinOf( const Prefix & p );
Zeugma::MaybeU63 twinOf( const Metric & metric );
Metric metricOf( Zeugma::MaybeU63 metric );

Ptr<Lib::ResolvedNexthopInfoSet> twinOf( const Resolved & resolved );

Lib::MatchInput_ twinOf( const Route & route );

/// An agent's own input: its fields say nothing, its getters everything.
struct LateInput final : Lib::MatchInput_ {
   explicit LateInput( const Route & route );
   Zeugma::MaybeU63 getMetric() const override { return late.metric(); }
   Routing::RouteProto getProtocol() const override { return late.protocol(); }
   const Ferule::IpGenPrefix * getPrefixPointer() const override { return late.getPrefixPointer(); }
   Ferule::IpGenAddr getNexthop() const override { return late.nexthop(); }
   Ferule::IpAddr getRouterId() const override { return late.routerId(); }
   const Ptr<const Lib::ResolvedNexthopInfoSet> & getResolvedNexthopInfoSet() const override { return late.resolvedNexthopInfoSet(); }
   Routing::RouteTag getTag() const override { return late.tag(); }
   uint32_t getOspfInstance() const override { return late.ospfInstance(); }
   uint32_t getIsisInstance() const override { return late.isisInstance(); }
   Lib::MatchInput_ late;
};

// ---- what leaves traces

/// Which matchers were asked, and in which context last.
struct Asked {
   std::vector<size_t> matchers;
   const Lib::PolicyEvalContext * context = nullptr;
};

/// Tells of each preference and tag that it is told.
struct WatchedResult final : Lib::Result_ {
   void setPreference( Routing::RoutePreference preference ) override;
   void setTag( Routing::RouteTag tag ) override;
   std::vector<Event> events;
};

// ---- a policy

struct CountdownMatcher;

/// The library's objects for a policy, made once. The policy must outlive it.
class Twin {
 public:
   explicit Twin( const Policy & p );
   ~Twin();
   Twin( const Twin & ) = delete;
   Twin & operator=( const Twin & ) = delete;

   const Policy & policy;
   std::vector<Ptr<const Lib::RouteMapStatus>> routeMaps;
   std::vector<Ptr<Gyre::FunctionStatusBase>> functions;
   Asked asked;   // of the watched matchers

   /// To be called before each evaluation.
   void restart();

   /// From now on the sequences of `map` stand for those of the model's route map.
   void enrol( const Ptr<const Lib::RouteMapStatus> & map, size_t index );
   Place placeOf( const Lib::RouteMapSeqStatus * seq ) const;
   Matched placesOf( const Lib::MatchedRouteMapSequences & matched ) const;
   Decision decisionOf( const Lib::Decision & d ) const;
   Ptr<Lib::RouteMapStatusList> build( const List & list ) const;
   void start( WatchedResult & twin, const Result & before ) const;
   Result resultOf( const WatchedResult & twin ) const;

 private:
   static Ptr<const Lib::PrefixListStatus> build( const PrefixList & list );

   using M = Ptr<const Lib::Matcher>;
   M build( const Fixed & t );
   M build( const Countdown & t );
   M build( const TagIs & t );
   M build( const MetricIs & t );
   M build( const ProtocolIs & t );
   M build( const NexthopIs & t );
   M build( const NexthopIn & t );
   M build( const OspfInstanceIs & t );
   M build( const IsisInstanceIs & t );
   M build( const InterfaceIs & t );
   M build( const Gateway & );
   M build( const TagIn & t );
   M build( const PermittedBy & t );
   template <class T>
   M prefixListMatcher( const PermittedBy & t );
   static Ptr<const Lib::Setter> build( const Setter & s, size_t which );
   Ptr<const Lib::RouteMapStatus> build( const RouteMap & map, size_t index );
   Ptr<Lib::RouteMapSeqStatus> build( const Sequence & s, const std::map<uint32_t, Ptr<Lib::RouteMapSeqStatus>> & later );
   Ptr<Lib::RouteMapSeqStatus> standIn( uint32_t number ) const;

   std::vector<Ptr<const Lib::PrefixListStatus>> prefixLists_;
   std::vector<Ptr<Lib::TagSetStatus>> tagSets_;
   std::vector<Ptr<const Lib::Matcher>> matchers_;
   std::vector<Ptr<const Lib::Setter>> setters_;
   std::vector<Ptr<CountdownMatcher>> countdowns_;
   std::map<const Lib::RouteMapSeqStatus *, Place> places_;
   std::map<const Lib::RouteMapStatus *, size_t> indices_;
};

/// Keeps all reports, and the chain.
class Recorder final : public Lib::DecisionObserver {
 public:
   explicit Recorder( const Twin & twin ) : twin_( twin ) {}
   void decided( const Lib::Decision & decision ) override;
   Decisions chain() const;
   Decisions decisions;

 private:
   const Twin & twin_;
   Lib::DecisionChain chain_;
};

// ---- describing a policy

std::string describe( const Address & a );
std::string describe( const Prefix & p );
std::string describe( const std::optional<size_t> & place );
std::string describe( const Metric & metric, const char * absent );

std::string describe( const Condition & test );

std::string describe( const Effect & effect );

std::string describe( const Sequence & s );

/// All of a policy, a line per thing.
std::string describe( const Policy & p );

std::string describe( const Route & r );

// ---- comparing

/// How the library is made to evaluate: none of it may change what comes out.
enum class Watching { nothing, logWithoutContext, context, timers, log, logAndTimers };
inline constexpr Watching kAllWatching[] = { Watching::nothing, Watching::logWithoutContext, Watching::context, Watching::timers,
                                             Watching::log,     Watching::logAndTimers };

/// Compares the library with the model on one route.
class Comparison {
 public:
   Comparison( Twin & twin, const Route & route, const Result & before, Watching watching );

   /// What was found to differ; empty when nothing was.
   const std::string & differences() const { return differences_; }

   /// A log of the model's, and what the library's rendered to.
   struct Rendered {
      RouteMapLog log;
      std::string json;
   };
   const std::vector<Rendered> & rendered() const { return rendered_; }
   const Matched & matched() const { return matched_; }
   bool permitted() const { return permitted_; }

   /// One route map, by all ways that there are.
   void routeMap( size_t index ) { routeMap( twin_.policy, index, twin_.routeMaps[ index ] ); }

   /// The same for another status than the twin's own, with the policy that it stands for.
   void routeMap( const Policy & policy, size_t index, const Ptr<const Lib::RouteMapStatus> & status );
   void list( const List & list );
   void function( size_t index );

   template <class T>
   void same( const char * what, const T & model, const T & library );

 private:
   std::vector<const Lib::MatchInput_ *> inputs() const { return { &plainInput_, &lateInput_ }; }
   // Functions hear of the wish although nobody takes their logs.
   bool asksInVain() const { return eval_->shouldLogEval() && !context_; }

   void sameDecisions( const Evaluation & model, const Recorder & library );
   void sameAsked( const char * what, const std::vector<size_t> & model );

   template <class Evaluate>
   void evaluateLogged( const Policy & policy, const RouteMapLog & expected, const Ptr<const Lib::RouteMapStatus> & status,
                        Evaluate evaluate );

   template <class Apply>
   void applied( const char * what, const Result & expected, Apply apply );
   void appends( const Ptr<const Lib::RouteMapStatus> & status );
   void snapshot( const Policy & policy, const Ptr<const Lib::RouteMapStatus> & status, const RouteMapLog & log, const Result & after );
   void peerFilter( const Policy & policy, size_t index, const Ptr<const Lib::RouteMapStatus> & status );

   void drained( const char * by, const std::vector<FinishedLog> & expected ) { drained( by, expected, twin_.policy ); }
   void drained( const char * by, const std::vector<FinishedLog> & expected, const Policy & policy );
   void sameLog( const Policy & policy, const RouteMapLog & model, const Lib::PolicyEvaluationLog & library );
   static std::string withoutAddresses( const std::string & text );
   void sameRenderings( const Policy & policy, const RouteMapLog & model, const Lib::PolicyEvaluationLog & library );

   Twin & twin_;
   const Route & route_;
   const Result & before_;
   const Lib::MatchInput_ plainInput_;
   const LateInput lateInput_;
   const bool logging_;
   Ptr<Lib::PolicyEval> eval_ = makeNode<Lib::PolicyEval>();
   Ptr<Lib::PolicyEvalContext> context_;
   std::string about_;
   std::string differences_;
   bool toRender_ = true;   // once per route map is enough
   std::vector<Rendered> rendered_;
   bool permitted_ = false;
   Matched matched_;
};

// ---- copies

/// The policy in which one route map has no continues.
Policy withoutContinues( Policy policy, size_t routeMap );

/// A route map of new sequences made by RouteMapSeqStatus::newFrom.
Ptr<Lib::RouteMapStatus> copyBySequence( const Ptr<const Lib::RouteMapStatus> & map );

/// Compares every kind of copy of a route map with the model.
std::string differencesOfCopies( Twin & twin, size_t index, const Route & route, const Result & before, Watching watching );

// ---- everything at once

/// Compares all route maps, lists and functions of a policy.
std::string differencesOf( Twin & twin, const Route & route, const Result & before, Watching watching );

}   // namespace EvaluationModel
