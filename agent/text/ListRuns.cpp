#include "text/ListRuns.h"

#include <algorithm>

#include "text/LineCursor.h"

namespace Agent {

namespace {

size_t firstLineSize( std::string_view lines ) noexcept {
   return std::min( lines.find( '\n' ), lines.size() - 1 ) + 1;
}

}   // namespace

std::string_view numberedStart( std::string_view lines ) {
   LineCursor line( lines.substr( 0, lines.find( '\n' ) ) );
   const auto takesOne = [ & ]( auto... words ) { return ( line.takeWords( words ) || ... ); };
   if( line.indented() ) return {};
   if( takesOne( "bgp community-list", "bgp large-community-list", "bgp extcommunity-list", "ip community-list", "ip large-community-list",
                 "ip extcommunity-list" ) )
      takesOne( "standard", "expanded" );   // a number may tell the kind
   else if( !takesOne( "ip prefix-list", "ipv6 prefix-list", "bgp as-path access-list", "ip as-path access-list" ) )
      return {};
   line.take();
   return line.takeWords( "seq" ) && !line.atEnd() ? lines.substr( 0, line.peek().column - 1 ) : std::string_view();
}

std::vector<ListRun> listRuns( std::string_view lines, uint32_t line, const std::vector<uint32_t> & ends, size_t least ) {
   std::vector<ListRun> runs;
   while( !lines.empty() ) {
      const auto start = numberedStart( lines );
      const auto end = std::ranges::upper_bound( ends, line );
      ListRun run{ lines, line, 0 };
      do {
         lines.remove_prefix( firstLineSize( lines ) );
         ++run.count;
         ++line;
      } while( !start.empty() && lines.starts_with( start ) && ( end == ends.end() || line < *end ) );
      run.bytes.remove_suffix( lines.size() );
      if( !start.empty() && run.count >= least ) runs.push_back( run );
   }
   return runs;
}

}   // namespace Agent
