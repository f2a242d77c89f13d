/// @file tests/model/RouteMapGenerator.h
/// Random policies and routes for the model, from Choices: a shorter row with smaller numbers makes a simpler policy.
///
/// Every evaluation of such a policy ends: sub route maps are called downwards only, at most four deep, and a continue goes
/// forward, or its sequence has a matcher that holds a few times only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/Choices.h"
#include "tests/model/EvaluationModel.h"

namespace EvaluationModel {

class Generator {
 public:
   explicit Generator( Choices & choices ) : any_( choices ) {}

   Policy policy() {
      Policy p;
      for( uint32_t n = 1 + any_.below( 3 ); n; --n ) p.prefixLists.push_back( prefixList() );
      for( uint32_t n = 1 + any_.below( 2 ); n; --n ) p.tagSets.push_back( tagSet() );
      for( uint32_t n = 4 + any_.below( 7 ); n; --n ) p.matchers.push_back( matcher( p ) );
      p.matchers.push_back( { Countdown{ 1 + any_.below( 3 ) } } );
      for( uint32_t n = 3 + any_.below( 6 ); n; --n ) p.setters.push_back( setter() );
      p.setters.push_back( { SetLate{ any_.below( 3 ) } } );
      std::vector<unsigned> depths;
      for( uint32_t n = 1 + any_.below( 7 ); n; --n ) p.routeMaps.push_back( routeMap( p, depths ) );
      for( int n = 0; n < 3; ++n ) p.functions.push_back( function() );
      for( int n = 0; n < 2; ++n ) p.lists.push_back( list( p ) );
      return p;
   }

   Route route() {
      Route r;
      r.metric = metric();
      r.protocol = protocol();
      r.prefix = prefix( any_.anyOf( { 4u, 4u, 6u, 4u, 6u, 0u } ), any_.oneIn( 4 ) );
      r.nexthop = address( any_.anyOf( { 4u, 4u, 6u, 4u, 6u, 0u } ) );
      r.routerId = any_.oneIn( 4 ) ? r.routerId : address( 4 );
      r.tag = any_.below( 3 );
      r.ospfInstance = any_.below( 2 );
      r.isisInstance = any_.below( 2 );
      r.matchInterface = any_.below( 2 );
      r.matchResolvedNexthopInfo = any_.below( 2 );
      r.denyResolvedNexthop = any_.oneIn( 6 );
      if( any_.oneIn( 4 ) ) return r;
      r.resolved.emplace();
      for( uint32_t n = any_.below( 3 ); n; --n ) r.resolved->interfaces.push_back( any_.below( 3 ) );
      for( uint32_t n = any_.below( 5 ); n; --n ) r.resolved->nexthops.push_back( address( any_.anyOf( { 4u, 4u, 6u } ) ) );
      return r;
   }

   /// What an agent hands over: perhaps with a setter registered already.
   Result resultBefore( const Policy & p ) {
      Result r;
      r.preference = any_.below( 256 );
      r.tag = any_.below( 5 );
      r.metric = metric();
      if( !any_.oneIn( 6 ) ) return r;
      r.deferred.emplace();
      const size_t late = p.setters.size() - 1;
      if( any_.oneIn( 2 ) ) r.deferred->push_back( late );
      return r;
   }

 private:
   static constexpr unsigned kMaxDepth = 4;

   // Few values each, so that matchers hold often enough.
   Metric metric() {
      const uint32_t n = any_.below( 4 );
      if( n == 3 ) return any_.anyOf( { uint64_t( 7 ), ( uint64_t( 1 ) << 62 ) - 1, uint64_t( 0xffffffff ) } );
      return n == 0 ? Metric() : Metric( n - 1 );
   }
   uint32_t protocol() { return any_.anyOf( { 0u, 10u, 20u, 31u, 5u, 6u, 24u, 25u, 30u, 7u } ); }

   static std::string bitsOf( std::initializer_list<unsigned> bytes ) {
      std::string bits;
      for( unsigned byte : bytes )
         for( unsigned bit = 0x80; bit; bit >>= 1 ) bits += byte & bit ? '1' : '0';
      return bits;
   }
   // Of 10.0.0.0/15 and of 2001:db8::/47, mostly.
   Address address( unsigned family ) {
      if( family == 0 ) return {};
      if( any_.oneIn( 12 ) ) return { family, std::string( family == 4 ? 32 : 128, any_.oneIn( 2 ) ? '1' : '0' ) };
      const unsigned second = any_.below( 2 ), third = any_.below( 3 ), last = any_.anyOf( { 0u, 1u, 128u } );
      if( family == 4 ) return { 4, bitsOf( { 10, second, third, last } ) };
      return { 6, bitsOf( { 0x20, 0x01, 0x0d, 0xb8, 0, second, third, 0, 0, 0, 0, 0, 0, 0, 0, last } ) };
   }
   Prefix prefix( unsigned family, bool hostBits ) {
      Prefix p;
      p.address = address( family );
      if( family == 4 ) p.length = any_.anyOf( { 24u, 0u, 8u, 16u, 17u, 20u, 32u, 24u } );
      if( family == 6 ) p.length = any_.anyOf( { 64u, 0u, 32u, 48u, 49u, 56u, 128u, 64u } );
      if( !hostBits ) p.address.bits.replace( p.length, std::string::npos, p.address.bits.size() - p.length, '0' );
      return p;
   }

   PrefixList prefixList() {
      PrefixList list;
      list.family = any_.oneIn( 3 ) ? 6 : 4;
      const unsigned width = list.family == 4 ? 32 : 128;
      for( uint32_t n = any_.below( 6 ); n; --n ) {
         PrefixListEntry e;
         e.number = any_.below( 12 );
         e.permit = !any_.oneIn( 3 );
         e.prefix = prefix( list.family, false );
         if( any_.oneIn( 2 ) ) e.ge = e.prefix.length + any_.below( width - e.prefix.length + 1 );
         const unsigned lowest = e.ge.value_or( e.prefix.length );
         if( any_.oneIn( 2 ) ) e.le = any_.oneIn( 2 ) ? width : lowest + any_.below( width - lowest + 1 );
         bool known = false;
         for( const PrefixListEntry & other : list.entries ) known = known || other.number == e.number;
         if( !known ) list.entries.push_back( e );
      }
      return list;
   }

   std::vector<uint32_t> tagSet() {
      std::vector<uint32_t> tags;
      for( uint32_t tag = 0; tag < 3; ++tag )
         if( any_.below( 2 ) ) tags.push_back( tag );
      return tags;
   }

   Matcher matcher( const Policy & p ) { return { test( p ), !any_.oneIn( 4 ) }; }
   Condition test( const Policy & p ) {
      switch( any_.below( 24 ) ) {
         case 8: return TagIs{ any_.below( 3 ) };
         case 9: return MetricIs{ metric() };
         case 10: return ProtocolIs{ protocol() };
         case 11: return NexthopIs{ address( any_.anyOf( { 4u, 6u, 0u } ) ) };
         case 12: {
            NexthopIn t{ prefix( any_.anyOf( { 4u, 6u, 4u, 0u } ), any_.oneIn( 3 ) ) };
            if( t.prefix.address.family == 4 && any_.oneIn( 6 ) ) t.prefix.length = 33 + any_.below( 8 );
            return t;
         }
         case 13: return OspfInstanceIs{ any_.below( 2 ) };
         case 14: return IsisInstanceIs{ any_.below( 2 ) };
         case 15: return InterfaceIs{ any_.below( 3 ) };
         case 16: return Gateway{};
         case 17:
         case 18: return TagIn{ maybeOneOf( p.tagSets.size() ) };
         case 19:
         case 20: return PermittedBy{ About::route, maybeOneOf( p.prefixLists.size() ), any_.oneIn( 3 ) };
         case 21: return PermittedBy{ About::nexthop, maybeOneOf( p.prefixLists.size() ), any_.oneIn( 3 ) };
         case 22: return PermittedBy{ About::resolvedNexthop, maybeOneOf( p.prefixLists.size() ), any_.oneIn( 3 ) };
         case 23: return PermittedBy{ About::routerId, maybeOneOf( p.prefixLists.size() ), any_.oneIn( 3 ) };
         default: return Fixed{ !any_.oneIn( 4 ) };
      }
   }

   Setter setter() { return { effect(), !any_.oneIn( 4 ) }; }
   Effect effect() {
      switch( any_.below( 6 ) ) {
         case 1: return SetPreference{ any_.below( 256 ) };
         case 2: return SetMetric{ metric() };
         case 3: return SetTag{ any_.below( 100 ) };
         case 4: return SetLate{ any_.below( 3 ) };
         default: return SetNothing{};
      }
   }

   std::optional<size_t> maybeOneOf( size_t count ) {
      if( count == 0 || any_.oneIn( 8 ) ) return std::nullopt;
      return any_.below( static_cast<uint32_t>( count ) );
   }

   // Clauses under different options, in a row of any order.
   template <size_t N>
   std::vector<Clause> clauses( uint32_t most, const unsigned ( &options )[ N ], size_t count ) {
      std::vector<Clause> row;
      for( uint32_t n = any_.below( most + 1 ); n; --n ) {
         const Clause clause{ options[ any_.below( N ) ], any_.below( static_cast<uint32_t>( count ) ) };
         bool known = false;
         for( const Clause & other : row ) known = known || other.option == clause.option;
         if( !known ) row.push_back( clause );
      }
      return row;
   }

   // Calls only what is in the policy already; `depths` tells how deep each of those goes.
   RouteMap routeMap( const Policy & p, std::vector<unsigned> & depths ) {
      static constexpr unsigned kMatchOptions[] = { 1, 2, 106, 113, 115, 116, 131, 132 };
      static constexpr unsigned kSetOptions[] = { 1, 2, 3, 9, 11, 14, 200, 255 };
      RouteMap map;
      map.name = name();
      unsigned depth = 0;
      if( !any_.oneIn( 8 ) ) {
         for( uint32_t n = 1 + any_.below( 5 ); n; --n ) {
            const uint32_t number = this->number();
            bool known = false;
            for( const Sequence & other : map.sequences ) known = known || other.number == number;
            if( known ) continue;
            Sequence s;
            s.number = number;
            s.permit = !any_.oneIn( 4 );
            s.matchers = clauses( 3, kMatchOptions, p.matchers.size() );
            s.setters = clauses( 3, kSetOptions, p.setters.size() );
            s.subInvert = any_.oneIn( 3 );   // with and without a sub route map
            if( !p.routeMaps.empty() && any_.below( 3 ) ) {
               // The last one often, so that chains grow long.
               const size_t called = any_.below( 3 ) ? p.routeMaps.size() - 1 : any_.below( static_cast<uint32_t>( p.routeMaps.size() ) );
               if( depths[ called ] < kMaxDepth ) {
                  s.subRouteMap = called;
                  depth = std::max( depth, depths[ called ] + 1 );
               }
            }
            if( !p.routeMaps.empty() && any_.oneIn( 6 ) ) s.aggregateRouteMap = any_.below( static_cast<uint32_t>( p.routeMaps.size() ) );
            map.sequences.push_back( s );
         }
      }
      for( Sequence & s : map.sequences )
         if( any_.oneIn( 3 ) ) continueSomewhere( p, map, s );
      depths.push_back( depth );
      return map;
   }

   uint32_t number() {
      switch( any_.below( 8 ) ) {
         case 6: return any_.below( 12 );
         case 7: return any_.anyOf( { 0u, 0xffffffffu, 0xfffffffeu, 0x80000000u } );
         default: return 10 + 10 * any_.below( 8 );
      }
   }

   void continueSomewhere( const Policy & p, const RouteMap & map, Sequence & s ) {
      uint64_t target = 0;
      uint64_t highest = 0;
      for( const Sequence & other : map.sequences ) highest = std::max<uint64_t>( highest, other.number );
      const Sequence & existing = map.sequences[ any_.below( static_cast<uint32_t>( map.sequences.size() ) ) ];
      switch( any_.below( 8 ) ) {
         case 4:
         case 5: target = uint64_t( s.number ) + 1 + any_.below( 25 ); break;   // mostly missing
         case 6: target = highest + 1 + any_.below( 3 ); break;                 // beyond the end
         default: target = existing.number; break;
      }
      if( target > 0xffffffff ) return;
      if( target <= s.number ) {
         if( !any_.oneIn( 4 ) ) return;
         boundBackwardContinue( p, s );
      }
      s.continueTo = static_cast<uint32_t>( target );
      s.continueByStandIn = any_.below( 2 );
   }

   static void boundBackwardContinue( const Policy & p, Sequence & s ) {
      const size_t countdown = p.matchers.size() - 1;
      if( s.matchers.empty() ) s.matchers.push_back( { 115, countdown } );
      s.matchers.back().which = countdown;
   }

   std::string name() {
      switch( any_.below( 10 ) ) {
         case 1: return "";
         case 2: return "with \"quotes\"";
         case 3: return "tab\tand\\";
         case 4: return "\b\n\v\f\r\x1f\x7f";
         case 5: return std::string( "zero\0byte", 9 );
         case 6: return "caf\xc3\xa9";
         default: return "RM" + std::to_string( any_.below( 100 ) );
      }
   }

   Function function() {
      if( any_.oneIn( 6 ) ) return {};
      return { Body{ any_.anyOf( { 2u, 2u, 2u, 2u, 0u, 1u, 3u } ), any_.below( 256 ) } };
   }

   List list( const Policy & p ) {
      List l;
      for( uint32_t n = any_.below( 6 ); n; --n ) {
         const ListEntry e{ any_.anyOf( { 4u, 0u, 6u, 3u, 5u, 4u, 8u, 1u, 2u, 7u, 255u } ),
                            any_.below( static_cast<uint32_t>( p.routeMaps.size() ) ) };
         bool known = false;
         for( const ListEntry & other : l.routeMaps ) known = known || other.precedence == e.precedence;
         if( !known ) l.routeMaps.push_back( e );
      }
      const auto count = static_cast<uint32_t>( p.functions.size() );
      if( any_.oneIn( 3 ) ) l.gyre = any_.below( count );
      if( any_.oneIn( 3 ) ) l.gyreMaint = any_.below( count );
      if( any_.oneIn( 4 ) ) l.gyreFilter = any_.below( count );
      if( any_.oneIn( 4 ) ) l.gyreDefaultOriginate = any_.below( count );
      return l;
   }

   Choices & any_;
};

}   // namespace EvaluationModel
