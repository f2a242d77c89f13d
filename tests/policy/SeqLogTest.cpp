#include "policy/SeqLog.h"

#include <functional>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;
using testing::MatchesRegex;

using Fill = std::function<void( SeqLog & )>;

Ptr<SeqLog> record( const Fill & fill, uint32_t seqno = 10 ) {
   auto log = makeNode<SeqLog>( seqno );
   if( fill ) fill( *log );
   return log;
}

/// The log of a sub route map of one sequence without matchers, which permits.
Ptr<PolicyEvaluationLog> subLog() {
   auto log = makeNode<PolicyEvaluationLog>( routeMap( "SUB", { seq( 5 ) } ) );
   const auto five = log->addSeq( log->rmStatus()->seqStatus( 5 ) );
   five->hadNoMatchersIs( true );
   five->permitResultIs( true );
   log->permitResultIs( true );
   return log;
}

TEST( SeqLog, startsWithDefaults ) {
   const SeqLog log( 4294967295 );
   EXPECT_EQ( log.seqno(), 4294967295u );
   EXPECT_FALSE( log.subPolicyEvaluationLog() );
   EXPECT_EQ( log.continueSeq(), 0u );
   EXPECT_EQ( log.failedMatcher(), MatchOption( 0 ) );
   EXPECT_FALSE( log.hadNoMatchers() );
   EXPECT_FALSE( log.subRouteMapResult() );
   EXPECT_FALSE( log.matchActionDeny() );
   EXPECT_FALSE( log.permitResult() );
   EXPECT_FALSE( log.subRouteMapInvertResult() );
}

TEST( SeqLog, eachFieldStandsAlone ) {
   SeqLog log( 10 );
   const auto fields = [ & ] {
      std::ostringstream os;
      os << bool( log.subPolicyEvaluationLog() ) << log.continueSeq() << unsigned( log.failedMatcher() ) << log.hadNoMatchers()
         << log.subRouteMapResult() << log.matchActionDeny() << log.permitResult() << log.subRouteMapInvertResult();
      return os.str();
   };
   EXPECT_EQ( fields(), "00000000" );
   log.subPolicyEvaluationLogIs( subLog() );
   EXPECT_EQ( fields(), "10000000" );
   log.continueSeqIs( 2 );
   EXPECT_EQ( fields(), "12000000" );
   log.failedMatcherIs( MatchOption( 3 ) );
   EXPECT_EQ( fields(), "12300000" );
   log.hadNoMatchersIs( true );
   EXPECT_EQ( fields(), "12310000" );
   log.subRouteMapResultIs( true );
   EXPECT_EQ( fields(), "12311000" );
   log.matchActionDenyIs( true );
   EXPECT_EQ( fields(), "12311100" );
   log.permitResultIs( true );
   EXPECT_EQ( fields(), "12311110" );
   log.subRouteMapInvertResultIs( true );
   EXPECT_EQ( fields(), "12311111" );
   log.subPolicyEvaluationLogIs( nullptr );
   EXPECT_EQ( fields(), "02311111" );
}

TEST( SeqLog, theFirstLineIsItsOwnAddress ) {
   const auto log = record( {} );
   std::ostringstream address;
   address << static_cast<const void *>( log.get() );
   EXPECT_THAT( address.str(), MatchesRegex( "0x[0-9a-f]+" ) );
   EXPECT_EQ( std::string( log->toStrep( 0 ) ).find( address.str() + "\nseqno: 10\n" ), 0u );
   EXPECT_EQ( std::string( log->toStrep( 2 ) ).find( "      " + address.str() + "\n      seqno: 10\n" ), 0u );
}

const std::string kSubText = "   0x-\n"
                             "   Route Map Name: SUB\n"
                             "   Matcher debug key: 5\n"
                             "      0x-\n"
                             "      seqno: 5\n"
                             "      The sequence had no matchers\n"
                             "      This sequence is permit\n"
                             "   result was permit\n"
                             "   end SUB\n";

TEST( SeqLog, theTextTellsWhatWasMetUpToWhereItEnded ) {
   const struct {
      const char * name;
      Fill fill;
      std::string text;   // behind the first two lines
   } rows[] = {
      { "nothing set", {}, "Seq matched \nThis sequence is deny\n" },
      { "permit", []( SeqLog & l ) { l.permitResultIs( true ); }, "Seq matched \nThis sequence is permit\n" },
      { "no matchers",
        []( SeqLog & l ) {
           l.hadNoMatchersIs( true );
           l.permitResultIs( true );
        },
        "The sequence had no matchers\nThis sequence is permit\n" },
      { "a failed matcher", []( SeqLog & l ) { l.failedMatcherIs( MatchOption::matchTag ); }, "The following matcher failed:\nmatchTag\n" },
      { "a failed matcher without a name", []( SeqLog & l ) { l.failedMatcherIs( MatchOption( 200 ) ); },
        "The following matcher failed:\nmatchOption200\n" },
      { "a failed matcher ends the text, whatever else is set",
        []( SeqLog & l ) {
           l.failedMatcherIs( MatchOption::matchMetric );
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapResultIs( true );
           l.matchActionDenyIs( true );
           l.permitResultIs( true );
           l.subRouteMapInvertResultIs( true );
           l.continueSeqIs( 20 );
        },
        "The following matcher failed:\nmatchMetric\n" },
      { "no matchers goes before a failed one",
        []( SeqLog & l ) {
           l.hadNoMatchersIs( true );
           l.failedMatcherIs( MatchOption::matchTag );
        },
        "The sequence had no matchers\nThis sequence is deny\n" },
      { "a sub route map that permitted",
        []( SeqLog & l ) {
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapResultIs( true );
           l.permitResultIs( true );
        },
        "Seq matched \nResult: called a sub route map: \n" + kSubText + "This sequence is permit\n" },
      { "no matchers and a sub route map that permitted",
        []( SeqLog & l ) {
           l.hadNoMatchersIs( true );
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapResultIs( true );
           l.permitResultIs( true );
        },
        "The sequence had no matchers\nResult: called a sub route map: \n" + kSubText + "This sequence is permit\n" },
      { "a sub route map that denied ends the text, whatever else is set",
        []( SeqLog & l ) {
           l.subPolicyEvaluationLogIs( subLog() );
           l.matchActionDenyIs( true );
           l.permitResultIs( true );
           l.subRouteMapInvertResultIs( true );
           l.continueSeqIs( 20 );
        },
        "Seq matched \nResult: called a sub route map: \n" + kSubText },
      { "a result without a sub route map ends nothing", []( SeqLog & l ) { l.subRouteMapResultIs( true ); },
        "Seq matched \nThis sequence is deny\n" },
      { "a deny", []( SeqLog & l ) { l.matchActionDenyIs( true ); }, "Seq matched \nExplicitly denied\n" },
      { "a deny ends the text, whatever else is set",
        []( SeqLog & l ) {
           l.matchActionDenyIs( true );
           l.permitResultIs( true );
           l.subRouteMapInvertResultIs( true );
           l.continueSeqIs( 20 );
        },
        "Seq matched \nExplicitly denied\n" },
      { "a deny behind a sub route map",
        []( SeqLog & l ) {
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapResultIs( true );
           l.matchActionDenyIs( true );
        },
        "Seq matched \nResult: called a sub route map: \n" + kSubText + "Explicitly denied\n" },
      { "inverted",
        []( SeqLog & l ) {
           l.permitResultIs( true );
           l.subRouteMapInvertResultIs( true );
        },
        "Seq matched \nThis sequence is permit\nSub route map inverted\n" },
      { "a continue",
        []( SeqLog & l ) {
           l.permitResultIs( true );
           l.continueSeqIs( 4294967295 );
        },
        "Seq matched \nThis sequence is permit\nContinue triggered to seq 4294967295\n" },
      { "all that can stand together",
        []( SeqLog & l ) {
           l.hadNoMatchersIs( true );
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapResultIs( true );
           l.subRouteMapInvertResultIs( true );
           l.continueSeqIs( 20 );
        },
        "The sequence had no matchers\nResult: called a sub route map: \n" + kSubText +
           "This sequence is deny\nSub route map inverted\nContinue triggered to seq 20\n" },
   };
   for( const auto & row : rows )
      EXPECT_EQ( withoutAddresses( record( row.fill )->toStrep( 0 ) ), "0x-\nseqno: 10\n" + row.text ) << row.name;
}

TEST( SeqLog, everyLineOfTheTextIsIndentedByItsLevel ) {
   const Fill fills[] = {
      []( SeqLog & l ) { l.failedMatcherIs( MatchOption::matchTag ); },
      []( SeqLog & l ) { l.matchActionDenyIs( true ); },
      []( SeqLog & l ) {
         l.subPolicyEvaluationLogIs( subLog() );
         l.subRouteMapResultIs( true );
         l.subRouteMapInvertResultIs( true );
         l.continueSeqIs( 20 );
      },
   };
   for( const auto & fill : fills ) {
      const auto log = record( fill );
      for( const uint32_t level : { 1u, 2u, 7u } ) {
         std::istringstream flat( log->toStrep( 0 ).data() );
         std::string expected;
         for( std::string line; std::getline( flat, line ); ) expected += std::string( 3 * level, ' ' ) + line + '\n';
         EXPECT_EQ( log->toStrep( level ), Quoin::String( expected ) ) << level;
      }
   }
}

TEST( SeqLog, theTextIsTheSameInEveryLocale ) {
   const auto log = record( []( SeqLog & l ) { l.continueSeqIs( 1234567 ); }, 7654321 );
   const auto before = log->toStrep( 0 );
   const OddLocale odd;
   EXPECT_EQ( log->toStrep( 0 ), before );
}

// ---- the structured form

Ptr<const RouteMapSeqStatus> withMatchers( std::initializer_list<MatchOption> options ) {
   auto status = seq( 10 );
   for( const auto option : options ) status.match( matcher( true ), option );
   return status;
}

std::string jsonOf( const SeqLog & log, const Ptr<const RouteMapSeqStatus> & status, bool first = true, int mode = 2 ) {
   Gloss::RendererV2 renderer( mode );
   renderer.firstItemIs( first );
   log.toJson( &renderer, status );
   EXPECT_TRUE( mode != 2 || !renderer.firstItem() );
   return renderer.text();
}

const std::string kSubJson =
   R"("rmname":"SUB","seqs":{"5":{"passedMatchers":[],"hadNoMatchers":true,"matchActionDeny":false,"result":true,"continue":0}},)"
   R"("result":true,"defaultDeny":false)";

TEST( SeqLog, theStructuredFormTellsEveryField ) {
   const auto three = withMatchers( { MatchOption::matchTag, MatchOption::matchIpPrefixList, MatchOption( 77 ) } );
   const struct {
      const char * name;
      Fill fill;
      Ptr<const RouteMapSeqStatus> status;
      std::string json;   // of the object's inside
   } rows[] = {
      { "nothing set",
        {},
        withMatchers( {} ),
        R"("passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "each flag: no matchers", []( SeqLog & l ) { l.hadNoMatchersIs( true ); }, withMatchers( {} ),
        R"("passedMatchers":[],"hadNoMatchers":true,"matchActionDeny":false,"result":false,"continue":0)" },
      { "each flag: deny", []( SeqLog & l ) { l.matchActionDenyIs( true ); }, withMatchers( {} ),
        R"("passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":true,"result":false,"continue":0)" },
      { "each flag: permit", []( SeqLog & l ) { l.permitResultIs( true ); }, withMatchers( {} ),
        R"("passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":false,"result":true,"continue":0)" },
      { "the sub route map's result has no place", []( SeqLog & l ) { l.subRouteMapResultIs( true ); }, withMatchers( {} ),
        R"("passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "inversion without a sub route map has no place", []( SeqLog & l ) { l.subRouteMapInvertResultIs( true ); }, withMatchers( {} ),
        R"("passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "the continue, as a number", []( SeqLog & l ) { l.continueSeqIs( 4294967295 ); }, withMatchers( {} ),
        R"("passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":4294967295)" },
      { "a deny hides no continue",
        []( SeqLog & l ) {
           l.matchActionDenyIs( true );
           l.continueSeqIs( 20 );
        },
        withMatchers( {} ), R"("passedMatchers":[],"hadNoMatchers":false,"matchActionDeny":true,"result":false,"continue":20)" },
      { "all matchers passed",
        {},
        three,
        R"("passedMatchers":["matchIpPrefixList","matchOption77","matchTag"],"hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "the first failed", []( SeqLog & l ) { l.failedMatcherIs( MatchOption::matchIpPrefixList ); }, three,
        R"("passedMatchers":[],"failingMatcher":"matchIpPrefixList","hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "the second failed", []( SeqLog & l ) { l.failedMatcherIs( MatchOption( 77 ) ); }, three,
        R"("passedMatchers":["matchIpPrefixList"],"failingMatcher":"matchOption77","hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "the last failed", []( SeqLog & l ) { l.failedMatcherIs( MatchOption::matchTag ); }, three,
        R"("passedMatchers":["matchIpPrefixList","matchOption77"],"failingMatcher":"matchTag","hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "the one that failed has gone", []( SeqLog & l ) { l.failedMatcherIs( MatchOption::matchMetric ); }, three,
        R"("passedMatchers":["matchIpPrefixList","matchOption77","matchTag"],"failingMatcher":"matchMetric","hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0)" },
      { "a failed matcher hides the sub route map and nothing else",
        []( SeqLog & l ) {
           l.failedMatcherIs( MatchOption::matchTag );
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapInvertResultIs( true );
           l.hadNoMatchersIs( true );
           l.matchActionDenyIs( true );
           l.permitResultIs( true );
           l.continueSeqIs( 20 );
        },
        withMatchers( { MatchOption::matchTag } ),
        R"("passedMatchers":[],"failingMatcher":"matchTag","hadNoMatchers":true,"matchActionDeny":true,"result":true,"continue":20)" },
      { "a sub route map that permitted",
        []( SeqLog & l ) {
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapResultIs( true );
           l.permitResultIs( true );
        },
        withMatchers( {} ),
        R"("passedMatchers":[],"subRouteMap":{)" + kSubJson +
           R"(},"subRouteMapInvertResult":false,"hadNoMatchers":false,"matchActionDeny":false,"result":true,"continue":0)" },
      { "a sub route map that denied hides nothing",
        []( SeqLog & l ) {
           l.subPolicyEvaluationLogIs( subLog() );
           l.subRouteMapInvertResultIs( true );
           l.hadNoMatchersIs( true );
           l.matchActionDenyIs( true );
           l.permitResultIs( true );
           l.continueSeqIs( 20 );
        },
        withMatchers( { MatchOption::matchTag } ),
        R"("passedMatchers":["matchTag"],"subRouteMap":{)" + kSubJson +
           R"(},"subRouteMapInvertResult":true,"hadNoMatchers":true,"matchActionDeny":true,"result":true,"continue":20)" },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( jsonOf( *record( row.fill ), row.status ), R"("10":{)" + row.json + "}" ) << row.name;
      EXPECT_EQ( jsonOf( *record( row.fill ), row.status, false ), R"(,"10":{)" + row.json + "}" ) << row.name << ", behind another member";
   }
}

TEST( SeqLog, theKeyIsTheNumberInDecimal ) {
   for( const uint32_t seqno : { 0u, 7u, 1234567u, 4294967295u } ) {
      const OddLocale odd;
      EXPECT_EQ( jsonOf( *record( {}, seqno ), seq( seqno ) ).find( "\"" + std::to_string( seqno ) + "\":{\"passedMatchers\":[" ), 0u )
         << seqno;
   }
}

TEST( SeqLog, theStructuredFormWritesNothingInOtherModes ) {
   const auto log = record( []( SeqLog & l ) { l.subPolicyEvaluationLogIs( subLog() ); } );
   for( const int mode : { -1, 0, 1, 3, 4 } ) EXPECT_EQ( jsonOf( *log, seq( 10 ).match( true ), false, mode ), "" ) << mode;
}

}   // namespace
