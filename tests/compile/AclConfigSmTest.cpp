#include "compile/AclConfigSm.h"

#include <functional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "compile/PolicyRoot.h"
#include "tests/compile/AclFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Acl::AclType;
using Acl::AclVersion;
using Acl::Input::AclTypeConfig;
using Acl::Input::Config;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::IpAccessListSymbol;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;

static_assert( std::is_base_of_v<Zeugma::BaseOutputSm, AclConfigSm> );

/// The access lists of an agent.
class AclConfigSmTest : public testing::Test {
 protected:
   void start() { sm = Zeugma::makeSm<AclConfigSm>( config, root->ipv4AclListTable(), clock ); }
   Ptr<AclVersion> add( const char * name, const Log & rules, AclType type = AclType::ipv4 ) const {
      const auto version = aclVersion( rules );
      config->aclTypeIs( type )->aclIs( name )->currVersionIs( version );
      return version;
   }
   Ptr<IpAccessListSymbol> symbol( const char * name = "A" ) const { return root->ipv4AclListTable()->symbol( name ); }
   Ptr<const IpAccessListStatus> status( const char * name = "A" ) const { return symbol( name )->status(); }
   Ptr<IpAclTypeConfigSm> ofType( AclType type = AclType::ipv4 ) const {
      const auto * found = sm->ipConfigSm().find( type );
      return found ? *found : nullptr;
   }
   bool has( const char * name ) const { return sm->ipAclSymbolTable()->symbol().find( name ); }
   /// A configuration of its own, of one list of one rule that is compiled.
   void startSettled() {
      config = makeNode<Config>();
      start();
      add( "A", { "10 permit 10.0.0.0/8" } );
      runUntilIdle( *clock );
   }
   /// A list of three rules, and the first slice of its compilation.
   void pause( const char * name ) const {
      add( name, manyRules( 3 ) );
      pauseAtSecondRule( *ofType()->ipAccessListConfigSm().find( name ), *clock );
   }
   void typeGoes() const { config->aclTypeDel( AclType::ipv4 ); }
   void typeComesAnew() const {
      typeGoes();
      add( "A", manyRules( 2 ) );
   }

   Ptr<Config> config = makeNode<Config>();
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Plinth::ManualClock> clock = makeNode<Plinth::ManualClock>();
   Ptr<AclConfigSm> sm;
   Ptr<IpAccessListSymbol> held = symbol();   // stays the same symbol
};

TEST_F( AclConfigSmTest, withoutTypesItMakesTheTableAlone ) {
   start();
   EXPECT_EQ( sm->config(), config );
   ASSERT_TRUE( sm->ipAclSymbolTable() );
   EXPECT_TRUE( sm->ipAclSymbolTable()->symbol().empty() );
   EXPECT_TRUE( sm->ipConfigSm().empty() );
   EXPECT_TRUE( sm->hasNotificationActive() );
   EXPECT_TRUE( nothingDue( *clock ) );
   std::ostringstream text;
   text << *sm;
   EXPECT_EQ( text.str(), "access-lists" );
}

TEST_F( AclConfigSmTest, compilesTheListsOfIpv4ThatStand ) {
   add( "A", { "10 permit 10.0.0.0/8" } );
   start();
   ASSERT_TRUE( ofType() );
   EXPECT_EQ( ofType()->ipConfig(), config->aclType( AclType::ipv4 ) );
   EXPECT_EQ( ofType()->ipAclSymbolTable(), sm->ipAclSymbolTable() );
   EXPECT_TRUE( ofType()->hasNotificationActive() );
   EXPECT_EQ( sm->ipAclSymbolTable()->symbol( "A" ), symbol() ) << "the agent's";
   EXPECT_THAT( rulesOf( status() ), IsEmpty() );
   runUntilIdle( *clock );
   EXPECT_THAT( rulesOf( status() ), ElementsAre( "10 permit 10.0.0.0/8 at 10.0.0.0/8" ) );
}

TEST_F( AclConfigSmTest, followsATypeThatComesLater ) {
   start();
   config->aclTypeIs( AclType::ipv4 );
   ASSERT_TRUE( ofType() );
   const auto type = ofType();
   add( "A", { "10 permit 10.0.0.0/8" } );
   runUntilIdle( *clock );
   EXPECT_EQ( ofType(), type );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
}

TEST_F( AclConfigSmTest, anyOtherTypeMakesNothing ) {
   add( "A", { "10 permit 2001:db8::/32" }, AclType::ipv6 );
   TraceLog traces( "AclConfigSm" );
   start();
   EXPECT_THAT( traces.take(), ElementsAre( " not instantiating SM for type ipv6" ) );
   const auto nothing = [ & ] {
      EXPECT_TRUE( sm->ipConfigSm().empty() );
      EXPECT_FALSE( has( "A" ) );
      EXPECT_FALSE( status() );
      EXPECT_EQ( held->notifierVersion(), 0u );
      EXPECT_TRUE( nothingDue( *clock ) );
   };
   nothing();
   sm->handleConfig( AclType::ipv6 );
   sm->handleConfig( AclType( 2 ) );
   EXPECT_THAT( traces.take(), ElementsAre( " not instantiating SM for type ipv6", " not instantiating SM for type 2" ) );
   config->aclTypeDel( AclType::ipv6 );
   EXPECT_THAT( traces.take(), ElementsAre( " not instantiating SM for type ipv6" ) );
   nothing();
   config->aclTypeIs( AclType( 2 ) );
   EXPECT_THAT( traces.take(), ElementsAre( " not instantiating SM for type 2" ) );
   EXPECT_THAT( traces.levels(), testing::Each( 8 ) );
   nothing();
}

TEST_F( AclConfigSmTest, allTypesAreHandledAsTheyStand ) {
   add( "A", { "10 permit 10.0.0.0/8" } );
   config->aclTypeIs( AclType::ipv6 );
   start();
   runUntilIdle( *clock );
   const auto before = ofType();
   TraceLog traces( "AclConfigSm" );
   sm->handleConfig();
   EXPECT_THAT( traces.take(), ElementsAre( " not instantiating SM for type ipv6" ) );
   EXPECT_EQ( sm->ipConfigSm().count(), 1u );
   EXPECT_NE( ofType(), before ) << "the type gets its machine anew";
   EXPECT_EQ( before->useCount(), 1u );
   EXPECT_TRUE( before->zombieReactors() );
   EXPECT_THAT( rulesOf( status() ), IsEmpty() );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
}

TEST_F( AclConfigSmTest, aTypeThatGoesLeavesItsSymbolsAsTheyAre ) {
   startSettled();
   pause( "B" );
   const auto other = symbol( "B" );
   const auto old = status();
   auto type = ofType();
   config->aclTypeDel( AclType::ipv4 );
   EXPECT_TRUE( sm->ipConfigSm().empty() );
   EXPECT_EQ( type->useCount(), 1u );
   type = nullptr;
   EXPECT_TRUE( nothingDue( *clock ) ) << "a compilation under way goes with it";
   EXPECT_EQ( status(), old );
   EXPECT_EQ( held->notifierVersion(), 1u );
   EXPECT_TRUE( other->status() );
   EXPECT_EQ( other->notifierVersion(), 0u );
   EXPECT_TRUE( has( "A" ) );
   EXPECT_TRUE( has( "B" ) );
}

TEST_F( AclConfigSmTest, aTypeThatComesBackIsCompiledAndWhatIsNotInItStays ) {
   start();
   add( "A", { "10 permit 10.0.0.0/8" } );
   add( "B", { "10 permit 10.0.0.0/8" } );
   runUntilIdle( *clock );
   const auto other = symbol( "B" );
   config->aclTypeDel( AclType::ipv4 );
   add( "A", manyRules( 2 ) );
   EXPECT_THAT( rulesOf( status() ), IsEmpty() );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 2u );
   EXPECT_EQ( ruleCountOf( other->status() ), 1u );
   EXPECT_TRUE( has( "B" ) );
}

TEST_F( AclConfigSmTest, whatChangedBeforeItWasSwitchedOnIsMadeUpFor ) {
   const struct {
      const char * what;
      bool before;
      std::function<void()> change;
      size_t rules;
      bool sameMachine;
   } rows[] = {
      { "it came", false, [ & ] { add( "A", manyRules( 2 ) ); }, 2, false },
      { "it came anew", true, [ & ] { typeComesAnew(); }, 2, false },
      { "another type came", true, [ & ] { config->aclTypeIs( AclType::ipv6 ); }, 1, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      config = makeNode<Config>();
      if( row.before ) add( "A", { "10 permit 10.0.0.0/8" } );
      sm = makeNode<AclConfigSm>( config, root->ipv4AclListTable(), clock );
      const auto type = ofType();
      row.change();
      sm->hasNotificationActiveIs( true );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), row.rules );
      EXPECT_EQ( ofType() == type, row.sameMachine );
   }
   config = makeNode<Config>();
   add( "A", { "10 permit 10.0.0.0/8" } );
   sm = makeNode<AclConfigSm>( config, root->ipv4AclListTable(), clock );
   config->aclTypeDel( AclType::ipv4 );
   sm->hasNotificationActiveIs( true );
   EXPECT_TRUE( sm->ipConfigSm().empty() );
   EXPECT_TRUE( nothingDue( *clock ) );
}

// The type's old machine is still in the midst of the deletion.
TEST_F( AclConfigSmTest, aTypeThatComesAnewInsideADeletionKeepsItsLists ) {
   for( const bool byVersion : { false, true } ) {
      SCOPED_TRACE( byVersion );
      startSettled();
      OnlyOnce once( [ & ] { typeComesAnew(); } );
      const Reaction reaction( heardAt( *held, byVersion ), std::ref( once ) );
      config->aclType( AclType::ipv4 )->aclDel( "A" );
      ASSERT_FALSE( once );
      EXPECT_TRUE( has( "A" ) );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), 2u );
   }
}

TEST_F( AclConfigSmTest, aTypeMayGoWhileItsListsAreAdded ) {
   for( const bool comesBack : { false, true } ) {
      SCOPED_TRACE( comesBack );
      startSettled();
      OnlyOnce once( [ & ] { comesBack ? typeComesAnew() : typeGoes(); } );
      const Reaction reaction( *held, std::ref( once ) );
      sm->handleConfig();
      ASSERT_FALSE( once );
      ASSERT_EQ( ofType() != nullptr, comesBack );
      if( comesBack ) {
         EXPECT_EQ( ofType()->ipConfig(), config->aclType( AclType::ipv4 ) );
         runUntilIdle( *clock );
         EXPECT_EQ( ruleCountOf( status() ), 2u );
      }
      EXPECT_TRUE( nothingDue( *clock ) );
   }
}

TEST_F( AclConfigSmTest, aTypeMayGoWhileItsMachineIsMade ) {
   const struct {
      const char * what;
      bool first;      // as the whole machine is made, or later
      bool byWakeUp;   // of the agent's loop, or by the list's empty status
      bool comesAnew;
   } rows[] = {
      { "at first, with the status", true, false, false },   { "at first, with the status, anew", true, false, true },
      { "at first, waking the loop", true, true, false },    { "at first, waking the loop, anew", true, true, true },
      { "once more, with the status", false, false, false }, { "once more, with the status, anew", false, false, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      sm = nullptr;
      config = makeNode<Config>();
      held->statusIs( nullptr );
      if( !row.first ) start();
      add( "A", manyRules( 3 ) );
      OnlyOnce once( [ & ] { row.comesAnew ? typeComesAnew() : typeGoes(); } );
      {
         Reaction reaction( *held );
         if( row.byWakeUp )
            clock->wakeUpCallbackIs( std::ref( once ) );
         else
            reaction.function = std::ref( once );
         if( row.first )
            start();
         else
            sm->handleConfig( AclType::ipv4 );
         clock->wakeUpCallbackIs( {} );
      }
      ASSERT_FALSE( once );
      ASSERT_EQ( ofType() != nullptr, row.comesAnew );
      if( row.comesAnew ) { EXPECT_EQ( ofType()->ipConfig(), config->aclType( AclType::ipv4 ) ); }
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), row.comesAnew ? 2u : 0u );
   }
}

TEST_F( AclConfigSmTest, itsTracesAreOfLevelEight ) {
   start();
   TraceLog traces( "AclConfigSm", 7 );
   sm->handleConfig( AclType::ipv6 );
   EXPECT_THAT( traces.take(), IsEmpty() );
}

TEST_F( AclConfigSmTest, theControlPlanesListReachesNobody ) {
   add( "default-control-plane-acl", { "10 permit 10.0.0.0/8" } );
   start();
   EXPECT_TRUE( sm->ipAclSymbolTable()->symbol().empty() );
   EXPECT_TRUE( ofType()->ipAccessListConfigSm().empty() );
   EXPECT_TRUE( nothingDue( *clock ) );
   EXPECT_EQ( root->ipv4AclListTable()->count(), 1u ) << "the test's own";
}

using AclConfigSmDeathTest = AclConfigSmTest;

TEST_F( AclConfigSmDeathTest, nullsEndTheProcess ) {
   EXPECT_DEATH( makeNode<AclConfigSm>( nullptr, root->ipv4AclListTable(), clock ), "config" );
   EXPECT_DEATH( makeNode<AclConfigSm>( config, nullptr, clock ), "dedupTable" );
   EXPECT_DEATH( makeNode<AclConfigSm>( config, root->ipv4AclListTable(), nullptr ), "clock" );
}

TEST_F( AclConfigSmTest, nothingIsLeftOfAMachineThatHasGoneAtWhateverPoint ) {
   held = nullptr;
   const auto & table = root->ipv4AclListTable();
   const struct {
      const char * what;
      std::function<void()> reach;
   } rows[] = {
      { "without types", [] {} },
      { "with an empty type", [ & ] { config->aclTypeIs( AclType::ipv4 ); } },
      { "before the first slice", [ & ] { add( "A", manyRules( 2 ) ); } },
      { "in a pause", [ & ] { pause( "A" ); } },
      { "settled", [ & ] { add( "A", manyRules( 2 ) ), runUntilIdle( *clock ); } },
      { "with both types", [ & ] { pause( "A" ), add( "A", { "10 permit ::/0" }, AclType::ipv6 ); } },
      { "with a type that has gone", [ & ] { pause( "A" ), config->aclTypeDel( AclType::ipv4 ); } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      config = makeNode<Config>();
      const auto clockUses = clock->useCount(), tableUses = table->useCount();
      start();
      row.reach();
      sm = nullptr;
      EXPECT_TRUE( nothingDue( *clock ) );
      EXPECT_EQ( table->count(), 0u );
      EXPECT_EQ( config->useCount(), 1u );
      EXPECT_EQ( clock->useCount(), clockUses );
      EXPECT_EQ( table->useCount(), tableUses );
      for( const auto & [ type, lists ] : config->aclType() ) {
         EXPECT_EQ( lists->useCount(), 1u ) << type;
         for( const auto & [ name, list ] : lists->acl() ) EXPECT_EQ( list->useCount(), 1u ) << name;
      }
   }
}

TEST_F( AclConfigSmTest, aSymbolThatIsUsedOutlivesTheMachineWithItsList ) {
   startSettled();
   sm = nullptr;
   EXPECT_EQ( ruleCountOf( status() ), 1u );
   EXPECT_EQ( held->useCount(), 1u );
   start();
   EXPECT_THAT( rulesOf( status() ), IsEmpty() );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
   EXPECT_EQ( held->notifierVersion(), 2u );
}

}   // namespace
}   // namespace Routing::Policy
