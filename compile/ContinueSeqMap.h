/// @file compile/ContinueSeqMap.h
#pragma once

#include <cstdint>

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/PlainRecord.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

/// One `continue`: from where, and to where.
class ROUTEPOLICY_API PlinthContinueSeq final : public Plinth::PlainRecord {
 public:
   PlinthContinueSeq( uint32_t seqno, uint32_t target ) : seqno_( seqno ), target_( target ) {}
   ~PlinthContinueSeq() override;
   uint32_t seqno() const noexcept { return seqno_; }
   uint32_t target() const noexcept { return target_; }
   void targetIs( uint32_t target ) noexcept { target_ = target; }

 private:
   uint32_t seqno_;
   uint32_t target_;
};

/// Which sequences of one route map continue, and where. Threading: the activity thread.
class ROUTEPOLICY_API ContinueSeqMap final : public Plinth::PlainRecord {
 public:
   using Members = Plinth::TreeMap<uint32_t, Quoin::Ptr<PlinthContinueSeq>>;

   explicit ContinueSeqMap( const Quoin::String & name ) : name_( name ) {}
   ~ContinueSeqMap() override;

   /// The route map's.
   const Quoin::String & name() const noexcept { return name_; }

   /// By the number of the sequence that continues, ascending.
   const Members & continueSeq() const noexcept { return members_; }
   /// The target; 0 when the sequence does not continue.
   uint32_t continueSeq( uint32_t seqno ) const;
   /// The member; null when there is none.
   Quoin::Ptr<PlinthContinueSeq> continueSeqGet( uint32_t seqno ) const { return Plinth::memberOf( members_, seqno ); }
   void continueSeqIs( uint32_t seqno, uint32_t target );
   void continueSeqDel( uint32_t seqno ) { members_.erase( seqno ); }
   void continueSeqDelAll() { members_.clear(); }

 private:
   Quoin::String name_;
   Members members_;
};

}   // namespace Routing::Policy
