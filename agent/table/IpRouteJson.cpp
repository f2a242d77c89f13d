#include "table/IpRouteJson.h"

#include <vector>

#include "table/JsonEntries.h"
#include "table/KernelProtocol.h"
#include "table/LineResult.h"

namespace Agent {

namespace {

using Ferule::AddressFamily;

constexpr size_t kMaxWaiting = 4096;   // default routes of unknown family; a table has a handful

/// An optional text. clear() keeps the memory for the next entry.
struct Member {
   std::string text;
   bool given = false;
   void is( const std::string & value ) {
      text = value;
      given = true;
   }
   void clear() {
      text.clear();
      given = false;
   }
};

/// The members of one entry that are used, as in the text.
struct Entry {
   struct NextHop {
      Member gateway;
      Member viaHost;
      Member dev;
   };
   Member dst;
   NextHop own;
   NextHop first;   // of "nexthops"
   Member prefsrc;
   Member type;
   Member protocol;
   Member scope;
   Zeugma::MaybeU63 metric;
   bool hasPref = false;
   bool hasMembers = false;
   std::string fault;   // the first one

   void clear() {
      for( Member * member :
           { &dst, &own.gateway, &own.viaHost, &own.dev, &first.gateway, &first.viaHost, &first.dev, &prefsrc, &type, &protocol, &scope } )
         member->clear();
      metric = {};
      hasPref = hasMembers = false;
      fault.clear();
   }
   void faultIs( std::string text ) {
      if( fault.empty() ) fault = std::move( text );
   }
};

bool isDiscard( std::string_view type ) noexcept {
   return type == "blackhole" || type == "unreachable" || type == "prohibit";
}

bool isNoRoute( std::string_view type ) noexcept {
   return type == "local" || type == "broadcast" || type == "anycast" || type == "multicast" || type == "throw";
}

/// Turns entries into routes. Knows nothing of JSON.
class EntryReader {
 public:
   explicit EntryReader( FormHandler & handler ) : handler_( handler ) {}

   void handleEntry( uint64_t index, const Entry & entry ) {
      if( entry.fault.empty() && !entry.hasMembers ) return handler_.handleSkipped();
      std::string reason = entry.fault;
      if( reason.empty() ) reason = read( entry );
      if( !reason.empty() ) handler_.handleBroken( index, reason );
   }

   void handleEnd() {
      const auto af = seenIpv6_ && !seenIpv4_ ? AddressFamily::ipv6 : AddressFamily::ipv4;
      for( TableRoute & route : waiting_ ) {
         route.prefix = { Ferule::IpGenAddr( af ), 0 };
         handler_.handleRoute( route );
      }
      waiting_.clear();
   }

 private:
   // Why the entry is broken; empty if it is not.
   std::string read( const Entry & entry ) {
      if( isNoRoute( entry.type.text ) ) {
         handler_.handleSkipped();
         return {};
      }
      if( !entry.dst.given ) return "no \"dst\"";
      route_.clear();
      route_.metric = entry.metric;
      route_.interface = entry.own.dev.given ? entry.own.dev.text : entry.first.dev.text;

      AddressFamily evidence = AddressFamily::unset;
      std::string reason = readNextHops( entry, evidence );
      if( !reason.empty() ) return reason;
      const bool hasNextHop = evidence != AddressFamily::unset;
      const bool discards = isDiscard( entry.type.text );
      if( discards ) route_.nextHop = {};

      if( entry.dst.text == "default" ) {
         if( !hasNextHop ) evidence = otherEvidence( entry );
         route_.prefix = { Ferule::IpGenAddr( evidence ), 0 };
      } else {
         const auto prefix = parsePrefix( entry.dst.text, reason );
         if( !prefix ) return "\"dst\": " + reason;
         route_.prefix = *prefix;
      }
      const bool onLink = entry.scope.text == "link" || ( route_.prefix.af() == AddressFamily::ipv6 && !hasNextHop && !discards );
      route_.protocol = entry.protocol.given ? kernelProtocol( entry.protocol.text ) : SourceProtocol::fixed;
      if( route_.protocol == SourceProtocol::kernel && onLink ) route_.protocol = SourceProtocol::connected;
      handOver();
      return {};
   }

   // The entry's own next hop takes precedence over a list. `evidence`: the family of the route that follows from the next hop.
   std::string readNextHops( const Entry & entry, AddressFamily & evidence ) {
      for( const auto * hop : { &entry.own, &entry.first } ) {
         const auto & member = hop->gateway.given ? hop->gateway : hop->viaHost;
         if( !member.given ) continue;
         std::string reason;
         const auto address = parseAddress( member.text, reason );
         if( !address ) return ( hop->gateway.given ? "\"gateway\": " : "\"via\": " ) + reason;
         if( evidence != AddressFamily::unset ) continue;
         route_.nextHop = *address;
         evidence = address->af();
         if( !hop->gateway.given ) evidence = evidence == AddressFamily::ipv4 ? AddressFamily::ipv6 : AddressFamily::ipv4;
      }
      return {};
   }

   static AddressFamily otherEvidence( const Entry & entry ) {
      std::string ignored;
      if( const auto source = parseAddress( entry.prefsrc.text, ignored ) ) return source->af();
      return entry.hasPref ? AddressFamily::ipv6 : AddressFamily::unset;
   }

   void handOver() {
      switch( route_.prefix.af() ) {
         case AddressFamily::unset:
            waiting_.push_back( route_ );
            if( waiting_.size() == kMaxWaiting ) handleEnd();
            return;
         case AddressFamily::ipv4: seenIpv4_ = true; break;
         case AddressFamily::ipv6: seenIpv6_ = true; break;
      }
      handler_.handleRoute( route_ );
   }

   FormHandler & handler_;
   TableRoute route_;
   std::vector<TableRoute> waiting_;
   bool seenIpv4_ = false;
   bool seenIpv6_ = false;
};

/// Follows the parser through the document and gathers each entry's members.
class DocumentSax final : public JsonDocument {
 public:
   DocumentSax( EntryBytes & bytes, FormHandler & handler ) : JsonDocument( bytes ), reader_( handler ) {}

   /// Why the document could not be read to its end; empty if it was.
   std::string finish() {
      reader_.handleEnd();
      return std::move( fault_ );
   }

   // Called by the parser; false ends the parsing.
   bool null() { return other(); }
   bool boolean( bool ) { return other(); }
   bool number_integer( Json::number_integer_t ) { return other(); }   // negative numbers only: others come as unsigned
   bool number_float( Json::number_float_t, const std::string & ) { return other(); }
   bool binary( Json::binary_t & ) { return other(); }

   bool number_unsigned( Json::number_unsigned_t value ) {
      if( skipping() || level_ != Level::entry || key_ != Key::metric || value > kMax32 ) return other();
      entry_.metric = value;
      return true;
   }

   bool string( std::string & value ) {
      if( skipping() ) return true;
      switch( level_ ) {
         case Level::entry:
            switch( key_ ) {
               case Key::dst: entry_.dst.is( value ); return true;
               case Key::gateway: entry_.own.gateway.is( value ); return true;
               case Key::dev: entry_.own.dev.is( value ); return true;
               case Key::prefsrc: entry_.prefsrc.is( value ); return true;
               case Key::type: entry_.type.is( value ); return true;
               case Key::protocol: entry_.protocol.is( value ); return true;
               case Key::scope: entry_.scope.is( value ); return true;
               default: return other();
            }
         case Level::hop:
            if( key_ != Key::gateway && key_ != Key::dev ) return other();
            if( hops_ == 1 ) ( key_ == Key::dev ? entry_.first.dev : entry_.first.gateway ).is( value );
            return true;
         case Level::via:
            if( key_ == Key::host ) entry_.own.viaHost.is( value );
            return true;
         case Level::hopVia:
            if( key_ == Key::host && hops_ == 1 ) entry_.first.viaHost.is( value );
            return true;
         default: return other();
      }
   }

   bool start_array( size_t ) {
      if( skipping() ) return skip();
      if( level_ == Level::document ) {
         level_ = Level::list;
         return true;
      }
      if( level_ == Level::entry && key_ == Key::nexthops ) {
         level_ = Level::hops;
         hops_ = 0;
         return true;
      }
      return other() && skip();
   }

   bool end_array() {
      if( leaveSkipped() ) return true;
      if( level_ == Level::hops ) {
         level_ = Level::entry;
      } else {
         level_ = Level::document;
      }
      return true;
   }

   bool start_object( size_t ) {
      if( skipping() ) return skip();
      switch( level_ ) {
         case Level::list:
            level_ = Level::entry;
            entry_.clear();
            restartBytes();
            return true;
         case Level::entry:
            if( key_ != Key::via ) break;
            level_ = Level::via;
            return true;
         case Level::hops:
            level_ = Level::hop;
            ++hops_;
            return true;
         case Level::hop:
            if( key_ != Key::via ) break;
            level_ = Level::hopVia;
            return true;
         default: break;
      }
      return other() && skip();
   }

   bool end_object() {
      if( leaveSkipped() ) return true;
      switch( level_ ) {
         case Level::via: level_ = Level::entry; break;
         case Level::hopVia: level_ = Level::hop; break;
         case Level::hop: level_ = Level::hops; break;
         default:
            level_ = Level::list;
            reader_.handleEntry( index_++, entry_ );
            restartBytes();
      }
      return true;
   }

   bool key( const std::string & text ) {
      if( skipping() ) return true;
      key_ = keyOf( text );
      if( level_ == Level::entry ) {
         entry_.hasMembers = true;
         entry_.hasPref |= key_ == Key::pref;
      }
      return true;
   }

 private:
   enum class Level : uint8_t { document, list, entry, via, hops, hop, hopVia };
   enum class Key : uint8_t { other, dst, gateway, via, host, dev, metric, nexthops, type, protocol, scope, prefsrc, pref };

   static Key keyOf( std::string_view text ) noexcept {
      static constexpr std::pair<std::string_view, Key> kKeys[] = {
         { "dst", Key::dst },           { "gateway", Key::gateway }, { "via", Key::via },           { "host", Key::host },
         { "dev", Key::dev },           { "metric", Key::metric },   { "nexthops", Key::nexthops }, { "type", Key::type },
         { "protocol", Key::protocol }, { "scope", Key::scope },     { "prefsrc", Key::prefsrc },   { "pref", Key::pref },
      };
      for( const auto & [ name, key ] : kKeys )
         if( name == text ) return key;
      return Key::other;
   }

   // A value that none of the above used: ignored, or of a type that is not allowed in its place.
   bool other() {
      if( skipping() ) return true;
      switch( level_ ) {
         case Level::document: faultIs( "an array of routes is expected" ); return false;
         case Level::list:
            entry_.clear();
            entry_.faultIs( "not an object" );
            reader_.handleEntry( index_++, entry_ );
            restartBytes();
            break;
         case Level::hops: entry_.faultIs( "\"nexthops\" holds a value that is not an object" ); break;
         case Level::hop:
            if( key_ == Key::gateway ) entry_.faultIs( "\"gateway\" of a next hop is not a string" );
            if( key_ == Key::dev ) entry_.faultIs( "\"dev\" of a next hop is not a string" );
            if( key_ == Key::via ) entry_.faultIs( "\"via\" of a next hop is not an object" );
            break;
         case Level::via:
         case Level::hopVia:
            if( key_ == Key::host ) entry_.faultIs( "\"host\" of \"via\" is not a string" );
            break;
         case Level::entry:
            if( key_ == Key::dst ) entry_.faultIs( "\"dst\" is not a string" );
            if( key_ == Key::gateway ) entry_.faultIs( "\"gateway\" is not a string" );
            if( key_ == Key::dev ) entry_.faultIs( "\"dev\" is not a string" );
            if( key_ == Key::metric ) entry_.faultIs( "\"metric\" is not a number of 32 bits" );
            if( key_ == Key::via ) entry_.faultIs( "\"via\" is not an object" );
            if( key_ == Key::nexthops ) entry_.faultIs( "\"nexthops\" is not an array" );
            break;
      }
      return true;
   }

   EntryReader reader_;
   Entry entry_;
   uint64_t hops_ = 0;
   Level level_ = Level::document;
   Key key_ = Key::other;
};

}   // namespace

std::string readIpRouteJson( TextReader & text, size_t maxEntry, FormHandler & handler ) {
   EntryBytes bytes{ text, maxEntry };
   DocumentSax sax( bytes, handler );
   parseDocument( bytes, sax );
   return sax.finish();
}

}   // namespace Agent
