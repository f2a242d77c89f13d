/// @file policy/PolicyEvaluationLog.h
/// Why one route map answered as it did: a record per sequence visited, down through its sub route maps.
/// Ownership: holds its route map's status. Threading: one thread until the log is queued, read only from then on.
#pragma once

#include "policy/RouteMapStatus.h"
#include "policy/SeqLog.h"
#include "routepolicy_export.h"
#include "substrate/gloss/EvaluationLogBase.h"
#include "substrate/plinth/HashMap2018.h"

namespace Routing::Policy {

class ROUTEPOLICY_API PolicyEvaluationLog : public EvaluationLogBase {
 public:
   using Sequences = Plinth::HashMap2018<uint32_t, Quoin::Ptr<SeqLog>>;
   explicit PolicyEvaluationLog( const Quoin::Ptr<const RouteMapStatus> & rmStatus );
   ~PolicyEvaluationLog() override;

   /// "routemap".
   const char * policyType() const override;
   const Quoin::Ptr<const RouteMapStatus> & rmStatus() const noexcept { return rmStatus_; }

   /// The record of that sequence, made on the first visit together with the log of its sub route map.
   Quoin::Ptr<SeqLog> addSeq( const Quoin::Ptr<const RouteMapSeqStatus> & seqStatus );
   const Sequences & seq() const noexcept { return seq_; }
   /// Null when the sequence was not visited.
   Quoin::Ptr<SeqLog> seq( uint32_t seqno ) const { return Plinth::memberOf( seq_, seqno ); }
   /// Errors: MutatorArgNullPointerException on null.
   void seqIs( const Quoin::Ptr<SeqLog> & seq );
   void seqDel( uint32_t seqno ) { seq_.erase( seqno ); }
   void seqDelAll() { seq_.clear(); }

   /// Indented text, a line per fact; `level` is the depth, three columns each. For debugging.
   Quoin::String toStrep( uint32_t level ) const;
   /// The structured form: members of an object that the caller opens, under policyType(), and closes.
   void toJson( Gloss::RendererV2 * renderer ) const override;

   /// The route map's final answer.
   PLINTH_VALUE( permitResult, permitResultIs, {}, bool );
   /// No sequence decided: the implicit deny at the end applied.
   PLINTH_VALUE( defaultDeny, defaultDenyIs, {}, bool );

 private:
   template <class Visit>
   void visitSequences( Visit && visit ) const;

   Quoin::Ptr<const RouteMapStatus> rmStatus_;
   Sequences seq_;
};

}   // namespace Routing::Policy
