#include "live/ValueTests.h"

#include <algorithm>

#include <fmt/format.h>

#include "live/FrrMatchers.h"
#include "text/Constants.h"
#include "text/MatchForms.h"
#include "text/Printable.h"
#include "text/TextWriter.h"
#include "text/ValueOptions.h"

namespace Agent {

namespace {

using Answer = std::optional<bool>;   // nothing: the route does not tell it

bool isOf( const TableRoute & route, AddressFamily af ) noexcept {
   return route.prefix.af() == af;
}

bool hasLength( const TableRoute & route, AddressFamily af, uint64_t length ) noexcept {
   return isOf( route, af ) && route.prefix.length() == length;
}

bool isZero( const Ferule::IpGenAddr & address ) noexcept {
   return address.bits().none();
}

bool isBlackhole( const TableRoute & route, AddressFamily af ) {
   return isOf( route, af ) && isZero( frrNextHop( route, af ) );
}

bool isKnown( const Ferule::IpGenAddr & peer ) noexcept {
   return peer != Ferule::IpGenAddr();
}

Answer peerIs( const MatchClause & clause, const Ferule::IpGenAddr & peer ) noexcept {
   if( !isKnown( peer ) ) return std::nullopt;
   if( clause.address ) return peer == *clause.address;
   if( clause.name == "local" ) return isZero( peer );
   return isZero( peer ) ? Answer( false ) : std::nullopt;   // an interface or a group of neighbors
}

// Of this router's own routes, no clause holds: the daemon has no address for itself.
Answer sourcePeerIs( const MatchClause & clause, const Ferule::IpGenAddr & source ) noexcept {
   if( isKnown( source ) && ( isZero( source ) || clause.name == "local" ) ) return false;
   return peerIs( clause, source );
}

// The list itself is asked by a matcher of its own.
Answer hasSource( const AgentRoute & route ) noexcept {
   if( route.isSent() || isOf( route.route(), AddressFamily::ipv6 ) ) return false;
   const auto & peer = route.route().peer;
   return isKnown( peer ) ? Answer( !isZero( peer ) ) : std::nullopt;
}

// The origin validation state. Source: RFC 8097.
bool hasState( const TableRoute & route, uint64_t state ) noexcept {
   constexpr uint64_t kStateOf = uint64_t( 0x4300 ) << 48;
   return std::ranges::any_of( route.extCommunities,
                               [ = ]( ExtCommunity community ) { return community == ExtCommunity( kStateOf | state ); } );
}

// Without chance.
Answer probably( uint64_t percentage ) noexcept {
   if( percentage != 0 && percentage != 100 ) return std::nullopt;
   return percentage == 100;
}

template <class Value>
Answer equals( const std::optional<Value> & value, uint64_t number ) noexcept {
   return value ? Answer( uint64_t( *value ) == number ) : std::nullopt;
}

bool testsSource( MatchOption option ) noexcept {
   return option == kMatchRouteSource || option == kMatchRouteSourcePrefixList;
}

Answer answerOf( MatchOption option, const MatchClause & clause, const AgentRoute & input ) {
   if( testsSource( option ) ) return hasSource( input );
   const TableRoute & route = input.route();
   const uint64_t number = clause.number;
   switch( ValueOption( uint8_t( option ) ) ) {
      case ValueOption::localPreference: return route.localPreference.value_or( kDefaultLocalPreference ) == number;
      case ValueOption::origin: return equals( route.origin, number );
      case ValueOption::probability: return probably( number );
      case ValueOption::ipPrefixLength: return hasLength( route, AddressFamily::ipv4, number );
      case ValueOption::ipv6PrefixLength: return hasLength( route, AddressFamily::ipv6, number );
      case ValueOption::ipNextHopLength: return isOf( route, AddressFamily::ipv4 ) && number == 32;   // the next hop is a host
      case ValueOption::ipNextHopBlackhole: return isBlackhole( route, AddressFamily::ipv4 );
      case ValueOption::ipv6NextHopBlackhole: return isBlackhole( route, AddressFamily::ipv6 );
      case ValueOption::ipNextHopAddress:
      case ValueOption::ipv6NextHopAddress: return frrNextHop( route, clause.address->af() ) == *clause.address;
      case ValueOption::sourceProtocol: return uint64_t( route.protocol ) == number;
      case ValueOption::sourceInstance: return route.ospfInstance == number;
      case ValueOption::peer: return input.isSent() ? Answer( false ) : peerIs( clause, route.peer );
      case ValueOption::sourcePeer: return sourcePeerIs( clause, route.peer );
      case ValueOption::communityLimit: return route.communities.size() <= number;
      case ValueOption::extCommunityLimit: return route.extCommunities.size() <= number;
      case ValueOption::rpki: return equals( route.rpki, number );
      case ValueOption::rpkiExtCommunity: return hasState( route, number );
      case ValueOption::sourceVrf:
      case ValueOption::vrlSourceVrf:
      case ValueOption::evpnRouteType:
      case ValueOption::evpnVni:
      case ValueOption::evpnRd:
      case ValueOption::evpnDefaultRoute:
      case ValueOption::alias:
      case ValueOption::macAddress:
      case ValueOption::multicastSource:
      case ValueOption::multicastGroup:
      case ValueOption::multicastInterface:
      case ValueOption::multicastIif:
      case ValueOption::script: break;
   }
   return std::nullopt;
}

// What can answer the clause.
std::string adviceFor( const MatchForm & form, std::string_view clause ) {
   const auto assumed = clause.substr( clause.find( ' ' ) + 1 );   // behind "match"
   const std::string field = form.field->empty() ? "" : fmt::format( "--set-attribute {}=VALUE, or ", *form.field );
   return fmt::format( "use {}--assume \"{}=match\" or \"{}=no-match\"", field, assumed, assumed );
}

[[noreturn]] void throwUnanswered( const StepText & step, const StepTest & test, const AgentRoute & route ) {
   const std::string where = fmt::format( "{}: {} {}: ", test.place, printableName( step.routeMap ), step.number );
   const std::string clause = printable( writeMatch( test.option, test.clause ), 300 );
   const MatchForm & form = *matchForm( test.option );
   if( test.foreign ) {
      const auto daemon = isIn( Daemon::bgpd, form.daemons ) ? "bgpd" : isIn( Daemon::zebra, form.daemons ) ? "zebra" : "pimd";
      throw Unanswered(
         fmt::format( "{}\"{}\" is a clause of {}; use --daemon {} if it applies the route map", where, clause, daemon, daemon ) );
   }
   throw Unanswered( fmt::format( "{}{} does not answer \"{}\"; {}", where, std::string( route.route().prefix.toStrep().view() ), clause,
                                  adviceFor( form, clause ) ) );
}

}   // namespace

void expectKnown( const TableRoute & route, std::string_view words ) {
   if( const auto * const value = route.other( words ) )
      throw Unanswered( fmt::format( "{}: a match clause reads what \"set {} {}\" has set, and only the daemon knows it",
                                     std::string( route.prefix.toStrep().view() ), words, *value ) );
}

const StepTest * failedTest( const StepText & step, const AgentRoute & route ) {
   const StepTest * unanswered = nullptr;
   for( const auto & test : step.tests ) {
      auto answer = test.foreign ? std::nullopt : answerOf( test.option, test.clause, route );
      if( !answer && !test.foreign ) answer = test.assumed;
      if( !answer )
         unanswered = &test;
      else if( !*answer )
         return &test;
   }
   if( unanswered ) throwUnanswered( step, *unanswered, route );
   return nullptr;
}

}   // namespace Agent
