/// @file function/GyreExternalMatchers.h
/// Maps the numbers in a compiled function of the policy language to the lists that the function refers to. The compiler of a function
/// writes a content; functions with equal contents share one table:
///    ExternalMatchersContent content;
///    content.v4PfxlIs( 0, prefixList );
///    status->externalMatchersIs( table->dedupContent( content ) );
/// A changed list has a new status, and therefore a new content and a new table. The compiler then sets the new table in the status of the
/// function. A status in a content is never written again; this includes the status of a dynamic prefix list.
/// Ownership: a table shares the lists that it refers to. A dedup table holds weak references to its tables: a table is deleted when its
/// last user releases it.
/// Threading: one thread writes and deduplicates contents. Afterwards a table is read-only; any thread may read or release it.
/// Invariant: no two tables of one dedup table have equal contents.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "policy/PrefixListMatcher.h"
#include "routepolicy_export.h"
#include "substrate/gyre/ExternalMatchersBase.h"
#include "substrate/lists/ListStatus.h"
#include "substrate/lists/TagSetStatus.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/DynArray.h"
#include "substrate/plinth/PlainRecord.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"
#include "substrate/zeugma/Dedup.h"

namespace Gyre {

/// The lists of one kind by number. An evaluator reads them with operator[], which changes no reference count.
template <class Status>
class ExternalListTable : public Plinth::DynArray<Quoin::Ptr<const Status>> {
 public:
   using Key = uint32_t;
   using Value = Quoin::Ptr<const Status>;

   /// The list of a number; null if it does not exist.
   const Value * find( Key number ) const noexcept {
      const Value & status = ( *this )[ number ];
      return status ? &status : nullptr;
   }
   /// Stores a list; `list` is then the former one.
   Plinth::Stored store( Key number, Value & list ) {
      Value former = ( *this )[ number ];
      if( !this->put( number, list ) ) return Plinth::Stored::nothing;
      list = std::move( former );
      return list ? Plinth::Stored::replaced : Plinth::Stored::added;
   }
   /// Removes the list of a number and returns it.
   std::optional<Value> take( Key number ) {
      Value former = ( *this )[ number ];
      return this->erase( number ) ? std::optional<Value>( std::move( former ) ) : std::nullopt;
   }
   /// Empties the table and returns its former content.
   std::vector<std::pair<Key, Value>> takeAll() {
      std::vector<std::pair<Key, Value>> gone;
      gone.reserve( this->count() );
      for( auto i = this->first(); i; i.next() ) gone.emplace_back( i.key(), i.value() );
      this->clear();
      return gone;
   }
};

/// The lists that a function refers to, by number. A plain value. Comparison and hash use the identity of a list, never its entries.
/// Errors: writing a list under number 2003004 or higher ends the process; reading and deleting find no list there. A null list raises
/// MutatorArgNullPointerException and changes nothing.
class ROUTEPOLICY_API ExternalMatchersContent {
 public:
   using PrefixLists = ExternalListTable<Routing::RouteMap::PrefixListStatus>;
   using AsPathLists = ExternalListTable<Routing::RouteMap::AsPathListStatus>;
   using StandardCommLists = ExternalListTable<Routing::RouteMap::StandardCommListStatus>;
   using ExtCommLists = ExternalListTable<Routing::RouteMap::ExtCommListStatus>;
   using LargeCommLists = ExternalListTable<Routing::RouteMap::LargeCommListStatus>;
   using RoaTables = ExternalListTable<Routing::RouteMap::RoaTableStatus>;
   using DynPrefixLists = ExternalListTable<Routing::RouteMap::DynPrefixListStatus>;
   using TagSets = ExternalListTable<Routing::RouteMap::TagSetStatus>;

   ExternalMatchersContent() = default;
   /// A content with this label range and no list; null for none.
   explicit ExternalMatchersContent( Quoin::Ptr<const Routing::RouteMap::SrLabelRangeStatus> srLabelRangeStatus );
   /// A content cannot be read from text. Errors: always ends the process.
   explicit ExternalMatchersContent( const Quoin::String & text );

   /// Equal contents have equal hashes. Contents with the same lists in the same order have equal hashes too, even if their numbers differ.
   uint32_t hash( uint32_t seed = 0 ) const noexcept;

   /// Orders by the address of the first difference: field by field, and in a table number by number. A missing list is less than any list.
   /// The size of a table beyond its last list does not count.
   std::strong_ordering operator<=>( const ExternalMatchersContent & other ) const noexcept;
   friend bool operator==( const ExternalMatchersContent & a, const ExternalMatchersContent & b ) noexcept { return ( a <=> b ) == 0; }
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<ExternalMatchersContent>( a, b ); }
   /// Whether the value differs from a default-constructed one.
   explicit operator bool() const noexcept { return *this != ExternalMatchersContent(); }

 private:
   friend struct ExternalMatchersFields;
   static constexpr Plinth::NullPublisher publisher_{};   // a value has no subscribers, so its fields need no ids

   // Each table has its own numbers. ExternalMatchersFields lists the same fields in the same order.
   PLINTH_COLLECTION( v4Pfxl, v4PfxlIs, v4PfxlDel, v4PfxlDelAll, 0, PrefixLists );
   PLINTH_COLLECTION( v6Pfxl, v6PfxlIs, v6PfxlDel, v6PfxlDelAll, 0, PrefixLists );
   PLINTH_COLLECTION( asPathListStatus, asPathListStatusIs, asPathListStatusDel, asPathListStatusDelAll, 0, AsPathLists );
   PLINTH_COLLECTION( commListStatus, commListStatusIs, commListStatusDel, commListStatusDelAll, 0, StandardCommLists );
   PLINTH_COLLECTION( extCommListStatus, extCommListStatusIs, extCommListStatusDel, extCommListStatusDelAll, 0, ExtCommLists );
   PLINTH_COLLECTION( largeCommListStatus, largeCommListStatusIs, largeCommListStatusDel, largeCommListStatusDelAll, 0, LargeCommLists );
   PLINTH_COLLECTION( roaTableStatus, roaTableStatusIs, roaTableStatusDel, roaTableStatusDelAll, 0, RoaTables );
   PLINTH_COLLECTION( dynPrefixListStatus, dynPrefixListStatusIs, dynPrefixListStatusDel, dynPrefixListStatusDelAll, 0, DynPrefixLists );
   PLINTH_VALUE( srLabelRangeStatus, srLabelRangeStatusIs, {}, Quoin::Ptr<const Routing::RouteMap::SrLabelRangeStatus> );
   PLINTH_COLLECTION( tagSetStatus, tagSetStatusIs, tagSetStatusDel, tagSetStatusDelAll, 0, TagSets );
};

/// The table of one content: its lists, and a matcher for each of its prefix lists. Immutable.
class ROUTEPOLICY_API ExternalMatchers final : public ExternalMatchersBase {
 public:
   using PrefixListMatcher = Routing::Policy::PrefixListMatcher;
   using PrefixListMatchers = Plinth::DynArray<Quoin::Ptr<const PrefixListMatcher>>;
   explicit ExternalMatchers( const ExternalMatchersContent & content );
   ~ExternalMatchers() override;

   const ExternalMatchersContent & content() const noexcept { return content_; }
   // The matchers of the prefix lists by number. The getters return references, so that reading changes no reference count. Null if no list
   // has the number, or if a dynamic list has no list of the family.
   const PrefixListMatchers & v4Pfxl() const noexcept { return v4Pfxl_; }
   const PrefixListMatchers & v6Pfxl() const noexcept { return v6Pfxl_; }
   const PrefixListMatchers & v4DynPfxl() const noexcept { return v4DynPfxl_; }
   const PrefixListMatchers & v6DynPfxl() const noexcept { return v6DynPfxl_; }
   const Quoin::Ptr<const PrefixListMatcher> & v4Pfxl( uint32_t number ) const noexcept { return v4Pfxl_[ number ]; }
   const Quoin::Ptr<const PrefixListMatcher> & v6Pfxl( uint32_t number ) const noexcept { return v6Pfxl_[ number ]; }
   const Quoin::Ptr<const PrefixListMatcher> & v4DynPfxl( uint32_t number ) const noexcept { return v4DynPfxl_[ number ]; }
   const Quoin::Ptr<const PrefixListMatcher> & v6DynPfxl( uint32_t number ) const noexcept { return v6DynPfxl_[ number ]; }

   // Hash and comparison use the content alone.
   uint32_t hash() const override;
   bool compare( const Zeugma::DedupHandleBase * other ) const override;
   bool compareByContent( const Zeugma::DedupContentHandle & content ) const override;

   /// Prints one line per list, but the text of a dynamic prefix list ends without a line break.
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const override;

 private:
   friend struct ExternalMatchersFields;
   void initialize();

   ExternalMatchersContent content_;
   PrefixListMatchers v4Pfxl_;
   PrefixListMatchers v6Pfxl_;
   PrefixListMatchers v4DynPfxl_;
   PrefixListMatchers v6DynPfxl_;
};

/// The tables in use, one per content. The compilers of functions share one dedup table.
class ROUTEPOLICY_API ExternalMatchersDedupTable final : public Quoin::Node {
 public:
   ExternalMatchersDedupTable();
   ~ExternalMatchersDedupTable() override;
   /// Creates an empty dedup table; the constructor calls it. Tables of the former dedup table stay there.
   void handleInitialized();

   /// The table of a content. It is created if it does not exist; otherwise nothing is allocated.
   Quoin::Ptr<ExternalMatchers> dedupContent( const ExternalMatchersContent & content ) const;
   const Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> & dedupTable() const noexcept { return dedupTable_; }

 private:
   Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> dedupTable_;
};

}   // namespace Gyre
