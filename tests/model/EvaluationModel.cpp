#include "tests/model/EvaluationModel.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace EvaluationModel {

bool sameLeadingBits( const Address & a, const Address & b, size_t length ) {
   return a.family == b.family && a.bits.substr( 0, length ) == b.bits.substr( 0, length );
}

Prefix hostPrefix( const Address & address ) {
   return { address, static_cast<unsigned>( address.bits.size() ) };
}

// ---- looking things up

const Sequence * firstFrom( const RouteMap & map, uint64_t from ) {
   const Sequence * best = nullptr;
   for( const Sequence & s : map.sequences )
      if( s.number >= from && ( !best || s.number < best->number ) ) best = &s;
   return best;
}

std::vector<Clause> inOrder( std::vector<Clause> clauses ) {
   std::sort( clauses.begin(), clauses.end(), []( const Clause & a, const Clause & b ) { return a.option < b.option; } );
   return clauses;
}

std::optional<bool> says( const PrefixList & list, const Prefix & prefix ) {
   if( list.family != prefix.address.family ) return std::nullopt;
   const PrefixListEntry * best = nullptr;
   for( const PrefixListEntry & e : list.entries ) {
      const unsigned lowest = e.ge.value_or( e.prefix.length );
      const unsigned highest = e.le ? *e.le : e.ge ? ( list.family == 4 ? 32 : 128 ) : e.prefix.length;
      const bool contains = e.prefix.length <= prefix.length && sameLeadingBits( e.prefix.address, prefix.address, e.prefix.length );
      const bool fits = contains && lowest <= prefix.length && prefix.length <= highest;
      if( fits && ( !best || e.number < best->number ) ) best = &e;
   }
   if( !best ) return std::nullopt;
   return best->permit;
}

bool Evaluation::routeMap( size_t index, Matched & matched, RouteMapLog * log, Decision decision ) {
   decision.routeMap = index;
   Decisions below;   // the chain of the call of the sequence that matched last
   const bool permitted = walk( index, matched, log, decision, below );
   ended( decision, permitted, below );
   return permitted;
}

void Evaluation::ended( Decision decision, bool permitted, const Decisions & below ) {
   decision.permitted = permitted;
   decisions.push_back( decision );
   chain = { decision };
   chain.insert( chain.end(), below.begin(), below.end() );
}

bool Evaluation::walk( size_t index, Matched & matched, RouteMapLog * log, Decision & decision, Decisions & below ) {
   const RouteMap & map = policy_.routeMaps[ index ];
   bool continued = false;
   const Sequence * at = firstFrom( map, 0 );
   while( at ) {
      SeqLog * seqLog = log ? addSeq( *log, *at ) : nullptr;
      Decisions ofCall;
      if( !matchersHold( *at, seqLog ) || !subRouteMapPasses( *at, matched, seqLog, decision, ofCall ) ) {
         at = firstFrom( map, uint64_t( at->number ) + 1 );
         continue;
      }
      decision.sequence = at->number;
      below = ofCall;
      if( !at->permit ) {
         if( log ) {
            seqLog->matchActionDeny = true;
            seqLog->permitResult = false;
            log->permitResult = false;
         }
         return false;
      }
      matched.push_back( { index, at->number } );
      if( log ) {
         seqLog->permitResult = true;
         log->permitResult = true;
      }
      if( !at->continueTo ) return true;
      if( log ) seqLog->continueSeq = *at->continueTo;
      continued = true;
      at = firstFrom( map, *at->continueTo );
   }
   if( continued ) return true;
   if( log ) log->defaultDeny = true;
   return false;
}

void Evaluation::applySetters( const Matched & matched, Result & result ) const {
   for( const Place & place : matched )
      for( const Sequence & s : policy_.routeMaps[ place.routeMap ].sequences )
         if( s.number == place.number )
            for( const Clause & clause : inOrder( s.setters ) ) set( clause.which, result );
   if( !result.deferred ) return;
   const std::vector<size_t> registered = *result.deferred;
   for( size_t setter : registered ) setLate( setter, result );
   result.deferred->clear();
}

bool Evaluation::list( const List & list, Matched & matched, Result * at4, Result * at6, bool shouldLog,
                       std::vector<FinishedLog> & queue ) {
   bool gyreToRun = list.gyre.has_value();
   bool gyreMaintToRun = list.gyreMaint.has_value();
   for( unsigned p = 0; p < 256; ++p ) {
      for( const ListEntry & entry : list.routeMaps ) {
         if( entry.precedence != p ) continue;
         if( gyreToRun && p > 3 ) {
            gyreToRun = false;
            if( !function( *list.gyre, 4, matched, at4, shouldLog, queue ) ) return false;
         }
         if( gyreMaintToRun && p > 5 ) {
            gyreMaintToRun = false;
            if( !function( *list.gyreMaint, 6, matched, at6, shouldLog, queue ) ) return false;
         }
         if( p == 4 && list.gyre ) continue;
         if( p == 6 && list.gyreMaint ) continue;
         if( policy_.routeMaps[ entry.routeMap ].sequences.empty() ) continue;
         RouteMapLog log{ entry.routeMap };
         const bool logged = shouldLog && p == 4;
         const bool permitted = routeMap( entry.routeMap, matched, logged ? &log : nullptr, { .precedence = p } );
         if( logged ) queue.push_back( log );
         if( !permitted ) return false;
      }
   }
   if( gyreToRun && !function( *list.gyre, 4, matched, at4, shouldLog, queue ) ) return false;
   if( gyreMaintToRun && !function( *list.gyreMaint, 6, matched, at6, shouldLog, queue ) ) return false;
   return true;
}

SeqLog * Evaluation::addSeq( RouteMapLog & log, const Sequence & s ) {
   if( !log.seq.count( s.number ) ) {
      SeqLog fresh;
      if( s.subRouteMap ) fresh.sub = std::make_shared<RouteMapLog>( RouteMapLog{ *s.subRouteMap } );
      log.seq[ s.number ] = fresh;
   }
   return &log.seq[ s.number ];
}

bool Evaluation::matchersHold( const Sequence & s, SeqLog * log ) {
   if( s.matchers.empty() && log ) log->hadNoMatchers = true;
   for( const Clause & clause : inOrder( s.matchers ) ) {
      if( holds( clause.which ) ) continue;
      if( log ) log->failedMatcher = clause.option;
      return false;
   }
   return true;
}

bool Evaluation::subRouteMapPasses( const Sequence & s, Matched & matched, SeqLog * log, const Decision & caller,
                                    Decisions & chainOfCall ) {
   if( !s.subRouteMap || policy_.routeMaps[ *s.subRouteMap ].sequences.empty() ) return true;
   Matched fromSub = matched;
   const Decision callee{
      .caller = Place{ *caller.routeMap, s.number }, .depth = caller.depth + 1, .precedence = caller.precedence, .inverted = s.subInvert
   };
   const bool subResult = routeMap( *s.subRouteMap, fromSub, log ? log->sub.get() : nullptr, callee );
   chainOfCall = chain;
   if( log ) {
      log->subRouteMapResult = subResult;
      log->subRouteMapInvertResult = s.subInvert;
   }
   if( subResult && !s.subInvert ) {
      matched = fromSub;
      return true;
   }
   return !subResult && s.subInvert;
}

bool Evaluation::holds( size_t matcher ) {
   if( policy_.matchers[ matcher ].watched ) asked.push_back( matcher );
   const unsigned before = timesAsked_[ matcher ]++;
   const Condition & test = policy_.matchers[ matcher ].test;
   if( auto * t = std::get_if<Countdown>( &test ) ) return before < t->times;
   return std::visit( [ this ]( const auto & t ) { return holds( t ); }, test );
}

bool Evaluation::holds( const ProtocolIs & t ) const {
   uint32_t protocol = route_.protocol;
   if( protocol == 20 ) protocol = 10;
   if( protocol == 5 || protocol == 6 ) protocol = 31;
   if( protocol == 25 || protocol == 30 ) protocol = 24;
   return protocol == t.protocol;
}

bool Evaluation::holds( const NexthopIn & t ) const {
   if( route_.nexthop.family != t.prefix.address.family ) return false;
   if( route_.nexthop.family == 0 ) return false;
   if( route_.nexthop.family == 4 && t.prefix.length > 32 ) return true;
   return sameLeadingBits( route_.nexthop, t.prefix.address, t.prefix.length );
}

bool Evaluation::holds( const InterfaceIs & t ) const {
   if( !route_.matchInterface ) return true;
   if( !route_.resolved ) return false;
   for( uint32_t interface : route_.resolved->interfaces )
      if( interface == t.interface ) return true;
   return false;
}

bool Evaluation::holds( const TagIn & t ) const {
   if( !t.set ) return false;
   for( uint32_t tag : policy_.tagSets[ *t.set ] )
      if( tag == route_.tag ) return true;
   return false;
}

bool Evaluation::holds( const PermittedBy & t ) const {
   auto ask = [ & ]( const Prefix & prefix ) { return t.list ? says( policy_.prefixLists[ *t.list ], prefix ) : std::nullopt; };
   switch( t.about ) {
      case About::route: return ( ask( route_.prefix ) == true ) != t.invert;
      case About::nexthop: return ask( hostPrefix( route_.nexthop ) ) == true;
      case About::routerId: return ask( hostPrefix( route_.routerId ) ) == true;
      case About::resolvedNexthop: break;
   }
   if( route_.denyResolvedNexthop ) return false;
   if( !route_.matchResolvedNexthopInfo ) return true;
   if( !route_.resolved ) return false;
   std::vector<Address> nexthops = route_.resolved->nexthops;
   std::sort( nexthops.begin(), nexthops.end(),
              []( const Address & a, const Address & b ) { return a.family != b.family ? a.family < b.family : a.bits < b.bits; } );
   for( const Address & nexthop : nexthops )
      if( const auto said = ask( hostPrefix( nexthop ) ) ) return *said;
   return false;
}

void Evaluation::set( size_t setter, Result & result ) const {
   const Setter & s = policy_.setters[ setter ];
   if( s.watched ) result.events.push_back( { Event::set, setter } );
   if( auto * e = std::get_if<SetPreference>( &s.effect ) ) tellPreference( e->preference, result );
   if( auto * e = std::get_if<SetMetric>( &s.effect ) ) result.metric = e->metric;
   if( auto * e = std::get_if<SetTag>( &s.effect ) ) {
      result.events.push_back( { Event::toldTag, e->tag } );
      result.tag = e->tag;
   }
   if( !std::holds_alternative<SetLate>( s.effect ) ) return;
   if( !result.deferred ) result.deferred.emplace();
   if( std::count( result.deferred->begin(), result.deferred->end(), setter ) == 0 ) result.deferred->push_back( setter );
}

void Evaluation::setLate( size_t setter, Result & result ) const {
   const Setter & s = policy_.setters[ setter ];
   if( s.watched ) result.events.push_back( { Event::setLate, setter } );
   result.metric = result.metric.value_or( result.preference ) + std::get<SetLate>( s.effect ).add;
}

void Evaluation::tellPreference( unsigned preference, Result & result ) {
   result.events.push_back( { Event::toldPreference, preference } );
   result.preference = preference;
}

bool Evaluation::function( size_t index, unsigned precedence, Matched & matched, Result * result, bool shouldLog,
                           std::vector<FinishedLog> & queue ) {
   const bool permitted = policy_.functions[ index ].body && run( index, matched, result, shouldLog, queue );
   ended( { .function = index, .precedence = precedence }, permitted, {} );
   return permitted;
}

bool Evaluation::run( size_t index, Matched & matched, Result * result, bool shouldLog, std::vector<FinishedLog> & queue ) const {
   const Function & f = policy_.functions[ index ];
   applySetters( matched, *result );
   matched.clear();
   result->events.push_back( { shouldLog ? Event::functionRanLogging : Event::functionRan, index } );
   tellPreference( f.body->preference, *result );
   if( shouldLog ) queue.push_back( index );
   return f.body->code == 2;
}

// ---- the two renderings of a log

std::string optionName( unsigned option ) {
   static const std::map<unsigned, std::string> kNames = { { 1, "matchIpAccessList" },   { 2, "matchIpPrefixList" },
                                                           { 106, "matchIsisInstance" }, { 113, "matchSourceProtocol" },
                                                           { 115, "matchTag" },          { 116, "matchIpv6PrefixList" },
                                                           { 131, "matchOspfInstance" }, { 132, "matchTagSet" } };
   return kNames.at( option );
}

std::string quoted( const std::string & text ) {
   std::string out = "\"";
   for( const char c : text ) {
      const auto byte = static_cast<unsigned char>( c );
      switch( byte ) {
         case '"': out += "\\\""; break;
         case '\\': out += "\\\\"; break;
         case 0x08: out += "\\b"; break;
         case 0x09: out += "\\t"; break;
         case 0x0A: out += "\\n"; break;
         case 0x0C: out += "\\f"; break;
         case 0x0D: out += "\\r"; break;
         default:
            char six[ 7 ] = { c };
            if( byte < 0x20 ) std::snprintf( six, sizeof six, "\\u%04X", unsigned( byte ) );
            out.append( six, byte < 0x20 ? 6 : 1 );
      }
   }
   return out + '"';
}

namespace {

std::string joined( const std::vector<std::string> & items ) {
   std::string out;
   for( const std::string & item : items ) out += ( out.empty() ? "" : "," ) + item;
   return out;
}

std::string member( const char * key, bool value ) {
   return quoted( key ) + ( value ? ":true" : ":false" );
}

}   // namespace

std::string json( const Policy & policy, const RouteMapLog & log ) {
   const RouteMap & map = policy.routeMaps[ log.routeMap ];
   std::vector<std::string> seqs;
   for( const auto & [ number, seqLog ] : log.seq ) {
      std::vector<std::string> passed;
      for( const Clause & clause : inOrder( firstFrom( map, number )->matchers ) ) {
         if( clause.option == seqLog.failedMatcher ) break;
         passed.push_back( quoted( optionName( clause.option ) ) );
      }
      std::vector<std::string> members = { "\"passedMatchers\":[" + joined( passed ) + "]" };
      if( seqLog.failedMatcher ) {
         members.push_back( "\"failingMatcher\":" + quoted( optionName( seqLog.failedMatcher ) ) );
      } else if( seqLog.sub ) {
         members.push_back( "\"subRouteMap\":{" + json( policy, *seqLog.sub ) + "}" );
         members.push_back( member( "subRouteMapInvertResult", seqLog.subRouteMapInvertResult ) );
      }
      members.push_back( member( "hadNoMatchers", seqLog.hadNoMatchers ) );
      members.push_back( member( "matchActionDeny", seqLog.matchActionDeny ) );
      members.push_back( member( "result", seqLog.permitResult ) );
      members.push_back( "\"continue\":" + std::to_string( seqLog.continueSeq ) );
      seqs.push_back( quoted( std::to_string( number ) ) + ":{" + joined( members ) + "}" );
   }
   return joined( { "\"rmname\":" + quoted( map.name ), "\"seqs\":{" + joined( seqs ) + "}", member( "result", log.permitResult ),
                    member( "defaultDeny", log.defaultDeny ) } );
}

namespace {

std::string text( const Policy & policy, uint32_t number, const SeqLog & log, unsigned level ) {
   std::string indent;
   for( unsigned i = 0; i < level; ++i ) indent += "   ";
   auto line = [ & ]( const std::string & what ) { return indent + what + "\n"; };
   std::string out = line( kAddress ) + line( "seqno: " + std::to_string( number ) );
   if( log.hadNoMatchers )
      out += line( "The sequence had no matchers" );
   else if( log.failedMatcher == 0 )
      out += line( "Seq matched " );
   else
      return out + line( "The following matcher failed:" ) + line( optionName( log.failedMatcher ) );
   if( log.sub ) {
      out += line( "Result: called a sub route map: " ) + text( policy, *log.sub, level + 1 );
      if( !log.subRouteMapResult ) return out;
   }
   if( log.matchActionDeny ) return out + line( "Explicitly denied" );
   out += line( log.permitResult ? "This sequence is permit" : "This sequence is deny" );
   if( log.subRouteMapInvertResult ) out += line( "Sub route map inverted" );
   if( log.continueSeq != 0 ) out += line( "Continue triggered to seq " + std::to_string( log.continueSeq ) );
   return out;
}

}   // namespace

std::string text( const Policy & policy, const RouteMapLog & log, unsigned level ) {
   std::string indent;
   for( unsigned i = 0; i < level; ++i ) indent += "   ";
   auto line = [ & ]( const std::string & what ) { return indent + what + "\n"; };
   const std::string & name = policy.routeMaps[ log.routeMap ].name;
   std::string out = line( kAddress ) + line( "Route Map Name: " + name );
   for( const auto & [ number, seqLog ] : log.seq )
      out += line( "Matcher debug key: " + std::to_string( number ) ) + text( policy, number, seqLog, level + 1 );
   out += line( log.permitResult ? "result was permit" : "result was deny" );
   if( log.defaultDeny ) out += line( "default denied" );
   return out + line( "end " + name );
}

}   // namespace EvaluationModel
