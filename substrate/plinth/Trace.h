/// @file substrate/plinth/Trace.h
/// Traces: lines of text about the steps of the library, selected by category and level. Compilation and pipelines write traces; a
/// sink receives them, by default standard error. Traces do not change behaviour, except the order of steps in the first
/// compilation of a route map (compile/RouteMapConfigSymbolSm.h).
///
///    static Plinth::TraceHandle loopTrace( "RouteMapLoopDetect" );
///    PLINTH_TRACE( loopTrace, level8 ) << "detected loop at " << map->name();
///
/// A statement whose level is not enabled evaluates and formats nothing; the test is one load.
/// Threading: create handles at load time, and set levels and the sink on one thread before other threads trace. The sink is called on
/// the thread that traces.
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

/// The levels of traces.
struct TraceFacility {
   /// The higher the level, the more detail. A handle prints traces of its own level and of all lower levels.
   enum FacilityLevel : uint8_t { level0, level1, level2, level3, level4, level5, level6, level7, level8, level9 };
   /// The level of a handle that prints nothing.
   static constexpr int kOff = -1;
};

class TraceHandle;

/// One complete trace, as the sink receives it. Valid only during the call.
struct TraceRecord {
   const TraceHandle & handle;
   TraceFacility::FacilityLevel level;
   const char * file;
   int line;
   std::string_view text;
};

/// A category of traces, created at load time. Several handles may share a name. Initially off.
class ROUTEPOLICY_API TraceHandle {
 public:
   explicit TraceHandle( const char * name );
   ~TraceHandle();
   TraceHandle( const TraceHandle & ) = delete;
   TraceHandle & operator=( const TraceHandle & ) = delete;

   const char * name() const noexcept { return name_; }
   int level() const noexcept { return level_.load( std::memory_order_relaxed ); }
   /// Sets the highest level that is printed; TraceFacility::kOff prints nothing.
   void levelIs( int level ) noexcept { level_.store( level, std::memory_order_relaxed ); }
   /// Whether the handle prints traces of `level`.
   bool enabled( TraceFacility::FacilityLevel level ) const noexcept { return level <= this->level(); }

   /// All handles of the process.
   static const std::vector<TraceHandle *> & all();
   /// Sets the level of all handles with that name; "*" stands for every name. Returns the number of handles.
   static size_t levelIs( std::string_view name, int level );

   /// Receives every trace. Standard error is the default, with lines "name level file:line text".
   using Sink = std::function<void( const TraceRecord & )>;
   /// Replaces the sink; null restores the default. A sink must not replace itself. Exceptions of a sink are ignored.
   static void sinkIs( Sink sink );

 private:
   const char * name_;
   std::atomic<int> level_{ TraceFacility::kOff };
};

/// A number to print in lower-case hexadecimal, without a prefix.
struct Hex {
   uint64_t value;
};

/// The text of one trace statement: strings, integers, and every type that has a stream operator.
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

/// One trace statement: collects the text, and hands it to the sink in the destructor.
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

/// `PLINTH_TRACE( handle, level8 ) << ...`. Nothing to the right of it is evaluated unless the level is enabled in the handle.
#define PLINTH_TRACE( handle, level )                                                                \
   for( bool tells_ = ( handle ).enabled( ::Plinth::TraceFacility::level ); tells_; tells_ = false ) \
   ::Plinth::TraceHelper( handle, ::Plinth::TraceFacility::level, __FILE__, __LINE__ ).stream()

}   // namespace Plinth
