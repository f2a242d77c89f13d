/// @file agent/analysis/References.h
/// The named things of a policy (lists, tag sets, route maps), and the clauses and stanzas that refer to them.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/ThingKind.h"

namespace Agent {

/// A kind and a name, defined or not. The name lives as long as the text.
struct Thing {
   ThingKind kind = ThingKind::ipv4PrefixList;
   std::string_view name;
   friend auto operator<=>( const Thing &, const Thing & ) = default;
};
/// "ip prefix-list CUSTOMERS"; printable.
std::string textOf( const Thing & thing );

bool isDefined( const PolicyText & text, const Thing & thing );
/// The kinds in which the name is defined.
std::vector<ThingKind> kindsCalled( std::string_view name, const PolicyText & text );

/// Calls `visit( thing, its text )` for everything that is defined, ordered by kind and name.
template <class Visit>
void forEachThing( const PolicyText & text, Visit && visit ) {
   forEachKind( text, [ & ]( ThingKind kind, const auto & things ) {
      for( const auto & [ name, thing ] : things ) visit( Thing{ kind, name }, thing );
   } );
}

/// The number of lines of a list, tags of a set, or sequences of a route map.
template <class Line>
size_t sizeOf( const ListText<Line> & list ) noexcept {
   return list.lines.size();
}
inline size_t sizeOf( const TagSetText & set ) noexcept {
   return set.tags.size();
}
inline size_t sizeOf( const RouteMapText & routeMap ) noexcept {
   return routeMap.sequences.size();
}

/// One clause that names a thing. A call that is not followed (followedCall()) is none.
struct Reference {
   std::string_view routeMap;
   uint32_t sequence = 0;
   std::optional<MatchOption> option;   // of a match clause
   std::optional<SetKind> set;          // of a set clause; without either, it is a call
   bool invert = false;
   Thing to;
   bool defined = false;
   Place place;   // of the name
   bool isCall() const noexcept { return !option && !set; }
};
/// "matches ip address prefix-list CUSTOMERS invert", "sets comm-list CUSTOMERS", "calls CUSTOMERS"; printable.
std::string clauseTextOf( const Reference & reference );
/// The same after its sequence: "EDGE-IN 10 calls CUSTOMERS".
std::string textOf( const Reference & reference );

// ---- applications: what other stanzas apply

/// The word in the lines of other stanzas, which does not say the family: "prefix-list".
std::string_view nameOf( Application::Kind kind ) noexcept;
/// The kind of thing that it applies; if the kind has two families, the IPv4 kind.
ThingKind kindOf( const Application & application ) noexcept;
/// Whether the thing that it applies is defined, in any family.
bool isDefined( const PolicyText & text, const Application & application );

/// All references and applications of a policy. Threading: read-only. Cost of construction: one walk over the route maps and the
/// applications.
class References {
 public:
   /// `text` outlives this and does not change meanwhile.
   explicit References( const PolicyText & text );
   References( const References & ) = delete;
   References & operator=( const References & ) = delete;

   /// Ordered by route map and sequence; within a sequence the match clauses by option, the set clauses, then the call.
   std::span<const Reference> all() const noexcept { return all_; }
   /// The references to one thing, in the same order.
   std::span<const Reference * const> to( const Thing & thing ) const;
   /// The lines of other stanzas that apply a thing, in the order of the text. Such a line does not say the family. It applies the list in
   /// every family in which the list is defined; if in none, in those in which a clause names it; if in none, in IPv4.
   std::span<const Application * const> applicationsOf( const Thing & thing ) const;
   /// Whether a clause names the thing, or another stanza applies it.
   bool isUsed( const Thing & thing ) const;
   /// The reference in a sequence: of a match option, or without an option, of the call. Null if absent.
   const Reference * in( std::string_view routeMap, uint32_t sequence, std::optional<MatchOption> option ) const;

 private:
   void addSequence( const PolicyText & text, std::string_view routeMap, uint32_t number, const SequenceText & sequence );
   void addApplication( const PolicyText & text, const Application & application );

   std::vector<Reference> all_;
   std::map<Thing, std::vector<const Reference *>> byThing_;
   std::map<Thing, std::vector<const Application *>> applications_;
};

/// All things of that name that are defined, referred to or applied. `name` outlives the result.
std::vector<Thing> thingsCalled( std::string_view name, const PolicyText & text, const References & references );

/// "A, B and C"; "A, B and 12 more" for more than `most` parts. `last` is the separator before the last part.
std::string joined( const std::vector<std::string> & parts, size_t most, std::string_view last );

/// The defined names that are similar to an unknown one, the most similar first.
std::vector<std::string> namesLike( const std::string & name, const PolicyText & text );
/// "unknown name CUTSOMERS; did you mean CUSTOMERS?"
std::string unknownNameText( const std::string & name, const PolicyText & text );

}   // namespace Agent
