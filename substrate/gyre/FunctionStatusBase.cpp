#include "substrate/gyre/FunctionStatusBase.h"

namespace Gyre {

FunctionStatusBase::FunctionStatusBase( const Quoin::String & funcName ) : funcName_( funcName ) {}
FunctionStatusBase::~FunctionStatusBase() = default;

Quoin::Ptr<FunctionStatusBase> FunctionStatusBase::FunctionStatusBaseIs( const Quoin::String & funcName ) {
   return Quoin::makeNode<FunctionStatusBase>( funcName );
}

void FunctionStatusBase::dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "GYRE FunctionStatus for function %s\n", funcName_.data() );
   Zeugma::dumpChild( ctx, "ExternalMatchers", externalMatchers_, indent + 2 );
   Zeugma::dumpChild( ctx, "Function", aet_, indent + 2 );
}

}   // namespace Gyre
