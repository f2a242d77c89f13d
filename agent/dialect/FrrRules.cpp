#include "dialect/FrrRules.h"

#include <iterator>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "dialect/Numbers.h"
#include "text/MatchForms.h"
#include "text/Printable.h"
#include "text/SetForms.h"
#include "text/ValueOptions.h"

namespace Agent {

namespace {

// The steps that all route maps share. The name of a route map has no blank, so that no other step has such a name.
constexpr std::string_view kDenies = "a denial";
constexpr std::string_view kAfterCall = "after a call";

class Compilation {
 public:
   Compilation( const PolicyText & text, const Assumptions & assumptions, const CompiledRules & former )
         : text_( text ), assumptions_( assumptions ), former_( former ) {
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
         stepIs( compiled, stepOf( name, number, sequence ) );
         if( sequence.action == MatchPermit::deny ) continue;
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

   bool isForeign( const MatchForm * form ) const { return form && !isIn( assumptions_.daemon(), form->daemons ); }

   SequenceText matchesOf( const SequenceText & from ) const {
      SequenceText to;
      to.action = from.action;
      to.description = from.description;
      for( const auto & clause : from.match )
         if( !isValueOption( clause.first ) && !isForeign( matchForm( clause.first ) ) ) to.match.insert( clause );
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

   // Returns the name of the step.
   std::string stepOf( const std::string & name, uint32_t number, const SequenceText & sequence ) {
      const bool denies = sequence.action == MatchPermit::deny;
      auto tests = testsOf( sequence );
      if( denies && tests.empty() ) return std::string( kDenies );
      std::string step = fmt::format( "{} {}", name, number );
      if( denies )
         rules_.steps[ step ] = { StepText::Kind::denies, std::move( tests ), {}, {}, name, number };
      else
         rules_.steps[ step ] = { StepText::Kind::permits, std::move( tests ), sequence.set, listsOf( sequence.set ), name, number };
      return step;
   }

   SetLists listsOf( const SetClauses & set ) {
      SetLists lists;
      const auto put = [ & ]( SetKind kind, auto & to, const auto & from, auto member ) {
         const auto * const clause = set.find( kind );
         if( clause && thingNamedBy( *clause ) ) to = shared( clause->word, from, former_.*member, rules_.*member );
      };
      put( SetKind::commListDelete, lists.communities, text_.communityLists, &CompiledRules::communityLists );
      put( SetKind::largeCommListDelete, lists.largeCommunities, text_.largeCommunityLists, &CompiledRules::largeCommunityLists );
      put( SetKind::extCommListDelete, lists.extCommunities, text_.extCommunityLists, &CompiledRules::extCommunityLists );
      put( SetKind::asPathExclude, lists.ases, text_.asPathLists, &CompiledRules::asPathLists );
      return lists;
   }

   template <class Text>
   static SharedList<Text> shared( const std::string & name, const PolicyText::ByName<Text> & from,
                                   const CompiledRules::SharedLists<Text> & former, CompiledRules::SharedLists<Text> & all ) {
      const auto list = from.find( name );
      if( list == from.end() || list->second.lines.empty() ) return {};
      auto & text = all[ name ].text;
      if( text ) return { text };
      const auto was = former.find( name );
      const bool isSame = was != former.end() && *was->second.text == list->second;
      text = isSame ? was->second.text : std::make_shared<const Text>( list->second );
      return { text };
   }

   std::vector<StepTest> testsOf( const SequenceText & sequence ) const {
      std::vector<StepTest> tests;
      for( const auto & [ option, clause ] : sequence.match ) {
         const auto * form = matchForm( option );
         const bool foreign = isForeign( form );
         const bool mayLackAnswer = form && form->field;
         if( !foreign && !mayLackAnswer && !isValueOption( option ) ) continue;
         StepTest test{ option, clause, {}, foreign, {} };
         if( mayLackAnswer ) test.assumed = assumptions_.of( option, clause );
         if( foreign || ( mayLackAnswer && !test.assumed ) ) test.place = placeOf( clause.place );
         tests.push_back( std::move( test ) );
      }
      return tests;
   }

   std::string placeOf( const Place & place ) const {
      if( place.file >= text_.files.size() ) return "policy";
      return fmt::format( "{}:{}:{}", text_.files[ place.file ], place.line, place.column );
   }

   // Where the route map goes on behind a permit; the end if the permit ends it.
   static Sequences::const_iterator successor( const Sequences & sequences, Sequences::const_iterator at ) {
      const auto & to = at->second.continueTo;
      if( !to ) return sequences.end();
      return to->target == 0 ? std::next( at ) : sequences.lower_bound( to->target );
   }

   const PolicyText & text_;
   const Assumptions & assumptions_;
   const CompiledRules & former_;
   std::set<std::string> called_;
   CompiledRules rules_;
};

}   // namespace

CompiledRules compileFrrRules( const PolicyText & text, const Assumptions & assumptions, const CompiledRules & former ) {
   return Compilation( text, assumptions, former ).run();
}

}   // namespace Agent
