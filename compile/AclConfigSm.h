/// @file compile/AclConfigSm.h
#pragma once

#include "compile/IpAclTypeConfigSm.h"

namespace Routing::Policy {

/// Compiles the access lists of a configuration. It keeps one IpAclTypeConfigSm per type; route maps refer to the lists by the symbols of
/// `dedupTable`.
///
///    auto lists = Zeugma::makeSm<AclConfigSm>( config, root->ipv4AclListTable(), clock );
///    ... edit `config`; the loop of the agent calls clock->callDue() when clock->untilNextCall() has passed ...
///
/// Only IPv4 lists are compiled.
/// Ownership: the agent. Lists follow their configuration while the agent keeps the machine. Threading: the activity thread.
class ROUTEPOLICY_API AclConfigSm final : public Zeugma::BaseOutputSm {
 public:
   /// Errors: a null argument ends the process.
   AclConfigSm( const Quoin::Ptr<const Acl::Input::Config> & config,
                const Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> & dedupTable,
                const Quoin::Ptr<Plinth::Clock> & clock );
   ~AclConfigSm() override { stop(); }

   void formatDerivedType( std::ostream & os ) const override { os << "access-lists"; }
   /// Creates the machines of all configured types.
   void handleConfig();
   /// The reaction to a type that was created or deleted.
   void handleConfig( Acl::AclType type );

   const Quoin::Ptr<const Acl::Input::Config> & config() const noexcept { return config_; }
   /// The symbols of all configured lists, and of the lists whose type was deleted.
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

   /// The machines by type.
   ZEUGMA_NESTED_SMS( ipConfigSm, Acl::AclType, IpAclTypeConfigSm );
};

}   // namespace Routing::Policy
