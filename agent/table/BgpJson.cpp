#include "table/BgpJson.h"

#include <optional>
#include <vector>

#include "table/FrrPath.h"
#include "table/GobgpPath.h"
#include "table/JsonEntries.h"
#include "table/LineResult.h"

namespace Agent {

namespace {

constexpr size_t kDeepest = 16;   // levels of a document that are followed; what lies deeper is ignored

bool holdsRoutes( std::string_view key ) noexcept {
   return key == "routes" || key == "receivedRoutes" || key == "advertisedRoutes";
}

/// Follows the parser through the document. Of a path it keeps where the present value stands: "nexthops[].ip".
class BgpDocument final : public JsonDocument {
 public:
   BgpDocument( EntryBytes & bytes, FormHandler & handler ) : JsonDocument( bytes ), handler_( handler ) {}

   /// Why the document could not be read, or not to its end; empty if it was.
   std::string finish() {
      if( fault_.empty() && hasMembers_ && !hasRoutes_ )
         fault_ = warning_.empty() ? "the object has no \"routes\"" : "\"warning\": " + printable( warning_, 200 );
      if( hasShortPaths_ ) handler_.handleRemark( "these routes have no communities and no tags; `show bgp ... json detail` prints them" );
      return std::move( fault_ );
   }

   // Called by the parser; false ends the parsing.
   bool null() { return value( {} ); }
   bool boolean( bool truth ) { return value( { .kind = JsonValue::Kind::truth, .truth = truth } ); }
   bool number_integer( Json::number_integer_t ) { return value( {} ); }   // negative numbers only
   bool number_float( Json::number_float_t, const std::string & ) { return value( {} ); }
   bool number_unsigned( Json::number_unsigned_t number ) { return value( { .kind = JsonValue::Kind::natural, .natural = number } ); }
   bool string( std::string & text ) { return value( { .kind = JsonValue::Kind::text, .text = text } ); }
   bool binary( Json::binary_t & ) { return value( {} ); }

   bool start_object( size_t ) {
      if( skipping() ) return skip();
      switch( level() ) {
         case Level::document: return enter( Level::scope );
         case Level::scope:
            if( holdsRoutes( key_ ) ) {
               hasRoutes_ = true;
               return enter( Level::prefixes );
            }
            return enter( Level::scope );
         case Level::prefixes:
         case Level::paths:
            frr_.clear();
            gobgp_.clear();
            at_.clear();
            if( level() == Level::prefixes ) hasOwnPaths_ = false;
            restartBytes();
            return enter( Level::path );
         case Level::path:
         case Level::object: return enter( Level::object );
         case Level::array: at_.resize( frames_.back().length ); return enter( Level::object );
      }
      return true;
   }

   bool end_object() {
      if( leaveSkipped() ) return true;
      const Level left = level();
      frames_.pop_back();
      if( left == Level::path && !( level() == Level::prefixes && hasOwnPaths_ ) ) finishPath();
      if( left == Level::object && level() == Level::array ) {
         at_.resize( frames_.back().length );
         gobgp_.elementEnds( at_ );
      }
      return true;
   }

   bool start_array( size_t ) {
      if( skipping() ) return skip();
      switch( level() ) {
         case Level::document: faultIs( "an object with routes is expected" ); return false;
         case Level::scope:
            if( key_.find( '/' ) != key_.npos )
               prefixIs( key_ );
            else if( key_ != "paths" )   // of a single prefix
               return skip();
            hasRoutes_ = true;
            return enter( Level::paths );
         case Level::prefixes: return enter( Level::paths );
         case Level::paths: broken( "not an object" ); return skip();
         case Level::path:
            if( at_ == "paths" && frames_[ frames_.size() - 2 ].level == Level::prefixes ) {
               hasOwnPaths_ = true;
               return enter( Level::paths );
            }
            break;
         case Level::object: break;
         case Level::array: at_.resize( frames_.back().length ); break;
      }
      at_ += "[]";
      return enter( Level::array );
   }

   bool end_array() {
      if( leaveSkipped() ) return true;
      frames_.pop_back();
      return true;
   }

   bool key( const std::string & text ) {
      if( skipping() ) return true;
      switch( level() ) {
         case Level::scope:
            hasMembers_ = true;
            key_ = text;
            restartBytes();
            break;
         case Level::prefixes:
            prefixIs( text );
            restartBytes();
            break;
         case Level::path:
         case Level::object:
            at_.resize( frames_.back().length );
            if( !at_.empty() ) at_ += '.';
            at_ += text;
            break;
         default: break;
      }
      return true;
   }

 private:
   // A scope is the whole document, or one VRF of it. A path is an object; objects and arrays below belong to it.
   enum class Level : uint8_t { document, scope, prefixes, paths, path, object, array };
   struct Frame {
      Level level;
      size_t length;   // of at_ in front of a member
   };

   Level level() const noexcept { return frames_.empty() ? Level::document : frames_.back().level; }
   bool enter( Level level ) {
      if( frames_.size() == kDeepest ) return skip();
      frames_.push_back( { level, at_.size() } );
      return true;
   }

   bool value( const JsonValue & value ) {
      if( skipping() ) return true;
      switch( level() ) {
         case Level::document: faultIs( "an object with routes is expected" ); return false;
         case Level::scope:
            if( key_ == "prefix" && value.isText() ) prefixIs( value.text );
            if( key_ == "warning" && value.isText() ) warning_ = value.text;
            break;
         case Level::prefixes: broken( "neither an array nor an object" ); break;
         case Level::paths: broken( "not an object" ); break;
         case Level::array: at_.resize( frames_.back().length ); [[fallthrough]];
         case Level::path:
         case Level::object:
            frr_.valueIs( at_, value );
            gobgp_.valueIs( at_, value );
            break;
      }
      return true;
   }

   void prefixIs( std::string_view text ) {
      prefixFault_.clear();
      prefixText_ = text.substr( 0, kLongestPrefix );
      prefix_ = parsePrefix( text, prefixFault_ );
   }

   void finishPath() {
      restartBytes();
      route_.clear();
      const LineResult result = gobgp_.isGiven() ? gobgp_.route( route_ ) : frr_.route( route_ );
      switch( result.kind ) {
         case LineResult::Kind::nothing: return;
         case LineResult::Kind::skipped: handler_.handleSkipped(); break;
         case LineResult::Kind::broken: return broken( result.reason );
         case LineResult::Kind::route:
            if( !prefix_ ) return broken( "" );
            route_.prefix = *prefix_;
            hasShortPaths_ |= frr_.isShort();
            handler_.handleRoute( route_ );
            break;
      }
      ++index_;
   }

   void broken( const std::string & reason ) {
      if( !prefix_ )
         handler_.handleBroken( index_, prefixFault_.empty() ? "no prefix" : prefixFault_ );
      else
         handler_.handleBroken( index_, printable( prefixText_, kLongestPrefix ) + ": " + reason );
      ++index_;
   }

   static constexpr size_t kLongestPrefix = 64;

   FormHandler & handler_;
   std::vector<Frame> frames_;
   std::string key_;   // of a scope
   std::string at_;
   std::string prefixText_;
   std::string prefixFault_;
   std::string warning_;
   std::optional<Ferule::IpGenPrefix> prefix_;
   FrrPath frr_;   // both read the path; what it has shows whose it is
   GobgpPath gobgp_;
   TableRoute route_;
   bool hasMembers_ = false;
   bool hasRoutes_ = false;
   bool hasOwnPaths_ = false;   // the present object of a prefix is not a path, but holds them
   bool hasShortPaths_ = false;
};

}   // namespace

std::string readBgpJson( TextReader & text, size_t maxEntry, FormHandler & handler ) {
   EntryBytes bytes{ text, maxEntry };
   BgpDocument document( bytes, handler );
   parseDocument( bytes, document );
   return document.finish();
}

}   // namespace Agent
