/// @file agent/analysis/References.h
/// The things of a policy that have names, and who refers to them.
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

/// Something that a name stands for, whether it is there or not. The name is the text's.
struct Thing {
   ThingKind kind = ThingKind::ipv4PrefixList;
   std::string_view name;
   friend auto operator<=>( const Thing &, const Thing & ) = default;
};
/// "ip prefix-list CUSTOMERS"; printable.
std::string textOf( const Thing & thing );

bool isDefined( const PolicyText & text, const Thing & thing );
/// In which kinds there is a thing of that name.
std::vector<ThingKind> kindsCalled( std::string_view name, const PolicyText & text );

/// Calls `visit( thing, what the text has of it )` for all that is there: by kind, and by name.
template <class Visit>
void forEachThing( const PolicyText & text, Visit && visit ) {
   forEachKind( text, [ & ]( ThingKind kind, const auto & things ) {
      for( const auto & [ name, thing ] : things ) visit( Thing{ kind, name }, thing );
   } );
}

/// What it is made of: lines of a list, tags of a set, sequences of a route map.
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

/// One clause that names a thing.
struct Reference {
   std::string_view routeMap;
   uint32_t sequence = 0;
   std::optional<MatchOption> option;   // of the match clause; none: a call
   bool invert = false;
   Thing to;
   bool defined = false;
   Place place;   // of the name
};
/// "matches ip address prefix-list CUSTOMERS invert", "calls CUSTOMERS"; printable.
std::string clauseTextOf( const Reference & reference );
/// The same behind who it is: "EDGE-IN 10 calls CUSTOMERS".
std::string textOf( const Reference & reference );

// ---- what other stanzas apply

/// As lines of other stanzas call it, which tell no family: "prefix-list".
std::string_view nameOf( Application::Kind kind ) noexcept;
/// Of what it applies: that of IPv4, where there are two.
ThingKind kindOf( const Application & application ) noexcept;
/// Whether there is what it applies, in whichever family.
bool isDefined( const PolicyText & text, const Application & application );

/// All references of a policy, and what other stanzas apply of it. Threading: read-only. Cost of making it: one walk over the route maps
/// and the applications.
class References {
 public:
   /// `text` outlives this, unchanged.
   explicit References( const PolicyText & text );
   References( const References & ) = delete;
   References & operator=( const References & ) = delete;

   /// By route map and sequence; of one sequence, match clauses by their options, and then the call.
   std::span<const Reference> all() const noexcept { return all_; }
   /// Those to one thing, in the same order.
   std::span<const Reference * const> to( const Thing & thing ) const;
   /// The lines of other stanzas that apply a thing, in the order of the text. A list that there is in both families is applied in both,
   /// and one that there is in none in those in which a clause names it, or in that of IPv4.
   std::span<const Application * const> applicationsOf( const Thing & thing ) const;
   /// Whether a clause names it, or another stanza applies it.
   bool isUsed( const Thing & thing ) const;
   /// What stands in a sequence: that of a match option, or the call for none. Null for nothing.
   const Reference * in( std::string_view routeMap, uint32_t sequence, std::optional<MatchOption> option ) const;

 private:
   void addSequence( const PolicyText & text, std::string_view routeMap, uint32_t number, const SequenceText & sequence );
   void addApplication( const PolicyText & text, const Application & application );

   std::vector<Reference> all_;
   std::map<Thing, std::vector<const Reference *>> byThing_;
   std::map<Thing, std::vector<const Application *>> applications_;
};

/// All kinds in which there is a thing of that name, or in which one is referred to or applied. `name` outlives what comes back.
std::vector<Thing> thingsCalled( std::string_view name, const PolicyText & text, const References & references );

/// "A, B and C"; "A, B and 12 more" for more than `most`. `last` stands before the last one.
std::string joined( const std::vector<std::string> & parts, size_t most, std::string_view last );

/// The names in a policy that come nearest to one that is not in it, the best first; none when none comes near.
std::vector<std::string> namesLike( const std::string & name, const PolicyText & text );
/// "there is nothing called CUTSOMERS; did you mean CUSTOMERS?"
std::string unknownNameText( const std::string & name, const PolicyText & text );

}   // namespace Agent
