#include "analysis/Analysis.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "analysis/CallCycles.h"
#include "analysis/HeldBack.h"
#include "analysis/ShadowedLines.h"
#include "text/MatchForms.h"
#include "text/Operands.h"
#include "text/Printable.h"

namespace Agent {

namespace {

using Kind = Finding::Kind;
using Findings = std::vector<Finding>;

constexpr size_t kMostNames = 20;   // in one finding

std::string shown( std::string_view name ) {
   return printableName( std::string( name ) );
}

// ---- references

// "access-list P is undefined", with the other kinds that have the name: ", but ip prefix-list P and tag-set P are defined".
std::string undefinedText( const PolicyText & text, const Thing & thing, std::string_view kindName ) {
   std::vector<std::string> others;
   for( const ThingKind kind : kindsCalled( thing.name, text ) ) others.push_back( textOf( Thing{ kind, thing.name } ) );
   const std::string undefined = fmt::format( "{} {} is undefined", kindName, shown( thing.name ) );
   if( others.empty() ) return undefined;
   return fmt::format( "{}, but {} {} defined", undefined, joined( others, kMostNames, " and " ), others.size() == 1 ? "is" : "are" );
}

// Whether the form reads `name` as a name: not as an address or as a word of a longer form.
bool isReadAsName( const MatchForm & form, std::string_view name ) {
   const auto words = matchWordsBehind( std::string( form.words ) + ' ' );
   if( std::ranges::find( words, name ) != words.end() ) return false;
   return form.operand != MatchForm::Operand::nextHop || ( name != "address" && !parseAddress( name ) );
}

// Access lists and prefix lists are easily confused: if the other list is defined, its form of the clause was probably meant.
// "; write "match ip address prefix-list P"", or nothing.
std::string adviceFor( const PolicyText & text, const Reference & reference ) {
   const auto * written = reference.option && !reference.invert ? matchForm( *reference.option ) : nullptr;
   if( !written ) return {};
   for( const ThingKind kind : kindsCalled( reference.to.name, text ) )
      if( const auto * meant = matchFormNaming( kind, *written ); meant && isReadAsName( *meant, reference.to.name ) )
         return fmt::format( "; write \"match {} {}\"", meant->words, shown( reference.to.name ) );
   return {};
}

void findUndefined( const PolicyText & text, const References & references, Findings & findings ) {
   for( const auto & reference : references.all() ) {
      if( reference.defined ) continue;
      const auto other = inOtherFamily( reference.to.kind );
      const bool inOther = other && isDefined( text, { *other, reference.to.name } );
      findings.push_back( { reference.place, inOther ? Kind::wrongFamily : Kind::undefined,
                            fmt::format( "{}: {}{}", textOf( reference ), undefinedText( text, reference.to, nameOf( reference.to.kind ) ),
                                         adviceFor( text, reference ) ) } );
   }
}

void findUndefinedApplications( const PolicyText & text, Findings & findings ) {
   for( const auto & application : text.applications )
      if( !isDefined( text, application ) )
         findings.push_back(
            { application.place, Kind::undefined,
              fmt::format( "\"{}\": {}", application.line,
                           undefinedText( text, { kindOf( application ), application.name }, nameOf( application.kind ) ) ) } );
}

// Whether a clause or another stanza may mean the list. An undefined use of the same name counts: it is a finding of its own.
bool mayBeUsed( const PolicyText & text, const References & references, const Thing & thing ) {
   if( references.isUsed( thing ) || text.otherWords.contains( std::string( thing.name ) ) ) return true;
   return std::ranges::any_of( thingsCalled( thing.name, text, references ), [ & ]( const Thing & t ) { return !isDefined( text, t ); } );
}

void findUnused( const PolicyText & text, const References & references, Findings & findings ) {
   forEachThing( text, [ & ]( const Thing & thing, const auto & what ) {
      if( thing.kind == ThingKind::routeMap || mayBeUsed( text, references, thing ) ) return;
      findings.push_back( { what.place, Kind::unused, fmt::format( "no route map uses {}", textOf( thing ) ) } );
   } );
}

std::string textOf( const CallCycle::Step & step ) {
   std::vector<std::string> numbers;
   for( const uint32_t number : step.sequences ) numbers.push_back( std::to_string( number ) );
   return fmt::format( "{} {} {} {}", shown( step.routeMap ), joined( numbers, kMostNames, " and " ),
                       numbers.size() == 1 ? "calls" : "call", shown( step.callee ) );
}

void findCycles( const References & references, Findings & findings ) {
   for( const auto & cycle : callCyclesOf( references ) ) {
      std::vector<std::string> steps, names;
      for( const auto & step : cycle.steps ) steps.push_back( textOf( step ) );
      for( const auto name : cycle.notInForce ) names.push_back( shown( name ) );
      std::string text = joined( steps, kMostNames, ", " );
      if( !names.empty() ) text += "; not in force: " + joined( names, kMostNames, ", " );
      findings.push_back( { cycle.steps.front().place, Kind::cycle, std::move( text ) } );
   }
}

// The lowest route maps only: their callers, and the members of cycles, are held back with them.
void findHeldBack( const PolicyText & text, Findings & findings ) {
   const auto held = routeMapsHeldBack( text.routeMaps, text.dialect );
   for( const auto & [ name, by ] : held ) {
      const CallClause * first = nullptr;   // not null after the loop
      bool callsHeldBack = false;
      for( const auto & [ number, sequence ] : text.routeMaps.at( name ).sequences ) {
         const auto * call = followedCall( sequence, text.dialect );
         if( !call || !text.routeMaps.contains( call->name ) ) continue;
         if( !first ) first = call;
         callsHeldBack |= held.contains( call->name );
      }
      if( callsHeldBack ) continue;
      const std::string why = by == HeldBackBy::depth ? fmt::format( "its calls go deeper than {}", deepestCalls( text.dialect ) )
                                                      : fmt::format( "one evaluation may make more than {} calls", kMostCalls );
      findings.push_back( { first->place, by == HeldBackBy::depth ? Kind::tooDeep : Kind::tooManyCalls,
                            fmt::format( "{} is not in force, nor are its callers: {}", shown( name ), why ) } );
   }
}

// ---- sequences

using Clause = std::map<MatchOption, MatchClause>::value_type;

// The first clause on this subject that matches one family only; null for none. An inverted clause holds for the other family, too.
const Clause * firstOf( const SequenceText & sequence, MatchForm::Subject subject, AddressFamily af ) {
   for( const auto & clause : sequence.match ) {
      const auto * form = matchForm( clause.first );
      if( form && form->subject == subject && familyOf( *form ) == af && !clause.second.invert ) return &clause;
   }
   return nullptr;
}

std::string textOf( const Clause & clause ) {
   const auto & [ option, what ] = clause;
   const auto * form = matchForm( option );
   const std::string words( form ? form->words : stringValue( option ) );
   if( what.address ) return fmt::format( "{} {}", words, what.address->toStrep().view() );
   return what.name.empty() ? fmt::format( "{} {}", words, what.number ) : fmt::format( "{} {}", words, shown( what.name ) );
}

/// Two clauses that never hold together, and the reason.
struct Contradiction {
   const Clause * first;
   const Clause * second;
   std::string_view why;
};

std::optional<Contradiction> contradictionIn( const PolicyText & text, const SequenceText & sequence ) {
   using Subject = MatchForm::Subject;
   // The two subjects are separate: an IPv4 route may have an IPv6 next hop. To FRR, a route has a next hop of each family.
   for( const auto & [ subject, why ] : { std::pair( Subject::prefix, "no route belongs to both families" ),
                                          std::pair( Subject::nextHop, "no next hop belongs to both families" ) } ) {
      const auto * ipv4 = firstOf( sequence, subject, AddressFamily::ipv4 );
      const auto * ipv6 = firstOf( sequence, subject, AddressFamily::ipv6 );
      const bool mayHold = subject == Subject::nextHop && text.dialect == Dialect::frr;
      if( ipv4 && ipv6 && !mayHold ) return Contradiction{ ipv4, ipv6, why };
   }
   const auto tag = sequence.match.find( MatchOption::matchTag ), tagSet = sequence.match.find( MatchOption::matchTagSet );
   if( tag == sequence.match.end() || tagSet == sequence.match.end() ) return std::nullopt;
   const auto set = text.tagSets.find( tagSet->second.name );
   if( set == text.tagSets.end() || set->second.tags.contains( static_cast<uint32_t>( tag->second.number ) ) ) return std::nullopt;
   return Contradiction{ &*tag, &*tagSet, "the tag is not in the set" };
}

/// Finds the sequences of a route map that routes reach.
class RouteMapWalk {
 public:
   RouteMapWalk( const PolicyText & text, std::string_view name, const RouteMapText & routeMap, Findings & findings )
         : text_( text ), name_( shown( name ) ), sequences_( routeMap.sequences ), findings_( findings ) {}

   void run() {
      if( !sequences_.empty() ) reached_.insert( sequences_.begin()->first );
      const Sequence * last = nullptr;   // the last reached sequence: no route goes beyond it
      for( auto at = sequences_.begin(); at != sequences_.end(); ++at ) {
         const bool never = isContradiction( *at );
         if( at->second.action == MatchPermit::deny )
            findNoEffect( *at );
         else
            findMissingTarget( *at );
         if( reached_.erase( at->first ) == 0 ) {
            findings_.push_back( { at->second.place, Kind::unreachable, fmt::format( "{} {}: {}", name_, at->first, whyNot( *last ) ) } );
            continue;
         }
         last = &*at;
         const auto next = std::next( at );
         if( maySkip( at->second ) && next != sequences_.end() ) reached_.insert( next->first );
         if( const auto target = never ? sequences_.end() : targetOf( *at ); target != sequences_.end() ) reached_.insert( target->first );
      }
   }

 private:
   using Sequences = std::map<uint32_t, SequenceText>;
   using Sequence = Sequences::value_type;

   // Whether a route may reach the sequence without matching it. A call of an undefined route map counts as absent; a call of FRR denies the
   // route or lets the sequence match.
   bool maySkip( const SequenceText & sequence ) const {
      const bool callDecides = !isFrr_ && sequence.call && text_.routeMaps.contains( sequence.call->name );
      return !sequence.match.empty() || callDecides;
   }

   // The sequence at which a permitted route continues; the end if it stops.
   Sequences::const_iterator targetOf( const Sequence & from ) const {
      const auto & [ number, sequence ] = from;
      if( sequence.action == MatchPermit::deny || !sequence.continueTo ) return sequences_.end();
      const uint32_t target = sequence.continueTo->target;
      if( target == 0 ) return sequences_.upper_bound( number );
      if( target <= number ) return sequences_.end();
      return isFrr_ ? sequences_.lower_bound( target ) : sequences_.find( target );
   }

   std::string whyNot( const Sequence & before ) const {
      const auto target = targetOf( before );
      const std::string where = target == sequences_.end() ? "ends the route map" : fmt::format( "continues to {}", target->first );
      return fmt::format( "no route reaches this sequence: {} matches every route and {}", before.first, where );
   }

   bool isContradiction( const Sequence & at ) {
      const auto contradiction = contradictionIn( text_, at.second );
      if( !contradiction ) return false;
      findings_.push_back( { contradiction->second->second.place, Kind::contradiction,
                             fmt::format( "{} {} matches {} and {}: {}", name_, at.first, textOf( *contradiction->first ),
                                          textOf( *contradiction->second ), contradiction->why ) } );
      return true;
   }

   void findNoEffect( const Sequence & at ) {
      const SequenceText & sequence = at.second;
      const auto add = [ & ]( const Place & place, const std::string & what ) {
         findings_.push_back( { place, Kind::noEffect, fmt::format( "{} {} denies, so {}", name_, at.first, what ) } );
      };
      if( !sequence.set.empty() ) add( sequence.place, "it sets nothing" );
      if( sequence.call && isFrr_ ) add( sequence.call->place, "it calls nothing" );
      if( const auto & to = sequence.continueTo )
         add( to->place, to->target == 0 ? "it never continues" : fmt::format( "it never continues to {}", to->target ) );
   }

   void findMissingTarget( const Sequence & at ) {
      const auto & to = at.second.continueTo;
      if( !to || to->target == 0 || sequences_.contains( to->target ) || targetOf( at ) != sequences_.end() ) return;
      findings_.push_back(
         { to->place, Kind::missingTarget,
           fmt::format( "{} {} continues to {}, which does not exist: the route map ends there", name_, at.first, to->target ) } );
   }

   const PolicyText & text_;
   const std::string name_;
   const Sequences & sequences_;
   Findings & findings_;
   const bool isFrr_ = text_.dialect == Dialect::frr;
   std::set<uint32_t> reached_;   // of the sequences not yet visited
};

// ---- lists and route maps that permit nothing

template <class Line>
bool permits( const ListText<Line> & list ) {
   return std::ranges::any_of( list.lines, []( const auto & line ) { return line.second.action == MatchPermit::permit; } );
}
bool permits( const RouteMapText & routeMap ) {
   return std::ranges::any_of( routeMap.sequences, []( const auto & s ) { return s.second.action == MatchPermit::permit; } );
}
bool permits( const TagSetText & ) {
   return true;
}

// FRR has prefix lists without lines. They match no prefix, but every next hop and every source.
bool isMatchedWithoutLines( const PolicyText & text, const Reference & reference ) {
   const auto isWithoutLines = [ name = std::string( reference.to.name ) ]( const PolicyText::ByName<PrefixListText> & lists ) {
      const auto at = lists.find( name );
      return at != lists.end() && at->second.lines.empty();
   };
   switch( reference.to.kind ) {
      case ThingKind::ipv4PrefixList: return reference.option != MatchOption::matchIpPrefixList && isWithoutLines( text.ipv4PrefixLists );
      case ThingKind::ipv6PrefixList: return reference.option != MatchOption::matchIpv6PrefixList && isWithoutLines( text.ipv6PrefixLists );
      default: return false;
   }
}

// No finding if no sequence needs a permit of it: an inverted clause always holds then, which may be meant.
void addNeverPermits( const PolicyText & text, const References & references, const Thing & thing, const Place & place,
                      Findings & findings ) {
   std::vector<std::string> sequences;
   const Reference * last = nullptr;
   for( const auto * r : references.to( thing ) ) {
      if( r->invert || isMatchedWithoutLines( text, *r ) || ( last && last->routeMap == r->routeMap && last->sequence == r->sequence ) )
         continue;
      last = r;
      sequences.push_back( fmt::format( "{} {}", shown( r->routeMap ), r->sequence ) );
   }
   if( sequences.empty() ) return;
   const bool denies = thing.kind == ThingKind::routeMap && text.dialect == Dialect::frr;   // the routes of its callers
   const std::string_view verb = denies ? "permit" : "match";
   findings.push_back( { place, Kind::neverPermits,
                         fmt::format( "{} permits nothing: {} never {}{}", textOf( thing ), joined( sequences, kMostNames, " and " ), verb,
                                      sequences.size() > 1 ? ""
                                         : denies          ? "s"
                                                           : "es" ) } );
}

void findNeverPermits( const PolicyText & text, const References & references, Findings & findings ) {
   forEachThing( text, [ & ]( const Thing & thing, const auto & what ) {
      if( !permits( what ) ) addNeverPermits( text, references, thing, what.place, findings );
   } );
}

// ---- prefix lists

void findShadowed( const PolicyText & text, ThingKind kind, const PolicyText::ByName<PrefixListText> & lists, const References & references,
                   Findings & findings ) {
   const auto isPermit = []( const auto & line ) { return line.second.action == MatchPermit::permit; };
   for( const auto & [ name, list ] : lists ) {
      const Thing thing{ kind, name };
      auto left = std::ranges::count_if( list.lines, isPermit );
      const bool none = left == 0;   // findNeverPermits reports that
      for( const auto & shadowed : shadowedLinesOf( list ) ) {
         const auto line = list.lines.find( shadowed.number );
         left -= isPermit( *line );
         findings.push_back(
            { line->second.place, Kind::shadowed,
              fmt::format( "{} seq {} never decides: seq {} matches all its prefixes", textOf( thing ), shadowed.number, shadowed.by ) } );
      }
      if( left == 0 && !none ) addNeverPermits( text, references, thing, list.place, findings );
   }
}

// ---- doubts

Kind kindOf( Doubt::Kind kind ) noexcept {
   switch( kind ) {
      case Doubt::Kind::skipped: return Kind::skipped;
      case Doubt::Kind::replaced: return Kind::replaced;
      case Doubt::Kind::conflict: return Kind::conflict;
      case Doubt::Kind::netmask: return Kind::netmask;
      case Doubt::Kind::hostBits: return Kind::hostBits;
      case Doubt::Kind::refused: return Kind::refused;
   }
   return {};
}

void takeDoubts( const PolicyText & text, Findings & findings ) {
   for( const auto & doubt : text.doubts ) findings.push_back( { doubt.place, kindOf( doubt.kind ), doubt.text } );
}

}   // namespace

std::string_view nameOf( Kind kind ) noexcept {
   switch( kind ) {
      case Kind::undefined: return "undefined";
      case Kind::wrongFamily: return "wrong-family";
      case Kind::unused: return "unused";
      case Kind::cycle: return "cycle";
      case Kind::tooDeep: return "too-deep";
      case Kind::tooManyCalls: return "too-many-calls";
      case Kind::unreachable: return "unreachable";
      case Kind::missingTarget: return "missing-target";
      case Kind::contradiction: return "contradiction";
      case Kind::shadowed: return "shadowed";
      case Kind::neverPermits: return "never-permits";
      case Kind::noEffect: return "no-effect";
      case Kind::skipped: return "skipped";
      case Kind::replaced: return "replaced";
      case Kind::conflict: return "conflict";
      case Kind::netmask: return "netmask";
      case Kind::hostBits: return "host-bits";
      case Kind::refused: return "refused";
      case Kind::leftOut: return "left-out";
      case Kind::unusedIgnore: return "unused-ignore";
   }
   return {};
}

std::span<const Kind> findingKinds() noexcept {
   static constexpr auto kKinds = [] {
      std::array<Kind, size_t( Kind::unusedIgnore ) + 1> kinds{};
      for( size_t i = 0; i < kinds.size(); ++i ) kinds[ i ] = Kind( i );
      return kinds;
   }();
   return kKinds;
}

void sortByPlace( std::vector<Finding> & findings ) {
   const auto where = []( const Finding & f ) { return std::tie( f.place.file, f.place.line, f.place.column ); };
   std::stable_sort( findings.begin(), findings.end(), [ & ]( const auto & a, const auto & b ) { return where( a ) < where( b ); } );
}

std::vector<Finding> findingsOf( const PolicyText & text, const References & references ) {
   Findings findings;
   takeDoubts( text, findings );
   for( const auto & line : text.leftOut ) findings.push_back( { line.error.place, Kind::leftOut, line.error.reason } );
   findUndefined( text, references, findings );
   findUndefinedApplications( text, findings );
   findUnused( text, references, findings );
   findCycles( references, findings );
   findHeldBack( text, findings );
   findNeverPermits( text, references, findings );
   for( const auto & [ name, routeMap ] : text.routeMaps ) RouteMapWalk( text, name, routeMap, findings ).run();
   findShadowed( text, ThingKind::ipv4PrefixList, text.ipv4PrefixLists, references, findings );
   findShadowed( text, ThingKind::ipv6PrefixList, text.ipv6PrefixLists, references, findings );
   sortByPlace( findings );
   return findings;
}

bool isRoot( const References & references, std::string_view routeMap ) {
   return references.to( { ThingKind::routeMap, routeMap } ).empty();
}

std::string placeText( const PolicyText & text, const Place & place ) {
   if( place.line == 0 || place.file >= text.files.size() ) return {};
   return fmt::format( "{}:{}:{}", text.files[ place.file ], place.line, place.column );
}

}   // namespace Agent
