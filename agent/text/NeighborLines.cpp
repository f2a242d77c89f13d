#include "text/NeighborLines.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "text/Operands.h"

namespace Agent {

using Ferule::AddressFamily;

namespace {

// "7.3.1" is before 7.4, the first version of FRR that requires a policy of external neighbors.
bool isBeforeEbgpRequiresPolicy( std::string_view version ) {
   unsigned major = 0, minor = 0;
   const char * const end = version.data() + version.size();
   const auto [ dot, error ] = std::from_chars( version.data(), end, major );
   if( error != std::errc() ) return false;
   if( dot != end ) std::from_chars( dot + 1, end, minor );
   return major < 7 || ( major == 7 && minor < 4 );
}

// The first words of lines that leave the stanza, beside "router".
constexpr std::string_view kOpeners[] = { "exit", "end", "vrf", "interface", "line", "key", "mpls", "bfd", "rpki", "segment-routing" };

constexpr std::pair<std::string_view, AddressFamily> kFamilies[] = { { "ipv4", AddressFamily::ipv4 }, { "ipv6", AddressFamily::ipv6 } };

}   // namespace

bool NeighborLines::read( LineCursor line ) {
   if( line.dialect() != Dialect::frr ) return false;
   if( line.takeWords( "frr" ) )
      readDefaults( line );
   else if( line.takeWords( "router" ) )
      openRouter( line );
   else if( router_ )
      return readInRouter( line );
   return false;
}

void NeighborLines::readDefaults( LineCursor & line ) {
   if( line.takeWords( "defaults datacenter" ) || ( line.takeWords( "version" ) && isBeforeEbgpRequiresPolicy( line.peek().text ) ) )
      ebgpRequiresPolicy_ = false;
}

void NeighborLines::openRouter( LineCursor & line ) {
   close();
   if( !line.takeWords( "bgp" ) ) return;
   const Token as = line.atEnd() ? Token() : line.take();
   std::string vrf;
   if( line.takeWords( "vrf" ) || line.takeWords( "view" ) ) vrf = line.take().text;
   const auto [ at, isNew ] = routers_.try_emplace( vrf );
   router_ = &at->second;
   if( isNew ) {
      router_->as = as.text;
      router_->ebgpRequiresPolicy = ebgpRequiresPolicy_;
   }
   leaveFamily();
}

bool NeighborLines::readInRouter( LineCursor & line ) {
   const LineCursor whole = line;
   const bool no = line.takeWords( "no" );
   if( line.takeWords( "neighbor" ) ) {
      readNeighbor( whole, line, no );
      return true;
   }
   if( line.takeWords( "bgp" ) )
      readBgp( line, no );
   else if( line.takeWords( "address-family" ) )
      readFamily( line );
   else if( line.takeWords( "exit-address-family" ) || ( inFamily_ && line.takeWords( "exit" ) ) )
      leaveFamily();
   else if( std::ranges::find( kOpeners, whole.peek().text ) != std::end( kOpeners ) )
      close();
   return false;
}

void NeighborLines::readFamily( LineCursor & line ) {
   inFamily_ = true;
   family_.reset();
   for( const auto & [ word, af ] : kFamilies )
      if( line.takeWords( word ) && ( line.atEnd() || line.takeWords( "unicast" ) ) ) family_ = af;
}

void NeighborLines::leaveFamily() noexcept {
   inFamily_ = false;
   family_ = AddressFamily::ipv4;   // lines outside of a family are of this one
}

void NeighborLines::readBgp( LineCursor & line, bool no ) {
   if( line.takeWords( "ebgp-requires-policy" ) ) router_->ebgpRequiresPolicy = !no;
   if( line.takeWords( "default ipv4-unicast" ) ) router_->activeByDefault[ 0 ] = !no;
   if( line.takeWords( "default ipv6-unicast" ) ) router_->activeByDefault[ 1 ] = !no;
}

void NeighborLines::readNeighbor( const LineCursor & whole, LineCursor & line, bool no ) {
   const std::string name = neighborName( line.take().text );
   LineCursor behind = line;
   const std::string_view word = behind.take().text;
   if( word == "remote-as" || word == "peer-group" || word == "interface" || ( no && word.empty() ) ) {
      if( !no ) return create( name, line );
      if( Neighbor * const member = router_->find( name ); word == "peer-group" && !behind.atEnd() ) {
         if( member && leaveGroup( *member ) ) remove( name );
         return;
      }
      if( word == "interface" && parseAddress( name ) ) return;   // where the session begins
      return remove( name );
   }
   Neighbor * const neighbor = router_->find( name );
   if( !neighbor || !family_ ) return;
   if( line.takeWords( "activate" ) ) return setActive( name, *neighbor, !no );
   for( const auto & form : kFilterForms )
      if( line.takeWords( form.word ) ) return setFilter( whole, line, form, *neighbor, no );
}

void NeighborLines::create( const std::string & name, LineCursor & line ) {
   const auto [ at, isNew ] = router_->neighbors.try_emplace( name );
   Neighbor & neighbor = at->second;
   if( isNew )
      for( size_t family = 0; family < neighbor.families.size(); ++family )
         neighbor.families[ family ].activeByDefault = router_->activeByDefault[ family ];
   line.takeWords( "interface" );
   line.takeWords( "v6only" );
   if( line.takeWords( "peer-group" ) ) {
      if( line.atEnd() )
         neighbor.isGroup = true;
      else
         join( neighbor, std::string( line.take().text ) );
   }
   if( line.takeWords( "remote-as" ) ) neighbor.remoteAs = line.take().text;
}

void NeighborLines::join( Neighbor & neighbor, const std::string & group ) {
   const Neighbor * const found = router_->find( group );
   if( !found || !found->isGroup ) return;
   neighbor.group = group;
   for( size_t family = 0; family < neighbor.families.size(); ++family )
      if( found->families[ family ].active ) neighbor.families[ family ].active.reset();
}

// Also of a peer group.
void NeighborLines::remove( const std::string & name ) {
   auto & all = router_->neighbors;
   for( auto at = all.begin(); at != all.end(); ) {
      const bool goes = at->first == name || ( at->second.group == name && leaveGroup( at->second ) );
      at = goes ? all.erase( at ) : std::next( at );
   }
}

// Returns whether the neighbor is deleted with that: it had its AS from the group.
bool NeighborLines::leaveGroup( Neighbor & neighbor ) {
   neighbor.group.clear();
   return neighbor.remoteAs.empty();
}

// The line of a peer group also replaces the earlier lines of its members.
void NeighborLines::setActive( const std::string & name, Neighbor & neighbor, bool active ) {
   neighbor.family( *family_ ).active = active;
   for( auto & [ _, member ] : router_->neighbors )
      if( member.group == name ) member.family( *family_ ).active.reset();
}

void NeighborLines::setFilter( const LineCursor & whole, LineCursor & line, const FilterForm & form, Neighbor & neighbor, bool no ) {
   const Token name = line.take();
   for( const Direction direction : kDirections ) {
      if( !line.takeWords( nameOf( direction ) ) ) continue;
      if( !line.atEnd() ) return doubts_.refused( whole, "a word stands behind the direction" );
      if( !no && form.excludes && !( router_->filters( neighbor, *family_, direction ).*form.excludes ).empty() )
         return doubts_.refused( whole, "a neighbor has a distribute list or a prefix list, not both" );
      neighbor.family( *family_ ).of( direction ).*form.name = no ? std::string_view() : name.text;
      return;
   }
   doubts_.refused( whole, "behind the name stands neither \"in\" nor \"out\"" );
}

}   // namespace Agent
