#include "text/SetForms.h"

#include <fmt/format.h>

#include "substrate/zeugma/MaybeU63.h"
#include "text/Community.h"
#include "text/Operands.h"

namespace Agent {

namespace {

void takeMetric( LineCursor & line, SetClause & clause ) {
   const Token & token = line.peek();
   if( token.text.starts_with( '+' ) || token.text.starts_with( '-' ) )
      throw LineError{ token.column,
                       fmt::format( "expected a metric, found {}: relative metrics are not supported", inQuotes( token.text ) ) };
   clause.number = takeNumber( line, "a metric", 0, Zeugma::MaybeU63::kAbsent - 1 );
}

void takeDistance( LineCursor & line, SetClause & clause ) {
   clause.number = takeNumber( line, "a distance", 1, 255 );
}

void takeTag( LineCursor & line, SetClause & clause ) {
   clause.number = takeNumber32( line, "a tag" );
}

void takeLocalPreference( LineCursor & line, SetClause & clause ) {
   clause.number = takeNumber32( line, "a local preference" );
}

std::string numberText( const SetClause & clause ) {
   return std::to_string( clause.number );
}

void takeCommunity( LineCursor & line, SetClause & clause ) {
   if( line.takeWords( "none" ) ) return;
   clause.communities = takeCommunities( line, "additive", "" );
   clause.additive = line.takeWords( "additive" );
}

std::string communityText( const SetClause & clause ) {
   if( clause.communities.empty() ) return "none";
   return fmt::format( "{}{}", communitiesText( clause.communities ), clause.additive ? " additive" : "" );
}

constexpr SetForm kForms[] = {
   { SetKind::metric, "metric", takeMetric, numberText },
   { SetKind::distance, "distance", takeDistance, numberText },
   { SetKind::tag, "tag", takeTag, numberText },
   { SetKind::localPreference, "local-preference", takeLocalPreference, numberText },
   { SetKind::community, "community", takeCommunity, communityText },
};

}   // namespace

std::span<const SetForm> setForms() noexcept {
   return kForms;
}

const SetForm & setForm( SetKind kind ) noexcept {
   return kForms[ size_t( kind ) ];
}

std::vector<std::string_view> setWords( Dialect dialect ) {
   std::vector<std::string_view> words;
   for( const auto & form : kForms )
      if( isIn( dialect, form.only ) ) words.push_back( form.word );
   return words;
}

}   // namespace Agent
