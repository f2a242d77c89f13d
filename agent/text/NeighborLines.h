/// @file agent/text/NeighborLines.h
/// Reads the stanza "router bgp", as far as it says which lists and route maps filter the routes of a neighbor.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "text/Doubts.h"
#include "text/LineCursor.h"
#include "text/Neighbors.h"

namespace Agent {

/// Only the dialect of FRR has it. Lines that it does not know, or that bgpd would refuse, change nothing. Indentation means nothing: words
/// open and close a stanza.
class NeighborLines {
 public:
   using Routers = std::map<std::string, BgpRouter>;   // by VRF; "" is the default one
   /// Both outlive this. Nothing else changes the routers meanwhile.
   NeighborLines( Routers & routers, Doubts & doubts ) : routers_( routers ), doubts_( doubts ) {}
   NeighborLines( const NeighborLines & ) = delete;
   NeighborLines & operator=( const NeighborLines & ) = delete;

   void startFile() noexcept {
      close();
      ebgpRequiresPolicy_ = true;
   }
   /// Call it for each line that defines no list and no route map. Returns whether it is a line of a neighbor.
   bool read( LineCursor line );
   /// Call it for a line that does, which ends the stanza.
   void close() noexcept { router_ = nullptr; }

 private:
   void readDefaults( LineCursor & line );
   void openRouter( LineCursor & line );
   bool readInRouter( LineCursor & line );
   void readFamily( LineCursor & line );
   void leaveFamily() noexcept;
   void readBgp( LineCursor & line, bool no );
   void readNeighbor( const LineCursor & whole, LineCursor & line, bool no );
   void create( const std::string & name, LineCursor & line );
   void join( Neighbor & neighbor, const std::string & group );
   void remove( const std::string & name );
   static bool leaveGroup( Neighbor & neighbor );
   void setActive( const std::string & name, Neighbor & neighbor, bool active );
   void setFilter( const LineCursor & whole, LineCursor & line, const FilterForm & form, Neighbor & neighbor, bool no );

   Routers & routers_;
   Doubts & doubts_;
   bool ebgpRequiresPolicy_ = true;                // of the routers of this file that say nothing
   BgpRouter * router_ = nullptr;                  // the open one
   bool inFamily_ = false;                         // in an address family of the router
   std::optional<Ferule::AddressFamily> family_;   // whose lines are read; empty: another family, as multicast
};

}   // namespace Agent
