/// @file policy/Result.h
/// The attributes of a route that policy may change. Setters write it after a permit; an agent may derive a class to react to each change.
/// Threading: a plain value. One evaluation uses it at a time.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <vector>

#include "policy/PolicyTypes.h"
#include "routepolicy_export.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/routing/RouteTypes.h"
#include "substrate/zeugma/MaybeU63.h"

namespace Routing::Policy {

class Setter;

/// The setters that run once more after all others, in the order of registration.
/// Ownership: none. The sequences of the policy own the setters.
class ROUTEPOLICY_API DeferredPolicySetters : public Quoin::Node {
 public:
   ~DeferredPolicySetters() override;
   std::vector<const Setter *> & setters() noexcept { return setters_; }
   const std::vector<const Setter *> & setters() const noexcept { return setters_; }

 private:
   std::vector<const Setter *> setters_;
};

/// The output of an evaluation: the changed attributes of one route.
class ROUTEPOLICY_API Result_ {
 public:
   virtual ~Result_();
   /// The point where the policy is applied.
   virtual PolicyApplicationType applicationType() const { return PolicyApplicationType::defaultApplication; }
   /// The administrative distance. Unit: 0..255, lower is preferred. A derived class may override both accessors.
   virtual void setPreference( RoutePreference preference ) { preferenceStorage_ = preference; }
   virtual RoutePreference getPreference() const { return preferenceStorage_; }
   /// The tag. A derived class may override both accessors.
   virtual void setTag( RouteTag tag ) { tagStorage_ = tag; }
   virtual RouteTag getTag() const { return tagStorage_; }

   /// The same accessors, named like attributes.
   RoutePreference preference() const { return getPreference(); }
   void preferenceIs( RoutePreference preference ) { setPreference( preference ); }
   RouteTag tag() const { return getTag(); }
   void tagIs( RouteTag tag ) { setTag( tag ); }

   /// The list of deferred setters; null until the first registration. Copies of a result share it.
   const Quoin::Ptr<DeferredPolicySetters> & dps() const noexcept { return dps_; }
   /// Registers a setter. A second registration of the same setter has no effect.
   void deferredSetterIs( const Setter * setter );
   /// Whether a setter is registered.
   bool deferredSetter( const Setter * setter ) const;
   /// The number of registered setters.
   size_t deferredSetters() const { return dps_ ? dps_->setters().size() : 0; }
   /// Removes a setter, if registered.
   void deferredSetterDel( const Setter * setter );
   /// Empties the list and releases it.
   void deferredSetterDelAll();

   /// Compares the attributes by value and the list of deferred setters by identity.
   friend ROUTEPOLICY_API bool operator==( const Result_ & a, const Result_ & b );
   static bool isEq( const void * a, const void * b ) { return *static_cast<const Result_ *>( a ) == *static_cast<const Result_ *>( b ); }
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Result_ & result );

   /// The storage of the base accessors.
   PLINTH_VALUE( preferenceStorage, preferenceStorageIs, {}, RoutePreference );
   PLINTH_VALUE( tagStorage, tagStorageIs, {}, RouteTag );
   /// The metric. Setters write it without a virtual call.
   PLINTH_VALUE( metric, metricIs, {}, Zeugma::MaybeU63 );

 private:
   Quoin::Ptr<DeferredPolicySetters> dps_;
};

}   // namespace Routing::Policy
