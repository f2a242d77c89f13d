/// @file compile/AclConfigSm.h
#pragma once

#include "compile/IpAclTypeConfigSm.h"

namespace Routing::Policy {

/// Compiles the access lists of a configuration, for the route maps that refer to them by the symbols of `dedupTable`.
///
///    auto lists = Zeugma::makeSm<AclConfigSm>( config, root->ipv4AclListTable(), clock );
///    ... edit `config`; clock->callDue() in the agent's own loop, as clock->untilNextCall() says ...
///
/// Lists of IPv4 alone are compiled here. The agent keeps the machine for as long as lists are to follow their configuration.
/// Threading: the activity thread.
class ROUTEPOLICY_API AclConfigSm final : public Zeugma::BaseOutputSm {
 public:
   /// Errors: a null ends the process.
   AclConfigSm( const Quoin::Ptr<const Acl::Input::Config> & config,
                const Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> & dedupTable,
                const Quoin::Ptr<Plinth::Clock> & clock );
   ~AclConfigSm() override;

   void formatDerivedType( std::ostream & os ) const override;
   /// All types, as they stand.
   void handleConfig();
   /// A type came or went.
   void handleConfig( Acl::AclType type );

   const Quoin::Ptr<const Acl::Input::Config> & config() const noexcept { return config_; }
   /// The symbols of the lists that there are, and of those whose type has gone.
   const Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable() const noexcept { return ipAclSymbolTable_; }

 private:
   void handleChangeMissed() override;
   void handleTypes( const Quoin::Change & change ) { handleConfig( Plinth::keyOf<Acl::AclType>( change ) ); }

   Quoin::Ptr<const Acl::Input::Config> config_;
   Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> dedupTable_;
   Quoin::Ptr<Plinth::Clock> clock_;
   Quoin::Ptr<Routing::RetiredTries> retiredTries_;
   Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> ipAclSymbolTable_;
   Zeugma::Reactor<AclConfigSm> configReactor_{ *this, &AclConfigSm::handleTypes };

   /// By the type of the lists.
   ZEUGMA_NESTED_SMS( ipConfigSm, Acl::AclType, IpAclTypeConfigSm );
};

}   // namespace Routing::Policy
