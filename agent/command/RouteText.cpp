#include "command/RouteText.h"

#include <fmt/format.h>

#include <cctype>
#include <iterator>

#include "analysis/References.h"
#include "table/TextReader.h"

namespace Agent {

namespace {

constexpr size_t kLongestText = 1000;   // of a text from a table
constexpr size_t kMostPlaces = 3;       // in one line

std::string decimal( Zeugma::MaybeU63 metric ) {
   return metric.present() ? std::to_string( metric.value() ) : std::string();
}

// In figures, as tables have them: never by a well-known name.
std::string communityFigures( const std::vector<uint32_t> & communities ) {
   std::string text;
   for( const uint32_t c : communities ) text += fmt::format( "{}{}:{}", text.empty() ? "" : " ", c >> 16, c & 0xffff );
   return text;
}

/// One attribute that policy can change, before and after; an empty text means absent.
struct Attribute {
   enum class Form : uint8_t { number, text, list };   // in JSON; a list of words
   std::string name;
   std::string key;   // in JSON
   std::string before;
   std::string after;
   Form form = Form::number;
   bool changed() const { return before != after; }
};

std::string numberOrNone( const std::optional<uint32_t> & number ) {
   return number ? std::to_string( *number ) : std::string();
}
std::string numberOrNone( uint32_t number ) {
   return number ? std::to_string( number ) : std::string();
}

std::string originText( const TableRoute & route ) {
   return std::string( route.origin ? nameOf( *route.origin ) : "" );
}
std::string addressText( const Ferule::IpGenAddr & address ) {
   return std::string( address.af() == Ferule::AddressFamily::unset ? "" : address.toStrep().view() );
}
template <class C>
std::string wordsOf( const std::vector<C> & communities ) {
   std::string text;
   for( const C & c : communities ) text += ( text.empty() ? "" : " " ) + communityText( c );
   return text;
}

// "sr-te color" is srTeColor.
std::string jsonKeyOf( std::string_view name ) {
   std::string key;
   bool upper = false;
   for( const char c : name ) {
      const bool isLetter = c != ' ' && c != '-';
      if( isLetter ) key += upper ? static_cast<char>( std::toupper( static_cast<unsigned char>( c ) ) ) : c;
      upper = !isLetter;
   }
   return key;
}

std::vector<Attribute> attributesOf( const AgentResult & was, const AgentResult & is ) {
   using Form = Attribute::Form;
   const TableRoute & from = was.route;
   const TableRoute & to = is.route;
   std::vector<Attribute> all{
      { "distance", "distance", numberOrNone( uint32_t( was.preference() ) ), numberOrNone( uint32_t( is.preference() ) ) },
      { "metric", "metric", decimal( was.metric() ), decimal( is.metric() ) },
      { "tag", "tag", numberOrNone( was.tag() ), was.tag() ? std::to_string( is.tag() ) : numberOrNone( is.tag() ) },
      { "local-preference", "localPreference", numberOrNone( from.localPreference ), numberOrNone( to.localPreference ) },
      { "next-hop", "nextHop", addressText( from.nextHop ), addressText( to.nextHop ), Form::text },
      { "other next-hop", "otherNextHop", addressText( from.otherNextHop ), addressText( to.otherNextHop ), Form::text },
      { "origin", "origin", originText( from ), originText( to ), Form::text },
      { "as-path", "asPath", from.asPath, to.asPath, Form::text },
      { "community", "communities", communityFigures( from.communities ), communityFigures( to.communities ), Form::list },
      { "large-community", "largeCommunities", wordsOf( from.largeCommunities ), wordsOf( to.largeCommunities ), Form::list },
      { "extcommunity", "extCommunities", wordsOf( from.extCommunities ), wordsOf( to.extCommunities ), Form::list }
   };
   const auto add = [ & ]( std::string_view name ) {
      const auto * const before = from.other( name );
      const auto * const after = to.other( name );
      all.push_back( { std::string( name ), jsonKeyOf( name ), before ? *before : "", after ? *after : "", Form::text } );
   };
   for( const auto & other : from.others ) add( other.name );
   for( const auto & other : to.others )
      if( !from.other( other.name ) ) add( other.name );
   return all;
}

std::string jsonList( const std::string & words ) {
   std::string list = "[";
   for( size_t from = 0; from < words.size(); ) {
      const size_t end = std::min( words.find( ' ', from ), words.size() );
      if( from ) list += ',';
      list += '"' + words.substr( from, end - from ) + '"';
      from = end + 1;
   }
   return list + ']';
}

std::string jsonValue( const Attribute & attribute, const std::string & value ) {
   if( attribute.form == Attribute::Form::list ) return jsonList( value );
   return value.empty() ? "null" : attribute.form == Attribute::Form::text ? jsonString( value ) : value;
}

}   // namespace

std::string jsonMembersOf( const RouteEvaluator::Sequence & sequence ) {
   if( sequence.number == 0 ) return fmt::format( "\"filter\":{}", jsonString( sequence.shownName ) );
   return fmt::format( "\"routeMap\":{},\"sequence\":{}", jsonString( sequence.routeMap ), sequence.number );
}

std::string textOf( const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices ) {
   std::string text;
   const std::string * last = nullptr;
   for( const uint32_t i : indices ) {
      if( !text.empty() ) text += ", ";
      if( all[ i ].number == 0 ) {
         text += all[ i ].shownName;
         continue;
      }
      if( !last || *last != all[ i ].routeMap ) text += all[ i ].shownName + ' ';
      text += std::to_string( all[ i ].number );
      last = &all[ i ].routeMap;
   }
   return text;
}

std::string changesOf( const AgentResult & from, const AgentResult & to ) {
   std::string text;
   if( sameRoute( from, to ) ) return text;
   for( const auto & a : attributesOf( from, to ) ) {
      if( !a.changed() ) continue;
      if( !text.empty() ) text += ", ";
      text += a.name;
      if( !a.before.empty() ) text += ' ' + printable( a.before, kLongestText ) + " ->";
      text += ' ' + ( a.after.empty() ? "none" : printable( a.after, kLongestText ) );
   }
   return text;
}

std::string attributesOf( const TableRoute & route ) {
   std::string text;
   const auto add = [ & ]( std::string_view name, std::string_view value ) {
      if( value.empty() ) return;
      if( !text.empty() ) text += ", ";
      text.append( name ).append( " " ).append( value );
   };
   if( route.nextHop.af() != Ferule::AddressFamily{} ) add( "via", route.nextHop.toStrep().view() );
   add( "protocol", nameOf( route.protocol ) );
   add( "interface", printable( route.interface, kLongestText ) );
   add( "metric", decimal( route.metric ) );
   add( "tag", numberOrNone( route.tag ) );
   add( "local-preference", numberOrNone( route.localPreference ) );
   add( "origin", originText( route ) );
   add( "community", communityFigures( route.communities ) );
   add( "large-community", wordsOf( route.largeCommunities ) );
   add( "extcommunity", wordsOf( route.extCommunities ) );
   add( "peer", addressText( route.peer ) );
   add( "rpki", route.rpki ? nameOf( *route.rpki ) : std::string_view() );
   add( "ospf-instance", numberOrNone( route.ospfInstance ) );
   add( "isis-instance", numberOrNone( route.isisInstance ) );
   add( "as-path", printable( route.asPath, kLongestText ) );
   for( const auto & other : route.others ) add( other.name, printable( other.value, kLongestText ) );
   return text;
}

void appendName( std::string & to, const TableRoute & route ) {
   to += route.prefix.toStrep().view();
   if( route.nextHop.af() != Ferule::AddressFamily{} ) to.append( " via " ).append( route.nextHop.toStrep().view() );
}

void appendJsonName( std::string & to, const TableRoute & route ) {
   to.append( "\"prefix\":\"" ).append( route.prefix.toStrep().view() ).append( "\"" );
   if( route.nextHop.af() != Ferule::AddressFamily{} )
      to.append( ",\"nextHop\":\"" ).append( route.nextHop.toStrep().view() ).append( "\"" );
}

void appendLine( std::string & to, const RouteEvaluator & evaluator, const TableRoute & route, const RouteAnswer & answer ) {
   auto out = std::back_inserter( to );
   fmt::format_to( out, "{:<6}  ", answer.permitted ? "permit" : "deny" );
   appendName( to, route );
   if( answer.permitted )
      if( const std::string changes = changesOf( route, answer.result ); !changes.empty() ) fmt::format_to( out, "  {}", changes );
   fmt::format_to( out, "  by {}{}\n", answer.sequences.empty() ? "no sequence" : textOf( evaluator.sequences(), answer.sequences ),
                   withoutText( evaluator.leftOut() ) );
}

std::string withoutText( const std::vector<std::string> & leftOut ) {
   return leftOut.empty() ? "" : ", without " + joined( leftOut, kMostPlaces, " and " );
}

void addName( Json & to, const TableRoute & route ) {
   to[ "prefix" ] = route.prefix.toStrep().view();
   if( route.nextHop.af() != Ferule::AddressFamily{} ) to[ "nextHop" ] = route.nextHop.toStrep().view();
}

void addChanges( Json & to, const TableRoute & route, const AgentResult & result ) {
   const AgentResult before( route );
   if( sameRoute( before, result ) ) return;
   Json & changes = to[ "changes" ] = Json::object();
   for( const auto & a : attributesOf( before, result ) ) {
      if( !a.changed() ) continue;
      if( !a.before.empty() ) changes[ a.key ][ "from" ] = Json::parse( jsonValue( a, a.before ) );
      changes[ a.key ][ "to" ] = Json::parse( jsonValue( a, a.after ) );
   }
}

void addSequences( Json & to, const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices ) {
   Json & sequences = to[ "sequences" ] = Json::array();
   for( const uint32_t i : indices ) sequences.push_back( Json::parse( '{' + jsonMembersOf( all[ i ] ) + '}' ) );
}

std::string jsonString( std::string_view text ) {
   return jsonText( Json( text ) );
}

std::string validUtf8( std::string_view text ) {
   return nlohmann::json::parse( jsonString( text ) ).get<std::string>();
}

void appendJsonAttributes( std::string & to, const TableRoute & route ) {
   const auto add = [ & ]( std::string_view key, const std::string & value ) {
      to.append( ",\"" ).append( key ).append( "\":" ).append( value );
   };
   if( route.nextHop.af() != Ferule::AddressFamily{} ) add( "nextHop", jsonString( route.nextHop.toStrep().view() ) );
   if( route.protocol != SourceProtocol::none ) add( "protocol", jsonString( nameOf( route.protocol ) ) );
   if( !route.interface.empty() ) add( "interface", jsonString( route.interface ) );
   if( route.metric.present() ) add( "metric", decimal( route.metric ) );
   if( route.tag ) add( "tag", std::to_string( route.tag ) );
   if( route.localPreference ) add( "localPreference", std::to_string( *route.localPreference ) );
   if( !route.communities.empty() ) add( "communities", jsonList( communityFigures( route.communities ) ) );
   if( route.origin ) add( "origin", jsonString( nameOf( *route.origin ) ) );
   if( !route.largeCommunities.empty() ) add( "largeCommunities", jsonList( wordsOf( route.largeCommunities ) ) );
   if( !route.extCommunities.empty() ) add( "extCommunities", jsonList( wordsOf( route.extCommunities ) ) );
   if( route.peer.af() != Ferule::AddressFamily{} ) add( "peer", jsonString( addressText( route.peer ) ) );
   if( route.rpki ) add( "rpki", jsonString( nameOf( *route.rpki ) ) );
   if( route.ospfInstance ) add( "ospfInstance", std::to_string( route.ospfInstance ) );
   if( route.isisInstance ) add( "isisInstance", std::to_string( route.isisInstance ) );
   if( !route.asPath.empty() ) add( "asPath", jsonString( route.asPath ) );
   for( const auto & other : route.others ) add( jsonKeyOf( other.name ), jsonString( other.value ) );
}

void appendJsonChanges( std::string & to, const TableRoute & route, const AgentResult & result ) {
   const AgentResult before( route );
   if( sameRoute( before, result ) ) return;
   to += ",\"changes\":{";
   bool first = true;
   for( const auto & a : attributesOf( before, result ) ) {
      if( !a.changed() ) continue;
      to += first ? "\"" : ",\"";
      first = false;
      to.append( a.key ).append( "\":{" );
      if( !a.before.empty() ) to += "\"from\":" + jsonValue( a, a.before ) + ',';
      to += "\"to\":" + jsonValue( a, a.after ) + '}';
   }
   to += '}';
}

void appendJsonLeftOut( std::string & to, const std::vector<std::string> & leftOut ) {
   if( !leftOut.empty() ) to += ",\"leftOut\":" + jsonText( leftOut );
}

void appendJsonSequences( std::string & to, const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices ) {
   to += ",\"sequences\":[";
   for( size_t i = 0; i < indices.size(); ++i ) to.append( i ? ",{" : "{" ).append( jsonMembersOf( all[ indices[ i ] ] ) ).append( "}" );
   to += ']';
}

void appendJson( std::string & to, const RouteEvaluator & evaluator, const TableRoute & route, const RouteAnswer & answer ) {
   to += '{';
   appendJsonName( to, route );
   fmt::format_to( std::back_inserter( to ), ",\"verdict\":\"{}\"", answer.permitted ? "permit" : "deny" );
   if( answer.permitted ) appendJsonChanges( to, route, answer.result );
   appendJsonSequences( to, evaluator.sequences(), answer.sequences );
   appendJsonLeftOut( to, evaluator.leftOut() );
   to += '}';
}

}   // namespace Agent
