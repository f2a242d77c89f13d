/// @file bench/AccessLists.h
/// Access lists for benchmarks, and the machines that compile them.
#pragma once

#include <string>

#include "bench/Tables.h"
#include "compile/AclConfigSm.h"

namespace Bench {

using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::IpAccessListStatus;

/// Whether the rule of the prefix with index `i` permits: every third rule denies.
inline bool permitsAt( size_t i ) {
   return i % 3 != 2;
}

using Sources = std::vector<Ferule::IpAddrWithFullMask>;

inline Sources sourcesOf( const Prefixes & prefixes ) {
   Sources sources;
   for( const auto & p : prefixes )
      sources.push_back(
         { p.ipGenAddr().v4Addr(), Ferule::IpAddr( static_cast<uint32_t>( Bits128::leadingOnes( p.length() ).high >> 32 ) ) } );
   return sources;
}

/// The rules of a list: one rule per source, in the order of the sources.
inline Ptr<const Acl::AclVersion> versionOf( const Sources & sources ) {
   auto version = makeNode<Acl::AclVersion>();
   for( size_t i = 0; i < sources.size(); ++i ) {
      const auto id = static_cast<uint32_t>( i );
      version->ipRuleIs(
         id, { .action = permitsAt( i ) ? Acl::RuleAction::permit : Acl::RuleAction::deny, .filter = { .source = sources[ i ] } } );
      version->ruleBySequenceIs( 10 * ( id + 1 ), id );
   }
   return version;
}

/// One access list and the machine that compiles it.
class CompiledAcl {
 public:
   explicit CompiledAcl( const Prefixes & prefixes ) : CompiledAcl( sourcesOf( prefixes ) ) {}
   explicit CompiledAcl( const Sources & sources ) {
      types->aclTypeIs( Acl::AclType::ipv4 )->aclIs( "ACL" )->currVersionIs( versionOf( sources ) );
      machine = Zeugma::makeSm<Routing::Policy::AclConfigSm>( types, table, clock );
      run();
   }
   /// Compiles until no work is due. Returns the number of slices.
   size_t run() {
      size_t slices = 0;
      for( ; clock->untilNextCall() == Plinth::Clock::Seconds( 0 ); ++slices ) {
         const auto begun = clock->now();
         clock->callDue();
         longestSlice = std::max( longestSlice, clock->now() - begun );
      }
      return slices;
   }
   /// Starts the compilation again.
   void restart() const {
      ( *( *machine->ipConfigSm().find( Acl::AclType::ipv4 ) )->ipAccessListConfigSm().find( "ACL" ) )->handleIpAccessListVersion();
   }
   Ptr<const IpAccessListStatus> status() const { return table->symbol( "ACL" )->status(); }

   const Ptr<Acl::Input::Config> types = makeNode<Acl::Input::Config>();
   const Ptr<Routing::RouteMap::IpAccessListSymbolDedupTable> table = makeNode<Routing::RouteMap::IpAccessListSymbolDedupTable>();
   const Ptr<Plinth::RealClock> clock = makeNode<Plinth::RealClock>();
   Ptr<Routing::Policy::AclConfigSm> machine;
   Plinth::Clock::Seconds longestSlice{ 0 };
};

}   // namespace Bench
