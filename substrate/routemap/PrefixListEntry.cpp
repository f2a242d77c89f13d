#include "substrate/routemap/PrefixListEntry.h"

#include <utility>

#include "substrate/quoin/TextStream.h"

namespace Routing::RouteMap {

Quoin::String PrefixListEntry::toStrep() const {
   Quoin::TextStream os;
   os << seqno << ' ' << action << ' ' << prefix;
   if( ge ) os << " ge " << *ge;
   if( le ) os << " le " << *le;
   return std::move( os ).text();
}

}   // namespace Routing::RouteMap
