#include "compile/RouteMapSeqConfigSmBase.h"

#include <string>

namespace Routing::Policy {

using Routing::RouteMap::MapEntry;

RmSeqConfigSmInterface::~RmSeqConfigSmInterface() = default;

RmSeqConfigSymbolSmBase::RmSeqConfigSymbolSmBase( const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig,
                                                  const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
                                                  const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor )
      : rmName_( rmName ), seqConfig_( seqConfig ), rmSymbol_( rmSymbol ), rmConfigSymbolReactor_( rmConfigSymbolReactor ) {}

RmSeqConfigSymbolSmBase::~RmSeqConfigSymbolSmBase() = default;

void RmSeqConfigSymbolSmBase::handleInitialized() {
   sequenceChangeIs( seqno() );
   sequenceChangeSymIs( seqno() );
   undefinedRefsTrackerIs();
}

bool RmSeqConfigSymbolSmBase::isModified() const {
   if( !sequenceChange_ || !sequenceChangeSym_ ) return false;
   return !sequenceChange_->matcherChange().empty() || !sequenceChange_->setterChange().empty() || sequenceChange_->continueChange() ||
      sequenceChange_->permitChange() || sequenceChangeSym_->subRouteMapChangeSymbol() || sequenceChangeSym_->aggRoleAttrMapChangeSymbol();
}

void RmSeqConfigSymbolSmBase::handleMatcherApplied( MatcherChange &, const MatcherChangeSymbol * ) {}
void RmSeqConfigSymbolSmBase::handleSymbolNamed() {}

void RmSeqConfigSymbolSmBase::formatDerivedType( std::ostream & os ) const {
   formatSequence( os, rmName_, seqConfig_.get() );
}

void formatSequence( std::ostream & os, const Quoin::String & rmName, const MapEntry * seqConfig ) {
   os << "rmName: " << rmName << " seqno: " << std::to_string( seqConfig ? seqConfig->seqno() : 0 );
}

}   // namespace Routing::Policy
