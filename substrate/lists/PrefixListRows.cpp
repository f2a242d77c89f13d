#include "substrate/lists/PrefixListRows.h"

#include <algorithm>
#include <typeinfo>

#include "substrate/lists/PrefixListEntryData.h"
#include "substrate/lists/PrefixListRowsEditor.h"
#include "substrate/lists/PrefixRowLineage.h"

namespace Routing::RouteMap {

namespace {

using Ferule::Bits128;
using SixBits::kStride;

// The entry with the lowest number so far.
class Best {
 public:
   void offer( const PrefixRow & row ) noexcept {
      if( row.seqno() < seqno_ ) {   // of equal numbers, the one of the shorter prefix stays
         seqno_ = row.seqno();
         permit_ = row.permit();
      }
   }
   PrefixListRows::Answer answer() const noexcept {
      if( seqno_ == kNone ) return {};
      return { static_cast<uint32_t>( seqno_ ), true, permit_ };
   }

 private:
   static constexpr uint64_t kNone = uint64_t( 1 ) << 32;   // above every number
   uint64_t seqno_ = kNone;
   bool permit_ = false;
};

}   // namespace

PrefixListRows::PrefixListRows( Ferule::AddressFamily af ) : af_( af ) {}

PrefixListRows::PrefixListRows( Ferule::AddressFamily af, const PrefixRowNode & root, const Counts & counts, uint64_t generation,
                                const Quoin::Ptr<PrefixRowLineage> & lineage, std::vector<Retired> & retired )
      : root_( root ),
        af_( af ),
        prefixCount_( counts.prefixes ),
        entryCount_( counts.entries ),
        bytes_( counts.bytes ),
        generation_( generation ),
        lineage_( lineage ) {
   lineage->generationIs( *this, retired );
}

PrefixListRows::~PrefixListRows() {
   if( lineage_ ) lineage_->generationDel( *this );
}

// Goes down towards a prefix, through the prefixes that contain it, the shortest first. Calls `onPlace( node, place, length )` for a prefix
// in an inner node, and `onLone( node )` for that of a lone node, until one of them returns false.
template <class OnPlace, class OnLone>
inline void PrefixListRows::descend( const Ferule::IpGenPrefix & prefix, OnPlace && onPlace, OnLone && onLone ) const {
   const Bits128 bits = prefix.ipGenAddr().bits();
   const unsigned length = prefix.length();
   const PrefixRowNode * node = &root_;
   Bits128 rest = bits;   // the bits from `depth` on
   for( unsigned depth = 0;; depth += kStride ) {
      if( node->isLone() ) {
         if( node->loneLength() <= length && SixBits::samePrefix( node->loneBits(), bits, node->loneLength() ) ) onLone( *node );
         return;
      }
      const auto v = static_cast<unsigned>( rest.high >> ( 64 - kStride ) );
      const unsigned left = length - depth;
      uint64_t hits = node->inner & SixBits::kInnerPath[ v ];
      if( left < kStride ) hits &= SixBits::innerUpTo( left );
      for( ; hits; hits &= hits - 1 ) {
         const auto place = static_cast<unsigned>( std::countr_zero( hits ) );
         if( !onPlace( *node, place, depth + SixBits::innerLength( place ) ) ) return;
      }
      if( left < kStride ) return;
      if( node->full >> v & 1 && !onPlace( *node, PrefixRowNode::kFullPlace + v, depth + kStride ) ) return;
      if( left == kStride || !node->hasChild( v ) ) return;
      node = node->children() + node->childIndex( v );
      rest = SixBits::after( rest );
   }
}

PrefixListRows::Answer PrefixListRows::governing( const Ferule::IpGenPrefix & prefix ) const noexcept {
   Best best;
   const unsigned length = prefix.length();
   const auto offer = [ & ]( const PrefixRow & row ) {
      if( !row.admits( length ) ) return false;
      best.offer( row );
      return true;
   };
   descend(
      prefix,
      [ & ]( const PrefixRowNode & node, unsigned place, unsigned ) {
         node.visitRows( place, offer );
         return true;
      },
      [ & ]( const PrefixRowNode & node ) { node.visitLoneRows( offer ); } );
   return best.answer();
}

PrefixListRows::Answer PrefixListRows::covering( const Ferule::IpGenPrefix & prefix ) const noexcept {
   Best best;
   const auto offer = [ & ]( const PrefixRow & row ) {
      best.offer( row );
      return true;
   };
   descend(
      prefix,
      [ & ]( const PrefixRowNode & node, unsigned place, unsigned ) {
         node.visitRows( place, offer );
         return true;
      },
      [ & ]( const PrefixRowNode & node ) { node.visitLoneRows( offer ); } );
   return best.answer();
}

void PrefixListRows::ancestorWalk( const Ferule::IpGenPrefix & prefix, PatriciaTrieWalkCb * walker ) const {
   std::vector<PrefixRow> rows;
   const auto collect = [ & ]( const PrefixRow & row ) {
      rows.push_back( row );
      return false;
   };
   const auto handle = [ & ]( unsigned length ) {
      Quoin::Ptr<const PrefixData> chain;
      for( ; !rows.empty(); rows.pop_back() ) {
         const PrefixRow & row = rows.back();
         const auto action = row.permit() ? Acl::MatchPermit::permit : Acl::MatchPermit::deny;
         chain = chained( Quoin::makeNode<PrefixListEntryData>( row.seqno(), action, uint8_t( length ), row.ge(), row.le() ), chain );
      }
      return walker->handlePrefixData( Ferule::IpGenPrefix( prefix.ipGenAddr(), uint8_t( length ) ).subnet(), chain.get() );
   };
   descend(
      prefix,
      [ & ]( const PrefixRowNode & node, unsigned place, unsigned length ) {
         node.visitRows( place, collect );
         return handle( length );
      },
      [ & ]( const PrefixRowNode & node ) {
         node.visitLoneRows( collect );
         handle( node.loneLength() );
      } );
}

Quoin::Ptr<const PrefixListRows> PrefixListRows::ofTrie( const PatriciaTrieWithNodeData & trie ) {
   if( trie.source() ) return Quoin::Ptr( dynamic_cast<const PrefixListRows *>( trie.source().get() ) );
   bool isPlain = true;
   std::vector<PrefixListRowsEditor::Item> items;
   items.reserve( trie.entryCount() );
   trie.visitAll( [ & ]( const Ferule::IpGenPrefix & prefix, const PrefixData * head ) {
      for( auto * entry = static_cast<const PrefixListEntryData *>( head ); entry; entry = entry->nextEntry() ) {
         isPlain &= typeid( *entry ) == typeid( PrefixListEntryData ) && entry->prefixLength() == prefix.length();
         items.push_back( { prefix.ipGenAddr().bits(), prefix.length(),
                            PrefixRow( entry->seqno(), entry->PrefixListEntryData::isPrefixEntryPermit(), uint8_t( entry->ge() ),
                                       uint8_t( entry->le() ) ) } );
      }
   } );
   if( !isPlain ) return nullptr;
   PrefixListRowsEditor editor( trie.af() );
   editor.rowsAre( items.size(), [ & ]( size_t i ) { return items[ i ]; } );
   return editor.publish();
}

}   // namespace Routing::RouteMap
