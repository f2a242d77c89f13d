/// @file substrate/routing/PatriciaTrieWalkCb.h
/// The data that a trie holds at a prefix, and the callback of a walk over a trie. Rules and entries of compiled lists derive from the
/// data; evaluation implements the callback.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/quoin/Ptr.h"

namespace Routing {

/// One element of the chain of data at a prefix. The trie holds the head of the chain. An object is in at most one chain.
class ROUTEPOLICY_API PrefixData : public Quoin::Node {
 public:
   ~PrefixData() override;
   const PrefixData * next() const noexcept { return next_.get(); }   // null at the end of the chain
   /// Whether the object was added to a trie. It stays true afterwards.
   bool inChain() const noexcept { return nodeFlag() & kInChain; }

   // The entries of a trie are created and deleted together, so they are allocated in blocks.
   static void * operator new( size_t bytes );
   static void operator delete( void * data ) noexcept;
   // Objects with a greater alignment come from the heap. Placement new is allowed.
   static void * operator new( size_t bytes, std::align_val_t alignment ) { return ::operator new( bytes, alignment ); }
   static void operator delete( void * data, std::align_val_t alignment ) noexcept { ::operator delete( data, alignment ); }
   static void * operator new( size_t, void * place ) noexcept { return place; }
   static void operator delete( void *, void * ) noexcept {}

 private:
   friend class PatriciaTrieWithNodeData;
   friend class PrefixDataSource;
   static constexpr uint32_t kInChain = 1u << 28;   // of the node's flags
   Quoin::Ptr<const PrefixData> next_;
};

/// The callback of PatriciaTrieWithNodeData::ancestorWalk().
class ROUTEPOLICY_API PatriciaTrieWalkCb : public Quoin::Node {
 public:
   ~PatriciaTrieWalkCb() override;
   /// Called for each prefix that the walk finds. `prefix` is the prefix in the trie, `data` the head of its chain, which is valid during the
   /// call; a handle keeps it. Returns true to continue the walk.
   virtual bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const PrefixData * data ) = 0;
};

/// Data that is made when a walk asks for it. A trie may stand for such a source; see PatriciaTrieWithNodeData.
/// Threading: walks run on any number of threads.
class ROUTEPOLICY_API PrefixDataSource : public Quoin::Node {
 public:
   ~PrefixDataSource() override;
   virtual size_t prefixCount() const noexcept = 0;
   /// The number of data objects of all prefixes.
   virtual size_t entryCount() const noexcept = 0;
   /// As PatriciaTrieWithNodeData::ancestorWalk(), for a prefix of its family. The data that `walker` does not hold goes with the call.
   virtual void ancestorWalk( const Ferule::IpGenPrefix & prefix, PatriciaTrieWalkCb * walker ) const = 0;

 protected:
   /// Returns the chain of `data` and, behind it, `rest`. `data` must be in no chain.
   static Quoin::Ptr<const PrefixData> chained( const Quoin::Ptr<PrefixData> & data, Quoin::Ptr<const PrefixData> rest ) noexcept {
      data->nodeFlagSet( PrefixData::kInChain );
      data->next_ = std::move( rest );
      return data;
   }
};

}   // namespace Routing
