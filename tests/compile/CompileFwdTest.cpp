#include "compile/CompileFwd.h"

// What an agent's own header may say behind that include alone.
namespace FwdAgent {

using MachinePtr = Quoin::Ptr<Routing::Policy::RouteMapConfigSm>;
MachinePtr compileAll( const Quoin::Ptr<Routing::RouteMap::Config> & config, const Quoin::Ptr<Routing::Policy::PolicyRoot> & root );

}   // namespace FwdAgent

#include <gtest/gtest.h>

#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"

// The same names, now defined.
FwdAgent::MachinePtr FwdAgent::compileAll( const Quoin::Ptr<Routing::RouteMap::Config> & config,
                                           const Quoin::Ptr<Routing::Policy::PolicyRoot> & root ) {
   using namespace Routing::Policy;
   return routeMapConfigSmFactory( config, Quoin::makeNode<Routing::RouteMap::Config>(), root,
                                   Quoin::makeNode<CommonRmConfigFilterSmHelper>(), Quoin::makeNode<CommonRmConfigSymbolSmHelper>( root ),
                                   Quoin::makeNode<Zeugma::TaskScheduler>(), nullptr );
}

namespace {

TEST( CompileFwd, whatIsDeclaredThereIsWhatCompilationDefines ) {
   const auto config = Quoin::makeNode<Routing::RouteMap::Config>();
   config->routeMapIs( "IN" );
   const auto machine = FwdAgent::compileAll( config, Quoin::makeNode<Routing::Policy::PolicyRoot>() );
   ASSERT_TRUE( machine->routeMapConfigSymbolSm( "IN" ) );
   EXPECT_EQ( machine->routeMapConfigSymbolSm( "IN" )->rmSymbol()->name(), "IN" );
   EXPECT_EQ( machine->routeMapConfigFilterSm( "OUT" ), nullptr );
}

}   // namespace
