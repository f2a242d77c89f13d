#include "dialect/Assumptions.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "text/LineLoader.h"
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

// Sets the words of a whole clause as writeMatch() writes them. Returns what is wrong with them.
std::optional<std::string> normalize( std::string & words ) {
   const auto isNoClause = [ & ] { return fmt::format( "{}: not a match clause", inQuotes( words ) ); };
   if( words.find( '\n' ) != words.npos ) return isNoClause();
   LineLoader loader( Dialect::frr );
   loader.load( "", fmt::format( "route-map ASSUMED permit 1\n{}{}\n", kMatch, words ) );
   if( !loader.errors().empty() ) return fmt::format( "{}: {}", inQuotes( words ), loader.errors().front().reason );
   const auto & clauses = loader.text().routeMaps.at( "ASSUMED" ).sequences.at( 1 ).match;
   if( clauses.size() != 1 ) return isNoClause();
   const auto & [ option, clause ] = *clauses.begin();
   words = writeMatch( option, clause ).substr( kMatch.size() );
   return std::nullopt;
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
   const bool isBeginning =
      std::ranges::any_of( matchForms(), [ & ]( const MatchForm & form ) { return form.field && beginsWith( form.words, words ); } );
   std::string normal( words );
   if( !isBeginning )
      if( auto wrong = normalize( normal ) ) return wrong;
   byWords_.insert_or_assign( std::move( normal ), answer == "match" );
   return std::nullopt;
}

std::vector<std::string> Assumptions::unusedIn( const PolicyText & text ) const {
   std::vector<std::string> unused;
   for( const auto & [ words, matches ] : byWords_ ) unused.push_back( words );
   const auto use = [ & ]( const std::string & line ) {
      std::erase_if( unused,
                     [ & ]( const std::string & words ) { return beginsWith( std::string_view( line ).substr( kMatch.size() ), words ); } );
   };
   for( const auto & [ name, map ] : text.routeMaps )
      for( const auto & [ number, sequence ] : map.sequences )
         for( const auto & [ option, clause ] : sequence.match )
            if( const auto * form = matchForm( option ); !unused.empty() && form && form->field ) use( writeMatch( option, clause ) );
   return unused;
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
