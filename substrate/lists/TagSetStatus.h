/// @file substrate/lists/TagSetStatus.h
/// A compiled tag set. TagSetProducer creates it from the configured tags; matchers of policy/ evaluate it.
/// Ownership: shared by handle. Threading: read-only once published.
#pragma once

#include <initializer_list>

#include "routepolicy_export.h"
#include "substrate/plinth/HashTrie.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/Seal.h"
#include "substrate/quoin/String.h"
#include "substrate/routing/RouteTypes.h"

namespace Routing::RouteMap {

/// A name and a set of tags.
class ROUTEPOLICY_API TagSetStatus : public Quoin::Node {
 public:
   /// A copy shares its memory.
   using Tags = Plinth::SharedHashSet<RouteTag>;

   explicit TagSetStatus( const Quoin::String & name, std::initializer_list<RouteTag> tags = {} );
   TagSetStatus( const Quoin::String & name, const Tags & tags );
   ~TagSetStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   const Tags & tag() const noexcept { return tag_; }
   /// Adds a tag. Returns false if the set contains it already.
   bool tagIs( RouteTag tag ) { return noteChange( tag_.put( tag ) ); }
   /// Removes a tag. Returns false if the set does not contain it.
   bool tagDel( RouteTag tag ) { return noteChange( tag_.erase( tag ) ); }
   const Quoin::Seal & seal() const noexcept { return seal_; }

 private:
   bool noteChange( bool hasChanged ) noexcept {
      if( hasChanged ) seal_.changed();
      return hasChanged;
   }

   Quoin::Seal seal_;
   Quoin::String name_;
   Tags tag_;
};

}   // namespace Routing::RouteMap
