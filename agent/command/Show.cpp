// routepolicy show: the lines of a policy, and the compiled sequences.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

#include "analysis/LeftOut.h"
#include "analysis/References.h"
#include "command/Commands.h"
#include "command/Json.h"
#include "command/PolicyFiles.h"
#include "command/RouteText.h"
#include "dialect/Numbers.h"
#include "live/Step.h"
#include "text/MatchForms.h"
#include "text/Printable.h"
#include "text/SetForms.h"
#include "text/TextWriter.h"
#include "text/ValueOptions.h"

namespace Agent {

namespace {

using Routing::Policy::RouteMapSeqStatus;
using Routing::Policy::RouteMapStatus;

constexpr size_t kMostNames = 8;        // in one line
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
template <class C>
std::string linesOf( const Thing & thing, const CommunityListTextOf<C> & list ) {
   return writeCommunityList( std::string( thing.name ), list );
}
std::string linesOf( const Thing & thing, const AsPathListText & list ) {
   return writeAsPathList( std::string( thing.name ), list );
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
   const size_t applied = references.applicationsOf( thing ).size();
   if( users.empty() && applied == 0 ) return "unused";
   std::vector<std::string> sequences;
   for( const auto * r : users ) sequences.push_back( fmt::format( "{} {}", printableName( std::string( r->routeMap ) ), r->sequence ) );
   const std::string text = joined( sequences, kMostNames, ", " );
   if( applied == 0 ) return "used by " + text;
   return fmt::format( "used by {}{}{} line{} of other stanzas", text, text.empty() ? "" : ", ", applied, applied == 1 ? "" : "s" );
}

Json jsonOfUsers( const Thing & thing, const References & references ) {
   Json users = Json::array();
   for( const auto * r : usersOf( thing, references ) ) users.push_back( { { "routeMap", r->routeMap }, { "sequence", r->sequence } } );
   return users;
}

// ---- compiled sequences

// The library's words for a matcher or setter. The words of a matcher with a list end in a memory address, which changes from run to run;
// that is cut off.
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

/// A compiled sequence, with the references of its text.
struct CompiledSequence {
   std::string_view routeMap;
   const RouteMapSeqStatus & status;
   const References & references;
   const StepText * step;   // null but for the dialect of FRR

   uint32_t number() const { return operatorsNumberOf( status.seqno() ); }
   /// The sequence at which it continues; 0 for none.
   uint32_t continueTo() const { return status.continueSeq() ? operatorsNumberOf( status.continueSeq()->seqno() ) : 0; }
   const Reference * reference( std::optional<MatchOption> option ) const { return references.in( routeMap, number(), option ); }
   bool isUndefined( MatchOption option ) const {
      const auto * r = reference( option );
      return r && !r->defined;
   }
   bool isInverted( MatchOption option ) const {
      const auto * r = reference( option );
      return r && r->invert;
   }
   /// Calls `act( option, its name, words )` for the clauses that the operator wrote.
   template <class Do>
   void forEachMatcher( Do && act ) const {
      for( const auto & [ option, matcher ] : status.matcher() )
         if( option != kMatchStep ) act( option, std::string_view( stringValue( option ) ), wordsOf( *matcher ) );
      if( !step ) return;
      for( const auto & test : step->tests )
         if( isValueOption( test.option ) )
            act( test.option, matchForm( test.option )->words,
                 writeMatch( test.option, test.clause ).substr( std::string_view( "match " ).size() ) );
   }
   /// Calls `act( option, words )`.
   template <class Do>
   void forEachSetter( Do && act ) const {
      for( const auto & [ option, setter ] : status.setter() ) act( stringValue( option ), wordsOf( *setter ) );
      if( !step ) return;
      for( const auto & clause : step->set ) act( setForm( clause.kind ).words, writeSet( clause ) );
   }

 private:
   uint32_t operatorsNumberOf( uint32_t compiled ) const { return step ? operatorsNumber( compiled ) : compiled; }
};

void writeSequence( const CompiledSequence & sequence, Console & console ) {
   const auto & status = sequence.status;
   const auto part = [ & ]( std::string_view relation, const std::string & words, std::string_view more = {} ) {
      console.line( fmt::format( "!    {} {}{}", relation, printable( words, kLongestText ), more ) );
   };
   console.line( fmt::format( "! {} {}", sequence.number(), stringValue( status.matchAction() ) ) );
   sequence.forEachMatcher( [ & ]( MatchOption option, std::string_view, const std::string & words ) {
      part( "matches", words,
            fmt::format( "{}{}", sequence.isInverted( option ) ? " invert" : "", sequence.isUndefined( option ) ? " (undefined)" : "" ) );
   } );
   if( const auto * call = sequence.reference( std::nullopt ) )
      console.line( fmt::format( "!    {}{}", clauseTextOf( *call ), call->defined ? "" : " (undefined)" ) );
   sequence.forEachSetter( [ & ]( std::string_view, const std::string & words ) { part( "sets", words ); } );
   if( const uint32_t target = sequence.continueTo(); target != 0 ) part( "continues to", std::to_string( target ) );
}

Json jsonOfSequence( const CompiledSequence & sequence ) {
   const auto & status = sequence.status;
   Json json = { { "number", sequence.number() }, { "action", stringValue( status.matchAction() ) } };
   json[ "matchers" ] = Json::array();
   sequence.forEachMatcher( [ & ]( MatchOption option, std::string_view name, const std::string & words ) {
      json[ "matchers" ].push_back( { { "option", name },
                                      { "text", words },
                                      { "invert", sequence.isInverted( option ) },
                                      { "undefined", sequence.isUndefined( option ) } } );
   } );
   json[ "setters" ] = Json::array();
   sequence.forEachSetter( [ & ]( std::string_view option, const std::string & words ) {
      json[ "setters" ].push_back( { { "option", option }, { "text", words } } );
   } );
   if( const auto * call = sequence.reference( std::nullopt ) )
      json[ "call" ] = { { "routeMap", call->to.name }, { "invert", call->invert }, { "undefined", !call->defined } };
   if( const uint32_t target = sequence.continueTo(); target != 0 ) json[ "continue" ] = target;
   return json;
}

// ---- undefined references

// The library's words. It has no bits for some kinds of lists.
std::string undefinedBits( const RouteMapStatus & status ) {
   std::ostringstream os;
   os << status.undefinedReferences();
   return os.str();
}

/// The undefined references of route maps.
class Undefined {
 public:
   explicit Undefined( const References & references ) {
      std::vector<std::string_view> next;
      for( const auto & r : references.all() ) {
         if( r.defined ) continue;
         auto & things = things_[ r.routeMap ];
         if( things.empty() ) next.push_back( r.routeMap );
         things.insert( r.to );
      }
      while( !next.empty() ) {
         const Thing routeMap{ ThingKind::routeMap, next.back() };
         next.pop_back();
         for( const auto * r : references.to( routeMap ) )
            if( callers_.insert( r->routeMap ).second && !things_.contains( r->routeMap ) ) next.push_back( r->routeMap );
      }
   }

   std::vector<Thing> of( std::string_view routeMap ) const {
      const auto at = things_.find( routeMap );
      return at == things_.end() ? std::vector<Thing>() : std::vector<Thing>( at->second.begin(), at->second.end() );
   }
   std::string textOf( std::string_view routeMap ) const {
      const auto things = of( routeMap );
      const bool below = callers_.contains( routeMap );
      if( things.empty() ) return below ? "nothing undefined except in its callees" : "nothing undefined";
      std::vector<std::string> names;
      for( const Thing & thing : things ) names.push_back( Agent::textOf( thing ) );
      return fmt::format( "undefined: {}{}", joined( names, kMostNames, ", " ), below ? ", and more in its callees" : "" );
   }

 private:
   std::map<std::string_view, std::set<Thing>> things_;   // by route map
   std::set<std::string_view> callers_;                   // route maps whose callees have undefined references, directly or not
};

// ---- things

template <class C>
std::string_view kindWord( const CommunityListTextOf<C> & list ) {
   return list.expanded ? "expanded, " : "standard, ";
}
template <class Text>
std::string_view kindWord( const Text & ) {
   return {};
}

/// Shows things one after the other: as text that can be loaded again, or as one JSON document.
class Show {
 public:
   Show( const LivePolicy & policy, bool json, Console & console )
         : policy_( policy ), references_( policy.text() ), undefined_( references_ ), json_( json ), console_( console ) {}

   template <class Text>
   void add( const Thing & thing, const Text & text ) {
      if( json_ )
         things_.push_back( jsonOfThing( thing, text ) );
      else
         write( thing, text );
      first_ = false;
   }
   /// `differences` of LivePolicy::verify(); none if it was not asked for.
   void finish( const std::optional<std::vector<std::string>> & differences ) {
      if( json_ ) {
         Json json = { { "things", std::move( things_ ) } };
         if( differences ) json[ "differences" ] = *differences;
         console_.line( jsonText( json ) );
      } else if( differences ) {
         if( !first_ ) console_.line( "" );
         if( differences->empty() ) console_.line( "! verified: the route maps in force are the configured ones" );
         for( const auto & difference : *differences ) console_.line( "! in force differs from the configuration: " + difference );
      }
      console_.flush();
   }
   bool empty() const noexcept { return first_; }

 private:
   template <class Text>
   void write( const Thing & thing, const Text & text ) {
      if( !first_ ) console_.line( "" );
      console_.write( lines( thing, text ) );
      writeCompiled( thing, text );
      const auto leftOut = placesOf( policy_.text(), leftOutAbout( policy_.text(), thing.name ) );
      if( !leftOut.empty() ) console_.line( "! read" + withoutText( leftOut ) );
   }

   template <class Text>
   std::string lines( const Thing & thing, const Text & text ) const {
      return linesOf( thing, text );
   }
   std::string lines( const Thing & thing, const RouteMapText & routeMap ) const {
      return writeRouteMap( std::string( thing.name ), routeMap, policy_.text().dialect );
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
      if( !status ) return console_.line( fmt::format( "! not in force; {}", usersText( thing, references_ ) ) );
      const auto features = status->features().toStrep();
      console_.line( fmt::format( "! compiled; reads {}; {}; {}", features.empty() ? "no features" : features.view(),
                                  undefined_.textOf( thing.name ), usersText( thing, references_ ) ) );
      forEachSequence( thing.name, *status, [ & ]( const CompiledSequence & sequence ) { writeSequence( sequence, console_ ); } );
   }

   template <class Text>
   Json jsonOfThing( const Thing & thing, const Text & text ) const {
      Json json = { { "kind", nameOf( thing.kind ) }, { "name", thing.name } };
      addCompiled( json, thing, text );
      if( const auto leftOut = leftOutAbout( policy_.text(), thing.name ); !leftOut.empty() )
         json[ "leftOut" ] = placesOf( policy_.text(), leftOut );
      json[ "usedBy" ] = jsonOfUsers( thing, references_ );
      json[ "applied" ] = references_.applicationsOf( thing ).size();
      json[ "text" ] = jsonOfLines( lines( thing, text ) );
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
      if( status ) {
         json[ "features" ] = status->features().toStrep().view();
         json[ "undefinedReferences" ] = undefinedBits( *status );
      }
      json[ "undefined" ] = Json::array();
      for( const auto & to : undefined_.of( thing.name ) )
         json[ "undefined" ].push_back( { { "kind", nameOf( to.kind ) }, { "name", to.name } } );
      if( !status ) return;
      json[ "sequences" ] = Json::array();
      forEachSequence( thing.name, *status,
                       [ & ]( const CompiledSequence & sequence ) { json[ "sequences" ].push_back( jsonOfSequence( sequence ) ); } );
   }

   // Of the operator's sequences.
   template <class Do>
   void forEachSequence( std::string_view routeMap, const RouteMapStatus & status, Do && act ) const {
      const bool isFrr = policy_.text().dialect == Dialect::frr;
      for( const auto & [ compiled, sequence ] : status.seqStatus() )
         if( !isFrr || isOperatorsSequence( compiled ) ) act( CompiledSequence{ routeMap, *sequence, references_, stepOf( *sequence ) } );
   }

   const LivePolicy & policy_;
   const References references_;
   const Undefined undefined_;
   const bool json_;
   Console & console_;
   Json things_ = Json::array();
   bool first_ = true;
};

}   // namespace

int show( const ShowOptions & options, Console & console ) {
   if( options.name && options.name->empty() ) throw CommandError{ "NAME is empty" };
   const LineLoader loader = loadFiles( options.files, options.dialect, options.lenient, console );
   const auto policy = livePolicyOf( loader, console, options.json );
   Show show( *policy, options.json, console );
   forEachThing( policy->text(), [ & ]( const Thing & thing, const auto & text ) {
      if( !options.name || *options.name == thing.name ) show.add( thing, text );
   } );
   if( options.name && show.empty() ) throw CommandError{ unknownNameText( *options.name, policy->text() ) };
   std::optional<std::vector<std::string>> differences;
   if( options.verify ) differences = policy->verify();
   show.finish( differences );
   return differences && !differences->empty() ? kExitFindings : kExitOk;
}

}   // namespace Agent
