#include "table/KernelTable.h"

#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/agent/TableFixture.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace Agent {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Kind = LineResult::Kind;

template <class Value>
std::string bytesOf( const Value & value ) {
   return { reinterpret_cast<const char *>( &value ), sizeof value };
}

rtmsg header( unsigned char family, unsigned char length ) {
   rtmsg header{};
   header.rtm_family = family;
   header.rtm_dst_len = length;
   header.rtm_table = RT_TABLE_MAIN;
   header.rtm_protocol = RTPROT_STATIC;
   header.rtm_type = RTN_UNICAST;
   return header;
}
rtmsg headerOfType( unsigned char type ) {
   rtmsg h = header( AF_INET, 8 );
   h.rtm_type = type;
   return h;
}

std::string attribute( uint16_t type, std::string_view value ) {
   nlattr head{ static_cast<uint16_t>( sizeof( nlattr ) + value.size() ), type };
   std::string bytes = bytesOf( head ) + std::string( value );
   bytes.resize( MNL_ALIGN( bytes.size() ) );
   return bytes;
}
std::string number( uint16_t type, uint32_t value ) {
   return attribute( type, bytesOf( value ) );
}

const std::string kTen = attribute( RTA_DST, "\x0a\0\0\0"sv );
const std::string kGateway = attribute( RTA_GATEWAY, "\xc0\x00\x02\x01"sv );
const std::string kAddress6 = "\x20\x01\x0d\xb8"s + std::string( 11, '\0' ) + "\x01";
const std::string kVia6 = attribute( RTA_VIA, bytesOf( uint16_t( AF_INET6 ) ) + kAddress6 );

std::string nextHop( int index, std::string_view attributes ) {
   rtnexthop hop{};
   hop.rtnh_len = static_cast<uint16_t>( sizeof hop + attributes.size() );
   hop.rtnh_ifindex = index;
   return bytesOf( hop ) + std::string( attributes );
}

struct Parsed {
   LineResult result;
   TableRoute route;
};

Parsed parse( const rtmsg & header, std::string_view attributes ) {
   const std::string text = bytesOf( header ) + std::string( attributes );
   const std::vector<char> bytes( text.begin(), text.end() );   // its memory ends where the message does
   Parsed parsed;
   parsed.route.tag = 9;   // of the message before: must not survive
   const auto names = []( uint32_t index ) -> std::string_view { return index == 1 ? "lo" : index == 2 ? "eth0" : "other"; };
   parsed.result = parseRouteMessage( { bytes.data(), bytes.size() }, names, parsed.route );
   return parsed;
}

TEST( KernelTableTest, everyAttributeOfARoute ) {
   const auto parsed = parse( header( AF_INET, 8 ),
                              number( RTA_TABLE, RT_TABLE_MAIN ) + kTen + number( RTA_PRIORITY, 100 ) + kGateway + number( RTA_OIF, 2 ) +
                                 number( RTA_PREFSRC, 7 ) );
   ASSERT_EQ( parsed.result.kind, Kind::route ) << parsed.result.reason;
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.1" );
   expected.metric = 100;
   expected.protocol = SourceProtocol::fixed;
   expected.interface = "eth0";
   EXPECT_EQ( parsed.route, expected );
}

TEST( KernelTableTest, prefixesAndNextHops ) {
   struct Row {
      const char * name;
      rtmsg header;
      std::string attributes;
      std::string_view prefix;
      std::string_view nextHop;   // empty: none
      std::string_view interface;
   };
   const std::string dst6 = attribute( RTA_DST, kAddress6 );
   const std::string hops = nextHop( 2, kGateway ) + nextHop( 1, "" );
   const Row rows[] = {
      { "IPv4 default", header( AF_INET, 0 ), kGateway + number( RTA_OIF, 2 ), "0.0.0.0/0", "192.0.2.1", "eth0" },
      { "IPv6 default", header( AF_INET6, 0 ), attribute( RTA_GATEWAY, kAddress6 ), "::/0", "2001:db8::1", "" },
      { "IPv6 host", header( AF_INET6, 128 ), dst6 + number( RTA_OIF, 1 ), "2001:db8::1/128", "", "lo" },
      { "next hop of the other family", header( AF_INET, 8 ), kTen + kVia6, "10.0.0.0/8", "2001:db8::1", "" },
      { "discards", headerOfType( RTN_BLACKHOLE ), kTen + kGateway, "10.0.0.0/8", "", "" },
      { "unreachable", headerOfType( RTN_UNREACHABLE ), kTen + number( RTA_OIF, 1 ), "10.0.0.0/8", "", "lo" },
      { "prohibit", headerOfType( RTN_PROHIBIT ), kTen, "10.0.0.0/8", "", "" },
      { "first of several", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, hops ), "10.0.0.0/8", "192.0.2.1", "eth0" },
      { "first of several is on a link", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, nextHop( 1, "" ) + nextHop( 2, kGateway ) ),
        "10.0.0.0/8", "", "lo" },
      { "first of several, of the other family", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, nextHop( 2, kVia6 ) ), "10.0.0.0/8",
        "2001:db8::1", "eth0" },
      { "several that are none", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, "" ), "10.0.0.0/8", "", "" },
      { "attributes of no interest", header( AF_INET, 8 ), attribute( RTA_MAX + 1, "x" ) + attribute( 0x3fff, "" ) + kTen, "10.0.0.0/8", "",
        "" },
   };
   for( const auto & row : rows ) {
      const auto [ result, route ] = parse( row.header, row.attributes );
      ASSERT_EQ( result.kind, Kind::route ) << row.name << ": " << result.reason;
      EXPECT_EQ( route.prefix, Ferule::IpGenPrefix( row.prefix ) ) << row.name;
      EXPECT_EQ( route.nextHop, row.nextHop.empty() ? Ferule::IpGenAddr() : Ferule::IpGenAddr( row.nextHop ) ) << row.name;
      EXPECT_EQ( route.interface, row.interface ) << row.name;
      EXPECT_FALSE( route.metric.present() ) << row.name;
      EXPECT_EQ( route.tag, 0u ) << row.name;
   }
}

TEST( KernelTableTest, protocols ) {
   struct Row {
      const char * name;
      unsigned char family, protocol, scope, type;
      std::string attributes;
      SourceProtocol expected;
   };
   const std::string gateway6 = attribute( RTA_GATEWAY, kAddress6 );
   const Row rows[] = {
      { "on a link", AF_INET, RTPROT_KERNEL, RT_SCOPE_LINK, RTN_UNICAST, "", SourceProtocol::connected },
      { "the kernel's, elsewhere", AF_INET, RTPROT_KERNEL, RT_SCOPE_UNIVERSE, RTN_UNICAST, "", SourceProtocol::kernel },
      { "IPv6 on a link", AF_INET6, RTPROT_KERNEL, RT_SCOPE_UNIVERSE, RTN_UNICAST, "", SourceProtocol::connected },
      { "IPv6 with a gateway", AF_INET6, RTPROT_KERNEL, RT_SCOPE_UNIVERSE, RTN_UNICAST, gateway6, SourceProtocol::kernel },
      { "IPv6 that discards", AF_INET6, RTPROT_KERNEL, RT_SCOPE_UNIVERSE, RTN_UNREACHABLE, "", SourceProtocol::kernel },
      { "by hand, on a link", AF_INET, RTPROT_BOOT, RT_SCOPE_LINK, RTN_UNICAST, "", SourceProtocol::fixed },
      { "BGP", AF_INET, RTPROT_BGP, RT_SCOPE_UNIVERSE, RTN_UNICAST, "", SourceProtocol::bgp },
      { "unknown", AF_INET, 250, RT_SCOPE_UNIVERSE, RTN_UNICAST, "", SourceProtocol::none },
   };
   for( const auto & row : rows ) {
      rtmsg h = header( row.family, 0 );
      h.rtm_protocol = row.protocol;
      h.rtm_scope = row.scope;
      h.rtm_type = row.type;
      EXPECT_EQ( parse( h, row.attributes ).route.protocol, row.expected ) << row.name;
   }
}

TEST( KernelTableTest, whatIsNoRouteOfTheMainTable ) {
   rtmsg cloned = header( AF_INET, 8 );
   cloned.rtm_flags = RTM_F_CLONED;
   rtmsg local = header( AF_INET, 8 );
   local.rtm_table = RT_TABLE_LOCAL;
   EXPECT_EQ( parse( cloned, kTen ).result.kind, Kind::nothing );
   EXPECT_EQ( parse( local, kTen ).result.kind, Kind::nothing );
   EXPECT_EQ( parse( header( AF_INET, 8 ), kTen + number( RTA_TABLE, 1000 ) ).result.kind, Kind::nothing );
   EXPECT_EQ( parse( header( AF_BRIDGE, 0 ), "" ).result.kind, Kind::nothing );
   rtmsg great = header( AF_INET, 8 );
   great.rtm_table = RT_TABLE_COMPAT;
   EXPECT_EQ( parse( great, kTen + number( RTA_TABLE, RT_TABLE_MAIN ) ).result.kind, Kind::route );
   for( const int type : { int( RTN_LOCAL ), int( RTN_BROADCAST ), int( RTN_ANYCAST ), int( RTN_MULTICAST ), int( RTN_THROW ), 200 } )
      EXPECT_EQ( parse( headerOfType( static_cast<unsigned char>( type ) ), kTen ).result.kind, Kind::skipped ) << type;
}

TEST( KernelTableTest, brokenMessagesTellTheReason ) {
   struct Row {
      const char * name;
      rtmsg header;
      std::string attributes;
      std::string_view reason;
   };
   const Row rows[] = {
      { "length beyond IPv4", header( AF_INET, 33 ), kTen, "prefix length 33" },
      { "length beyond IPv6", header( AF_INET6, 129 ), attribute( RTA_DST, kAddress6 ), "prefix length 129" },
      { "no destination", header( AF_INET, 8 ), "", "no destination" },
      { "destination of the other family", header( AF_INET, 8 ), attribute( RTA_DST, kAddress6 ), "no destination" },
      { "empty destination", header( AF_INET, 0 ), attribute( RTA_DST, "" ), "no destination" },
      { "host bits", header( AF_INET6, 64 ), attribute( RTA_DST, kAddress6 ), "2001:db8::1/64: bits are set after the prefix length" },
      { "gateway", header( AF_INET, 8 ), kTen + attribute( RTA_GATEWAY, "123" ), "the gateway is not an address" },
      { "via without a family", header( AF_INET, 8 ), kTen + attribute( RTA_VIA, "x" ), "the gateway is not an address" },
      { "via of no family", header( AF_INET, 8 ), kTen + attribute( RTA_VIA, "\xff\xff\0\0\0\0"sv ), "the gateway is not an address" },
      { "via cut", header( AF_INET, 8 ), kTen + attribute( RTA_VIA, bytesOf( uint16_t( AF_INET6 ) ) + "1234" ),
        "the gateway is not an address" },
      { "metric", header( AF_INET, 8 ), kTen + attribute( RTA_PRIORITY, "12" ), "the size of the metric is not 4 bytes" },
      { "interface", header( AF_INET, 8 ), kTen + attribute( RTA_OIF, "" ), "the size of the interface is not 4 bytes" },
      { "next hops", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, "1234" ), "the next hops are cut short" },
      { "next hop that is shorter than itself", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, "\x07\0\0\0\0\0\0\0"sv ),
        "the next hops are cut short" },
      { "next hop that is longer than all", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, "\x0c\0\0\0\0\0\0\0"sv ),
        "the next hops are cut short" },
      { "next hop's gateway", header( AF_INET, 8 ), kTen + attribute( RTA_MULTIPATH, nextHop( 1, attribute( RTA_GATEWAY, "1" ) ) ),
        "the gateway is not an address" },
   };
   for( const auto & row : rows ) {
      const auto parsed = parse( row.header, row.attributes );
      EXPECT_EQ( parsed.result.kind, Kind::broken ) << row.name;
      EXPECT_EQ( parsed.result.reason, row.reason ) << row.name;
   }
}

TEST( KernelTableTest, everyCutIsSafe ) {
   const std::string attributes =
      kTen + number( RTA_PRIORITY, 100 ) + attribute( RTA_MULTIPATH, nextHop( 2, kGateway ) + nextHop( 1, "" ) );
   for( size_t size = 0; size < attributes.size(); ++size )
      EXPECT_NE( parse( header( AF_INET, 8 ), attributes.substr( 0, size ) ).result.kind, Kind::nothing ) << size;
   TableRoute route;
   const std::vector<char> zeros( sizeof( rtmsg ) );
   const InterfaceNames names = []( uint32_t ) { return "x"sv; };
   for( size_t size = 0; size < zeros.size(); ++size )
      EXPECT_EQ( parseRouteMessage( { zeros.data(), size }, names, route ).reason, "cut short: " + std::to_string( size ) + " bytes" );
}

TEST( KernelTableTest, noAllocationForARoute ) {
   const std::string text = bytesOf( header( AF_INET, 8 ) ) + kTen + kGateway + number( RTA_OIF, 2 ) + number( RTA_PRIORITY, 5 );
   const std::vector<char> bytes( text.begin(), text.end() );
   const InterfaceNames names = []( uint32_t ) { return "interface-of-a-long-name"sv; };
   TableRoute route;
   ASSERT_EQ( parseRouteMessage( { bytes.data(), bytes.size() }, names, route ).kind, Kind::route );
   const size_t before = allocationCount();
   ASSERT_EQ( parseRouteMessage( { bytes.data(), bytes.size() }, names, route ).kind, Kind::route );
   EXPECT_EQ( allocationCount(), before );
}

std::string message( uint16_t type, uint16_t flags, uint32_t sequence, std::string_view payload ) {
   nlmsghdr head{};
   head.nlmsg_len = static_cast<uint32_t>( sizeof head + payload.size() );
   head.nlmsg_type = type;
   head.nlmsg_flags = flags;
   head.nlmsg_seq = sequence;
   std::string bytes = bytesOf( head ) + std::string( payload );
   bytes.resize( NLMSG_ALIGN( bytes.size() ) );
   return bytes;
}

/// Says of IPv4 what it is given, once for each time that it is asked, and of IPv6 that there is nothing.
class ScriptedDump final : public RouteDump {
 public:
   using Answer = std::vector<std::string>;   // what comes at once
   explicit ScriptedDump( std::vector<Answer> answers ) : answers_( std::move( answers ) ) {}

   void ask( unsigned char family ) override {
      now_ = family == AF_INET ? answers_.at( asked++ ) : Answer{ message( NLMSG_DONE, 0, AF_INET6, bytesOf( 0 ) ) };
      next_ = 0;
   }
   std::string_view receive() override {
      const std::string & bytes = now_.at( next_++ );
      given_.assign( bytes.begin(), bytes.end() );   // aligned, and nothing behind
      return { given_.data(), given_.size() };
   }
   size_t asked = 0;

 private:
   std::vector<Answer> answers_;
   Answer now_;
   size_t next_ = 0;
   std::vector<char> given_;
};

std::string routeMessage( uint16_t flags, char firstByte ) {
   return message( RTM_NEWROUTE, flags, AF_INET,
                   bytesOf( header( AF_INET, 8 ) ) + attribute( RTA_DST, std::string( 1, firstByte ) + "\0\0\0"s ) );
}
const std::string kDone = message( NLMSG_DONE, 0, AF_INET, bytesOf( 0 ) );
const std::string kDoneChanged = message( NLMSG_DONE, NLM_F_DUMP_INTR, AF_INET, bytesOf( 0 ) );

Table tableOf( ScriptedDump & dump ) {
   Table table;
   table.summary = readKernelTable( dump, table );
   return table;
}

TEST( KernelTableTest, aDumpThatWasInterruptedIsAskedForAnew ) {
   ScriptedDump dump( { { routeMessage( 0, 10 ), routeMessage( NLM_F_DUMP_INTR, 11 ) + kDone },   // told within
                        { routeMessage( 0, 12 ), kDoneChanged },                                  // told at the end
                        { routeMessage( 0, 13 ) + routeMessage( 0, 14 ), kDone } } );
   const auto table = tableOf( dump );
   EXPECT_EQ( dump.asked, 3u );
   EXPECT_EQ( table.prefixes(), ( Strings{ "13.0.0.0/8", "14.0.0.0/8" } ) ) << "no route of the earlier dump";
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.summary.routes, 2u );
}

TEST( KernelTableTest, aDumpThatIsAlwaysInterruptedIsAFault ) {
   ScriptedDump dump( std::vector<ScriptedDump::Answer>( 6, { routeMessage( 0, 10 ) + kDoneChanged } ) );
   const auto table = tableOf( dump );
   EXPECT_EQ( dump.asked, 6u );
   EXPECT_EQ( table.summary.fault, "the kernel's routes changed while they were read" );
   EXPECT_EQ( table.prefixes(), Strings{ "10.0.0.0/8" } );

   ScriptedDump last( { { kDoneChanged }, { kDoneChanged }, { kDoneChanged }, { kDoneChanged }, { kDoneChanged }, { kDone } } );
   EXPECT_EQ( tableOf( last ).summary.fault, "" );
}

TEST( KernelTableTest, whatTheKernelRefusesIsTheFault ) {
   ScriptedDump dump( { { message( NLMSG_ERROR, 0, AF_INET, bytesOf( -EPERM ) ) } } );
   EXPECT_EQ( tableOf( dump ).summary.fault, "cannot read the kernel's routes: Operation not permitted" );
}

TEST( KernelTableTest, messagesOfOthersAreNotRead ) {
   const std::string stranger = message( NLMSG_DONE, NLM_F_DUMP_INTR, 99, bytesOf( 0 ) );
   ScriptedDump dump( { { stranger + routeMessage( 0, 10 ), stranger, kDone } } );
   EXPECT_EQ( tableOf( dump ).prefixes(), Strings{ "10.0.0.0/8" } );
   EXPECT_EQ( dump.asked, 1u );
}

std::string outputOf( const std::string & command ) {
   std::string text;
   FILE * pipe = popen( command.c_str(), "r" );
   if( !pipe ) return text;
   char buffer[ 4096 ];
   while( const size_t count = fread( buffer, 1, sizeof buffer, pipe ) ) text.append( buffer, count );
   pclose( pipe );
   return text;
}

bool hasTool() {
   return !outputOf( "ip -V 2>/dev/null" ).empty();
}

Strings sortedTexts( const Table & table ) {
   Strings texts;
   for( const auto & route : table.routes )
      texts.push_back( std::string( route.prefix.toStrep().view() ) + " via " + std::string( route.nextHop.toStrep().view() ) + " metric " +
                       std::string( route.metric.toStrep().view() ) + " dev " + route.interface + " protocol " +
                       std::string( nameOf( route.protocol ) ) );
   std::sort( texts.begin(), texts.end() );
   return texts;
}

Table kernelTable() {
   Table table;
   table.summary = readKernelTable( table );
   return table;
}

// What the kernel says, and what the tool prints of it.
void expectSameAsTool() {
   const auto kernel = kernelTable();
   const auto printed = readBack( outputOf( "ip -j route; ip -j -6 route" ) );
   EXPECT_EQ( kernel.summary.form, TableForm::kernel );
   EXPECT_EQ( kernel.summary.fault, "" );
   EXPECT_EQ( kernel.broken, Strings() );
   EXPECT_EQ( kernel.summary.routes, kernel.routes.size() );
   EXPECT_EQ( printed.summary.fault, "" );
   EXPECT_EQ( printed.broken, Strings() );
   EXPECT_EQ( sortedTexts( kernel ), sortedTexts( printed ) );
}

TEST( KernelTableTest, thisMachinesRoutesAreAsPrinted ) {
   ASSERT_TRUE( hasTool() ) << "the program ip is missing; scripts/setup test installs it";
   expectSameAsTool();
}

TEST( KernelTableTest, whatTheSystemRefusesIsTheFault ) {
   kernelTable();   // a sanitizer looks at each type once, for which it needs a descriptor
   rlimit before;
   ASSERT_EQ( getrlimit( RLIMIT_NOFILE, &before ), 0 );
   rlimit none = before;
   none.rlim_cur = 0;
   ASSERT_EQ( setrlimit( RLIMIT_NOFILE, &none ), 0 );
   const auto table = kernelTable();
   ASSERT_EQ( setrlimit( RLIMIT_NOFILE, &before ), 0 );
   EXPECT_EQ( table.summary.fault, "cannot read the kernel's routes: Too many open files" );
   EXPECT_EQ( table.routes.size(), 0u );
}

// Whether this process has become the root of a network of its own.
bool enterNetworkOfItsOwn() {
   const std::string map = "0 " + std::to_string( getuid() ) + " 1";
   if( unshare( CLONE_NEWUSER | CLONE_NEWNET ) != 0 ) return false;
   const int fd = open( "/proc/self/uid_map", O_WRONLY | O_CLOEXEC );
   if( fd < 0 ) return false;
   const bool written = write( fd, map.data(), map.size() ) == static_cast<ssize_t>( map.size() );
   close( fd );
   return written;
}

constexpr const char kSetUp[] = R"( set -e
   ip link add a0 type veth peer name b0
   for i in a0 b0; do ip link set $i addrgenmode none; done   # or link-local routes come while routes are read
   for i in lo a0 b0; do ip link set $i up; done
   ip addr add 192.0.2.1/24 dev a0
   ip -6 addr add 2001:db8:1::1/64 dev a0 nodad
   ip route add default via 192.0.2.2
   ip route add 198.51.100.0/24 via 192.0.2.3 metric 20 proto static
   ip route add 198.51.100.0/24 via 192.0.2.4 metric 30 proto bgp
   ip route add 10.0.0.0/8 dev b0 scope link proto ospf
   ip route add 10.1.0.1 via inet6 2001:db8:1::2 dev a0 proto isis
   ip route add 10.2.0.0/16 proto rip nexthop via 192.0.2.5 dev a0 nexthop dev b0
   ip route add 10.3.0.0/16 nexthop via inet6 2001:db8:1::2 dev a0 nexthop dev b0
   ip route add blackhole 10.4.0.0/16
   ip route add unreachable 10.5.0.0/16 metric 7
   ip route add prohibit 10.6.0.0/16
   ip route add throw 10.7.0.0/16
   ip route add 10.8.0.0/16 via 192.0.2.2 table 1000
   ip route add 10.9.0.0/16 via 192.0.2.2 proto kernel
   ip -6 route add default via 2001:db8:1::2 dev a0 metric 5
   ip -6 route add 2001:db8:2::/48 via 2001:db8:1::3 dev a0 proto bgp
   ip -6 route add 2001:db8:3::/48 proto 250 nexthop via 2001:db8:1::4 dev a0 nexthop via 2001:db8:1::5 dev a0
   ip -6 route add blackhole 2001:db8:4::/48 proto static
   ip -6 route add unreachable 2001:db8:5::/48 proto kernel )";

// 0: the same routes, 1: not, 77: such a network cannot be had here.
int compareInNetworkOfItsOwn() {
   if( !enterNetworkOfItsOwn() || std::system( ( "("s + kSetUp + ") >/dev/null 2>&1" ).c_str() ) != 0 ) return 77;
   expectSameAsTool();
   EXPECT_GE( kernelTable().routes.size(), 18u );
   EXPECT_EQ( kernelTable().summary.skipped, 1u ) << "throw";
   return testing::Test::HasFailure() ? 1 : 0;
}

TEST( KernelTableTest, routesOfEveryKindAreAsPrinted ) {
   ASSERT_TRUE( hasTool() ) << "the program ip is missing; scripts/setup test installs it";
   const pid_t child = fork();   // the process itself must stay in its network
   ASSERT_GE( child, 0 );
   if( child == 0 ) {
      const int status = compareInNetworkOfItsOwn();
      std::fflush( stdout );
      _exit( status );
   }
   int status = 0;
   ASSERT_EQ( waitpid( child, &status, 0 ), child );
   ASSERT_TRUE( WIFEXITED( status ) );
   if( WEXITSTATUS( status ) == 77 ) GTEST_SKIP() << "this machine allows no network of one's own, or none with all kinds of routes";
   EXPECT_EQ( WEXITSTATUS( status ), 0 );
}

}   // namespace
}   // namespace Agent
