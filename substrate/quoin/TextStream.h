/// @file substrate/quoin/TextStream.h
/// Formats a text through stream operators. Renderings and traces use it.
#pragma once

#include <locale>
#include <sstream>
#include <utility>

#include "substrate/quoin/String.h"

namespace Quoin {

/// A string stream whose text does not depend on the process's locale.
class TextStream : public std::ostringstream {
 public:
   TextStream() { imbue( std::locale::classic() ); }
   /// The text so far.
   String text() && { return String( std::move( *this ).str() ); }
   String text() const & { return String( str() ); }
};

}   // namespace Quoin
