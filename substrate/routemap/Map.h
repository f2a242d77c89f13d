/// @file substrate/routemap/Map.h
#pragma once

#include "substrate/plinth/TreeMap.h"
#include "substrate/routemap/MapEntry.h"

namespace Routing::RouteMap {

/// One configured route map. Ownership: a Config shares it. Threading: the activity thread.
class ROUTEPOLICY_API Map final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { version, mapEntry };
   using MapEntries = Plinth::TreeMap<uint32_t, Quoin::Ptr<MapEntry>>;

   explicit Map( const Quoin::String & name ) : name_( name ) {}
   ~Map() override;

   /// The key in the Config; never changes.
   const Quoin::String & name() const noexcept { return name_; }

   /// Written last of a batch of edits: any other value says that the route map is consistent again.
   PLINTH_ATTR( version, versionIs, Field::version, uint32_t );
   /// The sequences by number.
   PLINTH_MADE_NODES( mapEntry, mapEntryIs, mapEntryDel, mapEntryDelAll, Field::mapEntry, MapEntries );

 private:
   Quoin::String name_;
};

}   // namespace Routing::RouteMap
