#include "analysis/References.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <tuple>
#include <utility>

#include "text/MatchForms.h"
#include "text/Printable.h"
#include "text/SetForms.h"
#include "text/Spelling.h"

namespace Agent {

namespace {

constexpr size_t kMostSuggestions = 3;

std::string shown( std::string_view name ) {
   return printableName( std::string( name ) );
}

}   // namespace

// ---- things

std::string textOf( const Thing & thing ) {
   return fmt::format( "{} {}", nameOf( thing.kind ), shown( thing.name ) );
}

bool isDefined( const PolicyText & text, const Thing & thing ) {
   bool defined = false;
   forEachKind( text, [ &, name = std::string( thing.name ) ]( ThingKind kind, const auto & things ) {
      if( kind == thing.kind ) defined = things.contains( name );
   } );
   return defined;
}

std::vector<ThingKind> kindsCalled( std::string_view name, const PolicyText & text ) {
   std::vector<ThingKind> kinds;
   for( const ThingKind kind : thingKinds() )
      if( isDefined( text, { kind, name } ) ) kinds.push_back( kind );
   return kinds;
}

std::vector<Thing> thingsCalled( std::string_view name, const PolicyText & text, const References & references ) {
   std::vector<Thing> things;
   for( const ThingKind kind : thingKinds() ) {
      const Thing thing{ kind, name };
      if( isDefined( text, thing ) || references.isUsed( thing ) ) things.push_back( thing );
   }
   return things;
}

std::string joined( const std::vector<std::string> & parts, size_t most, std::string_view last ) {
   std::string text;
   const size_t count = std::min( parts.size(), most );
   for( size_t i = 0; i < count; ++i ) {
      if( i != 0 ) text += i + 1 == parts.size() ? last : ", ";
      text += parts[ i ];
   }
   if( count < parts.size() ) text += fmt::format( " and {} more", parts.size() - count );
   return text;
}

std::vector<std::string> namesLike( const std::string & name, const PolicyText & text ) {
   const size_t limit = std::max<size_t>( 1, ( name.size() + 1 ) / 3 );
   const std::string wanted = lowerCase( name );
   std::set<std::pair<size_t, std::string>> near;
   forEachThing( text, [ & ]( const Thing & thing, const auto & ) {
      const size_t distance = editDistance( wanted, lowerCase( thing.name ), limit );
      if( distance > limit ) return;
      near.emplace( distance, thing.name );
      if( near.size() > kMostSuggestions ) near.erase( std::prev( near.end() ) );
   } );
   std::vector<std::string> names;
   for( const auto & [ distance, found ] : near ) names.push_back( found );
   return names;
}

std::string unknownNameText( const std::string & name, const PolicyText & text ) {
   std::vector<std::string> near;
   for( const auto & like : namesLike( name, text ) ) near.push_back( shown( like ) );
   const std::string reason = fmt::format( "unknown name {}", shown( name ) );
   return near.empty() ? reason : fmt::format( "{}; did you mean {}?", reason, joined( near, kMostSuggestions, " or " ) );
}

// ---- applications

namespace {

// In both families, if its kind has families.
std::vector<Thing> candidatesOf( const Application & application ) {
   const ThingKind kind = kindOf( application );
   std::vector<Thing> things{ { kind, application.name } };
   if( const auto other = inOtherFamily( kind ) ) things.push_back( { *other, application.name } );
   return things;
}

}   // namespace

std::string_view nameOf( Application::Kind kind ) noexcept {
   switch( kind ) {
      case Application::Kind::prefixList: return "prefix-list";
      case Application::Kind::accessList: return "access-list";
      case Application::Kind::routeMap: return nameOf( ThingKind::routeMap );
      case Application::Kind::asPathList: return nameOf( ThingKind::asPathList );
   }
   return {};
}

ThingKind kindOf( const Application & application ) noexcept {
   switch( application.kind ) {
      case Application::Kind::routeMap: return ThingKind::routeMap;
      case Application::Kind::prefixList: return ThingKind::ipv4PrefixList;
      case Application::Kind::accessList: return ThingKind::ipv4AccessList;
      case Application::Kind::asPathList: return ThingKind::asPathList;
   }
   return {};
}

bool isDefined( const PolicyText & text, const Application & application ) {
   return std::ranges::any_of( candidatesOf( application ), [ & ]( const Thing & thing ) { return isDefined( text, thing ); } );
}

// ---- references

std::string clauseTextOf( const Reference & reference ) {
   const MatchForm * const form = reference.option ? matchForm( *reference.option ) : nullptr;
   const std::string relation = form ? fmt::format( "matches {}", form->words )
      : reference.set                ? fmt::format( "sets {}", setForm( *reference.set ).words )
                                     : "calls";
   return fmt::format( "{} {}{}", relation, shown( reference.to.name ), reference.invert ? " invert" : "" );
}

std::string textOf( const Reference & reference ) {
   return fmt::format( "{} {} {}", shown( reference.routeMap ), reference.sequence, clauseTextOf( reference ) );
}

References::References( const PolicyText & text ) {
   for( const auto & [ name, routeMap ] : text.routeMaps )
      for( const auto & [ number, sequence ] : routeMap.sequences ) addSequence( text, name, number, sequence );
   for( const auto & reference : all_ ) byThing_[ reference.to ].push_back( &reference );
   for( const auto & application : text.applications ) addApplication( text, application );
}

void References::addSequence( const PolicyText & text, std::string_view routeMap, uint32_t number, const SequenceText & sequence ) {
   const auto add = [ & ]( ThingKind kind, std::string_view name, const Place & place ) -> Reference & {
      const Thing to{ kind, name };
      return all_.emplace_back( Reference{ routeMap, number, {}, {}, false, to, isDefined( text, to ), place } );
   };
   for( const auto & [ option, clause ] : sequence.match )
      if( const auto kind = thingNamedBy( option, clause ) ) {
         Reference & reference = add( *kind, clause.name, clause.place );
         reference.option = option;
         reference.invert = clause.invert;
      }
   for( const auto & clause : sequence.set )
      if( const auto kind = thingNamedBy( clause ) ) add( *kind, clause.word, clause.place ).set = clause.kind;
   if( const auto * call = followedCall( sequence, text.dialect ) )
      add( ThingKind::routeMap, call->name, call->place ).invert = call->invert;
}

void References::addApplication( const PolicyText & text, const Application & application ) {
   const auto candidates = candidatesOf( application );
   const auto addTo = [ & ]( auto isMeant ) {
      bool any = false;
      for( const Thing & thing : candidates ) {
         if( !isMeant( thing ) ) continue;
         applications_[ thing ].push_back( &application );
         any = true;
      }
      return any;
   };
   if( addTo( [ & ]( const Thing & thing ) { return isDefined( text, thing ); } ) ) return;
   if( addTo( [ & ]( const Thing & thing ) { return byThing_.contains( thing ); } ) ) return;
   addTo( [ & ]( const Thing & thing ) { return thing == candidates.front(); } );
}

std::span<const Application * const> References::applicationsOf( const Thing & thing ) const {
   const auto found = applications_.find( thing );
   if( found == applications_.end() ) return {};
   return found->second;
}

bool References::isUsed( const Thing & thing ) const {
   return byThing_.contains( thing ) || applications_.contains( thing );
}

std::span<const Reference * const> References::to( const Thing & thing ) const {
   const auto found = byThing_.find( thing );
   if( found == byThing_.end() ) return {};
   return found->second;
}

const Reference * References::in( std::string_view routeMap, uint32_t sequence, std::optional<MatchOption> option ) const {
   const auto place = []( std::string_view map, uint32_t number ) { return std::pair( map, number ); };
   auto at = std::lower_bound( all_.begin(), all_.end(), place( routeMap, sequence ),
                               [ & ]( const Reference & r, const auto & key ) { return place( r.routeMap, r.sequence ) < key; } );
   for( ; at != all_.end() && place( at->routeMap, at->sequence ) == place( routeMap, sequence ); ++at )
      if( !at->set && at->option == option ) return &*at;
   return nullptr;
}

}   // namespace Agent
