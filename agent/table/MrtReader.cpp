#include "table/MrtReader.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include "table/BgpAttribute.h"
#include "table/LineResult.h"

namespace Agent {

namespace {

using namespace BgpAttribute;
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
enum TableDumpSubtype : uint16_t { kTableDumpIpv4 = 1, kTableDumpIpv6 = 2 };
enum Bgp4mpSubtype : uint16_t {
   kStateChange = 0,
   kMessage = 1,
   kMessageAs4 = 4,
   kStateChangeAs4 = 5,
   kMessageLocal = 6,
   kMessageAs4Local = 7,
   kMessageAddPath = 8,
   kMessageAs4AddPath = 9,
   kMessageLocalAddPath = 10,
   kMessageAs4LocalAddPath = 11
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

/// Appends the text of an AS path of numbers with `width` bytes, up to `most` of its ASes. A set counts as one, segments of a confederation
/// do not count (RFC 6793 4.2.3). Returns the error, or nothing.
std::string appendPath( std::string & text, std::string_view value, size_t width, size_t most = std::numeric_limits<size_t>::max() ) {
   enum SegmentType : uint8_t { kSet = 1, kSequence = 2 };
   for( Cursor cursor( value ); cursor.left() != 0; ) {
      const uint32_t type = cursor.number( 1 );
      const uint32_t count = cursor.number( 1 );
      Cursor numbers( cursor.bytes( width * count ) );
      if( !cursor.suffices() ) return "AS_PATH ends inside a segment";
      const SegmentStyle * const style = segmentStyle( type );
      if( !style ) return "AS_PATH with a segment of type " + std::to_string( type );
      if( count == 0 ) return "AS_PATH with an empty segment";
      size_t taken = count;
      if( type == kSet || type == kSequence ) {
         if( most == 0 ) return {};
         if( type == kSequence ) taken = std::min<size_t>( taken, most );
         most -= type == kSet ? 1 : taken;
      }
      if( !text.empty() ) text += ' ';
      text += style->open;
      for( size_t i = 0; i < taken; ++i ) {
         if( i != 0 ) text += style->between;
         appendNumber( text, numbers.number( width ) );
      }
      text += style->close;
   }
   return {};
}

/// The number of ASes as appendPath() counts them; nothing for a malformed path.
std::optional<size_t> lengthOfPath( std::string_view value, size_t width ) {
   size_t length = 0;
   for( Cursor cursor( value ); cursor.left() != 0; ) {
      const uint32_t type = cursor.number( 1 );
      const uint32_t count = cursor.number( 1 );
      cursor.bytes( width * count );
      if( !cursor.suffices() || !segmentStyle( type ) || count == 0 ) return std::nullopt;
      length += type == 1 ? 1 : type == 2 ? count : 0;
   }
   return length;
}

/// What a message says of one family besides IPv4's own fields.
struct FamilyPart {
   bool given = false;
   AddressFamily af = AddressFamily::unset;   // unset: not IPv4 or IPv6 unicast, and the rest is empty
   IpGenAddr nextHop;
   std::string_view prefixes;
};

/// Reads path attributes (RFC 4271 4.3) into a route. Each function returns the error in its attribute, or nothing.
class AttributeReader {
 public:
   /// Of a table, each route has attributes of its own. A message has attributes for several families.
   enum class From : uint8_t { table, message };

   /// `asWidth`: the bytes of an AS number in an AS_PATH.
   AttributeReader( TableRoute & route, From from, size_t asWidth ) noexcept : route_( route ), from_( from ), asWidth_( asWidth ) {}

   std::string read( std::string_view attributes ) {
      for( Cursor cursor( attributes ); cursor.left() != 0; ) {
         const uint32_t flags = cursor.number( 1 );
         const uint32_t type = cursor.number( 1 );
         const std::string_view value = cursor.bytes( cursor.number( flags & kExtendedLength ? 2 : 1 ) );
         if( !cursor.suffices() ) return "the attributes end inside an attribute";
         if( !isFirst( type ) ) continue;   // RFC 7606 3 g
         if( std::string fault = readOne( type, value ); !fault.empty() ) return fault;
      }
      return finishAsPath();
   }

   /// Of a message.
   const FamilyPart & announced() const noexcept { return announced_; }
   const FamilyPart & withdrawn() const noexcept { return withdrawn_; }

 private:
   static constexpr uint32_t kExtendedLength = 0x10;

   bool isFirst( uint32_t type ) noexcept {
      if( type > kLargeCommunities ) return true;   // ignored
      const bool first = !( seen_ >> type & 1 );
      seen_ |= uint64_t( 1 ) << type;
      return first;
   }

   std::string readOne( uint32_t type, std::string_view value ) {
      switch( type ) {
         case kOrigin: return readOrigin( value );
         case kAsPath: asPath_ = value; return {};
         case kAs4Path: as4Path_ = value; return {};
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
         case kExtCommunities: return readExtCommunities( value );
         case kLargeCommunities: return readLargeCommunities( value );
         case kMpReach: return from_ == From::table ? readMpReachOfTable( value ) : readMpReach( value );
         case kMpUnreach: return from_ == From::table ? std::string() : readMpUnreach( value );
         default: return {};
      }
   }

   // Where ASes have two bytes, AS4_PATH has the numbers that do not fit (RFC 6793 4.2.3): it replaces as much of the end of the path as it
   // is long. It is ignored if it is malformed or longer than the path.
   std::string finishAsPath() {
      std::string & text = route_.asPath;
      std::string fault;
      const auto length = asWidth_ == 2 && !as4Path_.empty() ? lengthOfPath( asPath_, 2 ) : std::nullopt;
      const auto length4 = length ? lengthOfPath( as4Path_, 4 ) : std::nullopt;
      if( length4 && *length4 <= *length ) {
         fault = appendPath( text, asPath_, 2, *length - *length4 );
         if( fault.empty() ) fault = appendPath( text, as4Path_, 4 );
      } else {
         fault = appendPath( text, asPath_, asWidth_ );
      }
      route_.tag = originAsOf( text );
      return fault;
   }

   std::string readNextHop( std::string_view value ) {
      if( value.size() != 4 ) return wrongSize( "NEXT_HOP", value.size() );
      if( from_ == From::message || !( seen_ >> kMpReach & 1 ) ) route_.nextHop = addressOf( AddressFamily::ipv4, value );
      return {};
   }

   // The short form is a next hop with its length (RFC 6396 4.3.4). In the long form (RFC 4760 3) two family numbers come first. The first
   // byte tells them apart: a family number starts with a zero byte, and a next hop is not empty.
   std::string readMpReachOfTable( std::string_view value ) {
      Cursor cursor( value );
      const bool whole = value.size() > 1 && value[ 0 ] == 0;
      if( whole ) cursor.bytes( 3 );
      const std::string_view nextHop = cursor.bytes( cursor.number( 1 ) );
      if( !cursor.suffices() ) return "MP_REACH_NLRI ends inside its next hop";
      if( !whole && cursor.left() != 0 ) return wrongSize( "MP_REACH_NLRI", value.size() );
      return readNextHopOfFamily( nextHop, route_.nextHop );
   }

   static std::string readNextHopOfFamily( std::string_view bytes, IpGenAddr & nextHop ) {
      switch( bytes.size() ) {
         case 0: nextHop = {}; break;
         case 4: nextHop = addressOf( AddressFamily::ipv4, bytes ); break;
         case 16:
         case 32:   // a link-local address after the global one
            nextHop = addressOf( AddressFamily::ipv6, bytes.substr( 0, 16 ) );
            break;
         default: return wrongSize( "next hop", bytes.size() );
      }
      return {};
   }

   // Unset for other families than IPv4 and IPv6 unicast.
   static AddressFamily takeFamily( Cursor & cursor ) noexcept {
      const uint32_t family = cursor.number( 2 );
      const bool isUnicast = cursor.number( 1 ) == 1;
      if( !isUnicast || family < 1 || family > 2 ) return AddressFamily::unset;
      return family == 1 ? AddressFamily::ipv4 : AddressFamily::ipv6;
   }

   // RFC 4760 3
   std::string readMpReach( std::string_view value ) {
      Cursor cursor( value );
      announced_.given = true;
      announced_.af = takeFamily( cursor );
      const std::string_view nextHop = cursor.bytes( cursor.number( 1 ) );
      cursor.bytes( 1 );   // reserved
      if( !cursor.suffices() ) return "MP_REACH_NLRI ends inside its next hop";
      if( announced_.af == AddressFamily::unset ) return {};
      announced_.prefixes = cursor.bytes( cursor.left() );
      return readNextHopOfFamily( nextHop, announced_.nextHop );
   }

   // RFC 4760 4
   std::string readMpUnreach( std::string_view value ) {
      Cursor cursor( value );
      withdrawn_.given = true;
      withdrawn_.af = takeFamily( cursor );
      if( !cursor.suffices() ) return wrongSize( "MP_UNREACH_NLRI", value.size() );
      if( withdrawn_.af != AddressFamily::unset ) withdrawn_.prefixes = cursor.bytes( cursor.left() );
      return {};
   }

   std::string readCommunities( std::string_view value ) {
      if( value.size() % 4 != 0 ) return wrongSize( "COMMUNITIES", value.size() );
      for( Cursor cursor( value ); cursor.left() != 0; ) route_.communities.push_back( cursor.number( 4 ) );
      sortCommunities( route_.communities );
      return {};
   }

   std::string readExtCommunities( std::string_view value ) {
      if( value.size() % 8 != 0 ) return wrongSize( "EXTENDED_COMMUNITIES", value.size() );
      for( Cursor cursor( value ); cursor.left() != 0; ) {
         const uint64_t high = cursor.number( 4 );
         route_.extCommunities.push_back( ExtCommunity( high << 32 | cursor.number( 4 ) ) );
      }
      return {};
   }

   std::string readLargeCommunities( std::string_view value ) {
      if( value.size() % 12 != 0 ) return wrongSize( "LARGE_COMMUNITY", value.size() );
      for( Cursor cursor( value ); cursor.left() != 0; ) {
         auto & community = route_.largeCommunities.emplace_back();
         for( auto * const part : { &community.globalAdministrator, &community.localData1, &community.localData2 } )
            *part = cursor.number( 4 );
      }
      sortCommunities( route_.largeCommunities );
      return {};
   }

   std::string readOrigin( std::string_view value ) {
      if( value.size() != 1 ) return wrongSize( "ORIGIN", value.size() );
      const uint32_t origin = Cursor( value ).number( 1 );
      if( origin > uint32_t( Origin::incomplete ) ) return "ORIGIN of value " + std::to_string( origin );
      route_.origin = Origin( origin );
      return {};
   }

   TableRoute & route_;
   const From from_;
   const size_t asWidth_;
   std::string_view asPath_;
   std::string_view as4Path_;
   FamilyPart announced_;
   FamilyPart withdrawn_;
   uint64_t seen_ = 0;   // a bit for each type
};

class RecordReader {
   using From = AttributeReader::From;

 public:
   explicit RecordReader( FormHandler & handler ) : handler_( handler ) {}

   /// `number` and `offset` of the record are for messages.
   void placeIs( uint64_t number, uint64_t offset ) noexcept {
      number_ = number;
      offset_ = offset;
   }

   void read( uint32_t type, uint32_t subtype, std::string_view body ) {
      switch( type ) {
         case kTableDump: return readTableDump( subtype, Cursor( body ) );
         case kTableDumpV2: return readTableDumpV2( subtype, body );
         case kBgp4mp: return readBgp4mp( subtype, Cursor( body ) );
         case kBgp4mpEt: {
            Cursor cursor( body );
            cursor.bytes( 4 );   // microseconds
            return readBgp4mp( subtype, cursor );
         }
         default: return handler_.handleUnknown();
      }
   }

   void broken( const std::string & reason ) { handler_.handleBroken( number_, "at byte " + std::to_string( offset_ ) + ": " + reason ); }

 private:
   void readTableDumpV2( uint32_t subtype, std::string_view body ) {
      switch( subtype ) {
         case kPeerIndexTable: return readPeers( Cursor( body ) );
         case kRibIpv4Unicast: return readRib( Cursor( body ), AddressFamily::ipv4, false );
         case kRibIpv6Unicast: return readRib( Cursor( body ), AddressFamily::ipv6, false );
         case kRibIpv4UnicastAddPath: return readRib( Cursor( body ), AddressFamily::ipv4, true );
         case kRibIpv6UnicastAddPath: return readRib( Cursor( body ), AddressFamily::ipv6, true );
         default: return handler_.handleUnknown();
      }
   }

   // One route a record; ASes have two bytes (RFC 6396 4.2).
   void readTableDump( uint32_t subtype, Cursor body ) {
      if( subtype != kTableDumpIpv4 && subtype != kTableDumpIpv6 ) return handler_.handleUnknown();
      const auto af = subtype == kTableDumpIpv4 ? AddressFamily::ipv4 : AddressFamily::ipv6;
      const size_t addressSize = Ferule::addressBits( af ) / 8;
      body.bytes( 4 );   // view and sequence number
      const std::string_view address = body.bytes( addressSize );
      const uint32_t length = body.number( 1 );
      body.bytes( 5 );   // status and time
      const std::string_view peer = body.bytes( addressSize );
      body.bytes( 2 );   // its AS
      const std::string_view attributes = body.bytes( body.number( 2 ) );
      if( !body.suffices() ) return broken( "cut short" );
      if( length > Ferule::addressBits( af ) ) return brokenLength( length, af );
      route_.clear();
      route_.prefix = prefixOf( af, address, length );
      route_.protocol = SourceProtocol::bgp;
      route_.peer = addressOf( af, peer );
      const std::string fault = AttributeReader( route_, From::table, 2 ).read( attributes );
      if( !fault.empty() ) return broken( fault );
      handler_.handleRoute( route_ );
      if( body.left() != 0 ) broken( std::to_string( body.left() ) + " bytes after the attributes" );
   }

   // RFC 6396 4.4, RFC 8050 3
   void readBgp4mp( uint32_t subtype, Cursor body ) {
      switch( subtype ) {
         case kStateChange:
         case kStateChangeAs4: return handler_.handleSkipped();
         case kMessage:
         case kMessageLocal: return readMessage( body, { .asWidth = 2, .isSent = subtype == kMessageLocal } );
         case kMessageAs4:
         case kMessageAs4Local: return readMessage( body, { .isSent = subtype == kMessageAs4Local } );
         case kMessageAddPath:
         case kMessageLocalAddPath:
            return readMessage( body, { .asWidth = 2, .hasPathIdentifiers = true, .isSent = subtype == kMessageLocalAddPath } );
         case kMessageAs4AddPath:
         case kMessageAs4LocalAddPath:
            return readMessage( body, { .hasPathIdentifiers = true, .isSent = subtype == kMessageAs4LocalAddPath } );
         default: return handler_.handleUnknown();
      }
   }

   struct MessageForm {
      size_t asWidth = 4;
      bool hasPathIdentifiers = false;
      bool isSent = false;   // to the peer, by this router
   };

   void readMessage( Cursor body, const MessageForm & form ) {
      constexpr uint32_t kHeadSize = 19;
      enum MessageType : uint8_t { kUpdate = 2 };
      body.bytes( 2 * form.asWidth + 2 );   // the ASes of both sides, and the interface
      const uint32_t family = body.number( 2 );
      if( body.suffices() && family != 1 && family != 2 ) return broken( "addresses of family " + std::to_string( family ) );
      const auto af = family == 1 ? AddressFamily::ipv4 : AddressFamily::ipv6;
      const size_t addressSize = Ferule::addressBits( af ) / 8;
      const std::string_view peer = body.bytes( addressSize );
      body.bytes( addressSize );   // of this router
      body.bytes( 16 );            // the marker
      const uint32_t size = body.number( 2 );
      const uint32_t type = body.number( 1 );
      if( !body.suffices() || size < kHeadSize || size - kHeadSize > body.left() ) return broken( "cut short inside its message" );
      const std::string_view message = body.bytes( size - kHeadSize );
      if( type != kUpdate ) return handler_.handleSkipped();
      readUpdate( Cursor( message ), form, form.isSent ? IpGenAddr() : addressOf( af, peer ) );
      if( body.left() != 0 ) broken( std::to_string( body.left() ) + " bytes after the message" );
   }

   // RFC 4271 4.3. Each announced prefix is a route; each withdrawn one is skipped, and so is a message without prefixes.
   void readUpdate( Cursor message, const MessageForm & form, const IpGenAddr & peer ) {
      const std::string_view withdrawn = message.bytes( message.number( 2 ) );
      const std::string_view attributes = message.bytes( message.number( 2 ) );
      if( !message.suffices() ) return broken( "cut short inside its message" );
      const std::string_view announced = message.bytes( message.left() );
      route_.clear();
      route_.protocol = SourceProtocol::bgp;
      route_.peer = peer;
      AttributeReader reader( route_, From::message, form.asWidth );
      const std::string fault = reader.read( attributes );
      if( !fault.empty() ) return broken( fault );
      const auto skip = [ this ]( const IpGenPrefix & ) { handler_.handleSkipped(); };
      const auto take = [ this ]( const IpGenPrefix & prefix ) {
         route_.prefix = prefix;
         handler_.handleRoute( route_ );
      };
      forEachPrefix( withdrawn, AddressFamily::ipv4, form.hasPathIdentifiers, skip );
      forEachPrefix( announced, AddressFamily::ipv4, form.hasPathIdentifiers, take );
      forEachPrefix( reader.withdrawn().prefixes, reader.withdrawn().af, form.hasPathIdentifiers, skip );
      route_.nextHop = reader.announced().nextHop;
      forEachPrefix( reader.announced().prefixes, reader.announced().af, form.hasPathIdentifiers, take );
      const bool isOther = [ & ] {
         for( const auto * part : { &reader.withdrawn(), &reader.announced() } )
            if( part->given && part->af == AddressFamily::unset ) return true;
         return false;
      }();
      if( isOther )
         handler_.handleUnknown();
      else if( withdrawn.empty() && announced.empty() && reader.withdrawn().prefixes.empty() && reader.announced().prefixes.empty() )
         handler_.handleSkipped();
   }

   template <class Action>
   void forEachPrefix( std::string_view bytes, AddressFamily af, bool hasPathIdentifiers, const Action & action ) {
      for( Cursor cursor( bytes ); cursor.left() != 0; ) {
         if( hasPathIdentifiers ) cursor.bytes( 4 );
         const uint32_t length = cursor.number( 1 );
         if( length > Ferule::addressBits( af ) ) return brokenLength( length, af );
         const std::string_view address = cursor.bytes( ( length + 7 ) / 8 );
         if( !cursor.suffices() ) return broken( "cut short inside a prefix" );
         action( prefixOf( af, address, length ) );
      }
   }

   // Bits after the length are ignored.
   static IpGenPrefix prefixOf( AddressFamily af, std::string_view bytes, uint32_t length ) {
      return IpGenPrefix( addressOf( af, bytes ), static_cast<uint8_t>( length ) ).subnet();
   }
   void brokenLength( uint32_t length, AddressFamily af ) {
      broken( "prefix length " + std::to_string( length ) + ": above " + std::to_string( Ferule::addressBits( af ) ) );
   }

   // The addresses of the peers. An entry must refer to one of them.
   void readPeers( Cursor body ) {
      peers_.clear();
      hasPeers_ = false;
      body.number( 4 );                 // the collector
      body.bytes( body.number( 2 ) );   // the name of its view
      const uint32_t count = body.number( 2 );
      for( uint32_t i = 0; i < count && body.suffices(); ++i ) {
         const uint32_t type = body.number( 1 );
         const auto af = type & 1 ? AddressFamily::ipv6 : AddressFamily::ipv4;
         body.bytes( 4 );   // identifier
         peers_.push_back( addressOf( af, body.bytes( Ferule::addressBits( af ) / 8 ) ) );
         body.bytes( type & 2 ? 4 : 2 );   // AS
      }
      if( !body.suffices() ) return broken( "cut short inside its peers" );
      if( body.left() != 0 ) return broken( std::to_string( body.left() ) + " bytes after the last peer" );
      hasPeers_ = true;
   }

   void readRib( Cursor body, AddressFamily af, bool hasPathIdentifiers ) {
      body.number( 4 );   // of the record among its kind
      const uint32_t length = body.number( 1 );
      if( length > Ferule::addressBits( af ) ) return brokenLength( length, af );
      const std::string_view bytes = body.bytes( ( length + 7 ) / 8 );
      const uint32_t count = body.number( 2 );
      if( !body.suffices() ) return broken( "cut short inside its prefix" );
      const auto prefix = prefixOf( af, bytes, length );
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
      if( hasPeers_ && peer >= peers_.size() )
         return brokenEntry( entry, count, "peer " + std::to_string( peer ) + " of " + std::to_string( peers_.size() ) );
      route_.clear();
      route_.prefix = prefix;
      route_.protocol = SourceProtocol::bgp;
      if( hasPeers_ ) route_.peer = peers_[ peer ];
      const std::string fault = AttributeReader( route_, From::table, 4 ).read( attributes );
      if( !fault.empty() ) return brokenEntry( entry, count, fault );
      handler_.handleRoute( route_ );
   }

   void brokenEntry( uint32_t entry, uint32_t count, const std::string & reason ) {
      broken( "entry " + std::to_string( entry ) + " of " + std::to_string( count ) + ": " + reason );
   }

   FormHandler & handler_;
   uint64_t number_ = 0;
   uint64_t offset_ = 0;
   std::vector<IpGenAddr> peers_;
   bool hasPeers_ = false;   // a complete peer table has been read
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
