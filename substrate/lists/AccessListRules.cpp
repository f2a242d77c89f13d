#include "substrate/lists/AccessListRules.h"

#include "substrate/lists/IpAccessListStatus.h"

namespace Routing::RouteMap {

using Ferule::IpAddr;

AccessListRules::~AccessListRules() = default;

AccessListRules::Prefix AccessListRules::plainPrefix( Number number ) const noexcept {
   const Rule & rule = ruleOf( number );
   return { rule.address, static_cast<unsigned>( std::popcount( maskOf( rule ).mask ) ) };
}

AccessListRules::Prefix AccessListRules::gappedPrefix( Number number ) const noexcept {
   const Rule & rule = ruleOf( number );
   return { rule.address & maskOf( rule ).mask, 32 };
}

// The place of a mask, which is added if it is new.
uint32_t AccessListRules::maskIs( uint32_t mask ) {
   const auto prefixOf = [ this ]( Number at ) { return Prefix{ masks_[ at ].mask, 32 }; };
   const Prefix asPrefix{ mask, 32 };
   if( const Number at = index_.longestMatch( maskRoot_, asPrefix, prefixOf ); at != kNone ) return at;
   const auto at = static_cast<uint32_t>( masks_.size() );
   const auto run = static_cast<unsigned>( std::countl_one( mask ) );
   const bool plain = mask == Prefix::maskOf( run );
   masks_.append( { mask, plain ? kNone : static_cast<uint32_t>( groups_.size() ) } );
   if( !plain ) groups_.append( { mask, run, kNone, static_cast<Number>( 2 * rules_.size() ) } );
   index_.add( maskRoot_, asPrefix, at, prefixOf );
   return at;
}

bool AccessListRules::add( const AclPrefixEntry & rule ) {
   const size_t place = rules_.size();
   if( place != 0 && rule.seqno <= rules_[ place - 1 ].seqno ) return false;
   QUOIN_ASSERT( rule.source.address().af() == Ferule::AddressFamily::ipv4, "source.af() == ipv4" );
   QUOIN_ASSERT( place < kNone / 2, "count() < kNone / 2" );
   const uint32_t permit = rule.permit == Acl::MatchPermit::permit;
   const uint32_t mask = maskIs( static_cast<uint32_t>( rule.source.mask().high >> 32 ) );
   rules_.append( { rule.seqno, rule.source.address().v4Addr().value(), 2 * mask + permit } );
   const auto number = static_cast<Number>( 2 * place + permit );
   if( const uint32_t group = masks_[ mask ].group; group == kNone )
      index_.add( plain_, plainPrefix( number ), number, [ this ]( Number n ) { return plainPrefix( n ); } );
   else
      index_.add( groups_[ group ].root, gappedPrefix( number ), number, [ this ]( Number n ) { return gappedPrefix( n ); } );
   return true;
}

void AccessListRules::trim() {
   rules_.trim();
   masks_.trim();
   groups_.trim();
   index_.trim();
}

AclPrefixEntry AccessListRules::rule( size_t at ) const noexcept {
   const Rule & rule = rules_[ at ];
   return { rule.seqno, Ferule::IpAddrWithFullMask{ IpAddr( rule.address ), IpAddr( maskOf( rule ).mask ) },
            rule.maskAndPermit & 1 ? Acl::MatchPermit::permit : Acl::MatchPermit::deny };
}

AccessListRules::Number AccessListRules::find( const Ferule::IpGenPrefix & asked ) const noexcept {
   const Prefix prefix{ asked.ipGenAddr().v4Addr().value(), asked.length() };
   Number best = index_.longestMatch( plain_, prefix, [ this ]( Number n ) { return plainPrefix( n ); } );
   for( size_t i = 0; i < groups_.size(); ++i ) {
      const Group & group = groups_[ i ];
      if( best < group.first ) break;
      if( group.run > prefix.length ) continue;
      const Prefix masked{ prefix.bits & group.mask, 32 };
      best = std::min( best, index_.longestMatch( group.root, masked, [ this ]( Number n ) { return gappedPrefix( n ); } ) );
   }
   return best;
}

std::optional<size_t> AccessListRules::governing( const Ferule::IpGenPrefix & asked ) const noexcept {
   const Number number = find( asked );
   return number != kNone ? std::optional<size_t>( number >> 1 ) : std::nullopt;
}

bool AccessListRules::permits( const Ferule::IpGenPrefix & asked ) const noexcept {
   const Number number = find( asked );
   return number != kNone && ( number & 1 );
}

Quoin::Ptr<PatriciaTrieWithNodeData> AccessListRules::makeTrie() const {
   auto trie = Quoin::makeNode<PatriciaTrieWithNodeData>( Ferule::AddressFamily::ipv4, false );
   for( size_t i = 0; i < count(); ++i ) addRule( *trie, rule( i ) );
   return trie;
}

bool AccessListRules::letGo() noexcept {
   return !( rules_.dropChunk() || masks_.dropChunk() || groups_.dropChunk() || index_.dropChunk() );
}

}   // namespace Routing::RouteMap
