/// @file agent/command/Comparison.h
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "command/Console.h"
#include "command/RouteEvaluator.h"

namespace Agent {

/// The routes that two policies answer differently, in groups by the sequences that have a say before and after.
class Differences {
 public:
   /// `examples`: routes of each group that are kept to be shown.
   explicit Differences( size_t examples ) : examples_( examples ) {}

   void add( const TableRoute & route, const RouteAnswer & before, const RouteAnswer & after );
   /// Takes in what comes behind this in the table, and empties it.
   void take( Differences & other );

   uint64_t routes() const noexcept { return routes_; }
   uint64_t changed() const noexcept { return changed_; }

   std::string text( const RouteEvaluator & before, const RouteEvaluator & after, const Console & console ) const;
   /// One JSON object.
   std::string json( const RouteEvaluator & before, const RouteEvaluator & after ) const;

 private:
   /// What one policy says of all routes of a group.
   struct Side {
      bool permitted = false;
      std::vector<uint32_t> sequences;
      friend auto operator<=>( const Side &, const Side & ) = default;
   };
   struct Example {
      TableRoute route;
      AgentResult before;
      AgentResult after;
   };
   struct Group {
      uint64_t count = 0;
      std::vector<Example> examples;
   };
   using Groups = std::map<std::pair<Side, Side>, Group>;
   std::vector<const Groups::value_type *> byCount() const;
   static std::string exampleText( const Example & example, bool before, bool after );

   size_t examples_;
   uint64_t routes_ = 0;
   uint64_t changed_ = 0;
   Groups groups_;
};

/// Whether two policies do the same to a route, whichever of their sequences say so.
bool sameEffect( const RouteAnswer & a, const RouteAnswer & b );

}   // namespace Agent
