#include "compile/AclConfigSm.h"

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using Acl::AclType;
using Routing::RouteMap::AllIpAccessListSymbol;

namespace {

const Plinth::TraceHandle trace( "AclConfigSm" );

}   // namespace

AclConfigSm::AclConfigSm( const Quoin::Ptr<const Acl::Input::Config> & config,
                          const Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> & dedupTable,
                          const Quoin::Ptr<Plinth::Clock> & clock )
      : config_( config ), dedupTable_( dedupTable ), clock_( clock ), ipAclSymbolTable_( Quoin::makeNode<AllIpAccessListSymbol>() ) {
   QUOIN_ASSERT( config_, "config()" );
   QUOIN_ASSERT( dedupTable_, "dedupTable()" );
   QUOIN_ASSERT( clock_, "clock()" );
   retiredTries_ = Quoin::makeNode<Routing::RetiredTries>( clock_ );
   configReactor_.notifierIs( config_ );
   handleConfig();
}

void AclConfigSm::handleChangeMissed() {
   const auto known = ipConfigSm_.find( AclType::ipv4 );
   const auto type = config_->aclType( AclType::ipv4 );
   if( !type || !known || known->ipConfig() != type ) handleConfig( AclType::ipv4 );
}

void AclConfigSm::handleConfig() {
   for( auto i = config_->aclType().first(); i; i.next() ) handleConfig( i.key() );
}

void AclConfigSm::handleConfig( AclType type ) {
   if( type != AclType::ipv4 ) {
      PLINTH_TRACE( trace, level8 ) << " not instantiating SM for type " << type;
      return;
   }
   const auto typeConfig = config_->aclType( type );
   if( !typeConfig ) {
      ipConfigSm_.erase( type );   // the symbols of its lists keep their status
      return;
   }
   const auto sm = Zeugma::makeSm<IpAclTypeConfigSm>( typeConfig, ipAclSymbolTable_, dedupTable_, clock_, retiredTries_ );
   if( config_->aclType( type ) == typeConfig ) ipConfigSm_.put( type, sm );   // a subscriber of the lists may have deleted the type
}

}   // namespace Routing::Policy
