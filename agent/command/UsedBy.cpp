// routepolicy used-by: the clauses that refer to a list or a route map, and the stanzas that apply it.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "analysis/LeftOut.h"
#include "analysis/References.h"
#include "command/Commands.h"
#include "command/Json.h"
#include "command/PolicyFiles.h"
#include "command/RouteText.h"

namespace Agent {

namespace {

constexpr size_t kDeepestIndent = 20;

/// One reference that leads to a thing, or a line that applies the thing or a route map that leads to it.
struct Use {
   Thing to;
   size_t depth;                  // 1: to the thing itself
   const Reference * reference;   // null for an application
   const Application * application = nullptr;
   bool repeated = false;   // the uses of its route map are listed already
};

// Depth first. The uses of each route map are listed once, so that cycles end and the result is never longer than the policy.
std::vector<Use> usesOf( const Thing & thing, const References & references ) {
   std::vector<Use> uses, next;
   const auto push = [ & ]( const Thing & to, size_t depth ) {
      for( const auto * application : references.applicationsOf( to ) ) uses.push_back( { to, depth, nullptr, application } );
      const auto refer = references.to( to );
      for( auto at = refer.rbegin(); at != refer.rend(); ++at ) next.push_back( { to, depth, *at } );
   };
   std::set<std::string_view> done;
   if( thing.kind == ThingKind::routeMap ) done.insert( thing.name );
   push( thing, 1 );
   while( !next.empty() ) {
      Use use = next.back();
      next.pop_back();
      const Thing caller{ ThingKind::routeMap, use.reference->routeMap };
      const bool isNew = done.insert( caller.name ).second;
      use.repeated = !isNew && references.isUsed( caller );
      uses.push_back( use );
      if( isNew ) push( caller, use.depth + 1 );
   }
   return uses;
}

// Any line that was left out may be a use.
std::vector<std::string> allLeftOut( const PolicyText & text ) {
   std::vector<const LeftOut *> lines;
   for( const auto & line : text.leftOut ) lines.push_back( &line );
   return placesOf( text, lines );
}

// "edge.conf:14: neighbor 192.0.2.1 route-map EDGE-IN in"
std::string lineOf( const PolicyText & text, const Application & application ) {
   const Place & place = application.place;
   if( place.line == 0 || place.file >= text.files.size() ) return application.line;
   return fmt::format( "{}:{}: {}", text.files[ place.file ], place.line, application.line );
}

void writeText( const Thing & thing, const std::vector<Use> & uses, const PolicyText & text, Console & console ) {
   console.line( console.strong( textOf( thing ) ) + ( isDefined( text, thing ) ? "" : " (undefined)" ) +
                 ( uses.empty() ? ": unused" : "" ) + withoutText( allLeftOut( text ) ) );
   for( const auto & use : uses )
      console.line( fmt::format( "{:{}}{}{}", "", 3 * std::min( use.depth, kDeepestIndent ),
                                 use.reference ? textOf( *use.reference ) : lineOf( text, *use.application ),
                                 use.repeated ? " (its callers are listed above)" : "" ) );
}

Json jsonOfReference( const Use & use, const PolicyText & text ) {
   const Reference & r = *use.reference;
   Json json = {
      { "routeMap", r.routeMap }, { "sequence", r.sequence }, { "clause", clauseTextOf( r ) }, { "to", use.to.name }, { "depth", use.depth }
   };
   json.update( jsonOf( text, r.place ) );
   return json;
}

Json jsonOfApplication( const Use & use, const PolicyText & text ) {
   Json json = { { "text", use.application->line }, { "to", use.to.name }, { "depth", use.depth } };
   json.update( jsonOf( text, use.application->place ) );
   return json;
}

Json jsonOfUses( const Thing & thing, const std::vector<Use> & uses, const PolicyText & text ) {
   Json json = { { "kind", nameOf( thing.kind ) }, { "name", thing.name }, { "defined", isDefined( text, thing ) } };
   Json references = Json::array(), applications = Json::array();
   std::set<std::string_view> reach;
   for( const auto & use : uses )
      if( use.reference ) {
         reach.insert( use.reference->routeMap );
         references.push_back( jsonOfReference( use, text ) );
      } else {
         applications.push_back( jsonOfApplication( use, text ) );
      }
   json[ "references" ] = std::move( references );
   json[ "applications" ] = std::move( applications );
   json[ "reachedBy" ] = reach;
   return json;
}

}   // namespace

int usedBy( const UsedByOptions & options, Console & console ) {
   if( options.name.empty() ) throw CommandError{ "NAME is empty" };
   const LineLoader loader = loadFiles( options.files, options.dialect, options.lenient, console );
   if( !reportErrors( loader, console, options.json ) ) return kExitError;
   const PolicyText & text = loader.text();
   mentionUnreadLines( text, console );
   const References references( text );
   const auto things = thingsCalled( options.name, text, references );
   if( things.empty() ) throw CommandError{ unknownNameText( options.name, text ) };
   Json json = { { "name", options.name }, { "things", Json::array() } };
   if( !text.leftOut.empty() ) json[ "leftOut" ] = allLeftOut( text );
   for( const auto & thing : things ) {
      const auto uses = usesOf( thing, references );
      if( options.json )
         json[ "things" ].push_back( jsonOfUses( thing, uses, text ) );
      else
         writeText( thing, uses, text, console );
   }
   if( options.json ) console.line( jsonText( json ) );
   console.flush();
   return kExitOk;
}

}   // namespace Agent
