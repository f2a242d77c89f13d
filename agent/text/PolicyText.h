/// @file agent/text/PolicyText.h
/// A policy as written in a configuration, independent of its syntax. A loader fills it, LivePolicy compiles it. Plain values; two
/// texts are equal if they define the same policy; places are not compared.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <unordered_set>
#include <utility>
#include <vector>

#include "substrate/acl/MatchPermit.h"
#include "substrate/ferule/FullMask.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/routemap/Options.h"
#include "text/Dialect.h"
#include "text/ExtCommunity.h"
#include "text/LargeCommunity.h"
#include "text/Neighbors.h"
#include "text/Place.h"

namespace Agent {

using Acl::MatchPermit;
using Ferule::AddressFamily;
using Routing::RouteMap::MatchOption;

/// The option of "match ipv6 address LIST". The library has its number, but no name for it.
constexpr MatchOption kMatchIpv6AccessList{ 117 };

using Community = uint32_t;   // the AS in its upper half

/// In which of several ways a line of FRR says the same: FRR has each of them as a line of its own.
struct Spelling {
   enum Way : uint8_t {
      usual,       // of a prefix list: any but the next; of an access list: a prefix
      oddPrefix,   // of a prefix list: "any" as a prefix; of an access list, only while reading: a prefix not as FRR writes it
      any,         // of an access list: the word
      host,        // "host ADDRESS", or an address
      wildcard,    // "ADDRESS WILDCARD"
      ways         // and above: two of them, behind "ip"
   };
   uint8_t way = usual;

   static constexpr Spelling behindIp( Way source, Way netmask ) noexcept { return { uint8_t( ways * ( 1 + source ) + netmask ) }; }
   Way source() const noexcept { return Way( way < ways ? way : way / ways - 1 ); }
   Way netmask() const noexcept { return Way( way % ways ); }
   // Spellings do not take part in comparisons of texts; the removal of a line compares them.
   friend constexpr bool operator==( const Spelling &, const Spelling & ) noexcept { return true; }
};

struct PrefixListLine {
   MatchPermit action = MatchPermit::permit;
   Ferule::IpGenPrefix prefix;   // no bit set after its length
   std::optional<uint32_t> ge;
   std::optional<uint32_t> le;
   Place place;
   Spelling spelling{};
   friend bool operator==( const PrefixListLine &, const PrefixListLine & ) = default;
};

struct AccessListLine {
   /// What a line compares with the prefix of a route, beside the address under the mask.
   enum class Compares : uint8_t {
      mask,       // the length is not below the leading ones of the mask. The dialect of FRR has the others:
      covering,   // it is a prefix: likewise
      exact,      // it is a prefix: the length is the same
      address     // no length. One bits of the address that are not in the mask agree with no address
   };
   MatchPermit action = MatchPermit::permit;
   Ferule::IpGenAddrWithFullMask source;   // one bits of the mask must agree
   Place place;
   Compares compares = Compares::mask;
   std::optional<Ferule::IpGenAddrWithFullMask> netmask{};   // if it is there, compared with the netmask of the route in the same way
   Spelling spelling{};
   friend bool operator==( const AccessListLine &, const AccessListLine & ) = default;
};

/// Matches a route that has all the communities, or whose communities match the expression. There are lists of each kind of community.
template <class C>
struct CommunityListLineOf {
   MatchPermit action = MatchPermit::permit;
   std::vector<C> communities;   // of a standard list: ascending, each once
   std::string expression;       // of an expanded list
   Place place;
   friend bool operator==( const CommunityListLineOf &, const CommunityListLineOf & ) = default;
};

struct AsPathListLine {
   MatchPermit action = MatchPermit::permit;
   std::string expression;
   Place place;
   friend bool operator==( const AsPathListLine &, const AsPathListLine & ) = default;
};

/// Whether the lines of a list would mean the same in any order in the text: each adds a line under a number of its own, and each line has a
/// content of its own, which FRR asks for.
struct AnyOrder {
   bool value = false;
   // It does not take part in comparisons of texts.
   friend constexpr bool operator==( const AnyOrder &, const AnyOrder & ) noexcept { return true; }
};

/// A list of numbered lines. The lowest line that matches decides.
template <class Line>
struct ListText {
   std::map<uint32_t, Line> lines;   // by sequence number
   std::string description;
   Place place;         // of its first line or description
   AnyOrder anyOrder;   // told by the loader
   friend bool operator==( const ListText &, const ListText & ) = default;
};

/// How a match clause compares the communities of a route with those of a line.
enum class ListComparison : uint8_t { all, exact, any };

template <class C>
struct CommunityListTextOf : ListText<CommunityListLineOf<C>> {
   bool expanded = false;
   friend bool operator==( const CommunityListTextOf &, const CommunityListTextOf & ) = default;
};

struct TagSetText {
   std::set<uint32_t> tags;
   Place place;
   friend bool operator==( const TagSetText &, const TagSetText & ) = default;
};

/// One match clause; its option decides which members are used.
struct MatchClause {
   std::string name;                           // of a list or tag set, or of an interface
   std::optional<Ferule::IpGenAddr> address;   // of "match ip next-hop ADDRESS"
   uint64_t number = 0;                        // a metric, a tag, an instance, a protocol of SourceProtocol.h, a ListComparison
   bool invert = false;                        // of a prefix list
   Place place;                                // of the operand
   friend bool operator==( const MatchClause &, const MatchClause & ) = default;
};

/// A sequence has one clause of each kind.
enum class SetKind : uint8_t {
   metric,
   distance,
   tag,
   localPreference,
   community,
   // Only the dialect of FRR has the following.
   minMetric,
   maxMetric,
   origin,
   asPathPrepend,
   asPathExclude,
   asPathReplace,
   commListDelete,
   largeCommunity,
   largeCommListDelete,
   extRouteTarget,
   extSiteOfOrigin,
   extNodeTarget,
   extColor,
   extNone,
   extCommListDelete,
   ipNextHop,
   ipv6NextHopGlobal,
   weight,
   atomicAggregate,
   aggregator,
   originatorId,
   labelIndex,
   aigpMetric,
   extBandwidth,
   ipv6NextHopLocal,
   ipv6NextHopPeer,
   ipv6NextHopPreferGlobal,
   ipv4VpnNextHop,
   ipv6VpnNextHop,
   table,
   srTeColor,
   src,
   metricType,
   forwardingAddress,
   evpnGatewayIpv4,
   evpnGatewayIpv6,
   l3vpnEncapsulation
};
/// Whether a kind sets what no match clause reads: the operand is kept as a text.
constexpr bool isCarried( SetKind kind ) noexcept {
   return kind >= SetKind::weight;
}

/// One set clause; its kind decides which members are used.
struct SetClause {
   enum class Mode : uint8_t {
      replaces,
      adds,        // "+5": the number is added to the value of the route
      subtracts,   // "-5"
   };

   SetKind kind = SetKind::metric;
   uint64_t number = 0;                    // a metric (below 2^63), a distance (up to 255), a tag, a local preference, an origin; how often
   std::vector<Community> communities{};   // ascending, each once; empty: removes all
   bool additive = false;                  // adds to the communities of the route
   Mode mode = Mode::replaces;
   std::vector<uint32_t> ases{};                     // of an AS path
   std::vector<LargeCommunity> largeCommunities{};   // as `communities`
   std::vector<ExtCommunity> extCommunities{};       // ascending, each once
   std::optional<Ferule::IpGenAddr> address{};       // a next hop
   std::string word{};                               // the name of a list, a value that only the daemon knows, or a carried operand
   Place place{};                                    // of the operand
   friend bool operator==( const SetClause &, const SetClause & ) = default;
};

/// The set clauses of a sequence, in the order of their lines; one of each kind.
class SetClauses {
 public:
   SetClauses() = default;
   SetClauses( std::initializer_list<SetClause> row ) : row_( row ) {}
   auto begin() const noexcept { return row_.begin(); }
   auto begin() noexcept { return row_.begin(); }
   auto end() const noexcept { return row_.end(); }
   auto end() noexcept { return row_.end(); }
   bool empty() const noexcept { return row_.empty(); }
   /// Null if the sequence has no clause of this kind.
   const SetClause * find( SetKind kind ) const noexcept {
      const auto at = std::ranges::find( row_, kind, &SetClause::kind );
      return at == row_.end() ? nullptr : &*at;
   }
   /// Replaces the clause of the same kind; the new clause is the last one. An equal clause keeps its place.
   void put( SetClause clause ) {
      if( const auto * now = find( clause.kind ); now && *now == clause ) return;
      erase( clause.kind );
      row_.push_back( std::move( clause ) );
   }
   void erase( SetKind kind ) {
      std::erase_if( row_, [ kind ]( const SetClause & clause ) { return clause.kind == kind; } );
   }
   friend bool operator==( const SetClauses &, const SetClauses & ) = default;

 private:
   std::vector<SetClause> row_;
};

struct CallClause {
   std::string name;
   bool invert = false;
   Place place;
   friend bool operator==( const CallClause &, const CallClause & ) = default;
};

struct ContinueClause {
   uint32_t target = 0;   // 0: the next sequence
   Place place;
   friend bool operator==( const ContinueClause &, const ContinueClause & ) = default;
};

struct SequenceText {
   MatchPermit action = MatchPermit::permit;
   std::string description;
   std::map<MatchOption, MatchClause> match;
   SetClauses set;
   std::optional<CallClause> call;
   std::optional<ContinueClause> continueTo;
   Place place;
   Place actionPlace;   // of the line that gave it this action
   friend bool operator==( const SequenceText &, const SequenceText & ) = default;
};

/// The call that the rules of the dialect follow; null for none. FRR ignores the call of a deny.
inline const CallClause * followedCall( const SequenceText & sequence, Dialect dialect ) noexcept {
   const bool isIgnored = dialect == Dialect::frr && sequence.action == MatchPermit::deny;
   return sequence.call && !isIgnored ? &*sequence.call : nullptr;
}

struct RouteMapText {
   std::map<uint32_t, SequenceText> sequences;   // by number
   Place place;
   friend bool operator==( const RouteMapText &, const RouteMapText & ) = default;
};

/// A line of another stanza that applies a list or a route map: "neighbor 192.0.2.1 route-map EDGE-IN in".
struct Application {
   enum class Kind : uint8_t {
      routeMap,
      prefixList,   // of either family: the line does not say which
      accessList,   // likewise
      asPathList
   };
   Kind kind = Kind::routeMap;
   std::string name;
   std::string line;   // printable, without the blanks around it; a very long line is cut
   Place place;        // of the name
};

/// A line that can be read but was probably not meant like this.
struct Doubt {
   enum class Kind : uint8_t {
      skipped,    // it looks like a line of a policy, but is none
      replaced,   // it replaces an earlier line of the same file
      netmask,    // a netmask in place of a wildcard
      hostBits,   // one bits behind the length of a prefix
      refused,    // FRR refuses it: it has no effect
      conflict    // it replaces a line of a sequence of another file
   };
   Kind kind = Kind::skipped;
   Place place;
   std::string text;   // one line, printable
};

using CommunityListLine = CommunityListLineOf<Community>;
using LargeCommunityListLine = CommunityListLineOf<LargeCommunity>;
using ExtCommunityListLine = CommunityListLineOf<ExtCommunity>;
using CommunityListText = CommunityListTextOf<Community>;
using LargeCommunityListText = CommunityListTextOf<LargeCommunity>;
using ExtCommunityListText = CommunityListTextOf<ExtCommunity>;
using PrefixListText = ListText<PrefixListLine>;
using AccessListText = ListText<AccessListLine>;
using AsPathListText = ListText<AsPathListLine>;

/// "! routepolicy: ignore KIND".
struct IgnoreComment {
   std::string kind;     // of findings
   Place place;          // of the kind
   uint32_t below = 0;   // the line to which it applies: the next line that is no comment; 0 for none
};

/// A wrong line of a text that is read leniently.
struct LeftOut {
   TextError error;
   // The names that it may be about: that of its route map, or else all its words.
   std::unordered_set<std::string> names;
};

struct PolicyText {
   template <class Thing>
   using ByName = std::map<std::string, Thing>;

   // The two families have prefix lists and access lists of their own, which may have the same name.
   ByName<PrefixListText> ipv4PrefixLists;
   ByName<PrefixListText> ipv6PrefixLists;
   ByName<AccessListText> ipv4AccessLists;
   ByName<AccessListText> ipv6AccessLists;
   ByName<TagSetText> tagSets;
   ByName<CommunityListText> communityLists;
   ByName<LargeCommunityListText> largeCommunityLists;
   ByName<ExtCommunityListText> extCommunityLists;
   ByName<AsPathListText> asPathLists;
   ByName<RouteMapText> routeMaps;

   // Which of them apply to which neighbor, by VRF; not compared.
   ByName<BgpRouter> routers;
   Dialect dialect = Dialect::native;   // whose rules the lines follow; not compared

   // About the files; not compared.
   std::vector<std::string> files;          // the files read, for places; one name for each text
   uint64_t lines = 0;                      // total
   uint64_t skippedStanzas = 0;             // unrelated stanzas of the configuration
   std::vector<uint32_t> strayFiles;        // indices of files that have lines, but no line of a policy; ascending
   std::vector<Application> applications;   // in the order of the text, like the doubts
   std::vector<Doubt> doubts;
   std::vector<IgnoreComment> ignores;
   std::vector<LeftOut> leftOut;   // in the order of the text
   // The words of the skipped lines, except very long ones: an unknown stanza may apply a list in its own way.
   std::unordered_set<std::string> otherWords;

   friend bool operator==( const PolicyText & a, const PolicyText & b ) {
      const auto all = []( const PolicyText & t ) {
         return std::tie( t.ipv4PrefixLists, t.ipv6PrefixLists, t.ipv4AccessLists, t.ipv6AccessLists, t.tagSets, t.communityLists,
                          t.largeCommunityLists, t.extCommunityLists, t.asPathLists, t.routeMaps );
      };
      return all( a ) == all( b );
   }
};

}   // namespace Agent
