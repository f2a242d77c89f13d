#include "dialect/Assumptions.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "text/MatchForms.h"
#include "text/Printable.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

constexpr std::string_view kMatch = "match ";

// Whether a text begins with these words.
bool beginsWith( std::string_view text, std::string_view words ) {
   return text.starts_with( words ) && ( text.size() == words.size() || text[ words.size() ] == ' ' );
}

std::string clausesToAssume() {
   std::string names;
   for( const auto & form : matchForms() )
      if( form.field ) names += fmt::format( "{}{}", names.empty() ? "" : ", ", form.words );
   return names;
}

}   // namespace

std::optional<std::string> Assumptions::add( std::string_view assumption ) {
   const size_t equals = assumption.rfind( '=' );
   const auto answer = equals == assumption.npos ? std::string_view() : assumption.substr( equals + 1 );
   if( answer != "match" && answer != "no-match" )
      return fmt::format( "expected CLAUSE=match or CLAUSE=no-match, found {}", inQuotes( assumption ) );
   auto words = assumption.substr( 0, equals );
   if( words.starts_with( kMatch ) ) words.remove_prefix( kMatch.size() );
   const bool isKnown = std::ranges::any_of( matchForms(), [ & ]( const MatchForm & form ) {
      return form.field && ( beginsWith( words, form.words ) || beginsWith( form.words, words ) );
   } );
   if( words.empty() || !isKnown )
      return fmt::format( "{}: no clause that can be assumed begins with it; these can: {}", inQuotes( words ), clausesToAssume() );
   byWords_.insert_or_assign( std::string( words ), answer == "match" );
   return std::nullopt;
}

std::optional<std::string> Assumptions::daemonIs( std::string_view name ) {
   constexpr std::pair<std::string_view, Daemon> kDaemons[] = {
      { "bgpd", Daemon::bgpd },    { "zebra", Daemon::zebra },  { "pimd", Daemon::pimd },    { "pim6d", Daemon::pimd },
      { "ospfd", Daemon::other },  { "ospf6d", Daemon::other }, { "isisd", Daemon::other },  { "ripd", Daemon::other },
      { "ripngd", Daemon::other }, { "eigrpd", Daemon::other }, { "babeld", Daemon::other },
   };
   const auto * at = std::ranges::find( kDaemons, name, &std::pair<std::string_view, Daemon>::first );
   if( at == std::end( kDaemons ) ) {
      std::string names;
      for( const auto & known : kDaemons ) names += fmt::format( "{}{}", names.empty() ? "" : ", ", known.first );
      return fmt::format( "expected one of {}, found {}", names, inQuotes( name ) );
   }
   daemon_ = at->second;
   return std::nullopt;
}

std::optional<bool> Assumptions::of( MatchOption option, const MatchClause & clause ) const {
   if( byWords_.empty() ) return std::nullopt;
   const std::string line = writeMatch( option, clause );
   const auto text = std::string_view( line ).substr( kMatch.size() );
   // Of two that the text begins with, the longer one is behind the other.
   std::optional<bool> found;
   for( const auto & [ words, matches ] : byWords_ )
      if( beginsWith( text, words ) ) found = matches;
   return found;
}

}   // namespace Agent
