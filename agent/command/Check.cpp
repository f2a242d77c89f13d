// routepolicy check: finds mistakes in a policy.
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>

#include "analysis/Ignored.h"
#include "command/Commands.h"
#include "command/Json.h"
#include "command/PolicyFiles.h"
#include "text/Printable.h"

namespace Agent {

namespace {

/// The number of things of a kind, and of their lines, tags or sequences.
struct Count {
   size_t things = 0;
   size_t parts = 0;
};
using Counts = std::map<ThingKind, Count>;

Counts countsOf( const PolicyText & text ) {
   Counts counts;
   forEachThing( text, [ & ]( const Thing & thing, const auto & what ) {
      Count & count = counts[ thing.kind ];
      ++count.things;
      count.parts += sizeOf( what );
   } );
   return counts;
}

std::string_view partsName( ThingKind kind ) {
   return kind == ThingKind::routeMap ? "sequence" : kind == ThingKind::tagSet ? "tag" : "line";
}

/// Everything that check reports about a policy.
class Report {
 public:
   Report( const PolicyText & text, const CheckOptions & options )
         : text_( text ),
           references_( text ),
           reported_( withoutIgnored( findingsOf( text, references_ ), text, options.ignore ) ),
           policy_( text.dialect ) {
      policy_.apply( text );
   }

   /// Whether there is a finding of these kinds; no kinds: of any.
   bool has( const std::vector<Finding::Kind> & kinds ) const {
      return std::ranges::any_of( reported_.findings, [ & ]( const Finding & finding ) {
         return kinds.empty() || std::ranges::find( kinds, finding.kind ) != kinds.end();
      } );
   }

   void writeText( Console & console ) const {
      writeCounts( console );
      for( const auto & [ name, routeMap ] : text_.routeMaps ) console.line( lineOf( name, routeMap ) );
      for( const auto & f : reported_.findings )
         console.line( fmt::format( "{}: {}: {}", placeText( text_, f.place ), console.strong( nameOf( f.kind ) ), f.text ) );
      const std::string found = reported_.findings.empty() ? "nothing found" : quantity( reported_.findings.size(), "finding" );
      console.line( reported_.ignored == 0 ? found : fmt::format( "{}, {} ignored", found, reported_.ignored ) );
   }

   Json json() const {
      Json json = { { "files", text_.files }, { "lines", text_.lines }, { "skippedStanzas", text_.skippedStanzas } };
      json[ "counts" ] = Json::array();
      for( const auto & [ kind, count ] : countsOf( text_ ) )
         json[ "counts" ].push_back( { { "kind", nameOf( kind ) }, { "count", count.things }, { "parts", count.parts } } );
      json[ "routeMaps" ] = Json::array();
      for( const auto & [ name, routeMap ] : text_.routeMaps ) json[ "routeMaps" ].push_back( jsonOfRouteMap( name, routeMap ) );
      json[ "findings" ] = Json::array();
      for( const auto & f : reported_.findings ) {
         Json finding = jsonOf( text_, f.place );
         finding[ "kind" ] = nameOf( f.kind );
         finding[ "text" ] = f.text;
         json[ "findings" ].push_back( std::move( finding ) );
      }
      json[ "ignored" ] = reported_.ignored;
      return json;
   }

 private:
   void writeCounts( Console & console ) const {
      console.line(
         fmt::format( "{} read, {} skipped", quantity( text_.lines, "line" ), quantity( text_.skippedStanzas, "unrelated stanza" ) ) );
      for( const auto & [ kind, count ] : countsOf( text_ ) )
         console.line( fmt::format( "   {} {}, {}", count.things, nameOf( kind ), quantity( count.parts, partsName( kind ) ) ) );
   }

   std::string lineOf( const std::string & name, const RouteMapText & routeMap ) const {
      std::string line = fmt::format( "route-map {}: {}", printableName( name ), quantity( routeMap.sequences.size(), "sequence" ) );
      if( routeMap.sequences.size() > 1 )
         line += fmt::format( ", {} to {}", routeMap.sequences.begin()->first, routeMap.sequences.rbegin()->first );
      const bool root = isRoot( references_, name );
      if( root ) line += "; a root";
      if( const size_t applied = appliedIn( name ); applied != 0 )
         line += fmt::format( "{} applied in {}", root ? "," : ";", quantity( applied, "line" ) );
      const auto status = policy_.routeMap( name );
      if( !status ) return line + "; not in force";
      const auto features = status->features().toStrep();
      return features.empty() ? line : line + fmt::format( "; reads {}", features.view() );
   }

   // The number of lines of other stanzas.
   size_t appliedIn( const std::string & routeMap ) const { return references_.applicationsOf( { ThingKind::routeMap, routeMap } ).size(); }

   Json jsonOfRouteMap( const std::string & name, const RouteMapText & routeMap ) const {
      Json json = { { "name", name }, { "sequences", Json::array() }, { "root", isRoot( references_, name ) } };
      for( const auto & [ number, sequence ] : routeMap.sequences ) json[ "sequences" ].push_back( number );
      json[ "applied" ] = appliedIn( name );
      const auto status = policy_.routeMap( name );
      json[ "inForce" ] = bool( status );
      if( status ) json[ "features" ] = status->features().toStrep().view();
      return json;
   }

   const PolicyText & text_;
   References references_;
   ReportedFindings reported_;
   LivePolicy policy_;
};

}   // namespace

int check( const CheckOptions & options, Console & console ) {
   const LineLoader loader = loadFiles( options.files, options.dialect, options.lenient, console );
   if( !reportErrors( loader, console, options.json ) ) return kExitError;
   const Report report( loader.text(), options );
   if( options.json )
      console.line( jsonText( report.json() ) );
   else
      report.writeText( console );
   console.flush();
   return report.has( options.failOn ) ? kExitFindings : kExitOk;
}

}   // namespace Agent
