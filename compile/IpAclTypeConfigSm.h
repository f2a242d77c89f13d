/// @file compile/IpAclTypeConfigSm.h
#pragma once

#include "compile/IpAclConfigSm.h"

namespace Routing::Policy {

/// Keeps a symbol and a machine for each access list of one type. Threading: the activity thread.
class ROUTEPOLICY_API IpAclTypeConfigSm final : public Zeugma::BaseOutputSm {
 public:
   /// A list of that name is for the agent itself, and never reaches route maps.
   static constexpr const char * kControlPlaneAcl = "default-control-plane-acl";

   /// Lists' symbols are those of `dedupTable`. They stand in `ipAclSymbolTable` from the coming of a list to its going; where the whole
   /// type goes, they stay there with what they have. Without `retiredTries`, the machine makes one for its lists. Errors: another null
   /// ends the process.
   IpAclTypeConfigSm( const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig,
                      const Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable,
                      const Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> & dedupTable,
                      const Quoin::Ptr<Plinth::Clock> & clock, const Quoin::Ptr<Routing::RetiredTries> & retiredTries = nullptr );
   ~IpAclTypeConfigSm() override;

   void formatDerivedType( std::ostream & os ) const override;
   /// All lists, as if each had just come.
   void handleIpAccessList();
   /// A list came or went.
   void handleIpAccessList( const Quoin::String & name );
   /// Leaves the list empty for route maps, until a compilation has ended. One that has a machine already, with nothing to compile, is
   /// empty until its next change. Errors: a null list ends the process.
   void addIpAccessList( const Quoin::String & name, const Quoin::Ptr<const Acl::AclConfig> & list );

   const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig() const noexcept { return ipConfig_; }
   const Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable() const noexcept { return ipAclSymbolTable_; }

 private:
   void handleChangeMissed() override;
   void handleIpConfig( const Quoin::Change & change );
   void deleteIpAccessList( const Quoin::String & name );

   Quoin::Ptr<const Acl::Input::AclTypeConfig> ipConfig_;
   Quoin::Ptr<Routing::RouteMap::AllIpAccessListSymbol> ipAclSymbolTable_;
   Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> dedupTable_;
   Quoin::Ptr<Plinth::Clock> clock_;
   Quoin::Ptr<Routing::RetiredTries> retiredTries_;
   Zeugma::Reactor<IpAclTypeConfigSm> ipConfigReactor_{ *this, &IpAclTypeConfigSm::handleIpConfig };

   /// By the list's name.
   ZEUGMA_NESTED_SMS( ipAccessListConfigSm, Quoin::String, IpAclConfigSm );
};

}   // namespace Routing::Policy
