// What the commands tell of a policy in the dialect of FRR: the operator's sequences, never the compiled ones.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/agent/CommandFixture.h"
#include "tests/agent/Golden.h"

namespace Agent {
namespace {

constexpr char kPolicy[] = "ip prefix-list TEN permit 10.0.0.0/8 le 32\n"
                           "route-map IN permit 10\n"
                           " match ip address prefix-list TEN\n"
                           " set metric 77\n"
                           " set community 64500:1 additive\n"
                           " call SUB\n"
                           " on-match next\n"
                           "route-map IN deny 20\n"
                           " match metric 78\n"
                           " call SUB\n"
                           "route-map IN permit 30\n"
                           " match tag 5\n"
                           " call MISSING\n"
                           " on-match goto 40\n"
                           "route-map SUB deny 5\n"
                           " match tag 9\n"
                           "route-map SUB permit 10\n"
                           "route-map TAG permit 10\n"
                           " match ip next-hop prefix-list NONE\n"
                           "route-map TAG permit 20\n"
                           " on-match goto 25\n"
                           "route-map TAG permit 30\n"
                           " match tag 5\n";

std::string explained( const char * routeMap, std::vector<std::pair<std::string, std::string>> fields, bool asJson = false,
                       const char * prefix = "10.0.0.0/8" ) {
   return outputOf( kPolicy,
                    [ & ]( const std::string & file, Console & console ) {
                       ExplainOptions options;
                       options.files = { file };
                       options.target.routeMap = routeMap;
                       options.prefix = prefix;
                       options.fields = std::move( fields );
                       options.json = asJson;
                       return explain( options, console );
                    } )
      .out;
}

TEST( FrrTelling, explain ) {
   expectGolden( "frr.txt", "explain: a callee permits, and a later match sees what was set", explained( "IN", { { "tag", "5" } } ) );
   expectGolden( "frr.txt", "explain: a callee denies", explained( "IN", { { "tag", "9" } } ) );
   expectGolden( "frr.txt", "explain: nothing matches behind a sequence that continues", explained( "IN", {} ) );
   expectGolden( "frr.txt", "explain: nothing matches", explained( "IN", {}, false, "11.0.0.0/8" ) );
   expectGolden( "frr.txt", "explain: a target that does not exist", explained( "TAG", { { "tag", "5" } } ) );
   expectGolden( "frr.txt", "explain: as JSON", explained( "IN", { { "tag", "9" } }, true ) );
}

TEST( FrrTelling, show ) {
   const auto shown = [ & ]( const char * name, bool asJson ) {
      return outputOf( kPolicy,
                       [ & ]( const std::string & file, Console & console ) {
                          return show( { .files = { file }, .name = name, .json = asJson }, console );
                       } )
         .out;
   };
   expectGolden( "frr.txt", "show", shown( "IN", false ) );
   expectGolden( "frr.txt", "show, as JSON", nlohmann::ordered_json::parse( shown( "SUB", true ) ).dump( 3 ) + '\n' );
}

TEST( FrrTelling, check ) {
   const auto checked = []( std::string_view policy ) {
      return outputOf( policy, []( const std::string & file, Console & console ) { return check( { { file } }, console ); } ).out;
   };
   expectGolden( "frr.txt", "check: what a deny and a call change", checked( kPolicy ) );
   std::string deep;
   for( int i = 0; i < 11; ++i ) deep += "route-map M" + std::to_string( i ) + " permit 10\n call M" + std::to_string( i + 1 ) + "\n";
   expectGolden( "frr.txt", "check: calls that are too deep", checked( deep + "route-map M11 permit 10\n" ) );
   expectGolden( "frr.txt", "check: a call that is not followed forms no cycle",
                 checked( "route-map A deny 10\n match tag 5\n call B\nroute-map B permit 10\n match tag 5\n call A\n" ) );
   expectGolden( "frr.txt", "check: no sequence is reached behind a call",
                 checked( "route-map A permit 10\n call B\nroute-map A permit 20\nroute-map B permit 10\n match tag 5\n" ) );
}

}   // namespace
}   // namespace Agent
