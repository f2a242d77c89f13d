/// @file substrate/routing/PatriciaTrieWalkCb.h
/// What a trie holds at a prefix, and what is called for it.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/quoin/Ptr.h"

namespace Routing {

/// What stands at one prefix of a trie: a chain, of which the trie holds the head. An object is in one chain at most.
class ROUTEPOLICY_API PrefixData : public Quoin::Node {
 public:
   ~PrefixData() override;
   const PrefixData * next() const noexcept { return next_.get(); }   // null at the end of the chain
   /// Whether a trie has taken it, and for good.
   bool inChain() const noexcept { return nodeFlag() & kInChain; }

   // A trie's entries come and go together: they live in blocks.
   static void * operator new( size_t bytes );
   static void operator delete( void * data ) noexcept;
   // One that wants more than the usual alignment does not, and one may be made in a place that there is.
   static void * operator new( size_t bytes, std::align_val_t alignment ) { return ::operator new( bytes, alignment ); }
   static void operator delete( void * data, std::align_val_t alignment ) noexcept { ::operator delete( data, alignment ); }
   static void * operator new( size_t, void * place ) noexcept { return place; }
   static void operator delete( void *, void * ) noexcept {}

 private:
   friend class PatriciaTrieWithNodeData;
   static constexpr uint32_t kInChain = 1u << 28;   // of the node's flags
   Quoin::Ptr<const PrefixData> next_;
};

/// Called for what a walk finds.
class ROUTEPOLICY_API PatriciaTrieWalkCb : public Quoin::Node {
 public:
   ~PatriciaTrieWalkCb() override;
   /// `prefix` is the trie's own, `data` the head of the chain there. Returns true to go on with the walk.
   virtual bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const PrefixData * data ) = 0;
};

}   // namespace Routing
