/// @file substrate/routemap/CallOrder.h
/// The calls between the route maps of one Config, and an order in which every callee is before its callers. The order tells without a walk
/// over all callees that most new calls close no cycle.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/String.h"

namespace Routing::RouteMap {

/// Keeps the order while calls are added and deleted. A Config keeps one on request; its route maps and sequences then report each change
/// of a call.
///
/// A call that agrees with the order costs O(1). For any other call, the callees below its callee are searched, and in turn the callers
/// above its caller, until one of the two searches ends; then the smaller side moves to an end of the order, or both sides move between the
/// places of the two (the algorithm of Pearce and Kelly). A chain of n calls that is entered in either direction costs O(n) in all.
/// Threading: the activity thread.
class ROUTEPOLICY_API CallOrder final : public Quoin::Node {
 public:
   /// A smaller place is earlier.
   using Place = int64_t;
   ~CallOrder() override;

   /// Adds a call; there may be several calls between the same two route maps. An empty name calls nothing.
   void callIs( const Quoin::String & caller, const Quoin::String & callee );
   /// Deletes a call that was added.
   void callDel( const Quoin::String & caller, const Quoin::String & callee );

   /// Whether the calls have an order. A cycle ends the order for good, and so does an addition that finds no memory: reaches() and place()
   /// then have no meaning.
   bool exists() const noexcept { return exists_; }
   /// The number of times that the last call between two route maps was deleted. Until it changes, a call that would close a cycle would
   /// still close one.
   uint64_t deletions() const noexcept { return deletions_; }
   /// Whether a chain of one or more calls leads from `caller` to `callee`.
   bool reaches( const Quoin::String & caller, const Quoin::String & callee ) const;
   /// The place of a route map. All route maps without calls, to them or from them, share one place.
   Place place( const Quoin::String & name ) const;
   /// A number that increases whenever the place of a route map may have changed.
   uint64_t moves() const noexcept { return moves_; }

 private:
   struct Vertex;
   class Walk;
   using Calls = Plinth::HashMap2018<Vertex *, uint32_t>;   // the number of calls to, or from, each route map
   struct Vertex {
      explicit Vertex( const Quoin::String & n ) : name( n ) {}
      Quoin::String name;
      Place place = 0;
      Calls callees{}, callers{};
      uint64_t visitedBy = 0;   // the mark of the last walk that came here
   };

   bool add( const Quoin::String & caller, const Quoin::String & callee );
   Vertex * find( const Quoin::String & name ) const;
   Vertex & findOrMake( const Quoin::String & name );
   void release( Vertex & vertex );
   bool makeRoom( Vertex & caller, Vertex & callee );
   Walk walkDown( Vertex & start, Place first ) const;
   Walk walkUp( Vertex & start, Place last ) const;
   static bool search( Walk & down, Walk & up );

   mutable std::unordered_map<Quoin::String, Vertex> vertex_;   // mutable: for the marks of walks
   mutable uint64_t marks_ = 0;
   Place first_ = 0, last_ = 0;   // all places are between them
   uint64_t deletions_ = 0;
   uint64_t moves_ = 0;
   bool exists_ = true;
};

}   // namespace Routing::RouteMap
