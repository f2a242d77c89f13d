// routepolicy show: what is compiled of a policy.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "command/Commands.h"
#include "command/Json.h"
#include "command/PolicyFiles.h"
#include "command/References.h"
#include "table/TextReader.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

using Routing::Policy::RouteMapSeqStatus;
using Routing::Policy::RouteMapStatus;

constexpr size_t kMostUsers = 8;        // in one line
constexpr size_t kLongestText = 1000;   // of a matcher or setter

// ---- canonical lines

std::string linesOf( const Thing & thing, const PrefixListText & list ) {
   const bool ipv4 = thing.kind == ThingKind::ipv4PrefixList;
   return writePrefixList( ipv4 ? AddressFamily::ipv4 : AddressFamily::ipv6, std::string( thing.name ), list );
}
std::string linesOf( const Thing & thing, const AccessListText & list ) {
   const bool ipv4 = thing.kind == ThingKind::ipv4AccessList;
   return writeAccessList( ipv4 ? AddressFamily::ipv4 : AddressFamily::ipv6, std::string( thing.name ), list );
}
std::string linesOf( const Thing & thing, const TagSetText & set ) {
   return writeTagSet( std::string( thing.name ), set );
}
std::string linesOf( const Thing & thing, const CommunityListText & list ) {
   return writeCommunityList( std::string( thing.name ), list );
}
std::string linesOf( const Thing & thing, const AsPathListText & list ) {
   return writeAsPathList( std::string( thing.name ), list );
}
std::string linesOf( const Thing & thing, const RouteMapText & routeMap ) {
   return writeRouteMap( std::string( thing.name ), routeMap );
}

Json jsonOfLines( const std::string & text ) {
   Json lines = Json::array();
   std::istringstream in( text );
   for( std::string line; std::getline( in, line ); ) lines.push_back( line );
   return lines;
}

// ---- users

/// The sequences that refer to a thing, each once.
std::vector<const Reference *> usersOf( const Thing & thing, const References & references ) {
   std::vector<const Reference *> users;
   for( const auto * r : references.to( thing ) )
      if( users.empty() || users.back()->routeMap != r->routeMap || users.back()->sequence != r->sequence ) users.push_back( r );
   return users;
}

std::string usersText( const Thing & thing, const References & references ) {
   const auto users = usersOf( thing, references );
   if( users.empty() ) return "used by nobody";
   std::string text;
   const size_t count = std::min( users.size(), kMostUsers );
   for( size_t i = 0; i < count; ++i )
      text +=
         fmt::format( "{}{} {}", i == 0 ? "used by " : ", ", printableName( std::string( users[ i ]->routeMap ) ), users[ i ]->sequence );
   return count < users.size() ? fmt::format( "{} and {} more", text, users.size() - count ) : text;
}

Json jsonOfUsers( const Thing & thing, const References & references ) {
   Json users = Json::array();
   for( const auto * r : usersOf( thing, references ) ) users.push_back( { { "routeMap", r->routeMap }, { "sequence", r->sequence } } );
   return users;
}

// ---- compiled sequences

// The library's words for a matcher or setter. Those of a matcher with a list end in the address of what it holds, which tells an
// operator nothing and is another in each run.
template <class Part>
std::string wordsOf( const Part & part ) {
   std::ostringstream os;
   part.formatDerivedType( os );
   const std::string text = os.str();
   const size_t end = text.rfind( ';' );
   if( end == std::string::npos ) return text;
   const std::string tail = text.substr( end + 1 );
   const bool isAddress =
      tail.starts_with( "0x" ) && std::all_of( tail.begin() + 2, tail.end(), []( unsigned char c ) { return std::isxdigit( c ); } );
   return tail == "NULL" || isAddress ? text.substr( 0, end ) : text;
}

/// Where a compiled sequence stands, for what its text says of it.
struct CompiledSequence {
   std::string_view routeMap;
   const RouteMapSeqStatus & status;
   const References & references;

   const Reference * reference( std::optional<MatchOption> option ) const { return references.in( routeMap, status.seqno(), option ); }
   bool isUndefined( MatchOption option ) const {
      const auto * r = reference( option );
      return r && !r->defined;
   }
};

void writeSequence( const CompiledSequence & sequence, Console & console ) {
   const auto & status = sequence.status;
   const auto part = [ & ]( std::string_view relation, const std::string & words, bool undefined = false ) {
      console.line( fmt::format( "!    {} {}{}", relation, printable( words, kLongestText ), undefined ? " (undefined)" : "" ) );
   };
   console.line( fmt::format( "! {} {}", status.seqno(), stringValue( status.matchAction() ) ) );
   for( const auto & [ option, matcher ] : status.matcher() ) part( "matches", wordsOf( *matcher ), sequence.isUndefined( option ) );
   if( const auto * call = sequence.reference( std::nullopt ) )
      console.line( fmt::format( "!    {}{}", clauseTextOf( *call ), call->defined ? "" : " (undefined)" ) );
   for( const auto & [ option, setter ] : status.setter() ) part( "sets", wordsOf( *setter ) );
   if( status.continueSeq() ) part( "continues to", std::to_string( status.continueSeq()->seqno() ) );
}

Json jsonOfSequence( const CompiledSequence & sequence ) {
   const auto & status = sequence.status;
   Json json = { { "number", status.seqno() }, { "action", stringValue( status.matchAction() ) } };
   json[ "matchers" ] = Json::array();
   for( const auto & [ option, matcher ] : status.matcher() )
      json[ "matchers" ].push_back(
         { { "option", stringValue( option ) }, { "text", wordsOf( *matcher ) }, { "undefined", sequence.isUndefined( option ) } } );
   json[ "setters" ] = Json::array();
   for( const auto & [ option, setter ] : status.setter() )
      json[ "setters" ].push_back( { { "option", stringValue( option ) }, { "text", wordsOf( *setter ) } } );
   if( const auto * call = sequence.reference( std::nullopt ) )
      json[ "call" ] = { { "routeMap", call->to.name }, { "invert", call->invert }, { "undefined", !call->defined } };
   if( status.continueSeq() ) json[ "continue" ] = status.continueSeq()->seqno();
   return json;
}

std::string undefinedText( const RouteMapStatus & status ) {
   std::ostringstream os;
   os << status.undefinedReferences();
   return os.str();
}

// ---- things

std::string_view kindWord( const CommunityListText & list ) {
   return list.expanded ? "expanded, " : "standard, ";
}
template <class Text>
std::string_view kindWord( const Text & ) {
   return {};
}

/// Shows one thing behind the other, as text that can be loaded again, or as a JSON document.
class Show {
 public:
   Show( const LivePolicy & policy, bool json, Console & console )
         : policy_( policy ), references_( policy.text() ), json_( json ), console_( console ) {}

   template <class Text>
   void add( const Thing & thing, const Text & text ) {
      if( json_ )
         things_.push_back( jsonOfThing( thing, text ) );
      else
         write( thing, text );
      first_ = false;
   }
   void finish() {
      if( json_ ) console_.line( jsonText( { { "things", std::move( things_ ) } } ) );
      console_.flush();
   }
   bool empty() const noexcept { return first_; }

 private:
   template <class Text>
   void write( const Thing & thing, const Text & text ) {
      if( !first_ ) console_.line( "" );
      console_.write( linesOf( thing, text ) );
      writeCompiled( thing, text );
   }

   template <class Text>
   void writeCompiled( const Thing & thing, const Text & text ) {
      const auto family = familyOf( thing.kind );
      const size_t size = sizeOf( text );
      console_.line( fmt::format( "! {}{}{}{} {}{}, {}", family, family.empty() ? "" : ", ", kindWord( text ), size,
                                  thing.kind == ThingKind::tagSet ? "tag" : "line", size == 1 ? "" : "s",
                                  usersText( thing, references_ ) ) );
   }
   void writeCompiled( const Thing & thing, const RouteMapText & ) {
      const auto status = policy_.routeMap( std::string( thing.name ) );
      if( !status ) return console_.line( fmt::format( "! not in force, {}", usersText( thing, references_ ) ) );
      const auto features = status->features().toStrep();
      console_.line( fmt::format( "! compiled, reads {}, undefined references {}, {}",
                                  features.empty() ? "nothing watched" : features.view(), undefinedText( *status ),
                                  usersText( thing, references_ ) ) );
      for( const auto & [ number, sequence ] : status->seqStatus() ) writeSequence( { thing.name, *sequence, references_ }, console_ );
   }

   template <class Text>
   Json jsonOfThing( const Thing & thing, const Text & text ) const {
      Json json = { { "kind", nameOf( thing.kind ) }, { "name", thing.name } };
      addCompiled( json, thing, text );
      json[ "usedBy" ] = jsonOfUsers( thing, references_ );
      json[ "text" ] = jsonOfLines( linesOf( thing, text ) );
      return json;
   }
   template <class Text>
   void addCompiled( Json & json, const Thing & thing, const Text & text ) const {
      if( const auto family = familyOf( thing.kind ); !family.empty() ) json[ "family" ] = family;
      json[ thing.kind == ThingKind::tagSet ? "tags" : "lines" ] = sizeOf( text );
   }
   void addCompiled( Json & json, const Thing & thing, const RouteMapText & ) const {
      const auto status = policy_.routeMap( std::string( thing.name ) );
      json[ "inForce" ] = bool( status );
      if( !status ) return;
      json[ "features" ] = status->features().toStrep().view();
      json[ "undefinedReferences" ] = undefinedText( *status );
      json[ "sequences" ] = Json::array();
      for( const auto & [ number, sequence ] : status->seqStatus() )
         json[ "sequences" ].push_back( jsonOfSequence( { thing.name, *sequence, references_ } ) );
   }

   const LivePolicy & policy_;
   const References references_;
   const bool json_;
   Console & console_;
   Json things_ = Json::array();
   bool first_ = true;
};

}   // namespace

int show( const ShowOptions & options, Console & console ) {
   const auto policy = livePolicyOf( options.files, console );
   Show show( *policy, options.json, console );
   forEachThing( policy->text(), [ & ]( const Thing & thing, const auto & text ) {
      if( !options.name || *options.name == thing.name ) show.add( thing, text );
   } );
   if( options.name && show.empty() ) throw CommandError{ unknownNameText( *options.name, policy->text() ) };
   show.finish();
   return kExitOk;
}

}   // namespace Agent
