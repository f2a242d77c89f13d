#include "command/Comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "command/RouteText.h"

namespace Agent {

namespace {

const char * verdict( bool permitted ) {
   return permitted ? "permit" : "deny";
}

std::string sideText( bool permitted, const std::vector<uint32_t> & sequences, const RouteEvaluator & evaluator ) {
   return fmt::format( "{} by {}", verdict( permitted ), sequences.empty() ? "no sequence" : textOf( evaluator.sequences(), sequences ) );
}

}   // namespace

bool sameEffect( const RouteAnswer & a, const RouteAnswer & b ) {
   if( a.permitted != b.permitted ) return false;
   return !a.permitted || sameRoute( a.result, b.result );
}

void Differences::add( const TableRoute & route, const RouteAnswer & before, const RouteAnswer & after ) {
   ++routes_;
   if( sameEffect( before, after ) ) return;
   ++changed_;
   Group & group = groups_[ { { before.permitted, before.sequences }, { after.permitted, after.sequences } } ];
   ++group.count;
   if( group.examples.size() < examples_ ) group.examples.push_back( { route, before.result, after.result } );
}

void Differences::take( Differences & other ) {
   routes_ += std::exchange( other.routes_, 0 );
   changed_ += std::exchange( other.changed_, 0 );
   for( auto & [ sides, theirs ] : other.groups_ ) {
      Group & mine = groups_[ sides ];
      mine.count += theirs.count;
      for( auto & example : theirs.examples )
         if( mine.examples.size() < examples_ ) mine.examples.push_back( std::move( example ) );
   }
   other.groups_.clear();
}

std::string Differences::exampleText( const Example & example, bool before, bool after ) {
   if( before && after ) return changesOf( example.before, example.after );
   const std::string changes = changesOf( example.route, before ? example.before : example.after );
   if( before ) return "no longer permitted" + ( changes.empty() ? "" : "; before: " + changes );
   return "newly permitted" + ( changes.empty() ? "" : ", with " + changes );
}

// The largest first.
std::vector<const Differences::Groups::value_type *> Differences::byCount() const {
   std::vector<const Groups::value_type *> groups;
   for( const auto & group : groups_ ) groups.push_back( &group );
   std::stable_sort( groups.begin(), groups.end(), []( auto * a, auto * b ) { return a->second.count > b->second.count; } );
   return groups;
}

std::string Differences::text( const RouteEvaluator & before, const RouteEvaluator & after, const Console & console ) const {
   std::string text =
      fmt::format( "{} of {} change{}\n", changed_, quantity( routes_, "route" ), changed_ == 1 || routes_ == 1 ? "s" : "" );
   if( !before.leftOut().empty() ) text += "before" + withoutText( before.leftOut() ) + '\n';
   if( !after.leftOut().empty() ) text += "after" + withoutText( after.leftOut() ) + '\n';
   for( const auto * entry : byCount() ) {
      const auto & [ from, to ] = entry->first;
      const Group & group = entry->second;
      text += '\n' +
         console.strong( fmt::format( "{}: {} -> {}", group.count, sideText( from.permitted, from.sequences, before ),
                                      sideText( to.permitted, to.sequences, after ) ) );
      text += '\n';
      for( const auto & e : group.examples ) {
         appendName( text += "   ", e.route );
         text += "  " + exampleText( e, from.permitted, to.permitted ) + '\n';
      }
      if( group.count > group.examples.size() && !group.examples.empty() )
         text += fmt::format( "   and {} more\n", group.count - group.examples.size() );
   }
   return text;
}

Json Differences::json( const RouteEvaluator & before, const RouteEvaluator & after ) const {
   const auto side = []( const Side & side, const RouteEvaluator & evaluator ) {
      Json json = { { "verdict", verdict( side.permitted ) } };
      addSequences( json, evaluator.sequences(), side.sequences );
      return json;
   };
   const auto effect = []( const TableRoute & route, bool permitted, const AgentResult & result ) {
      Json json = { { "verdict", verdict( permitted ) } };
      if( permitted ) addChanges( json, route, result );
      return json;
   };
   Json json = { { "routes", routes_ }, { "changed", changed_ }, { "groups", Json::array() } };
   if( !before.leftOut().empty() ) json[ "leftOut" ][ "before" ] = before.leftOut();
   if( !after.leftOut().empty() ) json[ "leftOut" ][ "after" ] = after.leftOut();
   for( const auto * entry : byCount() ) {
      const auto & [ from, to ] = entry->first;
      Json group = { { "routes", entry->second.count }, { "before", side( from, before ) }, { "after", side( to, after ) } };
      group[ "examples" ] = Json::array();
      for( const auto & e : entry->second.examples ) {
         Json example;
         addName( example, e.route );
         example[ "before" ] = effect( e.route, from.permitted, e.before );
         example[ "after" ] = effect( e.route, to.permitted, e.after );
         group[ "examples" ].push_back( std::move( example ) );
      }
      json[ "groups" ].push_back( std::move( group ) );
   }
   return json;
}

}   // namespace Agent
