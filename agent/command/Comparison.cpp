#include "command/Comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "command/RouteText.h"

namespace Agent {

namespace {

std::string sideText( bool permitted, const std::vector<uint32_t> & sequences, const RouteEvaluator & evaluator ) {
   return fmt::format( "{} by {}", permitted ? "permit" : "deny",
                       sequences.empty() ? "no sequence" : textOf( evaluator.sequences(), sequences ) );
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
   if( before ) return "no longer permitted" + ( changes.empty() ? "" : "; it was, with " + changes );
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

std::string Differences::json( const RouteEvaluator & before, const RouteEvaluator & after ) const {
   std::string text = fmt::format( "{{\"routes\":{},\"changed\":{},\"groups\":[", routes_, changed_ );
   const auto side = [ & ]( const char * key, bool permitted, const std::vector<uint32_t> & sequences, const RouteEvaluator & evaluator ) {
      fmt::format_to( std::back_inserter( text ), ",\"{}\":{{\"verdict\":\"{}\"", key, permitted ? "permit" : "deny" );
      appendJsonSequences( text, evaluator.sequences(), sequences );
      text += '}';
   };
   const auto effect = [ & ]( const char * key, const TableRoute & route, bool permitted, const AgentResult & result ) {
      fmt::format_to( std::back_inserter( text ), ",\"{}\":{{\"verdict\":\"{}\"", key, permitted ? "permit" : "deny" );
      if( permitted ) appendJsonChanges( text, route, result );
      text += '}';
   };
   bool first = true;
   for( const auto * entry : byCount() ) {
      const auto & [ from, to ] = entry->first;
      fmt::format_to( std::back_inserter( text ), "{}{{\"routes\":{}", first ? "" : ",", entry->second.count );
      first = false;
      side( "before", from.permitted, from.sequences, before );
      side( "after", to.permitted, to.sequences, after );
      text += ",\"examples\":[";
      for( const auto & e : entry->second.examples ) {
         if( &e != &entry->second.examples.front() ) text += ',';
         appendJsonName( text += '{', e.route );
         effect( "before", e.route, from.permitted, e.before );
         effect( "after", e.route, to.permitted, e.after );
         text += '}';
      }
      text += "]}";
   }
   return text + "]}";
}

}   // namespace Agent
