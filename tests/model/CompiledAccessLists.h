/// @file tests/model/CompiledAccessLists.h
/// Access lists of the random edit programs on a whole configuration: they come from their configuration, whose slices are steps of the
/// program, and what they have shown is held against the steps.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "compile/AclConfigSm.h"
#include "tests/compile/AclFixtures.h"
#include "tests/compile/Fixtures.h"
#include "tests/model/AccessListModel.h"
#include "tests/model/Choices.h"

namespace CompilationModel {

using namespace Routing::RouteMap;
using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;

constexpr unsigned kLists = 3;   // of each kind

/// Access lists that come from their configuration, and what their symbols must show of them.
class AccessLists {
 public:
   using Status = IpAccessListStatus;
   using Statuses = std::vector<Ptr<const Status>>;
   using VersionTwin = AccessListTwins::VersionTwin;
   using Rules = AccessListTwins::Rules;

   AccessLists( Choices & random, const Ptr<const IpAccessListSymbolDedupTable> & table );

   bool started() const { return machine_ != nullptr; }
   void start();

   // ---- steps. `time` is that of the program, and goes up; it is 0 inside a notification, where those who hear of a deletion later find
   // what came within it.

   /// Some edit of one list, or of all at once.
   void edit( unsigned i, unsigned time );
   /// An edit of what a list has.
   void editRules( unsigned i );
   /// A turn of the clock: a slice of each list that is being compiled.
   void slice();
   void slicesToTheEnd();
   /// A version behind which nothing has changed: but who has not heard of an empty list does now.
   void tell( unsigned i );
   /// Deletes the list. A subscriber may create it again.
   void del( unsigned i );

   // ---- what is defined

   bool idle() const { return CompileFixtures::nothingDue( *clock_ ); }
   bool slicing() const { return slicing_; }
   const AccessListTwins::ListTwin & twin( unsigned i ) const { return lists_[ i ].twin; }
   Ptr<IpAccessListSymbol> symbol( unsigned i ) const { return table_->symbol( lists_[ i ].twin.name ); }
   /// Whether its symbol is in use for the list's own sake.
   bool holds( unsigned i ) const { return lists_[ i ].held; }
   /// Whether the status of its symbol is the one of the last version.
   bool isTold( unsigned i ) const { return lists_[ i ].sinceTold.size() == 1; }
   /// Its symbol's version has moved: those who follow it take what it shows.
   void told( unsigned i );

   /// What a matcher may hold whose clause was last built at `built` or before, when all know what they were told.
   bool mayBeSeen( unsigned i, const Ptr<const Status> & status, unsigned built ) const;
   /// The rules of a whole list that its symbol has shown; null for a status of no such list.
   const Rules * rulesOf( const Ptr<const Status> & status ) const;

   /// What holds after every step.
   void check( const Ferule::IpGenPrefix & asked ) const;

   /// Nobody holds what was shown and is not any more: its rules need not be known.
   void forget();

   // ---- the two ends

   /// Holds the symbols, and counts their versions; `hear` is called at each of them.
   void watch( const std::function<void( unsigned i )> & hear );
   void drop();
   void checkNothingIsLeft();

   // ---- for programs that make one change at a time

   Ptr<Acl::Input::AclTypeConfig> type() const { return config_->aclType( Acl::AclType::ipv4 ); }
   void typeGoesOrComes();
   void makeEmpty( unsigned i, unsigned time );

 private:
   struct List {
      AccessListTwins::ListTwin twin;   // its symbol is null unless it is watched
      bool held = false;                // its symbol, by the table of those that are configured
      Statuses sinceTold{ nullptr };    // that of the last version, and what its symbol has shown since
      unsigned time = 0;                // of its last edit
      unsigned untoldAt = 0;            // when it first showed something without a word
      std::unique_ptr<CompileFixtures::Reaction> reaction;
   };
   struct Shown {
      Ptr<const Status> status;
      Rules rules;
   };

   unsigned pick( unsigned n ) { return random_.below( n ); }
   bool chance( unsigned oneIn ) { return random_.oneIn( oneIn ); }

   Ptr<IpAclConfigSm> machineOf( unsigned i ) const;

   void made( unsigned i );
   void record( unsigned i );
   static void checkShown( const Ptr<const Status> & status, const Rules & rules, const Ferule::IpGenPrefix & asked );

   std::shared_ptr<VersionTwin> newVersion();
   const AclPrefixEntry & anyRule();
   void changed( const VersionTwin & version );
   void write( VersionTwin & version );
   void empty( VersionTwin & version );
   void versionIs( unsigned i, std::shared_ptr<VersionTwin> version );
   void editOfOthers();

   Choices & random_;
   Ptr<const IpAccessListSymbolDedupTable> table_;
   Ptr<Acl::Input::Config> config_ = makeNode<Acl::Input::Config>();
   Ptr<Plinth::ManualClock> clock_ = makeNode<Plinth::ManualClock>();
   std::vector<std::shared_ptr<VersionTwin>> versions_;
   List lists_[ kLists ];
   std::map<const Status *, Shown> shown_;
   Ptr<AclConfigSm> machine_;
   bool slicing_ = false;
};

}   // namespace CompilationModel
