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
};

std::string numberOrNone( const std::optional<uint32_t> & number ) {
   return number ? std::to_string( *number ) : std::string();
}
std::string numberOrNone( uint32_t number ) {
   return number ? std::to_string( number ) : std::string();
}

std::string originText( const std::optional<Origin> & origin ) {
   return std::string( origin ? nameOf( *origin ) : "" );
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

// Of most routes, policy changes one attribute or two: a text is made of these only.
std::vector<Attribute> changesBetween( const AgentResult & was, const AgentResult & is ) {
   using Form = Attribute::Form;
   const TableRoute & from = was.route;
   const TableRoute & to = is.route;
   std::vector<Attribute> all;
   const auto add = [ & ]( std::string_view name, std::string_view key, const auto & before, const auto & after, auto textOf, Form form ) {
      if( !( before == after ) ) all.push_back( { std::string( name ), std::string( key ), textOf( before ), textOf( after ), form } );
   };
   const auto number = []( const auto & n ) { return numberOrNone( n ); };
   const auto words = []( const auto & communities ) { return wordsOf( communities ); };
   const auto tag = [ & ]( uint32_t n ) { return was.tag() ? std::to_string( n ) : numberOrNone( n ); };   // a tag that goes is told as 0
   const auto itself = []( const std::string & text ) { return text; };
   add( "distance", "distance", uint32_t( was.preference() ), uint32_t( is.preference() ), number, Form::number );
   add( "metric", "metric", was.metric(), is.metric(), decimal, Form::number );
   add( "tag", "tag", was.tag(), is.tag(), tag, Form::number );
   add( "local-preference", "localPreference", from.localPreference, to.localPreference, number, Form::number );
   add( "next-hop", "nextHop", from.nextHop, to.nextHop, addressText, Form::text );
   add( "other next-hop", "otherNextHop", from.otherNextHop, to.otherNextHop, addressText, Form::text );
   add( "origin", "origin", from.origin, to.origin, originText, Form::text );
   add( "as-path", "asPath", from.asPath, to.asPath, itself, Form::text );
   add( "community", "communities", from.communities, to.communities, communityFigures, Form::list );
   add( "large-community", "largeCommunities", from.largeCommunities, to.largeCommunities, words, Form::list );
   add( "extcommunity", "extCommunities", from.extCommunities, to.extCommunities, words, Form::list );
   const auto addOther = [ & ]( std::string_view name ) {
      const auto * const before = from.other( name );
      const auto * const after = to.other( name );
      if( !before || !after || *before != *after )
         all.push_back( { std::string( name ), jsonKeyOf( name ), before ? *before : "", after ? *after : "", Form::text } );
   };
   for( const auto & other : from.others ) addOther( other.name );
   for( const auto & other : to.others )
      if( !from.other( other.name ) ) addOther( other.name );
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
   for( const auto & a : changesBetween( from, to ) ) {
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
   add( "origin", originText( route.origin ) );
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
   for( const auto & a : changesBetween( before, result ) ) {
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
   for( const auto & a : changesBetween( before, result ) ) {
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
