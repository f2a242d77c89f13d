// Access lists from their configuration to the verdict of a route map: random edits between the slices of their compilation, against a
// linear scan; and by hand, what a route map sees of a list at every step of its life.
#include "policy/MatchedRouteMapSequences.h"
#include "tests/model/AccessListModel.h"

#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"
#include "policy/Policy.h"
#include "tests/compile/AclFixtures.h"
#include "tests/model/RandomCases.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::CompileFixtures;
using Acl::AclType;
using Acl::AclVersion;
using Ferule::AddressFamily;
using Ferule::Bits128;
using Ferule::IpGenPrefix;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::IpAccessListSymbol;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using Seconds = Plinth::Clock::Seconds;
using AccessListTwins::ListTwin;
using AccessListTwins::Rules;
using AccessListTwins::VersionTwin;

constexpr AddressFamily kFamilies[] = { AddressFamily::ipv4, AddressFamily::ipv6 };

// ---- an agent

/// Route maps and access lists of one agent.
struct Agent {
   explicit Agent( Ptr<Plinth::Clock> c = makeNode<Plinth::ManualClock>() ) : clock( std::move( c ) ) {
      lists = Zeugma::makeSm<AclConfigSm>( listConfig, root->ipv4AclListTable(), clock );
      maps = routeMapConfigSmFactory( config, filtered, root, makeNode<CommonRmConfigFilterSmHelper>(),
                                      makeNode<CommonRmConfigSymbolSmHelper>( root ), scheduler, nullptr );
   }
   /// One sequence that permits what the access list permits.
   void mapIs( const char * name, const char * list ) const {
      const auto map = config->routeMapIs( name );
      map->mapEntryIs( 10 )->matchRuleIs( listRule( MatchOption::matchIpAccessList, list ) );
      map->versionIs( map->version() + 1 );
      settle();
   }
   Ptr<AclVersion> listIs( const char * name, const std::vector<std::string> & rules ) const {
      const auto version = aclVersion( rules );
      listConfig->aclTypeIs( AclType::ipv4 )->aclIs( name )->currVersionIs( version );
      return version;
   }
   void listDel( const char * name ) const { listConfig->aclType( AclType::ipv4 )->aclDel( name ); }
   Ptr<IpAclConfigSm> machineOf( const char * name ) const {
      const Ptr<IpAclTypeConfigSm> type = *lists->ipConfigSm().find( AclType::ipv4 );
      return *type->ipAccessListConfigSm().find( name );
   }
   void slice( const char * name ) const { machineOf( name )->clockQuantumIs( Seconds( 0 ) ); }
   void settle() const { scheduler->runUntilIdle(); }
   Ptr<IpAccessListSymbol> symbolOf( const char * list ) const { return root->ipv4AclListTable()->symbol( list ); }
   Ptr<const RouteMapStatus> statusOf( const char * map ) const { return root->routeMapTable()->symbol( map )->rmStatus(); }
   /// What the route map's matcher has; null for an undefined one.
   Ptr<const IpAccessListStatus> seenBy( const char * map ) const {
      const auto matcher = as<IpAccessListMatcher>( statusOf( map )->seqStatus( 10 )->matcher( MatchOption::matchIpAccessList ) );
      EXPECT_TRUE( matcher );
      return matcher->status();
   }
   bool permits( const char * map, const char * route ) const {
      const PolicyEval eval;
      MatchedRouteMapSequences matched;
      const auto input = ListFixtures::routeTo( route );
      return eval.evalRouteMapMatchers( &input, statusOf( map ).get(), &matched );
   }
   /// In words: what a route map sees, and what it says of 10.0.n.0/24.
   std::string view( const char * map ) const {
      const auto seen = seenBy( map );
      std::string text = !seen ? "undefined" : seen->trie().prefixCount() == 0 ? "empty" : "list";
      for( const unsigned n : { 1u, 2u, 3u } )
         if( permits( map, ( "10.0." + std::to_string( n ) + ".0/24" ).c_str() ) ) text += ' ' + std::to_string( n );
      return text;
   }

   Ptr<Routing::RouteMap::Config> config = makeNode<Routing::RouteMap::Config>(), filtered = makeNode<Routing::RouteMap::Config>();
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<Acl::Input::Config> listConfig = makeNode<Acl::Input::Config>();
   Ptr<Plinth::Clock> clock;
   Ptr<AclConfigSm> lists;
   Ptr<RouteMapConfigSm> maps;
};

TEST( AccessListCompilation, aRouteMapSeesAListWholeOrNotAtAll ) {
   const Agent agent;
   agent.mapIs( "RM", "A" );
   EXPECT_EQ( agent.view( "RM" ), "undefined" );

   auto version = agent.listIs( "A", manyRules( 2 ) );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "undefined" ) << "nobody has told of the empty list";
   agent.mapIs( "LATER", "A" );
   EXPECT_EQ( agent.view( "LATER" ), "empty" ) << "who comes now finds it";
   agent.slice( "A" );
   agent.clock->callDue();
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "undefined" );
   EXPECT_EQ( agent.view( "LATER" ), "empty" );

   // changed during its compilation
   ruleIs( *version, "30 permit 10.0.3.0/24" );
   ruleIs( *version, "10 deny 10.0.1.0/24" );
   for( int pauses = 0; pauses < 2; ++pauses ) {
      agent.clock->callDue();
      agent.settle();
      EXPECT_EQ( agent.view( "RM" ), "undefined" );
      EXPECT_EQ( agent.view( "LATER" ), "empty" );
   }
   agent.clock->callDue();
   EXPECT_EQ( agent.view( "RM" ), "undefined" ) << "until its task has run";
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "list 2 3" );
   EXPECT_EQ( agent.view( "LATER" ), "list 2 3" );
   EXPECT_EQ( agent.seenBy( "RM" ), agent.seenBy( "LATER" ) );

   // changed
   const auto old = agent.seenBy( "RM" );
   version->ipRuleIs( ruleIdOf( 10 ), ipRule( "10 permit 10.0.1.0/24" ) );
   for( int pauses = 0; pauses < 2; ++pauses ) {
      agent.clock->callDue();
      agent.settle();
      EXPECT_EQ( agent.seenBy( "RM" ), old );
      EXPECT_EQ( agent.view( "RM" ), "list 2 3" );
   }
   agent.mapIs( "LATEST", "A" );
   EXPECT_EQ( agent.view( "LATEST" ), "list 2 3" ) << "in a pause, it is the old one";
   runUntilIdle( *agent.clock );
   agent.settle();
   for( const char * map : { "RM", "LATER", "LATEST" } ) EXPECT_EQ( agent.view( map ), "list 1 2 3" ) << map;

   // another version
   version = agent.listIs( "A", { "10 permit 10.0.2.0/24" } );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "list 1 2 3" );
   runUntilIdle( *agent.clock );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "list 2" );

   // emptied: as it was
   version->ipRuleDelAll();
   version->ruleBySequenceDelAll();
   runUntilIdle( *agent.clock );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "list 2" );

   // gone in a pause
   agent.listIs( "A", manyRules( 3 ) );
   agent.clock->callDue();
   agent.listDel( "A" );
   EXPECT_EQ( agent.view( "RM" ), "list 2" ) << "until its task has run";
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "undefined" );
   EXPECT_TRUE( nothingDue( *agent.clock ) );

   // made again
   agent.listIs( "A", manyRules( 3 ) );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "undefined" );
   agent.mapIs( "AGAIN", "A" );
   EXPECT_EQ( agent.view( "AGAIN" ), "empty" );
   runUntilIdle( *agent.clock );
   agent.settle();
   for( const char * map : { "RM", "LATER", "LATEST", "AGAIN" } ) EXPECT_EQ( agent.view( map ), "list 1 2 3" ) << map;

   // nothing is left
   agent.listDel( "A" );
   agent.config->routeMapDelAll();
   agent.settle();
   EXPECT_EQ( agent.root->ipv4AclListTable()->count(), 0u );
   EXPECT_TRUE( agent.lists->ipAclSymbolTable()->symbol().empty() );
   EXPECT_TRUE( agent.scheduler->idle() );
   EXPECT_TRUE( nothingDue( *agent.clock ) );
}

TEST( AccessListCompilation, aListThatGoesAndComesInOneTurnIsUndefinedUntilItIsCompiled ) {
   const Agent agent;
   agent.mapIs( "RM", "A" );
   agent.listIs( "A", manyRules( 2 ) );
   runUntilIdle( *agent.clock );
   agent.settle();
   ASSERT_EQ( agent.view( "RM" ), "list 1 2" );
   agent.listDel( "A" );
   agent.listIs( "A", manyRules( 3 ) );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "undefined" ) << "the end was told of, the empty list was not";
   runUntilIdle( *agent.clock );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "list 1 2 3" );
}

TEST( AccessListCompilation, aMapIsPublishedOnceForEachListThatIsComplete ) {
   const Agent agent;
   agent.mapIs( "RM", "A" );
   const auto symbol = agent.root->routeMapTable()->symbol( "RM" );
   Reaction reaction( *symbol->notifier() );
   const auto version = agent.listIs( "A", manyRules( 20 ) );
   agent.slice( "A" );
   const auto turn = [ & ] {
      agent.clock->callDue();
      agent.settle();
   };
   for( int i = 0; i < 19; ++i ) turn();
   EXPECT_EQ( reaction.take(), 0 );
   turn();
   EXPECT_EQ( reaction.take(), 1 );
   ruleDel( *version, 10 );
   for( int i = 0; i < 7; ++i ) turn();
   ruleDel( *version, 20 );
   for( int i = 0; i < 17; ++i ) turn();
   EXPECT_EQ( reaction.take(), 0 );
   turn();
   EXPECT_EQ( reaction.take(), 1 );
   EXPECT_EQ( ruleCountOf( agent.seenBy( "RM" ) ), 18u );
   agent.listDel( "A" );
   agent.settle();
   EXPECT_EQ( reaction.take(), 1 );
   EXPECT_TRUE( symbol->statusCurrent() );
}

TEST( AccessListCompilation, theControlPlanesListIsUndefinedForAMap ) {
   const Agent agent;
   agent.mapIs( "RM", "default-control-plane-acl" );
   agent.listIs( "default-control-plane-acl", manyRules( 3 ) );
   runUntilIdle( *agent.clock );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "undefined" );
}

TEST( AccessListCompilation, aListOfIpv6IsUndefinedForAMap ) {
   const Agent agent;
   agent.mapIs( "RM", "A" );
   agent.listConfig->aclTypeIs( AclType::ipv6 )->aclIs( "A" )->currVersionIs( aclVersion( { "10 permit ::/0" } ) );
   runUntilIdle( *agent.clock );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "undefined" );
}

TEST( AccessListCompilation, aTypeThatGoesLeavesMapsTheirLists ) {
   const Agent agent;
   agent.mapIs( "RM", "A" );
   agent.listIs( "A", manyRules( 2 ) );
   runUntilIdle( *agent.clock );
   agent.settle();
   agent.listConfig->aclTypeDel( AclType::ipv4 );
   runUntilIdle( *agent.clock );
   agent.settle();
   EXPECT_EQ( agent.view( "RM" ), "list 1 2" );
   agent.mapIs( "LATER", "A" );
   EXPECT_EQ( agent.view( "LATER" ), "list 1 2" );
}

// ---- random lists

std::string textOf( const Rules & rules ) {
   std::ostringstream os;
   for( const auto & rule : rules ) os << "\n   " << rule.seqno << ' ' << rule.permit << ' ' << rule.source;
   return os.str();
}

/// Masks of every shape: plain ones, with gaps, none at all; addresses with and without bits outside of them.
AclPrefixEntry anyRule( Random & random, RandomPrefixes & prefixes, uint32_t seq ) {
   Bits128 mask = Bits128::leadingOnes( prefixes.length() );
   if( prefixes.af() == AddressFamily::ipv4 && oneIn( random, 2 ) )
      mask = oneIn( random, 4 ) ? Bits128{ random() & 0xffffffff00000000, 0 }
                                : mask ^ ( Bits128::leadingOnes( prefixes.length() ) ^ Bits128::leadingOnes( prefixes.length() ) );
   const Bits128 near = prefixes.address();
   AclPrefixEntry rule;
   rule.seqno = seq;
   rule.permit = oneIn( random, 2 ) ? ListFixtures::permit : ListFixtures::deny;
   rule.source = { prefixOf( prefixes.af(), oneIn( random, 3 ) ? near : near & mask, 0 ).ipGenAddr(), mask };
   return rule;
}

// The kinds of steps, in their order.
enum StepKind : unsigned { kBeforeStart, kStart, kRun, kEnd };

/// Random edits of a few lists of one family, with slices between them.
class Program {
 public:
   Program( Random & random, AddressFamily af )
         : random_( random ),
           prefixes_( random, af ),
           type_( makeNode<Acl::Input::AclTypeConfig>( af == AddressFamily::ipv4 ? AclType::ipv4 : AclType::ipv6 ) ) {
      for( unsigned i = 0; i < std::size( lists_ ); ++i ) {
         lists_[ i ].name = i == 0 ? "A" : i == 1 ? "B" : "C";
         lists_[ i ].symbol = table_->symbol( lists_[ i ].name );
      }
      if( oneIn( random_, 2 ) )
         for( int i = 0; i < 10 && random_.step( kBeforeStart ); ++i ) edit();
      random_.step( kStart );
      random_.say( "the machine starts" );
      sm_ = Zeugma::makeSm<IpAclTypeConfigSm>( type_, symbols_, table_, clock_ );
      for( auto & list : lists_ ) {
         if( !list.real ) continue;
         born( list );
         list.changed();
      }
   }
   void run( int edits ) {
      for( int i = 0; i < edits && !caseFailed() && random_.step( kRun ); ++i ) {
         if( oneIn( random_, 2 ) )
            edit();
         else
            slice();
         check( 2 );
      }
      random_.step( kEnd );
      while( !nothingDue( *clock_ ) && !caseFailed() ) {
         slice();
         check( 2 );
      }
      check( 10 );
   }
   void checkNothingIsLeft() {
      type_->aclDelAll();
      EXPECT_TRUE( nothingDue( *clock_ ) );
      EXPECT_TRUE( symbols_->symbol().empty() );
      EXPECT_TRUE( sm_->ipAccessListConfigSm().empty() );
      sm_ = nullptr;
      for( auto & list : lists_ ) {
         EXPECT_EQ( list.symbol->useCount(), 1u );
         list = {};
      }
      EXPECT_EQ( table_->count(), 0u );
      for( const auto & version : versions_ ) EXPECT_EQ( version->real->useCount(), 1u );
      EXPECT_EQ( clock_->useCount(), 1u );
      EXPECT_EQ( type_->useCount(), 1u );
   }
   uint64_t published() const {
      uint64_t sum = 0;
      for( const auto & list : lists_ ) sum += list.published;
      return sum;
   }

 private:
   uint32_t anySeq() { return oneIn( random_, 30 ) ? uint32_t( random_() ) : uint32_t( below( random_, 12 ) ); }
   uint32_t anyId() { return uint32_t( below( random_, 10 ) ); }

   void born( ListTwin & list ) {
      list.made();
      list.oneRuleEach = oneIn( random_, 2 );
      if( list.oneRuleEach ) machineOf( list )->clockQuantumIs( Seconds( 0 ) );
   }
   Ptr<IpAclConfigSm> machineOf( const ListTwin & list ) const {
      const auto * found = sm_ ? sm_->ipAccessListConfigSm().find( list.name ) : nullptr;
      return found ? *found : nullptr;
   }
   std::shared_ptr<VersionTwin> newVersion() {
      versions_.push_back( std::make_shared<VersionTwin>( prefixes_.af() ) );
      for( auto n = below( random_, 8 ); n; --n ) write( *versions_.back() );
      return versions_.back();
   }
   /// One write, of which the lists learn that have the version.
   void write( VersionTwin & version ) {
      const auto seq = anySeq(), id = anyId();
      bool real = false;
      switch( below( random_, 7 ) ) {
         case 0:
         case 1: {
            const auto rule = anyRule( random_, prefixes_, 0 );
            random_.say( "rule ", id, rule.permit == ListFixtures::permit ? " permit " : " deny ", rule.source );
            real = version.ruleIs( id, rule );
            break;
         }
         case 2:
         case 3:
         case 4:
            random_.say( "seq ", seq, " is rule ", id );
            real = version.sequenceIs( seq, id );
            break;
         case 5:
            random_.say( "delete seq ", seq );
            real = version.sequenceDel( seq );
            break;
         case 6:
            random_.say( "delete rule ", id );
            real = version.ruleDel( id );
            break;
      }
      if( !real || !sm_ ) return;
      for( auto & list : lists_ )
         if( list.version.get() == &version ) list.changed();
   }
   void edit() {
      auto & list = lists_[ below( random_, std::size( lists_ ) ) ];
      random_.say( "list ", list.name );
      if( !list.real ) {
         random_.say( "create" );
         list.real = type_->aclIs( list.name );
         list.compiling = false;
         if( sm_ ) born( list );
         return;
      }
      switch( below( random_, 12 ) ) {
         case 0:
            random_.say( "delete" );
            type_->aclDel( list.name );
            list.gone();
            if( sm_ ) list.undefined();
            return;
         case 1:
         case 2: return versionIs( list, newVersion() );
         case 3: return versionIs( list, versions_.empty() ? nullptr : anyOf( random_, versions_ ) );   // maybe another list's
         case 4:
            if( oneIn( random_, 3 ) ) versionIs( list, nullptr );
            return;
         default:
            if( list.version ) write( *list.version );
      }
   }
   void versionIs( ListTwin & list, std::shared_ptr<VersionTwin> version ) {
      const bool real = list.version != version;
      random_.say( version ? "the list gets a version of these rules" : "the list gets no version" );
      list.version = std::move( version );
      list.real->currVersionIs( list.version ? list.version->real : nullptr );
      if( real && sm_ ) list.changed();
   }
   void slice() {
      random_.say( "slice" );
      clock_->callDue();
      for( auto & list : lists_ ) list.slice();
   }
   IpGenPrefix question( const Rules & rules ) {
      return rules.empty() || oneIn( random_, 4 ) ? prefixes_.withHostBits()
                                                  : prefixes_.around( ListFixtures::keyOf( anyOf( random_, rules ) ) );
   }
   void check( int questions ) {
      for( const auto & list : lists_ ) {
         SCOPED_TRACE( list.name );
         const auto machine = machineOf( list );
         ASSERT_EQ( machine != nullptr, list.real != nullptr );
         ASSERT_EQ( list.symbol->notifierVersion(), list.published );
         ASSERT_EQ( list.symbol->status() != nullptr, list.shown.has_value() );
         if( machine ) {
            ASSERT_EQ( machine->bookmark(), list.bookmark );
            ASSERT_EQ( machine->isCompiling(), list.compiling );
         }
         if( !list.shown ) continue;
         const AccessListModel model{ prefixes_.af(), *list.shown };
         ASSERT_EQ( ruleCountOf( list.symbol->status() ), list.shown->size() ) << textOf( *list.shown );
         for( int n = 0; n < questions; ++n ) {
            const auto asked = question( *list.shown );
            ASSERT_EQ( listPermits( list.symbol->status(), asked ), model.match( asked ) ) << asked << textOf( *list.shown );
         }
      }
   }

   Random & random_;
   RandomPrefixes prefixes_;
   Ptr<Acl::Input::AclTypeConfig> type_;
   Ptr<Routing::RouteMap::IpAccessListSymbolDedupTable> table_ = makeNode<Routing::RouteMap::IpAccessListSymbolDedupTable>();
   Ptr<Routing::RouteMap::AllIpAccessListSymbol> symbols_ = makeNode<Routing::RouteMap::AllIpAccessListSymbol>();
   Ptr<Plinth::ManualClock> clock_ = makeNode<Plinth::ManualClock>();
   std::vector<std::shared_ptr<VersionTwin>> versions_;
   ListTwin lists_[ 3 ];
   Ptr<IpAclTypeConfigSm> sm_;
};

TEST( AccessListCompilationModel, listsAreWhatTheirRulesSayWhateverIsEditedBetweenSlices ) {
   uint64_t published = 0, cases = 0;
   for( const auto af : kFamilies )
      forRandomCases( 10, [ & ]( Random & random ) {
         Program program( random, af );
         program.run( 150 );
         published += program.published();
         ++cases;
         if( !caseFailed() ) program.checkNothingIsLeft();
      } );
   EXPECT_GT( published, 10 * cases );   // else they do nothing
}

// Slices of every length: where one ends is the clock's business, what comes of them all is not.
TEST( AccessListCompilationModel, aListIsWhatItsRulesSayHoweverLongItsSlicesAre ) {
   uint64_t pauses = 0, restarts = 0, cases = 0;
   for( const auto af : kFamilies )
      forRandomCases( 10, [ & ]( Random & random ) {
         ++cases;
         double time = 0;
         const auto clock = makeNode<AskingClock>( [ & ] {
            if( oneIn( random, 8 ) ) time += 1;
            return Seconds( time );
         } );
         RandomPrefixes prefixes( random, af );
         AclCase world( af == AddressFamily::ipv4 ? AclType::ipv4 : AclType::ipv6 );
         const auto symbol = world.symbol();
         VersionTwin version( af );
         for( unsigned seq = 0; seq < 40; ++seq ) {
            version.ruleIs( ruleIdOf( seq ), anyRule( random, prefixes, seq ) );
            version.sequenceIs( seq, ruleIdOf( seq ) );
         }
         const auto sm = Zeugma::makeSm<IpAclTypeConfigSm>( world.type, world.symbols, world.dedupTable, clock );
         world.type->aclIs( "A" )->currVersionIs( version.real );
         const Ptr<IpAclConfigSm> machine = *sm->ipAccessListConfigSm().find( "A" );
         machine->clockQuantumIs( Seconds( double( below( random, 4 ) ) ) );
         const Reaction reaction( *symbol->notifier(), [ & ]( const Quoin::Change & ) {
            const AccessListModel model{ af, version.all() };
            EXPECT_EQ( ruleCountOf( symbol->status() ), model.rules.size() );
            for( int n = 0; n < 10; ++n ) {
               const auto asked = prefixes.around( ListFixtures::keyOf( anyOf( random, model.rules ) ) );
               EXPECT_EQ( listPermits( symbol->status(), asked ), model.match( asked ) ) << asked << textOf( model.rules );
            }
         } );
         for( int edits = int( below( random, 8 ) ); !nothingDue( *clock ); ) {
            random.step();   // after the last step of a row, no edits
            const auto before = machine->bookmark();
            clock->callDue();
            if( nothingDue( *clock ) ) break;
            ++pauses;
            ASSERT_GT( machine->bookmark(), before ) << "a slice takes a rule at least";
            if( edits && oneIn( random, 3 ) ) {
               --edits;
               ++restarts;
               const auto seq = uint32_t( below( random, 50 ) );
               auto rule = anyRule( random, prefixes, seq );
               if( version.sequences.contains( seq ) && oneIn( random, 2 ) ) {
                  version.sequenceDel( seq );
               } else {
                  version.sequenceIs( seq, ruleIdOf( seq ) );
                  rule.permit = version.rules.contains( ruleIdOf( seq ) ) && version.ruleAt( seq ).permit == ListFixtures::permit
                     ? ListFixtures::deny
                     : ListFixtures::permit;
                  version.ruleIs( ruleIdOf( seq ), rule );
               }
               ASSERT_EQ( machine->bookmark(), 0u );
               ASSERT_TRUE( machine->isCompiling() );
               if( oneIn( random, 4 ) ) {   // the list stays a trie from now on
                  ASSERT_EQ( machine->newTrie()->prefixCount(), 0u );
               }
            }
         }
         EXPECT_EQ( symbol->notifierVersion(), 1u );
         EXPECT_EQ( ruleCountOf( symbol->status() ), version.sequences.size() );
      } );
   EXPECT_GT( pauses, 2 * cases );   // else they do nothing
   EXPECT_GT( restarts, cases / 2 );
}

// A route map that stands all along sees its list as it was when the list's last version was told of.
TEST( AccessListCompilationModel, aRouteMapFollowsItsListWheneverItsTaskRuns ) {
   uint64_t moves = 0, cases = 0;
   forRandomCases( 5, [ & ]( Random & random ) {
      ++cases;
      RandomPrefixes prefixes( random, AddressFamily::ipv4 );
      Agent agent;
      agent.mapIs( "RM", "A" );
      const auto symbol = agent.symbolOf( "A" );
      agent.listConfig->aclTypeIs( AclType::ipv4 );
      Ptr<const IpAccessListStatus> seen, told;
      const Reaction reaction( *symbol->notifier(), [ & ]( const Quoin::Change & ) { told = symbol->status(); } );
      std::shared_ptr<VersionTwin> version;
      std::map<Ptr<const IpAccessListStatus>, Rules> rulesOfStatus;   // of complete ones
      for( int i = 0; i < 120 && !caseFailed() && random.step(); ++i ) {
         switch( below( random, 8 ) ) {
            case 0:
               random.say( version ? "delete the list" : "create the list" );
               if( !version ) {
                  version = std::make_shared<VersionTwin>( AddressFamily::ipv4 );
                  version->ruleIs( 0, anyRule( random, prefixes, 0 ) );   // never without one
                  agent.listConfig->aclType( AclType::ipv4 )->aclIs( "A" )->currVersionIs( version->real );
                  agent.slice( "A" );
               } else if( oneIn( random, 4 ) ) {
                  agent.listDel( "A" );
                  version = nullptr;
               }
               break;
            case 1:
            case 2:
               if( version ) {
                  const auto seq = uint32_t( 1 + below( random, 4 ) );
                  random.say( "a rule for seq ", seq );
                  version->ruleIs( seq, anyRule( random, prefixes, seq ) );
                  version->sequenceIs( seq, seq );
               }
               break;
            case 3:
               random.say( "run the tasks" );
               agent.settle();
               moves += told != seen;
               seen = told;
               break;
            default:
               const auto before = symbol->notifierVersion();
               random.say( "slice" );
               agent.clock->callDue();
               if( symbol->notifierVersion() != before ) rulesOfStatus[ symbol->status() ] = version->all();
         }
         ASSERT_EQ( agent.seenBy( "RM" ), seen ) << i;
         if( !seen ) continue;
         const AccessListModel model{ AddressFamily::ipv4, rulesOfStatus.at( seen ) };
         const auto asked =
            model.rules.empty() ? prefixes.withHostBits() : prefixes.around( ListFixtures::keyOf( anyOf( random, model.rules ) ) );
         EXPECT_EQ( agent.permits( "RM", std::string( asked.toStrep().view() ).c_str() ), model.match( asked ) ) << asked;
      }
   } );
   EXPECT_GT( moves, cases );   // else it does nothing
}

}   // namespace
