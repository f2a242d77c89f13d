#include "compile/CommonComponent.h"

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <type_traits>
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
using testing::IsEmpty;

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

TEST( CommonComponent, theQuestionIsTraced ) {
   const auto component = makeNode<Component>();
   {
      TraceLog log( "CommonComponent" );
      component->matchRuleSupported( kPrefixList );
      component->matchRuleSupported( MatchOption( 77 ) );
      EXPECT_THAT( log.take(), ElementsAre( "option: matchIpPrefixList", "option: matchOption77" ) );
      EXPECT_THAT( log.levels(), ElementsAre( 8, 8 ) );
   }
   TraceLog log( "CommonComponent", Plinth::TraceFacility::level7 );
   component->matchRuleSupported( kPrefixList );
   EXPECT_THAT( log.take(), IsEmpty() );
}

// --- symbols

template <class Symbol, class Table>
void expectOneSymbolPerName( Ptr<Symbol> ( *get )( Quoin::String, const Ptr<const Table> & ) ) {
   const auto table = makeNode<Table>();
   const auto symbol = get( "L1", table );
   ASSERT_TRUE( symbol );
   EXPECT_EQ( symbol->name(), "L1" );
   EXPECT_EQ( symbol->status(), nullptr ) << "a list that nobody has defined";
   EXPECT_EQ( get( "L1", table ), symbol );
   EXPECT_NE( get( "l1", table ), symbol );
   EXPECT_EQ( table->symbol( "L1" ), symbol );
   EXPECT_NE( get( "L1", makeNode<Table>() ), symbol ) << "another table";
   EXPECT_TRUE( get( "", table ) );
   EXPECT_EQ( table->count(), 1u ) << "what nobody holds has gone";
   EXPECT_EQ( symbol->useCount(), 1u );
}

TEST( CommonComponent, getsTheOneSymbolOfAName ) {
   expectOneSymbolPerName( getPrefixListSymbol );
   expectOneSymbolPerName( getIpAccessListSymbol );
   expectOneSymbolPerName( getTagSetSymbol );
}

TEST( CommonComponent, aSymbolThatStandsAlreadyKeepsItsStatus ) {
   const auto table = makeNode<PrefixListSymbolDedupTable>();
   const auto symbol = table->symbol( "PL1" );
   const auto status = prefixList();
   symbol->statusIs( status );
   EXPECT_EQ( getPrefixListSymbol( "PL1", table ), symbol );
   EXPECT_EQ( symbol->status(), status );
}

// --- protocols

TEST( CommonComponent, theProtocolOfAClauseIsThatOfARoute ) {
   struct Row {
      unsigned protocol, route;
   };
   const Row rows[] = { { 1, 1 }, { 2, 24 }, { 3, 31 }, { 4, 10 }, { 5, 4 }, { 6, 9 }, { 7, 15 }, { 8, 49 }, { 9, 52 } };
   for( const auto & row : rows ) {
      EXPECT_EQ( routeMapProtocolToRouteProto( Protocol( row.protocol ) ), Routing::RouteProto( row.route ) ) << row.protocol;
   }
}

TEST( CommonComponentDeathTest, anyOtherProtocolEndsTheProcess ) {
   for( const unsigned protocol : { 0u, 10u, 11u, 24u, 127u, 128u, 255u } )
      EXPECT_DEATH( routeMapProtocolToRouteProto( Protocol( protocol ) ),
                    HasSubstr( "0 && \"Unsupported RouteMap Protocol match option\"" ) )
         << protocol;
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

TEST_F( MatchRuleTest, anAccessListIsOneOfTheAccessListTable ) {
   ASSERT_TRUE( apply( listRule( kAcl, "L1", true ) ) );
   EXPECT_THAT( counts(), ElementsAre( 1, 0, 0, 0 ) );
   EXPECT_EQ( onlySymbol(), root->ipv4AclListTable()->symbol( "L1" ) );
   const auto matcher = as<IpAccessListMatcher>( change->matcher() );
   ASSERT_TRUE( matcher );
   EXPECT_EQ( matcher->name(), "L1" );
   EXPECT_EQ( matcher->status(), nullptr );
   EXPECT_FALSE( change->prefixListUndefined() ) << "that it is undefined is not kept here";
   const auto status = makeNode<IpAccessListStatus>( "L1" );
   root->ipv4AclListTable()->symbol( "L1" )->statusIs( status );
   const auto held = symbols;
   apply( listRule( kAcl, "L1" ) );
   EXPECT_EQ( as<IpAccessListMatcher>( change->matcher() )->status(), status );
   EXPECT_FALSE( change->prefixListUndefined() );
}

TEST_F( MatchRuleTest, aTagSetIsOneOfTheTagSetTable ) {
   ASSERT_TRUE( apply( listRule( kTagSet, "L1", true ) ) );
   EXPECT_THAT( counts(), ElementsAre( 0, 0, 0, 1 ) );
   EXPECT_EQ( onlySymbol(), root->tagSetTable()->symbol( "L1" ) );
   const auto matcher = as<TagSetMatcher>( change->matcher() );
   ASSERT_TRUE( matcher );
   EXPECT_EQ( matcher->name(), "L1" );
   EXPECT_EQ( matcher->status(), nullptr );
   EXPECT_FALSE( change->prefixListUndefined() );
   const auto status = makeNode<TagSetStatus>( "L1" );
   root->tagSetTable()->symbol( "L1" )->statusIs( status );
   const auto held = symbols;
   apply( listRule( kTagSet, "L1" ) );
   EXPECT_EQ( as<TagSetMatcher>( change->matcher() )->status(), status );
   EXPECT_FALSE( change->prefixListUndefined() );
}

TEST_F( MatchRuleTest, aPrefixListIsOneOfTheTableOfItsFamily ) {
   for( const auto option : { kPrefixList, kPrefixList6 } ) {
      const auto table = option == kPrefixList ? root->ipv4PrefixListTable() : root->ipv6PrefixListTable();
      for( const bool invert : { false, true } )
         for( const bool defined : { false, true } ) {
            SCOPED_TRACE( std::string( stringValue( option ) ) + ( invert ? " inverted" : "" ) + ( defined ? " defined" : "" ) );
            symbols = nullptr;
            const auto symbol = table->symbol( "L1" );
            const auto status = defined ? prefixList( "L1" ) : nullptr;
            symbol->statusIs( status );
            ASSERT_TRUE( apply( listRule( option, "L1", invert ) ) );
            EXPECT_EQ( counts()[ option == kPrefixList ? 1 : 2 ], 1u );
            EXPECT_EQ( counts()[ option == kPrefixList ? 2 : 1 ], 0u );
            EXPECT_EQ( onlySymbol(), symbol );
            const auto matcher = as<PrefixListMatcher>( change->matcher() );
            ASSERT_TRUE( matcher );
            EXPECT_EQ( matcher->name(), "L1" );
            EXPECT_EQ( matcher->status(), status );
            EXPECT_EQ( matcher->invertResult(), invert );
            EXPECT_EQ( change->prefixListUndefined(), !defined );
            EXPECT_FALSE( change->commListUndefined() );
         }
   }
}

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

TEST_F( MatchRuleTest, replacesWhatWasThere ) {
   const auto symbol = root->ipv4PrefixListTable()->symbol( "L1" );
   apply( listRule( kPrefixList, "L1" ) );
   const auto first = change->matcher();
   ASSERT_TRUE( change->prefixListUndefined() );
   symbol->statusIs( prefixList( "L1" ) );
   matchRuleIs( *change, *symbols, listRule( kPrefixList, "L1" ), *root );
   EXPECT_NE( change->matcher(), first );
   EXPECT_FALSE( change->prefixListUndefined() );
   EXPECT_EQ( onlySymbol(), symbol );
}

using MatchRuleDeathTest = MatchRuleTest;

TEST_F( MatchRuleDeathTest, aProtocolThatThereIsNotEndsTheProcess ) {
   for( const uint64_t operand : { 0, 10, 0x100 } )
      EXPECT_DEATH( apply( valueRule( kProtocol, operand ) ), HasSubstr( "0 && \"Unsupported RouteMap Protocol match option\"" ) )
         << operand;
}

TEST_F( MatchRuleDeathTest, anOptionThatTheSwitchMissesEndsTheProcessOrHasNoMatcher ) {
   const auto any = makeNode<TagMatcher>( 1 );
   for( unsigned number = 0; number < 256; ++number ) {
      if( kSupported.contains( number ) ) continue;
      const MatchOption option{ uint8_t( number ) };
      if( number == 0 || ( number >= 17 && number <= 99 ) || number > 132 ) {
         MatcherChange there( option );
         there.matcherIs( any );
         MatcherChangeSymbol none( option );
         matchRuleIs( there, none, valueRule( option, 5 ), *root );
         EXPECT_EQ( there.matcher(), nullptr ) << number;
         EXPECT_TRUE( none.matchSymbol().empty() ) << number;
      } else {
         EXPECT_DEATH( apply( valueRule( option, 5 ) ), HasSubstr( "false && \"option not supported\"" ) ) << number;
      }
   }
}

// --- the matcher of a list as it is now

TEST( ListMatcher, isMadeOfWhatTheSymbolHasNow ) {
   const auto acl = makeNode<IpAccessListSymbol>( "A" );
   const auto tags = makeNode<TagSetSymbol>( "T" );
   const auto list = makeNode<PrefixListSymbol>( "P" );
   for( const bool defined : { false, true } ) {
      acl->statusIs( defined ? makeNode<IpAccessListStatus>( "A" ) : nullptr );
      tags->statusIs( defined ? makeNode<TagSetStatus>( "T" ) : nullptr );
      list->statusIs( defined ? prefixList( "P" ) : nullptr );
      const auto ofAcl = CompileFixtures::listChange( listRule( kAcl, "other" ), *acl );
      ASSERT_TRUE( as<IpAccessListMatcher>( ofAcl->matcher() ) );
      EXPECT_EQ( as<IpAccessListMatcher>( ofAcl->matcher() )->name(), "A" ) << "the symbol's";
      EXPECT_EQ( as<IpAccessListMatcher>( ofAcl->matcher() )->status(), acl->status() );
      EXPECT_FALSE( ofAcl->prefixListUndefined() );
      const auto ofTags = CompileFixtures::listChange( listRule( kTagSet, "other" ), *tags );
      ASSERT_TRUE( as<TagSetMatcher>( ofTags->matcher() ) );
      EXPECT_EQ( as<TagSetMatcher>( ofTags->matcher() )->name(), "T" );
      EXPECT_EQ( as<TagSetMatcher>( ofTags->matcher() )->status(), tags->status() );
      EXPECT_FALSE( ofTags->prefixListUndefined() );
      for( const auto option : { kPrefixList, kPrefixList6 } )
         for( const bool invert : { false, true } ) {
            const auto ofList = CompileFixtures::listChange( listRule( option, "other", invert ), *list );
            ASSERT_TRUE( as<PrefixListMatcher>( ofList->matcher() ) );
            EXPECT_EQ( as<PrefixListMatcher>( ofList->matcher() )->name(), "P" );
            EXPECT_EQ( as<PrefixListMatcher>( ofList->matcher() )->status(), list->status() );
            EXPECT_EQ( as<PrefixListMatcher>( ofList->matcher() )->invertResult(), invert );
            EXPECT_EQ( ofList->prefixListUndefined(), !defined );
         }
   }
}

TEST( ListMatcher, isOfThePresentListByTheStatusItself ) {
   const auto list = makeNode<PrefixListSymbol>( "P" );
   list->statusIs( prefixList( "P" ) );
   EXPECT_TRUE( isOfPresentList( *makeNode<PrefixListMatcher>( "P", list->status() ), kPrefixList, *list ) );
   EXPECT_TRUE( isOfPresentList( *makeNode<PrefixListMatcher>( "P", list->status() ), kPrefixList6, *list ) );
   EXPECT_FALSE( isOfPresentList( *makeNode<PrefixListMatcher>( "P", prefixList( "P" ) ), kPrefixList, *list ) ) << "an equal one";
   EXPECT_FALSE( isOfPresentList( *makeNode<PrefixListMatcher>( "P", nullptr ), kPrefixList, *list ) );
   EXPECT_FALSE( isOfPresentList( *makeNode<TagMatcher>( 1 ), kPrefixList, *list ) ) << "another class";
   const auto tags = makeNode<TagSetSymbol>( "T" );
   EXPECT_TRUE( isOfPresentList( *makeNode<TagSetMatcher>( "T", nullptr ), kTagSet, *tags ) ) << "undefined, then and now";
   tags->statusIs( makeNode<TagSetStatus>( "T" ) );
   EXPECT_FALSE( isOfPresentList( *makeNode<TagSetMatcher>( "T", nullptr ), kTagSet, *tags ) );
   const auto acl = makeNode<IpAccessListSymbol>( "A" );
   acl->statusIs( makeNode<IpAccessListStatus>( "A" ) );
   EXPECT_TRUE( isOfPresentList( *makeNode<IpAccessListMatcher>( "A", acl->status() ), kAcl, *acl ) );
   EXPECT_FALSE( isOfPresentList( *makeNode<IpAccessListMatcher>( "A", nullptr ), kAcl, *acl ) );
}

TEST( ListMatcherDeathTest, anOptionWithoutAListEndsTheProcess ) {
   const auto list = makeNode<PrefixListSymbol>( "P" );
   const auto matcher = makeNode<TagMatcher>( 1 );
   for( const auto option : { MatchOption::none, kTag, kProtocol, kIsis, kOspf, MatchOption::matchMetric, MatchOption( 255 ) } ) {
      EXPECT_DEATH( CompileFixtures::listChange( valueRule( option, 1 ), *list ), HasSubstr( "0 && \"Unsupported match option\"" ) )
         << option;
      EXPECT_DEATH( isOfPresentList( *matcher, option, *list ), HasSubstr( "0 && \"Unsupported match option\"" ) ) << option;
   }
}

}   // namespace
