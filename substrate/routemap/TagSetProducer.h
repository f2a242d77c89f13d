/// @file substrate/routemap/TagSetProducer.h
#pragma once

#include <set>

#include "substrate/routemap/ListPublication.h"

namespace Routing::RouteMap {

/// One configured tag set; what is said of PrefixListProducer holds here too.
class ROUTEPOLICY_API TagSetProducer {
 public:
   TagSetProducer( const Quoin::Ptr<const TagSetSymbolDedupTable> & table, const Quoin::String & name )
         : publication_( table->symbol( name ) ) {}

   const Quoin::Ptr<TagSetSymbol> & symbol() const noexcept { return publication_.symbol(); }
   const std::set<RouteTag> & tags() const noexcept { return tags_; }

   // False, and nothing has begun, when the tag is there already, or not there.
   bool tagIs( RouteTag tag );
   bool tagDel( RouteTag tag );
   bool edited() const noexcept { return publication_.underWay(); }
   void publish();

 private:
   std::set<RouteTag> tags_;
   ListPublication<TagSetStatus> publication_;
};

}   // namespace Routing::RouteMap
