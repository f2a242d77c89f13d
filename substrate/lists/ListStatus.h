/// @file substrate/lists/ListStatus.h
/// The statuses of lists that this library only passes on. Agents derive their own list types from these classes and evaluate them; list
/// symbols hold them by handle.
#pragma once

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListStatus.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Routing::RouteMap {

/// A status of which this library knows only the name. Threading: read-only once published.
class ROUTEPOLICY_API NamedListStatus : public Quoin::Node {
 public:
   explicit NamedListStatus( const Quoin::String & name ) : name_( name ) {}
   ~NamedListStatus() override;
   const Quoin::String & name() const noexcept { return name_; }

 private:
   Quoin::String name_;
};

// clang-format off
struct ROUTEPOLICY_API AsPathListStatus : NamedListStatus { using NamedListStatus::NamedListStatus; };
struct ROUTEPOLICY_API CommListStatus : NamedListStatus { using NamedListStatus::NamedListStatus; };
struct ROUTEPOLICY_API StandardCommListStatus : CommListStatus { using CommListStatus::CommListStatus; };
struct ROUTEPOLICY_API ExtCommListStatus : CommListStatus { using CommListStatus::CommListStatus; };
struct ROUTEPOLICY_API LargeCommListStatus : CommListStatus { using CommListStatus::CommListStatus; };
struct ROUTEPOLICY_API RoaTableStatus : NamedListStatus { using NamedListStatus::NamedListStatus; };
struct ROUTEPOLICY_API SrLabelRangeStatus : NamedListStatus { using NamedListStatus::NamedListStatus; };
// clang-format on

/// A prefix list that is supplied at run time, not configured. It has one list per family; either handle may be null.
class ROUTEPOLICY_API DynPrefixListStatus : public NamedListStatus {
 public:
   using NamedListStatus::NamedListStatus;
   ~DynPrefixListStatus() override;
   const Quoin::Ptr<const PrefixListStatus> & v4PrefixList() const noexcept { return v4_; }
   const Quoin::Ptr<const PrefixListStatus> & v6PrefixList() const noexcept { return v6_; }
   void v4PrefixListIs( const Quoin::Ptr<const PrefixListStatus> & list ) { v4_ = list; }
   void v6PrefixListIs( const Quoin::Ptr<const PrefixListStatus> & list ) { v6_ = list; }

 private:
   Quoin::Ptr<const PrefixListStatus> v4_;
   Quoin::Ptr<const PrefixListStatus> v6_;
};

}   // namespace Routing::RouteMap
