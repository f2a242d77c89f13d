// The library's prefix lists against the linear one, on every road.
#include "tests/model/PrefixListModel.h"

#include <algorithm>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include "policy/PrefixListMatcher.h"
#include "tests/model/RandomCases.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using Routing::Policy::PrefixListMatcher;
using Routing::Policy::PrefixListMatchResult;
using Entry = PrefixListModel::Entry;
using Tuple = PrefixListModel::Tuple;

constexpr AddressFamily kFamilies[] = { AddressFamily::ipv4, AddressFamily::ipv6 };

std::string textOf( const std::vector<Entry> & entries ) {
   std::ostringstream os;
   for( const auto & e : entries ) os << "\n   " << e;
   return os.str();
}

std::optional<bool> tristate( const Tuple & t ) {
   return t.result == PrefixListMatchResult::notMatched ? std::nullopt : std::optional( t.result == PrefixListMatchResult::permit );
}

// The model itself, by hand.
TEST( PrefixListModel, isWhatTheExamplesSay ) {
   PrefixListModel model{ AddressFamily::ipv4, {} };
   for( const char * text :
        { "10 deny 10.0.0.0/8 ge 24 le 24", "20 permit 10.1.1.0/24", "30 permit 0.0.0.0/0 le 32", "5 permit 192.168.0.0/16 ge 24" } )
      EXPECT_TRUE( model.entryIs( prefixListEntry( text ) ) );
   const struct {
      const char * asked;
      Tuple match, coveredBy;
   } rows[] = {
      { "10.1.1.0/24", { 10, PrefixListMatchResult::deny }, { 10, PrefixListMatchResult::deny } },
      { "10.1.1.0/25", { 30, PrefixListMatchResult::permit }, { 10, PrefixListMatchResult::deny } },
      { "10.0.0.0/7", { 30, PrefixListMatchResult::permit }, { 30, PrefixListMatchResult::permit } },
      { "192.168.1.0/24", { 5, PrefixListMatchResult::permit }, { 5, PrefixListMatchResult::permit } },
      { "192.168.0.0/16", { 30, PrefixListMatchResult::permit }, { 5, PrefixListMatchResult::permit } },
      { "2001:db8::/32", {}, {} },
   };
   for( const auto & row : rows ) {
      const IpGenPrefix asked( row.asked );
      EXPECT_EQ( model.match( asked ), row.match ) << row.asked;
      EXPECT_EQ( model.coveredBy( asked ), row.coveredBy ) << row.asked;
   }
}

/// Entries of every kind: many at one prefix, nested ones, equal ranges, ranges that admit nothing, any order of numbers.
std::vector<Entry> anyEntries( Random & random, RandomPrefixes & prefixes, bool equalNumbers ) {
   std::vector<Entry> entries;
   std::vector<IpGenPrefix> used;
   std::set<uint32_t> numbers;
   const unsigned bits = prefixes.addressBits();
   const auto bound = [ & ]( unsigned length ) {
      return unsigned( oneIn( random, 4 ) ? below( random, bits + 1 ) : oneIn( random, 3 ) ? bits : length );
   };
   for( auto n = below( random, oneIn( random, 4 ) ? 60 : 12 ); n; --n ) {
      const auto prefix = used.empty() || oneIn( random, 3 ) ? prefixes.network()
         : oneIn( random, 2 )                                ? anyOf( random, used )
                                                             : prefixes.around( anyOf( random, used ) ).subnet();
      used.push_back( prefix );
      uint32_t seqno;
      do
         seqno = oneIn( random, 20 ) ? uint32_t( random() )
            : oneIn( random, 20 )    ? ~uint32_t( 0 )
                                     : uint32_t( below( random, equalNumbers ? 8 : 200 ) );
      while( !equalNumbers && !numbers.insert( seqno ).second );
      entries.push_back( { seqno, oneIn( random, 2 ) ? permit : deny, prefix, bound( prefix.length() ), bound( prefix.length() ) } );
   }
   return entries;
}

/// Ten prefixes to ask about; some have nothing to do with the list, some a length that no address has.
std::vector<IpGenPrefix> anyQuestions( Random & random, RandomPrefixes & prefixes, const std::vector<Entry> & entries ) {
   std::vector<IpGenPrefix> questions;
   while( questions.size() < 10 )
      questions.push_back( entries.empty() || oneIn( random, 4 ) ? prefixes.withHostBits()
                              : oneIn( random, 40 ) ? prefixOf( prefixes.af(), prefixes.address(), unsigned( below( random, 256 ) ) )
                                                    : prefixes.around( anyOf( random, entries ).prefix ) );
   return questions;
}

void expectSame( const PrefixListMatcher & matcher, const std::vector<IpGenPrefix> & questions, const std::vector<Entry> & entries,
                 const std::function<Tuple( const IpGenPrefix & )> & match,
                 const std::function<Tuple( const IpGenPrefix & )> & coveredBy ) {
   for( const auto & asked : questions ) {
      const auto route = routeTo( asked );
      EXPECT_EQ( matcher.matchPrefix( asked ), match( asked ) ) << asked << textOf( entries );
      EXPECT_EQ( matcher.matchWithTristateForTest( route, noContext ), tristate( match( asked ) ) ) << asked << textOf( entries );
      EXPECT_EQ( matcher.coveredByForTest( route, noContext ), tristate( coveredBy( asked ) ) ) << asked << textOf( entries );
      EXPECT_EQ( matcher.matchForTest( route, noContext ), match( asked ).result == PrefixListMatchResult::permit ) << asked;
   }
}

TEST( PrefixListModel, aListAnswersLikeALinearScanOnEveryRoad ) {
   for( const auto af : kFamilies )
      forRandomCases( 100, [ af ]( Random & random ) {
         RandomPrefixes prefixes( random, af );
         PrefixListModel model{ af, anyEntries( random, prefixes, false ) };
         // The greatest number first, so that each chain ascends.
         std::sort( model.entries.begin(), model.entries.end(), []( const Entry & a, const Entry & b ) { return a.seqno > b.seqno; } );
         const auto questions = anyQuestions( random, prefixes, model.entries );
         for( const Road road : kRoads ) {
            SCOPED_TRACE( road );
            const PrefixListMatcher matcher( "list", prefixListBy( road, model ) );
            expectSame(
               matcher, questions, model.entries, [ & ]( const auto & asked ) { return model.match( asked ); },
               [ & ]( const auto & asked ) { return model.coveredBy( asked ); } );
         }
         for( const auto & asked : questions ) {
            EXPECT_EQ( model.matchByWalk( asked ), model.match( asked ) ) << asked << textOf( model.entries );
            EXPECT_EQ( model.coveredByWalk( asked ), model.coveredBy( asked ) ) << asked << textOf( model.entries );
         }
      } );
}

TEST( PrefixListModel, aChainThatDoesNotAscendIsWalkedTheSameOnEveryRoad ) {
   for( const auto af : kFamilies )
      forRandomCases( 50, [ af ]( Random & random ) {
         RandomPrefixes prefixes( random, af );
         const PrefixListModel model{ af, anyEntries( random, prefixes, oneIn( random, 2 ) ) };
         const auto questions = anyQuestions( random, prefixes, model.entries );
         for( const Road road : kRoads ) {
            SCOPED_TRACE( road );
            const PrefixListMatcher matcher( "list", prefixListBy( road, model ) );
            expectSame(
               matcher, questions, model.entries, [ & ]( const auto & asked ) { return model.matchByWalk( asked ); },
               [ & ]( const auto & asked ) { return model.coveredByWalk( asked ); } );
         }
      } );
}

/// Entries as somebody may configure them, right or wrong.
std::vector<PrefixListEntry> anyConfiguration( Random & random, RandomPrefixes & prefixes ) {
   std::vector<PrefixListEntry> entries;
   const auto bound = [ & ]( unsigned length ) -> std::optional<uint32_t> {
      if( oneIn( random, 2 ) ) return std::nullopt;
      return uint32_t( oneIn( random, 8 ) ? below( random, 300 ) : length + below( random, prefixes.addressBits() - length + 1 ) );
   };
   for( auto n = below( random, oneIn( random, 10 ) ? 100 : 15 ); n; --n ) {
      PrefixListEntry e;
      e.seqno = oneIn( random, 30 ) ? uint32_t( random() ) : uint32_t( below( random, 100 ) );
      e.action = oneIn( random, 2 ) ? permit : deny;
      e.prefix = entries.empty() || oneIn( random, 2 ) ? prefixes.network() : anyOf( random, entries ).prefix;
      const unsigned length = std::min<unsigned>( e.prefix.length(), prefixes.addressBits() );   // a copied one may be wrong already
      if( oneIn( random, 20 ) ) e.prefix = prefixes.withHostBits();
      if( oneIn( random, 40 ) ) e.prefix = prefixOf( prefixes.af(), {}, unsigned( below( random, 256 ) ) );
      if( oneIn( random, 40 ) )
         e.prefix =
            prefixOf( prefixes.af() == AddressFamily::ipv4 ? AddressFamily::ipv6 : AddressFamily::ipv4, prefixes.address(), length );
      e.ge = bound( length );
      e.le = bound( e.ge && *e.ge <= prefixes.addressBits() ? *e.ge : length );
      entries.push_back( e );
   }
   return entries;
}

TEST( PrefixListModel, aBuiltListAnswersLikeALinearScanOfWhatItTook ) {
   for( const auto af : kFamilies )
      forRandomCases( 100, [ af ]( Random & random ) {
         RandomPrefixes prefixes( random, af );
         PrefixListModel model{ af, {} };
         PrefixListBuilder builder( "list", af );
         for( const auto & entry : anyConfiguration( random, prefixes ) ) {
            const auto error = builder.entryIs( entry );
            EXPECT_EQ( !error, model.entryIs( entry ) ) << entry.toStrep();
            if( error ) {
               EXPECT_EQ( error->entry.seqno, entry.seqno );
               EXPECT_THAT( error->toStrep().data(), testing::HasSubstr( entry.toStrep().data() ) );
            }
            if( oneIn( random, 10 ) ) {
               const bool there = std::erase_if( model.entries, [ & ]( const Entry & e ) { return e.seqno == entry.seqno; } ) != 0;
               EXPECT_EQ( builder.entryDel( entry.seqno ), there );
            }
            EXPECT_EQ( builder.count(), model.entries.size() );
         }
         const auto list = builder.build();
         EXPECT_NE( list->rows(), nullptr );
         expectSame(
            PrefixListMatcher( "list", list ), anyQuestions( random, prefixes, model.entries ), model.entries,
            [ & ]( const auto & asked ) { return model.match( asked ); },
            [ & ]( const auto & asked ) { return model.coveredBy( asked ); } );
      } );
}

// Large enough for many nodes on every level, and asked along one path at a time.
TEST( PrefixListModel, aLargeListAnswersLikeALinearScan ) {
   for( const auto af : kFamilies )
      forSomeCases( 3, [ af ]( Random & random ) {
         RandomPrefixes prefixes( random, af );
         PrefixListModel model{ af, {} };
         for( uint32_t seqno = 5000; seqno > 0; --seqno ) {
            const auto prefix = prefixes.network();
            model.entries.push_back( { seqno, oneIn( random, 2 ) ? permit : deny, prefix, prefix.length(),
                                       oneIn( random, 2 ) ? prefix.length() : prefixes.addressBits() } );
         }
         for( const Road road : kRoads ) {
            SCOPED_TRACE( road );
            const PrefixListMatcher matcher( "list", prefixListBy( road, model ) );
            for( int i = 0; i < 200; ++i ) {
               const auto asked = prefixes.around( anyOf( random, model.entries ).prefix );
               EXPECT_EQ( matcher.matchPrefix( asked ), model.match( asked ) ) << asked;
               EXPECT_EQ( matcher.coveredByForTest( routeTo( asked ), noContext ), tristate( model.coveredBy( asked ) ) ) << asked;
            }
         }
      } );
}

}   // namespace
