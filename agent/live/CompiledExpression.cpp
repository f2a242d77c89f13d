#include "live/CompiledExpression.h"

#include <stdexcept>

#include <re2/re2.h>

#include "text/Expression.h"

namespace Agent {

CompiledExpression::CompiledExpression( std::string_view expression, Dialect dialect ) {
   try {
      re2_ = compileExpression( expression, dialect );
   } catch( const std::invalid_argument & ) {}
}

bool CompiledExpression::matches( std::string_view text ) const {
   return re2_ && re2_->ok() && re2::RE2::PartialMatch( re2::StringPiece( text.data(), text.size() ), *re2_ );
}

}   // namespace Agent
