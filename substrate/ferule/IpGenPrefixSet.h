/// @file substrate/ferule/IpGenPrefixSet.h
#pragma once

#include <set>

#include "substrate/ferule/IpPrefix.h"
#include "substrate/quoin/Node.h"

namespace Ferule {

/// Prefixes, each once, in ascending order. Threading: any number of readers, or one writer.
class IpGenPrefixSet : public Quoin::Node {
 public:
   /// False when it is there already.
   bool insert( const IpGenPrefix & p ) { return prefixes_.insert( p ).second; }
   bool contains( const IpGenPrefix & p ) const { return prefixes_.contains( p ); }
   size_t count() const noexcept { return prefixes_.size(); }
   auto begin() const noexcept { return prefixes_.begin(); }
   auto end() const noexcept { return prefixes_.end(); }

 private:
   std::set<IpGenPrefix> prefixes_;
};

}   // namespace Ferule
