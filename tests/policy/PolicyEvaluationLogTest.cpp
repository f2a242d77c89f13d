#include "policy/PolicyEvaluationLog.h"

#include <functional>
#include <sstream>
#include <string>
#include <typeinfo>

#include <gmock/gmock.h>

#include "substrate/plinth/Exception.h"
#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;

Ptr<PolicyEvaluationLog> logOf( const Ptr<const RouteMapStatus> & map ) {
   return makeNode<PolicyEvaluationLog>( map );
}

/// A log with an untouched record of every sequence.
Ptr<PolicyEvaluationLog> fullLogOf( const Ptr<const RouteMapStatus> & map ) {
   auto log = logOf( map );
   for( const auto & [ seqno, status ] : map->seqStatus() ) log->addSeq( status );
   return log;
}

TEST( PolicyEvaluationLog, startsWithDefaults ) {
   const auto map = routeMap( "RM" );
   const auto log = logOf( map );
   EXPECT_FALSE( log->permitResult() );
   EXPECT_FALSE( log->defaultDeny() );
   EXPECT_EQ( log->rmStatus(), map );
   EXPECT_TRUE( log->seq().empty() );
   EXPECT_FALSE( log->seq( 0 ) );
}

TEST( PolicyEvaluationLog, tellsItsKind ) {
   const auto log = logOf( routeMap( "RM" ) );
   EXPECT_STREQ( log->policyType(), "routemap" );
   const EvaluationLogBase & base = *log;
   EXPECT_STREQ( base.policyType(), "routemap" );
   EXPECT_TRUE( base.typeData() == typeid( PolicyEvaluationLog ) );
}

TEST( PolicyEvaluationLog, holdsItsRouteMap ) {
   auto map = routeMap( "RM", { seq( 10 ) } );
   const auto log = fullLogOf( map );
   EXPECT_EQ( map->useCount(), 2u );
   map = nullptr;
   EXPECT_EQ( withoutAddresses( log->toStrep( 0 ) ),
              "0x-\nRoute Map Name: RM\nMatcher debug key: 10\n   0x-\n   seqno: 10\n   Seq matched \n   This sequence is deny\nresult was "
              "deny\nend RM\n" );
}

TEST( PolicyEvaluationLog, aRecordIsMadeOnTheFirstVisit ) {
   const auto log = logOf( routeMap( "RM" ) );
   const auto record = log->addSeq( seq( 10 ) );
   ASSERT_TRUE( record );
   EXPECT_EQ( record->seqno(), 10u );
   EXPECT_FALSE( record->subPolicyEvaluationLog() );
   EXPECT_EQ( fieldsOf( *fullLogOf( routeMap( "RM", { seq( 10 ) } ) ) ), "10{} deny" );   // all else at its default
   EXPECT_EQ( log->seq( 10 ), record );
   EXPECT_EQ( log->seq().count(), 1u );
}

TEST( PolicyEvaluationLog, aSecondVisitFindsTheRecordAsItIs ) {
   const auto log = logOf( routeMap( "RM" ) );
   const auto status = seq( 10 ).call( routeMap( "SUB" ) );
   const auto record = log->addSeq( status );
   const auto sub = record->subPolicyEvaluationLog();
   record->continueSeqIs( 20 );
   record->failedMatcherIs( MatchOption::matchTag );
   EXPECT_EQ( log->addSeq( status ), record );
   EXPECT_EQ( log->addSeq( seq( 10 ) ), record );   // the number decides
   EXPECT_EQ( record->subPolicyEvaluationLog(), sub );
   EXPECT_EQ( record->continueSeq(), 20u );
   EXPECT_EQ( record->failedMatcher(), MatchOption::matchTag );
   EXPECT_EQ( log->seq().count(), 1u );
}

TEST( PolicyEvaluationLog, recordsAreKeptByNumber ) {
   const auto log = logOf( routeMap( "RM" ) );
   const auto ten = makeNode<SeqLog>( 10 ), twenty = makeNode<SeqLog>( 20 ), otherTen = makeNode<SeqLog>( 10 );
   log->seqIs( ten );
   log->seqIs( twenty );
   EXPECT_EQ( log->seq( 10 ), ten );
   EXPECT_EQ( log->seq( 20 ), twenty );
   EXPECT_FALSE( log->seq( 30 ) );
   log->seqIs( otherTen );
   EXPECT_EQ( log->seq( 10 ), otherTen );
   EXPECT_EQ( log->seq().count(), 2u );
   log->seqDel( 10 );
   log->seqDel( 30 );
   EXPECT_FALSE( log->seq( 10 ) );
   EXPECT_EQ( log->seq().count(), 1u );
   log->seqDelAll();
   EXPECT_TRUE( log->seq().empty() );
   EXPECT_EQ( twenty->useCount(), 1u );
}

TEST( PolicyEvaluationLog, aNullRecordIsRefused ) {
   const auto log = logOf( routeMap( "RM" ) );
   EXPECT_THROW( log->seqIs( nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_TRUE( log->seq().empty() );
}

// ---- the text form

TEST( PolicyEvaluationLog, theFirstLineIsItsOwnAddress ) {
   const auto log = logOf( routeMap( "RM" ) );
   std::ostringstream address;
   address << static_cast<const void *>( log.get() );
   EXPECT_EQ( std::string( log->toStrep( 0 ) ), address.str() + "\nRoute Map Name: RM\nresult was deny\nend RM\n" );
   EXPECT_EQ( std::string( log->toStrep( 2 ) ),
              "      " + address.str() + "\n      Route Map Name: RM\n      result was deny\n      end RM\n" );
}

TEST( PolicyEvaluationLog, theResultIsTheLastButTheName ) {
   const struct {
      const char * name;
      bool permit, defaultDeny;
      const char * text;
      const char * json;
   } rows[] = {
      { "no record", false, false, "0x-\nRoute Map Name: RM\nresult was deny\nend RM\n",
        R"("rmname":"RM","seqs":{},"result":false,"defaultDeny":false)" },
      { "default deny", false, true, "0x-\nRoute Map Name: RM\nresult was deny\ndefault denied\nend RM\n",
        R"("rmname":"RM","seqs":{},"result":false,"defaultDeny":true)" },
      { "permit", true, false, "0x-\nRoute Map Name: RM\nresult was permit\nend RM\n",
        R"("rmname":"RM","seqs":{},"result":true,"defaultDeny":false)" },
      { "both", true, true, "0x-\nRoute Map Name: RM\nresult was permit\ndefault denied\nend RM\n",
        R"("rmname":"RM","seqs":{},"result":true,"defaultDeny":true)" },
   };
   for( const auto & row : rows ) {
      const auto log = logOf( routeMap( "RM", { seq( 10 ) } ) );   // not visited
      log->permitResultIs( row.permit );
      log->defaultDenyIs( row.defaultDeny );
      EXPECT_EQ( withoutAddresses( log->toStrep( 0 ) ), row.text ) << row.name;
      EXPECT_EQ( jsonOf( *log ), row.json ) << row.name;
   }
}

/// The sequences that a form shows, in its order.
std::string keysOf( const PolicyEvaluationLog & log ) {
   std::string keys;
   const std::string text( log.toStrep( 0 ) ), lead = "Matcher debug key: ";
   for( size_t at = 0; ( at = text.find( lead, at ) ) != std::string::npos; ) {
      at += lead.size();
      keys += text.substr( at, text.find( '\n', at ) - at ) + " ";
   }
   return keys;
}
std::string jsonKeysOf( const PolicyEvaluationLog & log ) {
   std::string keys;
   const std::string json = jsonOf( log ), behind = "\":{\"passedMatchers\"";
   for( size_t at = 0; ( at = json.find( behind, at + 1 ) ) != std::string::npos; ) {
      const size_t quote = json.rfind( '"', at - 1 );
      keys += json.substr( quote + 1, at - quote - 1 ) + " ";
   }
   return keys;
}

TEST( PolicyEvaluationLog, sequencesStandInTheOrderOfTheirNumbers ) {
   const auto map = routeMap( "RM" );
   const auto log = logOf( map );
   std::string expected;
   for( uint32_t i = 0; i < 100; ++i ) {
      const uint32_t seqno = i * 37 % 100 * 1000;   // written in another order
      map->seqStatusIs( seq( seqno ) );
      log->addSeq( map->seqStatus( seqno ) );
      expected += std::to_string( i * 1000 ) + " ";
   }
   EXPECT_EQ( keysOf( *log ), expected );
   EXPECT_EQ( jsonKeysOf( *log ), expected );
}

TEST( PolicyEvaluationLog, onlyWhatHasBothStatusAndRecordIsShown ) {
   const auto map = routeMap( "RM", { seq( 10 ), seq( 20 ), seq( 30 ) } );
   const auto log = logOf( map );
   log->addSeq( map->seqStatus( 10 ) );
   log->addSeq( map->seqStatus( 30 ) );
   log->addSeq( seq( 25 ) );
   EXPECT_EQ( keysOf( *log ), "10 30 " );
   EXPECT_EQ( jsonKeysOf( *log ), "10 30 " );
   map->seqStatusDel( 10 );
   EXPECT_EQ( keysOf( *log ), "30 " );
   EXPECT_EQ( jsonKeysOf( *log ), "30 " );
   map->seqStatusDelAll();
   EXPECT_EQ( withoutAddresses( log->toStrep( 0 ) ), "0x-\nRoute Map Name: RM\nresult was deny\nend RM\n" );
   EXPECT_EQ( jsonOf( *log ), R"("rmname":"RM","seqs":{},"result":false,"defaultDeny":false)" );
}

TEST( PolicyEvaluationLog, aNestedLogStandsOneLevelDeeperPerCall ) {
   const auto log = fullLogOf( routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 5 ) } ) ) } ) );
   const auto sub = log->seq( 10 )->subPolicyEvaluationLog();
   sub->addSeq( sub->rmStatus()->seqStatus( 5 ) )->failedMatcherIs( MatchOption::matchInterface );
   sub->defaultDenyIs( true );
   EXPECT_EQ( withoutAddresses( log->toStrep( 1 ) ),
              "   0x-\n"
              "   Route Map Name: RM\n"
              "   Matcher debug key: 10\n"
              "      0x-\n"
              "      seqno: 10\n"
              "      Seq matched \n"
              "      Result: called a sub route map: \n"
              "         0x-\n"
              "         Route Map Name: SUB\n"
              "         Matcher debug key: 5\n"
              "            0x-\n"
              "            seqno: 5\n"
              "            The following matcher failed:\n"
              "            matchInterface\n"
              "         result was deny\n"
              "         default denied\n"
              "         end SUB\n"
              "   result was deny\n"
              "   end RM\n" );
}

TEST( PolicyEvaluationLog, numbersAreDecimalInEveryLocale ) {
   const auto log = fullLogOf( routeMap( "RM", { seq( 1234567 ) } ) );
   const OddLocale odd;
   EXPECT_EQ( keysOf( *log ), "1234567 " );
   EXPECT_EQ( jsonKeysOf( *log ), "1234567 " );
}

// ---- the structured form

TEST( PolicyEvaluationLog, theNameIsEscapedInTheStructuredFormAndRawInTheText ) {
   const struct {
      const char * name;
      const char *routeMap, *escaped;
   } rows[] = {
      { "plain", "RM1", "RM1" },
      { "empty", "", "" },
      { "a double quote", "a\"b", "a\\\"b" },
      { "a tab", "a\tb", "a\\tb" },
      { "a backslash and a newline", "\\\n", "\\\\\\n" },
      { "a vertical tab", "\v", "\\u000B" },
      { "bytes from 0x7f up", "\x7f\xc3\xa4\xff", "\x7f\xc3\xa4\xff" },
   };
   for( const auto & row : rows ) {
      const auto log = logOf( routeMap( row.routeMap ) );
      EXPECT_EQ( jsonOf( *log ), std::string( R"("rmname":")" ) + row.escaped + R"(","seqs":{},"result":false,"defaultDeny":false)" )
         << row.name;
      EXPECT_EQ( withoutAddresses( log->toStrep( 0 ) ),
                 std::string( "0x-\nRoute Map Name: " ) + row.routeMap + "\nresult was deny\nend " + row.routeMap + "\n" )
         << row.name;
   }
}

TEST( PolicyEvaluationLog, aCommaStandsInFrontUnlessItIsTheFirst ) {
   const auto log = fullLogOf( routeMap( "RM", { seq( 10 ), seq( 20 ) } ) );
   const std::string members = R"("rmname":"RM","seqs":{)"
                               R"("10":{"passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0},)"
                               R"("20":{"passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0}},)"
                               R"("result":false,"defaultDeny":false)";
   for( const bool first : { true, false } ) {
      Gloss::RendererV2 renderer;
      renderer.firstItemIs( first );
      log->toJson( &renderer );
      EXPECT_EQ( renderer.text(), ( first ? "" : "," ) + members );
      EXPECT_FALSE( renderer.firstItem() );
   }
}

/// Counts how often it is rendered, and does what it was told to do meanwhile.
struct WatchedLog final : PolicyEvaluationLog {
   explicit WatchedLog( const Ptr<const RouteMapStatus> & map, std::function<void()> d = {} )
         : PolicyEvaluationLog( map ), during( std::move( d ) ) {}
   void toJson( Gloss::RendererV2 * renderer ) const override {
      ++rendered;
      if( during ) during();
      PolicyEvaluationLog::toJson( renderer );
   }
   std::function<void()> during;
   mutable int rendered = 0;
};

TEST( PolicyEvaluationLog, otherModesWriteNothingAndStillWalkTheSubRouteMaps ) {
   for( const int mode : { -1, 0, 1, 2, 3, 255 } ) {
      SCOPED_TRACE( mode );
      const auto outer = routeMap( "OUTER", { seq( 1 ), seq( 2 ) } );
      const auto log = fullLogOf( routeMap( "RM", { seq( 10 ), seq( 20 ), seq( 30 ) } ) );
      const auto inner = makeNode<WatchedLog>( routeMap( "INNER" ) ), watched = makeNode<WatchedLog>( outer ),
                 hidden = makeNode<WatchedLog>( outer );
      log->seq( 10 )->subPolicyEvaluationLogIs( watched );
      watched->addSeq( outer->seqStatus( 1 ) )->subPolicyEvaluationLogIs( inner );
      watched->addSeq( outer->seqStatus( 2 ) )->subPolicyEvaluationLogIs( inner );
      log->seq( 30 )->subPolicyEvaluationLogIs( hidden );
      log->seq( 30 )->failedMatcherIs( MatchOption::matchTag );
      Gloss::RendererV2 renderer( mode );
      log->toJson( &renderer );
      EXPECT_EQ( renderer.text().empty(), mode != 2 );
      EXPECT_EQ( watched->rendered, 1 );
      EXPECT_EQ( inner->rendered, 2 );
      EXPECT_EQ( hidden->rendered, 0 );   // behind a failed matcher
   }
}

TEST( PolicyEvaluationLog, theWalkGoesOnByKeyWhenTheStatusChangesUnderIt ) {
   const struct {
      const char * name;
      void ( *change )( RouteMapStatus & );   // while 20 is rendered
      const char * keys;
   } rows[] = {
      { "no change", []( RouteMapStatus & ) {}, "10 20 30 40 " },
      { "the next goes", []( RouteMapStatus & m ) { m.seqStatusDel( 30 ); }, "10 20 40 " },
      { "the very one goes", []( RouteMapStatus & m ) { m.seqStatusDel( 20 ); }, "10 20 30 40 " },
      { "the first goes", []( RouteMapStatus & m ) { m.seqStatusDel( 10 ); }, "10 20 30 40 " },
      { "one comes with a record", []( RouteMapStatus & m ) { m.seqStatusIs( seq( 25 ) ); }, "10 20 25 30 40 " },
      { "one comes without a record", []( RouteMapStatus & m ) { m.seqStatusIs( seq( 35 ) ); }, "10 20 30 40 " },
      { "all go", []( RouteMapStatus & m ) { m.seqStatusDelAll(); }, "10 20 " },
   };
   for( const auto & row : rows ) {
      const auto map = routeMap( "RM", { seq( 10 ), seq( 20 ), seq( 30 ), seq( 40 ) } );
      const auto log = fullLogOf( map );
      log->addSeq( seq( 25 ) );
      log->seq( 20 )->subPolicyEvaluationLogIs( makeNode<WatchedLog>( routeMap( "SUB" ), [ & ] { row.change( *map ); } ) );
      EXPECT_EQ( jsonKeysOf( *log ), row.keys ) << row.name;
   }
}

}   // namespace
