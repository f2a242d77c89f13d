/// @file tests/model/EditProgram.h
/// Random edits of everything that compilation reads: route maps, sequences, clauses, calls, lists, set clauses, edit scopes. The names are
/// few, so that route maps and sequences often come and go under the same name, and calls often close a cycle.
///
/// An edit is made between two notifications or inside one: any object may have a subscriber that edits, and the subscriber may have come
/// before or behind the machines. Once all has settled, the published route maps are those that a new machine compiles from the same
/// configuration.
///
///    Choices choices( seed );
///    EditProgram program( choices );
///    const std::string differences = program.run( 40 );   // empty if all is well
///
/// It needs no test framework, so that a fuzz program uses it too. Threading: one thread.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "substrate/routemap/PrefixListProducer.h"
#include "substrate/routemap/TagSetProducer.h"
#include "tests/compile/Reaction.h"
#include "tests/model/Choices.h"
#include "tests/model/CompiledAgent.h"

namespace CompilationModel {

class EditProgram {
 public:
   explicit EditProgram( Choices & choices );
   ~EditProgram();
   EditProgram( const EditProgram & ) = delete;
   EditProgram & operator=( const EditProgram & ) = delete;

   /// Makes the edits of at most so many steps, lets all settle, compares, and deletes everything. Returns one line for each difference.
   std::string run( int steps );
   /// The edits made so far, and those of them that were made inside a notification.
   uint64_t edits() const noexcept { return edits_; }
   uint64_t editsInside() const noexcept { return editsInside_; }

 private:
   using Reaction = CompileFixtures::Reaction;
   using AccessListProducer = ListPublication<IpAccessListStatus>;
   static constexpr unsigned kNames = 3, kListNames = 2;
   static constexpr uint32_t kNumbers[] = { 10, 20, 30 };
   /// A clause or the distance of a sequence. The sequence is held, so that no other has its address.
   using Clause = std::pair<Ptr<MapEntry>, int>;
   static constexpr int kDistance = 1000;

   unsigned pick( unsigned n ) { return choices_.below( n ); }
   bool chance( unsigned oneIn ) { return choices_.oneIn( oneIn ); }
   template <class... Parts>
   void differs( const Parts &... parts ) {
      ( differences_ << ... << parts ) << '\n';
   }
   bool isWell() const { return differences_.view().empty(); }
   uint32_t anyNumber() { return kNumbers[ pick( std::size( kNumbers ) ) ]; }
   Ptr<Map> map( unsigned i ) const { return agent_.config->routeMap( mapName( i ) ); }
   Ptr<RouteMapSymbol> symbol( unsigned i ) const { return agent_.root->routeMapTable()->symbol( mapName( i ) ); }

   // ---- steps and edits

   void step();
   void edit();
   void editRouteMaps( unsigned i );
   void editSequences( unsigned i, uint32_t seqno );
   void editSequence( const Ptr<MapEntry> & entry );
   void editClause( const Ptr<MapEntry> & entry );
   void editSetters( unsigned i, uint32_t seqno );
   void editScopes();
   void editLists();
   void create( unsigned i, uint32_t seqno );
   template <class Producer, class Make, class Edit>
   void editList( std::unique_ptr<Producer> & list, Make make, Edit edit );
   void changeVersion( unsigned i );
   void runTasks();
   void start();

   // ---- subscribers

   void watch();
   void react( const char * what );

   // ---- what depends on the past by rule

   const RouteMapConfigFilterSm * filterOf( const Map & map ) const;
   void noteDeletion( const Map & map, uint32_t seqno );
   bool isPending( const MapEntry & entry, int clause ) const;
   void noteDeletion( const Ptr<MapEntry> & entry, int clause );

   // ---- the end

   void verify();
   void settle();
   void runAll();
   void publishLists();
   void declareAll();
   bool isBlocked() const;
   void deleteFormerBlocks();
   void wakeBlocked();
   std::vector<Clause> keptClauses() const;
   void deleteKeptClauses();
   void compare();
   void compareConfigured( unsigned i );
   void fillEmpty();
   void deleteAll();

   Choices & choices_;
   Agent agent_{ makeNode<Config>() };
   std::unique_ptr<PrefixListProducer> prefixLists_[ kListNames ];
   std::unique_ptr<AccessListProducer> accessLists_[ kListNames ];
   std::unique_ptr<TagSetProducer> tagSets_[ kListNames ];
   std::vector<std::unique_ptr<ConfigEdit>> scopes_;
   std::set<std::pair<const Map *, uint32_t>> formerBlocks_;   // sequences that may have been blocked when they were deleted
   std::vector<Ptr<const Map>> heldMaps_;                      // of these, so that no other has the same address
   std::set<Clause> kept_;                                     // clauses that may have been deleted before a machine had applied them
   std::ostringstream differences_;
   uint64_t edits_ = 0, editsInside_ = 0;
   uint32_t lastTag_ = 0;          // each tag is given once, so that a former sequence shows
   uint32_t lastVersion_ = 1000;   // of those that are given at the end
   int inside_ = 0;                // edits that subscribers may still make in this step
   bool watchesMore_ = false;      // many subscribers
   bool isStarting_ = false, hadMachine_ = false, yields_ = false;
   std::vector<Ptr<RouteMapSymbol>> symbols_;
   std::vector<std::unique_ptr<Reaction>> watchers_;
};

}   // namespace CompilationModel
