// routepolicy used-by: who refers to a list or a route map.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "command/Commands.h"
#include "command/Json.h"
#include "command/PolicyFiles.h"
#include "command/References.h"

namespace Agent {

namespace {

constexpr size_t kDeepestIndent = 20;

/// One reference on the way to a thing.
struct Use {
   const Reference * reference;
   size_t depth;            // 1: to the thing itself
   bool repeated = false;   // who calls its route map stands above
};

// Depth first. The callers of each route map come once, so that cycles end and the result is never longer than the policy.
std::vector<Use> usesOf( const Thing & thing, const References & references ) {
   std::vector<Use> uses, next;
   const auto push = [ & ]( const Thing & to, size_t depth ) {
      const auto refer = references.to( to );
      for( auto at = refer.rbegin(); at != refer.rend(); ++at ) next.push_back( { *at, depth } );
   };
   std::set<std::string_view> done;
   if( thing.kind == ThingKind::routeMap ) done.insert( thing.name );
   push( thing, 1 );
   while( !next.empty() ) {
      Use use = next.back();
      next.pop_back();
      const Thing caller{ ThingKind::routeMap, use.reference->routeMap };
      const bool isNew = done.insert( caller.name ).second;
      use.repeated = !isNew && !references.to( caller ).empty();
      uses.push_back( use );
      if( isNew ) push( caller, use.depth + 1 );
   }
   return uses;
}

void writeText( const Thing & thing, const std::vector<Use> & uses, bool defined, Console & console ) {
   console.line( console.strong( textOf( thing ) ) + ( defined ? "" : " (undefined)" ) + ( uses.empty() ? ": nobody refers to it" : "" ) );
   for( const auto & use : uses )
      console.line( fmt::format( "{:{}}{}{}", "", 3 * std::min( use.depth, kDeepestIndent ), textOf( *use.reference ),
                                 use.repeated ? " (its callers: above)" : "" ) );
}

Json jsonOfUses( const Thing & thing, const std::vector<Use> & uses, const PolicyText & text ) {
   Json json = { { "kind", nameOf( thing.kind ) }, { "name", thing.name }, { "defined", isDefined( text, thing ) } };
   json[ "references" ] = Json::array();
   std::set<std::string_view> reach;
   for( const auto & use : uses ) {
      const Reference & r = *use.reference;
      reach.insert( r.routeMap );
      Json reference = { { "routeMap", r.routeMap },
                         { "sequence", r.sequence },
                         { "clause", clauseTextOf( r ) },
                         { "to", r.to.name },
                         { "depth", use.depth } };
      reference.update( jsonOf( text, r.place ) );
      json[ "references" ].push_back( std::move( reference ) );
   }
   json[ "reachedBy" ] = reach;
   return json;
}

}   // namespace

int usedBy( const UsedByOptions & options, Console & console ) {
   const LineLoader loader = loadFiles( options.files );
   if( !reportErrors( loader, console ) ) return kExitError;
   const PolicyText & text = loader.text();
   const References references( text );
   const auto things = thingsCalled( options.name, text, references );
   if( things.empty() ) throw CommandError{ unknownNameText( options.name, text ) };
   Json json = { { "name", options.name }, { "things", Json::array() } };
   for( const auto & thing : things ) {
      const auto uses = usesOf( thing, references );
      if( options.json )
         json[ "things" ].push_back( jsonOfUses( thing, uses, text ) );
      else
         writeText( thing, uses, isDefined( text, thing ), console );
   }
   if( options.json ) console.line( jsonText( json ) );
   console.flush();
   return kExitOk;
}

}   // namespace Agent
