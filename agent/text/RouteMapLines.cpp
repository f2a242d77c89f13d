#include "text/RouteMapLines.h"

#include <utility>

#include <fmt/format.h>

#include "substrate/zeugma/MaybeU63.h"
#include "text/MatchForms.h"
#include "text/Operands.h"
#include "text/SourceProtocol.h"

namespace Agent {

namespace {

// A clause that a sequence has once: a line sets it, and "no" takes it off, or only if it says what follows.
template <class Clause, class Read>
void edit( std::optional<Clause> & slot, LineCursor & line, bool no, Read read ) {
   if( no && line.atEnd() ) return slot.reset();
   std::optional<Clause> said = read( line );
   line.expectEnd();
   if( ( slot == said ) != no ) return;
   if( no )
      slot.reset();
   else
      slot = std::move( said );
}

const MatchForm & takeMatchForm( LineCursor & line ) {
   for( const auto & form : matchForms() )
      if( line.takeWords( form.words ) ) return form;
   if( line.takeWords( "ip" ) || line.takeWords( "ipv6" ) ) throwExpected( alternatives( { "address", "next-hop" } ), line.peek() );
   throwExpected( alternatives( { "ip", "ipv6", "tag", "tag-set", "metric", "source-protocol", "ospf-instance", "isis-instance",
                                  "interface", "community", "as-path" } ),
                  line.peek() );
}

void readNextHop( LineCursor & line, AddressFamily af, std::string_view what, MatchClause & clause ) {
   if( line.takeWords( "address" ) ) {
      clause.place = line.place( line.peek() );
      clause.address = takeAddress( line, af );
      return;
   }
   const Token token = line.take( what );
   clause.address = parseAddress( token.text );
   if( clause.address )
      expectFamily( token, clause.address->af(), af, addressName( af ) );
   else
      clause.name = token.text;
}

uint64_t takeProtocol( LineCursor & line ) {
   const Token token = line.peek();
   const auto protocol = sourceProtocol( token.text );
   if( !protocol )
      throwExpected( alternatives( { "connected", "static", "kernel", "bgp", "ospf", "ospf6", "isis", "rip", "ripng" } ), token );
   line.take();
   return uint64_t( *protocol );
}

// "invert" is no part of these names, and a verdict that is not inverted would be the contrary of what was meant.
void refuseInvert( const LineCursor & line, std::string_view words ) {
   if( line.peek().text == "invert" )
      throw LineError{ line.peek().column,
                       fmt::format( "\"invert\" is for \"match ip|ipv6 address prefix-list\" and \"call\": \"match {}\" cannot be inverted",
                                    words ) };
}

MatchClause takeMatchOperand( LineCursor & line, const MatchForm & form ) {
   MatchClause clause;
   clause.place = line.place( line.peek() );
   switch( form.operand ) {
      case MatchForm::Operand::name: clause.name = line.take( form.what ).text; break;
      case MatchForm::Operand::invertibleName:
         clause.name = line.take( form.what ).text;
         clause.invert = line.takeWords( "invert" );
         break;
      case MatchForm::Operand::nextHop:
         readNextHop( line, form.option == MatchOption::matchIpNexthop ? AddressFamily::ipv4 : AddressFamily::ipv6, form.what, clause );
         break;
      case MatchForm::Operand::number: clause.number = takeNumber( line, form.what, 0, form.max ); break;
      case MatchForm::Operand::protocol: clause.number = takeProtocol( line ); break;
   }
   refuseInvert( line, form.words );
   return clause;
}

uint64_t takeMetric( LineCursor & line ) {
   const Token & token = line.peek();
   if( token.text.starts_with( '+' ) || token.text.starts_with( '-' ) )
      throw LineError{ token.column, fmt::format( "expected a metric, found {}, which is relative to another", inQuotes( token.text ) ) };
   return takeNumber( line, "a metric", 0, Zeugma::MaybeU63::kAbsent - 1 );
}

SetCommunity takeSetCommunity( LineCursor & line ) {
   SetCommunity set;
   if( line.takeWords( "none" ) ) return set;
   set.communities = takeCommunities( line, "additive", "" );
   set.additive = line.takeWords( "additive" );
   return set;
}

}   // namespace

bool RouteMapLines::read( LineCursor & line, bool no ) {
   if( !line.takeWords( "route-map" ) ) return false;
   if( no )
      remove( line );
   else
      open( line );
   return true;
}

void RouteMapLines::open( LineCursor & line ) {
   lost_ = {};
   sequence_ = &lost_;
   number_ = 0;

   line.expectNoControlBytes();
   const Token name = line.take( "the name of a route map" );
   const MatchPermit action = takeAction( line );
   const uint32_t number = takeSequenceNumber( line );
   line.expectEnd();

   RouteMapText & map = maps_[ std::string( name.text ) ];
   if( map.sequences.empty() ) map.place = line.place();
   const auto [ at, made ] = map.sequences.try_emplace( number );
   if( made ) at->second.place = line.place();
   at->second.action = action;
   sequence_ = &at->second;
   number_ = number;
}

void RouteMapLines::remove( LineCursor & line ) {
   line.expectNoControlBytes();
   const Token name = line.take( "the name of a route map" );
   std::optional<MatchPermit> action;
   if( !line.atEnd() ) action = takeAction( line );
   std::optional<uint32_t> number;
   if( !line.atEnd() ) number = takeSequenceNumber( line );
   line.expectEnd();

   const auto at = maps_.find( std::string( name.text ) );
   if( at == maps_.end() ) return;
   auto & sequences = at->second.sequences;
   if( number ) {
      const auto sequence = sequences.find( *number );
      if( sequence != sequences.end() && sequence->second.action == *action ) sequences.erase( sequence );
   } else {
      std::erase_if( sequences, [ & ]( const auto & sequence ) { return !action || sequence.second.action == *action; } );
   }
   if( sequences.empty() ) maps_.erase( at );
}

bool RouteMapLines::readClause( LineCursor & line ) {
   struct Form {
      std::string_view word;
      void ( RouteMapLines::*read )( LineCursor &, bool );
   };
   static constexpr Form kForms[] = {
      { "match", &RouteMapLines::readMatch },      { "set", &RouteMapLines::readSet },
      { "call", &RouteMapLines::readCall },        { "continue", &RouteMapLines::readContinue },
      { "on-match", &RouteMapLines::readOnMatch }, { "description", &RouteMapLines::readDescription },
   };
   for( const auto word : { "exit", "exit-route-map", "end" } )
      if( line.peek().text == word ) {
         close();
         return true;
      }
   LineCursor behind = line;
   const bool no = behind.takeWords( "no" );
   for( const auto & form : kForms )
      if( behind.takeWords( form.word ) ) {
         behind.expectNoControlBytes();
         ( this->*form.read )( behind, no );
         return true;
      }
   return false;
}

void RouteMapLines::readMatch( LineCursor & line, bool no ) {
   const MatchForm & form = takeMatchForm( line );
   std::optional<MatchClause> clause;
   const auto at = sequence_->match.find( form.option );
   if( at != sequence_->match.end() ) clause = at->second;
   edit( clause, line, no, [ & ]( LineCursor & l ) { return takeMatchOperand( l, form ); } );
   if( clause )
      sequence_->match.insert_or_assign( form.option, std::move( *clause ) );
   else
      sequence_->match.erase( form.option );
}

void RouteMapLines::readSet( LineCursor & line, bool no ) {
   SetClauses & set = sequence_->set;
   if( line.takeWords( "metric" ) )
      edit( set.metric, line, no, takeMetric );
   else if( line.takeWords( "distance" ) )
      edit( set.distance, line, no, []( LineCursor & l ) { return static_cast<uint8_t>( takeNumber( l, "a distance", 1, 255 ) ); } );
   else if( line.takeWords( "tag" ) )
      edit( set.tag, line, no, []( LineCursor & l ) { return takeNumber32( l, "a tag" ); } );
   else if( line.takeWords( "local-preference" ) )
      edit( set.localPreference, line, no, []( LineCursor & l ) { return takeNumber32( l, "a local preference" ); } );
   else if( line.takeWords( "community" ) )
      edit( set.community, line, no, takeSetCommunity );
   else
      throwExpected( alternatives( { "metric", "distance", "tag", "local-preference", "community" } ), line.peek() );
}

void RouteMapLines::readCall( LineCursor & line, bool no ) {
   edit( sequence_->call, line, no, []( LineCursor & l ) {
      const Token name = l.take( "the name of a route map" );
      return CallClause{ std::string( name.text ), l.takeWords( "invert" ), l.place( name ) };
   } );
}

ContinueClause RouteMapLines::takeTarget( LineCursor & line ) const {
   const Token token = line.peek();
   const uint32_t target = takeSequenceNumber( line );
   if( target <= number_ )
      throw LineError{ token.column, fmt::format( "expected a sequence behind this one, {}, found {}", number_, inQuotes( token.text ) ) };
   return { target, line.place( token ) };
}

void RouteMapLines::readContinue( LineCursor & line, bool no ) {
   // "no continue" takes off whichever there is; "continue" goes to the next.
   edit( sequence_->continueTo, line, no, [ this ]( LineCursor & l ) {
      if( l.atEnd() ) return ContinueClause{ 0, l.place() };
      return takeTarget( l );
   } );
}

void RouteMapLines::readOnMatch( LineCursor & line, bool no ) {
   edit( sequence_->continueTo, line, no, [ this ]( LineCursor & l ) {
      const Token word = l.peek();
      if( l.takeWords( "next" ) ) return ContinueClause{ 0, l.place( word ) };
      if( l.takeWords( "goto" ) ) return takeTarget( l );
      throwExpected( alternatives( { "next", "goto" } ), word );
   } );
}

void RouteMapLines::readDescription( LineCursor & line, bool no ) {
   if( no )
      sequence_->description.clear();
   else
      sequence_->description = line.takeRest( "a description" ).text;
}

}   // namespace Agent
