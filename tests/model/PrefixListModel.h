/// @file tests/model/PrefixListModel.h
/// A prefix list as a row of entries, all of which are asked, bit by bit: slow and obvious. The library's lists are held against it.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <vector>

#include "policy/PrefixListMatcher.h"
#include "substrate/routemap/PrefixListBuilder.h"

struct PrefixListModel {
   using Tuple = Routing::Policy::PrefixListMatchResultTuple;
   struct Entry {
      uint32_t seqno;
      Acl::MatchPermit permit;
      Ferule::IpGenPrefix prefix;
      unsigned ge;
      unsigned le;
      friend std::ostream & operator<<( std::ostream & os, const Entry & e ) {
         return os << e.seqno << ' ' << e.permit << ' ' << e.prefix << " ge " << e.ge << " le " << e.le;
      }
   };

   Ferule::AddressFamily af;
   std::vector<Entry> entries;

   /// Bit `i` of an address, the first one first.
   static bool bitOf( const Ferule::IpGenAddr & a, unsigned i ) {
      return i < 64 ? a.bits().high >> ( 63 - i ) & 1 : a.bits().low >> ( 127 - i ) & 1;
   }

   /// Whether `inner` is `outer` or lies in it. Bits behind a length do not count.
   static bool contains( const Ferule::IpGenPrefix & outer, const Ferule::IpGenPrefix & inner ) {
      if( outer.af() != inner.af() || outer.length() > inner.length() ) return false;
      for( unsigned i = 0; i < outer.length(); ++i )
         if( bitOf( outer.ipGenAddr(), i ) != bitOf( inner.ipGenAddr(), i ) ) return false;
      return true;
   }

   /// Takes a configured entry in if it can be, with the bounds that it leaves out filled in.
   bool entryIs( const Routing::RouteMap::PrefixListEntry & e ) {
      const unsigned bits = af == Ferule::AddressFamily::ipv4 ? 32 : 128;
      const unsigned length = e.prefix.length();
      if( e.prefix.af() != af || length > bits ) return false;
      for( unsigned i = length; i < bits; ++i )
         if( bitOf( e.prefix.ipGenAddr(), i ) ) return false;
      for( const Entry & other : entries )
         if( other.seqno == e.seqno ) return false;
      const unsigned ge = e.ge ? *e.ge : length;
      const unsigned le = e.le ? *e.le : e.ge ? bits : length;
      if( ge < length || le < ge || le > bits ) return false;
      entries.push_back( { e.seqno, e.action, e.prefix, ge, le } );
      return true;
   }

   /// The entry with the lowest number among those that contain the prefix and admit its length.
   Tuple match( const Ferule::IpGenPrefix & asked ) const { return lowest( asked, admits ); }
   /// The same whatever lengths they admit.
   Tuple coveredBy( const Ferule::IpGenPrefix & asked ) const { return lowest( asked, always ); }

   /// The walk told step by step, for chains in any order: at each prefix on the way, the first fitting entry counts, and the
   /// one entered last is the first. It says the same as above when numbers were entered in descending order.
   Tuple matchByWalk( const Ferule::IpGenPrefix & asked ) const { return walk( asked, admits ); }
   Tuple coveredByWalk( const Ferule::IpGenPrefix & asked ) const { return walk( asked, always ); }

 private:
   static bool admits( const Entry & e, unsigned length ) { return e.ge <= length && length <= e.le; }
   static bool always( const Entry &, unsigned ) { return true; }

   static Tuple tupleOf( const Entry * e ) {
      using Routing::Policy::PrefixListMatchResult;
      if( !e ) return { 0, PrefixListMatchResult::notMatched };
      return { e->seqno, e->permit == Acl::MatchPermit::permit ? PrefixListMatchResult::permit : PrefixListMatchResult::deny };
   }

   template <class Fits>
   Tuple lowest( const Ferule::IpGenPrefix & asked, Fits fits ) const {
      const Entry * best = nullptr;
      for( const Entry & e : entries )
         if( contains( e.prefix, asked ) && fits( e, asked.length() ) && ( !best || e.seqno < best->seqno ) ) best = &e;
      return tupleOf( best );
   }

   template <class Fits>
   Tuple walk( const Ferule::IpGenPrefix & asked, Fits fits ) const {
      const Entry * best = nullptr;
      for( unsigned length = 0; length <= asked.length(); ++length )
         for( auto e = entries.rbegin(); e != entries.rend(); ++e ) {
            if( e->prefix.length() != length || !contains( e->prefix, asked ) || !fits( *e, asked.length() ) ) continue;
            if( !best || e->seqno < best->seqno ) best = &*e;
            break;
         }
      return tupleOf( best );
   }
};
