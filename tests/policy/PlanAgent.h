/// @file tests/policy/PlanAgent.h
/// Classes as an agent derives them, which the random tests of plans use: matchers, a setter, a rule of an access list, a route.
/// Threading: one thread.
#pragma once

#include <array>
#include <functional>
#include <ostream>
#include <span>
#include <utility>
#include <vector>

#include "policy/MatchInput.h"
#include "policy/MatchKeys.h"
#include "policy/Matcher.h"
#include "tests/policy/ListFixtures.h"
#include "tests/policy/PlanFixtures.h"

namespace PlanTest {

/// An agent's matcher that must be asked whenever the walk asks it: each question is noted. `asked`: how often it was asked before in this
/// evaluation. `mayThrow`: it tells so; otherwise it tells nothing.
class OwnMatcher : public Matcher {
 public:
   using Answer = std::function<bool( const MatchInput_ & input, unsigned asked )>;
   OwnMatcher( Journal & journal, Answer answer, bool mayThrow )
         : journal_( journal ), answer_( std::move( answer ) ), mayThrow_( mayThrow ) {}
   bool match( const MatchInput_ * input, const Ptr<PolicyEvalContext> & ) const override {
      journal_.note( Journal::What::asked, this );
      return answer_( *input, asked_++ );
   }
   void keys( MatchKeys & keys ) const override {
      if( mayThrow_ ) keys.mayThrow();
   }
   void formatDerivedType( std::ostream & os ) const override { os << ( mayThrow_ ? "OwnMatcher, may throw" : "OwnMatcher" ); }
   void restart() { asked_ = 0; }

 private:
   Journal & journal_;
   Answer answer_;
   bool mayThrow_;
   mutable unsigned asked_ = 0;
};

/// An agent's matcher that tells which routes match. Nobody notes whether it is asked.
class TellingMatcher final : public Matcher {
 public:
   using Tell = std::function<void( MatchKeys & )>;
   using Answer = std::function<bool( const MatchInput_ & )>;
   TellingMatcher( Tell tell, Answer answer ) : tell_( std::move( tell ) ), answer_( std::move( answer ) ) {}
   bool match( const MatchInput_ * input, const Ptr<PolicyEvalContext> & ) const override { return answer_( *input ); }
   void keys( MatchKeys & keys ) const override { tell_( keys ); }
   void formatDerivedType( std::ostream & os ) const override { os << "TellingMatcher"; }

 private:
   Tell tell_;
   Answer answer_;
};

class NotingSetter final : public Setter {
 public:
   NotingSetter( Journal & journal, bool defers ) : journal_( journal ), defers_( defers ) {}
   void setValue( Result_ * result ) const override {
      journal_.note( Journal::What::set, this );
      if( defers_ ) result->deferredSetterIs( this );
   }
   void deferredSetValue( Result_ * ) const override { journal_.note( Journal::What::setLate, this ); }
   void formatDerivedType( std::ostream & os ) const override { os << "NotingSetter"; }

 private:
   Journal & journal_;
   bool defers_;
};

/// An agent's own rule of an access list, which notes that it was asked.
class OwnRule final : public Routing::RouteMap::AclEntryData {
 public:
   OwnRule( const AclPrefixEntry & rule, Journal & journal ) : AclEntryData( rule ), journal_( journal ) {}
   Acl::MatchPermit permit() const override {
      journal_.note( Journal::What::asked, this );
      return AclEntryData::permit();
   }

 private:
   Journal & journal_;
};

/// An agent's own input: its fields say nothing, its getters everything. A prefix that was handed out keeps its value when the route changes.
class LateInput final : public MatchInput_ {
 public:
   explicit LateInput( const MatchInput_ & i ) : late( i ) {}
   Zeugma::MaybeU63 getMetric() const override { return late.metric(); }
   Routing::RouteProto getProtocol() const override { return late.protocol(); }
   const Ferule::IpGenPrefix * getPrefixPointer() const override {
      if( prefixes_[ at_ ] == late.prefix() ) return &prefixes_[ at_ ];
      at_ = 1 - at_;
      prefixes_[ at_ ] = late.prefix();
      return &prefixes_[ at_ ];
   }
   Ferule::IpGenAddr getNexthop() const override { return late.nexthop(); }
   Ferule::IpAddr getRouterId() const override { return late.routerId(); }
   const Ptr<const ResolvedNexthopInfoSet> & getResolvedNexthopInfoSet() const override { return late.resolvedNexthopInfoSet(); }
   Routing::RouteTag getTag() const override { return late.tag(); }
   uint32_t getOspfInstance() const override { return late.ospfInstance(); }
   uint32_t getIsisInstance() const override { return late.isisInstance(); }
   std::span<const uint64_t> getOwnKeys() const override {
      keys_.assign( { 2 + late.ospfInstance(), 2, 5 + uint64_t( late.metric().present() ), 2 + late.isisInstance() } );
      return keys_;
   }
   MatchInput_ late;

 private:
   mutable std::vector<uint64_t> keys_;
   mutable std::array<Ferule::IpGenPrefix, 2> prefixes_;
   mutable unsigned at_ = 0;
};

}   // namespace PlanTest
