#include "live/CompiledExpression.h"

#include <re2/re2.h>

#include "text/Expression.h"

namespace Agent {

CompiledExpression::CompiledExpression( std::string_view expression )
      : re2_( std::make_unique<const re2::RE2>( expressionOf( expression ), re2::RE2::Quiet ) ) {}
CompiledExpression::CompiledExpression( CompiledExpression && ) noexcept = default;
CompiledExpression::~CompiledExpression() = default;

bool CompiledExpression::matches( std::string_view text ) const {
   return re2_->ok() && re2::RE2::PartialMatch( re2::StringPiece( text.data(), text.size() ), *re2_ );
}

}   // namespace Agent
