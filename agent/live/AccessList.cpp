#include "live/AccessList.h"

#include <utility>

namespace Agent {

namespace {

using Compares = AccessListLine::Compares;

bool hasBitsUnderWildcard( const Ferule::IpGenAddrWithFullMask & source ) {
   return !( source.address().bits() & ~source.mask() ).none();
}

}   // namespace

AccessList::AccessList( const Quoin::String & name, const AccessListText & text ) : IpAccessListStatus( name ) {
   if( !text.lines.empty() ) af_ = text.lines.begin()->second.source.address().af();
   std::map<std::pair<Ferule::Bits128, Lengths>, size_t> indices;   // of the groups
   for( const auto & [ number, line ] : text.lines ) {
      const Lengths lengths = lengthsOf( line );
      const auto [ at, isNew ] = indices.try_emplace( { line.source.mask(), lengths }, groups_.size() );
      if( isNew ) groups_.push_back( { line.source.mask(), lengths, number, {} } );
      groups_[ at->second ].lines.try_emplace( line.source.address().bits() & line.source.mask(),
                                               Line{ number, line.action == MatchPermit::permit } );
   }
}

// The lengths of the prefixes that the line can match.
AccessList::Lengths AccessList::lengthsOf( const AccessListLine & line ) {
   Lengths lengths{};
   if( line.compares == Compares::address && hasBitsUnderWildcard( line.source ) ) return lengths;
   if( line.netmask && hasBitsUnderWildcard( *line.netmask ) ) return lengths;
   const unsigned own = line.source.leadingOnesOfMask();
   for( unsigned length = 0; length <= Ferule::addressBits( line.source.address().af() ); ++length ) {
      if( length < own && line.compares != Compares::address ) continue;
      if( length > own && line.compares == Compares::exact ) continue;
      if( line.netmask && !( ( line.netmask->address().bits() ^ Ferule::Bits128::leadingOnes( length ) ) & line.netmask->mask() ).none() )
         continue;
      lengths[ length / 64 ] |= uint64_t( 1 ) << length % 64;
   }
   return lengths;
}

bool AccessList::permits( const Ferule::IpGenPrefix & prefix ) const {
   if( prefix.af() != af_ ) return false;
   const unsigned length = prefix.length();
   const Line * found = nullptr;
   for( const auto & group : groups_ ) {
      if( found && group.lowest > found->number ) break;
      if( ( group.lengths[ length / 64 ] >> length % 64 & 1 ) == 0 ) continue;
      const auto at = group.lines.find( prefix.ipGenAddr().bits() & group.mask );
      if( at != group.lines.end() && ( !found || at->second.number < found->number ) ) found = &at->second;
   }
   return found && found->permits;
}

}   // namespace Agent
