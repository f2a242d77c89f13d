#include "policy/RouteMapStatusList.h"

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;
using testing::ElementsAre;
using testing::IsEmpty;

using Field = RouteMapStatusList::Field;

constexpr RmPrecedence kPrefixList = RmPrecedence::prefixListPrecedence;
constexpr RmPrecedence kRouteMap = RmPrecedence::routeMapPrecedence;
constexpr RmPrecedence kOriginate = RmPrecedence::defaultOriginatePrecedence;
constexpr RmPrecedence kMaint = RmPrecedence::routeMapMaintPrecedence;
constexpr RmPrecedence kMissing = RmPrecedence::missingPolicyDenyPrecedence;

Ptr<RouteMapStatus> reading( uint32_t features, const char * name = "RM" ) {
   const auto m = matcher( true );
   m->features = features;
   return routeMap( name, { seq( 10 ).match( m ) } );
}

Journal noJournal;

Ptr<Gyre::FunctionStatusBase> functionReading( uint32_t features, const char * name = "F" ) {
   const auto body = makeNode<FakeFunction>( noJournal, kPermit );
   body->features = features;
   return function( name, body );
}

Ptr<Gyre::FunctionStatusBase> undefinedFunction( const char * name = "F" ) {
   return Gyre::FunctionStatusBase::FunctionStatusBaseIs( name );
}

/// A list that writes down what it publishes: "rmStatus 4 (features 1)", with the features that a reactor sees then.
struct RouteMapStatusListTest : testing::Test {
   std::string describe( const Quoin::Change & change ) const {
      const char * const names[] = { "features",       "rmStatus", "gyreStatus", "gyreStatusFilter", "gyreStatusDefaultOriginate",
                                     "gyreStatusMaint" };
      std::string text = names[ change.field ];
      if( Field( change.field ) == Field::rmStatus ) {
         text += " " + std::to_string( static_cast<const RmPrecedence *>( change.key )->value() );
      } else {
         EXPECT_EQ( change.key, nullptr );
      }
      return text + " (" + std::to_string( list->features().value() ) + ")";
   }
   Ptr<RouteMapStatusList> list = makeNode<RouteMapStatusList>();
   Watcher watcher{ *list, [ this ]( const Quoin::Change & c ) { return describe( c ); } };
};

TEST_F( RouteMapStatusListTest, startsEmpty ) {
   EXPECT_EQ( list->features(), RouteMapFeatures() );
   EXPECT_TRUE( list->rmStatus().empty() );
   EXPECT_FALSE( list->gyreStatus() );
   EXPECT_FALSE( list->gyreStatusFilter() );
   EXPECT_FALSE( list->gyreStatusDefaultOriginate() );
   EXPECT_FALSE( list->gyreStatusMaint() );
   EXPECT_FALSE( list->matchPrefixDependent() );
   EXPECT_FALSE( list->matchBestpath() );
   EXPECT_FALSE( list->missingPolicyActionIsDeny() );
}

TEST_F( RouteMapStatusListTest, keepsRouteMapsInOrderOfPrecedence ) {
   const auto a = routeMap( "A" ), b = routeMap( "B" ), c = routeMap( "C" );
   list->rmStatusIs( RmPrecedence( 200 ), a );
   list->rmStatusIs( kPrefixList, b );
   list->rmStatusIs( kRouteMap, c );
   std::vector<std::pair<int, const RouteMapStatus *>> entries;
   for( const auto & [ p, map ] : list->rmStatus() ) entries.emplace_back( p.value(), map.get() );
   EXPECT_THAT( entries, ElementsAre( std::pair( 0, b.get() ), std::pair( 4, c.get() ), std::pair( 200, a.get() ) ) );
   EXPECT_EQ( list->rmStatus( kRouteMap ), c );
   EXPECT_FALSE( list->rmStatus( kMaint ) );
}

TEST_F( RouteMapStatusListTest, eachRealChangeUpdatesFeaturesAndIsPublishedOnce ) {
   const auto one = reading( 1 ), two = reading( 2 ), four = reading( 4 );
   const auto f8 = functionReading( 8 ), f16 = functionReading( 16 ), f32 = functionReading( 32 ), f64 = functionReading( 64 );
   const struct {
      const char * name;
      std::function<void( RouteMapStatusList & )> write;
      Journal published;
   } rows[] = {
      { "a null where there is none", []( auto & l ) { l.rmStatusIs( kRouteMap, nullptr ); }, {} },
      { "delete what is not there", []( auto & l ) { l.rmStatusDel( kRouteMap ); }, {} },
      { "delete all of nothing", []( auto & l ) { l.rmStatusDelAll(); }, {} },
      { "store", [ & ]( auto & l ) { l.rmStatusIs( kRouteMap, one ); }, { "features (1)", "rmStatus 4 (1)" } },
      { "the same again", [ & ]( auto & l ) { l.rmStatusIs( kRouteMap, one ); }, {} },
      { "another beside it", [ & ]( auto & l ) { l.rmStatusIs( kPrefixList, two ); }, { "features (3)", "rmStatus 0 (3)" } },
      { "the same at another place", [ & ]( auto & l ) { l.rmStatusIs( kMaint, one ); }, { "rmStatus 6 (3)" } },
      { "replace", [ & ]( auto & l ) { l.rmStatusIs( kPrefixList, four ); }, { "features (5)", "rmStatus 0 (5)" } },
      { "a null deletes", []( auto & l ) { l.rmStatusIs( kPrefixList, nullptr ); }, { "features (1)", "rmStatus 0 (1)" } },
      { "delete, and another brings the same", []( auto & l ) { l.rmStatusDel( kMaint ); }, { "rmStatus 6 (1)" } },
      { "delete the last", []( auto & l ) { l.rmStatusDel( kRouteMap ); }, { "features (0)", "rmStatus 4 (0)" } },
      { "gyre", [ & ]( auto & l ) { l.gyreStatusIs( f8 ); }, { "features (8)", "gyreStatus (8)" } },
      { "gyre again", [ & ]( auto & l ) { l.gyreStatusIs( f8 ); }, {} },
      { "filter", [ & ]( auto & l ) { l.gyreStatusFilterIs( f16 ); }, { "features (24)", "gyreStatusFilter (24)" } },
      { "filter again", [ & ]( auto & l ) { l.gyreStatusFilterIs( f16 ); }, {} },
      { "originate", [ & ]( auto & l ) { l.gyreStatusDefaultOriginateIs( f32 ); }, { "features (56)", "gyreStatusDefaultOriginate (56)" } },
      { "originate again", [ & ]( auto & l ) { l.gyreStatusDefaultOriginateIs( f32 ); }, {} },
      { "maint", [ & ]( auto & l ) { l.gyreStatusMaintIs( f64 ); }, { "features (120)", "gyreStatusMaint (120)" } },
      { "maint again", [ & ]( auto & l ) { l.gyreStatusMaintIs( f64 ); }, {} },
      { "no originate",
        []( auto & l ) { l.gyreStatusDefaultOriginateIs( nullptr ); },
        { "features (88)", "gyreStatusDefaultOriginate (88)" } },
      { "no originate again", []( auto & l ) { l.gyreStatusDefaultOriginateIs( nullptr ); }, {} },
      { "one without a body brings nothing",
        []( auto & l ) { l.gyreStatusIs( undefinedFunction() ); },
        { "features (80)", "gyreStatus (80)" } },
      { "functions and route maps", [ & ]( auto & l ) { l.rmStatusIs( kRouteMap, one ); }, { "features (81)", "rmStatus 4 (81)" } },
      { "one more", [ & ]( auto & l ) { l.rmStatusIs( kMaint, two ); }, { "features (83)", "rmStatus 6 (83)" } },
      { "delete all, told of each", []( auto & l ) { l.rmStatusDelAll(); }, { "features (80)", "rmStatus 4 (80)", "rmStatus 6 (80)" } },
   };
   for( const auto & row : rows ) {
      row.write( *list );
      EXPECT_EQ( watcher.take(), row.published ) << row.name;
   }
}

TEST_F( RouteMapStatusListTest, aPublicationCarriesTheKeyAndWhatWasThere ) {
   const auto map = routeMap( "RM" ), other = routeMap( "OTHER" );
   std::vector<const RouteMapStatus *> olds;
   const Watcher reactor( *list, [ & ]( const Quoin::Change & c ) {
      if( Field( c.field ) != Field::rmStatus ) return "";
      EXPECT_TRUE( c.keyIsEq( c.key, &kRouteMap ) );
      EXPECT_FALSE( c.keyIsEq( c.key, &kMaint ) );
      olds.push_back( static_cast<const Ptr<const RouteMapStatus> *>( c.oldValue )->get() );
      return "";
   } );
   list->rmStatusIs( kRouteMap, map );
   list->rmStatusIs( kRouteMap, other );
   list->rmStatusIs( kRouteMap, nullptr );
   EXPECT_THAT( olds, ElementsAre( nullptr, map.get(), other.get() ) );
}

TEST_F( RouteMapStatusListTest, featuresThatACallerSetsStandUntilTheNextChangeOfAMember ) {
   list->matchPrefixDependentIs( true );
   EXPECT_TRUE( list->matchPrefixDependent() );
   EXPECT_FALSE( list->matchBestpath() );
   EXPECT_EQ( list->features(), RouteMapFeatures( 1 ) );
   list->matchBestpathIs( true );
   EXPECT_EQ( list->features(), RouteMapFeatures( 1u | 1u << 13 ) );
   const auto map = reading( 2 );
   list->rmStatusIs( kRouteMap, map );
   EXPECT_EQ( list->features(), RouteMapFeatures( 2 ) );
   list->matchBestpathIs( true );
   list->rmStatusIs( kRouteMap, map );   // no change
   EXPECT_TRUE( list->matchBestpath() );
   list->gyreStatusIs( functionReading( 1 ) );   // a member may bring the bit
   EXPECT_FALSE( list->matchBestpath() );
   EXPECT_TRUE( list->matchPrefixDependent() );
   list->rmStatusIs( kRouteMap, reading( 0 ) );
   list->gyreStatusIs( functionReading( 0 ) );
   for( const auto & [ name, write ] : std::vector<std::pair<const char *, std::function<void()>>>{
           { "rmStatusDel", [ & ] { list->rmStatusDel( kRouteMap ); } },
           { "gyreStatusIs", [ & ] { list->gyreStatusIs( nullptr ); } },
           { "gyreStatusFilterIs", [ & ] { list->gyreStatusFilterIs( functionReading( 0 ) ); } },
           { "gyreStatusDefaultOriginateIs", [ & ] { list->gyreStatusDefaultOriginateIs( functionReading( 0 ) ); } },
           { "gyreStatusMaintIs", [ & ] { list->gyreStatusMaintIs( functionReading( 0 ) ); } },
           { "rmStatusIs", [ & ] { list->rmStatusIs( kMaint, routeMap( "RM" ) ); } },
           { "rmStatusDelAll", [ & ] { list->rmStatusDelAll(); } },
        } ) {
      list->matchPrefixDependentIs( true );
      list->matchBestpathIs( true );
      write();
      EXPECT_EQ( list->features(), RouteMapFeatures( 0 ) ) << name;
   }
}

TEST_F( RouteMapStatusListTest, aFeatureIsPublishedOnlyOnARealChange ) {
   list->matchBestpathIs( true );
   list->matchBestpathIs( true );
   EXPECT_THAT( watcher.take(), ElementsAre( "features (8192)" ) );
   list->matchPrefixDependentIs( false );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   list->matchPrefixDependentIs( true );
   list->matchPrefixDependentIs( true );
   EXPECT_THAT( watcher.take(), ElementsAre( "features (8193)" ) );
   list->matchBestpathIs( false );
   list->matchBestpathIs( false );
   EXPECT_THAT( watcher.take(), ElementsAre( "features (1)" ) );
   list->featuresIs( RouteMapFeatures( 1 ) );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   list->featuresIs( RouteMapFeatures( 6 ) );
   EXPECT_THAT( watcher.take(), ElementsAre( "features (6)" ) );
   EXPECT_FALSE( list->matchPrefixDependent() );
}

TEST_F( RouteMapStatusListTest, updateFeaturesReadsTheMembersAfresh ) {
   const auto map = routeMap( "RM" );
   list->rmStatusIs( kRouteMap, map );
   map->featuresIs( 4 );
   EXPECT_EQ( list->features(), RouteMapFeatures( 0 ) );   // the list does not watch its members
   list->updateFeatures();
   EXPECT_EQ( list->features(), RouteMapFeatures( 4 ) );
}

TEST( RouteMapStatusList, namesAreThoseOfTheRolesAndEmptyWhereThereIsNone ) {
   const auto namesOf = []( const RouteMapStatusList & l ) {
      return std::vector<std::string>{ std::string( l.prefixListName() ),
                                       std::string( l.routeMapName() ),
                                       std::string( l.defaultOriginateRouteMapName() ),
                                       std::string( l.routeMapMaintName() ),
                                       std::string( l.gyreName() ),
                                       std::string( l.gyreFilterName() ),
                                       std::string( l.gyreMaintName() ),
                                       std::string( l.defaultOriginateGyreName() ) };
   };
   EXPECT_THAT( namesOf( *listOf( {} ) ), ElementsAre( "", "", "", "", "", "", "", "" ) );
   EXPECT_THAT( namesOf( *listOf( { { 0, routeMap( "A" ) } } ) ), ElementsAre( "A", "", "", "", "", "", "", "" ) );
   const auto list = listOf( { { 0, routeMap( "A" ) },
                               { 1, routeMap( "X" ) },
                               { 4, routeMap( "B" ) },
                               { 5, routeMap( "C" ) },
                               { 6, routeMap( "D" ) },
                               { 7, routeMap( "Y" ) },
                               { 8, routeMap( "Z" ) } } );
   EXPECT_THAT( namesOf( *list ), ElementsAre( "A", "B", "C", "D", "", "", "", "" ) );
   list->gyreStatusIs( undefinedFunction( "E" ) );
   list->gyreStatusFilterIs( functionReading( 0, "F" ) );
   list->gyreStatusMaintIs( functionReading( 0, "G" ) );
   list->gyreStatusDefaultOriginateIs( functionReading( 0, "H" ) );
   EXPECT_THAT( namesOf( *list ), ElementsAre( "A", "B", "C", "D", "E", "F", "G", "H" ) );
}

TEST( RouteMapStatusList, undefinedIsToldByRoleAndFalseWhereThereIsNone ) {
   const auto flagsOf = []( const RouteMapStatusList & l ) {
      return std::vector<bool>{ l.prefixListUndefined(),
                                l.routeMapUndefined(),
                                l.defaultOriginateRouteMapUndefined(),
                                l.routeMapMaintUndefined(),
                                l.gyreUndefined(),
                                l.gyreFilterUndefined(),
                                l.gyreMaintUndefined(),
                                l.defaultOriginateGyreUndefined() };
   };
   const std::vector<bool> none( 8, false );
   EXPECT_EQ( flagsOf( *listOf( {} ) ), none );
   const auto map = []( bool undefined ) {
      const auto m = routeMap( "RM" );
      m->undefinedIs( undefined );
      return m;
   };
   const auto func = []( bool undefined ) { return undefined ? undefinedFunction() : functionReading( 0 ); };
   const std::function<void( RouteMapStatusList &, bool )> puts[] = {
      [ & ]( RouteMapStatusList & l, bool u ) { l.rmStatusIs( kPrefixList, map( u ) ); },
      [ & ]( RouteMapStatusList & l, bool u ) { l.rmStatusIs( kRouteMap, map( u ) ); },
      [ & ]( RouteMapStatusList & l, bool u ) { l.rmStatusIs( kOriginate, map( u ) ); },
      [ & ]( RouteMapStatusList & l, bool u ) { l.rmStatusIs( kMaint, map( u ) ); },
      [ & ]( RouteMapStatusList & l, bool u ) { l.gyreStatusIs( func( u ) ); },
      [ & ]( RouteMapStatusList & l, bool u ) { l.gyreStatusFilterIs( func( u ) ); },
      [ & ]( RouteMapStatusList & l, bool u ) { l.gyreStatusMaintIs( func( u ) ); },
      [ & ]( RouteMapStatusList & l, bool u ) { l.gyreStatusDefaultOriginateIs( func( u ) ); },
   };
   for( size_t role = 0; role < std::size( puts ); ++role ) {
      const auto list = makeNode<RouteMapStatusList>();
      puts[ role ]( *list, false );
      EXPECT_EQ( flagsOf( *list ), none ) << role;
      puts[ role ]( *list, true );
      auto expected = none;
      expected[ role ] = true;
      EXPECT_EQ( flagsOf( *list ), expected ) << role;
   }
}

// Evaluation takes it without a look at the others.
TEST( RouteMapStatusList, aRouteMapIsTheOnlyOneWhileThereIsNoOtherAndNoFunctionThatIsEvaluated ) {
   const auto list = makeNode<RouteMapStatusList>();
   const auto a = routeMap( "A" ), b = routeMap( "B" );
   const auto function = Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" );
   EXPECT_EQ( list->onlyRouteMap(), nullptr );
   list->rmStatusIs( kRouteMap, a );
   EXPECT_EQ( list->onlyRouteMap(), a.get() );
   list->rmStatusIs( kPrefixList, b );
   EXPECT_EQ( list->onlyRouteMap(), nullptr );
   list->rmStatusDel( kRouteMap );
   EXPECT_EQ( list->onlyRouteMap(), b.get() );
   list->gyreStatusIs( function );
   EXPECT_EQ( list->onlyRouteMap(), nullptr );
   list->gyreStatusIs( nullptr );
   list->gyreStatusFilterIs( function );
   EXPECT_EQ( list->onlyRouteMap(), b.get() );
   EXPECT_EQ( list->copy()->onlyRouteMap(), b.get() );
   list->gyreStatusMaintIs( function );
   EXPECT_EQ( list->onlyRouteMap(), nullptr );
   list->gyreStatusMaintIs( nullptr );
   EXPECT_EQ( list->onlyRouteMap(), b.get() );
   list->rmStatusDelAll();
   EXPECT_EQ( list->onlyRouteMap(), nullptr );
}

TEST( RouteMapStatusList, aMissingPolicyDeniesWhenTheMarkerIsThere ) {
   EXPECT_TRUE( listOf( { { 8, routeMap( "MARKER" ) } } )->missingPolicyActionIsDeny() );
   EXPECT_TRUE( listOf( { { 8, routeMap( "MARKER", { seq( 10 ) } ) } } )->missingPolicyActionIsDeny() );
   EXPECT_TRUE( listOf( { { 4, routeMap( "RM" ) }, { 8, routeMap( "MARKER", { seq( 10 ).deny() } ) } } )->missingPolicyActionIsDeny() );
   EXPECT_FALSE( listOf( { { 4, routeMap( "RM" ) }, { 7, routeMap( "RM" ) }, { 9, routeMap( "RM" ) } } )->missingPolicyActionIsDeny() );
   const auto list = listOf( { { 8, routeMap( "MARKER" ) } } );
   list->rmStatusDel( kMissing );
   EXPECT_FALSE( list->missingPolicyActionIsDeny() );
}

// ---- copies

TEST( RouteMapStatusList, aCopySharesTheMembersButOne ) {
   const auto list = listOf( { { 0, reading( 2 ) }, { 4, reading( 4 ) }, { 200, reading( 8 ) } } );
   list->gyreStatusIs( functionReading( 16 ) );
   list->gyreStatusFilterIs( functionReading( 32 ) );
   list->gyreStatusMaintIs( functionReading( 64 ) );
   list->gyreStatusDefaultOriginateIs( functionReading( 128 ) );
   list->matchPrefixDependentIs( true );
   const auto copy = list->copy();
   EXPECT_NE( copy, list );
   ASSERT_EQ( copy->rmStatus().count(), 3u );
   for( const int p : { 0, 4, 200 } )
      EXPECT_EQ( copy->rmStatus( RmPrecedence( uint8_t( p ) ) ), list->rmStatus( RmPrecedence( uint8_t( p ) ) ) ) << p;
   EXPECT_EQ( copy->gyreStatus(), list->gyreStatus() );
   EXPECT_EQ( copy->gyreStatusFilter(), list->gyreStatusFilter() );
   EXPECT_EQ( copy->gyreStatusMaint(), list->gyreStatusMaint() );
   EXPECT_FALSE( copy->gyreStatusDefaultOriginate() );
   EXPECT_EQ( copy->features(), RouteMapFeatures( 2 + 4 + 8 + 16 + 32 + 64 ) );   // of its own members
   EXPECT_TRUE( list->gyreStatusDefaultOriginate() );
}

TEST( RouteMapStatusList, aListWithOnlyADefaultOriginateFunctionCopiesToAnEmptyOne ) {
   const auto list = makeNode<RouteMapStatusList>();
   list->gyreStatusDefaultOriginateIs( functionReading( 1 ) );
   const auto copy = list->copy();
   EXPECT_TRUE( copy->rmStatus().empty() );
   EXPECT_FALSE( copy->gyreStatus() || copy->gyreStatusFilter() || copy->gyreStatusMaint() || copy->gyreStatusDefaultOriginate() );
   EXPECT_EQ( copy->features(), RouteMapFeatures( 0 ) );
}

// ---- dumps

std::string dumpOf( const RouteMapStatusList & list, unsigned indent ) {
   const auto ctx = makeNode<Zeugma::DumpContext>();
   list.dumpState( ctx, indent );
   return std::string( ctx->text() );
}

TEST( RouteMapStatusList, anEmptyListDumpsItsAddressAndNullFunctions ) {
   const auto list = makeNode<RouteMapStatusList>();
   const std::string head = "RouteMapStatusList " + Quoin::DisplayPointer::toString( list.get() ) + " #0\n";
   EXPECT_EQ( dumpOf( *list, 0 ), head + "  FunctionStatus NULL\n  FunctionStatus NULL\n  FunctionStatus NULL\n" );
   EXPECT_EQ( dumpOf( *list, 4 ), "    " + head + "      FunctionStatus NULL\n      FunctionStatus NULL\n      FunctionStatus NULL\n" );
}

TEST( RouteMapStatusList, membersAreDumpedTwoColumnsDeeperOnceEach ) {
   const auto shared = routeMap( "RM1" );
   const auto list = listOf( { { 0, shared }, { 4, routeMap( "RM2" ) }, { 5, shared } } );
   list->gyreStatusIs( undefinedFunction( "GYRE" ) );
   list->gyreStatusFilterIs( list->gyreStatus() );
   list->gyreStatusMaintIs( undefinedFunction( "MAINT" ) );
   list->gyreStatusDefaultOriginateIs( undefinedFunction( "ORIGINATE" ) );
   const auto routeMapText = []( const char * name ) {
      return std::string( "RouteMapStatus " ) + name +
         " features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no\n";
   };
   EXPECT_EQ( dumpOf( *list, 0 ),
              "RouteMapStatusList " + Quoin::DisplayPointer::toString( list.get() ) + " #3\n" +   //
                 "  " + routeMapText( "RM1" ) +                                                   //
                 "  " + routeMapText( "RM2" ) +                                                   //
                 "  RouteMapStatus " + Quoin::DisplayPointer::toString( shared.get() ) + " (duplicate)\n" +
                 "  GYRE FunctionStatus for function GYRE\n"
                 "    ExternalMatchers NULL\n"
                 "    Function NULL\n"
                 "  FunctionStatus " +
                 Quoin::DisplayPointer::toString( list->gyreStatus().get() ) + " (duplicate)\n" +
                 "  GYRE FunctionStatus for function MAINT\n"
                 "    ExternalMatchers NULL\n"
                 "    Function NULL\n" );
}

}   // namespace
