// The program where routes do not answer a match clause: --set-attribute and --assume.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/agent/CommandFixture.h"
#include "tests/agent/Program.h"

namespace Agent {
namespace {

constexpr char kPolicy[] = "route-map IN permit 10\n match rpki valid\n match metric 5\n"
                           "route-map OUT permit 10\n match metric 5\n"
                           "route-map VRF permit 10\n match source-vrf RED\n";
constexpr char kRoutes[] = "10.0.0.0/8 metric 5\n10.1.0.0/16 metric 6 rpki valid\n10.2.0.0/16\n";

ProgramOutput evalOf( const PolicyFile & policy, const std::string & routeMap, std::vector<std::string> options = {} ) {
   std::vector<std::string> arguments = { "eval", policy.name(), "--dialect", "frr", "-m", routeMap, "--summary", "--json" };
   arguments.insert( arguments.end(), options.begin(), options.end() );
   auto output = runProgram( arguments, kRoutes );
   output.err = policy.withoutName( output.err );
   return output;
}

std::string countsOf( const ProgramOutput & output ) {
   return output.out.substr( 0, output.out.find( ",\"noSequence\"" ) );
}

TEST( UntoldProgram, aClauseWithoutAnAnswerIsAnErrorOfItsRouteMap ) {
   const PolicyFile policy( kPolicy );
   const auto output = evalOf( policy, "IN" );
   EXPECT_EQ( output.status, 2 );
   EXPECT_EQ( output.err,
              "routepolicy: FILE:2:13: IN 10: 10.0.0.0/8 does not answer \"match rpki valid\"; use --set-attribute rpki=VALUE, or "
              "--assume \"rpki valid=match\" or \"rpki valid=no-match\"\n" );
   EXPECT_EQ( evalOf( policy, "VRF" ).status, 2 );
   EXPECT_EQ( evalOf( policy, "OUT" ).status, 0 );
}

TEST( UntoldProgram, attributesAndAssumptionsAnswer ) {
   const PolicyFile policy( kPolicy );
   const struct {
      const char * routeMap;
      std::vector<std::string> options;
      const char * counts;
   } rows[] = {
      { "IN", { "--set-attribute", "rpki=valid" }, "{\"routes\":3,\"permitted\":1,\"denied\":2" },
      { "IN", { "--set-attribute", "rpki=invalid" }, "{\"routes\":3,\"permitted\":0,\"denied\":3" },
      { "IN", { "--set-attribute=rpki=valid", "--set-attribute=metric=5" }, "{\"routes\":3,\"permitted\":2,\"denied\":1" },
      { "IN", { "--assume", "rpki=match" }, "{\"routes\":3,\"permitted\":1,\"denied\":2" },
      { "IN", { "--assume", "rpki=match", "--assume", "rpki valid=no-match" }, "{\"routes\":3,\"permitted\":0,\"denied\":3" },
      { "VRF", { "--assume", "source-vrf RED=match" }, "{\"routes\":3,\"permitted\":3,\"denied\":0" },
      { "VRF", { "--assume", "source-vrf=no-match" }, "{\"routes\":3,\"permitted\":0,\"denied\":3" },
   };
   for( const auto & row : rows ) {
      const auto output = evalOf( policy, row.routeMap, row.options );
      EXPECT_EQ( output.status, 0 ) << output.err;
      EXPECT_EQ( countsOf( output ), row.counts ) << row.options.back();
   }
   auto both = evalOf( policy, "IN", { "--set-attribute", "rpki=valid", "--threads", "2" } );
   EXPECT_EQ( countsOf( both ), rows[ 0 ].counts );
}

TEST( UntoldProgram, wrongOptionsAreErrors ) {
   const PolicyFile policy( kPolicy );
   const struct {
      std::vector<std::string> options;
      std::string reason;
   } rows[] = {
      { { "--set-attribute", "rpki" }, "routepolicy: --set-attribute expected NAME=VALUE, found \"rpki\"\n" },
      { { "--set-attribute", "rpki=good" }, "routepolicy: --set-attribute rpki: \"good\": expected one of valid, notfound, invalid\n" },
      { { "--assume", "rpki" }, "routepolicy: --assume expected CLAUSE=match or CLAUSE=no-match, found \"rpki\"\n" },
      { { "--assume", "rpki vaild=match" },
        "routepolicy: --assume \"rpki vaild\": expected \"valid\", \"notfound\" or \"invalid\", found \"vaild\"\n" },
      { { "--daemon", "bird" },
        "routepolicy: --daemon expected one of bgpd, zebra, pimd, pim6d, ospfd, ospf6d, isisd, ripd, ripngd, eigrpd, babeld, found "
        "\"bird\"\n" },
   };
   for( const auto & row : rows ) {
      const auto output = evalOf( policy, "IN", row.options );
      EXPECT_EQ( output.status, 2 );
      EXPECT_EQ( output.err, row.reason );
   }
}

TEST( UntoldProgram, optionsWithoutEffectAreErrors ) {
   const PolicyFile policy( "route-map IN permit 10\n match metric 5\n" );
   const struct {
      std::vector<std::string> options;
      std::string reason;
   } rows[] = {
      { { "--assume", "rpki=match" }, "--assume cannot be used with --dialect native: every route answers every clause of this dialect\n" },
      { { "--daemon", "bgpd" }, "--daemon cannot be used with --dialect native: only the dialect of FRR depends on the daemon\n" },
      { { "--set-attribute", "peer=192.0.2.1" },
        "--set-attribute peer cannot be used with --dialect native: only clauses of FRR test this attribute\n" },
      { { "--set-attribute", "rpki=valid" },
        "--set-attribute rpki cannot be used with --dialect native: only clauses of FRR test this attribute\n" },
   };
   const std::vector<std::string> commands[] = { { "eval", policy.name() },
                                                 { "explain", policy.name(), "10.0.0.0/8" },
                                                 { "diff", policy.name(), policy.name() },
                                                 { "watch", policy.name(), "-i", "-" } };
   for( const auto & command : commands )
      for( const auto & row : rows ) {
         auto arguments = command;
         arguments.insert( arguments.end(), { "--dialect", "native", "-m", "IN" } );
         arguments.insert( arguments.end(), row.options.begin(), row.options.end() );
         const auto output = runProgram( arguments, kRoutes );
         EXPECT_EQ( output.status, 2 ) << command.front();
         EXPECT_EQ( output.err, "routepolicy: " + row.reason ) << command.front();
      }
   const auto metric =
      runProgram( { "eval", policy.name(), "--dialect", "native", "-m", "IN", "--set-attribute", "metric=5" }, "10.0.0.0/8\n" );
   EXPECT_EQ( metric.out, "permit  10.0.0.0/8  by IN 10\n" );
}

TEST( UntoldProgram, anAssumptionThatNoClauseUsesIsMentioned ) {
   const PolicyFile policy( kPolicy ), other( "route-map IN permit 10\n match peer 192.0.2.1\n" );
   const auto output =
      evalOf( policy, "OUT", { "--assume", "rpki valid=match", "--assume", "peer=match", "--assume", "rpki invalid=match" } );
   EXPECT_EQ( output.status, 0 );
   EXPECT_EQ( output.err,
              "--assume \"peer\": no route map of the policy has such a clause\n"
              "--assume \"rpki invalid\": no route map of the policy has such a clause\n" );
   const auto diff = runProgram(
      { "diff", policy.name(), other.name(), "-m", "IN", "--assume", "rpki=match", "--assume", "peer=match", "--assume", "evpn=match" },
      kRoutes );
   EXPECT_EQ( diff.err, "--assume \"evpn\": no route map of the policy has such a clause\n" );
}

TEST( UntoldProgram, diffTakesThemToo ) {
   const PolicyFile before( "route-map IN permit 10\n match rpki valid\n" ), after( "route-map IN permit 10\n match rpki invalid\n" );
   const auto diff = [ & ]( std::vector<std::string> options ) {
      std::vector<std::string> arguments = { "diff", before.name(), after.name(), "--dialect", "frr", "-m", "IN" };
      arguments.insert( arguments.end(), options.begin(), options.end() );
      return runProgram( arguments, kRoutes ).status;
   };
   EXPECT_EQ( diff( {} ), 2 );
   EXPECT_EQ( diff( { "--set-attribute", "rpki=notfound" } ), 1 );   // one route of the table is valid
   EXPECT_EQ( diff( { "--assume", "rpki=match" } ), 1 );
   EXPECT_EQ( diff( { "--set-attribute", "rpki=valid" } ), 1 );
}

TEST( UntoldProgram, checkFindsTheLinesThatFrrRefuses ) {
   const PolicyFile policy( "route-map IN permit 10\n call IN\n" );
   const auto output = runProgram( { "check", policy.name(), "--dialect", "frr" } );
   EXPECT_EQ( output.status, 1 );
   EXPECT_NE( policy.withoutName( output.out ).find( "FILE:2:2: refused: FRR refuses \"call IN\"" ), std::string::npos ) << output.out;
}

}   // namespace
}   // namespace Agent
