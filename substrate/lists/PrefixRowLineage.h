/// @file substrate/lists/PrefixRowLineage.h
/// Who still needs which block. The generations of one list and the editor that makes them share blocks, and the blocks have no use counts:
/// an edit would have to write the count of every block beside its path. Instead, generations follow each other in one line. A block is
/// born in one generation and retired by an edit after another one, and exactly the generations between the two have it.
///
///    generation         1    2    3    4
///    block A            +----+              born in 1, retired behind 2: freed when 1 and 2 are gone
///    block B                 +----+----+    born in 2, in use
///
/// A generation that goes hands its retired blocks to the next older one that is in use and has them, and frees the others. The youngest one,
/// which is the editor's while there is an editor, owns its whole trie. Cost: what the generation does not share.
/// Threading: any thread.
#pragma once

#include <mutex>
#include <vector>

#include "substrate/lists/PrefixListRows.h"

namespace Routing::RouteMap {

class PrefixRowLineage final : public Quoin::Node {
 public:
   using Retired = PrefixListRows::Retired;
   ~PrefixRowLineage() override;

   /// A new youngest generation. `retired`: what it does not share with the one before; empty afterwards. Errors: std::bad_alloc, and nothing
   /// has changed.
   void publishedIs( PrefixListRows & generation, std::vector<Retired> & retired );
   /// A generation has lost its last use.
   void generationDel( PrefixListRows & generation ) noexcept;
   /// The editor is gone, with what it has not published: a trie, and the blocks that it has retired.
   void editorDel( const PrefixRowNode & root, const std::vector<Retired> & retired ) noexcept;

 private:
   static void handOver( PrefixListRows * to, std::vector<Retired> & retired ) noexcept;
   static void release( const PrefixRowNode & root, size_t entries, PrefixListRows * heir ) noexcept;

   std::mutex mutex_;
   PrefixListRows * youngest_ = nullptr;   // of the published ones
   bool isEdited_ = true;                  // the editor has the youngest trie
};

}   // namespace Routing::RouteMap
