/// @file policy/Setter.h
/// One change of a route, compiled from one set clause. A sequence holds setters, which run after a permit; agents derive setters of their
/// own.
/// Ownership: shared by the sequences that use it. Threading: setters run on several threads at once, each on its own result.
#pragma once

#include <iosfwd>

#include "policy/PolicyTypes.h"
#include "policy/Result.h"
#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

/// The base of all setters.
class ROUTEPOLICY_API Setter : public Quoin::Node {
 public:
   ~Setter() override;
   /// Changes the result. A setter that depends on all other setters registers itself here, with Result_::deferredSetterIs(), and changes
   /// the result in deferredSetValue().
   virtual void setValue( Result_ * result ) const = 0;
   /// For setters of agents; the library never calls it. The base ends the process with "0 && \"Must override in derived class\"".
   virtual void filterCommValue( Result_ * result ) const;
   /// The deferred part of the change; see setValue(). The base ends the process with the same text.
   virtual void deferredSetValue( Result_ * result ) const;
   /// Prints the text of the derived setter.
   virtual void formatDerivedType( std::ostream & os ) const = 0;
   /// For setters of agents; the library never calls it. The base ends the process with the same text.
   virtual Quoin::Ptr<const Setter> createSkipIbgp() const;
   /// The attributes of a route that the setter reads.
   virtual RouteMapFeatures getFeatures() const;

   /// The text of the setter, for debugging.
   Quoin::String toStrep() const;

   /// setValue() and deferredSetValue() for tests, on a const reference.
   void testSetValue( const Result_ & result ) const;
   void testDeferredSetValue( const Result_ & result ) const;
   /// setValue(), followed by deferredSetValue() if setValue() registered the setter. The setter must not be registered before.
   void testFullSetValue( const Result_ & result ) const;
};

/// Prints the text of the setter, or "NULL" for a null pointer.
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Setter * setter );
template <std::derived_from<Setter> T>
std::ostream & operator<<( std::ostream & os, const Quoin::Ptr<T> & setter ) {
   return os << static_cast<const Setter *>( setter.get() );
}

/// The base of the parameters that an agent passes to the functions that create its setters.
class ROUTEPOLICY_API SetParams : public Quoin::Node {
 public:
   ~SetParams() override;
};

}   // namespace Routing::Policy
