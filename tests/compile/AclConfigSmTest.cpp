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
   void typeDel() const { config->aclTypeDel( AclType::ipv4 ); }
   void typeIsReplaced() const {
      typeDel();
      add( "A", manyRules( 2 ) );
   }

   Ptr<Config> config = makeNode<Config>();
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Plinth::ManualClock> clock = makeNode<Plinth::ManualClock>();
   Ptr<AclConfigSm> sm;
   Ptr<IpAccessListSymbol> held = symbol();   // stays the same symbol
};

TEST_F( AclConfigSmTest, withoutTypesItCreatesOnlyTheTable ) {
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

TEST_F( AclConfigSmTest, compilesTheExistingListsOfIpv4 ) {
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

TEST_F( AclConfigSmTest, compilesATypeThatIsCreatedLater ) {
   start();
   config->aclTypeIs( AclType::ipv4 );
   ASSERT_TRUE( ofType() );
   const auto type = ofType();
   add( "A", { "10 permit 10.0.0.0/8" } );
   runUntilIdle( *clock );
   EXPECT_EQ( ofType(), type );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
}

TEST_F( AclConfigSmTest, otherTypesCreateNothing ) {
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

TEST_F( AclConfigSmTest, handleConfigHandlesAllTypes ) {
   add( "A", { "10 permit 10.0.0.0/8" } );
   config->aclTypeIs( AclType::ipv6 );
   start();
   runUntilIdle( *clock );
   const auto before = ofType();
   TraceLog traces( "AclConfigSm" );
   sm->handleConfig();
   EXPECT_THAT( traces.take(), ElementsAre( " not instantiating SM for type ipv6" ) );
   EXPECT_EQ( sm->ipConfigSm().count(), 1u );
   EXPECT_NE( ofType(), before ) << "a new machine";
   EXPECT_TRUE( before->zombieReactors() );
   EXPECT_THAT( rulesOf( status() ), IsEmpty() );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
}

TEST_F( AclConfigSmTest, aDeletedTypeLeavesItsSymbols ) {
   startSettled();
   pause( "B" );
   const auto other = symbol( "B" );
   const auto old = status();
   config->aclTypeDel( AclType::ipv4 );
   EXPECT_TRUE( sm->ipConfigSm().empty() );
   EXPECT_TRUE( nothingDue( *clock ) ) << "a compilation in progress is dropped";
   EXPECT_EQ( status(), old );
   EXPECT_EQ( held->notifierVersion(), 1u );
   EXPECT_TRUE( other->status() );
   EXPECT_EQ( other->notifierVersion(), 0u );
   EXPECT_TRUE( has( "A" ) );
   EXPECT_TRUE( has( "B" ) );
}

TEST_F( AclConfigSmTest, aTypeCreatedAgainIsCompiledAndOtherListsStay ) {
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

TEST_F( AclConfigSmTest, changesBeforeItIsSwitchedOnAreCompiled ) {
   const struct {
      const char * what;
      bool before;
      std::function<void()> change;
      size_t rules;
      bool sameMachine;
   } rows[] = {
      { "it came", false, [ & ] { add( "A", manyRules( 2 ) ); }, 2, false },
      { "it came anew", true, [ & ] { typeIsReplaced(); }, 2, false },
      { "another type came", true, [ & ] { config->aclTypeIs( AclType::ipv6 ); }, 1, true },
      { "it went before its first slice", true, [ & ] { typeDel(); }, 0, false },
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
}

TEST_F( AclConfigSmTest, aTypeReplacedInsideADeletionKeepsItsLists ) {
   for( const bool byVersion : { false, true } ) {
      SCOPED_TRACE( byVersion );
      startSettled();
      OnlyOnce once( [ & ] { typeIsReplaced(); } );
      const Reaction reaction( heardAt( *held, byVersion ), std::ref( once ) );
      config->aclType( AclType::ipv4 )->aclDel( "A" );
      ASSERT_FALSE( once );
      EXPECT_TRUE( has( "A" ) );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), 2u );
   }
}

TEST_F( AclConfigSmTest, aTypeMayBeDeletedWhileItsMachineIsCreated ) {
   const struct {
      const char * what;
      bool first;      // as the whole machine is made, or later
      bool byWakeUp;   // of the agent's loop, or by the list's empty status
      bool replaced;
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
      OnlyOnce once( [ & ] { row.replaced ? typeIsReplaced() : typeDel(); } );
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
      ASSERT_EQ( ofType() != nullptr, row.replaced );
      EXPECT_TRUE( !row.replaced || ofType()->ipConfig() == config->aclType( AclType::ipv4 ) );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), row.replaced ? 2u : 0u );
   }
}

using AclConfigSmDeathTest = AclConfigSmTest;

TEST_F( AclConfigSmDeathTest, nullsEndTheProcess ) {
   EXPECT_DEATH( makeNode<AclConfigSm>( nullptr, root->ipv4AclListTable(), clock ), "config" );
   EXPECT_DEATH( makeNode<AclConfigSm>( config, nullptr, clock ), "dedupTable" );
   EXPECT_DEATH( makeNode<AclConfigSm>( config, root->ipv4AclListTable(), nullptr ), "clock" );
}

TEST_F( AclConfigSmTest, aReleasedMachineDropsItsWorkAndItsSymbols ) {
   held = nullptr;
   start();
   add( "A", manyRules( 3 ) );
   pause( "B" );
   sm = nullptr;
   EXPECT_TRUE( nothingDue( *clock ) );
   EXPECT_EQ( root->ipv4AclListTable()->count(), 0u );
}

TEST_F( AclConfigSmTest, aSymbolInUseOutlivesTheMachine ) {
   startSettled();
   sm = nullptr;
   EXPECT_EQ( ruleCountOf( status() ), 1u );
   start();
   EXPECT_THAT( rulesOf( status() ), IsEmpty() );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
   EXPECT_EQ( held->notifierVersion(), 2u );
}

}   // namespace
}   // namespace Routing::Policy
