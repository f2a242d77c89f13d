/// @file substrate/lists/PrefixRowLineage.h
/// The line of generations of one prefix list. It decides when a block that generations share is freed.
/// PrefixListRowsEditor makes the generations; PrefixListRows reports its own end.
///
/// Blocks have no use counts: an edit would have to write the count of every block beside its path. Instead, generations follow each other
/// in one line. A block is born in one generation and retired by an edit after another one, and exactly the generations from the first to the
/// second have it.
///
///    generation         1    2    3    4
///    block A            +----+              born in 1, retired after 2: freed when 1 and 2 are released
///    block B                 +----+----+    born in 2, in use
///
/// A generation that is released hands its retired blocks to the next older one that is in use and has them; the others are freed. The
/// newest one, which is the editor's while there is an editor, owns its whole trie.
#pragma once

#include <mutex>
#include <vector>

#include "substrate/lists/PrefixListRows.h"

namespace Routing::RouteMap {

/// The generations in use, and whether an editor makes more. Cost of a release: the blocks that the generation does not share; if they are
/// many, RetiredPrefixRows frees them later. If a release or a publication finds no memory to note what it shares or leaves, the process
/// ends. Threading: any thread.
class PrefixRowLineage final : public Quoin::Node {
 public:
   ~PrefixRowLineage() override;

   /// Adds the newest generation. `retired`: the blocks that only older ones have; empty afterwards. Errors: std::bad_alloc; nothing has
   /// changed then.
   void generationIs( PrefixListRows & generation, RetiredBlocks & retired );
   /// Removes a generation that has lost its last use.
   void generationDel( PrefixListRows & generation ) noexcept;
   /// Removes the editor, with what it has not published: a trie, and the blocks that it has retired.
   void editorDel( const PrefixRowNode & root, size_t bytes, RetiredBlocks & retired ) noexcept;

 private:
   static void handOver( PrefixListRows * heir, RetiredBlocks & retired ) noexcept;
   static void release( const PrefixRowNode & root, size_t bytes, PrefixListRows * heir, std::vector<ReleasedPrefixRows> younger ) noexcept;

   std::mutex mutex_;
   PrefixListRows * newest_ = nullptr;   // of the published ones
   bool isEdited_ = true;                // the editor has the newest trie
};

}   // namespace Routing::RouteMap
