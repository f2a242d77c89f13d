/// @file compile/ContinueSeqMap.h
#pragma once

#include <cstdint>

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/PlainRecord.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

/// The `continue` clauses of one route map, by sequence. The machine of the route map writes them, and links the sequences of a generation
/// by them.
class ROUTEPOLICY_API PlinthContinueSeq final : public Plinth::PlainRecord {
 public:
   PlinthContinueSeq( uint32_t seqno, uint32_t target ) : seqno_( seqno ), target_( target ) {}
   uint32_t seqno() const noexcept { return seqno_; }
   uint32_t target() const noexcept { return target_; }
   void targetIs( uint32_t target ) noexcept { target_ = target; }

 private:
   uint32_t seqno_;
   uint32_t target_;
};

/// The sequences of one route map that continue, each with its target. Threading: the activity thread.
class ROUTEPOLICY_API ContinueSeqMap final : public Plinth::PlainRecord {
 public:
   using Members = Plinth::TreeMap<uint32_t, Quoin::Ptr<PlinthContinueSeq>>;

   explicit ContinueSeqMap( const Quoin::String & name ) : name_( name ) {}

   /// The name of the route map.
   const Quoin::String & name() const noexcept { return name_; }

   /// The continues by the number of the sequence, ascending.
   const Members & continueSeq() const noexcept { return members_; }
   /// The target of a sequence; 0 for the next sequence, or if the sequence does not continue.
   uint32_t continueSeq( uint32_t seqno ) const;
   /// The continue of a sequence; null if it does not continue.
   Quoin::Ptr<PlinthContinueSeq> continueSeqGet( uint32_t seqno ) const { return Plinth::memberOf( members_, seqno ); }
   /// Sets the target of a sequence, and creates the continue if it does not exist.
   void continueSeqIs( uint32_t seqno, uint32_t target );
   void continueSeqDel( uint32_t seqno ) { members_.erase( seqno ); }
   void continueSeqDelAll() { members_.clear(); }

 private:
   Quoin::String name_;
   Members members_;
};

}   // namespace Routing::Policy
