#include "Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>

#include "TextReader.h"

namespace EvaluateTable {

namespace {

using Ferule::AddressFamily;
using Routing::Policy::RouteMapSeqStatus;

/// Rows of cells, whose columns are as wide as their widest cell.
class Columns {
 public:
   /// 'l' or 'r' for each column: which side its cells stand at.
   explicit Columns( std::string_view sides ) : sides_( sides ) {}
   void row( std::vector<std::string> cells ) { rows_.push_back( std::move( cells ) ); }

   std::string text() const {
      std::vector<size_t> widths( sides_.size() );
      for( const auto & cells : rows_ )
         for( size_t i = 0; i < cells.size(); ++i ) widths[ i ] = std::max( widths[ i ], cells[ i ].size() );
      std::string out;
      for( const auto & cells : rows_ ) {
         std::string line = "  ";
         for( size_t i = 0; i < cells.size(); ++i )
            line +=
               sides_[ i ] == 'r' ? fmt::format( " {:>{}} ", cells[ i ], widths[ i ] ) : fmt::format( " {:<{}} ", cells[ i ], widths[ i ] );
         line.erase( line.find_last_not_of( ' ' ) + 1 );
         out += line + "\n";
      }
      return out;
   }

 private:
   std::string_view sides_;
   std::vector<std::vector<std::string>> rows_;
};

std::string text( const Ferule::IpGenPrefix & prefix ) {
   return std::string( prefix.toStrep() );
}

std::string text( const Ferule::IpGenAddr & nextHop ) {
   return nextHop.af() == AddressFamily::unset ? "-" : std::string( nextHop.toStrep() );
}

// "200 -> 20", or the value alone when it stays.
template <class Value>
std::string change( const Value & before, const Value & after ) {
   const auto textOfValue = []( const Value & value ) {
      if constexpr( requires { value.toStrep(); } )
         return std::string( value.toStrep() );
      else
         return fmt::format( "{}", value );
   };
   return before == after ? textOfValue( before ) : textOfValue( before ) + " -> " + textOfValue( after );
}

// Sequences as "30, 60"; those of a called route map stand in front of their caller's, with its name.
std::string ways( const TableEvaluation::Change & change, const EdgePolicy & policy ) {
   std::string out;
   for( const RouteMapSeqStatus * seq : change.matched ) {
      std::string mapName;
      for( const auto & caller : policy.edgeIn->seqStatus() )
         if( const auto * called = caller.second->subRouteMapRawPtr() )
            if( called->seqStatus( seq->seqno() ).get() == seq ) mapName = std::string( called->name() ) + " ";
      out += fmt::format( "{}{}{}", out.empty() ? "" : ", ", mapName, seq->seqno() );
   }
   return out;
}

std::string indented( std::string_view lines ) {
   std::string out;
   while( !lines.empty() ) {
      const auto line = lines.substr( 0, lines.find( '\n' ) );
      out += "   " + std::string( line ) + "\n";
      lines.remove_prefix( std::min( line.size() + 1, lines.size() ) );
   }
   return out;
}

std::string tablesText( const Report & report ) {
   Columns columns( "lllrrr" );
   columns.row( { "table", "form", "stored", "routes", "broken", "passed over" } );
   for( const auto & [ name, summary ] : report.tables )
      columns.row( { RouteTable::printable( name, 60 ), stringValue( summary.form ), stringValue( summary.compression ),
                     std::to_string( summary.routes ), std::to_string( summary.broken ), std::to_string( summary.passedOver ) } );
   std::string out = "Tables read\n" + columns.text();
   for( const auto & [ name, summary ] : report.tables )
      if( !summary.fault.empty() )
         out += fmt::format( "   {}: not read to its end: {}\n", RouteTable::printable( name, 60 ), summary.fault );
   return out;
}

std::string countsText( const TableEvaluation & evaluation ) {
   const auto & ipv4 = evaluation.counts( AddressFamily::ipv4 );
   const auto & ipv6 = evaluation.counts( AddressFamily::ipv6 );
   Columns columns( "lrrr" );
   columns.row( { "routes", "read", "permitted", "denied" } );
   const auto row = [ & ]( const char * name, const TableEvaluation::Counts & c ) {
      columns.row( { name, std::to_string( c.read() ), std::to_string( c.permitted ), std::to_string( c.denied ) } );
   };
   row( "IPv4", ipv4 );
   row( "IPv6", ipv6 );
   row( "both", { ipv4.permitted + ipv6.permitted, ipv4.denied + ipv6.denied } );
   return "What the policy answers\n" + columns.text();
}

std::string policyText( const TableEvaluation & evaluation ) {
   Columns columns( "rllrl" );
   columns.row( { "seq", "action", "which routes", "count", "what becomes of them" } );
   for( const auto & text : edgeInTexts() ) {
      const auto seq = evaluation.policy().edgeIn->seqStatus( text.seqno );
      columns.row( { std::to_string( text.seqno ), stringValue( seq->matchAction() ), text.routes,
                     std::to_string( evaluation.routesOf( text.seqno ) ), text.effect } );
   }
   std::string out = "The policy: route map EDGE-IN, a provider's for what its neighbours announce\n" + columns.text() +
      "   Its sequences are tried in order; the first that matches decides, or says where to continue. It calls three route maps:\n";
   for( const char * line : subRouteMapTexts() ) out += fmt::format( "   {}\n", line );
   return out;
}

std::string changesText( const TableEvaluation & evaluation ) {
   if( evaluation.changes().empty() ) return {};
   Columns columns( "lllrrl" );
   columns.row( { "prefix", "next hop", "tag", "distance", "metric", "by" } );
   for( const auto & c : evaluation.changes() )
      columns.row( { text( c.route.prefix ), text( c.route.nextHop ), std::to_string( c.route.tag ),
                     change( c.before.preference(), c.after.preference() ), change( c.before.metric(), c.after.metric() ),
                     ways( c, evaluation.policy() ) } );
   return "What it changes: the first route of each way through it, and the sequences on that way\n" + columns.text();
}

}   // namespace

std::string textOf( const Report & report, const TableEvaluation & evaluation ) {
   std::string out = tablesText( report ) + "\n" + countsText( evaluation ) + "\n" + policyText( evaluation ) + "\n";
   if( const auto changes = changesText( evaluation ); !changes.empty() ) out += changes + "\n";
   for( const auto & why : report.explanations )
      out += fmt::format( "Why {} is {}: the evaluation log, as text\n{}\n   and as JSON\n   {}\n\n", text( why.route.prefix ),
                          why.permitted ? "permitted" : "denied", indented( why.text ), why.json );
   const auto routes = evaluation.counts( AddressFamily::ipv4 ).read() + evaluation.counts( AddressFamily::ipv6 ).read();
   return out + fmt::format( "{} routes read and evaluated in {:.3f} s\n", routes, report.seconds );
}

std::string jsonOf( const Report & report, const TableEvaluation & evaluation ) {
   using Json = nlohmann::ordered_json;
   Json out;
   out[ "tables" ] = Json::array();
   for( const auto & [ name, summary ] : report.tables ) {
      Json table = { { "name", RouteTable::printable( name, 4096 ) },
                     { "form", stringValue( summary.form ) },
                     { "compression", stringValue( summary.compression ) },
                     { "routes", summary.routes },
                     { "broken", summary.broken },
                     { "passedOver", summary.passedOver } };
      if( !summary.fault.empty() ) table[ "fault" ] = summary.fault;
      out[ "tables" ].push_back( std::move( table ) );
   }
   for( const auto & [ name, af ] : { std::pair( "ipv4", AddressFamily::ipv4 ), std::pair( "ipv6", AddressFamily::ipv6 ) } ) {
      const auto & counts = evaluation.counts( af );
      out[ "routes" ][ name ] = { { "read", counts.read() }, { "permitted", counts.permitted }, { "denied", counts.denied } };
   }
   out[ "sequences" ] = Json::array();
   for( const auto & text : edgeInTexts() )
      out[ "sequences" ].push_back( { { "seqno", text.seqno },
                                      { "action", stringValue( evaluation.policy().edgeIn->seqStatus( text.seqno )->matchAction() ) },
                                      { "routes", evaluation.routesOf( text.seqno ) } } );
   out[ "changes" ] = Json::array();
   const auto metric = []( Zeugma::MaybeU63 m ) { return m.present() ? Json( m.value() ) : Json( nullptr ); };
   for( const auto & c : evaluation.changes() )
      out[ "changes" ].push_back(
         { { "prefix", text( c.route.prefix ) },
           { "distance", { { "before", c.before.preference() }, { "after", c.after.preference() } } },
           { "metric", { { "before", metric( c.before.metric() ) }, { "after", metric( c.after.metric() ) } } } } );
   out[ "explanations" ] = Json::array();
   for( const auto & why : report.explanations )
      out[ "explanations" ].push_back(
         { { "prefix", text( why.route.prefix ) }, { "permitted", why.permitted }, { "log", Json::parse( why.json ) } } );
   return out.dump( 2 ) + "\n";
}

}   // namespace EvaluateTable
