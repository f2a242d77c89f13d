/// @file agent/live/FrrMatchers.h
/// Matchers that differ in the dialect of FRR. Threading: thread-safe.
#pragma once

#include <cstdint>
#include <string>

#include "live/AgentMatchers.h"
#include "policy/PrefixListMatcher.h"

namespace Agent {

/// The next hop of a route in that family. FRR gives each route one of each family; it is zero if the route has none.
inline Ferule::IpGenAddr frrNextHop( const MatchInput_ * input, AddressFamily af ) noexcept {
   const auto & nextHop = input->getNexthop();
   return nextHop.af() == af ? nextHop : Ferule::IpGenAddr( af );
}

/// Matches a route with this metric. A route without a metric has the metric 0.
class FrrMetricMatcher final : public Matcher {
 public:
   explicit FrrMetricMatcher( Zeugma::MaybeU63 metric ) noexcept : metric_( metric.value() ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      return input->getMetric().value() == metric_;
   }
   void formatDerivedType( std::ostream & os ) const override { os << "FrrMetricMatcher metric " << std::to_string( metric_ ); }

 private:
   uint64_t metric_;
};

/// Matches a route with this next hop in the family of the address.
class FrrNextHopMatcher final : public Matcher {
 public:
   explicit FrrNextHopMatcher( Ferule::IpGenAddr nextHop ) noexcept : nextHop_( nextHop ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      return frrNextHop( input, nextHop_.af() ) == nextHop_;
   }
   void formatDerivedType( std::ostream & os ) const override { os << "FrrNextHopMatcher next-hop " << nextHop_.toStrep(); }

 private:
   Ferule::IpGenAddr nextHop_;
};

/// Matches if a list permits the next hop as a host prefix. The list sees the next hop in the family of the route.
template <class ListMatcher, class ListStatus>
class FrrNextHopListMatcher final : public Matcher {
 public:
   FrrNextHopListMatcher( const Quoin::String & name, const Quoin::Ptr<const ListStatus> & status )
         : list_( Quoin::makeNode<ListMatcher>( name, status ) ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override {
      MatchInput_ host;
      host.prefixIs( Ferule::IpGenPrefix( frrNextHop( input, input->prefix().af() ) ) );
      return list_->match( &host, context );
   }
   const Quoin::Ptr<const ListStatus> & status() const noexcept { return list_->status(); }
   void formatDerivedType( std::ostream & os ) const override { os << "FrrNextHopListMatcher list " << list_->name(); }

 private:
   Quoin::Ptr<const ListMatcher> list_;
};

}   // namespace Agent
