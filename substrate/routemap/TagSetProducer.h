/// @file substrate/routemap/TagSetProducer.h
/// One configured tag set, from its tags to its published status. An agent edits it; route maps that refer to the set use the published
/// status.
#pragma once

#include <set>

#include "substrate/routemap/ListPublication.h"

namespace Routing::RouteMap {

/// Collects the edits of one tag set and publishes the set, as PrefixListProducer does for a prefix list.
class ROUTEPOLICY_API TagSetProducer {
 public:
   TagSetProducer( const Quoin::Ptr<const TagSetSymbolDedupTable> & table, const Quoin::String & name )
         : publication_( table->symbol( name ) ) {}

   const Quoin::Ptr<TagSetSymbol> & symbol() const noexcept { return publication_.symbol(); }
   const std::set<RouteTag> & tags() const noexcept { return tags_; }

   /// Adds a tag and begins a change. Returns false, and does nothing, if the set contains the tag already.
   bool tagIs( RouteTag tag );
   /// Removes a tag and begins a change. Returns false, and does nothing, if the set does not contain the tag.
   bool tagDel( RouteTag tag );
   /// Whether edits are pending.
   bool edited() const noexcept { return publication_.underWay(); }
   /// Compiles the present tags and publishes the set.
   void publish();

 private:
   std::set<RouteTag> tags_;
   ListPublication<TagSetStatus> publication_;
};

}   // namespace Routing::RouteMap
