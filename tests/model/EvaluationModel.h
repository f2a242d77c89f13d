/// @file tests/model/EvaluationModel.h
/// A second evaluator of policy, as slow and as plain as can be, that the library is held against. It includes nothing of it.
/// A policy is rows of plain structs that refer to each other by place; addresses are texts of '0' and '1'; whatever has an order
/// is looked for from the start each time. So sequences, matchers, setters and list entries may stand in their rows in any order.
///
///    Policy policy;
///    policy.routeMaps = { { "RM1", { { .number = 10, .permit = true } } } };
///    Matched matched;
///    bool permitted = Evaluation( policy, Route() ).routeMap( 0, matched );
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace EvaluationModel {

// ---- a route

struct Address {
   unsigned family = 0;   // 4, 6; 0 for none
   std::string bits;      // 32 or 128 of them, the first bit first
};

struct Prefix {
   Address address;
   unsigned length = 0;
};

bool sameLeadingBits( const Address & a, const Address & b, size_t length );
Prefix hostPrefix( const Address & address );

using Metric = std::optional<uint64_t>;   // below 2^63

struct Resolved {
   std::vector<uint32_t> interfaces;
   std::vector<Address> nexthops;
};

struct Route {
   Metric metric;
   uint32_t protocol = 0;
   Prefix prefix;
   Address nexthop;
   Address routerId{ 4, std::string( 32, '0' ) };
   uint32_t tag = 0;
   std::optional<Resolved> resolved;
   uint32_t ospfInstance = 0;
   uint32_t isisInstance = 0;
   bool matchInterface = false;
   bool matchResolvedNexthopInfo = false;
   bool denyResolvedNexthop = false;
};

// ---- a policy

struct PrefixListEntry {
   uint32_t number = 0;
   bool permit = true;
   Prefix prefix;
   std::optional<unsigned> ge;
   std::optional<unsigned> le;
};

struct PrefixList {
   unsigned family = 4;
   std::vector<PrefixListEntry> entries;
};

// clang-format off
struct Fixed { bool answer; };
struct Countdown { unsigned times; };   // holds that many times in one evaluation, and no more
struct TagIs { uint32_t tag; };
struct MetricIs { Metric metric; };
struct ProtocolIs { uint32_t protocol; };
struct NexthopIs { Address address; };
struct NexthopIn { Prefix prefix; };
struct OspfInstanceIs { uint32_t instance; };
struct IsisInstanceIs { uint32_t instance; };
struct InterfaceIs { uint32_t interface; };
struct Gateway {};
struct TagIn { std::optional<size_t> set; };   // no set: it is undefined
// clang-format on
enum class About { route, nexthop, resolvedNexthop, routerId };
struct PermittedBy {
   About about;
   std::optional<size_t> list;   // no list: it is undefined
   bool invert;
};
using Condition = std::variant<Fixed, Countdown, TagIs, MetricIs, ProtocolIs, NexthopIs, NexthopIn, OspfInstanceIs, IsisInstanceIs,
                               InterfaceIs, Gateway, TagIn, PermittedBy>;

struct Matcher {
   Condition test;
   bool watched = true;   // being asked leaves a trace
};

// clang-format off
struct SetPreference { unsigned preference; };
struct SetMetric { Metric metric; };
struct SetTag { uint32_t tag; };   // an agent's own
struct SetNothing {};
struct SetLate { uint64_t add; };   // defers itself; then makes the metric, or without one the preference, so much more the metric
// clang-format on
using Effect = std::variant<SetPreference, SetMetric, SetTag, SetNothing, SetLate>;

struct Setter {
   Effect effect;
   bool watched = true;   // being run leaves a trace
};

/// A matcher or setter under an option.
struct Clause {
   unsigned option = 0;
   size_t which = 0;
};

struct Sequence {
   uint32_t number = 0;
   bool permit = true;
   std::vector<Clause> matchers = {};
   std::vector<Clause> setters = {};
   std::optional<size_t> subRouteMap = {};
   bool subInvert = false;
   std::optional<uint32_t> continueTo = {};
   bool continueByStandIn = false;                 // another sequence of that number is pointed at: only the number counts
   std::optional<size_t> aggregateRouteMap = {};   // never read
};

struct RouteMap {
   std::string name;
   std::vector<Sequence> sequences;
};

struct Body {
   unsigned code = 2;
   unsigned preference = 0;   // what it sets
};
struct Function {
   std::optional<Body> body;   // none: it is undefined
};

struct ListEntry {
   unsigned precedence = 0;
   size_t routeMap = 0;
};
struct List {
   std::vector<ListEntry> routeMaps;
   std::optional<size_t> gyre = {};
   std::optional<size_t> gyreMaint = {};
   std::optional<size_t> gyreFilter = {};             // not evaluated
   std::optional<size_t> gyreDefaultOriginate = {};   // not evaluated
};

struct Policy {
   std::vector<PrefixList> prefixLists = {};
   std::vector<std::vector<uint32_t>> tagSets = {};
   std::vector<Matcher> matchers = {};
   std::vector<Setter> setters = {};
   std::vector<RouteMap> routeMaps = {};
   std::vector<Function> functions = {};
   std::vector<List> lists = {};
};

// ---- what comes of it

struct Event {
   enum Kind { set, setLate, toldPreference, toldTag, functionRan, functionRanLogging };
   Kind kind;
   uint64_t what;
   friend bool operator==( const Event &, const Event & ) = default;
};

struct Result {
   unsigned preference = 0;
   uint32_t tag = 0;
   Metric metric = {};
   std::optional<std::vector<size_t>> deferred = {};   // the setters registered; none while there is no list of them
   std::vector<Event> events = {};
   friend bool operator==( const Result &, const Result & ) = default;
};

struct Place {
   size_t routeMap = 0;
   uint32_t number = 0;
   friend bool operator==( const Place &, const Place & ) = default;
};
using Matched = std::vector<Place>;

struct RouteMapLog;
struct SeqLog {
   std::shared_ptr<RouteMapLog> sub;
   uint32_t continueSeq = 0;
   unsigned failedMatcher = 0;
   bool hadNoMatchers = false;
   bool subRouteMapResult = false;
   bool matchActionDeny = false;
   bool permitResult = false;
   bool subRouteMapInvertResult = false;
};
struct RouteMapLog {
   size_t routeMap = 0;
   bool permitResult = false;
   bool defaultDeny = false;
   std::map<uint32_t, SeqLog> seq = {};
};

/// The answer of a route map or of a function, and what decided it.
struct Decision {
   std::optional<size_t> routeMap = {};
   std::optional<size_t> function = {};
   std::optional<uint32_t> sequence = {};   // none: no sequence matched, or a function answered
   std::optional<Place> caller = {};
   unsigned depth = 0;
   std::optional<unsigned> precedence = {};
   bool inverted = false;
   bool permitted = false;
   friend bool operator==( const Decision &, const Decision & ) = default;
};
using Decisions = std::vector<Decision>;

/// A log in the queue: of a route map, or of a function.
using FinishedLog = std::variant<RouteMapLog, size_t>;

// ---- looking things up

/// The sequence with the lowest number from `from` on; null when there is none.
const Sequence * firstFrom( const RouteMap & map, uint64_t from );
/// Ascending by option.
std::vector<Clause> inOrder( std::vector<Clause> clauses );
/// What a list says of a prefix; nothing when no entry speaks of it.
std::optional<bool> says( const PrefixList & list, const Prefix & prefix );

// ---- evaluating

/// One evaluation of a route. Keeps which matchers were asked, in order, and what decided.
class Evaluation {
 public:
   Evaluation( const Policy & policy, const Route & route ) : policy_( policy ), route_( route ) {}

   std::vector<size_t> asked;   // the watched ones
   Decisions decisions;         // of each route map and function, in the order in which they ended
   Decisions chain;             // of what ended last: its decision, that of the call by which the deciding sequence matched, and so on

   bool routeMap( size_t index, Matched & matched, RouteMapLog * log = nullptr ) { return routeMap( index, matched, log, {} ); }
   void applySetters( const Matched & matched, Result & result ) const;

   /// `at4` and `at6` are the results of the contexts of those two precedences; they may be the same one.
   bool list( const List & list, Matched & matched, Result * at4, Result * at6, bool shouldLog, std::vector<FinishedLog> & queue );

 private:
   /// `decision` says what is known of it beforehand.
   bool routeMap( size_t index, Matched & matched, RouteMapLog * log, Decision decision );
   void ended( Decision decision, bool permitted, const Decisions & below );
   bool walk( size_t index, Matched & matched, RouteMapLog * log, Decision & decision, Decisions & below );
   static SeqLog * addSeq( RouteMapLog & log, const Sequence & s );
   bool matchersHold( const Sequence & s, SeqLog * log );
   bool subRouteMapPasses( const Sequence & s, Matched & matched, SeqLog * log, const Decision & caller, Decisions & chainOfCall );
   bool holds( size_t matcher );
   bool holds( const Fixed & t ) const { return t.answer; }
   bool holds( const Countdown & ) const { return false; }   // not reached
   bool holds( const TagIs & t ) const { return route_.tag == t.tag; }
   bool holds( const MetricIs & t ) const { return route_.metric == t.metric; }
   bool holds( const ProtocolIs & t ) const;
   bool holds( const NexthopIs & t ) const { return route_.nexthop.family == t.address.family && route_.nexthop.bits == t.address.bits; }
   bool holds( const NexthopIn & t ) const;
   bool holds( const OspfInstanceIs & t ) const { return route_.ospfInstance == t.instance; }
   bool holds( const IsisInstanceIs & t ) const { return route_.isisInstance == t.instance; }
   bool holds( const InterfaceIs & t ) const;
   bool holds( const Gateway & ) const { return false; }
   bool holds( const TagIn & t ) const;
   bool holds( const PermittedBy & t ) const;
   void set( size_t setter, Result & result ) const;
   void setLate( size_t setter, Result & result ) const;
   static void tellPreference( unsigned preference, Result & result );
   bool function( size_t index, unsigned precedence, Matched & matched, Result * result, bool shouldLog, std::vector<FinishedLog> & queue );
   bool run( size_t index, Matched & matched, Result * result, bool shouldLog, std::vector<FinishedLog> & queue ) const;

   const Policy & policy_;
   const Route & route_;
   std::map<size_t, unsigned> timesAsked_;
};

// ---- the two renderings of a log

/// Only the options that have a fixed name are used.
std::string optionName( unsigned option );
/// In quotation marks, with the escapes of JSON.
std::string quoted( const std::string & text );
/// The members of the object that stands for a route map.
std::string json( const Policy & policy, const RouteMapLog & log );

/// Stands for the line that gives a record's address.
constexpr const char * kAddress = "<address>";

/// Its text form, indented by so many levels.
std::string text( const Policy & policy, const RouteMapLog & log, unsigned level );

}   // namespace EvaluationModel
