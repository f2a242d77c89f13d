#include "text/RouteMapLines.h"

#include <algorithm>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "text/FormWords.h"
#include "text/MatchForms.h"
#include "text/Operands.h"
#include "text/SourceProtocol.h"
#include "text/Spelling.h"
#include "text/TextWriter.h"
#include "text/ValueOptions.h"

namespace Agent {

namespace {

// Edits a clause that a sequence has at most once. A line sets it; "no" removes it, in the native dialect with an operand only if the operand
// is the same. Returns the old clause if another one replaced it.
template <class Clause, class Read>
std::optional<Clause> edit( std::optional<Clause> & slot, LineCursor & line, bool no, Read read ) {
   std::optional<Clause> said;
   if( !no || !line.atEnd() ) {
      said = read( line );
      line.expectEnd();
      const bool isAny = no && line.dialect() == Dialect::frr;
      if( !isAny && ( slot == said ) != no ) return std::nullopt;
   }
   if( !no ) return std::exchange( slot, std::move( said ) );
   slot.reset();
   return std::nullopt;
}

constexpr std::string_view kTooLong = "behind \"no\", nothing may follow these words";

// The text of the only clause of a sequence: "match tag 5".
std::string onlyClause( const SequenceText & sequence, Dialect dialect ) {
   const std::string lines = writeSequence( {}, 1, sequence, dialect );
   const size_t start = lines.find( '\n' ) + 2;   // after the line of the sequence and a blank
   return lines.substr( start, lines.size() - 1 - start );
}

// The first form whose words the line has, of those that a dialect has.
const MatchForm * formOf( LineCursor line, Dialect dialect ) {
   const auto forms = matchForms();
   const auto at =
      std::ranges::find_if( forms, [ & ]( const MatchForm & form ) { return isIn( dialect, form.only ) && line.takeWords( form.words ); } );
   return at == forms.end() ? nullptr : &*at;
}

const MatchForm & takeMatchForm( LineCursor & line, bool no ) {
   // "no match ip next-hop type" removes "... type blackhole", "no match ipv6 next-hop address" the clause with an access list.
   if( LineCursor behind = line; no && line.dialect() == Dialect::frr ) {
      for( const auto option : { ValueOption::ipNextHopBlackhole, ValueOption::ipv6NextHopBlackhole } ) {
         const MatchForm & form = *matchForm( optionOf( option ) );
         if( behind.takeWords( form.words.substr( 0, form.words.rfind( ' ' ) ) ) && behind.atEnd() ) {
            line = behind;
            return form;
         }
         behind = line;
      }
      if( behind.takeWords( "ipv6 next-hop address" ) && behind.atEnd() ) {
         line = behind;
         return *matchForm( MatchOption::matchIpv6Nexthop );
      }
   }
   // "match ipv6 next-hop ADDRESS" names no list.
   LineCursor behind = line;
   if( line.dialect() == Dialect::frr && behind.takeWords( "ipv6 next-hop" ) && parseAddress( behind.peek().text ) ) {
      line = behind;
      return *matchForm( optionOf( ValueOption::ipv6NextHopAddress ) );
   }
   if( line.dialect() == Dialect::frr && !formOf( line, Dialect::frr ) )
      if( const auto * form = formOf( line, Dialect::native ) )
         throw LineError{ line.peek().column, fmt::format( "\"match {}\" is a clause of --dialect native", form->words ) };
   return takeForm( line, matchForms() );
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
   if( line.dialect() == Dialect::native && line.takeWords( "address" ) ) {
      clause.place = line.place( line.peek() );
      clause.address = takeAddress( line, af );
      return;
   }
   const Token token = line.take( what );
   if( line.dialect() == Dialect::native ) clause.address = parseAddress( token.text );   // FRR takes it for the name of a list
   if( clause.address )
      expectFamily( token, clause.address->af(), af, addressName( af ) );
   else if( isPrefix( token.text ) )
      throwExpected( what, token );
   else
      clause.name = takenName( token, line );
}

uint64_t takeProtocol( LineCursor & line ) {
   const Token token = line.peek();
   const bool isFrr = line.dialect() == Dialect::frr;
   const auto protocol = sourceProtocol( token.text );
   if( !protocol || ( !isFrr && !isNative( *protocol ) ) ) {
      const auto names = sourceProtocolNames();
      throwExpected( alternatives( { names.begin(), isFrr ? names.end() : names.begin() + uint8_t( SourceProtocol::ripng ) } ), token );
   }
   line.take();
   return uint64_t( *protocol );
}

uint64_t takeComparison( LineCursor & line ) {
   if( line.dialect() == Dialect::frr )
      for( const auto comparison : { ListComparison::exact, ListComparison::any } )
         if( line.takeWords( wordOf( comparison ) ) ) return uint64_t( comparison );
   return uint64_t( ListComparison::all );
}

uint64_t takeKeyword( LineCursor & line, std::span<const std::string_view> keywords ) {
   const auto at = std::ranges::find( keywords, line.peek().text );
   if( at == keywords.end() ) throwExpected( alternatives( { keywords.begin(), keywords.end() } ), line.peek() );
   line.take();
   return static_cast<uint64_t>( at - keywords.begin() );
}

// These clauses cannot be inverted. To ignore "invert" would turn the verdict into its opposite.
void refuseInvert( const LineCursor & line, std::string_view words ) {
   if( line.peek().text != "invert" ) return;
   if( line.dialect() == Dialect::frr ) throw LineError{ line.peek().column, "\"invert\" is a word of --dialect native" };
   throw LineError{
      line.peek().column,
      fmt::format( "\"match {}\" cannot be inverted: \"invert\" is for \"match ip|ipv6 address prefix-list\" and \"call\" only", words )
   };
}

// FRR refuses 0, or more than 32 bits, where the native dialect has them. It takes "no match metric 0".
void refuseNumber( uint64_t number, const MatchForm & form, bool no ) {
   const bool isMetric = form.option == MatchOption::matchMetric;
   const bool beginsAt1 = isMetric || form.option == MatchOption::matchTag || form.option == optionOf( ValueOption::evpnVni );
   if( number == 0 && beginsAt1 && !( no && isMetric ) ) throw RefusedLine{ "the lowest number is 1" };
   if( number > kMax32 ) throw RefusedLine{ "the number has more than 32 bits" };
}

MatchClause takeMatchOperand( LineCursor & line, const MatchForm & form, bool no ) {
   MatchClause clause;
   clause.place = line.place( line.peek() );
   switch( form.operand ) {
      case MatchForm::Operand::name: {
         const Token token = line.take( form.what );
         clause.name = takenName( token, line );
         break;
      }
      case MatchForm::Operand::comparedName:
         clause.name = line.take( form.what ).text;
         clause.number = takeComparison( line );
         break;
      case MatchForm::Operand::invertibleName:
         clause.name = line.take( form.what ).text;
         clause.invert = line.dialect() == Dialect::native && line.takeWords( "invert" );
         break;
      case MatchForm::Operand::nextHop: readNextHop( line, *familyOf( form ), form.what, clause ); break;
      case MatchForm::Operand::number:
         if( form.option == MatchOption::matchTag && line.dialect() == Dialect::frr && line.takeWords( "untagged" ) ) break;
         clause.number = takeNumber( line, form.what, 0, form.max );
         if( line.dialect() == Dialect::frr ) refuseNumber( clause.number, form, no );
         break;
      case MatchForm::Operand::protocol: clause.number = takeProtocol( line ); break;
      case MatchForm::Operand::keyword: clause.number = takeKeyword( line, form.keywords ); break;
      case MatchForm::Operand::address:
         clause.address = takeAddress( line, form.words.starts_with( "ipv6" ) ? AddressFamily::ipv6 : AddressFamily::ipv4 );
         break;
      case MatchForm::Operand::peer:
         clause.name = line.take( form.what ).text;
         if( ( clause.address = parseAddress( clause.name ) ) ) clause.name.clear();
         break;
      case MatchForm::Operand::text: clause.name = line.takeRest( form.what ).text; break;
      case MatchForm::Operand::none: break;
   }
   refuseInvert( line, form.words );
   return clause;
}

// "route-map NAME optimization" of FRR changes no answer.
bool takeOptimization( LineCursor & line ) {
   if( line.dialect() != Dialect::frr || !line.takeWords( "optimization" ) ) return false;
   line.expectEnd();
   return true;
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
   name_ = {};
   number_ = 0;

   line.expectNoControlBytes();
   const Token name = line.take( "the name of a route map" );
   if( takeOptimization( line ) ) return close();
   const MatchPermit action = takeAction( line );
   const uint32_t number = takeSequenceNumber( line, highestSequence( line.dialect() ) );
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
   if( action == MatchPermit::deny && line.dialect() == Dialect::frr )
      sequence_->continueTo.reset();   // it has no effect, and FRR refuses it there
}

void RouteMapLines::setAction( MatchPermit action, const Place & place ) {
   if( sequence_->action == action ) return;
   if( Doubts::isReplacedInSequence( sequence_->actionPlace, place ) )
      doubts_.replaced( fmt::format( "{} {}", name_, number_ ), stringValue( sequence_->action ), sequence_->actionPlace,
                        stringValue( action ), place );
   sequence_->action = action;
   sequence_->actionPlace = place;
}

void RouteMapLines::remove( LineCursor & line ) {
   line.expectNoControlBytes();
   const Token name = line.take( "the name of a route map" );
   if( takeOptimization( line ) ) return;
   std::optional<MatchPermit> action;
   if( !line.atEnd() ) action = takeAction( line );
   if( action && line.atEnd() && line.dialect() == Dialect::frr ) throw RefusedLine{ kIncomplete };
   std::optional<uint32_t> number;
   if( !line.atEnd() ) number = takeSequenceNumber( line, highestSequence( line.dialect() ) );
   line.expectEnd();

   close();   // it may be the open sequence that goes
   const auto at = maps_.find( std::string( name.text ) );
   if( at == maps_.end() ) return;
   auto & sequences = at->second.sequences;
   if( number ) {
      const auto sequence = sequences.find( *number );
      const bool isAny = line.dialect() == Dialect::frr;   // the number counts, whatever the action
      if( sequence != sequences.end() && ( isAny || sequence->second.action == *action ) ) sequences.erase( sequence );
   } else {
      std::erase_if( sequences, [ & ]( const auto & sequence ) { return !action || sequence.second.action == *action; } );
   }
   if( sequences.empty() ) maps_.erase( at );
}

bool RouteMapLines::readClause( LineCursor & line ) {
   try {
      return readAnyClause( line );
   } catch( const RefusedLine & refused ) {
      doubts_.refused( line, refused.reason );
      return true;
   }
}

bool RouteMapLines::readAnyClause( LineCursor & line ) {
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
   if( sequence_ == &lost_ || !Doubts::isReplacedInSequence( before, now ) ) return;
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
   name_ = {};
   number_ = 0;
   bool is = false;
   try {
      is = readAnyClause( line ) && isOpen();   // "exit" closes it and is no clause
   } catch( const RefusedLine & ) { is = true; } catch( const LineError & ) {
   }
   close();
   return is;
}

void RouteMapLines::readMatch( LineCursor & line, bool no ) {
   const MatchForm & form = takeMatchForm( line, no );
   if( no && form.isRemovedWhole && line.atEnd() && line.dialect() == Dialect::frr ) throw RefusedLine{ kIncomplete };
   std::optional<MatchClause> clause;
   const auto at = sequence_->match.find( form.option );
   if( at != sequence_->match.end() ) clause = at->second;
   const auto was = edit( clause, line, no, [ & ]( LineCursor & l ) { return takeMatchOperand( l, form, no ); } );
   if( was )
      noteReplaced( line.dialect(), *was, was->place, *clause, clause->place,
                    [ & ]( SequenceText & alone, const MatchClause & c ) { alone.match.emplace( form.option, c ); } );
   if( clause )
      sequence_->match.insert_or_assign( form.option, std::move( *clause ) );
   else
      sequence_->match.erase( form.option );
}

void RouteMapLines::readSet( LineCursor & line, bool no ) {
   const SetForm & form = takeForm( line, setForms() );
   auto & set = sequence_->set;
   std::optional<SetClause> clause;
   if( const auto * now = set.find( form.kind ) ) clause = *now;
   if( no && line.dialect() == Dialect::frr ) {
      if( takeRemoval( line, form, clause ) ) set.erase( form.kind );
      return;
   }
   const auto was = edit( clause, line, no, [ & ]( LineCursor & l ) {
      SetClause said{ form.kind };
      said.place = l.place( l.peek() );
      form.take( l, said, form );
      return said;
   } );
   if( was )
      noteReplaced( line.dialect(), *was, was->place, *clause, clause->place,
                    []( SequenceText & alone, const SetClause & c ) { alone.set.put( c ); } );
   if( clause )
      set.put( std::move( *clause ) );
   else
      set.erase( form.kind );
}

// Takes what stands behind "no set" and the words of the form, in the dialect of FRR. Returns whether the clause goes.
bool RouteMapLines::takeRemoval( LineCursor & line, const SetForm & form, const std::optional<SetClause> & clause ) {
   LineCursor behind = line;
   if( !form.bare.empty() && behind.takeWords( form.bare ) && behind.atEnd() ) return true;
   SetClause said{ form.kind };
   if( !line.atEnd() ) {
      if( form.removal == SetForm::Removal::noOperand ) throw RefusedLine{ kTooLong };
      try {
         form.take( line, said, form );
         line.expectEnd();
      } catch( const RefusedLine & ) {
         if( !form.removesRefused ) throw;
      } catch( const LineError & ) {
         if( !form.removesRefused ) throw;
      }
      if( form.kind == SetKind::asPathPrepend && said.ases.size() > 1 ) throw RefusedLine{ kTooLong };
   } else if( form.removal == SetForm::Removal::wholeOperand ) {
      throw RefusedLine{ kIncomplete };
   }
   // An address and a word are two clauses in FRR.
   return form.kind != SetKind::ipNextHop || !clause || clause->word.empty() == said.word.empty();
}

void RouteMapLines::readCall( LineCursor & line, bool no ) {
   auto & call = sequence_->call;
   const auto was = edit( call, line, no, [ & ]( LineCursor & l ) {
      const Token name = l.take( "the name of a route map" );
      if( l.dialect() == Dialect::frr ) {
         if( l.peek().text == "invert" ) throw LineError{ l.peek().column, "\"invert\" is a word of --dialect native" };
         if( name.text == name_ && !no ) throw RefusedLine{ "a route map cannot call itself" };
      }
      return CallClause{ std::string( name.text ), l.takeWords( "invert" ), l.place( name ) };
   } );
   if( was )
      noteReplaced( line.dialect(), *was, was->place, *call, call->place,
                    []( SequenceText & alone, const CallClause & c ) { alone.call = c; } );
}

ContinueClause RouteMapLines::takeTarget( LineCursor & line ) const {
   const Token token = line.peek();
   const uint32_t target = takeSequenceNumber( line, highestSequence( line.dialect() ) );
   if( target <= number_ && line.dialect() == Dialect::frr ) throw RefusedLine{ "the target is not above the sequence" };
   if( target <= number_ )
      throw LineError{ token.column, fmt::format( "expected a sequence number above {}, found {}", number_, inQuotes( token.text ) ) };
   return { target, line.place( token ) };
}

template <class Read>
void RouteMapLines::editContinue( LineCursor & line, bool no, Read read ) {
   auto & to = sequence_->continueTo;
   if( no && line.dialect() == Dialect::frr ) {
      read( line );
      line.expectEnd();
      return to.reset();
   }
   const auto checked = [ & ]( LineCursor & l ) {
      const ContinueClause said = read( l );
      const bool isDeny = sequence_->action == MatchPermit::deny;
      if( isDeny && l.dialect() == Dialect::frr ) throw RefusedLine{ "a deny cannot continue" };
      return said;
   };
   if( const auto was = edit( to, line, no, checked ) )
      noteReplaced( line.dialect(), *was, was->place, *to, to->place,
                    []( SequenceText & alone, const ContinueClause & c ) { alone.continueTo = c; } );
}

void RouteMapLines::readContinue( LineCursor & line, bool no ) {
   // "no continue" removes the clause, whatever its target; "continue" goes to the next sequence, but FRR's needs a target.
   editContinue( line, no, [ this, no ]( LineCursor & l ) {
      if( no && l.dialect() == Dialect::frr ) {
         if( !l.atEnd() ) takeSequenceNumber( l, highestSequence( l.dialect() ) );
         return ContinueClause();
      }
      if( l.atEnd() && l.dialect() == Dialect::native ) return ContinueClause{ 0, l.place() };
      return takeTarget( l );
   } );
}

void RouteMapLines::readOnMatch( LineCursor & line, bool no ) {
   editContinue( line, no, [ this, no ]( LineCursor & l ) {
      const Token word = l.peek();
      if( no && l.dialect() == Dialect::frr && l.takeWords( "goto" ) ) {
         if( !l.atEnd() ) throw RefusedLine{ kTooLong };
         return ContinueClause();
      }
      if( l.takeWords( "next" ) ) return ContinueClause{ 0, l.place( word ) };
      if( l.takeWords( "goto" ) ) return takeTarget( l );
      throwExpected( alternatives( { "next", "goto" } ), word );
   } );
}

void RouteMapLines::readDescription( LineCursor & line, bool no ) {
   if( no && !line.atEnd() && line.dialect() == Dialect::frr ) throw RefusedLine{ kTooLong };
   if( no )
      sequence_->description.clear();
   else
      sequence_->description = line.takeText( "a description" );
}

}   // namespace Agent
