// Readers of the agent's own lists on other threads, while new generations come and old ones go.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "live/AsPathList.h"
#include "live/CommunityList.h"
#include "tests/model/GenerationReaders.h"

namespace Agent {
namespace {

constexpr uint32_t kLines = 500;
constexpr uint32_t kGenerations = 1000;

struct Communities {
   using List = CommunityList;
   using Text = CommunityListText;
   static CommunityListLine line( uint32_t i ) { return { MatchPermit::permit, { i, kLines + i % 7 }, {}, {} }; }
   static TableRoute route( uint32_t i ) {
      TableRoute route;
      route.communities = { i, kLines + i % 7 };
      return route;
   }
};

struct AsPaths {
   using List = AsPathList;
   using Text = AsPathListText;
   // Some expressions are no words.
   static AsPathListLine line( uint32_t i ) {
      return { MatchPermit::permit, i % 50 == 0 ? fmt::format( "^{} ", i ) : fmt::format( "_{}_", i ), {} };
   }
   static TableRoute route( uint32_t i ) {
      TableRoute route;
      route.asPath = fmt::format( "{} 1000", i );
      return route;
   }
};

template <class Kind>
Quoin::Ptr<const typename Kind::List> listWithout( uint32_t missing ) {
   typename Kind::Text text;
   for( uint32_t i = 0; i < kLines; ++i )
      if( i != missing ) text.lines.emplace( i, Kind::line( i ) );
   return Quoin::makeNode<typename Kind::List>( "L", text, Dialect::frr );
}

template <class Kind>
void askWhileGenerationsCome() {
   using List = typename Kind::List;
   Generation<List> present{ listWithout<Kind>( 0 ), 0 };
   GenerationReaders<List> readers( present, []( const Generation<List> & generation, uint32_t i ) {
      const uint32_t other = i * 7919 % kLines;
      return int( generation.list->permits( Kind::route( generation.missing ) ) ) +
         int( other != generation.missing && !generation.list->permits( Kind::route( other ) ) );
   } );
   for( uint32_t i = 1; i < kGenerations; ++i ) {
      const uint32_t missing = i * 31 % kLines;
      if( i % 100 == 0 ) {   // the readers have the last generations of the list before
         present = { listWithout<Kind>( missing ), missing };
      } else if( missing != present.missing ) {
         const auto next = Quoin::makeNode<List>( "L", *present.list );
         next->lineDel( missing, Kind::line( missing ) );
         next->lineIs( present.missing, Kind::line( present.missing ) );
         present = { next, missing };
      }
      readers.presentIs( present );
   }
   EXPECT_EQ( readers.end(), 0 );
}

TEST( ListThreads, oldCommunityListsAnswerWhileNewOnesCome ) {
   askWhileGenerationsCome<Communities>();
}

TEST( ListThreads, oldAsPathListsAnswerWhileNewOnesCome ) {
   askWhileGenerationsCome<AsPaths>();
}

}   // namespace
}   // namespace Agent
