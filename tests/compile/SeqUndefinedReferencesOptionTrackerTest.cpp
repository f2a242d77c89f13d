#include "compile/SeqUndefinedReferencesOptionTracker.h"

#include <cstdint>
#include <functional>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace Routing::Policy;
using Quoin::makeNode;
using testing::UnorderedElementsAre;
using Tracker = SeqUndefinedReferencesOptionTracker;

template <class Set>
auto membersOf( const Set & set ) {
   return std::vector<typename Set::Key>( set.begin(), set.end() );
}

TEST( SeqUndefinedReferencesOptionTracker, isEmptyAtFirst ) {
   const auto tracker = makeNode<Tracker>();
   EXPECT_TRUE( tracker->undefinedPrefixListMatchOption().empty() );
   EXPECT_TRUE( tracker->undefinedCommListMatchOption().empty() );
   EXPECT_TRUE( tracker->undefinedCommListSetOption().empty() );
   EXPECT_EQ( tracker->publisher(), nullptr ) << "nobody watches it";
}

TEST( SeqUndefinedReferencesOptionTracker, keepsEachOptionOnce ) {
   const auto tracker = makeNode<Tracker>();
   for( int i = 0; i < 2; ++i ) {
      tracker->undefinedPrefixListMatchOptionIs( MatchOption::matchIpPrefixList );
      tracker->undefinedPrefixListMatchOptionIs( MatchOption::matchIpv6PrefixList );
      tracker->undefinedCommListMatchOptionIs( MatchOption::matchCommunity );
      tracker->undefinedCommListSetOptionIs( SetOption::setCommunityList );
      tracker->undefinedCommListSetOptionIs( SetOption::setCommunityListDelete );
   }
   EXPECT_THAT( membersOf( tracker->undefinedPrefixListMatchOption() ),
                UnorderedElementsAre( MatchOption::matchIpPrefixList, MatchOption::matchIpv6PrefixList ) );
   EXPECT_THAT( membersOf( tracker->undefinedCommListMatchOption() ), UnorderedElementsAre( MatchOption::matchCommunity ) );
   EXPECT_THAT( membersOf( tracker->undefinedCommListSetOption() ),
                UnorderedElementsAre( SetOption::setCommunityList, SetOption::setCommunityListDelete ) );
}

TEST( SeqUndefinedReferencesOptionTracker, theThreeSetsAreApart ) {
   const MatchOption match = MatchOption::matchCommunity;
   const SetOption set = SetOption( uint8_t( match ) );   // of the same number
   const struct {
      const char * name;
      std::function<void( Tracker & )> write, remove;
      bool prefixList, commList, setter;
   } rows[] = {
      { "prefix list of a match", [ = ]( Tracker & t ) { t.undefinedPrefixListMatchOptionIs( match ); },
        [ = ]( Tracker & t ) { t.undefinedPrefixListMatchOptionDel( match ); }, true, false, false },
      { "community list of a match", [ = ]( Tracker & t ) { t.undefinedCommListMatchOptionIs( match ); },
        [ = ]( Tracker & t ) { t.undefinedCommListMatchOptionDel( match ); }, false, true, false },
      { "community list of a set", [ = ]( Tracker & t ) { t.undefinedCommListSetOptionIs( set ); },
        [ = ]( Tracker & t ) { t.undefinedCommListSetOptionDel( set ); }, false, false, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto tracker = makeNode<Tracker>();
      const auto all = makeNode<Tracker>();
      for( const auto & each : rows ) each.write( *all );
      row.write( *tracker );
      EXPECT_EQ( tracker->undefinedPrefixListMatchOptionHas( match ), row.prefixList );
      EXPECT_EQ( tracker->undefinedCommListMatchOptionHas( match ), row.commList );
      EXPECT_EQ( tracker->undefinedCommListSetOptionHas( set ), row.setter );
      row.remove( *all );
      row.remove( *all );   // absent
      EXPECT_EQ( all->undefinedPrefixListMatchOptionHas( match ), !row.prefixList );
      EXPECT_EQ( all->undefinedCommListMatchOptionHas( match ), !row.commList );
      EXPECT_EQ( all->undefinedCommListSetOptionHas( set ), !row.setter );
   }
}

TEST( SeqUndefinedReferencesOptionTracker, holdsEveryOption ) {
   const auto tracker = makeNode<Tracker>();
   for( unsigned i = 0; i < 256; ++i ) {
      tracker->undefinedPrefixListMatchOptionIs( MatchOption( i ) );
      tracker->undefinedCommListMatchOptionIs( MatchOption( i ) );
      tracker->undefinedCommListSetOptionIs( SetOption( i ) );
   }
   EXPECT_EQ( tracker->undefinedPrefixListMatchOption().count(), 256u );
   EXPECT_EQ( tracker->undefinedCommListMatchOption().count(), 256u );
   EXPECT_EQ( tracker->undefinedCommListSetOption().count(), 256u );
   tracker->undefinedCommListMatchOptionDelAll();
   EXPECT_TRUE( tracker->undefinedCommListMatchOption().empty() );
   EXPECT_EQ( tracker->undefinedPrefixListMatchOption().count(), 256u );
   tracker->undefinedPrefixListMatchOptionDelAll();
   EXPECT_TRUE( tracker->undefinedPrefixListMatchOption().empty() );
   EXPECT_EQ( tracker->undefinedCommListSetOption().count(), 256u );
   tracker->undefinedCommListSetOptionDelAll();
   EXPECT_TRUE( tracker->undefinedCommListSetOption().empty() );
}

}   // namespace
