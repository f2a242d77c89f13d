#include "substrate/routemap/CallOrder.h"

#include <algorithm>
#include <new>

namespace Routing::RouteMap {

using Quoin::String;

CallOrder::~CallOrder() = default;

CallOrder::Vertex * CallOrder::find( const String & name ) const {
   const auto found = vertex_.find( name );
   return found == vertex_.end() ? nullptr : &found->second;
}

CallOrder::Vertex & CallOrder::findOrMake( const String & name ) {
   const auto [ at, isNew ] = vertex_.try_emplace( name, name );
   if( isNew ) {
      at->second.place = ++last_;
      ++moves_;
   }
   return at->second;
}

void CallOrder::release( Vertex & vertex ) {
   if( vertex.callees.empty() && vertex.callers.empty() ) vertex_.erase( vertex_.find( vertex.name ) );
}

CallOrder::Place CallOrder::place( const String & name ) const {
   const auto * vertex = find( name );
   return vertex ? vertex->place : first_ - 1;
}

void CallOrder::callIs( const String & caller, const String & callee ) {
   if( callee.empty() || !exists_ ) return;
   try {
      exists_ = add( caller, callee );
   } catch( const std::bad_alloc & ) { exists_ = false; }
   if( !exists_ ) vertex_.clear();
}

// Returns false if the call closes a cycle.
bool CallOrder::add( const String & caller, const String & callee ) {
   Vertex & to = findOrMake( callee );
   Vertex & from = findOrMake( caller );
   const uint32_t * calls = from.callees.find( &to );
   if( !calls && !makeRoom( from, to ) ) return false;
   const uint32_t count = calls ? *calls + 1 : 1;
   from.callees.put( &to, count );
   to.callers.put( &from, count );
   return true;
}

void CallOrder::callDel( const String & caller, const String & callee ) {
   if( callee.empty() || !exists_ ) return;
   Vertex & from = *find( caller );
   Vertex & to = *find( callee );
   if( const uint32_t count = *from.callees.find( &to ) - 1; count != 0 ) {
      from.callees.put( &to, count );
      to.callers.put( &from, count );
      return;
   }
   ++deletions_;
   from.callees.erase( &to );
   to.callers.erase( &from );
   release( from );
   release( to );
}

// One of the two walks of a search: down from the callee to all that it reaches, or up from the caller to all that reaches it. Only route
// maps between the places of the two can be on a way from one to the other.
class CallOrder::Walk {
 public:
   Walk( Vertex & start, Calls Vertex::*calls, Place first, Place last, uint64_t mark )
         : calls_( calls ), first_( first ), last_( last ), mark_( mark ), visited_{ &start } {
      start.visitedBy = mark;
      call_ = ( start.*calls ).begin();
   }
   bool isDone() const noexcept { return reading_ == visited_.size(); }
   /// Whether the walk has left out nothing: every way from its start is inside.
   bool isWhole() const noexcept { return isWhole_; }
   /// What the walk has visited, in ascending places.
   const std::vector<Vertex *> & sorted() {
      std::ranges::sort( visited_, {}, &Vertex::place );
      return visited_;
   }
   /// Reads one call. Returns whether the walk has met the other walk.
   bool meets( const Walk & other ) {
      if( call_ == ( visited_[ reading_ ]->*calls_ ).end() ) {
         if( ++reading_ != visited_.size() ) call_ = ( visited_[ reading_ ]->*calls_ ).begin();
         return false;
      }
      Vertex & next = *call_->first;
      ++call_;
      if( next.visitedBy == other.mark_ ) return true;
      if( next.visitedBy == mark_ ) return false;
      if( next.place < first_ || next.place > last_ ) {
         isWhole_ = false;
         return false;
      }
      next.visitedBy = mark_;
      visited_.push_back( &next );
      return false;
   }

 private:
   Calls Vertex::*calls_;
   Place first_, last_;
   uint64_t mark_;
   std::vector<Vertex *> visited_;
   size_t reading_ = 0;   // the place in `visited_` whose calls are being read
   decltype( std::declval<const Calls &>().begin() ) call_;
   bool isWhole_ = true;
};

CallOrder::Walk CallOrder::walkDown( Vertex & start, Place first ) const {
   return { start, &Vertex::callees, first, start.place, ++marks_ };
}

CallOrder::Walk CallOrder::walkUp( Vertex & start, Place last ) const {
   return { start, &Vertex::callers, start.place, last, ++marks_ };
}

// Both walks advance in turn until one is done: the search costs no more than twice the smaller one. Returns whether they meet.
bool CallOrder::search( Walk & down, Walk & up ) {
   while( !down.isDone() && !up.isDone() )
      if( down.meets( up ) || up.meets( down ) ) return true;
   return false;
}

bool CallOrder::reaches( const String & caller, const String & callee ) const {
   Vertex * from = find( caller );
   Vertex * to = find( callee );
   if( !from || !to || from->place <= to->place ) return false;
   Walk down = walkDown( *from, to->place ), up = walkUp( *to, from->place );
   return search( down, up );
}

// Gives `callee` and what it reaches places before `caller` and what reaches `caller`. Returns false if `callee` reaches `caller`.
bool CallOrder::makeRoom( Vertex & caller, Vertex & callee ) {
   if( callee.place < caller.place ) return true;
   if( &caller == &callee ) return false;
   Walk down = walkDown( callee, caller.place ), up = walkUp( caller, callee.place );
   if( search( down, up ) ) return false;
   ++moves_;
   if( up.isDone() && up.isWhole() ) {
      for( auto * vertex : up.sorted() ) vertex->place = ++last_;
   } else if( down.isDone() && down.isWhole() ) {
      const auto & sorted = down.sorted();
      std::for_each( sorted.rbegin(), sorted.rend(), [ this ]( Vertex * vertex ) { vertex->place = --first_; } );
   } else {
      while( !down.isDone() ) down.meets( up );
      while( !up.isDone() ) up.meets( down );
      std::vector<Vertex *> moved = down.sorted();
      moved.insert( moved.end(), up.sorted().begin(), up.sorted().end() );
      std::vector<Place> places;
      places.reserve( moved.size() );
      for( const auto * vertex : moved ) places.push_back( vertex->place );
      std::ranges::sort( places );
      for( size_t i = 0; i < moved.size(); ++i ) moved[ i ]->place = places[ i ];
   }
   return true;
}

}   // namespace Routing::RouteMap
