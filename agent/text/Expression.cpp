#include "text/Expression.h"

#include <algorithm>

namespace Agent {

namespace {

constexpr std::string_view kBoundary = R"((?:^|$|[ ,{}()\[\]]))";

// The length of the bracket expression that starts here. A "]" in first place is a member, and so is one that ends a class: [[:digit:]].
size_t bracketLength( std::string_view text ) {
   size_t at = 1;
   if( at < text.size() && text[ at ] == '^' ) ++at;
   if( at < text.size() && text[ at ] == ']' ) ++at;
   while( at < text.size() && text[ at ] != ']' ) {
      if( text[ at ] == '\\' ) {
         at += 2;
      } else if( text.substr( at ).starts_with( "[:" ) && text.find( ":]", at + 2 ) != text.npos ) {
         at = text.find( ":]", at + 2 ) + 2;
      } else {
         ++at;
      }
   }
   return at + 1;
}

}   // namespace

std::string expressionOf( std::string_view text ) {
   std::string result;
   while( !text.empty() ) {
      const size_t taken = text.front() == '[' ? bracketLength( text ) : text.front() == '\\' ? 2 : 1;
      result += text.front() == '_' ? kBoundary : text.substr( 0, taken );
      text.remove_prefix( std::min( taken, text.size() ) );
   }
   return result;
}

}   // namespace Agent
