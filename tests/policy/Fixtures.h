/// @file tests/policy/Fixtures.h
/// What the tests of policy share: short ways to write a route map, matchers and setters that tell how they were used, a
/// watcher of changes.
///    auto map = routeMap( "RM1", { seq( 10, deny, { { MatchOption::matchTag, makeNode<FixedMatcher>( false ) } } ), seq( 20, permit ) } );
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <locale>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "policy/MatchInput.h"
#include "policy/Matcher.h"
#include "policy/PolicyEvalContext.h"
#include "policy/RouteMapStatus.h"
#include "policy/Setter.h"

namespace Routing::Policy::Fixtures {

constexpr auto permit = Acl::MatchPermit::permit;
constexpr auto deny = Acl::MatchPermit::deny;

/// Gives its answer and its features, and counts how often it was asked, from any thread.
struct FixedMatcher final : Matcher {
   explicit FixedMatcher( bool a, RouteMapFeatures f = {}, std::string t = "FixedMatcher" )
         : answer( a ), features( f ), text( std::move( t ) ) {}
   bool match( const MatchInput_ *, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      ++matched;
      return answer;
   }
   RouteMapFeatures getFeatures() const override {
      ++featuresRead;
      return features;
   }
   void formatDerivedType( std::ostream & os ) const override { os << text; }
   bool answer;
   RouteMapFeatures features;
   std::string text;
   mutable std::atomic<int> matched = 0, featuresRead = 0;
};

/// Runs `atEnd` in its destructor.
struct EndMatcher final : Matcher {
   explicit EndMatcher( std::function<void()> f ) : atEnd( std::move( f ) ) {}
   ~EndMatcher() override { atEnd(); }
   bool match( const MatchInput_ *, const Quoin::Ptr<PolicyEvalContext> & ) const override { return true; }
   void formatDerivedType( std::ostream & os ) const override { os << "EndMatcher"; }
   std::function<void()> atEnd;
};

/// Writes its name into a log when it runs. A deferring one registers itself, and writes "late " and its name in its late half.
struct RecordingSetter final : Setter {
   using Log = std::vector<std::string>;
   explicit RecordingSetter( Log & l, std::string n = "RecordingSetter", bool d = false ) : log( l ), name( std::move( n ) ), defers( d ) {}
   void setValue( Result_ * result ) const override {
      log.push_back( name );
      if( defers ) result->deferredSetterIs( this );
   }
   void deferredSetValue( Result_ * ) const override { log.push_back( "late " + name ); }
   void formatDerivedType( std::ostream & os ) const override { os << name; }
   RouteMapFeatures getFeatures() const override {
      ++featuresRead;
      return features;
   }
   Log & log;
   std::string name;
   bool defers;
   RouteMapFeatures features;
   mutable std::atomic<int> featuresRead = 0;
};

using Matchers = std::initializer_list<std::pair<MatchOption, Quoin::Ptr<const Matcher>>>;
using Setters = std::initializer_list<std::pair<SetOption, Quoin::Ptr<const Setter>>>;

inline Quoin::Ptr<RouteMapSeqStatus> seq( uint32_t seqno, Acl::MatchPermit action = permit, Matchers matchers = {}, Setters setters = {} ) {
   auto s = Quoin::makeNode<RouteMapSeqStatus>( seqno );
   s->matchActionIs( action );
   for( const auto & [ option, matcher ] : matchers ) s->matcherIs( option, matcher );
   for( const auto & [ option, setter ] : setters ) s->setterIs( option, setter );
   return s;
}

inline Quoin::Ptr<RouteMapStatus> routeMap( const char * name, const std::vector<Quoin::Ptr<RouteMapSeqStatus>> & sequences = {} ) {
   auto map = Quoin::makeNode<RouteMapStatus>( name );
   for( const auto & s : sequences ) map->seqStatusIs( s );
   return map;
}

/// What a matcher says of a route, through both of its doors.
inline bool matches( const Matcher & matcher, const MatchInput_ & input ) {
   const bool answer = matcher.match( &input, nullptr );
   EXPECT_EQ( matcher.matchForTest( input, nullptr ), answer ) << matcher.toStrep();
   return answer;
}

/// Hears every change of an object and keeps what `describe` says of it.
struct Watcher final : Quoin::Subscriber {
   using Describe = std::function<std::string( const Quoin::Change & )>;
   Watcher( Quoin::Node & watched, Describe d ) : describe( std::move( d ) ) { watched.publisher()->subscriberAdd( this ); }
   void onChange( const Quoin::Change & change ) override { log.push_back( describe( change ) ); }
   std::vector<std::string> take() { return std::exchange( log, {} ); }
   Describe describe;
   std::vector<std::string> log;
};

/// Lets go of the last handle of an object at its first change.
template <class T>
struct Dropper final : Quoin::Subscriber {
   explicit Dropper( Quoin::Ptr<T> o ) : object( std::move( o ) ) { object->publisher()->subscriberAdd( this ); }
   void onChange( const Quoin::Change & ) override {
      ++heard;
      object = nullptr;
   }
   Quoin::Ptr<T> object;
   int heard = 0;
};

/// Runs `write` on an object whose last handle goes at the first change; gives how many changes were told all the same.
template <class T>
int toldWhileDropped( Quoin::Ptr<T> object, const std::function<void( T & )> & write ) {
   T * const raw = object.get();
   Dropper<T> dropper( std::move( object ) );
   write( *raw );
   EXPECT_FALSE( dropper.object );
   return dropper.heard;
}

/// The text of a value on a stream whose settings would spoil any number that trusts them.
template <class T>
std::string textOnOddStream( const T & value ) {
   struct Grouping : std::numpunct<char> {
      std::string do_grouping() const override { return "\1"; }
   };
   std::ostringstream os;
   os.imbue( std::locale( os.getloc(), new Grouping ) );
   os << std::hex << std::showbase << std::uppercase << std::boolalpha << std::showpos << value;
   return os.str();
}

/// Runs `work` on a thread whose stack is small, so that what recurses deeply ends the process.
inline void onSmallStack( std::function<void()> work ) {
   pthread_attr_t attributes;
   pthread_t thread;
   ASSERT_EQ( pthread_attr_init( &attributes ), 0 );
   ASSERT_EQ( pthread_attr_setstacksize( &attributes, 256 * 1024 ), 0 );
   const auto run = []( void * w ) -> void * {
      ( *static_cast<std::function<void()> *>( w ) )();
      return nullptr;
   };
   ASSERT_EQ( pthread_create( &thread, &attributes, run, &work ), 0 );
   ASSERT_EQ( pthread_join( thread, nullptr ), 0 );
   pthread_attr_destroy( &attributes );
}

/// The slot of a virtual operation in its class's table, where the two of the destructor are 0 and 1; -1 where pointers to
/// members do not tell, which is everywhere but on x86-64 with the usual C++ binary interface.
template <class Operation>
long slotOf( [[maybe_unused]] Operation operation ) {
#if defined( __x86_64__ ) && defined( __GXX_ABI_VERSION )
   long word;
   static_assert( sizeof operation == 2 * sizeof word );
   std::memcpy( &word, &operation, sizeof word );
   return word % 2 == 1 ? word / long( sizeof( void * ) ) : -1;
#else
   return -1;
#endif
}

}   // namespace Routing::Policy::Fixtures
