#include "dialect/FrrRules.h"

#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "dialect/Numbers.h"

namespace Agent {

namespace {

// The steps that all route maps share. The name of a route map has no blank, so that no other step has such a name.
constexpr std::string_view kDenies = "a denial";
constexpr std::string_view kAfterCall = "after a call";

class Compilation {
 public:
   explicit Compilation( const PolicyText & text ) : text_( text ) {
      for( const auto & [ name, map ] : text.routeMaps )
         for( const auto & [ number, sequence ] : map.sequences )
            if( calls( sequence ) ) called_.insert( sequence.call->name );
   }

   CompiledRules run() {
      rules_.steps[ std::string( kDenies ) ].kind = StepText::Kind::denies;
      rules_.steps[ std::string( kAfterCall ) ].kind = StepText::Kind::afterCall;
      for( const auto & [ name, map ] : text_.routeMaps ) rules_.routeMaps[ name ] = compiled( name, map );
      return std::move( rules_ );
   }

 private:
   using Sequences = std::map<uint32_t, SequenceText>;

   // The call of a deny, and the call of an undefined route map, have no effect.
   bool calls( const SequenceText & sequence ) const {
      return sequence.action == MatchPermit::permit && sequence.call && text_.routeMaps.contains( sequence.call->name );
   }

   RouteMapText compiled( const std::string & name, const RouteMapText & from ) {
      RouteMapText to;
      to.place = from.place;
      bool continues = false;
      for( auto at = from.sequences.begin(); at != from.sequences.end(); ++at ) {
         const auto & [ number, sequence ] = *at;
         SequenceText & compiled = to.sequences[ compiledNumber( number ) ] = matchesOf( sequence );
         if( sequence.action == MatchPermit::deny ) {
            stepIs( compiled, kDenies );
            continue;
         }
         stepIs( compiled, permitStep( name, number, sequence ) );
         if( const auto next = successor( from.sequences, at ); next != from.sequences.end() ) {
            compiled.continueTo = ContinueClause{ compiledNumber( next->first ), sequence.continueTo->place };
            continues = true;
         }
         if( !calls( sequence ) ) continue;
         compiled.call = sequence.call;
         to.sequences[ afterCallNumber( number ) ] = denial( kAfterCall );
      }
      if( continues || called_.contains( name ) ) to.sequences[ kFence ] = denial( kDenies );
      return to;
   }

   static SequenceText matchesOf( const SequenceText & from ) {
      SequenceText to;
      to.action = from.action;
      to.description = from.description;
      to.match = from.match;
      to.place = from.place;
      to.actionPlace = from.actionPlace;
      return to;
   }

   static void stepIs( SequenceText & sequence, std::string_view step ) { sequence.match[ kMatchStep ].name = step; }

   static SequenceText denial( std::string_view step ) {
      SequenceText sequence;
      sequence.action = MatchPermit::deny;
      stepIs( sequence, step );
      return sequence;
   }

   std::string permitStep( const std::string & name, uint32_t number, const SequenceText & sequence ) {
      std::string step = fmt::format( "{} {}", name, number );
      rules_.steps[ step ] = { StepText::Kind::permits, sequence.set, name, number };
      return step;
   }

   // Where the route map goes on behind a permit; the end if the permit ends it.
   static Sequences::const_iterator successor( const Sequences & sequences, Sequences::const_iterator at ) {
      const auto & to = at->second.continueTo;
      if( !to ) return sequences.end();
      return to->target == 0 ? std::next( at ) : sequences.lower_bound( to->target );
   }

   const PolicyText & text_;
   std::set<std::string> called_;
   CompiledRules rules_;
};

}   // namespace

CompiledRules compileFrrRules( const PolicyText & text ) {
   return Compilation( text ).run();
}

}   // namespace Agent
