// routepolicy names: for completion.
#include <set>

#include "command/Commands.h"
#include "command/PolicyFiles.h"

namespace Agent {

int names( const NamesOptions & options, Console & console ) {
   const LineLoader loader = loadFiles( options.files, console );
   const PolicyText & text = loader.text();
   std::set<std::string> all;
   const auto add = [ & ]( const auto & things ) {
      for( const auto & [ name, thing ] : things ) all.insert( name );
   };
   add( text.routeMaps );
   if( !options.routeMapsOnly ) {
      add( text.ipv4PrefixLists );
      add( text.ipv6PrefixLists );
      add( text.ipv4AccessLists );
      add( text.ipv6AccessLists );
      add( text.tagSets );
      add( text.communityLists );
      add( text.asPathLists );
   }
   for( const auto & name : all ) console.line( name );
   console.flush();
   return kExitOk;
}

}   // namespace Agent
