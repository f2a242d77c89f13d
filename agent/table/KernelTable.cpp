#include "table/KernelTable.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "table/KernelProtocol.h"

namespace Agent {

namespace {

using Ferule::AddressFamily;
using Ferule::IpGenAddr;

AddressFamily familyOf( int af ) noexcept {
   if( af == AF_INET ) return AddressFamily::ipv4;
   return af == AF_INET6 ? AddressFamily::ipv6 : AddressFamily::unset;
}

std::optional<IpGenAddr> wholeAddressOf( AddressFamily af, std::string_view bytes ) {
   if( af == AddressFamily::unset || bytes.size() * 8 != Ferule::addressBits( af ) ) return std::nullopt;
   return addressOf( af, bytes );
}

/// The attributes of a message, or of one of its next hops, by type. An absent attribute has no data.
class Attributes {
 public:
   explicit Attributes( std::string_view bytes ) noexcept {
      const char * const end = bytes.data() + bytes.size();
      const auto left = [ & ]( const nlattr * attr ) { return static_cast<int>( end - reinterpret_cast<const char *>( attr ) ); };
      for( const auto * attr = reinterpret_cast<const nlattr *>( bytes.data() ); mnl_attr_ok( attr, left( attr ) );
           attr = mnl_attr_next( attr ) ) {
         const auto type = mnl_attr_get_type( attr );
         if( type <= RTA_MAX )
            values_[ type ] = { static_cast<const char *>( mnl_attr_get_payload( attr ) ), mnl_attr_get_payload_len( attr ) };
      }
   }
   bool has( size_t type ) const noexcept { return values_[ type ].data() != nullptr; }
   std::string_view bytes( size_t type ) const noexcept { return values_[ type ]; }
   /// Nothing if it is absent or has another size.
   std::optional<uint32_t> number( size_t type ) const noexcept {
      uint32_t value = 0;
      if( values_[ type ].size() != sizeof value ) return std::nullopt;
      std::memcpy( &value, values_[ type ].data(), sizeof value );
      return value;
   }

 private:
   std::array<std::string_view, RTA_MAX + 1> values_{};
};

bool isDiscard( int type ) noexcept {
   return type == RTN_BLACKHOLE || type == RTN_UNREACHABLE || type == RTN_PROHIBIT;
}

/// Turns one message into a route.
class MessageReader {
 public:
   MessageReader( const rtmsg & header, std::string_view attributes, const InterfaceNames & names, TableRoute & route )
         : header_( header ), attributes_( attributes ), names_( names ), route_( route ), af_( familyOf( header.rtm_family ) ) {}

   LineResult read() {
      const uint32_t table = attributes_.number( RTA_TABLE ).value_or( header_.rtm_table );
      if( table != RT_TABLE_MAIN || af_ == AddressFamily::unset || header_.rtm_flags & RTM_F_CLONED ) return LineResult::nothing();
      if( header_.rtm_type != RTN_UNICAST && !isDiscard( header_.rtm_type ) ) return LineResult::skipped();
      route_.clear();
      std::string fault = readPrefix();
      if( fault.empty() ) fault = readNextHop( attributes_ );
      if( fault.empty() && attributes_.has( RTA_MULTIPATH ) ) fault = readMultipath( attributes_.bytes( RTA_MULTIPATH ) );
      if( !fault.empty() ) return LineResult::broken( std::move( fault ) );
      if( attributes_.has( RTA_PRIORITY ) ) {
         const auto metric = attributes_.number( RTA_PRIORITY );
         if( !metric ) return LineResult::broken( "the size of the metric is not 4 bytes" );
         route_.metric = *metric;
      }
      readProtocol();
      if( isDiscard( header_.rtm_type ) ) route_.nextHop = {};
      return LineResult::route();
   }

 private:
   // Each function returns the error, or nothing.
   std::string readPrefix() {
      const uint32_t length = header_.rtm_dst_len;
      if( length > Ferule::addressBits( af_ ) ) return "prefix length " + std::to_string( length );
      std::optional<IpGenAddr> address;
      if( attributes_.has( RTA_DST ) )
         address = wholeAddressOf( af_, attributes_.bytes( RTA_DST ) );
      else if( length == 0 )
         address = IpGenAddr( af_ );
      if( !address ) return "no destination";
      route_.prefix = { *address, static_cast<uint8_t>( length ) };
      if( !route_.prefix.isCanonical() ) return std::string( route_.prefix.toStrep() ) + ": bits are set after the prefix length";
      return {};
   }

   // An attribute that has been set already is kept.
   std::string readNextHop( const Attributes & attributes ) {
      if( route_.nextHop.af() == AddressFamily::unset ) {
         std::optional<IpGenAddr> address = IpGenAddr();
         if( attributes.has( RTA_GATEWAY ) )
            address = wholeAddressOf( af_, attributes.bytes( RTA_GATEWAY ) );
         else if( attributes.has( RTA_VIA ) )
            address = viaOf( attributes.bytes( RTA_VIA ) );
         if( !address ) return "the gateway is not an address";
         route_.nextHop = *address;
      }
      if( route_.interface.empty() && attributes.has( RTA_OIF ) ) {
         const auto index = attributes.number( RTA_OIF );
         if( !index ) return "the size of the interface is not 4 bytes";
         route_.interface = names_( *index );
      }
      return {};
   }

   // An address of the other family, after that family's number.
   static std::optional<IpGenAddr> viaOf( std::string_view bytes ) {
      uint16_t family = 0;
      if( bytes.size() < sizeof family ) return std::nullopt;
      std::memcpy( &family, bytes.data(), sizeof family );
      return wholeAddressOf( familyOf( family ), bytes.substr( sizeof family ) );
   }

   // The first of several.
   std::string readMultipath( std::string_view hops ) {
      rtnexthop hop;
      if( hops.empty() ) return {};
      if( hops.size() < sizeof hop ) return "the next hops are cut short";
      std::memcpy( &hop, hops.data(), sizeof hop );
      if( hop.rtnh_len < sizeof hop || hop.rtnh_len > hops.size() ) return "the next hops are cut short";
      if( route_.interface.empty() && hop.rtnh_ifindex > 0 ) route_.interface = names_( static_cast<uint32_t>( hop.rtnh_ifindex ) );
      return readNextHop( Attributes( hops.substr( sizeof hop, hop.rtnh_len - sizeof hop ) ) );
   }

   // IPv6 has no scopes: a route that the kernel added by itself, without a next hop, leads to a link.
   void readProtocol() {
      const bool isIpv6OnLink = af_ == AddressFamily::ipv6 && route_.nextHop.af() == AddressFamily::unset && !isDiscard( header_.rtm_type );
      const bool isOnLink = isIpv6OnLink || ( af_ == AddressFamily::ipv4 && header_.rtm_scope == RT_SCOPE_LINK );
      route_.protocol = kernelProtocol( header_.rtm_protocol );
      if( route_.protocol == SourceProtocol::kernel && isOnLink ) route_.protocol = SourceProtocol::connected;
   }

   const rtmsg & header_;
   Attributes attributes_;
   const InterfaceNames & names_;
   TableRoute & route_;
   AddressFamily af_;
};

struct SocketCloser {
   void operator()( mnl_socket * socket ) const noexcept { mnl_socket_close( socket ); }
};
using Socket = std::unique_ptr<mnl_socket, SocketCloser>;

/// Why the kernel could not be read. Not a std::system_error, which the handler may throw.
struct KernelFault {
   std::string reason;
};

[[noreturn]] void throwSystemError( int error = errno ) {
   throw KernelFault{ "cannot read the kernel's routes: " + std::generic_category().message( error ) };
}

/// The kernel itself.
class KernelDump final : public RouteDump {
 public:
   KernelDump() {
      if( !socket_ || mnl_socket_bind( socket_.get(), 0, MNL_SOCKET_AUTOPID ) < 0 ) throwSystemError();
   }
   void ask( unsigned char family ) override {
      nlmsghdr * header = mnl_nlmsg_put_header( buffer_.data() );
      header->nlmsg_type = RTM_GETROUTE;
      header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
      header->nlmsg_seq = family;
      static_cast<rtmsg *>( mnl_nlmsg_put_extra_header( header, sizeof( rtmsg ) ) )->rtm_family = family;
      if( mnl_socket_sendto( socket_.get(), header, header->nlmsg_len ) < 0 ) throwSystemError();
   }
   std::string_view receive() override {
      for( ;; ) {
         const ssize_t size = mnl_socket_recvfrom( socket_.get(), buffer_.data(), buffer_.size() );
         if( size >= 0 ) return { buffer_.data(), static_cast<size_t>( size ) };
         if( errno != EINTR ) throwSystemError();
      }
   }

 private:
   Socket socket_{ mnl_socket_open( NETLINK_ROUTE ) };
   alignas( nlmsghdr ) std::array<char, 32768> buffer_;   // as much as the kernel gives at once
};

/// Requests the routes of one family after the other, and passes them on.
class KernelReader {
 public:
   KernelReader( RouteDump & dump, TableHandler & handler, TableSummary & summary )
         : dump_( dump ), handler_( handler ), summary_( summary ) {}

   void read( unsigned char family ) {
      bool whole = false;
      for( unsigned tries = 0; !whole && tries < kTries; ++tries ) {
         dump_.ask( family );
         whole = receive( family );
      }
      if( !whole ) summary_.fault = "the kernel's routes changed while they were read";
      for( const auto & message : messages_ ) readRoute( { message.data(), message.size() }, family );
      messages_.clear();
   }

 private:
   static constexpr unsigned kTries = 6;

   // Reads to the last message. Returns whether the routes did not change meanwhile.
   bool receive( unsigned char family ) {
      messages_.clear();
      bool ended = false, changed = false;
      while( !ended ) {
         const std::string_view bytes = dump_.receive();
         int size = static_cast<int>( bytes.size() );
         for( const auto * m = reinterpret_cast<const nlmsghdr *>( bytes.data() ); !ended && mnl_nlmsg_ok( m, size );
              m = mnl_nlmsg_next( m, &size ) ) {
            if( m->nlmsg_seq != family ) continue;
            changed |= ( m->nlmsg_flags & NLM_F_DUMP_INTR ) != 0;
            const auto * const payload = static_cast<const char *>( mnl_nlmsg_get_payload( m ) );
            const size_t length = mnl_nlmsg_get_payload_len( m );
            ended = m->nlmsg_type == NLMSG_DONE || m->nlmsg_type == NLMSG_ERROR;
            if( ended ) checkError( { payload, length } );
            if( m->nlmsg_type == RTM_NEWROUTE ) messages_.emplace_back( payload, payload + length );
         }
      }
      return !changed;
   }

   // Both kinds of final message begin with a negative error number; 0 for no error.
   static void checkError( std::string_view payload ) {
      int error = 0;
      if( payload.size() < sizeof error ) return;
      std::memcpy( &error, payload.data(), sizeof error );
      if( error != 0 ) throwSystemError( -error );
   }

   void readRoute( std::string_view payload, unsigned char family ) {
      ++message_;
      // A kernel without this family answers with all the others.
      if( !payload.empty() && static_cast<unsigned char>( payload[ 0 ] ) != family ) return;
      const LineResult result = parseRouteMessage( payload, names_, route_ );
      switch( result.kind ) {
         case LineResult::Kind::route:
            ++summary_.routes;
            handler_.handleRoute( route_ );
            break;
         case LineResult::Kind::skipped: ++summary_.skipped; break;
         case LineResult::Kind::nothing: break;
         case LineResult::Kind::broken:
            ++summary_.broken;
            handler_.handleBroken( { Broken::Unit::message, message_, result.reason } );
            break;
      }
   }

   // One system call for each interface: one for each route would take longer than everything else.
   std::string_view nameOfInterface( uint32_t index ) {
      const auto [ at, isNew ] = interfaces_.try_emplace( index );
      if( isNew ) {
         char name[ IF_NAMESIZE ];
         at->second = if_indextoname( index, name ) ? name : "if" + std::to_string( index );
      }
      return at->second;
   }

   RouteDump & dump_;
   TableHandler & handler_;
   TableSummary & summary_;
   std::vector<std::vector<char>> messages_;   // of the present dump
   std::unordered_map<uint32_t, std::string> interfaces_;
   InterfaceNames names_{ [ this ]( uint32_t index ) { return nameOfInterface( index ); } };
   uint64_t message_ = 0;
   TableRoute route_;
};

}   // namespace

LineResult parseRouteMessage( std::string_view message, const InterfaceNames & names, TableRoute & route ) {
   rtmsg header;
   if( message.size() < sizeof header ) return LineResult::broken( "cut short: " + std::to_string( message.size() ) + " bytes" );
   std::memcpy( &header, message.data(), sizeof header );
   return MessageReader( header, message.substr( sizeof header ), names, route ).read();
}

TableSummary readKernelTable( RouteDump & dump, TableHandler & handler ) {
   TableSummary summary;
   summary.form = TableForm::kernel;
   try {
      KernelReader reader( dump, handler, summary );
      for( const unsigned char family : { AF_INET, AF_INET6 } ) reader.read( family );
   } catch( const KernelFault & fault ) { summary.fault = fault.reason; }
   return summary;
}

TableSummary readKernelTable( TableHandler & handler ) {
   try {
      KernelDump dump;
      return readKernelTable( dump, handler );
   } catch( const KernelFault & fault ) {
      TableSummary summary;
      summary.form = TableForm::kernel;
      summary.fault = fault.reason;
      return summary;
   }
}

}   // namespace Agent
