/// @file policy/MatchKeys.h
/// What a matcher tells the plan of its route map (policy/RouteMapPlan.h) about the routes that it can match. The plan looks a route up by
/// these keys, and evaluation then does not ask the matchers of a sequence that cannot match.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/quoin/Seal.h"
#include "substrate/routing/RouteTypes.h"
#include "substrate/zeugma/MaybeU63.h"

namespace Routing::RouteMap {
class PrefixListStatus;
}
namespace Ferule {
class IpGenAddr;
}

namespace Routing::Policy {

class MatchInput_;

/// An attribute of a route.
struct ROUTEPOLICY_API MatchKey {
   /// The attributes that a plan can look up. A route has one value of each, and any number of `own` ones. `protocol` is the configured
   /// protocol that the protocol of the route counts as.
   enum class Attribute : uint8_t { tag, metric, protocol, nexthop, ospfInstance, isisInstance, own };
   static constexpr unsigned kAttributes = 7;

   uint64_t value;
   Attribute attribute;

   static MatchKey tag( RouteTag tag ) noexcept { return { tag, Attribute::tag }; }
   static MatchKey metric( Zeugma::MaybeU63 metric ) noexcept {
      return { metric.present() ? metric.value() : Zeugma::MaybeU63::kAbsent, Attribute::metric };
   }
   static MatchKey protocol( RouteProto configured ) noexcept { return { uint64_t( configured ), Attribute::protocol }; }
   /// Different next hops may have the same key.
   static MatchKey nexthop( const Ferule::IpGenAddr & nexthop ) noexcept;
   static MatchKey ospfInstance( uint32_t instance ) noexcept { return { instance, Attribute::ospfInstance }; }
   static MatchKey isisInstance( uint32_t instance ) noexcept { return { instance, Attribute::isisInstance }; }
   /// One of MatchInput_::getOwnKeys(), whatever it means to the agent.
   static MatchKey own( uint64_t key ) noexcept { return { key, Attribute::own }; }
   /// The key of a route; not of `own`.
   static MatchKey of( const MatchInput_ & input, Attribute attribute );

   friend bool operator==( const MatchKey &, const MatchKey & ) = default;
};

/// Collects what one matcher tells. A matcher that tells nothing is asked whenever the walk over all sequences would ask it.
/// Threading: one thread; the matcher must not keep it.
class ROUTEPOLICY_API MatchKeys {
 public:
   static constexpr size_t kMost = 64;   // keys of one matcher that a plan looks up
   /// The matcher need not be asked about a route that its sequence cannot match for other reasons: asking it has no effect but the answer.
   /// It must not change the route.
   /// keyIs(), listIs() and noRoute() imply this, unless one of the next two functions says otherwise.
   void skippable() noexcept { isSkippable_ = true; }
   /// The matcher changes nothing, but it may throw. Therefore it is asked whenever the walk over all sequences would ask it, except about
   /// a route that it cannot match by what it tells.
   void mayThrow() noexcept { effect_ = Effect::none; }
   /// The matcher changes the route if it matches, and nothing else; it may throw. It is asked as one that may throw.
   void changesMatchedRoute() noexcept { effect_ = Effect::ofMatch; }
   /// The matcher matches only routes with this key, or with one of the other keys that it tells. A plan looks up at most kMost keys.
   void keyIs( const MatchKey & key );
   /// The matcher matches only routes whose prefix this list permits. Null: an undefined list, which permits nothing. A plan looks up one
   /// list, and none beside keys. The matcher must hold the list as long as it lives.
   void listIs( const RouteMap::PrefixListStatus * list );
   /// The matcher matches no route.
   void noRoute() noexcept;
   /// The matcher matches every route that has one of its keys, or that its list permits.
   void exact() noexcept { isExact_ = true; }
   /// The answer changes if the object with this seal does.
   void dependsOn( const Quoin::Seal & seal ) const noexcept { seal.close(); }

   /// What asking the matcher does to the route.
   enum class Effect : uint8_t { any, ofMatch, none };
   Effect effect() const noexcept { return effect_ == Effect::any && isSkippable_ ? Effect::none : effect_; }
   bool isSkippable() const noexcept { return isSkippable_ && effect_ == Effect::any; }
   /// Whether a plan can look up the routes that match: those with one of keys(), or those that list() permits. If neither exists, no
   /// route matches.
   bool isSelective() const noexcept;
   /// Whether the matcher need not be asked about a route that was looked up.
   bool isExact() const noexcept { return isExact_ && effect_ == Effect::any; }
   const std::vector<MatchKey> & keys() const noexcept { return keys_; }
   const RouteMap::PrefixListStatus * list() const noexcept { return list_; }

 private:
   std::vector<MatchKey> keys_;
   const RouteMap::PrefixListStatus * list_ = nullptr;
   Effect effect_ = Effect::any;   // unless the matcher tells that it is skippable
   bool isSkippable_ = false;
   bool isSelective_ = false;
   bool isExact_ = false;
   bool hasTwoLists_ = false;
};

}   // namespace Routing::Policy
