/// @file substrate/lists/TagSetStatus.h
/// A compiled tag set. Ownership: shared by handle. Threading: read-only once published.
#pragma once

#include <initializer_list>

#include "routepolicy_export.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/String.h"
#include "substrate/routing/RouteTypes.h"

namespace Routing::RouteMap {

class ROUTEPOLICY_API TagSetStatus : public Quoin::Node {
 public:
   explicit TagSetStatus( const Quoin::String & name, std::initializer_list<RouteTag> tags = {} );
   ~TagSetStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   const Plinth::HashSet2018<RouteTag> & tag() const noexcept { return tag_; }
   /// False, and nothing happens, when it is there already, or not there.
   bool tagIs( RouteTag tag ) { return tag_.put( tag ); }
   bool tagDel( RouteTag tag ) { return tag_.erase( tag ); }

 private:
   Quoin::String name_;
   Plinth::HashSet2018<RouteTag> tag_;
};

}   // namespace Routing::RouteMap
