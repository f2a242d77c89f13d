#include "text/RouteMapLines.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "text/MatchForms.h"
#include "text/Operands.h"
#include "text/SourceProtocol.h"
#include "text/Spelling.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

// Edits a clause that a sequence has at most once. A line sets it; "no" removes it, or with an operand only if the operand is the same.
// Returns the old clause if another one replaced it.
template <class Clause, class Read>
std::optional<Clause> edit( std::optional<Clause> & slot, LineCursor & line, bool no, Read read ) {
   std::optional<Clause> said;
   if( !no || !line.atEnd() ) {
      said = read( line );
      line.expectEnd();
      if( ( slot == said ) != no ) return std::nullopt;
   }
   if( !no ) return std::exchange( slot, std::move( said ) );
   slot.reset();
   return std::nullopt;
}

// The text of the only clause of a sequence: "match tag 5".
std::string onlyClause( const SequenceText & sequence, Dialect dialect ) {
   const std::string lines = writeSequence( {}, 1, sequence, dialect );
   const size_t start = lines.find( '\n' ) + 2;   // after the line of the sequence and a blank
   return lines.substr( start, lines.size() - 1 - start );
}

const MatchForm & takeMatchForm( LineCursor & line ) {
   for( const auto & form : matchForms() )
      if( isIn( line.dialect(), form.only ) && line.takeWords( form.words ) ) return form;
   std::string begun;   // the words of the line with which a form begins
   while( !matchWordsBehind( fmt::format( "{}{} ", begun, line.peek().text ), line.dialect() ).empty() )
      begun += fmt::format( "{} ", line.take().text );
   throwExpected( alternatives( matchWordsBehind( begun, line.dialect() ) ), line.peek() );
}

bool isPrefix( std::string_view text ) {
   return text.find( '/' ) != text.npos && parseAddress( text.substr( 0, text.find( '/' ) ) );
}

// The name of an access list. Errors: LineError if it looks like a mistyped "prefix-list" with a name after it.
std::string_view takenName( const Token & token, const LineCursor & line ) {
   constexpr std::string_view kWord = "prefix-list";
   if( !line.atEnd() && editDistance( lowerCase( token.text ), kWord, 2 ) <= 2 ) throwExpected( inQuotes( kWord ), token );
   return token.text;
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
   else if( isPrefix( token.text ) )
      throwExpected( what, token );
   else
      clause.name = takenName( token, line );
}

uint64_t takeProtocol( LineCursor & line ) {
   const Token token = line.peek();
   const auto protocol = sourceProtocol( token.text );
   if( !protocol )
      throwExpected( alternatives( { "connected", "static", "kernel", "bgp", "ospf", "ospf6", "isis", "rip", "ripng" } ), token );
   line.take();
   return uint64_t( *protocol );
}

// These clauses cannot be inverted. To ignore "invert" would turn the verdict into its opposite.
void refuseInvert( const LineCursor & line, std::string_view words ) {
   if( line.peek().text == "invert" )
      throw LineError{
         line.peek().column,
         fmt::format( "\"match {}\" cannot be inverted: \"invert\" is for \"match ip|ipv6 address prefix-list\" and \"call\" only", words )
      };
}

MatchClause takeMatchOperand( LineCursor & line, const MatchForm & form ) {
   MatchClause clause;
   clause.place = line.place( line.peek() );
   switch( form.operand ) {
      case MatchForm::Operand::name: {
         const Token token = line.take( form.what );
         clause.name = takenName( token, line );
         break;
      }
      case MatchForm::Operand::invertibleName:
         clause.name = line.take( form.what ).text;
         clause.invert = line.takeWords( "invert" );
         break;
      case MatchForm::Operand::nextHop: readNextHop( line, *familyOf( form ), form.what, clause ); break;
      case MatchForm::Operand::number: clause.number = takeNumber( line, form.what, 0, form.max ); break;
      case MatchForm::Operand::protocol: clause.number = takeProtocol( line ); break;
   }
   refuseInvert( line, form.words );
   return clause;
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

   auto & [ key, map ] = *maps_.try_emplace( std::string( name.text ) ).first;
   if( map.sequences.empty() ) map.place = line.place();
   const auto [ at, made ] = map.sequences.try_emplace( number );
   sequence_ = &at->second;
   name_ = key;
   number_ = number;
   if( made ) {
      sequence_->place = sequence_->actionPlace = line.place();
      sequence_->action = action;
   }
   setAction( action, line.place() );
}

void RouteMapLines::setAction( MatchPermit action, const Place & place ) {
   if( sequence_->action == action ) return;
   if( Doubts::isReplaced( sequence_->actionPlace, place ) )
      doubts_.replaced( fmt::format( "{} {}", name_, number_ ), stringValue( sequence_->action ), sequence_->actionPlace,
                        stringValue( action ), place );
   sequence_->action = action;
   sequence_->actionPlace = place;
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

template <class Clause, class Put>
void RouteMapLines::noteReplaced( Dialect dialect, const Clause & was, const Place & before, const Clause & is, const Place & now,
                                  Put put ) {
   if( sequence_ == &lost_ || !Doubts::isReplaced( before, now ) ) return;
   const auto text = [ & ]( const Clause & clause ) {
      SequenceText alone;
      put( alone, clause );
      return onlyClause( alone, dialect );
   };
   doubts_.replaced( fmt::format( "{} {}", name_, number_ ), text( was ), before, text( is ), now );
}

bool RouteMapLines::isClause( LineCursor line ) {
   lost_ = {};
   sequence_ = &lost_;
   number_ = 0;
   bool is = false;
   try {
      is = readClause( line ) && isOpen();   // "exit" closes it and is no clause
   } catch( const LineError & ) {}
   close();
   return is;
}

void RouteMapLines::readMatch( LineCursor & line, bool no ) {
   const MatchForm & form = takeMatchForm( line );
   std::optional<MatchClause> clause;
   const auto at = sequence_->match.find( form.option );
   if( at != sequence_->match.end() ) clause = at->second;
   const auto was = edit( clause, line, no, [ & ]( LineCursor & l ) { return takeMatchOperand( l, form ); } );
   if( was )
      noteReplaced( line.dialect(), *was, was->place, *clause, clause->place,
                    [ & ]( SequenceText & alone, const MatchClause & c ) { alone.match.emplace( form.option, c ); } );
   if( clause )
      sequence_->match.insert_or_assign( form.option, std::move( *clause ) );
   else
      sequence_->match.erase( form.option );
}

void RouteMapLines::readSet( LineCursor & line, bool no ) {
   const auto form =
      std::ranges::find_if( setForms(), [ & ]( const SetForm & f ) { return isIn( line.dialect(), f.only ) && line.takeWords( f.word ); } );
   if( form == setForms().end() ) throwExpected( alternatives( setWords( line.dialect() ) ), line.peek() );
   auto & set = sequence_->set;
   std::optional<SetClause> clause;
   if( const auto * now = set.find( form->kind ) ) clause = *now;
   const auto was = edit( clause, line, no, [ & ]( LineCursor & l ) {
      SetClause said{ form->kind };
      said.place = l.place( l.peek() );
      form->take( l, said );
      return said;
   } );
   if( was )
      noteReplaced( line.dialect(), *was, was->place, *clause, clause->place,
                    []( SequenceText & alone, const SetClause & c ) { alone.set.put( c ); } );
   if( clause )
      set.put( std::move( *clause ) );
   else
      set.erase( form->kind );
}

void RouteMapLines::readCall( LineCursor & line, bool no ) {
   auto & call = sequence_->call;
   const auto was = edit( call, line, no, []( LineCursor & l ) {
      const Token name = l.take( "the name of a route map" );
      return CallClause{ std::string( name.text ), l.takeWords( "invert" ), l.place( name ) };
   } );
   if( was )
      noteReplaced( line.dialect(), *was, was->place, *call, call->place,
                    []( SequenceText & alone, const CallClause & c ) { alone.call = c; } );
}

ContinueClause RouteMapLines::takeTarget( LineCursor & line ) const {
   const Token token = line.peek();
   const uint32_t target = takeSequenceNumber( line );
   if( target <= number_ )
      throw LineError{ token.column, fmt::format( "expected a sequence number above {}, found {}", number_, inQuotes( token.text ) ) };
   return { target, line.place( token ) };
}

template <class Read>
void RouteMapLines::editContinue( LineCursor & line, bool no, Read read ) {
   auto & to = sequence_->continueTo;
   if( const auto was = edit( to, line, no, read ) )
      noteReplaced( line.dialect(), *was, was->place, *to, to->place,
                    []( SequenceText & alone, const ContinueClause & c ) { alone.continueTo = c; } );
}

void RouteMapLines::readContinue( LineCursor & line, bool no ) {
   // "no continue" removes the clause, whatever its target; "continue" goes to the next sequence.
   editContinue( line, no, [ this ]( LineCursor & l ) {
      if( l.atEnd() ) return ContinueClause{ 0, l.place() };
      return takeTarget( l );
   } );
}

void RouteMapLines::readOnMatch( LineCursor & line, bool no ) {
   editContinue( line, no, [ this ]( LineCursor & l ) {
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
