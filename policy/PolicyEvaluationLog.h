/// @file policy/PolicyEvaluationLog.h
/// Records why one route map answered as it did: one SeqLog per visited sequence, including the sequences of its callees. PolicyEval
/// writes the log, then puts it in the queue of the PolicyEvalContext.
/// Ownership: shares the status of its route map. Threading: one thread until the log is queued, read-only afterwards.
#pragma once

#include "policy/RouteMapStatus.h"
#include "policy/SeqLog.h"
#include "routepolicy_export.h"
#include "substrate/gloss/EvaluationLogBase.h"
#include "substrate/plinth/HashMap2018.h"

namespace Routing::Policy {

/// The log of one evaluation of one route map.
class ROUTEPOLICY_API PolicyEvaluationLog : public EvaluationLogBase {
 public:
   using Sequences = Plinth::HashMap2018<uint32_t, Quoin::Ptr<SeqLog>>;
   explicit PolicyEvaluationLog( const Quoin::Ptr<const RouteMapStatus> & rmStatus );
   ~PolicyEvaluationLog() override;

   /// The kind of policy: "routemap".
   const char * policyType() const override;
   const Quoin::Ptr<const RouteMapStatus> & rmStatus() const noexcept { return rmStatus_; }

   /// The record of a sequence. The first visit creates it, with the log of its callee.
   Quoin::Ptr<SeqLog> addSeq( const Quoin::Ptr<const RouteMapSeqStatus> & seqStatus );
   /// The records by sequence number.
   const Sequences & seq() const noexcept { return seq_; }
   /// Null if the sequence was not visited.
   Quoin::Ptr<SeqLog> seq( uint32_t seqno ) const { return Plinth::memberOf( seq_, seqno ); }
   /// Stores a record under its own number. Errors: MutatorArgNullPointerException on null.
   void seqIs( const Quoin::Ptr<SeqLog> & seq );
   void seqDel( uint32_t seqno ) { seq_.erase( seqno ); }
   void seqDelAll() { seq_.clear(); }

   /// Indented text with one fact per line, for debugging. `level`: indentation, in units of three columns.
   Quoin::String toStrep( uint32_t level ) const;
   /// The structured form: the members of an object. The caller opens the object, named policyType(), and closes it.
   void toJson( Gloss::RendererV2 * renderer ) const override;

   /// The answer of the route map.
   PLINTH_VALUE( permitResult, permitResultIs, {}, bool );
   /// Whether no sequence decided, so that the implicit deny at the end applied.
   PLINTH_VALUE( defaultDeny, defaultDenyIs, {}, bool );

 private:
   template <class Visit>
   void visitSequences( Visit && visit ) const;

   Quoin::Ptr<const RouteMapStatus> rmStatus_;
   Sequences seq_;
};

}   // namespace Routing::Policy
