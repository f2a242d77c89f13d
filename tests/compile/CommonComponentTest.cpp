#include "compile/CommonComponent.h"

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "policy/IsisInstanceMatcher.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/SourceProtoMatcher.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "tests/compile/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using CompileFixtures::as;
using CompileFixtures::isOfPresentList;
using CompileFixtures::listRule;
using CompileFixtures::TraceLog;
using CompileFixtures::valueRule;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::HasSubstr;

static_assert( std::is_base_of_v<RmSeqConfigSmInterface, CommonComponentRmSeqConfigSmInterface> );

constexpr auto kAcl = MatchOption::matchIpAccessList, kPrefixList = MatchOption::matchIpPrefixList,
               kPrefixList6 = MatchOption::matchIpv6PrefixList, kTagSet = MatchOption::matchTagSet, kTag = MatchOption::matchTag,
               kProtocol = MatchOption::matchSourceProtocol, kIsis = MatchOption::matchIsisInstance, kOspf = MatchOption::matchOspfInstance;

/// The options of the common component, by their numbers.
const std::set<unsigned> kSupported{ 1, 2, 106, 113, 115, 116, 131, 132 };

Ptr<PrefixListStatus> prefixList( const char * name = "PL1" ) {
   return makeNode<PrefixListStatus>( name, Ferule::AddressFamily::ipv4 );
}

// --- what is supported

struct Component final : CommonComponentRmSeqConfigSmInterface {};

TEST( CommonComponent, supportsExactlyItsEightOptions ) {
   const auto component = makeNode<Component>();
   for( unsigned option = 0; option < 256; ++option )
      EXPECT_EQ( component->matchRuleSupported( MatchOption( option ) ), kSupported.contains( option ) ) << option;
   EXPECT_EQ( kSupported,
              ( std::set<unsigned>{ unsigned( kAcl ), unsigned( kPrefixList ), unsigned( kPrefixList6 ), unsigned( kTagSet ),
                                    unsigned( kTag ), unsigned( kProtocol ), unsigned( kIsis ), unsigned( kOspf ) } ) );
}

TEST( CommonComponent, tracesTheOption ) {
   const auto component = makeNode<Component>();
   TraceLog log( "CommonComponent" );
   component->matchRuleSupported( kPrefixList );
   component->matchRuleSupported( MatchOption( 77 ) );
   EXPECT_THAT( log.take(), ElementsAre( "option: matchIpPrefixList", "option: matchOption77" ) );
   EXPECT_THAT( log.levels(), ElementsAre( 8, 8 ) );
}

// --- protocols

TEST( CommonComponent, aProtocolBecomesThatOfARoute ) {
   struct Row {
      unsigned protocol, route;
   };
   const Row rows[] = { { 1, 1 }, { 2, 24 }, { 3, 31 }, { 4, 10 }, { 5, 4 }, { 6, 9 }, { 7, 15 }, { 8, 49 }, { 9, 52 } };
   for( const auto & row : rows ) {
      EXPECT_TRUE( isProtocol( row.protocol ) ) << row.protocol;
      EXPECT_EQ( routeMapProtocolToRouteProto( Protocol( row.protocol ) ), Routing::RouteProto( row.route ) ) << row.protocol;
   }
}

TEST( CommonComponentDeathTest, anyOtherProtocolEndsTheProcess ) {
   for( const unsigned protocol : { 0u, 10u, 11u, 24u, 127u, 128u, 255u } ) {
      EXPECT_FALSE( isProtocol( protocol ) ) << protocol;
      EXPECT_DEATH( routeMapProtocolToRouteProto( Protocol( protocol ) ),
                    HasSubstr( "0 && \"Unsupported RouteMap Protocol match option\"" ) )
         << protocol;
   }
}

// --- the matcher of a clause

class MatchRuleTest : public testing::Test {
 protected:
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<MatcherChange> change;
   Ptr<MatcherChangeSymbol> symbols;
   const Matcher * apply( const MatchRule & rule ) {
      change = makeNode<MatcherChange>( rule.option );
      symbols = makeNode<MatcherChangeSymbol>( rule.option );
      matchRuleIs( *change, *symbols, rule, *root );
      return change->matcher().get();
   }
   Ptr<const PolicySymbol> onlySymbol() const {
      EXPECT_EQ( symbols->matchSymbol().count(), 1u );
      return symbols->matchSymbol().empty() ? nullptr : *symbols->matchSymbol().begin();
   }
   /// How many symbols the tables of the common lists hold, in the order of the options.
   std::vector<size_t> counts() const {
      return { root->ipv4AclListTable()->count(), root->ipv4PrefixListTable()->count(), root->ipv6PrefixListTable()->count(),
               root->tagSetTable()->count() };
   }
};

TEST_F( MatchRuleTest, anEmptyNameIsAName ) {
   ASSERT_TRUE( apply( listRule( kPrefixList, "" ) ) );
   EXPECT_EQ( onlySymbol()->name(), "" );
   EXPECT_EQ( as<PrefixListMatcher>( change->matcher() )->name(), "" );
   EXPECT_TRUE( change->prefixListUndefined() );
}

TEST_F( MatchRuleTest, aNumberIsTheLowBitsOfTheOperand ) {
   struct Row {
      const char * name;
      MatchOption option;
      uint64_t operand;
      std::function<uint32_t( const Ptr<const Matcher> & )> value;   // of a matcher of the right class
      uint32_t expected;
   };
   const auto of = []<class M>( auto read ) {
      return [ read ]( const Ptr<const Matcher> & matcher ) {
         const auto m = as<M>( matcher );
         EXPECT_TRUE( m ) << "another class";
         return m ? uint32_t( std::invoke( read, *m ) ) : 0;
      };
   };
   const auto isis = of.operator()<IsisInstanceMatcher>( &IsisInstanceMatcher::isisInstance );
   const auto ospf = of.operator()<OspfInstanceMatcher>( &OspfInstanceMatcher::ospfInstance );
   const auto tag = of.operator()<TagMatcher>( &TagMatcher::tag );
   const auto protocol = of.operator()<SourceProtoMatcher>( &SourceProtoMatcher::protocol );
   const Row rows[] = {
      { "instance of IS-IS", kIsis, 7, isis, 7 },
      { "instance of IS-IS, 0", kIsis, 0, isis, 0 },
      { "instance of IS-IS, all low bits", kIsis, 0xffffffff, isis, 0xffffffff },
      { "instance of IS-IS, a high bit", kIsis, 0x100000007, isis, 7 },
      { "instance of OSPF", kOspf, 8, ospf, 8 },
      { "instance of OSPF, a high bit", kOspf, 0xabcd00000008, ospf, 8 },
      { "tag", kTag, 0x80000000, tag, 0x80000000 },
      { "tag, a high bit", kTag, 0x100000000, tag, 0 },
      { "protocol", kProtocol, 2, protocol, 24 },
      { "protocol, a bit above its eight", kProtocol, 0x102, protocol, 24 },
      { "protocol, high bits", kProtocol, 0xffffffffffffff09, protocol, 52 },
   };
   for( const auto & row : rows ) {
      ASSERT_TRUE( apply( valueRule( row.option, row.operand ) ) ) << row.name;
      EXPECT_EQ( row.value( change->matcher() ), row.expected ) << row.name;
      EXPECT_TRUE( symbols->matchSymbol().empty() ) << row.name;
      EXPECT_FALSE( change->prefixListUndefined() ) << row.name;
   }
   EXPECT_THAT( counts(), ElementsAre( 0, 0, 0, 0 ) );
}

using MatchRuleDeathTest = MatchRuleTest;

TEST_F( MatchRuleDeathTest, anUnknownProtocolEndsTheProcess ) {
   for( const uint64_t operand : { 0, 10, 0x100 } )
      EXPECT_DEATH( apply( valueRule( kProtocol, operand ) ), HasSubstr( "0 && \"Unsupported RouteMap Protocol match option\"" ) )
         << operand;
}

TEST_F( MatchRuleDeathTest, anOptionThatTheSwitchMissesEndsTheProcessOrGetsNoMatcher ) {
   const auto any = makeNode<TagMatcher>( 1 );
   for( unsigned number = 0; number < 256; ++number ) {
      if( kSupported.contains( number ) ) continue;
      const MatchOption option{ uint8_t( number ) };
      if( number == 0 || ( number >= 17 && number <= 99 ) || number > 132 ) {
         MatcherChange pending( option );
         pending.matcherIs( any );
         MatcherChangeSymbol none( option );
         matchRuleIs( pending, none, valueRule( option, 5 ), *root );
         EXPECT_EQ( pending.matcher(), nullptr ) << number;
         EXPECT_TRUE( none.matchSymbol().empty() ) << number;
      } else {
         EXPECT_DEATH( apply( valueRule( option, 5 ) ), HasSubstr( "false && \"option not supported\"" ) ) << number;
      }
   }
}

// --- the four options with a list

template <MatchOption kOption, class M, class S, class T>
struct List {
   using MatcherType = M;
   using Symbol = S;
   using Table = T;
   using Status = std::remove_cvref_t<decltype( *std::declval<const S &>().status() )>;
   static constexpr MatchOption option = kOption;
   static constexpr bool isPrefixList = std::is_same_v<M, PrefixListMatcher>;
   static Ptr<const Status> makeStatus() {
      if constexpr( isPrefixList )
         return prefixList( "L1" );
      else
         return makeNode<Status>( "L1" );
   }
   static auto table( const PolicyRoot & root ) {
      if constexpr( option == kAcl )
         return root.ipv4AclListTable();
      else if constexpr( option == kTagSet )
         return root.tagSetTable();
      else
         return option == kPrefixList ? root.ipv4PrefixListTable() : root.ipv6PrefixListTable();
   }
   static Ptr<Symbol> get( const char * name, const Ptr<const Table> & table ) {
      if constexpr( isPrefixList )
         return getPrefixListSymbol( name, table );
      else if constexpr( std::is_same_v<M, TagSetMatcher> )
         return getTagSetSymbol( name, table );
      else
         return getIpAccessListSymbol( name, table );
   }
};
using Lists = testing::Types<List<kAcl, IpAccessListMatcher, IpAccessListSymbol, IpAccessListSymbolDedupTable>,
                             List<kPrefixList, PrefixListMatcher, PrefixListSymbol, PrefixListSymbolDedupTable>,
                             List<kPrefixList6, PrefixListMatcher, PrefixListSymbol, PrefixListSymbolDedupTable>,
                             List<kTagSet, TagSetMatcher, TagSetSymbol, TagSetSymbolDedupTable>>;
struct ListNames {
   template <class L>
   static std::string GetName( int ) {
      return stringValue( L::option );
   }
};

template <class L>
class ListOptionTest : public MatchRuleTest {
 protected:
   /// The only symbol of the rule, which must be the one of the option's own table, and the matcher, which must have its status.
   void expectMatcherOf( const typename L::Symbol & symbol, bool invert ) {
      const auto matcher = as<typename L::MatcherType>( change->matcher() );
      ASSERT_TRUE( matcher );
      EXPECT_EQ( matcher->name(), symbol.name() );
      EXPECT_EQ( matcher->status(), symbol.status() );
      if constexpr( L::isPrefixList ) { EXPECT_EQ( matcher->invertResult(), invert ); }
      EXPECT_EQ( change->prefixListUndefined(), L::isPrefixList && !symbol.status() ) << "only prefix lists are tracked here";
      EXPECT_FALSE( change->commListUndefined() );
   }
};
TYPED_TEST_SUITE( ListOptionTest, Lists, ListNames );

TYPED_TEST( ListOptionTest, aTableHasOneSymbolPerName ) {
   using Table = typename TypeParam::Table;
   const auto table = makeNode<Table>();
   const auto symbol = TypeParam::get( "L1", table );
   ASSERT_TRUE( symbol );
   EXPECT_EQ( symbol->name(), "L1" );
   EXPECT_EQ( symbol->status(), nullptr ) << "undefined";
   const auto status = TypeParam::makeStatus();
   symbol->statusIs( status );
   EXPECT_EQ( TypeParam::get( "L1", table ), symbol );
   EXPECT_EQ( symbol->status(), status ) << "not replaced by a second one of the name";
   EXPECT_EQ( table->symbol( "L1" ), symbol );
   EXPECT_NE( TypeParam::get( "l1", table ), symbol );
   EXPECT_NE( TypeParam::get( "L1", makeNode<Table>() ), symbol ) << "another table";
   EXPECT_TRUE( TypeParam::get( "", table ) );
   EXPECT_EQ( table->count(), 1u ) << "symbols without a user are dropped";
}

TYPED_TEST( ListOptionTest, aRuleInternsItsSymbolAndMatchesAgainstItsStatus ) {
   for( const bool invert : { false, true } )
      for( const bool defined : { false, true } ) {
         SCOPED_TRACE( testing::Message() << ( invert ? "inverted " : "" ) << ( defined ? "defined" : "undefined" ) );
         ASSERT_TRUE( this->apply( listRule( TypeParam::option, "L1", invert ) ) );
         const auto symbol = TypeParam::get( "L1", TypeParam::table( *this->root ) );
         EXPECT_EQ( this->onlySymbol(), symbol );
         EXPECT_THAT( this->counts(),
                      ElementsAre( TypeParam::option == kAcl, TypeParam::option == kPrefixList, TypeParam::option == kPrefixList6,
                                   TypeParam::option == kTagSet ) );
         symbol->statusIs( defined ? TypeParam::makeStatus() : nullptr );
         matchRuleIs( *this->change, *this->symbols, listRule( TypeParam::option, "L1", invert ), *this->root );
         EXPECT_EQ( this->onlySymbol(), symbol );
         this->expectMatcherOf( *symbol, invert );
         // the same from the symbol alone, whatever name the rule has
         this->change = CompileFixtures::listChange( listRule( TypeParam::option, "other", invert ), *symbol );
         this->expectMatcherOf( *symbol, invert );
      }
}

TYPED_TEST( ListOptionTest, aMatcherIsOfThePresentListIfItHasItsStatus ) {
   const auto symbol = makeNode<typename TypeParam::Symbol>( "L1" );
   const auto matcherOf = []( const auto & status ) { return makeNode<typename TypeParam::MatcherType>( "L1", status ); };
   const auto undefined = matcherOf( nullptr );
   EXPECT_TRUE( isOfPresentList( *undefined, TypeParam::option, *symbol ) ) << "both undefined";
   symbol->statusIs( TypeParam::makeStatus() );
   EXPECT_FALSE( isOfPresentList( *undefined, TypeParam::option, *symbol ) );
   EXPECT_TRUE( isOfPresentList( *matcherOf( symbol->status() ), TypeParam::option, *symbol ) );
   EXPECT_FALSE( isOfPresentList( *matcherOf( TypeParam::makeStatus() ), TypeParam::option, *symbol ) ) << "an equal status";
   EXPECT_FALSE( isOfPresentList( *makeNode<TagMatcher>( 1 ), TypeParam::option, *symbol ) ) << "another class";
}

TEST( ListOptionDeathTest, anOptionWithoutAListEndsTheProcess ) {
   const auto list = makeNode<PrefixListSymbol>( "P" );
   const auto matcher = makeNode<TagMatcher>( 1 );
   for( const auto option : { MatchOption::none, kTag, kProtocol, kIsis, kOspf, MatchOption::matchMetric, MatchOption( 255 ) } ) {
      EXPECT_DEATH( CompileFixtures::listChange( valueRule( option, 1 ), *list ), HasSubstr( "0 && \"Unsupported match option\"" ) )
         << option;
      EXPECT_DEATH( isOfPresentList( *matcher, option, *list ), HasSubstr( "0 && \"Unsupported match option\"" ) ) << option;
   }
}

}   // namespace
