/// @file compile/RmConfigSymbolReactor.h
#pragma once

#include "compile/ModifiedRouteMapSeqStatus.h"
#include "compile/PendingSymbolUpdate.h"
#include "substrate/quoin/NotifyingNode.h"

namespace Routing::Policy {

/// The mailbox between the machines of the sequences and the machine of their route map. A sequence writes the changes of its symbols here;
/// the machine of the route map watches the mailbox and applies the changes. The mailbox outlives these machines.
/// Threading: the activity thread.
class ROUTEPOLICY_API RmConfigSymbolReactor final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { reevaluate, pendingUpdate };
   using PendingUpdates = Plinth::HashMap2018<uint32_t, Quoin::Ptr<PendingSymbolUpdate>>;

   explicit RmConfigSymbolReactor( const Quoin::String & name ) : name_( name ) {}

   /// The name of the route map.
   const Quoin::String & name() const noexcept { return name_; }
   /// The list in which the machine of the route map builds the next generation; null if the machine does not exist.
   PLINTH_VALUE( modifiedRmSeqStatusList, modifiedRmSeqStatusListIs, {}, Quoin::Ptr<const ModifiedRouteMapSeqStatusList> );
   /// What the sequences have recorded, together.
   const Quoin::Ptr<SequenceLedger> & ledger() const noexcept { return ledger_; }
   /// A counter. Each change of it compiles the route map again.
   PLINTH_ATTR( reevaluate, reevaluateIs, Field::reevaluate, uint8_t );
   /// The pending updates by sequence number. Only the creation and the deletion of an update are published; later writes to it belong to
   /// the same batch.
   PLINTH_MADE_NODES( pendingUpdate, pendingUpdateIs, pendingUpdateDel, pendingUpdateDelAll, Field::pendingUpdate, PendingUpdates );

   /// Calls `fill( update )` for the pending update of a sequence. A new update is filled before it is published, because a subscriber may
   /// have the route map compiled, which applies and deletes the update.
   template <class Fill>
   void pendingUpdateFill( uint32_t seqno, const Fill & fill ) {
      if( const auto found = pendingUpdate( seqno ) ) return fill( *found );
      const auto made = Quoin::makeNode<PendingSymbolUpdate>( seqno );
      fill( *made );
      Plinth::putMember( publisher_, Quoin::FieldId( Field::pendingUpdate ), "", pendingUpdate_, seqno, made );
   }

   /// Deletes the pending update of a sequence; does nothing if it does not exist. Calls `apply( update )` before the deletion is
   /// published, because a subscriber may change a list of the update: what is compared with the changed list then includes the update.
   template <class Apply>
   void pendingUpdateApply( uint32_t seqno, const Apply & apply ) {
      const auto update = pendingUpdate_.take( seqno );
      if( !update ) return;
      apply( *update );
      Plinth::publishMember( publisher_, Quoin::FieldId( Field::pendingUpdate ), seqno, &*update );
   }

   /// Adds to the counter, modulo 256.
   void reevaluateInc( uint8_t n ) { reevaluateIs( static_cast<uint8_t>( reevaluate() + n ) ); }
   /// Removes one clause from the pending update of a sequence. The update stays, even if it is empty.
   void removePendingMatcherForSeq( uint32_t seqno, MatchOption option );
   void removePendingSetterForSeq( uint32_t seqno, SetOption option );

 private:
   Quoin::String name_;
   Quoin::Ptr<SequenceLedger> ledger_ = Quoin::makeNode<SequenceLedger>();
};

/// The mailboxes of one configuration, by the name of their route map.
class ROUTEPOLICY_API RmConfigSymbolReactorColl final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { reactor };
   using Reactors = Plinth::HashMap2018<Quoin::String, Quoin::Ptr<RmConfigSymbolReactor>>;
   PLINTH_MADE_NODES( reactor, reactorIs, reactorDel, reactorDelAll, Field::reactor, Reactors );
};

ROUTEPOLICY_API Quoin::Ptr<RmConfigSymbolReactor> rmConfigSymbolReactorFactory( const Quoin::String & name );

}   // namespace Routing::Policy
