/// @file policy/Result.h
/// What policy changes of a route. Agents derive from it to be told of each change.
/// Threading: a plain value, of one evaluation at a time.
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

/// Setters that want to run once more when all others have, in the order of registration. They live in the policy's sequences.
class ROUTEPOLICY_API DeferredPolicySetters : public Quoin::Node {
 public:
   ~DeferredPolicySetters() override;
   std::vector<const Setter *> & setters() noexcept { return setters_; }
   const std::vector<const Setter *> & setters() const noexcept { return setters_; }

 private:
   std::vector<const Setter *> setters_;
};

class ROUTEPOLICY_API Result_ {
 public:
   virtual ~Result_();
   virtual PolicyApplicationType applicationType() const { return PolicyApplicationType::defaultApplication; }
   virtual void setPreference( RoutePreference preference ) { preferenceStorage_ = preference; }
   virtual RoutePreference getPreference() const { return preferenceStorage_; }
   virtual void setTag( RouteTag tag ) { tagStorage_ = tag; }
   virtual RouteTag getTag() const { return tagStorage_; }

   RoutePreference preference() const { return getPreference(); }
   void preferenceIs( RoutePreference preference ) { setPreference( preference ); }
   RouteTag tag() const { return getTag(); }
   void tagIs( RouteTag tag ) { setTag( tag ); }

   /// The list of deferred setters, null until the first one registers. Copies of a result share it.
   const Quoin::Ptr<DeferredPolicySetters> & dps() const noexcept { return dps_; }
   /// Registers a setter, once.
   void deferredSetterIs( const Setter * setter );
   bool deferredSetter( const Setter * setter ) const;
   size_t deferredSetters() const { return dps_ ? dps_->setters().size() : 0; }
   void deferredSetterDel( const Setter * setter );
   /// Empties the list and lets go of it.
   void deferredSetterDelAll();

   /// Compares the list of deferred setters by identity.
   friend ROUTEPOLICY_API bool operator==( const Result_ & a, const Result_ & b );
   static bool isEq( const void * a, const void * b ) { return *static_cast<const Result_ *>( a ) == *static_cast<const Result_ *>( b ); }
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Result_ & result );

   /// Where the base's accessors keep their values.
   PLINTH_VALUE( preferenceStorage, preferenceStorageIs, {}, RoutePreference );
   PLINTH_VALUE( tagStorage, tagStorageIs, {}, RouteTag );
   /// Written without a virtual call.
   PLINTH_VALUE( metric, metricIs, {}, Zeugma::MaybeU63 );

 private:
   Quoin::Ptr<DeferredPolicySetters> dps_;
};

}   // namespace Routing::Policy
