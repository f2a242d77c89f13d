/// @file substrate/ferule/IpGenPrefixSet.h
/// A set of prefixes. The conversion of access list rules into prefixes (substrate/acl/AclPrefix.h) fills one.
#pragma once

#include <cstdint>
#include <ostream>
#include <set>
#include <string>
#include <utility>

#include "substrate/ferule/IpPrefix.h"
#include "substrate/quoin/Node.h"
#include "substrate/zeugma/HashMix.h"

namespace Ferule {

/// A set of prefixes in ascending order. Text: "{a, b}" in that order. Threading: any number of readers, or one writer.
class IpGenPrefixSet : public Quoin::Node {
 public:
   /// Returns false if the set contains the prefix already.
   bool insert( const IpGenPrefix & p ) { return prefixes_.insert( p ).second; }
   bool contains( const IpGenPrefix & p ) const { return prefixes_.contains( p ); }
   size_t count() const noexcept { return prefixes_.size(); }
   auto begin() const noexcept { return prefixes_.begin(); }
   auto end() const noexcept { return prefixes_.end(); }

   /// Compares the prefixes: two different nodes can be equal.
   friend bool operator==( const IpGenPrefixSet & a, const IpGenPrefixSet & b ) noexcept { return a.prefixes_ == b.prefixes_; }
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpGenPrefixSet>( a, b ); }
   uint32_t hash() const noexcept {
      Zeugma::HashMix mix;
      for( const auto & p : prefixes_ ) {
         const uint32_t part = p.hash();
         mix.mixBytes4( reinterpret_cast<const unsigned char *>( &part ) );
      }
      return mix;
   }
   Quoin::String toStrep() const {
      std::string text = "{";
      for( const auto & p : prefixes_ ) text.append( text.size() > 1 ? ", " : "" ).append( p.toStrep().view() );
      return Quoin::String( std::move( text += '}' ) );
   }
   friend std::ostream & operator<<( std::ostream & os, const IpGenPrefixSet & set ) { return os << set.toStrep(); }

 private:
   std::set<IpGenPrefix> prefixes_;
};

}   // namespace Ferule
