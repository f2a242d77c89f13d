/// @file tests/model/NotificationModel.h
/// Random programs of objects and those who watch them, and who must hear what in which order, worked out the slow way.
///
///    write o0 3; subscribe w1 o0; reaction of w1: renew w1; write o0 4      w1 hears of the last write and is destroyed in its handler
///
/// A program is played twice, by objects and by the model, and must leave the same log.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/RandomCases.h"

namespace notification {

constexpr uint32_t kObjects = 3, kWatchers = 8, kKeys = 4, kValues = 3;

/// The watchers of even number are plain subscribers, the others reactors, which hold what they watch.
inline bool isReactor( uint32_t watcher ) {
   return watcher % 2 == 1;
}

struct Step {
   enum Kind {
      write,   // the attribute of an object
      put,     // a member
      del,
      delAll,
      writeWatched,   // the attribute of what a watcher watches, which may be in no slot
      subscribe,
      unsubscribe,
      on,
      off,
      follow,   // a watcher watches what another watches
      readMissed,
      renewWatcher,
      renewObject,   // drops the slot's object and makes a new one
      react,         // the next step is done when the watcher hears something
      kKinds
   } kind;
   uint32_t watcher, object, other, key, value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[ kKinds ] = { "write", "put", "del",    "delAll",     "writeWatched", "subscribe",   "unsubscribe",
                                             "on",    "off", "follow", "readMissed", "renewWatcher", "renewObject", "reaction of" };
      return os << names[ s.kind ] << " w" << s.watcher << " o" << s.object << " other w" << s.other << " [" << s.key << "] " << s.value;
   }
};

inline std::vector<Step> randomProgram( Random & random ) {
   static const std::vector<Step::Kind> kinds = [] {
      const std::pair<int, Step::Kind> weights[] = {
         { 14, Step::write },     { 5, Step::put },          { 3, Step::del },         { 1, Step::delAll }, { 3, Step::writeWatched },
         { 12, Step::subscribe }, { 3, Step::unsubscribe },  { 6, Step::on },          { 2, Step::off },    { 2, Step::follow },
         { 1, Step::readMissed }, { 3, Step::renewWatcher }, { 3, Step::renewObject }, { 20, Step::react },
      };
      std::vector<Step::Kind> all;
      for( const auto & [ weight, kind ] : weights ) all.insert( all.end(), static_cast<size_t>( weight ), kind );
      return all;
   }();
   const auto pick = [ & ]( uint32_t n ) { return static_cast<uint32_t>( below( random, n ) ); };
   const uint32_t objects = 1 + pick( kObjects );   // few objects have many watchers each
   std::vector<Step> program;
   for( uint32_t n = 10 + pick( 300 ); n && random.step(); --n ) {
      program.push_back(
         { anyOf( random, kinds ), pick( kWatchers ), pick( objects ), pick( kWatchers ), pick( kKeys ), pick( kValues ) } );
      random.say( program.back() );
   }
   return program;
}

/// What a watcher heard: of which of its lives, which attribute (0) or member (1 and its key), and what stood there then.
struct Heard {
   uint32_t watcher, life, what, now;
   bool operator==( const Heard & ) const = default;
   friend std::ostream & operator<<( std::ostream & os, const Heard & h ) {
      return os << 'w' << h.watcher << '#' << h.life << ' ' << h.what << '=' << h.now;
   }
};
constexpr uint32_t kNone = kValues;   // no member there
constexpr uint32_t kMissed = 100;     // in the place of `what`: an answer to readMissed

/// What both worlds share: the log, and the reactions that wait for each watcher to hear something.
template <class World>
class Player {
 public:
   explicit Player( const std::vector<Step> & program ) {
      for( size_t i = 0; i < program.size(); ++i ) {
         if( program[ i ].kind != Step::react ) {
            play( program[ i ] );
         } else if( i + 1 < program.size() && program[ i + 1 ].kind != Step::react ) {
            reactions_[ program[ i ].watcher ].push_back( program[ i + 1 ] );
            ++i;
         }
      }
   }
   void heard( const Heard & heard ) {
      log.push_back( heard );
      auto & queue = reactions_[ heard.watcher ];
      if( queue.empty() ) return;
      const Step next = queue.front();
      queue.pop_front();
      ++reacted;
      play( next );
   }
   std::vector<Heard> log;
   uint32_t reacted = 0;

 private:
   void play( const Step & s ) {
      switch( s.kind ) {
         case Step::write: return world.write( s.object, s.value );
         case Step::put: return world.put( s.object, s.key, s.value );
         case Step::del: return world.del( s.object, s.key );
         case Step::delAll: return world.delAll( s.object );
         case Step::writeWatched: return world.writeWatched( s.watcher, s.value );
         case Step::subscribe: return world.subscribe( s.watcher, s.object );
         case Step::unsubscribe: return world.unsubscribe( s.watcher );
         case Step::on: return world.activeIs( s.watcher, true );
         case Step::off: return world.activeIs( s.watcher, false );
         case Step::follow: return world.follow( s.watcher, s.other );
         case Step::readMissed: return world.readMissed( s.watcher );
         case Step::renewWatcher: return world.renewWatcher( s.watcher );
         case Step::renewObject: return world.renewObject( s.object );
         case Step::react:
         case Step::kKinds: return;
      }
   }
   std::deque<Step> reactions_[ kWatchers ];

 public:
   World world{ *this };   // built when there is a log to write to
};

/// Objects are numbers, and each subscription has a number of its own. A change goes to those that are there when it is published,
/// if they still are when their turn comes.
class Model {
 public:
   explicit Model( Player<Model> & player ) : player_( player ) {
      for( uint32_t o = 0; o < kObjects; ++o ) renewObject( o );
   }

   void write( uint32_t o, uint32_t value ) { writeObject( slots_[ o ], value ); }
   void put( uint32_t o, uint32_t key, uint32_t value ) {
      auto & members = objects_[ slots_[ o ] ].members;
      if( members.contains( key ) && members[ key ] == value ) return;
      members[ key ] = value;
      publish( slots_[ o ], 1 + key );
   }
   void del( uint32_t o, uint32_t key ) {
      if( objects_[ slots_[ o ] ].members.erase( key ) ) publish( slots_[ o ], 1 + key );
   }
   void delAll( uint32_t o ) {
      const uint32_t object = slots_[ o ];
      const auto gone = std::exchange( objects_[ object ].members, {} );
      ++clearing_;   // objects stay whole until the outermost is done
      for( const auto & [ key, value ] : gone ) publish( object, 1 + key );
      if( --clearing_ == 0 ) buryAll();
   }
   void writeWatched( uint32_t w, uint32_t value ) {
      if( watchers_[ w ].object ) writeObject( watchers_[ w ].object, value );
   }
   void subscribe( uint32_t w, uint32_t o ) { watch( w, slots_[ o ] ); }
   void unsubscribe( uint32_t w ) { watch( w, 0 ); }
   void follow( uint32_t w, uint32_t other ) {
      if( watchers_[ other ].object ) watch( w, watchers_[ other ].object );
   }
   void activeIs( uint32_t w, bool active ) {
      Watcher & watcher = watchers_[ w ];
      if( !isReactor( w ) ) {
         if( watcher.object ) watcher.active = active;   // it keeps its place
      } else if( active != watcher.active ) {
         watcher.active = active;
         if( !active )
            watcher.subscription = 0;
         else if( watcher.object && !watcher.subscription )
            watcher.subscription = ++numbers_;
      }
   }
   void readMissed( uint32_t w ) {
      if( isReactor( w ) ) player_.heard( { w, watchers_[ w ].life, kMissed, std::exchange( watchers_[ w ].missed, false ) } );
   }
   void renewWatcher( uint32_t w ) {
      const Watcher old = std::exchange( watchers_[ w ], { .life = watchers_[ w ].life + 1 } );
      buryIfUnused( old.object );
   }
   void renewObject( uint32_t o ) {
      const uint32_t old = std::exchange( slots_[ o ], ++made_ );
      objects_[ made_ ] = {};
      buryIfUnused( old );
   }

   bool watches( uint32_t w ) const { return watchers_[ w ].object != 0; }
   bool reactorActive( uint32_t w ) const { return isReactor( w ) && watchers_[ w ].active; }
   size_t objects() const { return objects_.size(); }

 private:
   struct Object {
      uint32_t value = 0;
      std::map<uint32_t, uint32_t> members;
   };
   struct Watcher {
      uint32_t life = 0;
      uint32_t object = 0;         // 0 for none
      uint64_t subscription = 0;   // 0 for none; the higher came later
      bool active = false;
      bool missed = false;
   };

   void writeObject( uint32_t object, uint32_t value ) {
      if( objects_[ object ].value == value ) return;
      objects_[ object ].value = value;
      publish( object, 0 );
   }
   void publish( uint32_t object, uint32_t what ) {
      std::map<uint64_t, uint32_t> atFirst;
      for( uint32_t w = 0; w < kWatchers; ++w )
         if( watchers_[ w ].object == object && watchers_[ w ].subscription ) atFirst[ watchers_[ w ].subscription ] = w;
      for( const auto & [ number, w ] : atFirst ) {
         Watcher & watcher = watchers_[ w ];
         if( watcher.subscription != number ) continue;
         if( !watcher.active ) {
            watcher.missed = true;
            continue;
         }
         const Object & now = objects_[ object ];
         const auto member = what ? now.members.find( what - 1 ) : now.members.end();
         player_.heard( { w, watcher.life, what, !what ? now.value : member == now.members.end() ? kNone : member->second } );
      }
   }
   void watch( uint32_t w, uint32_t object ) {
      Watcher & watcher = watchers_[ w ];
      if( !isReactor( w ) && object ) watcher.active = true;
      if( watcher.object == object ) return;
      const uint32_t old = std::exchange( watcher.object, object );
      watcher.subscription = object ? ++numbers_ : 0;
      watcher.missed = false;
      buryIfUnused( old );
   }
   bool used( uint32_t object ) const {
      for( const uint32_t o : slots_ )
         if( o == object ) return true;
      for( uint32_t w = 0; w < kWatchers; ++w )
         if( isReactor( w ) && watchers_[ w ].object == object ) return true;
      return false;
   }
   void buryIfUnused( uint32_t object ) {
      if( !object || clearing_ || used( object ) ) return;
      objects_.erase( object );
      for( Watcher & watcher : watchers_ )   // those that are left are plain subscribers
         if( watcher.object == object ) watcher.object = 0, watcher.subscription = 0;
   }
   void buryAll() {
      std::set<uint32_t> all;
      for( const auto & [ number, object ] : objects_ ) all.insert( number );
      for( const uint32_t object : all ) buryIfUnused( object );
   }

   Player<Model> & player_;
   std::map<uint32_t, Object> objects_;
   uint32_t slots_[ kObjects ] = {};
   Watcher watchers_[ kWatchers ];
   uint32_t made_ = 0;
   uint32_t clearing_ = 0;
   uint64_t numbers_ = 0;
};

}   // namespace notification
