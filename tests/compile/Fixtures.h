/// @file tests/compile/Fixtures.h
/// What the tests of compilation share: something to run at every change of an object, the traces of one
/// category, clauses and what becomes of them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "compile/CommonComponent.h"
#include "substrate/plinth/Trace.h"
#include "substrate/quoin/DisplayPointer.h"
#include "tests/compile/Reaction.h"

namespace Routing::Policy::CompileFixtures {

/// Keeps what the traces of one category say, up to a level, while it stands.
class TraceLog {
 public:
   explicit TraceLog( const char * category, int level = Plinth::TraceFacility::level8 ) : category_( category ) {
      EXPECT_GE( Plinth::TraceHandle::levelIs( category, level ), 1u ) << category;
      Plinth::TraceHandle::sinkIs( [ this ]( const Plinth::TraceRecord & record ) {
         texts_.emplace_back( record.text );
         levels_.push_back( record.level );
      } );
   }
   ~TraceLog() {
      Plinth::TraceHandle::sinkIs( nullptr );
      Plinth::TraceHandle::levelIs( category_, Plinth::TraceFacility::kOff );
   }
   TraceLog( const TraceLog & ) = delete;
   TraceLog & operator=( const TraceLog & ) = delete;

   std::vector<std::string> take() { return std::exchange( texts_, {} ); }
   const std::vector<int> & levels() const { return levels_; }

 private:
   const char * category_;
   std::vector<std::string> texts_;
   std::vector<int> levels_;
};

/// A clause that refers to a list, and one with a value.
inline RouteMap::MatchRule listRule( MatchOption option, const char * name, bool invert = false ) {
   return { .listName = name, .option = option, .invertResult = invert };
}
inline RouteMap::MatchRule valueRule( MatchOption option, uint64_t value ) {
   return { .numericValue = value, .option = option };
}

/// What traces call an object.
inline std::string identity( const void * object ) {
   return Quoin::DisplayPointer::toString( object );
}

/// Null where the matcher is of another class.
template <class M>
Quoin::Ptr<const M> as( const Quoin::Ptr<const Matcher> & matcher ) {
   return Quoin::dynamicPtrCast<const M>( matcher );
}

/// What a clause that refers to a list becomes by what the list's symbol has now.
inline Quoin::Ptr<MatcherChange> listChange( const RouteMap::MatchRule & rule, const RouteMap::PolicySymbol & symbol ) {
   auto change = Quoin::makeNode<MatcherChange>( rule.option );
   matcherIs( *change, listOptionRow( rule.option ), rule, &symbol );
   return change;
}

/// Whether a matcher was made of the list that the symbol has now.
inline bool isOfPresentList( const Matcher & matcher, MatchOption option, const RouteMap::PolicySymbol & symbol ) {
   return listOptionRow( option ).isOfPresentList( matcher, symbol );
}

}   // namespace Routing::Policy::CompileFixtures
