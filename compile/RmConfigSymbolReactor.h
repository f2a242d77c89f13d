/// @file compile/RmConfigSymbolReactor.h
#pragma once

#include "compile/ModifiedRouteMapSeqStatus.h"
#include "compile/PendingSymbolUpdate.h"
#include "substrate/quoin/NotifyingNode.h"

namespace Routing::Policy {

/// Where the sequences of one route map leave what their symbols have published, for the route map's machine, which watches it.
/// It outlives those machines. Threading: the activity thread.
class ROUTEPOLICY_API RmConfigSymbolReactor final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { reevaluate, pendingUpdate };
   using PendingUpdates = Plinth::HashMap2018<uint32_t, Quoin::Ptr<PendingSymbolUpdate>>;

   explicit RmConfigSymbolReactor( const Quoin::String & name ) : name_( name ) {}
   ~RmConfigSymbolReactor() override;

   /// The route map's.
   const Quoin::String & name() const noexcept { return name_; }
   /// Where the route map's machine puts its next generation together; null while there is no such machine.
   PLINTH_VALUE( modifiedRmSeqStatusList, modifiedRmSeqStatusListIs, {}, Quoin::Ptr<const ModifiedRouteMapSeqStatusList> );
   /// A counter; each move of it has the route map compiled again.
   PLINTH_ATTR( reevaluate, reevaluateIs, Field::reevaluate, uint8_t );
   /// By sequence number. Only the making and the going of a record are told of: what is written to it later is part of the same batch.
   PLINTH_MADE_NODES( pendingUpdate, pendingUpdateIs, pendingUpdateDel, pendingUpdateDelAll, Field::pendingUpdate, PendingUpdates );

   /// Adds to the counter, which starts again at 0 behind 255.
   void reevaluateInc( uint8_t n ) { reevaluateIs( static_cast<uint8_t>( reevaluate() + n ) ); }
   /// Takes one clause out of the sequence's record, which stays, also when nothing is left in it.
   void removePendingMatcherForSeq( uint32_t seqno, MatchOption option );
   void removePendingSetterForSeq( uint32_t seqno, SetOption option );

 private:
   Quoin::String name_;
};

/// The reactors of one configuration, by the name of their route map.
class ROUTEPOLICY_API RmConfigSymbolReactorColl final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { reactor };
   using Reactors = Plinth::HashMap2018<Quoin::String, Quoin::Ptr<RmConfigSymbolReactor>>;
   ~RmConfigSymbolReactorColl() override;
   PLINTH_MADE_NODES( reactor, reactorIs, reactorDel, reactorDelAll, Field::reactor, Reactors );
};

ROUTEPOLICY_API Quoin::Ptr<RmConfigSymbolReactor> rmConfigSymbolReactorFactory( const Quoin::String & name );

}   // namespace Routing::Policy
