/// @file substrate/routemap/TagSetProducer.h
/// One configured tag set, from its tags to its published status. An agent edits it; route maps that refer to the set use the published
/// status.
#pragma once

#include "substrate/routemap/ListPublication.h"

namespace Routing::RouteMap {

/// Collects the edits of one tag set and publishes the set, as PrefixListProducer does for a prefix list. Neither an edit nor a publication
/// depends on the size of the set: the published sets share their memory.
class ROUTEPOLICY_API TagSetProducer {
 public:
   TagSetProducer( const Quoin::Ptr<const TagSetSymbolDedupTable> & table, const Quoin::String & name )
         : publication_( table->symbol( name ) ) {}

   const Quoin::Ptr<TagSetSymbol> & symbol() const noexcept { return publication_.symbol(); }
   const TagSetStatus::Tags & tags() const noexcept { return tags_; }

   /// Adds a tag and begins a change. Returns false, and does nothing, if the set contains the tag already. Errors: std::bad_alloc; the set
   /// is unchanged.
   bool tagIs( RouteTag tag );
   /// Removes a tag and begins a change. Returns false, and does nothing, if the set does not contain the tag. Errors: as
   /// tagIs().
   bool tagDel( RouteTag tag );
   /// Whether edits are pending.
   bool edited() const noexcept { return publication_.underWay(); }
   /// Publishes the present tags.
   void publish() {
      publication_.publish( [ this ] { return Quoin::makeNode<TagSetStatus>( symbol()->name(), tags_ ); } );
   }

 private:
   TagSetStatus::Tags tags_;
   ListPublication<TagSetStatus> publication_;
};

}   // namespace Routing::RouteMap
