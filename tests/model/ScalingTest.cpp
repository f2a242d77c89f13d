// How work grows with the size of a configuration. Each case prepares a configuration of a size and counts one piece of work on it, at n, 2n
// and 4n. A case asserts how the count grows, and never a time.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/model/CompilationModel.h"
#include "tests/model/WorkCount.h"

namespace {

using namespace CompilationModel;

constexpr auto permit = Acl::MatchPermit::permit, deny = Acl::MatchPermit::deny;

// ---- configurations

constexpr const char * kList = "LIST";
constexpr const char * kSharedList = "SHARED-LIST";

// All names have one length.
Quoin::String numbered( size_t i ) {
   return Quoin::String( "ROUTE-MAP-" + std::to_string( 100'000 + i ) );
}

/// What a sequence refers to.
struct References {
   const char * list = kList;
   Quoin::String callee;   // empty for none
};

References callTo( size_t i ) {
   return { kList, numbered( i ) };
}

/// An agent with route maps by number, and one prefix list. Its tasks yield as the case says: the clock would decide differently each time.
class Network {
 public:
   Network() { yields( false ); }

   void yields( bool always ) {
      agent_.scheduler->budgetIs( [ = ]( const Zeugma::Task & ) { return always; } );
   }
   void settle() { agent_.scheduler->runUntilIdle(); }
   void runTasks( size_t runs ) {
      for( size_t i = 0; i < runs; ++i ) agent_.scheduler->runOne();
   }
   /// Creates the machine, which compiles the present configuration.
   void start() {
      agent_.start();
      settle();
   }
   void destroyMachine() { agent_.machine = nullptr; }
   bool hasMachine() const { return agent_.machine.get(); }

   Config & config() { return *agent_.config; }
   Ptr<Map> map( size_t i ) { return config().routeMap( numbered( i ) ); }
   void declare( size_t i ) { map( i )->versionIs( map( i )->version() + 1 ); }

   /// A typical sequence, the i-th of its route map: it matches a list and a tag, may call a route map, and sets an attribute.
   static void addSequence( const Ptr<Map> & map, size_t i, const References & references = {} ) {
      const auto entry = map->mapEntryIs( static_cast<uint32_t>( 10 * ( i + 1 ) ) );
      entry->matchRuleIs( { .listName = references.list, .option = MatchOption::matchIpPrefixList } );
      entry->matchRuleIs( { .numericValue = i, .option = MatchOption::matchTag } );
      if( !references.callee.empty() ) entry->subRouteMapIs( { references.callee, false } );
      entry->distanceIs( static_cast<uint32_t>( 1 + i % 255 ) );
   }
   /// Creates the route map i with one sequence.
   void enter( size_t i, const References & references = {} ) {
      addSequence( config().routeMapIs( numbered( i ) ), 0, references );
      declare( i );
   }
   /// Creates the route map i with one sequence that has no clauses, the least that is compiled.
   void enterBare( size_t i ) {
      config().routeMapIs( numbered( i ) )->mapEntryIs( 10 );
      declare( i );
   }
   void enterBareCaller( size_t i, size_t callee ) {
      config().routeMapIs( numbered( i ) )->mapEntryIs( 10 )->subRouteMapIs( { numbered( callee ), false } );
      declare( i );
   }
   /// Route maps 0 to n - 1.
   void enterMaps( size_t n, const References & references = {} ) {
      for( size_t i = 0; i < n; ++i ) enter( i, references );
   }
   /// Route map 0 with n sequences.
   void enterSequences( size_t n, const char * listOfTheFirst = kList ) {
      const auto map = config().routeMapIs( numbered( 0 ) );
      for( size_t i = 0; i < n; ++i ) addSequence( map, i, { i == 0 ? listOfTheFirst : kList, {} } );
      declare( 0 );
   }
   /// Route map 0 with n sequences that call the route maps 1 to n.
   void enterCaller( size_t n ) {
      const auto map = config().routeMapIs( numbered( 0 ) );
      for( size_t i = 0; i < n; ++i ) addSequence( map, i, callTo( i + 1 ) );
      declare( 0 );
   }
   /// Route map i of a chain, in which each of the route maps 0 to n - 2 calls the next one.
   void enterLink( size_t i, size_t n ) { enter( i, i + 1 < n ? callTo( i + 1 ) : References{} ); }
   void enterChain( size_t n ) {
      for( size_t i = 0; i < n; ++i ) enterLink( i, n );
   }
   void edit( size_t i ) {
      const auto entry = map( i )->mapEntry( 10 );
      entry->permitIs( entry->permit() == permit ? deny : permit );
      declare( i );
   }
   /// Creates or changes the prefix list, and publishes it.
   void publishList( const char * name ) {
      if( !list_ ) list_.emplace( agent_.root->ipv4PrefixListTable(), name, Ferule::AddressFamily::ipv4 );
      list_->entryDel( 10 );
      EXPECT_FALSE(
         list_->entryIs( { 10, permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, static_cast<uint8_t>( 8 + ++changes_ % 24 ) } ) );
      list_->publish();
   }

   Ptr<Config> configHandle() { return agent_.config; }
   /// The number of published sequences of the first `maps` route maps.
   size_t published( size_t maps ) const {
      size_t count = 0;
      for( size_t i = 0; i < maps; ++i )
         if( const auto status = symbol( i )->rmStatus() ) count += status->seqStatus().count();
      return count;
   }
   /// The action that is published for the first sequence of a route map.
   Acl::MatchPermit actionOf( size_t i ) const { return symbol( i )->rmStatus()->seqStatus( 10 )->matchAction(); }
   uint32_t generationOf( size_t i ) const { return symbol( i )->notifierVersion(); }

 private:
   Ptr<RouteMapSymbol> symbol( size_t i ) const { return agent_.root->routeMapTable()->symbol( numbered( i ) ); }

   Agent agent_{ makeNode<Config>() };
   std::optional<PrefixListProducer> list_;
   unsigned changes_ = 0;
};

using NetworkPtr = std::shared_ptr<Network>;

/// A network whose configuration `fill` writes before the machine compiles it.
template <class Fill>
NetworkPtr compiled( const Fill & fill ) {
   auto network = std::make_shared<Network>();
   fill( *network );
   network->start();
   return network;
}
NetworkPtr compiled() {
   return compiled( []( Network & ) {} );
}
NetworkPtr compiledMaps( size_t n, const References & references = {} ) {
   return compiled( [ & ]( Network & network ) { network.enterMaps( n, references ); } );
}
NetworkPtr compiledBareMaps( size_t n ) {
   return compiled( [ & ]( Network & network ) {
      for( size_t i = 0; i < n; ++i ) network.enterBare( i );
   } );
}
NetworkPtr compiledSequences( size_t n ) {
   return compiled( [ & ]( Network & network ) { network.enterSequences( n ); } );
}
NetworkPtr compiledChain( size_t n ) {
   return compiled( [ & ]( Network & network ) { network.enterChain( n ); } );
}

// ---- cases

/// Work that is ready to be counted, and whether it was done. Both own what they work on, which is destroyed after the count.
struct Job {
   std::function<void()> work;
   std::function<bool()> isDone;
};

/// How the count may grow from 2n to 4n, as the exponent of n. The room above 1 and 0 is for trees: n log n gives 1.13 to 1.2 at these sizes.
/// Work of the next degree fails as soon as it is half of the count at 4n, which gives 1.41 and 0.41.
constexpr double kLinear = 1.25, kConstant = 0.35;

struct Case {
   const char * name;
   double limit;
   Job ( *prepare )( size_t n );
   bool createsMap = false;   // the longest of the single changes
   friend std::ostream & operator<<( std::ostream & os, const Case & c ) { return os << c.name; }
};

// A constant is asserted at larger sizes: there, a short loop over all route maps outweighs the change. What is prepared is not counted.
size_t sizeOf( const Case & c ) {
   return c.limit == kLinear ? 100 : 1000;
}

Job entered( const NetworkPtr & network, size_t n, std::function<void()> work ) {
   return { std::move( work ), [ = ] { return network->published( n ) == n; } };
}

// The route maps `order` of a chain are entered one after the other.
Job enteredChain( std::vector<size_t> order, bool settlesEach ) {
   const auto network = compiled();
   const size_t n = order.size();
   return entered( network, n, [ =, order = std::move( order ) ] {
      for( const size_t i : order ) {
         network->enterLink( i, n );
         if( settlesEach ) network->settle();
      }
      network->settle();
   } );
}
std::vector<size_t> callersFirst( size_t n ) {
   std::vector<size_t> order( n );
   std::iota( order.begin(), order.end(), 0 );
   return order;
}
std::vector<size_t> calleesFirst( size_t n ) {
   auto order = callersFirst( n );
   std::reverse( order.begin(), order.end() );
   return order;
}
std::vector<size_t> inRandomOrder( size_t n ) {
   auto order = callersFirst( n );
   std::mt19937 random( 1 );
   for( size_t i = n; i > 1; --i ) std::swap( order[ i - 1 ], order[ random() % i ] );   // std::shuffle() differs between libraries
   return order;
}

// `fill` writes inside an edit scope, whose end is counted.
template <class Fill>
Job endOfScope( const NetworkPtr & network, size_t n, bool yields, const Fill & fill ) {
   const auto edit = std::make_shared<ConfigEdit>( network->configHandle() );
   fill( *network );
   network->settle();
   network->yields( yields );
   return { [ = ] {
              edit->close();
              network->settle();
           },
            [ = ] { return network->published( n ) == n && network->actionOf( 0 ) == deny; } };
}
Job endOfScopeOverMaps( size_t n, bool yields ) {
   return endOfScope( compiled(), n, yields, [ n ]( Network & network ) {
      network.enterMaps( n );
      network.edit( 0 );
   } );
}
Job endOfScopeOverChain( size_t n, bool yields ) {
   return endOfScope( compiled(), n, yields, [ n ]( Network & network ) {
      network.enterChain( n );
      network.edit( 0 );
   } );
}

Job deletedMaps( size_t n, bool yields ) {
   const auto network = compiledMaps( n );
   network->yields( yields );
   return { [ = ] {
              network->config().routeMapDelAll();
              network->settle();
           },
            [ = ] { return network->published( n ) == 0; } };
}

// A route map is changed, and `n` route maps change with it.
Job editedBelow( const NetworkPtr & network, size_t edited, size_t caller ) {
   return { [ = ] {
              network->edit( edited );
              network->settle();
           },
            [ =, before = network->generationOf( caller ) ] {
               return network->actionOf( edited ) == deny && network->generationOf( caller ) == before + 1;
            } };
}

// The prefix list is changed, and the route map i changes with it.
Job changedList( const NetworkPtr & network, size_t i ) {
   return { [ = ] {
              network->publishList( kSharedList );
              network->settle();
           },
            [ =, before = network->generationOf( i ) ] { return network->generationOf( i ) == before + 1; } };
}

const Case kCases[] = {
   { "firstCompileOfSequences", kLinear,
     []( size_t n ) {
        const auto network = std::make_shared<Network>();
        network->enterSequences( n );
        return Job{ [ = ] { network->start(); }, [ = ] { return network->published( 1 ) == n; } };
     } },
   { "firstCompileOfMaps", kLinear,
     []( size_t n ) {
        const auto network = std::make_shared<Network>();
        network->enterMaps( n );
        return entered( network, n, [ = ] { network->start(); } );
     } },
   { "firstCompileOfChain", kLinear,
     []( size_t n ) {
        const auto network = std::make_shared<Network>();
        network->enterChain( n );
        return entered( network, n, [ = ] { network->start(); } );
     } },

   // one change of one of n route maps
   { "mapEnteredBesideMaps", kConstant,
     []( size_t n ) {
        const auto network = compiledBareMaps( n );
        return entered( network, n + 1, [ = ] {
           network->enterBare( n );
           network->settle();
        } );
     },
     true },
   { "mapEditedBesideMaps", kConstant, []( size_t n ) { return editedBelow( compiledBareMaps( n ), n / 2, n / 2 ); } },
   { "sequenceAddedBesideMaps", kConstant,
     []( size_t n ) {
        const auto network = compiledBareMaps( n );
        return Job{ [ = ] {
                      network->map( n / 2 )->mapEntryIs( 20 );
                      network->declare( n / 2 );
                      network->settle();
                   },
                    [ = ] { return network->published( n ) == n + 1; } };
     } },
   { "sequenceDeletedBesideMaps", kConstant,
     []( size_t n ) {
        const auto network = compiledBareMaps( n );
        return Job{ [ = ] {
                      network->map( n / 2 )->mapEntryDel( 10 );
                      network->declare( n / 2 );
                      network->settle();
                   },
                    [ = ] { return network->published( n ) == n - 1; } };
     } },
   { "mapDeletedBesideMaps", kConstant,
     []( size_t n ) {
        const auto network = compiledBareMaps( n );
        return Job{ [ = ] {
                      network->config().routeMapDel( numbered( n / 2 ) );
                      network->settle();
                   },
                    [ = ] { return network->published( n ) == n - 1; } };
     } },

   { "callerEnteredBesideCallers", kConstant,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) {
           it.enterBare( n );
           for( size_t i = 0; i < n; ++i ) it.enterBareCaller( i, n );
        } );
        return Job{ [ = ] {
                      network->enterBareCaller( n + 1, n );
                      network->settle();
                   },
                    [ = ] { return network->published( n + 2 ) == n + 2; } };
     },
     true },

   // one run of the task amid n
   { "mapDeletedAmidDeletions", kConstant,
     []( size_t n ) {
        const auto network = compiledBareMaps( n );
        network->yields( true );
        network->config().routeMapDelAll();
        network->runTasks( n / 2 );
        return Job{ [ = ] { network->runTasks( 1 ); }, [ = ] { return network->published( n ) == n / 2 - 1; } };
     } },
   { "mapPublishedAmidTheEndOfScope", kConstant,
     []( size_t n ) {
        const auto network = compiled();
        {
           const ConfigEdit edit( network->configHandle() );
           for( size_t i = 0; i < n; ++i ) network->enterBare( i );
           network->yields( true );
        }
        network->runTasks( n / 2 );
        return Job{ [ = ] { network->runTasks( 1 ); }, [ = ] { return network->published( n ) == n / 2 + 1; } };
     } },

   // many changes
   { "mapsEntered", kLinear,
     []( size_t n ) {
        const auto network = compiled();
        return entered( network, n, [ = ] {
           for( size_t i = 0; i < n; ++i ) {
              network->enter( i );
              network->settle();
           }
        } );
     } },
   { "sequencesEntered", kLinear,
     []( size_t n ) {
        const auto network = compiled();
        return Job{ [ = ] {
                      network->enterSequences( n );
                      network->settle();
                   },
                    [ = ] { return network->published( 1 ) == n; } };
     } },
   { "mapsDeleted", kLinear, []( size_t n ) { return deletedMaps( n, false ); } },
   { "mapsDeletedInShortRuns", kLinear, []( size_t n ) { return deletedMaps( n, true ); } },
   { "machineDestroyedWithSequences", kLinear,
     []( size_t n ) {
        const auto network = compiledSequences( n );
        return Job{ [ = ] { network->destroyMachine(); }, [ = ] { return !network->hasMachine(); } };
     } },
   { "machineDestroyedWithMaps", kLinear,
     []( size_t n ) {
        const auto network = compiledMaps( n );
        return Job{ [ = ] { network->destroyMachine(); }, [ = ] { return !network->hasMachine(); } };
     } },
   { "symbolsCreatedAndReleased", kLinear,
     []( size_t n ) {
        const auto root = makeNode<PolicyRoot>();
        return Job{ [ = ] {
                      std::vector<Ptr<RouteMapSymbol>> maps;
                      std::vector<Ptr<PrefixListSymbol>> lists;
                      for( size_t i = 0; i < n; ++i ) {
                         maps.push_back( root->routeMapTable()->symbol( numbered( i ) ) );
                         lists.push_back( root->ipv4PrefixListTable()->symbol( numbered( i ) ) );
                      }
                   },
                    [ = ] { return root->routeMapTable()->count() == 0 && root->ipv4PrefixListTable()->count() == 0; } };
     } },

   // the end of an edit scope
   { "endOfScopeOverMaps", kLinear, []( size_t n ) { return endOfScopeOverMaps( n, false ); } },
   { "endOfScopeOverMapsInShortRuns", kLinear, []( size_t n ) { return endOfScopeOverMaps( n, true ); } },
   { "endOfScopeOverChain", kLinear, []( size_t n ) { return endOfScopeOverChain( n, false ); } },

   // calls. A chain that settles after each route map, callers first, is left out: each route map that becomes defined changes all its callers.
   { "chainEnteredCallersFirst", kLinear, []( size_t n ) { return enteredChain( callersFirst( n ), false ); } },
   { "chainEnteredInRandomOrderSettlingEach", kLinear, []( size_t n ) { return enteredChain( inRandomOrder( n ), true ); } },
   { "callersOfOneMapEntered", kLinear,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) { it.enter( n ); } );
        return entered( network, n + 1, [ = ] {
           for( size_t i = 0; i < n; ++i ) {
              network->enter( i, callTo( n ) );
              network->settle();
           }
        } );
     } },
   { "calleeEnteredAfterItsCallers", kLinear,
     []( size_t n ) {
        const auto network = compiledMaps( n, callTo( n ) );
        return entered( network, n + 1, [ = ] {
           network->enter( n );
           network->settle();
        } );
     } },
   { "calleeEditedBelowCallers", kLinear,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) {
           it.enter( n );
           it.enterMaps( n, callTo( n ) );
        } );
        return editedBelow( network, n, n - 1 );
     } },
   { "calleesEnteredThenTheirCaller", kLinear,
     []( size_t n ) {
        const auto network = compiled();
        return Job{ [ = ] {
                      for( size_t i = 1; i <= n; ++i ) {
                         network->enter( i );
                         network->settle();
                      }
                      network->enterCaller( n );
                      network->settle();
                   },
                    [ = ] { return network->published( n + 1 ) == 2 * n; } };
     } },
   { "leafEditedBelowChain", kLinear, []( size_t n ) { return editedBelow( compiledChain( n ), n - 1, 0 ); } },

   // lists
   { "listChangedBelowMaps", kLinear,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) {
           it.publishList( kSharedList );
           it.enterMaps( n, { kSharedList, {} } );
        } );
        return changedList( network, n - 1 );
     } },
   // One sequence names the list. The cost should only grow with the row of n handles that a new generation copies.
   { "listChangedBelowLongMap", kLinear,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) {
           it.publishList( kSharedList );
           it.enterSequences( n, kSharedList );
        } );
        return changedList( network, 0 );
     } },
   // A search for a cycle must not walk all callees of each call that is entered.
   { "chainEnteredCalleesFirst", kLinear, []( size_t n ) { return enteredChain( calleesFirst( n ), false ); } },
   { "chainEnteredCalleesFirstSettlingEach", kLinear, []( size_t n ) { return enteredChain( calleesFirst( n ), true ); } },
   { "callerEnteredAboveChain", kConstant,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) {
           it.enterBare( 0 );
           for( size_t i = 1; i < n; ++i ) it.enterBareCaller( i, i - 1 );
        } );
        return entered( network, n + 1, [ = ] {
           network->enterBareCaller( n, n - 1 );
           network->settle();
        } );
     } },
   { "chainEnteredInRandomOrder", kLinear, []( size_t n ) { return enteredChain( inRandomOrder( n ), false ); } },
   { "endOfScopeOverChainInShortRuns", kLinear, []( size_t n ) { return endOfScopeOverChain( n, true ); } },
   { "calleesEnteredAfterTheirCaller", kLinear,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) { it.enterCaller( n ); } );
        return Job{ [ = ] {
                      for( size_t i = 1; i <= n; ++i ) {
                         network->enter( i );
                         network->settle();
                      }
                   },
                    [ = ] { return network->published( n + 1 ) == 2 * n; } };
     } },
   // As above, a new generation copies the row of handles.
   { "sequenceDeletedFromLongMap", kLinear,
     []( size_t n ) {
        const auto network = compiled( [ = ]( Network & it ) {
           const auto map = it.config().routeMapIs( numbered( 0 ) );
           for( size_t i = 1; i <= n; ++i ) map->mapEntryIs( static_cast<uint32_t>( i ) );
           it.declare( 0 );
        } );
        return Job{ [ = ] { network->map( 0 )->mapEntryDel( static_cast<uint32_t>( n / 2 ) ); },
                    [ = ] { return network->published( 1 ) == n - 1; } };
     } },
   { "sequencesDeleted", kLinear,
     []( size_t n ) {
        const auto network = compiledSequences( n );
        return Job{ [ = ] {
                      network->map( 0 )->mapEntryDelAll();
                      network->declare( 0 );
                      network->settle();
                   },
                    [ = ] { return network->published( 1 ) == 0; } };
     } },
};

// ---- assertions

// A new route map is 40,000 instructions at -O2 and 300,000 at -O0. A virtual machine steps 80,000 in a second, so only single changes can be
// stepped; and without optimisation, no new route map.
bool isCounted( const Case & c ) {
#if defined( __OPTIMIZE__ )
   constexpr bool isOptimised = true;
#else
   constexpr bool isOptimised = false;
#endif
   return instructionCounter() != InstructionCounter::steps || ( c.limit == kConstant && ( isOptimised || !c.createsMap ) );
}

double exponent( uint64_t at2n, uint64_t at4n ) {
   return std::log2( static_cast<double>( std::max<uint64_t>( at4n, 1 ) ) / static_cast<double>( std::max<uint64_t>( at2n, 1 ) ) );
}

class Scaling : public testing::TestWithParam<Case> {
 protected:
   Work count( size_t n, InstructionCounter counter ) const {
      const Job job = GetParam().prepare( n );
      const Work work = workOf( job.work, counter );
      EXPECT_TRUE( job.isDone() ) << "n = " << n;
      return work;
   }
};

TEST_P( Scaling, staysBelowTheLimit ) {
   const Case & c = GetParam();
   const size_t n = sizeOf( c );
   const auto counter = isCounted( c ) ? instructionCounter() : InstructionCounter::none;
   // The smallest is only printed, and is not worth its steps. It also binds the symbols of the shared libraries.
   const Work at1 = count( n, counter == InstructionCounter::steps ? InstructionCounter::none : counter );
   const Work at2 = count( 2 * n, counter ), at4 = count( 4 * n, counter );
   EXPECT_LT( exponent( at2.allocations, at4.allocations ), c.limit )
      << "allocations: " << at1.allocations << ", " << at2.allocations << ", " << at4.allocations << " at n = " << n << ", 2n, 4n";
   if( !at2.instructions || !at4.instructions ) return;
   EXPECT_TRUE( counter != InstructionCounter::steps || *at4.instructions < kMostSteps ) << "more than " << kMostSteps << " steps";
   EXPECT_LT( exponent( *at2.instructions, *at4.instructions ), c.limit )
      << "instructions: " << at1.instructions.value_or( 0 ) << ", " << *at2.instructions << ", " << *at4.instructions << " at n = " << n
      << ", 2n, 4n; 0 if not counted";
}

INSTANTIATE_TEST_SUITE_P( Work, Scaling, testing::ValuesIn( kCases ), []( const auto & info ) { return std::string( info.param.name ); } );

// Else a broken counter would show everything as constant.
TEST( ScalingCounter, countsMoreWorkForMoreRounds ) {
   const auto allocating = []( size_t rounds ) {
      return workOf(
         [ = ] {
            std::vector<std::unique_ptr<size_t>> all( rounds );
            for( auto & one : all ) one = std::make_unique<size_t>( rounds );
         },
         instructionCounter() );
   };
   allocating( 1 );   // binds symbols
   const Work few = allocating( 10 ), many = allocating( 20 );
   EXPECT_EQ( few.allocations, 11u );
   EXPECT_EQ( many.allocations, 21u );
   ASSERT_EQ( few.instructions.has_value(), instructionCounter() != InstructionCounter::none );
   if( !few.instructions ) return;
   EXPECT_GT( *few.instructions, 100u );
   EXPECT_GT( exponent( *few.instructions, *many.instructions ), 0.5 );
}

}   // namespace
