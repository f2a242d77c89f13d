/// @file policy/Setter.h
/// One change of a route. Agents derive their own from it.
/// Ownership: shared by the sequences that use it. Threading: setters run on several threads at once, each on its own result.
#pragma once

#include <iosfwd>

#include "policy/PolicyTypes.h"
#include "policy/Result.h"
#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

class ROUTEPOLICY_API Setter : public Quoin::Node {
 public:
   ~Setter() override;
   /// The change. A setter that must see what all others have set registers itself here, with Result_::deferredSetterIs(), and
   /// does its work in deferredSetValue().
   virtual void setValue( Result_ * result ) const = 0;
   /// These three end the process with "0 && \"Must override in derived class\"" unless a derived setter has them.
   virtual void filterCommValue( Result_ * result ) const;
   virtual void deferredSetValue( Result_ * result ) const;
   /// Writes the text of the derived setter.
   virtual void formatDerivedType( std::ostream & os ) const = 0;
   virtual Quoin::Ptr<const Setter> createSkipIbgp() const;
   virtual RouteMapFeatures getFeatures() const;

   Quoin::String toStrep() const;

   /// Doors for tests: the same on a result that is const to the caller.
   void testSetValue( const Result_ & result ) const;
   void testDeferredSetValue( const Result_ & result ) const;
   /// setValue(), and at once the deferred half if that asked for it. The setter must not be registered yet.
   void testFullSetValue( const Result_ & result ) const;
};

/// The setter's text; "NULL" for a null.
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Setter * setter );
template <std::derived_from<Setter> T>
std::ostream & operator<<( std::ostream & os, const Quoin::Ptr<T> & setter ) {
   return os << static_cast<const Setter *>( setter.get() );
}

/// The base of what an agent hands to the makers of its setters.
class ROUTEPOLICY_API SetParams : public Quoin::Node {
 public:
   ~SetParams() override;
};

}   // namespace Routing::Policy
