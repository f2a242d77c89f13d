#include "dialect/NeighborMap.h"

#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "text/Printable.h"

namespace Agent {

namespace {

struct Family {
   AddressFamily af;
   std::string_view name;   // also of the list that all its prefixes match
   PolicyText::ByName<AccessListText> PolicyText::*accessLists;
   PolicyText::ByName<PrefixListText> PolicyText::*prefixLists;
   MatchOption accessList;
   MatchOption prefixList;
};
constexpr Family kIpv4{ AddressFamily::ipv4,
                        "ipv4 unicast",
                        &PolicyText::ipv4AccessLists,
                        &PolicyText::ipv4PrefixLists,
                        MatchOption::matchIpAccessList,
                        MatchOption::matchIpPrefixList };
constexpr Family kIpv6{ AddressFamily::ipv6,          "ipv6 unicast",       &PolicyText::ipv6AccessLists,
                        &PolicyText::ipv6PrefixLists, kMatchIpv6AccessList, MatchOption::matchIpv6PrefixList };

/// Writes the sequences, in the order of their numbers.
class Sequences {
 public:
   explicit Sequences( const PolicyText & text ) : text_( text ) {}

   /// Calls `write( family )` for both families, to write the sequences that IPv4 and IPv6 routes come to.
   template <class Write>
   RouteMapText run( Write write ) {
      add( MatchPermit::permit ).match[ kIpv4.prefixList ].name = kIpv4.name;
      continueTo( 2 );
      SequenceText & ipv6 = add( MatchPermit::permit );
      write( kIpv4 );
      ipv6.continueTo = ContinueClause{ next(), {} };
      write( kIpv6 );
      return std::move( map_ );
   }

   SequenceText & add( MatchPermit action, std::string description = {} ) {
      SequenceText & sequence = map_.sequences[ next() ];
      sequence.action = action;
      sequence.description = std::move( description );
      return sequence;
   }

   /// Permits by the end what passes all filters. `passed` describes that end, `described( form )` the filter of that form.
   template <class Described>
   void filter( const Family & family, const NeighborFilters & filters, const std::string & passed, Described described ) {
      const auto list = [ & ]( const FilterForm & form, const auto & lists, MatchOption option ) {
         if( const std::string & name = filters.*form.name; !name.empty() ) filterByList( name, described( form ), lists, option );
      };
      const auto & [ access, prefix, asPath, routeMap ] = kFilterForms;
      list( access, text_.*family.accessLists, family.accessList );
      list( prefix, text_.*family.prefixLists, family.prefixList );
      list( asPath, text_.asPathLists, MatchOption::matchAsPath );
      const std::string & name = filters.routeMap;
      if( name.empty() )
         add( MatchPermit::permit, passed );
      else if( text_.routeMaps.contains( name ) )
         add( MatchPermit::permit, described( routeMap ) ).call = CallClause{ name, false, {} };
      else
         add( MatchPermit::deny, described( routeMap ) + kUndefined );
   }

 private:
   static constexpr const char * kUndefined = ", which is undefined";

   uint32_t next() const { return static_cast<uint32_t>( map_.sequences.size() + 1 ); }
   // Behind the newest sequence, goes on `count` sequences later.
   void continueTo( uint32_t count ) { map_.sequences.rbegin()->second.continueTo = ContinueClause{ next() - 1 + count, {} }; }

   template <class Lists>
   void filterByList( const std::string & name, std::string description, const Lists & lists, MatchOption option ) {
      const auto at = lists.find( name );
      if( at == lists.end() ) {
         add( MatchPermit::deny, std::move( description ) + kUndefined );
         return;
      }
      if( at->second.lines.empty() ) return;   // a prefix list with a description only permits all
      add( MatchPermit::permit, description ).match[ option ].name = name;
      continueTo( 2 );
      add( MatchPermit::deny, std::move( description ) );
   }

   const PolicyText & text_;
   RouteMapText map_;
};

// A prefix list that all IPv4 prefixes match.
void addIpv4List( PolicyText & text ) {
   PrefixListLine & any = text.ipv4PrefixLists[ std::string( kIpv4.name ) ].lines[ 1 ];
   any.prefix = Ferule::IpGenPrefix( Ferule::IpGenAddr( AddressFamily::ipv4 ), 0 );
   any.le = Ferule::addressBits( AddressFamily::ipv4 );
}

}   // namespace

void addNeighborMap( PolicyText & text, const std::string & name, const BgpRouter & router, const std::string & neighbor,
                     Direction direction ) {
   const Neighbor & who = *router.find( neighbor );
   const std::string whose = fmt::format( "neighbor {}", printableName( neighbor ) );
   Sequences sequences( text );
   text.routeMaps[ name ] = sequences.run( [ & ]( const Family & family ) {
      const NeighborFilters filters = router.filters( who, family.af, direction );
      const auto here = [ & ]( std::string_view what ) { return fmt::format( "{} ({}, {})", what, family.name, nameOf( direction ) ); };
      if( !router.isActive( who, family.af ) )
         sequences.add( MatchPermit::deny, fmt::format( "{}, where {} is not active", whose, family.name ) );
      else if( filters == NeighborFilters() && router.ebgpRequiresPolicy && router.isExternal( who ) )
         sequences.add( MatchPermit::deny, here( "bgp ebgp-requires-policy" ) );
      else
         sequences.filter( family, filters, here( whose ), [ & ]( const FilterForm & form ) {
            return here( fmt::format( "{} {}", form.word, printableName( filters.*form.name ) ) );
         } );
   } );
   addIpv4List( text );
}

void addFilterMap( PolicyText & text, const std::string & name, const NeighborFilters & filters ) {
   Sequences sequences( text );
   text.routeMaps[ name ] = sequences.run( [ & ]( const Family & family ) {
      std::string description = fmt::format( "{} ({})", printableName( name ), family.name );
      sequences.filter( family, filters, description, [ & ]( const FilterForm & ) { return description; } );
   } );
   addIpv4List( text );
}

}   // namespace Agent
