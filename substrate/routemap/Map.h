/// @file substrate/routemap/Map.h
/// One configured route map. It stands between the Config, which holds all route maps, and its sequences, the MapEntries.
#pragma once

#include "substrate/plinth/TreeMap.h"
#include "substrate/routemap/CallOrder.h"
#include "substrate/routemap/MapEntry.h"

namespace Routing::RouteMap {

/// A name, a version and the sequences. Ownership: held by a Config. Threading: the activity thread.
class ROUTEPOLICY_API Map final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { version, mapEntry };
   using MapEntries = Plinth::TreeMap<uint32_t, Quoin::Ptr<MapEntry>>;

   explicit Map( const Quoin::String & name ) : name_( name ) {}
   ~Map() override;

   /// The key in the Config. Never changes.
   const Quoin::String & name() const noexcept { return name_; }

   /// An agent writes it as the last step of a batch of edits. Any new value means that the route map is consistent again. A subscriber of
   /// a sequence that writes it while it is notified of a changed clause may be earlier than the machines: this change is then published
   /// with the next version.
   PLINTH_ATTR( version, versionIs, Field::version, uint32_t );
   /// The sequences by number.
   PLINTH_LINKED_NODES( mapEntry, mapEntryIs, mapEntryDel, mapEntryDelAll, Field::mapEntry, link, unlink, MapEntries );

 private:
   friend class Config;
   friend class MapEntry;

   void link( MapEntry & entry ) noexcept { entry.map_ = this; }
   void unlink( MapEntry & entry );
   void callChanged( const Quoin::String & from, const Quoin::String & to );
   void callOrderIs( const Quoin::Ptr<CallOrder> & order );

   Quoin::String name_;
   Quoin::Ptr<CallOrder> callOrder_;   // of the Config; null if the Config keeps none
};

}   // namespace Routing::RouteMap
