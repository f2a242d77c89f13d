#include "compile/ModifiedRouteMapSeqStatus.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using Fixtures::FixedMatcher;
using Fixtures::RecordingSetter;
using Quoin::DisplayPointer;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using Bits = UndefinedPolicyReferenceBitfield;
using Entry = ModifiedRouteMapSeqStatus;
using EntryList = ModifiedRouteMapSeqStatusList;
using Mask = UndefinedPolicyReferenceBitMask;
using Tracker = SeqUndefinedReferencesOptionTracker;

static_assert( sizeof( Mask ) == 1 );

constexpr DescendingSeqnoKey keyOf( uint32_t seqno ) {
   return { seqno };
}

/// A clone of that sequence, with a tracker of its own.
Entry entryOf( uint32_t seqno, const Ptr<Tracker> & tracker = makeNode<Tracker>() ) {
   return Entry( keyOf( seqno ), makeNode<RouteMapSeqStatus>( seqno ), tracker );
}

TEST( UndefinedPolicyReferenceBitMask, eachKindHasItsBit ) {
   EXPECT_EQ( Mask().value, 0 );
   const struct {
      const char * name;
      Mask::Bit bit;
      Bits::Bit same;
      int value;
   } rows[] = {
      { "sub route map", Mask::subRouteMapSet, Bits::subRouteMapUndefined, 1 },
      { "prefix list", Mask::prefixListSet, Bits::prefixListUndefined, 2 },
      { "community list", Mask::commListSet, Bits::commListUndefined, 4 },
      { "aggregate role", Mask::aggRoleAttrMapSet, Bits::aggRoleAttrMapUndefined, 8 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      EXPECT_EQ( int( row.bit ), row.value );
      EXPECT_EQ( int( row.same ), row.value );
      for( int value = 0; value < 256; ++value ) ASSERT_EQ( Mask{ uint8_t( value ) }.has( row.bit ), ( value & row.value ) != 0 ) << value;
   }
}

TEST( UndefinedPolicyReferenceBitMask, isAValueOfOneByte ) {
   const Mask a{ 5 }, same{ 5 }, other{ 6 };
   EXPECT_EQ( a, same );
   EXPECT_NE( a, other );
   EXPECT_TRUE( Mask::isEq( &a, &same ) );
   EXPECT_FALSE( Mask::isEq( &a, &other ) );
   EXPECT_EQ( a.hash(), same.hash() );
   EXPECT_NE( a.hash(), other.hash() );
   EXPECT_EQ( a | other, Mask{ 7 } );
   EXPECT_EQ( Mask{ 0x80 } | Mask{ 0x7f }, Mask{ 0xff } );
   for( const int value : { 0, 65, 255 } )   // printed as a number, also where it is the code of a letter
      EXPECT_EQ( Fixtures::textOnOddStream( Mask{ uint8_t( value ) } ), std::to_string( value ) );
}

TEST( ModifiedRouteMapSeqStatus, holdsItsKeyCloneAndTracker ) {
   const auto seq = makeNode<RouteMapSeqStatus>( 10 );
   const auto tracker = makeNode<Tracker>();
   const Entry entry( keyOf( 10 ), seq, tracker );
   EXPECT_EQ( entry.key(), keyOf( 10 ) );
   EXPECT_EQ( entry.seqStatus(), seq );
   EXPECT_EQ( entry.undefinedRefsTracker(), tracker );
   EXPECT_EQ( entry.undefinedReferences().value, 0 );
   EXPECT_EQ( entry.referenceUpdateMask().value, 0 );
   EXPECT_EQ( entry, Entry( keyOf( 10 ), seq, tracker ) ) << "equality compares the objects it holds";
}

TEST( ModifiedRouteMapSeqStatus, eachFieldAloneMakesAnEntryNonEmptyAndUnequal ) {
   const struct {
      const char * name;
      std::function<void( Entry & )> write;
   } rows[] = {
      { "seqStatus", []( Entry & e ) { e.seqStatusIs( makeNode<RouteMapSeqStatus>( 20 ) ); } },
      { "undefinedRefsTracker", []( Entry & e ) { e.undefinedRefsTrackerIs( makeNode<Tracker>() ); } },
      { "key", []( Entry & e ) { e.keyIs( keyOf( 10 ) ); } },
      { "undefinedReferences", []( Entry & e ) { e.undefinedReferencesIs( { 128 } ); } },
      { "referenceUpdateMask", []( Entry & e ) { e.referenceUpdateMaskIs( { 128 } ); } },
   };
   const Entry base = entryOf( 20 );
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Entry empty, full = base;
      EXPECT_FALSE( empty );
      EXPECT_EQ( full, base );
      EXPECT_TRUE( Entry::isEq( &full, &base ) );
      EXPECT_EQ( full.hash(), base.hash() );
      row.write( empty );
      row.write( full );
      EXPECT_TRUE( empty );
      EXPECT_NE( full, base );
      EXPECT_FALSE( Entry::isEq( &full, &base ) );
   }
}

TEST( ModifiedRouteMapSeqStatus, aTombstoneIsNotTheEmptyEntryUnlessItsSequenceIsZero ) {
   const Entry tombstone( keyOf( 10 ) );
   EXPECT_NE( tombstone, Entry() );
   EXPECT_TRUE( tombstone );
   EXPECT_EQ( tombstone.seqStatus(), nullptr );
   EXPECT_EQ( tombstone.undefinedRefsTracker(), nullptr );
   EXPECT_EQ( Entry( keyOf( 0 ) ), Entry() );
   EXPECT_FALSE( Entry( keyOf( 0 ) ) );
   EXPECT_TRUE( entryOf( 0 ) ) << "a clone of sequence 0";
}

TEST( ModifiedRouteMapSeqStatus, itsTextHasItsFieldsInOrder ) {
   Entry entry = entryOf( 4294967295u );
   entry.undefinedReferencesIs( { 65 } );   // a number, though it is the code of a letter
   entry.referenceUpdateMaskIs( { 255 } );
   const std::string expected =
      "Routing::Policy::ModifiedRouteMapSeqStatus(key=4294967295, seqStatus=" + DisplayPointer::toString( entry.seqStatus().get() ) +
      ", undefinedRefsTracker=" + DisplayPointer::toString( entry.undefinedRefsTracker().get() ) +
      ", undefinedReferences=65, referenceUpdateMask=255)";
   EXPECT_EQ( Fixtures::textOnOddStream( entry ), expected );
   EXPECT_EQ( Fixtures::textOnOddStream( Entry( keyOf( 10 ) ) ),
              "Routing::Policy::ModifiedRouteMapSeqStatus(key=10, seqStatus=NULL, "
              "undefinedRefsTracker=NULL, undefinedReferences=0, referenceUpdateMask=0)" );
}

/// One operation that writes one bit.
struct Finding {
   const char * name;
   std::function<void( Entry &, bool )> set;
   int bit;
};
const Finding kFindings[] = {
   { "setSubRouteMapUndefined", []( Entry & e, bool u ) { e.setSubRouteMapUndefined( u ); }, 1 },
   { "setPrefixListUndefined", []( Entry & e, bool u ) { e.setPrefixListUndefined( MatchOption::matchIpPrefixList, u ); }, 2 },
   { "setCommListUndefinedFromMatcher", []( Entry & e, bool u ) { e.setCommListUndefinedFromMatcher( MatchOption::matchCommunity, u ); },
     4 },
   { "setCommListUndefinedFromSetter", []( Entry & e, bool u ) { e.setCommListUndefinedFromSetter( SetOption::setCommunityList, u ); }, 4 },
   { "setCommListUndefined",
     []( Entry & e, bool u ) {
        if( u )
           e.undefinedRefsTracker()->undefinedCommListSetOptionIs( SetOption::setCommunityListDelete );
        else
           e.undefinedRefsTracker()->undefinedCommListSetOptionDel( SetOption::setCommunityListDelete );
        e.setCommListUndefined();
     },
     4 },
   { "setAggRoleAttrMapUndefined", []( Entry & e, bool u ) { e.setAggRoleAttrMapUndefined( u ); }, 8 },
};

TEST( ModifiedRouteMapSeqStatus, eachFindingWritesItsOwnBitAndMarksIt ) {
   for( const auto & row : kFindings )
      for( const bool undefined : { true, false } )
         for( int before = 0; before < 256; ++before ) {
            SCOPED_TRACE( testing::Message() << row.name << " " << undefined << " on " << before );
            Entry entry = entryOf( 10 );
            entry.undefinedReferencesIs( { uint8_t( before ) } );
            entry.referenceUpdateMaskIs( { uint8_t( 255 - before ) } );
            row.set( entry, undefined );
            ASSERT_EQ( int( entry.undefinedReferences().value ), undefined ? before | row.bit : before & ~row.bit );
            ASSERT_EQ( int( entry.referenceUpdateMask().value ), ( 255 - before ) | row.bit ) << "whatever is found";
         }
}

TEST( ModifiedRouteMapSeqStatus, anyBitOfTheMaskAsksForAnUpdate ) {
   for( int mask = 0; mask < 256; ++mask ) {
      Entry entry( keyOf( 10 ) );
      entry.undefinedReferencesIs( { 255 } );   // which alone asks for none
      entry.referenceUpdateMaskIs( { uint8_t( mask ) } );
      ASSERT_EQ( entry.undefinedReferenceRequiresUpdate(), mask != 0 ) << mask;
   }
}

TEST( ModifiedRouteMapSeqStatus, twoUndefinedClausesKeepTheirBitUntilTheSecondIsDefined ) {
   using Set = std::function<void( Entry &, bool )>;
   const Set community = []( Entry & e, bool u ) { e.setCommListUndefinedFromMatcher( MatchOption::matchCommunity, u ); };
   const Set large = []( Entry & e, bool u ) { e.setCommListUndefinedFromMatcher( MatchOption::matchLargeCommunity, u ); };
   const Set setter = []( Entry & e, bool u ) { e.setCommListUndefinedFromSetter( SetOption::setCommunityList, u ); };
   const Set ipv4 = []( Entry & e, bool u ) { e.setPrefixListUndefined( MatchOption::matchIpPrefixList, u ); };
   const Set ipv6 = []( Entry & e, bool u ) { e.setPrefixListUndefined( MatchOption::matchIpv6PrefixList, u ); };
   const struct {
      const char * name;
      Set first, second;
      int bit;
   } rows[] = {
      { "two matches", community, large, 4 },
      { "two matches, the other first", large, community, 4 },
      { "the match before the set", community, setter, 4 },
      { "the set before the match", setter, community, 4 },
      { "two prefix lists", ipv4, ipv6, 2 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Entry entry = entryOf( 10 );
      row.first( entry, true );
      row.second( entry, true );
      row.first( entry, false );
      EXPECT_EQ( int( entry.undefinedReferences().value ), row.bit );
      row.second( entry, false );
      EXPECT_EQ( int( entry.undefinedReferences().value ), 0 );
      EXPECT_EQ( int( entry.referenceUpdateMask().value ), row.bit );
   }
}

// The next generation of the sequence starts at zero, and learns from the tracker what an earlier one has left undefined.
TEST( ModifiedRouteMapSeqStatus, theTrackerOutlivesAGeneration ) {
   const auto tracker = makeNode<Tracker>();
   Entry first = entryOf( 10, tracker );
   first.setCommListUndefinedFromSetter( SetOption::setCommunityList, true );
   first.setPrefixListUndefined( MatchOption::matchIpPrefixList, true );
   Entry second = entryOf( 10, tracker );
   EXPECT_EQ( second.undefinedReferences().value, 0 );
   EXPECT_FALSE( second.undefinedReferenceRequiresUpdate() );
   second.setCommListUndefinedFromMatcher( MatchOption::matchCommunity, false );
   second.setPrefixListUndefined( MatchOption::matchIpv6PrefixList, false );
   EXPECT_EQ( second.undefinedReferences().value, 6 );
   Entry otherSequence = entryOf( 20 );
   otherSequence.setCommListUndefined();
   EXPECT_EQ( otherSequence.undefinedReferences().value, 0 ) << "each sequence has its own";
}

/// A clause as its sequence records it.
struct Clause {
   const char * name;
   bool exists, prefixListUndefined, commListUndefined;
};
const Clause kClauses[] = {
   { "all defined", true, false, false },
   { "prefix list undefined", true, true, false },
   { "comm list undefined", true, false, true },
   { "both undefined", true, true, true },
   { "gone", false, false, false },
   { "gone, whatever the flags say", false, true, true },
};

Ptr<const MatcherChange> matcherChangeOf( MatchOption option, const Clause & clause ) {
   auto change = makeNode<MatcherChange>( option );
   if( clause.exists ) change->matcherIs( makeNode<FixedMatcher>( true ) );
   change->prefixListUndefinedIs( clause.prefixListUndefined );
   change->commListUndefinedIs( clause.commListUndefined );
   return change;
}

Ptr<const SetterChange> setterChangeOf( SetOption option, const Clause & clause ) {
   static RecordingSetter::Log log;
   auto change = makeNode<SetterChange>( option );
   if( clause.exists ) change->setterIs( makeNode<RecordingSetter>( log ) );
   change->commListUndefinedIs( clause.commListUndefined );
   return change;
}

template <size_t N>
bool isOneOf( const unsigned ( &row )[ N ], unsigned n ) {
   return std::find( std::begin( row ), std::end( row ), n ) != std::end( row );
}
constexpr unsigned kPrefixListOptions[] = { 2, 14, 15, 116, 118, 119, 120, 123, 124 };
constexpr unsigned kCommListOptions[] = { 103, 104, 127 };
constexpr unsigned kNeverCompiled[] = { 7, 10 };
constexpr unsigned kCommListSetOptions[] = { 11, 12, 13, 22, 35, 36, 37 };

TEST( ModifiedRouteMapSeqStatus, eachMatchOptionRefersToItsKindOfList ) {
   static_assert( Routing::RouteMap::kMatchOptionMax == 132 );
   for( unsigned number = 0; number < 256; ++number ) {   // beyond the last too
      if( isOneOf( kNeverCompiled, number ) ) continue;
      const auto option = MatchOption( number );
      const bool prefixList = isOneOf( kPrefixListOptions, number ), commList = isOneOf( kCommListOptions, number );
      for( const auto & clause : kClauses )
         for( const bool before : { false, true } ) {
            SCOPED_TRACE( testing::Message() << "option " << number << ", " << clause.name << ( before ? ", undefined before" : "" ) );
            Entry entry = entryOf( 10 );
            const auto & tracker = entry.undefinedRefsTracker();
            if( before ) {
               tracker->undefinedPrefixListMatchOptionIs( option );
               tracker->undefinedCommListMatchOptionIs( option );
            }
            entry.maybeSetUndefinedRefFlagFromMatcher( matcherChangeOf( option, clause ) );
            const bool prefixUndefined = clause.exists && clause.prefixListUndefined;
            const bool commUndefined = clause.exists && clause.commListUndefined;
            ASSERT_EQ( int( entry.referenceUpdateMask().value ), prefixList ? 2 : commList ? 4 : 0 );
            ASSERT_EQ( int( entry.undefinedReferences().value ), prefixList && prefixUndefined ? 2 : commList && commUndefined ? 4 : 0 );
            ASSERT_EQ( tracker->undefinedPrefixListMatchOptionHas( option ), prefixList ? prefixUndefined : before );
            ASSERT_EQ( tracker->undefinedCommListMatchOptionHas( option ), commList ? commUndefined : before );
            ASSERT_TRUE( tracker->undefinedCommListSetOption().empty() );
         }
   }
}

TEST( ModifiedRouteMapSeqStatus, eachSetOptionRefersToACommunityListOrToNone ) {
   for( unsigned number = 0; number < 256; ++number ) {
      const auto option = SetOption( number );
      const bool commList = isOneOf( kCommListSetOptions, number );
      for( const auto & clause : kClauses )
         for( const bool before : { false, true } ) {
            SCOPED_TRACE( testing::Message() << "option " << number << ", " << clause.name << ( before ? ", undefined before" : "" ) );
            Entry entry = entryOf( 10 );
            const auto & tracker = entry.undefinedRefsTracker();
            if( before ) tracker->undefinedCommListSetOptionIs( option );
            entry.maybeSetUndefinedRefFlagFromSetter( setterChangeOf( option, clause ) );
            const bool undefined = clause.exists && clause.commListUndefined;
            ASSERT_EQ( int( entry.referenceUpdateMask().value ), commList ? 4 : 0 );
            ASSERT_EQ( int( entry.undefinedReferences().value ), commList && undefined ? 4 : 0 );
            ASSERT_EQ( tracker->undefinedCommListSetOptionHas( option ), commList ? undefined : before );
            ASSERT_TRUE( tracker->undefinedCommListMatchOption().empty() );
            ASSERT_TRUE( tracker->undefinedPrefixListMatchOption().empty() );
         }
   }
}

TEST( ModifiedRouteMapSeqStatus, aTombstoneTakesFindingsThatNeedNoTracker ) {
   Entry tombstone( keyOf( 10 ) );
   const Clause undefined{ "", true, true, true };
   tombstone.maybeSetUndefinedRefFlagFromMatcher( matcherChangeOf( MatchOption::matchTag, undefined ) );
   tombstone.maybeSetUndefinedRefFlagFromSetter( setterChangeOf( SetOption::setTag, undefined ) );
   EXPECT_EQ( tombstone, Entry( keyOf( 10 ) ) );
   tombstone.setSubRouteMapUndefined( true );
   tombstone.setAggRoleAttrMapUndefined( true );
   EXPECT_EQ( tombstone.undefinedReferences().value, 9 );
}

TEST( ModifiedRouteMapSeqStatusDeathTest, aTombstoneHasNoTracker ) {
   const char * const text = "Assertion failed: nullptr != undefinedRefsTracker_";
   for( const bool undefined : { false, true } ) {
      SCOPED_TRACE( undefined );
      Entry tombstone( keyOf( 10 ) );
      EXPECT_DEATH( tombstone.setCommListUndefined(), text );
      EXPECT_DEATH( tombstone.setPrefixListUndefined( MatchOption::matchIpPrefixList, undefined ), text );
      EXPECT_DEATH( tombstone.setCommListUndefinedFromMatcher( MatchOption::matchCommunity, undefined ), text );
      EXPECT_DEATH( tombstone.setCommListUndefinedFromSetter( SetOption::setCommunityList, undefined ), text );
   }
}

TEST( ModifiedRouteMapSeqStatusDeathTest, someMatchOptionsAreNeverCompiled ) {
   for( const unsigned number : kNeverCompiled ) {
      Entry entry = entryOf( 10 );
      const auto change = matcherChangeOf( MatchOption( number ), kClauses[ 0 ] );
      EXPECT_DEATH( entry.maybeSetUndefinedRefFlagFromMatcher( change ), "Assertion failed: false" ) << number;
   }
}

constexpr auto kSeqStatus = Quoin::FieldId( EntryList::Field::seqStatus );

std::vector<uint32_t> seqnosOf( const EntryList & list ) {
   std::vector<uint32_t> seqnos;
   for( const auto & [ key, entry ] : list.seqStatus() ) {
      EXPECT_EQ( entry.key(), key );
      seqnos.push_back( key.seqno );
   }
   return seqnos;
}

TEST( ModifiedRouteMapSeqStatusList, isWalkedFromTheHighestDown ) {
   const auto list = makeNode<EntryList>();
   for( const uint32_t seqno : { 10, 30, 20 } ) list->seqStatusIs( entryOf( seqno ) );
   EXPECT_THAT( seqnosOf( *list ), ElementsAre( 30, 20, 10 ) );
   list->seqStatusIs( Entry( keyOf( 25 ) ) );   // a tombstone is walked too
   list->seqStatusIs( entryOf( 4294967295u ) );
   list->seqStatusIs( entryOf( 0 ) );
   EXPECT_THAT( seqnosOf( *list ), ElementsAre( 4294967295u, 30, 25, 20, 10, 0 ) );
}

TEST( ModifiedRouteMapSeqStatusList, anAbsentKeyGivesAnEmptyEntry ) {
   const auto list = makeNode<EntryList>();
   list->seqStatusIs( entryOf( 10 ) );
   for( const uint32_t seqno : { 0, 9, 11 } ) {
      EXPECT_FALSE( list->seqStatus( keyOf( seqno ) ) );
      EXPECT_EQ( list->seqStatus( keyOf( seqno ) ), Entry() );
      EXPECT_EQ( list->seqStatusGet( keyOf( seqno ) ), nullptr );
   }
   const Entry stored = list->seqStatus( keyOf( 10 ) );
   EXPECT_TRUE( stored );
   ASSERT_NE( list->seqStatusGet( keyOf( 10 ) ), nullptr );
   EXPECT_EQ( *list->seqStatusGet( keyOf( 10 ) ), stored );
}

TEST( ModifiedRouteMapSeqStatusList, aTombstoneOfSequenceZeroReadsAsAbsent ) {
   const auto list = makeNode<EntryList>();
   list->seqStatusIs( Entry( keyOf( 0 ) ) );
   EXPECT_FALSE( list->seqStatus( keyOf( 0 ) ) );
   EXPECT_EQ( list->seqStatusGet( keyOf( 0 ) ), nullptr );
   list->seqStatusIs( entryOf( 0 ) );
   EXPECT_TRUE( list->seqStatus( keyOf( 0 ) ) );
   EXPECT_NE( list->seqStatusGet( keyOf( 0 ) ), nullptr );
   list->seqStatusIs( Entry( keyOf( 10 ) ) );
   const Entry other = list->seqStatus( keyOf( 10 ) );
   EXPECT_TRUE( other ) << "a tombstone of another sequence is an entry";
   EXPECT_EQ( other.seqStatus(), nullptr );
}

TEST( ModifiedRouteMapSeqStatusList, aWalkReachesEntriesWrittenBelowIt ) {
   const auto list = makeNode<EntryList>();
   for( const uint32_t seqno : { 30, 25 } ) list->seqStatusIs( entryOf( seqno ) );
   std::vector<uint32_t> walked;
   for( auto i = list->seqStatus().first(); i; i.next() ) {
      const uint32_t seqno = i.key().seqno;
      walked.push_back( seqno );
      if( seqno != 30 ) continue;
      list->seqStatusIs( entryOf( 40 ) );
      list->seqStatusIs( entryOf( 20 ) );
      list->seqStatusIs( Entry( keyOf( 30 ) ) );   // the entry of this step
      list->seqStatusDel( keyOf( 25 ) );
      list->seqStatusIs( entryOf( 10 ) );
   }
   EXPECT_THAT( walked, ElementsAre( 30, 20, 10 ) );
}

TEST( ModifiedRouteMapSeqStatusList, publishesAnInsertionOrADifference ) {
   const auto list = makeNode<EntryList>();
   ChangeLog<DescendingSeqnoKey> log( *list );
   const Entry clone = entryOf( 10 );
   Entry found = clone;
   found.setSubRouteMapUndefined( false );   // the mask alone differs
   const struct {
      const char * name;
      Entry entry;
      bool told;
   } rows[] = {
      { "inserted", clone, true },
      { "the same", clone, false },
      { "one field differs", found, true },
      { "the same again", found, false },
      { "another clone of the same content", entryOf( 10 ), true },
      { "a tombstone", Entry( keyOf( 10 ) ), true },
      { "the same tombstone", Entry( keyOf( 10 ) ), false },
      { "back", clone, true },
      { "another sequence", entryOf( 20 ), true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      list->seqStatusIs( row.entry );
      EXPECT_EQ( list->seqStatus( row.entry.key() ), row.entry );
      EXPECT_EQ( log.keys.size(), row.told ? 1u : 0u );
      for( const auto & key : log.keys ) EXPECT_EQ( key, row.entry.key() );
      for( const auto field : log.take() ) EXPECT_EQ( field, kSeqStatus );
      log.keys.clear();
   }
   EXPECT_EQ( list->seqStatus().count(), 2u );
}

TEST( ModifiedRouteMapSeqStatusList, aDeletionReturnsAndPublishesTheEntry ) {
   const auto list = makeNode<EntryList>();
   const Entry entry = entryOf( 10 );
   list->seqStatusIs( entry );
   list->seqStatusIs( Entry( keyOf( 20 ) ) );
   ChangeLog<DescendingSeqnoKey> log( *list );
   EXPECT_EQ( list->seqStatusDel( keyOf( 10 ) ), entry );
   EXPECT_THAT( log.keys, ElementsAre( keyOf( 10 ) ) );
   EXPECT_EQ( list->seqStatusDel( keyOf( 10 ) ), Entry() );
   EXPECT_FALSE( list->seqStatusDel( keyOf( 30 ) ) );
   EXPECT_THAT( log.take(), ElementsAre( kSeqStatus ) ) << "nothing is published of an absent key";
   EXPECT_EQ( list->seqStatusDel( keyOf( 20 ) ), Entry( keyOf( 20 ) ) );
   EXPECT_THAT( log.take(), ElementsAre( kSeqStatus ) );
   EXPECT_TRUE( list->seqStatus().empty() );
   list->seqStatusIs( entryOf( 10 ) );
   list->seqStatusIs( entryOf( 30 ) );
   log.keys.clear();
   list->seqStatusDelAll();
   list->seqStatusDelAll();
   EXPECT_THAT( log.keys, ElementsAre( keyOf( 30 ), keyOf( 10 ) ) );
   EXPECT_TRUE( list->seqStatus().empty() );
}

TEST( ModifiedRouteMapSeqStatusList, theListMayBeReleasedWhileItPublishes ) {
   const std::function<void( EntryList & )> writes[] = {
      []( EntryList & l ) { l.seqStatusIs( entryOf( 20 ) ); },
      []( EntryList & l ) { l.seqStatusDel( keyOf( 10 ) ); },
      []( EntryList & l ) { l.seqStatusDelAll(); },
   };
   for( const auto & write : writes ) {
      auto list = makeNode<EntryList>();
      list->seqStatusIs( entryOf( 10 ) );
      EXPECT_EQ( Fixtures::toldWhileDropped( std::move( list ), write ), 1 );
   }
}

TEST( ModifiedRouteMapSeqStatusList, anEntryOfTheListMayBeWrittenBack ) {
   const auto list = makeNode<EntryList>();
   list->seqStatusIs( entryOf( 10 ) );
   const Entry before = list->seqStatus( keyOf( 10 ) );
   list->seqStatusIs( *list->seqStatusGet( keyOf( 10 ) ) );
   EXPECT_EQ( list->seqStatus( keyOf( 10 ) ), before );
   EXPECT_EQ( list->seqStatusDel( list->seqStatusGet( keyOf( 10 ) )->key() ), before );
   EXPECT_TRUE( list->seqStatus().empty() );
}

}   // namespace
