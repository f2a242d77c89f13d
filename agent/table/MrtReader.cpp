#include "table/MrtReader.h"

#include <optional>

#include "table/LineResult.h"

namespace Agent {

namespace {

using Ferule::AddressFamily;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefix;

// RFC 6396 4, and RFC 8050 4 for those with path identifiers.
enum Type : uint16_t { kTableDump = 12, kTableDumpV2 = 13, kBgp4mp = 16, kBgp4mpEt = 17 };
enum Subtype : uint16_t {
   kPeerIndexTable = 1,
   kRibIpv4Unicast = 2,
   kRibIpv6Unicast = 4,
   kRibIpv4UnicastAddPath = 8,
   kRibIpv6UnicastAddPath = 10
};
constexpr size_t kHeaderSize = 12;

/// Reads from a row of bytes. After its end it returns zeros and empty bytes.
class Cursor {
 public:
   explicit Cursor( std::string_view bytes ) noexcept : rest_( bytes ) {}

   std::string_view bytes( size_t size ) noexcept {
      if( size > rest_.size() ) {
         rest_ = {};
         suffices_ = false;
         return {};
      }
      const auto taken = rest_.substr( 0, size );
      rest_.remove_prefix( size );
      return taken;
   }
   uint32_t number( size_t size ) noexcept {
      uint32_t value = 0;
      for( const char c : bytes( size ) ) value = value << 8 | static_cast<unsigned char>( c );
      return value;
   }
   bool suffices() const noexcept { return suffices_; }
   size_t left() const noexcept { return rest_.size(); }

 private:
   std::string_view rest_;
   bool suffices_ = true;
};

std::string wrongSize( const char * attribute, size_t size ) {
   return std::string( attribute ) + " of " + std::to_string( size ) + " bytes";
}

/// Reads path attributes (RFC 4271 4.3) into a route. Each function returns the error in its attribute, or nothing.
class AttributeReader {
 public:
   explicit AttributeReader( TableRoute & route ) noexcept : route_( route ) {}

   std::string read( std::string_view attributes ) {
      for( Cursor cursor( attributes ); cursor.left() != 0; ) {
         const uint32_t flags = cursor.number( 1 );
         const uint32_t type = cursor.number( 1 );
         const std::string_view value = cursor.bytes( cursor.number( flags & kExtendedLength ? 2 : 1 ) );
         if( !cursor.suffices() ) return "the attributes end inside an attribute";
         if( !isFirst( type ) ) continue;   // RFC 7606 3 g
         if( std::string fault = readOne( type, value ); !fault.empty() ) return fault;
      }
      return {};
   }

 private:
   static constexpr uint32_t kExtendedLength = 0x10;
   enum AttributeType : uint8_t { kAsPath = 2, kNextHop = 3, kMed = 4, kLocalPreference = 5, kCommunities = 8, kMpReach = 14 };

   bool isFirst( uint32_t type ) noexcept {
      if( type > kMpReach ) return true;   // ignored
      const bool first = !( seen_ >> type & 1 );
      seen_ |= 1u << type;
      return first;
   }

   std::string readOne( uint32_t type, std::string_view value ) {
      switch( type ) {
         case kAsPath: return readAsPath( value );
         case kNextHop: return readNextHop( value );
         case kMed:
            if( value.size() != 4 ) return wrongSize( "MED", value.size() );
            route_.metric = Cursor( value ).number( 4 );
            return {};
         case kLocalPreference:
            if( value.size() != 4 ) return wrongSize( "LOCAL_PREF", value.size() );
            route_.localPreference = Cursor( value ).number( 4 );
            return {};
         case kCommunities: return readCommunities( value );
         case kMpReach: return readMpReach( value );
         default: return {};
      }
   }

   // ASes have four bytes here, whatever the session had (RFC 6396 4.3.4).
   std::string readAsPath( std::string_view value ) {
      std::string & text = route_.asPath;
      for( Cursor cursor( value ); cursor.left() != 0; ) {
         const uint32_t type = cursor.number( 1 );
         const uint32_t count = cursor.number( 1 );
         Cursor numbers( cursor.bytes( 4 * size_t( count ) ) );
         if( !cursor.suffices() ) return "AS_PATH ends inside a segment";
         const SegmentStyle * const style = segmentStyle( type );
         if( !style ) return "AS_PATH with a segment of type " + std::to_string( type );
         if( count == 0 ) return "AS_PATH with an empty segment";
         if( !text.empty() ) text += ' ';
         text += style->open;
         for( uint32_t i = 0; i < count; ++i ) {
            if( i != 0 ) text += style->between;
            appendNumber( text, numbers.number( 4 ) );
         }
         text += style->close;
      }
      route_.tag = originAsOf( text );
      return {};
   }

   std::string readNextHop( std::string_view value ) {
      if( value.size() != 4 ) return wrongSize( "NEXT_HOP", value.size() );
      if( !( seen_ >> kMpReach & 1 ) ) route_.nextHop = addressOf( AddressFamily::ipv4, value );
      return {};
   }

   // The short form is a next hop with its length (RFC 6396 4.3.4). In the long form (RFC 4760 3) two family numbers come first. The first
   // byte tells them apart: a family number starts with a zero byte, and a next hop is not empty.
   std::string readMpReach( std::string_view value ) {
      Cursor cursor( value );
      const bool whole = value.size() > 1 && value[ 0 ] == 0;
      if( whole ) cursor.bytes( 3 );
      const std::string_view nextHop = cursor.bytes( cursor.number( 1 ) );
      if( !cursor.suffices() ) return "MP_REACH_NLRI ends inside its next hop";
      if( !whole && cursor.left() != 0 ) return wrongSize( "MP_REACH_NLRI", value.size() );
      switch( nextHop.size() ) {
         case 0: route_.nextHop = {}; break;
         case 4: route_.nextHop = addressOf( AddressFamily::ipv4, nextHop ); break;
         case 16:
         case 32:   // a link-local address after the global one
            route_.nextHop = addressOf( AddressFamily::ipv6, nextHop.substr( 0, 16 ) );
            break;
         default: return wrongSize( "next hop", nextHop.size() );
      }
      return {};
   }

   std::string readCommunities( std::string_view value ) {
      if( value.size() % 4 != 0 ) return wrongSize( "COMMUNITIES", value.size() );
      for( Cursor cursor( value ); cursor.left() != 0; ) route_.communities.push_back( cursor.number( 4 ) );
      sortCommunities( route_.communities );
      return {};
   }

   TableRoute & route_;
   uint32_t seen_ = 0;   // a bit for each type
};

class RecordReader {
 public:
   explicit RecordReader( FormHandler & handler ) : handler_( handler ) {}

   /// `number` and `offset` of the record are for messages.
   void placeIs( uint64_t number, uint64_t offset ) noexcept {
      number_ = number;
      offset_ = offset;
   }

   void read( uint32_t type, uint32_t subtype, std::string_view body ) {
      if( type != kTableDumpV2 ) return handler_.handleUnknown();
      switch( subtype ) {
         case kPeerIndexTable: return readPeers( Cursor( body ) );
         case kRibIpv4Unicast: return readRib( Cursor( body ), AddressFamily::ipv4, false );
         case kRibIpv6Unicast: return readRib( Cursor( body ), AddressFamily::ipv6, false );
         case kRibIpv4UnicastAddPath: return readRib( Cursor( body ), AddressFamily::ipv4, true );
         case kRibIpv6UnicastAddPath: return readRib( Cursor( body ), AddressFamily::ipv6, true );
         default: return handler_.handleUnknown();
      }
   }

   void broken( const std::string & reason ) { handler_.handleBroken( number_, "at byte " + std::to_string( offset_ ) + ": " + reason ); }

 private:
   // Only the number of peers is used: an entry must refer to one of them.
   void readPeers( Cursor body ) {
      peers_.reset();
      body.number( 4 );                 // the collector
      body.bytes( body.number( 2 ) );   // the name of its view
      const uint32_t count = body.number( 2 );
      for( uint32_t i = 0; i < count && body.suffices(); ++i ) {
         const uint32_t type = body.number( 1 );
         body.bytes( 4 + ( type & 1 ? 16 : 4 ) + ( type & 2 ? 4 : 2 ) );   // identifier, address, AS
      }
      if( !body.suffices() ) return broken( "cut short inside its peers" );
      if( body.left() != 0 ) return broken( std::to_string( body.left() ) + " bytes after the last peer" );
      peers_ = count;
   }

   void readRib( Cursor body, AddressFamily af, bool hasPathIdentifiers ) {
      body.number( 4 );   // of the record among its kind
      const uint32_t length = body.number( 1 );
      const uint32_t longest = Ferule::addressBits( af );
      if( length > longest ) return broken( "prefix length " + std::to_string( length ) + ": above " + std::to_string( longest ) );
      const std::string_view bytes = body.bytes( ( length + 7 ) / 8 );
      const uint32_t count = body.number( 2 );
      if( !body.suffices() ) return broken( "cut short inside its prefix" );
      // Bits after the length, up to the end of the byte, are ignored.
      const auto prefix = IpGenPrefix( addressOf( af, bytes ), static_cast<uint8_t>( length ) ).subnet();
      for( uint32_t i = 1; i <= count; ++i ) {
         const uint32_t peer = body.number( 2 );
         body.bytes( hasPathIdentifiers ? 8 : 4 );   // time, and path identifier
         const std::string_view attributes = body.bytes( body.number( 2 ) );
         if( !body.suffices() ) return brokenEntry( i, count, "cut short" );
         readEntry( prefix, peer, attributes, i, count );
      }
      if( body.left() != 0 ) broken( std::to_string( body.left() ) + " bytes after the last entry" );
   }

   void readEntry( const IpGenPrefix & prefix, uint32_t peer, std::string_view attributes, uint32_t entry, uint32_t count ) {
      if( peers_ && peer >= *peers_ )
         return brokenEntry( entry, count, "peer " + std::to_string( peer ) + " of " + std::to_string( *peers_ ) );
      route_.clear();
      route_.prefix = prefix;
      route_.protocol = SourceProtocol::bgp;
      const std::string fault = AttributeReader( route_ ).read( attributes );
      if( !fault.empty() ) return brokenEntry( entry, count, fault );
      handler_.handleRoute( route_ );
   }

   void brokenEntry( uint32_t entry, uint32_t count, const std::string & reason ) {
      broken( "entry " + std::to_string( entry ) + " of " + std::to_string( count ) + ": " + reason );
   }

   FormHandler & handler_;
   uint64_t number_ = 0;
   uint64_t offset_ = 0;
   std::optional<uint32_t> peers_;   // their number; nothing until a complete peer table has been read
   TableRoute route_;
};

}   // namespace

bool looksLikeMrt( std::string_view firstBytes ) noexcept {
   Cursor header( firstBytes.substr( 0, kMrtMarkSize ) );
   header.number( 4 );   // timestamp
   const uint32_t type = header.number( 2 );
   const uint32_t subtype = header.number( 2 );
   if( !header.suffices() || subtype > 0xff ) return false;
   return type == kTableDump || type == kTableDumpV2 || type == kBgp4mp || type == kBgp4mpEt;
}

std::string readMrt( TextReader & bytes, size_t maxRecord, FormHandler & handler ) {
   RecordReader reader( handler );
   uint64_t offset = 0;
   for( uint64_t number = 1;; ++number ) {
      const auto cutShort = [ & ]( uint64_t size, uint64_t expected ) {
         return "record " + std::to_string( number ) + " at byte " + std::to_string( offset ) + " is cut short: " + std::to_string( size ) +
            " of " + std::to_string( expected ) + " bytes";
      };
      const auto headerBytes = bytes.takeBytes( kHeaderSize );
      if( headerBytes.empty() ) return {};
      Cursor header( headerBytes );
      header.number( 4 );   // timestamp
      const uint32_t type = header.number( 2 );
      const uint32_t subtype = header.number( 2 );
      const uint32_t length = header.number( 4 );
      if( !header.suffices() ) return cutShort( headerBytes.size(), kHeaderSize );
      reader.placeIs( number, offset );

      if( length > maxRecord ) {
         const uint64_t size = bytes.skipBytes( length );
         if( size < length ) return cutShort( kHeaderSize + size, kHeaderSize + uint64_t( length ) );
         reader.broken( "longer than " + std::to_string( maxRecord ) + " bytes" );
      } else {
         const auto body = bytes.takeBytes( length );
         if( body.size() < length ) return cutShort( kHeaderSize + body.size(), kHeaderSize + uint64_t( length ) );
         reader.read( type, subtype, body );
      }
      offset += kHeaderSize + uint64_t( length );
   }
}

}   // namespace Agent
