/// @file function/GyreExternalMatchers.h
/// From the numbers by which a compiled function of the policy language refers to lists outside it to the lists themselves. Functions
/// that refer to the same lists share one table:
///    ExternalMatchersContent content;
///    content.v4PfxlIs( 0, prefixList );
///    status->externalMatchersIs( table->dedupContent( content ) );
/// When a list changes, there is another status of it, another content and so another table; the function's status is given that one. A
/// status that a content refers to is not written to any more, a dynamic prefix list's neither.
/// Ownership: a table keeps the lists that it refers to. A dedup table holds its tables weakly: each leaves when its last user goes.
/// Threading: contents are written and deduplicated on one thread. From then on all is read-only, and any thread may read a table or
/// let go of it.
/// Invariant: no two tables of one dedup table have equal contents.
#pragma once

#include <compare>
#include <cstdint>
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

/// The lists of one kind by number. An evaluator reads them with operator[], which touches no count.
template <class Status>
class ExternalListTable : public Plinth::DynArray<Quoin::Ptr<const Status>> {
 public:
   using Key = uint32_t;
   using Value = Quoin::Ptr<const Status>;

   /// Null when there is none.
   const Value * find( Key number ) const noexcept {
      const Value & status = ( *this )[ number ];
      return status ? &status : nullptr;
   }
   /// Empties the table and hands out what stood in it.
   std::vector<std::pair<Key, Value>> takeAll() {
      std::vector<std::pair<Key, Value>> gone;
      gone.reserve( this->count() );
      for( auto i = this->first(); i; i.next() ) gone.emplace_back( i.key(), i.value() );
      this->clear();
      return gone;
   }
};

/// Which lists there are, and under which number each: a value. The identity of a list counts everywhere here, never what is in it.
/// Errors: writing a list under a number of 2003004 or above ends the process, reading and deleting find none there;
/// MutatorArgNullPointerException on a null list, which changes nothing.
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
   /// With no list but this one; a null handle is none.
   explicit ExternalMatchersContent( Quoin::Ptr<const Routing::RouteMap::SrLabelRangeStatus> srLabelRangeStatus );
   /// There is no text form. Errors: ends the process.
   explicit ExternalMatchersContent( const Quoin::String & text );

   /// Equal contents have equal hashes. So have those that differ in numbers only, the order of their lists being the same.
   uint32_t hash( uint32_t seed = 0 ) const noexcept;

   /// The order of the first difference, by address: field by field, and in a table number by number. No list is the least, and
   /// it is no difference how far a table reaches beyond its last list.
   std::strong_ordering operator<=>( const ExternalMatchersContent & other ) const noexcept;
   friend bool operator==( const ExternalMatchersContent & a, const ExternalMatchersContent & b ) noexcept { return ( a <=> b ) == 0; }
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<ExternalMatchersContent>( a, b ); }
   /// True when the value differs from a default-built one.
   explicit operator bool() const noexcept { return *this != ExternalMatchersContent(); }

 private:
   friend struct ExternalMatchersFields;
   static constexpr Plinth::NullPublisher publisher_{};   // a value tells nobody, and so its fields need no numbers

   // Each table has numbers of its own. What stands here stands in ExternalMatchersFields too, in the same order.
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

/// A content, and what a function needs to ask its prefix lists. Immutable.
class ROUTEPOLICY_API ExternalMatchers final : public ExternalMatchersBase {
 public:
   using PrefixListMatcher = Routing::Policy::PrefixListMatcher;
   using PrefixListMatchers = Plinth::DynArray<Quoin::Ptr<const PrefixListMatcher>>;
   explicit ExternalMatchers( const ExternalMatchersContent & content );
   ~ExternalMatchers() override;

   const ExternalMatchersContent & content() const noexcept { return content_; }
   // A matcher per prefix list, under the list's number; by reference, so that a look touches no count. Null where there is no list,
   // as where a dynamic one has none of the family.
   const PrefixListMatchers & v4Pfxl() const noexcept { return v4Pfxl_; }
   const PrefixListMatchers & v6Pfxl() const noexcept { return v6Pfxl_; }
   const PrefixListMatchers & v4DynPfxl() const noexcept { return v4DynPfxl_; }
   const PrefixListMatchers & v6DynPfxl() const noexcept { return v6DynPfxl_; }
   const Quoin::Ptr<const PrefixListMatcher> & v4Pfxl( uint32_t number ) const noexcept { return v4Pfxl_[ number ]; }
   const Quoin::Ptr<const PrefixListMatcher> & v6Pfxl( uint32_t number ) const noexcept { return v6Pfxl_[ number ]; }
   const Quoin::Ptr<const PrefixListMatcher> & v4DynPfxl( uint32_t number ) const noexcept { return v4DynPfxl_[ number ]; }
   const Quoin::Ptr<const PrefixListMatcher> & v6DynPfxl( uint32_t number ) const noexcept { return v6DynPfxl_[ number ]; }

   // The content alone counts.
   uint32_t hash() const override;
   bool compare( const Zeugma::DedupHandleBase * other ) const override;
   bool compareByContent( const Zeugma::DedupContentHandle & content ) const override;

   /// A line per list, but that dynamic prefix lists stand in one line with what follows them.
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

/// The tables in use, one per content.
class ROUTEPOLICY_API ExternalMatchersDedupTable final : public Quoin::Node {
 public:
   ExternalMatchersDedupTable();
   ~ExternalMatchersDedupTable() override;
   /// Starts an empty dedup table; the constructor calls it. Tables that stand in the former one stay there.
   void handleInitialized();

   /// The one table of this content; made if there is none. A hit allocates nothing.
   Quoin::Ptr<ExternalMatchers> dedupContent( const ExternalMatchersContent & content ) const;
   const Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> & dedupTable() const noexcept { return dedupTable_; }

 private:
   Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> dedupTable_;
};

}   // namespace Gyre
