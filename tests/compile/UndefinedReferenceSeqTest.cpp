#include "compile/UndefinedReferenceSeq.h"

#include <cstdint>
#include <map>
#include <string>

#include <gmock/gmock.h>

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

TEST( UndefinedReferenceSeq, eachMapIsWrittenSeparately ) {
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
      EXPECT_TRUE( ( ( *refs ).*part.all )().empty() );
      EXPECT_EQ( refs->mergedUndefinedReferences().value, 0 );
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

TEST( UndefinedReferenceSeq, removeSeqRemovesFromAllThreeMaps ) {
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
      { "another bit is added", 2, 4, 4, 6 },
      { "all are defined", 15, 15, 0, 0 },
      { "all are undefined", 0, 15, 15, 15 },
      { "bits without a name stay", 0xf2, 2, 0, 0xf0 },
      { "nothing is found", 6, 0, 0, 6 },
      { "nothing is found, nothing exists", 0, 0, 0, 0 },
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

TEST( UndefinedReferenceSeq, theLastDefinedReferenceLeavesNone ) {
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

TEST( UndefinedReferenceSeq, aRouteMapWithoutStatusOrBitsIsNotInherited ) {
   const auto refs = makeNode<Seq>();
   EXPECT_TRUE( refs->shouldRemoveUndefinedReferenceForRouteMap( nullptr ) );
   EXPECT_TRUE( refs->shouldRemoveUndefinedReferenceForRouteMap( statusOf( 0 ) ) );
   for( unsigned undefined = 1; undefined < 256; ++undefined )
      EXPECT_FALSE( refs->shouldRemoveUndefinedReferenceForRouteMap( statusOf( uint8_t( undefined ) ) ) ) << undefined;
}

TEST( UndefinedReferenceSeq, inheritsTheBitsOfAReferencedRouteMap ) {
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

TEST( UndefinedReferenceSeq, inheritedBitsAreReplacedOrRemoved ) {
   const struct {
      const char * name;
      Ptr<RouteMapStatus> status;
      int left;
   } rows[] = {
      { "another reference is undefined", statusOf( 4 ), 4 },
      { "nothing is undefined", statusOf( 0 ), 0 },
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

TEST( UndefinedReferenceSeq, allBitsPassUnchangedToTheCaller ) {
   Bits all;
   all.setAllUndefined();
   EXPECT_EQ( all.value, 255 );
   const auto status = makeNode<RouteMapStatus>( "RM" );   // a new status has all bits
   EXPECT_EQ( status->undefinedReferences(), all );
   const auto refs = makeNode<Seq>();
   refs->updateSubRouteMapReference( 10, status );
   EXPECT_EQ( refs->subRouteMapReference( 10 ), all );
   EXPECT_EQ( refs->mergedUndefinedReferences(), all );
   const auto grandparent = makeNode<Seq>();
   grandparent->updateSubRouteMapReference( 20, statusOf( refs->mergedUndefinedReferences().value ) );
   EXPECT_EQ( grandparent->mergedUndefinedReferences(), all );
}

}   // namespace
