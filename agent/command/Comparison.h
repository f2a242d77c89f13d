/// @file agent/command/Comparison.h
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "command/Console.h"
#include "command/Json.h"
#include "command/RouteEvaluator.h"

namespace Agent {

/// The routes that two policies answer differently, grouped by the deciding sequences before and after.
class Differences {
 public:
   /// `examples`: the number of routes of each group to keep as examples.
   explicit Differences( size_t examples ) : examples_( examples ) {}

   void add( const TableRoute & route, const RouteAnswer & before, const RouteAnswer & after );
   /// Moves the results of a later part of the table into this.
   void take( Differences & other );

   uint64_t routes() const noexcept { return routes_; }
   uint64_t changed() const noexcept { return changed_; }

   std::string text( const RouteEvaluator & before, const RouteEvaluator & after, const Console & console ) const;
   Json json( const RouteEvaluator & before, const RouteEvaluator & after ) const;

 private:
   /// The answer of one policy for all routes of a group.
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

/// Whether two answers have the same verdict and the same changes, whatever the deciding sequences.
bool sameEffect( const RouteAnswer & a, const RouteAnswer & b );

}   // namespace Agent
