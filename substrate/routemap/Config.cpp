#include "substrate/routemap/Config.h"

#include <utility>

#include "substrate/plinth/Exception.h"

namespace Routing::RouteMap {

Config::~Config() = default;

void Config::callOrderIs() {
   if( callOrder_ ) return;
   callOrder_ = Quoin::makeNode<CallOrder>();
   for( const auto & [ name, map ] : routeMap_ ) link( *map );
}

ConfigEdit::ConfigEdit( const Quoin::Ptr<Config> & config ) : config_( config ) {
   if( !config_ ) Plinth::throwMutatorArgNullPointerException( "ConfigEdit" );
   ++config_->edits_;
}

ConfigEdit::~ConfigEdit() {
   close();
}

void ConfigEdit::close() noexcept {
   const auto config = std::exchange( config_, nullptr );
   if( !config || --config->edits_ != 0 ) return;
   config->publisher_.publishChange( Quoin::FieldId( Config::Field::edits ) );
}

}   // namespace Routing::RouteMap
