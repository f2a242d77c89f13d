/// @file agent/live/IndexedLines.h
/// The lines of a compiled list, by what a route must have to match them.
#pragma once

#include <cstdint>
#include <limits>
#include <utility>

#include "substrate/plinth/HashTrie.h"
#include "substrate/plinth/TreeMap.h"
#include "text/PolicyText.h"

namespace Agent {

/// Lines by number.
template <class Line>
using NumberedLines = Plinth::TreeMap<uint32_t, Line>;

/// The lowest line so far that matches a route. If none does, the list denies.
class LowestLine {
 public:
   /// Looks for a lower line for which `matches( line )` holds.
   template <class Line, class Matches>
   void seek( const NumberedLines<Line> & lines, Matches && matches ) {
      for( const auto & [ number, line ] : lines ) {
         if( number >= number_ ) return;
         if( !matches( line ) ) continue;
         number_ = number;
         action_ = line.action;
         return;
      }
   }
   bool permits() const noexcept { return action_ == MatchPermit::permit; }

 private:
   uint64_t number_ = std::numeric_limits<uint64_t>::max();
   MatchPermit action_ = MatchPermit::deny;
};

/// Lines that can match only a route that has a certain key, by this key, and all other lines. A line may be under several keys. A copy
/// shares the memory; an edit of a copy copies what stands beside the edited line. Errors: std::bad_alloc; the lines are unchanged.
/// Threading: any number of readers, or one writer.
template <class Key, class Line, class OtherLine>
class IndexedLines {
 public:
   /// Null if no line is under the key.
   const NumberedLines<Line> * find( const Key & key ) const noexcept {
      const auto * const found = lines_.findMember( key );
      return found ? &found->second : nullptr;
   }
   const NumberedLines<OtherLine> & others() const noexcept { return others_; }
   bool hasKeys() const noexcept { return !lines_.empty(); }
   /// The keys, each with its lines.
   const auto & keys() const noexcept { return lines_; }

   void put( const Key & key, uint32_t number, Line line ) {
      if( auto * const found = lines_.own( key ) ) {
         found->second.put( number, std::move( line ) );
      } else {
         NumberedLines<Line> first;
         first.put( number, std::move( line ) );
         lines_.insert( { key, std::move( first ) } );
      }
   }
   void erase( const Key & key, uint32_t number ) {
      const auto * const found = find( key );
      if( !found || !found->find( number ) ) return;
      if( found->count() == 1 )
         lines_.extract( key );
      else
         lines_.own( key )->second.erase( number );
   }
   void putOther( uint32_t number, OtherLine line ) { others_.put( number, std::move( line ) ); }
   void eraseOther( uint32_t number ) { others_.erase( number ); }

 private:
   Plinth::HashTrie<Key, std::pair<Key, NumberedLines<Line>>> lines_;
   NumberedLines<OtherLine> others_;
};

}   // namespace Agent
