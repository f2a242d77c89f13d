/// @file substrate/plinth/Trace.h
/// Traces: what the library does, told to whoever asks, by category and level. A trace never changes behaviour.
///
///    static Plinth::TraceHandle loopTrace( "RouteMapLoopDetect" );
///    PLINTH_TRACE( loopTrace, level8 ) << "detected loop at " << map->name();
///
/// Below the handle's level nothing is evaluated and nothing formatted: the test is one load.
/// Threading: handles are made at load time, levels and sinks set on one thread before others trace; a sink is called on the thread
/// that traces.
#pragma once

#include <atomic>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/TextStream.h"

namespace Plinth {

struct TraceFacility {
   /// The higher, the finer. A handle tells what is of its own level or coarser.
   enum FacilityLevel : uint8_t { level0, level1, level2, level3, level4, level5, level6, level7, level8, level9 };
   static constexpr int kOff = -1;
};

class TraceHandle;

/// One trace, complete. Good for the span of the call.
struct TraceRecord {
   const TraceHandle & handle;
   TraceFacility::FacilityLevel level;
   const char * file;
   int line;
   std::string_view text;
};

/// A category of traces, built at load time with a name that several handles may share. Off at first.
class ROUTEPOLICY_API TraceHandle {
 public:
   explicit TraceHandle( const char * name );
   ~TraceHandle();
   TraceHandle( const TraceHandle & ) = delete;
   TraceHandle & operator=( const TraceHandle & ) = delete;

   const char * name() const noexcept { return name_; }
   int level() const noexcept { return level_.load( std::memory_order_relaxed ); }
   /// TraceFacility::kOff for none.
   void levelIs( int level ) noexcept { level_.store( level, std::memory_order_relaxed ); }
   bool enabled( TraceFacility::FacilityLevel level ) const noexcept { return level <= this->level(); }

   /// The handles of the process.
   static const std::vector<TraceHandle *> & all();
   /// Sets the level of all handles of a name; "*" names every one. Gives how many there were.
   static size_t levelIs( std::string_view name, int level );

   /// Where traces go, standard error at first: "name level file:line text". Null gives that back. A sink must not replace itself; what it throws is lost.
   using Sink = std::function<void( const TraceRecord & )>;
   static void sinkIs( Sink sink );

 private:
   const char * name_;
   std::atomic<int> level_{ TraceFacility::kOff };
};

/// A number told in lower-case hexadecimal, without a prefix.
struct Hex {
   uint64_t value;
};

/// What one statement says: strings, integers, and whatever else has a stream form.
class ROUTEPOLICY_API TraceStream {
 public:
   TraceStream & operator<<( std::string_view text ) {
      text_ += text;
      return *this;
   }
   TraceStream & operator<<( const char * text ) { return *this << std::string_view( text ? text : "NULL" ); }
   TraceStream & operator<<( const std::string & text ) { return *this << std::string_view( text ); }
   TraceStream & operator<<( const Quoin::String & text ) { return *this << std::string_view( text.data(), text.size() ); }
   template <std::integral Number>
   TraceStream & operator<<( Number number ) {
      if constexpr( std::same_as<Number, char> ) {
         text_ += number;
      } else if constexpr( std::same_as<Number, bool> ) {
         text_ += number ? '1' : '0';
      } else {
         append( number, 10 );
      }
      return *this;
   }
   template <class T>
      requires( !std::integral<T> && !std::convertible_to<T, std::string_view> )
   TraceStream & operator<<( const T & value ) {
      Quoin::TextStream os;
      os << value;
      return *this << std::move( os ).text();
   }
   TraceStream & operator<<( Hex number ) {
      append( number.value, 16 );
      return *this;
   }
   std::string_view text() const noexcept { return text_; }

 private:
   template <class Number>
   void append( Number number, int base ) {
      char digits[ 24 ];
      text_.append( digits, std::to_chars( digits, digits + sizeof digits, number, base ).ptr );
   }
   std::string text_;
};

/// One statement: collects its text, and tells it when it ends.
class ROUTEPOLICY_API TraceHelper {
 public:
   TraceHelper( const TraceHandle & handle, TraceFacility::FacilityLevel level, const char * file, int line ) noexcept
         : handle_( handle ), level_( level ), file_( file ), line_( line ) {}
   ~TraceHelper();
   TraceHelper( const TraceHelper & ) = delete;
   TraceHelper & operator=( const TraceHelper & ) = delete;
   TraceStream & stream() noexcept { return stream_; }

 private:
   const TraceHandle & handle_;
   TraceFacility::FacilityLevel level_;
   const char * file_;
   int line_;
   TraceStream stream_;
};

/// `PLINTH_TRACE( handle, level8 ) << ...`. Nothing to the right of it is evaluated unless the handle tells that level.
#define PLINTH_TRACE( handle, level )                                                                \
   for( bool tells_ = ( handle ).enabled( ::Plinth::TraceFacility::level ); tells_; tells_ = false ) \
   ::Plinth::TraceHelper( handle, ::Plinth::TraceFacility::level, __FILE__, __LINE__ ).stream()

}   // namespace Plinth
