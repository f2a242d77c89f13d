#include "compile/IpAclTypeConfigSm.h"

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using Ferule::AddressFamily;
using Routing::RouteMap::AllIpAccessListSymbol;
using Routing::RouteMap::IpAccessListStatus;
using Routing::RouteMap::IpAccessListSymbolDedupTable;

namespace {

const Plinth::TraceHandle trace( "IpAclTypeConfigSm" );

}   // namespace

IpAclTypeConfigSm::IpAclTypeConfigSm( const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig,
                                      const Quoin::Ptr<AllIpAccessListSymbol> & ipAclSymbolTable,
                                      const Quoin::Ptr<const IpAccessListSymbolDedupTable> & dedupTable,
                                      const Quoin::Ptr<Plinth::Clock> & clock, const Quoin::Ptr<Routing::RetiredTries> & retiredTries )
      : ipConfig_( ipConfig ),
        ipAclSymbolTable_( ipAclSymbolTable ),
        dedupTable_( dedupTable ),
        clock_( clock ),
        retiredTries_( retiredTries ) {
   QUOIN_ASSERT( ipConfig_, "ipConfig()" );
   QUOIN_ASSERT( ipAclSymbolTable_, "ipAclSymbolTable()" );
   QUOIN_ASSERT( dedupTable_, "dedupTable()" );
   QUOIN_ASSERT( clock_, "clock()" );
   if( !retiredTries_ ) retiredTries_ = Quoin::makeNode<Routing::RetiredTries>( clock_ );
   ipConfigReactor_.notifierIs( ipConfig_ );
   handleIpAccessList();
}

// Handles each list that was created, deleted or replaced since the lists were read.
void IpAclTypeConfigSm::handleChangeMissed() {
   for( auto i = ipAccessListConfigSm().first(); i; i.next() )
      if( !ipConfig_->acl().find( i.key() ) ) handleIpAccessList( Quoin::String( i.key() ) );
   for( auto i = ipConfig_->acl().first(); i; i.next() ) {
      const auto sm = ipAccessListConfigSm_.find( i.key() );
      if( !sm || sm->ipAccessList() != i.value() ) handleIpAccessList( Quoin::String( i.key() ) );
   }
}

void IpAclTypeConfigSm::handleIpAccessList() {
   for( auto i = ipConfig_->acl().first(); i; i.next() ) handleIpAccessList( Quoin::String( i.key() ) );
}

void IpAclTypeConfigSm::handleIpAccessList( const Quoin::String & name ) {
   if( const auto list = ipConfig_->acl( name ) ) return addIpAccessList( name, list );
   if( name == kControlPlaneAcl ) {
      PLINTH_TRACE( trace, level8 ) << " ignoring ipAccess-list: " << name;
      return;
   }
   deleteIpAccessList( name );
}

void IpAclTypeConfigSm::addIpAccessList( const Quoin::String & name, const Quoin::Ptr<const Acl::AclConfig> & list ) {
   if( name == kControlPlaneAcl ) return;
   QUOIN_ASSERT( list, "ipAccessList" );
   // A subscriber may delete or replace the list; that change is then already handled.
   const auto configured = ipConfig_->acl( name );
   const auto isStill = [ & ] { return !zombieReactors() && ipConfig_->acl( name ) == configured; };
   const auto symbol = dedupTable_->symbol( name );   // first, since a machine without a symbol cannot publish
   const Quoin::Ptr<const Acl::AclConfig> followed = configured ? Quoin::Ptr<const Acl::AclConfig>( configured ) : list;
   const auto sm = ipAccessListConfigSm_.find( name );
   if( !sm || sm->ipAccessList() != followed ) {   // a replaced list needs a new machine
      const auto made = Zeugma::makeSm<IpAclConfigSm>( name, ipConfig_, ipAclSymbolTable_, followed, clock_, retiredTries_ );
      if( !isStill() ) return;
      ipAccessListConfigSm_.put( name, made );
   }
   ipAclSymbolTable_->symbolIs( symbol );
   if( !isStill() ) return;
   const auto status = Quoin::makeNode<IpAccessListStatus>( name );
   status->trieIs( Quoin::makeNode<Routing::PatriciaTrieWithNodeData>( AddressFamily::ipv4, false ) );
   symbol->statusIs( status );
}

void IpAclTypeConfigSm::deleteIpAccessList( const Quoin::String & name ) {
   const auto symbol = ipAclSymbolTable_->symbol( name );
   if( !symbol ) return;
   symbol->statusIs( nullptr );
   if( const auto notifier = symbol->notifier() ) notifier->versionInc( 1 );
   // A subscriber may configure the list again, which gives the symbol a status, or delete and create the whole type.
   const auto isGone = [ & ] { return zombieReactors() ? !symbol->status() : !ipConfig_->acl().find( name ); };
   if( isGone() ) ipAclSymbolTable_->symbolDel( name );
   if( isGone() && !zombieReactors() ) ipAccessListConfigSm_.erase( name );
}

}   // namespace Routing::Policy
