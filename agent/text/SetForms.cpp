#include "text/SetForms.h"

#include <fmt/format.h>

#include "substrate/zeugma/MaybeU63.h"
#include "text/Community.h"
#include "text/Operands.h"

namespace Agent {

namespace SetOperands {

uint64_t takeMetric( LineCursor & line ) {
   const Token & token = line.peek();
   if( token.text.starts_with( '+' ) || token.text.starts_with( '-' ) )
      throw LineError{ token.column,
                       fmt::format( "expected a metric, found {}: relative metrics are not supported", inQuotes( token.text ) ) };
   return takeNumber( line, "a metric", 0, Zeugma::MaybeU63::kAbsent - 1 );
}

uint8_t takeDistance( LineCursor & line ) {
   return static_cast<uint8_t>( takeNumber( line, "a distance", 1, 255 ) );
}

uint32_t takeTag( LineCursor & line ) {
   return takeNumber32( line, "a tag" );
}

uint32_t takeLocalPreference( LineCursor & line ) {
   return takeNumber32( line, "a local preference" );
}

SetCommunity takeCommunity( LineCursor & line ) {
   SetCommunity set;
   if( line.takeWords( "none" ) ) return set;
   set.communities = takeCommunities( line, "additive", "" );
   set.additive = line.takeWords( "additive" );
   return set;
}

std::string setCommunityText( const SetCommunity & set ) {
   if( set.communities.empty() ) return "none";
   return fmt::format( "{}{}", communitiesText( set.communities ), set.additive ? " additive" : "" );
}

}   // namespace SetOperands

std::vector<std::string_view> setWords() {
   std::vector<std::string_view> words;
   anySetForm( [ & ]( const auto & form ) {
      words.push_back( form.word );
      return false;
   } );
   return words;
}

}   // namespace Agent
