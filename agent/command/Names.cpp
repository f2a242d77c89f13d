// routepolicy names: the names in a policy, for completion.
#include <set>

#include "command/Commands.h"
#include "command/PolicyFiles.h"
#include "text/ThingKind.h"

namespace Agent {

int names( const NamesOptions & options, Console & console ) {
   // Lenient: completion offers the names beside a wrong line, too.
   const LineLoader loader = loadFiles( options.files, options.dialect, true, console );
   const PolicyText & text = loader.text();
   std::set<std::string> all;
   forEachKind( text, [ & ]( ThingKind kind, const auto & things ) {
      if( options.routeMapsOnly && kind != ThingKind::routeMap ) return;
      for( const auto & [ name, thing ] : things ) all.insert( name );
   } );
   for( const auto & name : all ) console.line( name );
   console.flush();
   return kExitOk;
}

}   // namespace Agent
