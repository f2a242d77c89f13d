#include "policy/SourceProtoMatcher.h"

#include <cstdint>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;
using Routing::RouteProto;

bool matches( uint32_t protocol, uint32_t ofTheRoute ) {
   MatchInput_ input;
   input.protocolIs( RouteProto( ofTheRoute ) );
   return Fixtures::matches( *makeNode<SourceProtoMatcher>( RouteProto( protocol ) ), input );
}

TEST( SourceProtoMatcher, foldsTheProtocolOfTheRoute ) {
   const struct {
      const char * name;
      uint32_t matcher, input;
      bool match;
   } rows[] = {
      { "20 counts as 10", 10, 20, true },
      { "20 not as itself", 20, 20, false },
      { "5 counts as 31", 31, 5, true },
      { "5 not as itself", 5, 5, false },
      { "6 counts as 31", 31, 6, true },
      { "6 not as itself", 6, 6, false },
      { "5 not as 6", 6, 5, false },
      { "25 counts as 24", 24, 25, true },
      { "25 not as itself", 25, 25, false },
      { "30 counts as 24", 24, 30, true },
      { "30 not as itself", 30, 30, false },
      { "10 counts as itself", 10, 10, true },
      { "10 not as 20", 20, 10, false },
      { "24 counts as itself", 24, 24, true },
      { "31 counts as itself", 31, 31, true },
      { "31 not as 6", 6, 31, false },
      { "none counts as none", 0, 0, true },
      { "the largest counts as itself", 0xffffffff, 0xffffffff, true },
      { "all 32 bits count", 10, 10 + 0x100, false },
      { "all 32 bits count in the folding", 10, 20 + 0x100, false },
   };
   for( const auto & row : rows ) EXPECT_EQ( matches( row.matcher, row.input ), row.match ) << row.name;
}

TEST( SourceProtoMatcher, everyOtherProtocolCountsAsItself ) {
   for( uint32_t protocol = 0; protocol < 300; ++protocol )
      EXPECT_EQ( matches( protocol, protocol ), protocol != 20 && protocol != 5 && protocol != 6 && protocol != 25 && protocol != 30 )
         << protocol;
}

TEST( SourceProtoMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      RouteProto getProtocol() const override { return RouteProto( 6 ); }
   } input;
   input.protocolIs( RouteProto( 10 ) );
   EXPECT_TRUE( Fixtures::matches( *makeNode<SourceProtoMatcher>( RouteProto( 31 ) ), input ) );
   EXPECT_FALSE( Fixtures::matches( *makeNode<SourceProtoMatcher>( RouteProto( 10 ) ), input ) );
}

TEST( SourceProtoMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<SourceProtoMatcher>( RouteProto( 118 ) );
   EXPECT_EQ( matcher->protocol(), RouteProto( 118 ) );
   EXPECT_EQ( matcher->toStrep(), "SourceProtoMatcher protocol 118" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "SourceProtoMatcher protocol 118" );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
