/// @file agent/text/NumberedLists.h
/// The lists of one kind during loading. Numbers their lines and finds lines by content.
///
///    permit 10.0.0.0/8                  is line 5
///    seq 7 permit 10.1.0.0/16           is line 7
///    permit 10.2.0.0/16                 is line 10
///    seq 7 deny 10.1.0.0/16             replaces line 7
///
/// Invariant: every list has a line; a list that keepsDescribed() may have a description only. Any other description that comes before the
/// first line is kept until that line comes.
/// Cost per line: a look-up in a hash table and one in the map of lines.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "substrate/zeugma/HashMix.h"
#include "text/PolicyText.h"

namespace Agent {

/// Begins the hash of a line. The action is a word of its own: added to another part, it may be undone by the next part, and `deny 1:2`
/// would have the hash of `permit 1:3`.
inline Zeugma::HashMix hashBegunWith( size_t part, MatchPermit action ) noexcept {
   const uint32_t word = static_cast<uint32_t>( action );
   Zeugma::HashMix mix( static_cast<uint32_t>( part ) );
   mix.mixBytes4( reinterpret_cast<const unsigned char *>( &word ) );
   return mix;
}

/// Hash of the content of a line.
inline size_t hashOf( const PrefixListLine & line ) {
   const uint32_t bounds[] = { line.ge.value_or( 255 ), line.le.value_or( 255 ) };
   Zeugma::HashMix mix = hashBegunWith( line.prefix.hash(), line.action );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( bounds ) );
   return mix;
}
inline size_t hashOf( const AccessListLine & line ) {
   return hashBegunWith( line.source.hash(), line.action );   // the same for each line that hasTheWordsOf() this one
}
inline size_t hashOf( const AsPathListLine & line ) {
   return hashBegunWith( std::hash<std::string>()( line.expression ), line.action );
}
template <class C>
size_t hashOf( const CommunityListLineOf<C> & line ) {
   Zeugma::HashMix mix = hashBegunWith( std::hash<std::string>()( line.expression ), line.action );
   static_assert( sizeof( C ) % 4 == 0 );
   for( const C & c : line.communities )
      for( size_t i = 0; i < sizeof c; i += 4 ) mix.mixBytes4( reinterpret_cast<const unsigned char *>( &c ) + i );
   return mix;
}

/// Whether FRR takes both for the same line.
template <class Line>
bool isSameLine( const Line & a, const Line & b ) {
   if constexpr( requires { a.spelling; } )
      if( a.spelling.way != b.spelling.way ) return false;
   return a == b;
}

/// Whether a line of a list has all words of `said`, and others. FRR then takes `said` for that line.
template <class Line>
bool hasTheWordsOf( const Line &, const Line & ) {
   return false;
}
inline bool hasTheWordsOf( const AccessListLine & listed, const AccessListLine & said ) {
   using Compares = AccessListLine::Compares;
   const auto way = said.spelling.way;
   if( listed.action != said.action || listed.source != said.source || listed.spelling.source() != way ) return false;
   if( way == Spelling::usual ) return listed.compares == Compares::exact && said.compares == Compares::covering;
   return ( way == Spelling::host || way == Spelling::wildcard ) && listed.netmask;
}

/// Finds the numbers of the lines with a given content. A row of slots, at most half of them used, has a line of each hash; each other line
/// of the same hash takes more memory.
template <class Line>
class ContentIndex {
 public:
   using Lines = std::map<uint32_t, Line>;
   explicit ContentIndex( const Lines & lines ) {
      for( const auto & [ number, line ] : lines ) added( number, line );
   }
   void added( uint32_t number, const Line & line ) {
      if( 2 * ++used_ > slots_.size() ) grow();
      const uint32_t hash = slotHashOf( line );
      if( Slot & slot = slots_[ find( hash ) ]; slot.hash == 0 )
         slot = { hash, number };
      else
         others_[ hash ].insert( number );
   }
   void removed( uint32_t number, const Line & line ) {
      --used_;
      const uint32_t hash = slotHashOf( line );
      const size_t at = find( hash );
      const auto others = others_.find( hash );
      if( others == others_.end() ) return erase( at );
      if( slots_[ at ].number == number )
         slots_[ at ].number = others->second.extract( others->second.begin() ).value();
      else
         others->second.erase( number );
      if( others->second.empty() ) others_.erase( others );
   }
   /// The lowest number of the same line, or else of one that hasTheWordsOf() it.
   std::optional<uint32_t> find( const Lines & lines, const Line & line ) const {
      const auto same = findSame( lines, line );
      return same ? same : findLonger( lines, line );
   }
   std::optional<uint32_t> findSame( const Lines & lines, const Line & line ) const { return find( lines, line, isSameLine<Line> ); }
   std::optional<uint32_t> findLonger( const Lines & lines, const Line & line ) const {
      return find( lines, line, []( const Line & listed, const Line & said ) { return hasTheWordsOf( listed, said ); } );
   }

 private:
   struct Slot {
      uint32_t hash = 0;   // 0: not used
      uint32_t number = 0;
   };

   static uint32_t slotHashOf( const Line & line ) { return std::max<uint32_t>( 1, static_cast<uint32_t>( hashOf( line ) ) ); }
   size_t home( uint32_t hash ) const noexcept { return ( hash * 0x9e3779b97f4a7c15u ) >> shift_; }
   size_t next( size_t at ) const noexcept { return ( at + 1 ) % slots_.size(); }
   // The slot of this hash, or the unused one in which it belongs.
   size_t find( uint32_t hash ) const noexcept {
      size_t at = home( hash );
      while( slots_[ at ].hash != 0 && slots_[ at ].hash != hash ) at = next( at );
      return at;
   }
   void grow() {
      const auto before = std::exchange( slots_, std::vector<Slot>( 2 * slots_.size() ) );
      --shift_;
      for( const Slot & slot : before )
         if( slot.hash != 0 ) slots_[ find( slot.hash ) ] = slot;
   }
   // The slots behind move up, so that each is found from its home.
   void erase( size_t hole ) {
      const size_t last = slots_.size() - 1;
      slots_[ hole ] = {};
      for( size_t at = next( hole ); slots_[ at ].hash != 0; at = next( at ) )
         if( ( ( at - home( slots_[ at ].hash ) ) & last ) >= ( ( at - hole ) & last ) ) {
            slots_[ hole ] = std::exchange( slots_[ at ], {} );
            hole = at;
         }
   }

   template <class Agrees>
   std::optional<uint32_t> find( const Lines & lines, const Line & line, Agrees agrees ) const {
      const uint32_t hash = slotHashOf( line );
      const Slot & slot = slots_[ find( hash ) ];
      if( slot.hash == 0 ) return std::nullopt;
      std::optional<uint32_t> found;
      if( agrees( lines.at( slot.number ), line ) ) found = slot.number;
      if( const auto others = others_.find( hash ); others != others_.end() )
         for( const uint32_t number : others->second ) {
            if( found && *found < number ) break;
            if( agrees( lines.at( number ), line ) ) return number;
         }
      return found;
   }

   static constexpr unsigned kFirstBits = 4;
   std::vector<Slot> slots_ = std::vector<Slot>( size_t( 1 ) << kFirstBits );
   unsigned shift_ = 64 - kFirstBits;                          // slots_ has 2 ^ ( 64 - shift_ ) members
   size_t used_ = 0;                                           // lines
   std::unordered_map<uint32_t, std::set<uint32_t>> others_;   // by hash: lines whose hash a slot has already
};

template <class List>
class NumberedLists {
 public:
   using Line = typename decltype( List::lines )::mapped_type;
   static constexpr uint32_t kStep = 5;

   /// `lists` outlives this; nothing else changes it meanwhile. `words` are the first words of their lines.
   NumberedLists( std::string_view words, std::map<std::string, List> & lists ) : words_( words ), lists_( lists ) {}
   NumberedLists( const NumberedLists & ) = delete;
   NumberedLists & operator=( const NumberedLists & ) = delete;

   /// Null for an undefined list. Valid until the list is deleted.
   List * find( std::string_view name ) {
      if( current_ == lists_.end() || current_->first != name ) {
         current_ = lists_.find( std::string( name ) );
         index_ = nullptr;
      }
      return current_ == lists_.end() ? nullptr : &current_->second;
   }

   /// Null for a line that does not exist. Valid until the line is deleted.
   const Line * find( std::string_view name, uint32_t number ) {
      const List * const list = find( name );
      if( !list ) return nullptr;
      const auto at = list->lines.find( number );
      return at == list->lines.end() ? nullptr : &at->second;
   }

   std::string_view words() const noexcept { return words_; }

   /// The highest number of a line; 0 for none.
   uint32_t highest( std::string_view name ) {
      const List * const list = find( name );
      return list && !list->lines.empty() ? list->lines.rbegin()->first : 0;
   }

   /// From now on, the order of the lines of this list matters.
   void ordered( std::string_view name ) {
      if( List * const list = find( name ) )
         list->anyOrder.value = false;
      else
         ordered_.emplace( name );
   }

   /// Keeps lists that have a description and no line.
   void keepDescribed() noexcept { keepsDescribed_ = true; }

   struct Added {
      bool done = true;             // false: no number is left
      std::optional<Line> before;   // the line that was replaced
   };
   /// Whether the list has the line under any number, perhaps with more words.
   bool has( std::string_view name, const Line & line ) {
      const List * const list = find( name );
      return list && index().find( list->lines, line );
   }
   /// The lowest number of this line.
   std::optional<uint32_t> numberOf( std::string_view name, const Line & line ) {
      const List * const list = find( name );
      return list ? index().findSame( list->lines, line ) : std::nullopt;
   }
   /// Adds the line, under the next number if `number` is empty.
   Added add( std::string_view name, std::optional<uint32_t> number, Line line );
   void remove( std::string_view name );
   /// If `line` is given, has an effect only on an equal line.
   void removeNumber( std::string_view name, uint32_t number, const std::optional<Line> & line );
   /// Removes the lowest line that is equal; false if the list has none. `anyAction`: an AS path list of FRR compares no actions.
   bool removeLine( std::string_view name, const Line & line, bool anyAction = false );

   void describe( std::string_view name, std::string_view text, const Place & place );
   void undescribe( std::string_view name );

 private:
   using Index = ContentIndex<Line>;
   struct Description {
      std::string text;
      Place place;
   };

   List & findOrCreate( std::string_view name, const Place & place );
   // The index of the current list, created on first use: most lists number their lines and need none.
   Index & index() {
      if( !index_ ) index_ = &indexes_.try_emplace( current_->first, current_->second.lines ).first->second;
      return *index_;
   }
   Index * indexIfCreated() {
      if( !index_ )
         if( const auto at = indexes_.find( current_->first ); at != indexes_.end() ) index_ = &at->second;
      return index_;
   }
   /// Returns the line that was replaced, if any.
   std::optional<Line> put( List & list, uint32_t number, Line line );
   void erase( List & list, typename std::map<uint32_t, Line>::iterator at );

   const std::string_view words_;
   std::map<std::string, List> & lists_;
   std::unordered_map<std::string, Index> indexes_;
   std::unordered_map<std::string, Description> descriptions_;   // of lists without lines
   std::unordered_set<std::string> ordered_;                     // undefined lists, some of which were defined, of ordered()
   typename std::map<std::string, List>::iterator current_ = lists_.end();
   Index * index_ = nullptr;   // of the current list; null: not looked up yet
   bool keepsDescribed_ = false;
};

template <class List>
auto NumberedLists<List>::add( std::string_view name, std::optional<uint32_t> number, Line line ) -> Added {
   List * const list = find( name );
   if( !number ) {
      const uint32_t steps = highest( name ) / kStep;
      if( steps >= std::numeric_limits<uint32_t>::max() / kStep ) return { false, std::nullopt };
      number = ( steps + 1 ) * kStep;
   }
   const Place place = line.place;
   return { true, put( list ? *list : findOrCreate( name, place ), *number, std::move( line ) ) };
}

template <class List>
List & NumberedLists<List>::findOrCreate( std::string_view name, const Place & place ) {
   current_ = lists_.try_emplace( std::string( name ) ).first;
   index_ = nullptr;
   List & list = current_->second;
   list.place = place;
   list.anyOrder.value = !ordered_.contains( current_->first );
   if( const auto at = descriptions_.find( current_->first ); at != descriptions_.end() ) {
      list.description = std::move( at->second.text );
      list.place = at->second.place;
      descriptions_.erase( at );
   }
   return list;
}

template <class List>
auto NumberedLists<List>::put( List & list, uint32_t number, Line line ) -> std::optional<Line> {
   const auto at = list.lines.empty() || list.lines.rbegin()->first < number ? list.lines.end() : list.lines.lower_bound( number );
   Index * const index = indexIfCreated();
   if( at == list.lines.end() || at->first != number ) {
      if( index ) index->added( number, line );
      list.lines.emplace_hint( at, number, std::move( line ) );
      return std::nullopt;
   }
   list.anyOrder.value = false;
   if( !isSameLine( at->second, line ) ) {
      if( index ) {
         index->removed( number, at->second );
         index->added( number, line );
      }
      Line before = std::exchange( at->second, std::move( line ) );
      if( !( before == at->second ) ) return before;
   }
   return std::nullopt;
}

template <class List>
void NumberedLists<List>::erase( List & list, typename std::map<uint32_t, Line>::iterator at ) {
   if( list.lines.size() == 1 && !( keepsDescribed_ && !list.description.empty() ) ) {
      remove( current_->first );
   } else {
      if( Index * const index = indexIfCreated() ) index->removed( at->first, at->second );
      list.lines.erase( at );
   }
}

template <class List>
void NumberedLists<List>::remove( std::string_view name ) {
   descriptions_.erase( std::string( name ) );
   ordered_.emplace( name );
   if( !find( name ) ) return;
   indexes_.erase( current_->first );
   lists_.erase( current_ );
   current_ = lists_.end();
   index_ = nullptr;
}

template <class List>
void NumberedLists<List>::removeNumber( std::string_view name, uint32_t number, const std::optional<Line> & line ) {
   List * const list = find( name );
   if( !list ) return;
   const auto at = list->lines.find( number );
   if( at != list->lines.end() && ( !line || at->second == *line ) ) erase( *list, at );
}

template <class List>
bool NumberedLists<List>::removeLine( std::string_view name, const Line & line, bool anyAction ) {
   List * const list = find( name );
   if( !list ) return false;
   auto number = index().find( list->lines, line );
   if( anyAction ) {
      Line other = line;
      other.action = line.action == MatchPermit::permit ? MatchPermit::deny : MatchPermit::permit;
      if( const auto found = index().find( list->lines, other ) ) number = std::min( *found, number.value_or( *found ) );
   }
   if( number ) erase( *list, list->lines.find( *number ) );
   return number.has_value();
}

template <class List>
void NumberedLists<List>::describe( std::string_view name, std::string_view text, const Place & place ) {
   List * list = find( name );
   if( !list && keepsDescribed_ ) list = &findOrCreate( name, place );
   if( list )
      list->description = text;
   else
      descriptions_[ std::string( name ) ] = { std::string( text ), place };
}

template <class List>
void NumberedLists<List>::undescribe( std::string_view name ) {
   descriptions_.erase( std::string( name ) );
   List * const list = find( name );
   if( !list ) return;
   list->description.clear();
   if( list->lines.empty() ) remove( name );
}

}   // namespace Agent
