/// @file tests/model/CompilationModel.h
/// Random edit programs on a whole configuration, and what must have come of one when all has settled, said by the raw configuration alone.
///
///    Choices choices( seed );
///    CompilationModel::Program program( choices );
///    program.run( 150 );          // settles and checks now and then, and at the end
///    program.checkNothingIsLeft();
///
/// The Choices determine everything that a program does. Some programs yield at every point, some edit inside the notifications that they get.
/// Access lists come from their configuration, whose slices are steps of the program: what they have shown is held against the steps.
/// What is left out: edits whose outcome is a matter of history, such as which call of a cycle is refused.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "policy/Policy.h"
#include "substrate/routemap/PrefixListProducer.h"
#include "substrate/routemap/TagSetProducer.h"
#include "tests/compile/Fixtures.h"
#include "tests/model/Choices.h"
#include "tests/model/CompiledAccessLists.h"
#include "tests/model/CompiledAgent.h"
#include "tests/model/EvaluationTwin.h"

namespace CompilationModel {

using namespace Routing::RouteMap;
using namespace Routing::Policy;
using EvaluationModel::Route;
using Quoin::makeNode;
using Quoin::Ptr;

constexpr unsigned kMaps = 6;
constexpr uint32_t kSeqnos[] = { 10, 20, 30, 40, 50 };

// ---- routes

/// Routes that the clauses of the programs tell apart.
const std::vector<Route> & sampleRoutes();

/// Their prefixes.
const std::vector<Ferule::IpGenPrefix> & samplePrefixes();

/// What a route map makes of a route.
struct Verdict {
   bool permitted = false;
   unsigned preference = 0;
   friend bool operator==( const Verdict &, const Verdict & ) = default;
   friend std::ostream & operator<<( std::ostream & os, const Verdict & v ) {
      return os << ( v.permitted ? "permitted, preference " : "denied, preference " ) << v.preference;
   }
};

constexpr Routing::RoutePreference kPreferenceBefore = 7;

Verdict verdictOf( const RouteMapStatus & status, const MatchInput_ & input );

// ---- a program

/// What some programs do inside the notifications that they get: edit what there is, or let things come and go as well.
enum class Inside { nothing, changes, everything };

class Program {
 public:
   using OnPublished = std::function<void( unsigned map, const Ptr<const RouteMapStatus> & status )>;

   /// `onPublished` hears of every version of every map's symbol.
   explicit Program( Choices & random, OnPublished onPublished = {}, Inside inside = Inside::changes );

   /// From now on, edit scopes open and close at random.
   void useScopes() { usesScopes_ = true; }

   void run( int edits );

   /// Lets all settle, and compares. Where something is wrong, the rest is not looked at.
   void check();

   /// Takes everything away, in one of several orders: then nobody holds anything any more.
   void checkNothingIsLeft();

   /// What there is, in one text, but for where it lies.
   std::string text() const;
   uint64_t publications() const;

 private:
   struct Watched {
      Ptr<RouteMapSymbol> symbol;
      std::unique_ptr<Routing::Policy::CompileFixtures::Reaction> reaction;
      unsigned publications = 0;
      bool hadSequences = false;   // since it was born
      Ptr<const RouteMapStatus> last;
      std::string lastText;
   };

   unsigned pick( unsigned n ) { return random_.below( n ); }
   bool chance( unsigned oneIn ) { return random_.oneIn( oneIn ); }
   Ptr<Map> map( unsigned i ) const { return agent_.config->routeMap( mapName( i ) ); }

   // ---- edits

   void raise( unsigned i );
   bool touch( unsigned i, uint32_t seqno, int what, bool removes );
   void runOneTask();
   void edit();
   void editMode();
   void editChange( unsigned i );
   void editMap( unsigned i );
   void editEntry( unsigned i, const Ptr<MapEntry> & entry );
   void editRule( unsigned i, const Ptr<MapEntry> & entry );
   static const char * stemOf( MatchOption option );
   void editList();
   void editPrefixList( std::unique_ptr<PrefixListProducer> & list, const Ptr<PrefixListSymbolDedupTable> & table,
                        const Quoin::String & name, Ferule::AddressFamily af );

   template <class Producer, class Table, class Edit, class... Family>
   void editList( std::unique_ptr<Producer> & list, const Ptr<Table> & table, const Quoin::String & name, Edit edit, Family... family );
   Ptr<RouteMapConfigFilterSm> filterOf( unsigned i ) const;
   bool blocked( unsigned i, uint32_t seqno ) const;
   bool blocked( unsigned i ) const;
   bool copyHasCycle() const;

   // ---- edit scopes

   void openOrCloseScope();
   void closeScopes();

   // ---- what is published, when it is

   void watch();
   bool editsInside() const { return inside_ != Inside::nothing && !settling_ && !hearing_; }
   void heardList( unsigned i );
   void reactInside();
   void heard( unsigned i );
   void checkPublished( const RouteMapStatus & status ) const;
   Ptr<const PolicySymbol> listSymbolOf( MatchOption option, const Matcher & matcher ) const;

   // ---- access lists, at every step

   void checkStep();
   void checkAccessListMatchers( unsigned i, const RouteMapStatus & status, bool current ) const;
   bool isTouched( unsigned i, uint32_t seqno, MatchOption option ) const;
   static unsigned numberIn( const Quoin::String & listName ) { return static_cast<unsigned>( std::string( listName ).back() - '0' ); }

   void askAccessListMatchers( const RouteMapStatus & status );
   void tellOfEmptyLists();

   // ---- when all has settled

   void settle();

   /// Where a configured sequence continues; 0 for nowhere.
   static uint32_t continueOf( const Map & m, const MapEntry & entry );

   static bool isSupported( MatchOption option ) { return option != MatchOption( 77 ); }

   void checkCompiled( unsigned i, const Map & m, const RouteMapStatus & status ) const;
   bool checkMatcher( MatchOption option, const MatchRule & rule, const Matcher & matcher ) const;
   static bool checkText( const Matcher & matcher, const Matcher & wanted );
   void checkMachines( const Map & m ) const;
   void checkTables() const;
   void checkFreshCompile() const;

   // ---- evaluation of what is configured

   std::optional<size_t> prefixListOf( const std::unique_ptr<PrefixListProducer> & list, unsigned family,
                                       EvaluationModel::Policy & policy ) const;
   EvaluationModel::Condition conditionOf( const MatchRule & rule, const Ferule::IpGenPrefix & prefix,
                                           EvaluationModel::Policy & policy ) const;
   EvaluationModel::Policy policyFor( const Ferule::IpGenPrefix & prefix ) const;
   void checkEvaluation();

   // ---- how often

   // How many calls lie between what changed and each map, on every way there.
   using Lengths = std::map<unsigned, std::set<unsigned>>;
   void lengthsFrom( Lengths & lengths, unsigned at, unsigned length ) const;
   void checkCounts();
   bool usesList( unsigned i, MatchOption option, const Quoin::String & name ) const;

   unsigned times( unsigned i ) const { return watched_[ i ].publications; }
   bool isCurrent( unsigned i ) const { return watched_[ i ].symbol->statusCurrent(); }
   static void raiseOnce( Map & m ) { m.versionIs( m.version() + 1 ); }
   static void flip( MapEntry & entry );
   std::vector<unsigned> usersOf( MatchOption option, const Quoin::String & name ) const;
   std::string changeOnce( Lengths & lengths );
   std::string changeOfAccessList( Lengths & lengths, unsigned list, const std::vector<unsigned> & users );
   std::string changeOfMaps( Lengths & lengths, unsigned i );
   std::string changeOfSequences( Lengths & lengths, unsigned i, unsigned list, const std::vector<unsigned> & prefixUsers );

   Choices & random_;
   OnPublished onPublished_;
   bool watches_ = false;
   Inside inside_ = Inside::nothing;
   unsigned publishOneIn_ = 1, tasksOneIn_ = 1, slicesOneIn_ = 1;
   Agent agent_{ makeNode<Config>() };
   std::map<unsigned, std::set<std::pair<uint32_t, int>>> touched_;
   unsigned time_ = 0;              // goes up with the edits
   unsigned built_[ kMaps ] = {};   // when clauses of a map may have been built last
   bool waits_[ kMaps ] = {};       // whether a map had changes that were not compiled, before the step
   std::unique_ptr<PrefixListProducer> v4_[ kLists ];
   std::unique_ptr<PrefixListProducer> v6_[ kLists ];
   AccessLists acls_{ random_, agent_.root->ipv4AclListTable() };
   std::unique_ptr<TagSetProducer> sets_[ kLists ];
   Watched watched_[ kMaps ];
   uint32_t highestVersion_ = 0;
   bool settling_ = false, hearing_ = false;
   bool usesScopes_ = false;
   bool hasSettled_ = false;   // and nothing has been edited since
   std::vector<std::unique_ptr<ConfigEdit>> scopes_;
   std::optional<std::array<unsigned, kMaps>> ofWholeBatch_;   // what had been published when its scope opened
};

}   // namespace CompilationModel
