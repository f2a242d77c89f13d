#include "compile/UndefinedReferenceSeq.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "tests/compile/Fixtures.h"

namespace {

using namespace Routing::Policy;
using CompileFixtures::TraceLog;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using Bits = UndefinedPolicyReferenceBitfield;
using Entry = ModifiedRouteMapSeqStatus;
using Seq = UndefinedReferenceSeq;
using Tracker = SeqUndefinedReferencesOptionTracker;

/// One of the three maps, by its accessors.
struct Part {
   const char * name;
   const Seq::References & ( Seq::*all )() const noexcept;
   Bits ( Seq::*read )( uint32_t ) const;
   void ( Seq::*write )( uint32_t, Bits );
   void ( Seq::*remove )( uint32_t );
   void ( Seq::*update )( uint32_t, const Ptr<const RouteMapStatus> & );   // null for the direct ones
};
const Part kParts[] = {
   { "direct", &Seq::directSequenceReference, &Seq::directSequenceReference, &Seq::directSequenceReferenceIs,
     &Seq::directSequenceReferenceDel, nullptr },
   { "sub route map", &Seq::subRouteMapReference, &Seq::subRouteMapReference, &Seq::subRouteMapReferenceIs, &Seq::subRouteMapReferenceDel,
     &Seq::updateSubRouteMapReference },
   { "aggregate role", &Seq::aggRoleAttrMapReference, &Seq::aggRoleAttrMapReference, &Seq::aggRoleAttrMapReferenceIs,
     &Seq::aggRoleAttrMapReferenceDel, &Seq::updateAggRoleAttrMapReference },
};

using Content = std::map<uint32_t, int>;
Content contentOf( const Seq & refs, const Part & part ) {
   Content content;
   for( const auto & [ seqno, bits ] : ( refs.*part.all )() ) content[ seqno ] = bits.value;
   return content;
}

Entry entryOf( uint8_t undefined, uint8_t mask ) {
   Entry entry( DescendingSeqnoKey{ 10 } );
   entry.undefinedReferencesIs( { undefined } );
   entry.referenceUpdateMaskIs( { mask } );
   return entry;
}

Ptr<RouteMapStatus> statusOf( uint8_t undefined, const char * name = "RM" ) {
   auto status = makeNode<RouteMapStatus>( name );
   status->undefinedReferencesIs( { undefined } );
   return status;
}

TEST( UndefinedReferenceSeq, aNewOneHasNone ) {
   const auto refs = makeNode<Seq>();
   for( const auto & part : kParts ) {
      EXPECT_TRUE( ( ( *refs ).*part.all )().empty() ) << part.name;
      EXPECT_EQ( ( ( *refs ).*part.read )( 10 ).value, 0 ) << part.name;
   }
   EXPECT_FALSE( refs->hasUndefinedReference() );
   EXPECT_EQ( refs->mergedUndefinedReferences().value, 0 );
}

TEST( UndefinedReferenceSeq, eachMapIsWrittenApart ) {
   for( const auto & part : kParts ) {
      SCOPED_TRACE( part.name );
      const auto refs = makeNode<Seq>();
      ( ( *refs ).*part.write )( 10, { 2 } );
      ( ( *refs ).*part.write )( 4294967295u, { 255 } );
      ( ( *refs ).*part.write )( 0, { 1 } );
      ( ( *refs ).*part.write )( 10, { 4 } );   // overwrites, and merges nothing
      for( const auto & other : kParts )
         EXPECT_EQ( contentOf( *refs, other ), &other == &part ? ( Content{ { 0, 1 }, { 10, 4 }, { 4294967295u, 255 } } ) : Content() );
      EXPECT_EQ( ( ( *refs ).*part.read )( 10 ).value, 4 );
      EXPECT_EQ( ( ( *refs ).*part.read )( 20 ).value, 0 );
      EXPECT_TRUE( refs->hasUndefinedReference() );
      ( ( *refs ).*part.remove )( 10 );
      ( ( *refs ).*part.remove )( 10 );
      EXPECT_EQ( contentOf( *refs, part ), ( Content{ { 0, 1 }, { 4294967295u, 255 } } ) );
   }
}

TEST( UndefinedReferenceSeq, aValueOfZeroIsNotStored ) {
   for( const auto & part : kParts ) {
      SCOPED_TRACE( part.name );
      const auto refs = makeNode<Seq>();
      ( ( *refs ).*part.write )( 10, {} );
      EXPECT_FALSE( refs->hasUndefinedReference() );
      ( ( *refs ).*part.write )( 10, { 2 } );
      ( ( *refs ).*part.write )( 10, {} );
      EXPECT_TRUE( ( ( *refs ).*part.all )().empty() );
      EXPECT_FALSE( refs->hasUndefinedReference() );
   }
}

TEST( UndefinedReferenceSeq, hasOneWhileAnyOfTheThreeMapsHas ) {
   for( unsigned which = 0; which < 8; ++which ) {
      const auto refs = makeNode<Seq>();
      for( unsigned i = 0; i < 3; ++i )
         if( which >> i & 1 ) ( ( *refs ).*kParts[ i ].write )( 10 + i, { 128 } );
      EXPECT_EQ( refs->hasUndefinedReference(), which != 0 ) << which;
      EXPECT_EQ( refs->mergedUndefinedReferences().value, which ? 128 : 0 ) << which;
   }
}

TEST( UndefinedReferenceSeq, mergesTheValuesOfAllMaps ) {
   const auto refs = makeNode<Seq>();
   refs->directSequenceReferenceIs( 10, { 2 } );
   refs->subRouteMapReferenceIs( 10, { 8 } );
   refs->aggRoleAttrMapReferenceIs( 10, { 1 } );
   EXPECT_EQ( refs->mergedUndefinedReferences().value, 11 );
   refs->aggRoleAttrMapReferenceIs( 20, { 64 } );
   refs->directSequenceReferenceIs( 30, { 2 } );
   EXPECT_EQ( refs->mergedUndefinedReferences().value, 75 );
   refs->directSequenceReferenceDel( 10 );
   EXPECT_EQ( refs->mergedUndefinedReferences().value, 75 ) << "another sequence leaves that undefined too";
   refs->directSequenceReferenceDel( 30 );
   EXPECT_EQ( refs->mergedUndefinedReferences().value, 73 );
}

TEST( UndefinedReferenceSeq, aSequenceThatGoesLeavesAllThreeMaps ) {
   const auto refs = makeNode<Seq>();
   for( const auto & part : kParts )
      for( const uint32_t seqno : { 10, 20 } ) ( ( *refs ).*part.write )( seqno, { 2 } );
   refs->removeSeq( 10 );
   for( const auto & part : kParts ) EXPECT_EQ( contentOf( *refs, part ), ( Content{ { 20, 2 } } ) ) << part.name;
   refs->removeSeq( 30 );
   EXPECT_TRUE( refs->hasUndefinedReference() );
   refs->removeSeq( 20 );
   EXPECT_FALSE( refs->hasUndefinedReference() );
}

TEST( UndefinedReferenceSeq, onlyTheBitsOfTheMaskAreWritten ) {
   const struct {
      const char * name;
      uint8_t existing, mask, undefined, result;
   } rows[] = {
      { "the prefix list is defined, the community list is not touched", 6, 2, 0, 4 },
      { "the community list is defined, the prefix list is not touched", 6, 4, 0, 2 },
      { "found undefined", 0, 2, 2, 2 },
      { "found undefined again", 2, 2, 2, 2 },
      { "another bit comes to it", 2, 4, 4, 6 },
      { "all are defined", 15, 15, 0, 0 },
      { "all are undefined", 0, 15, 15, 15 },
      { "bits without a name stay", 0xf2, 2, 0, 0xf0 },
      { "nothing is found", 6, 0, 0, 6 },
      { "nothing is found of nothing", 0, 0, 0, 0 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto refs = makeNode<Seq>();
      refs->directSequenceReferenceIs( 10, { row.existing } );
      refs->directSequenceReferenceIs( 20, { 1 } );
      refs->updateDirectSequenceReference( 10, entryOf( row.undefined, row.mask ) );
      EXPECT_EQ( refs->directSequenceReference( 10 ).value, row.result );
      EXPECT_EQ( refs->directSequenceReference().count(), row.result ? 2u : 1u ) << "0 is not stored";
      EXPECT_EQ( refs->directSequenceReference( 20 ).value, 1 );
      EXPECT_TRUE( refs->subRouteMapReference().empty() && refs->aggRoleAttrMapReference().empty() );
   }
}

TEST( UndefinedReferenceSeq, theMaskArithmeticHoldsForEveryByte ) {
   const auto refs = makeNode<Seq>();
   for( unsigned existing = 0; existing < 256; ++existing )
      for( unsigned mask = 0; mask < 256; ++mask )
         for( unsigned undefined = 0; undefined < 256; undefined += undefined < 16 ? 1 : 13 ) {
            refs->directSequenceReferenceIs( 10, { uint8_t( existing ) } );
            refs->updateDirectSequenceReference( 10, entryOf( uint8_t( undefined ), uint8_t( mask ) ) );
            const unsigned expected = ( existing - ( existing & mask ) ) | undefined;
            ASSERT_EQ( refs->directSequenceReference( 10 ).value, expected ) << existing << " " << mask << " " << undefined;
            ASSERT_EQ( refs->hasUndefinedReference(), expected != 0 );
         }
}

TEST( UndefinedReferenceSeq, theLastDirectReferenceThatIsDefinedLeavesNone ) {
   const auto refs = makeNode<Seq>();
   refs->updateDirectSequenceReference( 10, entryOf( 2, 2 ) );
   refs->updateDirectSequenceReference( 20, entryOf( 4, 6 ) );
   EXPECT_TRUE( refs->hasUndefinedReference() );
   refs->updateDirectSequenceReference( 10, entryOf( 0, 2 ) );
   EXPECT_TRUE( refs->hasUndefinedReference() );
   refs->updateDirectSequenceReference( 20, entryOf( 0, 4 ) );
   EXPECT_FALSE( refs->hasUndefinedReference() );
   EXPECT_TRUE( refs->directSequenceReference().empty() );
}

// What the route map's machine does: an entry whose mask is 0, or a key without an entry, asks for nothing.
TEST( UndefinedReferenceSeq, anEntryWithoutFindingsAsksForNoUpdate ) {
   const auto list = makeNode<ModifiedRouteMapSeqStatusList>();
   list->seqStatusIs( Entry( DescendingSeqnoKey{ 10 }, makeNode<RouteMapSeqStatus>( 10 ), makeNode<Tracker>() ) );
   EXPECT_FALSE( list->seqStatus( { 10 } ).undefinedReferenceRequiresUpdate() );
   EXPECT_FALSE( list->seqStatus( { 20 } ).undefinedReferenceRequiresUpdate() );
   const auto refs = makeNode<Seq>();
   refs->directSequenceReferenceIs( 20, { 6 } );
   refs->updateDirectSequenceReference( 20, list->seqStatus( { 20 } ) );   // and does no harm
   EXPECT_EQ( refs->directSequenceReference( 20 ).value, 6 );
}

TEST( UndefinedReferenceSeq, tracesEachUpdateInHexadecimal ) {
   const auto refs = makeNode<Seq>();
   refs->directSequenceReferenceIs( 4294967295u, { 255 } );
   TraceLog traces( "UndefinedReferenceSeq", Plinth::TraceFacility::level9 );
   refs->updateDirectSequenceReference( 10, entryOf( 10, 15 ) );
   refs->updateDirectSequenceReference( 10, entryOf( 0, 2 ) );
   refs->updateDirectSequenceReference( 4294967295u, entryOf( 0, 16 ) );
   refs->updateDirectSequenceReference( 0, entryOf( 0, 0 ) );
   EXPECT_THAT( traces.take(),
                ElementsAre( "seqno=10, existingUndefinedRef=0x0, updateUndefinedRef=0xa, mask=0xf, newUndefinedRef=0xa",
                             "seqno=10, existingUndefinedRef=0xa, updateUndefinedRef=0x0, mask=0x2, newUndefinedRef=0x8",
                             "seqno=4294967295, existingUndefinedRef=0xff, updateUndefinedRef=0x0, mask=0x10, newUndefinedRef=0xef",
                             "seqno=0, existingUndefinedRef=0x0, updateUndefinedRef=0x0, mask=0x0, newUndefinedRef=0x0" ) );
}

TEST( UndefinedReferenceSeq, tracesUpdatesAtTheFinerLevelOnly ) {
   const auto refs = makeNode<Seq>();
   TraceLog traces( "UndefinedReferenceSeq", Plinth::TraceFacility::level8 );
   refs->updateDirectSequenceReference( 10, entryOf( 2, 2 ) );
   EXPECT_THAT( traces.take(), IsEmpty() );
}

TEST( UndefinedReferenceSeq, aRouteMapWithoutStatusOrFaultLeavesNothingToInherit ) {
   const auto refs = makeNode<Seq>();
   EXPECT_TRUE( refs->shouldRemoveUndefinedReferenceForRouteMap( nullptr ) );
   EXPECT_TRUE( refs->shouldRemoveUndefinedReferenceForRouteMap( statusOf( 0 ) ) );
   for( unsigned undefined = 1; undefined < 256; ++undefined )
      EXPECT_FALSE( refs->shouldRemoveUndefinedReferenceForRouteMap( statusOf( uint8_t( undefined ) ) ) ) << undefined;
}

TEST( UndefinedReferenceSeq, inheritsWhatAReferredRouteMapLeavesUndefined ) {
   for( const auto & part : kParts ) {
      if( !part.update ) continue;
      SCOPED_TRACE( part.name );
      for( unsigned undefined = 0; undefined < 256; ++undefined ) {
         const auto refs = makeNode<Seq>();
         ( ( *refs ).*part.write )( 20, { 1 } );
         ( ( *refs ).*part.update )( 10, statusOf( uint8_t( undefined ) ) );
         Content expected{ { 20, 1 } };
         if( undefined ) expected[ 10 ] = int( undefined );
         for( const auto & other : kParts ) EXPECT_EQ( contentOf( *refs, other ), &other == &part ? expected : Content() ) << undefined;
      }
   }
}

TEST( UndefinedReferenceSeq, whatWasInheritedGoesWithItsCause ) {
   const struct {
      const char * name;
      Ptr<RouteMapStatus> status;
      int left;
   } rows[] = {
      { "another fault takes its place", statusOf( 4 ), 4 },
      { "nothing is undefined any more", statusOf( 0 ), 0 },
      { "the route map has no status", nullptr, 0 },
   };
   for( const auto & part : kParts ) {
      if( !part.update ) continue;
      for( const auto & row : rows ) {
         SCOPED_TRACE( std::string( part.name ) + ": " + row.name );
         const auto refs = makeNode<Seq>();
         ( ( *refs ).*part.update )( 10, statusOf( 2 ) );
         ( ( *refs ).*part.update )( 10, row.status );
         EXPECT_EQ( ( ( *refs ).*part.read )( 10 ).value, row.left );
         EXPECT_EQ( refs->hasUndefinedReference(), row.left != 0 );
      }
   }
}

TEST( UndefinedReferenceSeq, copiesTheFaultsAndKeepsNoStatus ) {
   const auto refs = makeNode<Seq>();
   const auto status = statusOf( 2 );
   refs->updateSubRouteMapReference( 10, status );
   refs->updateAggRoleAttrMapReference( 10, status );
   EXPECT_EQ( status->useCount(), 1u );
   status->undefinedReferencesIs( { 4 } );
   EXPECT_EQ( refs->mergedUndefinedReferences().value, 2 ) << "until told again";
}

TEST( UndefinedReferenceSeq, whatARouteMapWithoutSequencesSaysPassesUnchanged ) {
   Bits all;
   all.setAllUndefined();
   EXPECT_EQ( all.value, 255 );
   const auto status = makeNode<RouteMapStatus>( "RM" );   // says so of everything from the first
   EXPECT_EQ( status->undefinedReferences(), all );
   const auto refs = makeNode<Seq>();
   refs->updateSubRouteMapReference( 10, status );
   EXPECT_EQ( refs->subRouteMapReference( 10 ), all );
   EXPECT_EQ( refs->mergedUndefinedReferences(), all );
   const auto grandparent = makeNode<Seq>();
   grandparent->updateSubRouteMapReference( 20, statusOf( refs->mergedUndefinedReferences().value ) );
   EXPECT_EQ( grandparent->mergedUndefinedReferences(), all );
}

/// A route map with one sequence, put together by hand: findings go through its list, and its status is what it publishes.
struct RouteMap {
   explicit RouteMap( const char * name ) : status( statusOf( 0, name ) ) {}
   /// A generation in which `find` finds something anew, and `refer` takes in what a referred route map says.
   void compile( const std::function<void( Entry & )> & find, const std::function<void( Seq & )> & refer = {} ) {
      Entry entry( key, makeNode<RouteMapSeqStatus>( key.seqno ), tracker );
      if( find ) find( entry );
      list->seqStatusIs( entry );
      if( refer ) refer( *refs );
      for( const auto & [ k, e ] : list->seqStatus() )
         if( e.undefinedReferenceRequiresUpdate() ) refs->updateDirectSequenceReference( k.seqno, e );
      list->seqStatusDelAll();
      const auto next = statusOf( 0, "next" );
      if( refs->hasUndefinedReference() ) next->undefinedReferencesIs( refs->mergedUndefinedReferences() );
      status = next;
   }
   /// The status of a referred route map came; the reference itself stands.
   void subRouteMapIs( const Ptr<RouteMapStatus> & sub ) {
      compile( [ & ]( Entry & e ) { e.setSubRouteMapUndefined( !sub ); },
               [ & ]( Seq & r ) { r.updateSubRouteMapReference( key.seqno, sub ); } );
   }
   void subRouteMapDel() {
      compile( []( Entry & e ) { e.setSubRouteMapUndefined( false ); }, [ & ]( Seq & r ) { r.subRouteMapReferenceDel( key.seqno ); } );
   }
   void aggRoleAttrMapIs( const Ptr<RouteMapStatus> & map ) {
      compile( [ & ]( Entry & e ) { e.setAggRoleAttrMapUndefined( !map ); },
               [ & ]( Seq & r ) { r.updateAggRoleAttrMapReference( key.seqno, map ); } );
   }
   void aggRoleAttrMapDel() {
      compile( []( Entry & e ) { e.setAggRoleAttrMapUndefined( false ); },
               [ & ]( Seq & r ) { r.aggRoleAttrMapReferenceDel( key.seqno ); } );
   }
   void prefixListUndefinedIs( bool undefined ) {
      compile( [ & ]( Entry & e ) { e.setPrefixListUndefined( MatchOption::matchIpPrefixList, undefined ); } );
   }
   int undefined() const { return status->undefinedReferences().value; }
   int direct() const { return refs->directSequenceReference( key.seqno ).value; }

   DescendingSeqnoKey key{ 10 };
   Ptr<Tracker> tracker = makeNode<Tracker>();
   Ptr<ModifiedRouteMapSeqStatusList> list = makeNode<ModifiedRouteMapSeqStatusList>();
   Ptr<Seq> refs = makeNode<Seq>();
   Ptr<RouteMapStatus> status;
};

TEST( UndefinedReferenceSeq, aMissingPrefixListClimbsAChainOfRouteMaps ) {
   RouteMap leaf( "leaf" ), parent( "parent" ), top( "top" );
   const auto climb = [ & ] {   // each publishes only after the one below
      parent.subRouteMapIs( leaf.status );
      top.subRouteMapIs( parent.status );
   };
   leaf.prefixListUndefinedIs( true );
   EXPECT_EQ( leaf.direct(), 2 );
   EXPECT_EQ( leaf.undefined(), 2 );
   climb();
   for( const RouteMap * map : { &parent, &top } ) {
      EXPECT_EQ( map->undefined(), 2 );
      EXPECT_EQ( map->direct(), 0 ) << "the sub route map itself is there";
      EXPECT_EQ( map->refs->subRouteMapReference( 10 ).value, 2 );
   }
   leaf.prefixListUndefinedIs( false );
   climb();
   for( const RouteMap * map : { &leaf, &parent, &top } ) {
      EXPECT_EQ( map->undefined(), 0 );
      EXPECT_FALSE( map->refs->hasUndefinedReference() );
   }
}

TEST( UndefinedReferenceSeq, eachLevelAddsItsOwn ) {
   RouteMap leaf( "leaf" ), parent( "parent" ), top( "top" );
   leaf.prefixListUndefinedIs( true );
   parent.subRouteMapIs( leaf.status );
   parent.compile( []( Entry & e ) { e.setCommListUndefinedFromSetter( SetOption::setCommunityList, true ); } );
   EXPECT_EQ( parent.direct(), 4 );
   EXPECT_EQ( parent.undefined(), 6 );
   top.subRouteMapIs( parent.status );
   top.aggRoleAttrMapIs( nullptr );
   EXPECT_EQ( top.direct(), 8 );
   EXPECT_EQ( top.undefined(), 14 );
}

TEST( UndefinedReferenceSeq, aMissingRouteMapIsADirectFaultAndInheritsNothing ) {
   const struct {
      const char * name;
      int bit;
      void ( RouteMap::*write )( const Ptr<RouteMapStatus> & );
      void ( RouteMap::*remove )();
      const Part & part;
   } rows[] = {
      { "sub route map", 1, &RouteMap::subRouteMapIs, &RouteMap::subRouteMapDel, kParts[ 1 ] },
      { "aggregate role", 8, &RouteMap::aggRoleAttrMapIs, &RouteMap::aggRoleAttrMapDel, kParts[ 2 ] },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      RouteMap parent( "parent" );
      ( parent.*row.write )( statusOf( 2 ) );
      EXPECT_EQ( parent.undefined(), 2 );
      ( parent.*row.write )( nullptr );
      EXPECT_EQ( parent.direct(), row.bit );
      EXPECT_THAT( contentOf( *parent.refs, row.part ), IsEmpty() );
      EXPECT_EQ( parent.undefined(), row.bit );
      ( parent.*row.write )( statusOf( 255 ) );   // one without sequences came
      EXPECT_EQ( parent.direct(), 0 );
      EXPECT_EQ( parent.undefined(), 255 );
      ( parent.*row.remove )();
      EXPECT_EQ( parent.undefined(), 0 );
      EXPECT_FALSE( parent.refs->hasUndefinedReference() );
      ( parent.*row.write )( nullptr );
      ( parent.*row.remove )();   // the reference to what is missing goes too
      EXPECT_EQ( parent.undefined(), 0 );
   }
}

TEST( UndefinedReferenceSeq, bothReferencesOfASequenceAreInheritedApart ) {
   RouteMap parent( "parent" );
   parent.subRouteMapIs( statusOf( 2 ) );
   parent.aggRoleAttrMapIs( statusOf( 6 ) );
   EXPECT_EQ( parent.undefined(), 6 );
   parent.aggRoleAttrMapIs( statusOf( 4 ) );
   EXPECT_EQ( parent.undefined(), 6 );
   parent.subRouteMapDel();
   EXPECT_EQ( parent.undefined(), 4 );
   parent.aggRoleAttrMapDel();
   EXPECT_EQ( parent.undefined(), 0 );
}

TEST( UndefinedReferenceSeq, aSequenceThatIsDeletedTakesItsFaultsAlong ) {
   RouteMap parent( "parent" );
   parent.prefixListUndefinedIs( true );
   parent.subRouteMapIs( statusOf( 4 ) );
   parent.aggRoleAttrMapIs( nullptr );
   EXPECT_EQ( parent.undefined(), 14 );
   parent.compile( {}, []( Seq & r ) { r.removeSeq( 10 ); } );
   EXPECT_EQ( parent.undefined(), 0 );
}

/// Random writes against three plain maps that are merged by hand.
RC_GTEST_PROP( UndefinedReferenceSeqModel, saysWhatThreePlainMapsSay, () ) {
   const auto refs = makeNode<Seq>();
   Content model[ 3 ];
   const auto put = [ & ]( Content & map, uint32_t seqno, int value ) {
      if( value )
         map[ seqno ] = value;
      else
         map.erase( seqno );
   };
   const auto steps = *rc::gen::inRange( 0, 60 );
   for( int step = 0; step < steps; ++step ) {
      const auto seqno = *rc::gen::inRange<uint32_t>( 0, 4 );
      const auto which = *rc::gen::inRange<size_t>( 0, 3 );
      const auto value = uint8_t( *rc::gen::element( 0, 1, 2, 4, 6, 8, 15, 255 ) );
      const auto mask = uint8_t( *rc::gen::element( 0, 1, 2, 4, 6, 8, 15, 255 ) );
      const Part & part = kParts[ which ];
      switch( *rc::gen::inRange( 0, 5 ) ) {
         case 0:
            ( ( *refs ).*part.write )( seqno, { value } );
            put( model[ which ], seqno, value );
            break;
         case 1:
            ( ( *refs ).*part.remove )( seqno );
            model[ which ].erase( seqno );
            break;
         case 2: {
            refs->updateDirectSequenceReference( seqno, entryOf( value & mask, mask ) );
            const int existing = model[ 0 ].contains( seqno ) ? model[ 0 ][ seqno ] : 0;
            put( model[ 0 ], seqno, ( existing & ~mask ) | ( value & mask ) );
            break;
         }
         case 3:
            if( part.update ) {
               ( ( *refs ).*part.update )( seqno, value == 8 ? nullptr : statusOf( value ) );
               put( model[ which ], seqno, value == 8 ? 0 : value );
            }
            break;
         default:
            refs->removeSeq( seqno );
            for( auto & map : model ) map.erase( seqno );
      }
      int merged = 0;
      for( size_t i = 0; i < 3; ++i ) {
         RC_ASSERT( contentOf( *refs, kParts[ i ] ) == model[ i ] );
         for( const auto & member : model[ i ] ) merged |= member.second;
      }
      RC_ASSERT( int( refs->mergedUndefinedReferences().value ) == merged );
      RC_ASSERT( refs->hasUndefinedReference() == ( merged != 0 ) );
   }
}

}   // namespace
