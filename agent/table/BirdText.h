/// @file agent/table/BirdText.h
/// Routes as `birdc show route all` prints them, for any number of tables:
///
///    BIRD 2.0.12 ready.
///    Table master4:
///    198.51.100.0/24      unicast [PEER1 16:32:59.868 from 192.0.2.1] * (100) [AS65002i]
///            via 192.0.2.1 on eth0
///            Type: BGP univ
///            BGP.as_path: 65001 65002
///            BGP.next_hop: 192.0.2.1
///            BGP.med: 70
///            BGP.local_pref: 100
///            BGP.community: (65001,1) (65535,65281)
///                           unicast [PEER2 16:32:59.864 from 192.0.2.2] (100) [AS65002i]
///            ...
///
/// A line that does not begin with a tab begins a route; without a prefix, one of the same prefix. The lines of its attributes begin with
/// one tab, and their continuations with two. The next hop is that of BGP, or of the first "via"; the metric is the MED. The last AS of the
/// path becomes the tag, as with BgpdumpLine.h. Attributes of other protocols are not read. The peer of a BGP route is the address behind
/// "from"; the daemon leaves it out if it is that of the first "via".
///
/// A route is passed on when it is complete: when the next one begins. A broken line breaks its route, and is reported once.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "table/FormHandler.h"
#include "table/LineResult.h"
#include "table/TableRoute.h"

namespace Agent {

/// Whether a table with this first line has this form.
bool looksLikeBird( std::string_view line ) noexcept;

class BirdText {
 public:
   explicit BirdText( FormHandler & handler ) noexcept : handler_( handler ) {}

   void lineIs( uint64_t number, std::string_view line );
   /// A line that cannot be read.
   void brokenLineIs( uint64_t number, const std::string & reason );
   /// The table ends. `fault` says why it was cut short; the last route may lack attributes then, and is broken.
   void finish( const std::string & fault );

 private:
   enum class Attribute : uint8_t { other, asPath, communities, largeCommunities, extCommunities };

   void beginRoute( std::string_view line );
   void readFrom( std::string_view origin );
   void readVia( std::string_view line );
   void readAttribute( std::string_view name, std::string_view value );
   void readSource( std::string_view value );
   void readAsPath( std::string_view value );
   void readCommunities( std::string_view value );
   void readLargeCommunities( std::string_view value );
   void readExtCommunities( std::string_view value );
   void readNumber( std::optional<uint32_t> & number, const char * name, std::string_view value );
   void faultIs( std::string fault );
   void finishRoute();

   FormHandler & handler_;
   uint64_t number_ = 0;   // of the present line
   std::optional<Ferule::IpGenPrefix> prefix_;
   TableRoute route_;
   bool hasRoute_ = false;   // route_ has begun
   bool hasType_ = false;    // it has attributes
   bool hasFrom_ = false;
   bool hasVia_ = false;
   bool hasBgpNextHop_ = false;
   bool hasRemark_ = false;
   Attribute last_ = Attribute::other;   // that a continuation belongs to
   std::optional<uint32_t> metric_;
   Ferule::IpGenAddr from_;
   Ferule::IpGenAddr via_;
   std::string fault_;   // of the route; the first one
   uint64_t faultNumber_ = 0;
};

}   // namespace Agent
