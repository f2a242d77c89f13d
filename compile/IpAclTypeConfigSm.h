/// @file compile/IpAclTypeConfigSm.h
#pragma once

#include "compile/IpAclConfigSm.h"

namespace Routing::Policy {

/// Keeps a symbol and a machine for each access list of one type. AclConfigSm owns this machine, and this machine owns one IpAclConfigSm
/// per list.
/// Threading: the activity thread.
class ROUTEPOLICY_API IpAclTypeConfigSm final : public Zeugma::BaseOutputSm {
 public:
   /// The name of an access list that is for the agent itself. Route maps cannot refer to it.
   static constexpr const char * kControlPlaneAcl = "default-control-plane-acl";

   /// The symbols of the lists come from `dedupTable`. `ipAclSymbolTable` holds the symbol of each configured list; if the whole type is
   /// deleted, the symbols stay in the table with their status. If `retiredTries` is null, the machine creates one for its lists. Errors:
   /// any other null argument ends the process.
   IpAclTypeConfigSm( const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig,
                      const Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable,
                      const Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> & dedupTable,
                      const Quoin::Ptr<Plinth::Clock> & clock, const Quoin::Ptr<Routing::RetiredTries> & retiredTries = nullptr );
   ~IpAclTypeConfigSm() override { stop(); }

   void formatDerivedType( std::ostream & os ) const override { os << "access-lists: " << ipConfig_->type(); }
   /// Adds all configured lists.
   void handleIpAccessList();
   /// The reaction to a list that was created or deleted.
   void handleIpAccessList( const Quoin::String & name );
   /// Adds a list, which is empty for route maps until its first compilation has ended. If the list already has a machine, and the machine
   /// has nothing to compile, the list is empty until its next change. Errors: a null list ends the process.
   void addIpAccessList( const Quoin::String & name, const Quoin::Ptr<const Acl::AclConfig> & list );

   const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig() const noexcept { return ipConfig_; }
   const Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable() const noexcept { return ipAclSymbolTable_; }

 private:
   void handleChangeMissed() override;
   void handleIpConfig( const Quoin::Change & change ) { handleIpAccessList( Quoin::String( Plinth::keyOf<Quoin::String>( change ) ) ); }
   void deleteIpAccessList( const Quoin::String & name );

   Quoin::Ptr<const Acl::Input::AclTypeConfig> ipConfig_;
   Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> ipAclSymbolTable_;
   Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> dedupTable_;
   Quoin::Ptr<Plinth::Clock> clock_;
   Quoin::Ptr<Routing::RetiredTries> retiredTries_;
   Zeugma::Reactor<IpAclTypeConfigSm> ipConfigReactor_{ *this, &IpAclTypeConfigSm::handleIpConfig };

   /// The machines by the name of their list.
   ZEUGMA_NESTED_SMS( ipAccessListConfigSm, Quoin::String, IpAclConfigSm );
};

}   // namespace Routing::Policy
