#include "substrate/routemap/MapEntry.h"

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::RouteMap;
using Acl::MatchPermit;
using Quoin::FieldId;
using Quoin::makeNode;
using testing::ElementsAre;
using testing::IsEmpty;
using Field = MapEntry::Field;

MatchRule rule( MatchOption option, const char * listName = "L", uint64_t value = 0, bool invert = false ) {
   return { listName, value, option, invert, {} };
}

/// Hears a change, looks up what stands then, and keeps the key.
struct KeyReader final : Quoin::Subscriber {
   KeyReader( const MapEntry & e, std::function<void( const Quoin::Change & )> f ) : function( std::move( f ) ) {
      e.publisher()->subscriberAdd( this );
   }
   void onChange( const Quoin::Change & change ) override { function( change ); }
   std::function<void( const Quoin::Change & )> function;
};

TEST( MapEntry, aNewOnePermitsAndDoesNothingElse ) {
   const auto entry = makeNode<MapEntry>( 4294967295u );
   EXPECT_EQ( entry->seqno(), 4294967295u );
   EXPECT_EQ( entry->permit(), MatchPermit::permit );
   EXPECT_EQ( entry->subRouteMap(), SubRouteMap() );
   EXPECT_EQ( entry->setFlags(), 0u );
   EXPECT_EQ( entry->distance(), 0u );
   EXPECT_EQ( entry->continueSeq(), 0u );
   EXPECT_TRUE( entry->matchRule().empty() );
   EXPECT_TRUE( entry->description().empty() );
   EXPECT_EQ( MapEntry::continueSeqSet, 0x10000u );
}

TEST( MapEntry, eachAttributeIsToldOfInAFieldOfItsOwnOnChangeOnly ) {
   const auto entry = makeNode<MapEntry>( 10 );
   ChangeLog<uint32_t> log( *entry );
   const struct {
      const char * name;
      Field field;
      std::function<void()> write, back;
      std::function<bool()> stands;
   } rows[] = {
      { "subRouteMap", Field::subRouteMap,
        [ & ] {
           entry->subRouteMapIs( { "RM", true } );
        },
        [ & ] { entry->subRouteMapIs( {} ); },
        [ & ] {
           return entry->subRouteMap() == SubRouteMap{ "RM", true };
        } },
      { "subRouteMap, of no name but inverted", Field::subRouteMap,
        [ & ] {
           entry->subRouteMapIs( { "", true } );
        },
        [ & ] { entry->subRouteMapIs( {} ); },
        [ & ] {
           return entry->subRouteMap() == SubRouteMap{ "", true };
        } },
      { "setFlags", Field::setFlags, [ & ] { entry->setFlagsIs( MapEntry::continueSeqSet | 1 ); }, [ & ] { entry->setFlagsIs( 0 ); },
        [ & ] { return entry->setFlags() == 0x10001; } },
      { "distance", Field::distance, [ & ] { entry->distanceIs( 4294967295u ); }, [ & ] { entry->distanceIs( 0 ); },
        [ & ] { return entry->distance() == 4294967295u; } },
      { "continueSeq", Field::continueSeq, [ & ] { entry->continueSeqIs( 20 ); }, [ & ] { entry->continueSeqIs( 0 ); },
        [ & ] { return entry->continueSeq() == 20; } },
      { "permit", Field::permit, [ & ] { entry->permitIs( MatchPermit::deny ); }, [ & ] { entry->permitIs( MatchPermit::permit ); },
        [ & ] { return entry->permit() == MatchPermit::deny; } },
   };
   std::set<Field> fields{ Field::matchRule, Field::description };
   for( const auto & row : rows ) {
      fields.insert( row.field );
      row.back();
      EXPECT_THAT( log.take(), IsEmpty() ) << row.name << ", as it is";
      row.write();
      EXPECT_TRUE( row.stands() ) << row.name;
      EXPECT_THAT( log.take(), ElementsAre( FieldId( row.field ) ) ) << row.name;
      row.write();
      EXPECT_THAT( log.take(), IsEmpty() ) << row.name << ", again";
      row.back();
      EXPECT_FALSE( row.stands() ) << row.name;
      EXPECT_THAT( log.take(), ElementsAre( FieldId( row.field ) ) ) << row.name << ", back";
   }
   EXPECT_THAT( log.keys, IsEmpty() ) << "none of these is a collection";
   EXPECT_EQ( fields.size(), 7u ) << "all apart";
}

TEST( MapEntry, aRuleIsToldOfWithItsOption ) {
   const auto entry = makeNode<MapEntry>( 10 );
   ChangeLog<MatchOption> log( *entry );
   const auto field = FieldId( Field::matchRule );
   const auto tag = MatchOption::matchTag, list = MatchOption::matchIpPrefixList;
   entry->matchRuleIs( rule( tag, "", 7 ) );
   entry->matchRuleIs( rule( list, "PL" ) );
   EXPECT_THAT( log.take(), ElementsAre( field, field ) );
   entry->matchRuleIs( rule( tag, "", 7 ) );   // the rule that stands there
   EXPECT_THAT( log.take(), IsEmpty() );
   entry->matchRuleDel( list );
   entry->matchRuleDel( list );
   entry->matchRuleDel( MatchOption::matchTagSet );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   EXPECT_THAT( log.keys, ElementsAre( tag, list, list ) );
   EXPECT_EQ( entry->matchRule().count(), 1u );
}

TEST( MapEntry, aRuleIsReplacedByAnyOtherOfItsOption ) {
   const auto option = MatchOption::matchIpPrefixList;
   const auto standing = rule( option, "PL1", 1 );
   const struct {
      const char * name;
      MatchRule next;
   } rows[] = {
      { "another list", rule( option, "PL2", 1 ) },
      { "another value", rule( option, "PL1", uint64_t( 1 ) << 32 ) },
      { "inverted", rule( option, "PL1", 1, true ) },
   };
   for( const auto & row : rows ) {
      const auto entry = makeNode<MapEntry>( 10 );
      entry->matchRuleIs( standing );
      ChangeLog<MatchOption> log( *entry );
      KeyReader reader( *entry, [ & ]( const Quoin::Change & change ) {
         EXPECT_EQ( *static_cast<const MatchRule *>( change.oldValue ), standing ) << row.name;
      } );
      entry->matchRuleIs( row.next );
      EXPECT_EQ( entry->matchRule( option ), row.next ) << row.name;
      EXPECT_EQ( entry->matchRule().count(), 1u ) << row.name;
      EXPECT_THAT( log.keys, ElementsAre( option ) ) << row.name;
   }
}

TEST( MapEntry, rulesAreInAscendingOrderOfOption ) {
   const auto entry = makeNode<MapEntry>( 10 );
   for( const int option : { 132, 1, 115, 2, 255, 0 } ) entry->matchRuleIs( rule( MatchOption( option ) ) );
   std::vector<int> options;
   for( const auto & [ option, member ] : entry->matchRule() ) {
      options.push_back( int( option ) );
      EXPECT_EQ( member.option, option );
   }
   EXPECT_THAT( options, ElementsAre( 0, 1, 2, 115, 132, 255 ) );
}

TEST( MapEntry, aMissingRuleReadsAsOneOfNoOption ) {
   const auto entry = makeNode<MapEntry>( 10 );
   entry->matchRuleIs( rule( MatchOption::matchTag ) );
   EXPECT_EQ( entry->matchRule( MatchOption::matchTagSet ), MatchRule() );
   EXPECT_EQ( entry->matchRule().find( MatchOption::matchTagSet ), nullptr );
}

TEST( MapEntry, aDescriptionIsToldOfWithItsLine ) {
   const auto entry = makeNode<MapEntry>( 10 );
   ChangeLog<uint32_t> log( *entry );
   const auto field = FieldId( Field::description );
   entry->descriptionIs( 4294967295u, "last" );
   entry->descriptionIs( 0, "first" );
   EXPECT_THAT( log.take(), ElementsAre( field, field ) );
   entry->descriptionIs( 0, "first" );
   EXPECT_THAT( log.take(), IsEmpty() );
   entry->descriptionIs( 0, "other" );
   EXPECT_EQ( entry->description( 0 ), "other" );
   entry->descriptionDel( 4294967295u );
   entry->descriptionDel( 4294967295u );
   EXPECT_THAT( log.take(), ElementsAre( field, field ) );
   EXPECT_THAT( log.keys, ElementsAre( 4294967295u, 0u, 0u, 4294967295u ) );
   entry->descriptionIs( 5, "five" );
   log.take();
   entry->descriptionDelAll();
   EXPECT_THAT( log.take(), ElementsAre( field, field ) );
   entry->descriptionDelAll();
   EXPECT_THAT( log.take(), IsEmpty() );
}

TEST( MapEntry, aDescriptionThatWentReadsAsEmptyAndMayBeWrittenAsEmpty ) {
   const auto entry = makeNode<MapEntry>( 10 ), copy = makeNode<MapEntry>( 10 );
   EXPECT_EQ( entry->description( 1 ), "" );
   entry->descriptionIs( 1, "text" );
   copy->descriptionIs( 1, entry->description( 1 ) );
   entry->descriptionDel( 1 );
   EXPECT_EQ( entry->description( 1 ), "" );
   ChangeLog<uint32_t> log( *copy );
   copy->descriptionIs( 1, entry->description( 1 ) );
   EXPECT_EQ( copy->description( 1 ), "" );
   EXPECT_EQ( copy->description().count(), 1u ) << "a line, if an empty one";
   EXPECT_THAT( log.keys, ElementsAre( 1u ) );
   copy->descriptionIs( 2, "" );   // one that comes empty comes all the same
   EXPECT_THAT( log.keys, ElementsAre( 1u, 2u ) );
}

TEST( MapEntry, continueSeqStaysReadableWhenItsFlagGoes ) {
   const auto entry = makeNode<MapEntry>( 10 );
   entry->continueSeqIs( 30 );
   entry->setFlagsIs( MapEntry::continueSeqSet );
   ChangeLog<uint32_t> log( *entry );
   entry->setFlagsIs( 0 );
   EXPECT_EQ( entry->continueSeq(), 30u );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( Field::setFlags ) ) );
}

TEST( MapEntry, aCallOfNoNameThatIsInvertedIsNotTheDefault ) {
   const auto entry = makeNode<MapEntry>( 10 );
   entry->subRouteMapIs( { "", true } );
   const SubRouteMap inverted = entry->subRouteMap(), none;
   EXPECT_FALSE( SubRouteMap::isEq( &inverted, &none ) );
   EXPECT_TRUE( entry->subRouteMap().name.empty() );
}

// The rule that is written stands in another entry, which the first to hear of it takes apart.
TEST( MapEntry, aRuleThatIsCopiedMayGoWhileItIsTold ) {
   const auto entry = makeNode<MapEntry>( 10 ), copy = makeNode<MapEntry>( 10 );
   const auto tag = MatchOption::matchTag;
   entry->matchRuleIs( rule( tag ) );
   entry->matchRuleIs( rule( MatchOption::matchTagSet ) );
   KeyReader first( *copy, [ & ]( const Quoin::Change & ) { entry->matchRuleDel( tag ); } );
   ChangeLog<MatchOption> log( *copy );
   copy->matchRuleIs( *entry->matchRule().find( tag ) );
   EXPECT_THAT( log.keys, ElementsAre( tag ) );
   EXPECT_EQ( copy->matchRule( tag ), rule( tag ) );
}

}   // namespace
