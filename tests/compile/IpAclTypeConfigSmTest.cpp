#include "compile/IpAclTypeConfigSm.h"

#include <functional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/compile/AclFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Acl::AclConfig;
using Acl::AclType;
using Acl::AclVersion;
using Ferule::AddressFamily;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::IpAccessListSymbol;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;
using Seconds = Plinth::Clock::Seconds;

static_assert( std::is_base_of_v<Zeugma::BaseOutputSm, IpAclTypeConfigSm> );

const char * const kControlPlane = "default-control-plane-acl";

class IpAclTypeConfigSmTest : public testing::Test, protected AclCase {
 protected:
   explicit IpAclTypeConfigSmTest( AclType family = AclType::ipv4 ) : AclCase( family ) {}
   void start() { sm = Zeugma::makeSm<IpAclTypeConfigSm>( type, symbols, dedupTable, clock ); }
   Ptr<AclVersion> add( const char * name, const Log & rules ) const {
      const auto version = aclVersion( rules );
      type->aclIs( name )->currVersionIs( version );
      return version;
   }
   /// With a list of so many rules that is compiled.
   void startSettled( unsigned rules = 1 ) {
      start();
      add( "A", manyRules( rules ) );
      runUntilIdle( *clock );
   }
   /// A list of three rules, and the first slice of its compilation.
   void pause( const char * name = "A" ) const {
      add( name, manyRules( 3 ) );
      pauseAtSecondRule( machine( name ), *clock );
   }
   Ptr<IpAclConfigSm> machine( const char * name = "A" ) const {
      const auto * found = sm->ipAccessListConfigSm().find( name );
      return found ? *found : nullptr;
   }
   void slice( const char * name = "A" ) const { machine( name )->clockQuantumIs( Seconds( 0 ) ); }
   bool has( const char * name ) const { return symbols->symbol().find( name ); }
   uint32_t published( const char * name = "A" ) const { return symbol( name )->notifierVersion(); }
   struct Step {
      const char * what;
      const Quoin::Node * publisher;
   };
   /// How a list is added: of each step somebody may hear.
   std::vector<Step> stepsOfAddition() const {
      return { { "as its symbol enters the table", symbols.get() }, { "as it gets its empty status", held.get() } };
   }
   /// An empty list of IPv4: what addIpAccessList() leaves.
   testing::AssertionResult isEmpty( const char * name = "A" ) const {
      const auto now = status( name );
      if( !now ) return testing::AssertionFailure() << name << " is undefined";
      if( now->name() != name ) return testing::AssertionFailure() << "of another name: " << now->name();
      if( now->trie().prefixCount() ) return testing::AssertionFailure() << name << " has rules";
      if( now->trie().af() != AddressFamily::ipv4 ) return testing::AssertionFailure() << name << " is of the other family";
      return testing::AssertionSuccess();
   }

   Ptr<IpAclTypeConfigSm> sm;
   Ptr<IpAccessListSymbol> held = symbol();   // stays the same symbol
};

class Ip6AclTypeConfigSmTest : public IpAclTypeConfigSmTest {
 protected:
   Ip6AclTypeConfigSmTest() : IpAclTypeConfigSmTest( AclType::ipv6 ) {}
};

// ---- the start

TEST_F( IpAclTypeConfigSmTest, withoutListsItHoldsWhatItWasGiven ) {
   start();
   EXPECT_EQ( sm->ipConfig(), type );
   EXPECT_EQ( sm->ipAclSymbolTable(), symbols );
   EXPECT_TRUE( sm->ipAccessListConfigSm().empty() );
   EXPECT_TRUE( symbols->symbol().empty() );
   EXPECT_TRUE( nothingDue( *clock ) );
   EXPECT_TRUE( sm->hasNotificationActive() );
   std::ostringstream text;
   text << *sm;
   EXPECT_EQ( text.str(), "access-lists: ipv4" );
}

TEST_F( IpAclTypeConfigSmTest, eachListGetsASymbolAMachineAndAnEmptyStatus ) {
   add( "A", { "10 permit 10.0.0.0/8" } );
   type->aclIs( "B" );   // without a version
   start();
   for( const char * name : { "A", "B" } ) {
      SCOPED_TRACE( name );
      ASSERT_TRUE( has( name ) );
      EXPECT_EQ( symbols->symbol( name ), symbol( name ) ) << "the one of the table that all share";
      EXPECT_TRUE( isEmpty( name ) );
      EXPECT_EQ( published( name ), 0u );
      ASSERT_TRUE( machine( name ) );
      EXPECT_EQ( machine( name )->name(), name );
      EXPECT_EQ( machine( name )->ipConfig(), type );
      EXPECT_EQ( machine( name )->ipAclSymbolTable(), symbols );
      EXPECT_EQ( machine( name )->ipAccessList(), type->acl( name ) );
      EXPECT_TRUE( machine( name )->hasNotificationActive() );
   }
   EXPECT_EQ( runUntilIdle( *clock ), 1 );
   EXPECT_THAT( rules( "A" ), ElementsAre( "10 permit 10.0.0.0/8 at 10.0.0.0/8" ) );
   EXPECT_EQ( published( "A" ), 1u );
   EXPECT_EQ( status( "B" )->trie().bytes(), makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false )->bytes() );
   EXPECT_TRUE( isEmpty( "B" ) ) << "a list without rules starts no compilation";
   EXPECT_EQ( published( "B" ), 0u );
}

TEST_F( IpAclTypeConfigSmTest, aNewListIsEmptyUntilItIsCompiled ) {
   start();
   const AclSymbolWatcher watcher( symbol() );
   std::vector<int> order;
   const Reaction ofTable( *symbols, [ & ]( const Quoin::Change & ) {
      order.push_back( 1 );
      EXPECT_FALSE( held->status() ) << "the symbol is there first";
      EXPECT_TRUE( machine() ) << "and the machine before it";
   } );
   const Reaction ofSymbol( *held, [ & ]( const Quoin::Change & ) { order.push_back( 2 ); } );
   const auto list = type->aclIs( "A" );
   EXPECT_THAT( order, ElementsAre( 1, 2 ) );
   EXPECT_THAT( watcher.take(), ElementsAre( "status" ) ) << "no version: what is in place keeps what it has";
   EXPECT_TRUE( isEmpty() );
   list->currVersionIs( aclVersion( { "10 permit 10.0.0.0/8" } ) );
   EXPECT_TRUE( isEmpty() );
   runUntilIdle( *clock );
   EXPECT_THAT( watcher.take(), ElementsAre( "status", "version 1, current, defined" ) );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
}

TEST_F( IpAclTypeConfigSmTest, statusCurrentIsLeftAlone ) {
   start();
   for( const bool current : { true, false } ) {
      held->statusCurrentIs( current );
      const AclSymbolWatcher watcher( held );
      add( "A", { "10 permit 10.0.0.0/8" } );
      runUntilIdle( *clock );
      type->aclDel( "A" );
      EXPECT_EQ( held->statusCurrent(), current );
      EXPECT_THAT( watcher.take(), testing::Not( testing::Contains( testing::AnyOf( "current", "not current" ) ) ) );
   }
}

TEST_F( IpAclTypeConfigSmTest, theControlPlaneListIsIgnored ) {
   TraceLog traces( "IpAclTypeConfigSm" );
   add( kControlPlane, { "10 permit 10.0.0.0/8" } );
   start();
   const auto nothing = [ & ] {
      EXPECT_FALSE( has( kControlPlane ) );
      EXPECT_FALSE( machine( kControlPlane ) );
      EXPECT_FALSE( status( kControlPlane ) );
      EXPECT_EQ( published( kControlPlane ), 0u );
      EXPECT_TRUE( nothingDue( *clock ) );
   };
   nothing();
   add( kControlPlane, { "20 permit 10.0.0.0/8" } );
   nothing();
   sm->handleIpAccessList();
   sm->addIpAccessList( kControlPlane, type->acl( kControlPlane ) );
   sm->addIpAccessList( kControlPlane, nullptr );   // the name comes first
   nothing();
   EXPECT_THAT( traces.take(), IsEmpty() );
   type->aclDel( kControlPlane );
   nothing();
   EXPECT_THAT( traces.take(), ElementsAre( std::string( " ignoring ipAccess-list: " ) + kControlPlane ) );
   EXPECT_THAT( traces.levels(), ElementsAre( 8 ) );
}

TEST_F( IpAclTypeConfigSmTest, aSymbolWithTheControlPlaneNameIsKept ) {
   start();
   const auto symbol = this->symbol( kControlPlane );
   const auto another = makeNode<IpAccessListStatus>( kControlPlane );
   symbol->statusIs( another );
   symbols->symbolIs( symbol );
   sm->handleIpAccessList( kControlPlane );
   EXPECT_TRUE( has( kControlPlane ) );
   EXPECT_EQ( symbol->status(), another );
   EXPECT_EQ( symbol->notifierVersion(), 0u );
}

TEST_F( IpAclTypeConfigSmTest, similarNamesAreOrdinaryLists ) {
   start();
   for( const char * name : { "default-control-plane-ac", "default-control-plane-acl2", "Default-control-plane-acl", "" } ) {
      add( name, { "10 permit 10.0.0.0/8" } );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status( name ) ), 1u ) << name;
   }
}

TEST_F( Ip6AclTypeConfigSmTest, aListIsAnEmptyIpv4ListUntilItIsCompiled ) {
   start();
   add( "A", { "10 permit 2001:db8::/32", "20 permit ::/0" } );
   slice();
   EXPECT_TRUE( isEmpty() );
   clock->callDue();
   EXPECT_TRUE( isEmpty() ) << "in a pause";
   EXPECT_FALSE( listPermits( status(), "2001:db8::/32" ) );
   EXPECT_FALSE( listPermits( status(), "10.0.0.0/8" ) );
   runUntilIdle( *clock );
   EXPECT_EQ( status()->trie().af(), AddressFamily::ipv6 );
   EXPECT_TRUE( listPermits( status(), "2001:db8::/32" ) );
   EXPECT_FALSE( listPermits( status(), "10.0.0.0/8" ) );
   std::ostringstream text;
   text << *sm;
   EXPECT_EQ( text.str(), "access-lists: ipv6" );
}

// ---- once more

TEST_F( IpAclTypeConfigSmTest, aListAddedAgainIsEmptyUntilItsNextCompilation ) {
   start();
   const auto version = add( "A", { "10 permit 10.0.0.0/8" } );
   runUntilIdle( *clock );
   const auto before = machine();
   for( const bool all : { false, true } ) {
      SCOPED_TRACE( all );
      const auto versions = published();
      const AclSymbolWatcher watcher( held );
      if( all )
         sm->handleIpAccessList();
      else
         sm->addIpAccessList( "A", type->acl( "A" ) );
      EXPECT_TRUE( isEmpty() );
      EXPECT_THAT( watcher.take(), ElementsAre( "status" ) );
      EXPECT_EQ( machine(), before );
      EXPECT_TRUE( nothingDue( *clock ) ) << "the machine has nothing new to compile";
      version->ipRuleIs( ruleIdOf( 10 ), ipRule( all ? "10 permit 11.0.0.0/8" : "10 deny 10.0.0.0/8" ) );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), 1u );
      EXPECT_EQ( published(), versions + 1 );
   }
}

TEST_F( IpAclTypeConfigSmTest, aListAddedAgainInAPauseIsStillCompiled ) {
   start();
   pause();
   sm->addIpAccessList( "A", type->acl( "A" ) );
   EXPECT_EQ( machine()->bookmark(), 20u );
   EXPECT_EQ( runUntilIdle( *clock ), 2 );
   EXPECT_EQ( ruleCountOf( status() ), 3u );
}

TEST_F( IpAclTypeConfigSmTest, aListThatIsNotConfiguredStaysEmpty ) {
   start();
   const auto another = makeNode<AclConfig>( "A" );
   another->currVersionIs( aclVersion( manyRules( 2 ) ) );
   sm->addIpAccessList( "A", another );
   ASSERT_TRUE( machine() );
   EXPECT_EQ( machine()->ipAccessList(), another );
   EXPECT_TRUE( has( "A" ) );
   EXPECT_TRUE( isEmpty() );
   runUntilIdle( *clock );
   EXPECT_TRUE( isEmpty() ) << "the configuration is where a list is read";
   EXPECT_EQ( published(), 0u );
   add( "A", manyRules( 3 ) );
   EXPECT_EQ( machine()->ipAccessList(), type->acl( "A" ) );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 3u );
}

TEST_F( IpAclTypeConfigSmTest, aListReplacedWithoutNotificationGetsAnotherMachine ) {
   start();
   pause();
   sm->hasNotificationActiveIs( false );
   const auto first = machine();
   type->aclDel( "A" );
   add( "A", manyRules( 2 ) );
   sm->handleIpAccessList( "A" );
   EXPECT_NE( machine(), first );
   EXPECT_EQ( machine()->ipAccessList(), type->acl( "A" ) );
   EXPECT_TRUE( first->zombieReactors() );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 2u );
   EXPECT_EQ( published(), 1u ) << "of the second alone";
}

// ---- what goes

TEST_F( IpAclTypeConfigSmTest, aDeletedListIsPublishedThenRemoved ) {
   startSettled();
   Log steps;
   const auto parts = [ & ] { return std::string( has( "A" ) ? ", symbol" : "" ) + ( machine() ? ", machine" : "" ); };
   const Reaction ofStatus( *held,
                            [ & ]( const Quoin::Change & ) { steps.push_back( ( held->status() ? "defined" : "undefined" ) + parts() ); } );
   const Reaction ofVersion( *held->notifier(), [ & ]( const Quoin::Change & ) { steps.push_back( "version" + parts() ); } );
   const Reaction ofTable( *symbols, [ & ]( const Quoin::Change & ) { steps.push_back( "table" + parts() ); } );
   type->aclDel( "A" );
   EXPECT_THAT( steps, ElementsAre( "undefined, symbol, machine", "version, symbol, machine", "table, machine" ) );
   EXPECT_EQ( parts(), "" );
   EXPECT_EQ( published(), 2u );
}

TEST_F( IpAclTypeConfigSmTest, aNameWithoutAListIsIgnored ) {
   startSettled();
   const auto other = symbol( "B" );   // a route map refers to it
   sm->handleIpAccessList( "B" );
   EXPECT_EQ( other->notifierVersion(), 0u );
   EXPECT_FALSE( other->status() );
   EXPECT_EQ( sm->ipAccessListConfigSm().count(), 1u );
   EXPECT_EQ( symbols->symbol().count(), 1u );
}

TEST_F( IpAclTypeConfigSmTest, aListWithoutASymbolKeepsItsMachineUntilItIsCreatedAgain ) {
   startSettled();
   symbols->symbolDel( "A" );
   const auto before = machine();
   type->aclDel( "A" );
   EXPECT_EQ( machine(), before );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
   EXPECT_EQ( published(), 1u );
   add( "A", manyRules( 2 ) );
   EXPECT_NE( machine(), before );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 2u );
}

TEST_F( IpAclTypeConfigSmTest, aListWhoseSymbolHasNoNotifierIsDeleted ) {
   startSettled();
   held->notifierIs( nullptr );
   type->aclDel( "A" );
   EXPECT_FALSE( status() );
   EXPECT_FALSE( has( "A" ) );
   EXPECT_FALSE( machine() );
}

TEST_F( IpAclTypeConfigSmTest, aListMayBeDeletedInAPause ) {
   start();
   pause();
   const auto trie = machine()->newTrie();
   type->aclDel( "A" );
   EXPECT_FALSE( status() );
   EXPECT_EQ( published(), 1u );
   EXPECT_EQ( trie->useCount(), 1u ) << "dropped with its machine";
   EXPECT_TRUE( nothingDue( *clock ) );
   add( "A", manyRules( 2 ) );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status() ), 2u );
}

TEST_F( IpAclTypeConfigSmTest, aMachineOfADeletedListCompilesNothing ) {
   start();
   pause();
   const auto kept = machine();
   type->aclDel( "A" );
   type->aclIs( "A" );
   runUntilIdle( *clock );
   EXPECT_TRUE( isEmpty() );
   EXPECT_EQ( published(), 1u );
}

// ---- what was missed

TEST_F( IpAclTypeConfigSmTest, changesBeforeItIsSwitchedOnAreCompiled ) {
   for( const char * name : { "STAYS", "GOES", "GOES TOO", "ANEW" } ) add( name, manyRules( 1 ) );
   sm = makeNode<IpAclTypeConfigSm>( type, symbols, dedupTable, clock );
   const auto stays = machine( "STAYS" ), anew = machine( "ANEW" );
   const auto symbolOfGone = symbol( "GOES" ), symbolOfNew = symbol( "COMES" );
   runUntilIdle( *clock );
   type->aclDel( "GOES" );
   type->aclDel( "GOES TOO" );
   type->aclDel( "ANEW" );
   add( "ANEW", manyRules( 2 ) );
   add( "COMES", manyRules( 3 ) );
   sm->hasNotificationActiveIs( true );
   EXPECT_EQ( machine( "STAYS" ), stays );
   EXPECT_EQ( ruleCountOf( status( "STAYS" ) ), 1u ) << "what has not changed keeps its list";
   EXPECT_NE( machine( "ANEW" ), anew );
   EXPECT_FALSE( machine( "GOES" ) );
   EXPECT_FALSE( machine( "GOES TOO" ) );
   EXPECT_FALSE( has( "GOES TOO" ) );
   EXPECT_FALSE( symbolOfGone->status() );
   EXPECT_EQ( symbolOfGone->notifierVersion(), 2u );
   runUntilIdle( *clock );
   EXPECT_EQ( ruleCountOf( status( "ANEW" ) ), 2u );
   EXPECT_EQ( ruleCountOf( symbolOfNew->status() ), 3u );
}

TEST_F( IpAclTypeConfigSmTest, changesInsideTheConstructionAreCompiled ) {
   const EditRow rows[] = {
      { "it goes", [ & ] { type->aclDel( "A" ); }, 0 },
      { "it comes anew", [ & ] { type->aclDel( "A" ), add( "A", manyRules( 2 ) ); }, 2 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      sm = nullptr;
      add( "A", manyRules( 3 ) );
      OnlyOnce once( row.edit );
      const Reaction reaction( *held, std::ref( once ) );
      start();
      ASSERT_FALSE( once );
      EXPECT_EQ( machine() != nullptr, row.rules != 0 );
      EXPECT_EQ( has( "A" ), row.rules != 0 );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), row.rules );
      EXPECT_EQ( status() != nullptr, row.rules != 0 );
      type->aclDel( "A" );
   }
}

// ---- reactions

TEST_F( IpAclTypeConfigSmTest, aListMayBeDeletedOrReplacedInsideItsPublication ) {
   for( const bool replaced : { false, true } )
      for( const bool byVersion : { false, true } ) {
         SCOPED_TRACE( testing::Message() << ( replaced ? "replaced" : "deleted" )
                                          << ( byVersion ? " by the version" : " by the status" ) );
         start();
         const auto before = published();
         add( "A", manyRules( 1 ) );
         OnlyOnce once( [ & ] {
            type->aclDel( "A" );
            if( replaced ) add( "A", manyRules( 2 ) );
         } );
         const Reaction reaction( heardAt( *held, byVersion ), std::ref( once ) );
         runUntilIdle( *clock );
         ASSERT_FALSE( once );
         EXPECT_EQ( has( "A" ), replaced );
         EXPECT_EQ( machine() != nullptr, replaced );
         EXPECT_EQ( ruleCountOf( status() ), replaced ? 2u : 0u );
         EXPECT_EQ( status() != nullptr, replaced );
         EXPECT_GE( published(), before + 2 );
         type->aclDel( "A" );
      }
}

TEST_F( IpAclTypeConfigSmTest, aListMayComeBackInsideItsDeletion ) {
   const Step rows[] = { { "by the status", held.get() }, { "by the version", held->notifier().get() }, { "by the table", symbols.get() } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      startSettled();
      OnlyOnce once( [ & ] { add( "A", manyRules( 2 ) ); } );
      const Reaction reaction( *row.publisher, std::ref( once ) );
      type->aclDel( "A" );
      ASSERT_FALSE( once );
      ASSERT_TRUE( has( "A" ) );
      ASSERT_TRUE( machine() );
      EXPECT_EQ( machine()->ipAccessList(), type->acl( "A" ) );
      EXPECT_TRUE( isEmpty() );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), 2u );
      type->aclDel( "A" );
   }
}

TEST_F( IpAclTypeConfigSmTest, aListMayBeDeletedOrReplacedWhileItIsAdded ) {
   for( const auto & step : stepsOfAddition() )
      for( const bool replaced : { false, true } ) {
         SCOPED_TRACE( testing::Message() << step.what << ( replaced ? ", replaced" : ", deleted" ) );
         start();
         OnlyOnce once( [ & ] {
            type->aclDel( "A" );
            if( !replaced ) return;
            add( "A", manyRules( 2 ) );
            runUntilIdle( *clock );
         } );
         const Reaction reaction( *step.publisher, std::ref( once ) );
         type->aclIs( "A" );
         ASSERT_FALSE( once );
         EXPECT_EQ( has( "A" ), replaced );
         EXPECT_EQ( machine() != nullptr, replaced );
         EXPECT_EQ( status() != nullptr, replaced );
         EXPECT_EQ( ruleCountOf( status() ), replaced ? 2u : 0u ) << "a list compiled meanwhile stays";
         type->aclDel( "A" );
      }
}

TEST_F( IpAclTypeConfigSmTest, allListsMayBeDeletedWhileOneIsAdded ) {
   for( const bool missed : { false, true } )
      for( const auto & step : stepsOfAddition() ) {
         SCOPED_TRACE( testing::Message() << ( missed ? "missed, " : "once more, " ) << step.what );
         sm = makeNode<IpAclTypeConfigSm>( type, symbols, dedupTable, clock );
         if( !missed ) sm->hasNotificationActiveIs( true );
         for( const char * name : { "A", "B", "C" } ) add( name, manyRules( 1 ) );
         runUntilIdle( *clock );
         symbols->symbolDel( "A" );
         OnlyOnce once( [ & ] { type->aclDelAll(); } );
         const Reaction reaction( *step.publisher, std::ref( once ) );
         if( missed )
            sm->hasNotificationActiveIs( true );   // makes up for them all
         else
            sm->handleIpAccessList();
         ASSERT_FALSE( once );
         EXPECT_TRUE( sm->ipAccessListConfigSm().empty() );
         EXPECT_TRUE( symbols->symbol().empty() );
         EXPECT_FALSE( status() );
         EXPECT_TRUE( nothingDue( *clock ) );
      }
}

TEST_F( IpAclTypeConfigSmTest, mayBeReleasedWhileAListIsAdded ) {
   start();
   const Reaction reaction( *symbols, [ & ]( const Quoin::Change & ) { sm = nullptr; } );
   type->aclIs( "A" );
   EXPECT_FALSE( sm );
   EXPECT_TRUE( has( "A" ) );
   EXPECT_FALSE( status() ) << "whoever compiles the lists now says what it is";
   EXPECT_TRUE( nothingDue( *clock ) );
}

// A list that has rules already wakes the loop as it gets its machine.
TEST_F( IpAclTypeConfigSmTest, aListMayChangeInsideTheWakeUpCallback ) {
   const EditRow rows[] = {
      { "it goes", [ & ] { type->aclDel( "A" ); }, 0 },
      { "it comes anew", [ & ] { type->aclDel( "A" ), add( "A", manyRules( 2 ) ); }, 2 },
      { "the machine goes", [ & ] { sm = nullptr; }, 0 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      sm = makeNode<IpAclTypeConfigSm>( type, symbols, dedupTable, clock );
      add( "A", manyRules( 3 ) );
      const auto before = published();
      OnlyOnce once( row.edit );
      clock->wakeUpCallbackIs( std::ref( once ) );
      sm->hasNotificationActiveIs( true );   // makes up for the list
      clock->wakeUpCallbackIs( {} );
      ASSERT_FALSE( once );
      EXPECT_EQ( has( "A" ), row.rules != 0 );
      EXPECT_EQ( sm && machine(), row.rules != 0 );
      runUntilIdle( *clock );
      EXPECT_EQ( ruleCountOf( status() ), row.rules );
      EXPECT_EQ( published(), before + ( row.rules ? 1 : 0 ) ) << "nothing is told of what never was";
      type->aclDel( "A" );
   }
}

TEST_F( IpAclTypeConfigSmTest, aListDeletedInsideASliceIsUndefined ) {
   OnlyOnce once( [ & ] { type->aclDel( "A" ); } );
   const auto asking = makeNode<AskingClock>( [ & ] {
      if( sm && hasTaken( machine(), 2 ) ) once();
      return Seconds( 0 );
   } );
   sm = Zeugma::makeSm<IpAclTypeConfigSm>( type, symbols, dedupTable, asking );
   add( "A", manyRules( 4 ) );
   runUntilIdle( *asking );
   ASSERT_FALSE( once );
   EXPECT_FALSE( status() );
   EXPECT_EQ( published(), 1u ) << "of its end alone";
   EXPECT_FALSE( has( "A" ) );
}

TEST_F( IpAclTypeConfigSmTest, mayBeReleasedInsideADeletion ) {
   startSettled();
   const Reaction reaction( *held->notifier(), [ & ]( const Quoin::Change & ) { sm = nullptr; } );
   type->aclDel( "A" );
   EXPECT_FALSE( sm );
   EXPECT_FALSE( has( "A" ) );
   EXPECT_FALSE( held->status() );
   EXPECT_EQ( published(), 2u );
   EXPECT_TRUE( nothingDue( *clock ) );
}

// ---- errors and the end

using IpAclTypeConfigSmDeathTest = IpAclTypeConfigSmTest;

TEST_F( IpAclTypeConfigSmDeathTest, aNullListEndsTheProcess ) {
   start();
   EXPECT_DEATH( sm->addIpAccessList( "A", nullptr ), "Assertion failed: ipAccessList" );
   type->aclIs( "A" );
   EXPECT_DEATH( sm->addIpAccessList( "A", nullptr ), "Assertion failed: ipAccessList" );
}

TEST_F( IpAclTypeConfigSmDeathTest, nullsEndTheProcess ) {
   EXPECT_DEATH( makeNode<IpAclTypeConfigSm>( nullptr, symbols, dedupTable, clock ), "ipConfig" );
   EXPECT_DEATH( makeNode<IpAclTypeConfigSm>( type, nullptr, dedupTable, clock ), "ipAclSymbolTable" );
   EXPECT_DEATH( makeNode<IpAclTypeConfigSm>( type, symbols, nullptr, clock ), "dedupTable" );
   EXPECT_DEATH( makeNode<IpAclTypeConfigSm>( type, symbols, dedupTable, nullptr ), "clock" );
}

TEST_F( IpAclTypeConfigSmTest, aLargeOldTrieIsFreedInSlices ) {
   constexpr unsigned kRules = 3 * Routing::RetiredTries::kSmall;
   start();
   add( "A", manyRules( kRules ) );
   runUntilIdle( *clock );
   auto old = status();
   Quoin::Ptr<const PatriciaTrieWithNodeData> trie( &old->trie() );
   ASSERT_GT( trie->prefixCount(), kRules / 2 );
   old = nullptr;
   type->aclDel( "A" );
   EXPECT_EQ( trie->useCount(), 1u );
   EXPECT_FALSE( nothingDue( *clock ) ) << "the list itself";
   runUntilIdle( *clock );
   trie = nullptr;
   EXPECT_FALSE( nothingDue( *clock ) ) << "it is taken apart at the next turn";
   runUntilIdle( *clock );
}

TEST_F( IpAclTypeConfigSmTest, aReleasedMachineLeavesTheSymbols ) {
   startSettled();
   pause( "B" );
   sm = nullptr;
   EXPECT_TRUE( nothingDue( *clock ) );
   EXPECT_EQ( ruleCountOf( status() ), 1u );
   EXPECT_TRUE( isEmpty( "B" ) );
   EXPECT_EQ( published(), 1u );
   EXPECT_EQ( symbols->symbol().count(), 2u );
}

}   // namespace
}   // namespace Routing::Policy
