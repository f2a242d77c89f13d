/// @file substrate/routemap/PolicySymbol.h
/// The base of every symbol. A symbol stands for a name, defined or undefined; one symbol exists per name and table, as long as the name is
/// in use. It stands between the producer of a list or route map and the compiled route maps that refer to the name.
/// Its notifier notifies the holders of the symbol when the object of that name changes.
/// Ownership: holders share the symbol; the table holds it weakly. Threading: the activity thread.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/String.h"
#include "substrate/zeugma/Dedup.h"

namespace Routing::RouteMap {

/// The published version of a symbol.
class ROUTEPOLICY_API PolicySymbolNotifier : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { version };
   ~PolicySymbolNotifier() override;

   /// Increases with every published change.
   uint32_t version() const noexcept { return version_; }
   /// Adds `delta` to the version and publishes the change. A `delta` of 0 does nothing.
   void versionInc( uint32_t delta );

 private:
   uint32_t version_ = 0;
};

/// A name with a notifier. Derived classes add the status.
class ROUTEPOLICY_API PolicySymbol : public Zeugma::DedupHandleBase {
 public:
   enum class Field : Quoin::FieldId { notifier, statusCurrent, derived };   // a derived class starts its own fields at `derived`

   explicit PolicySymbol( const Quoin::String & name ) : PolicySymbol( name, Of::list ) {}
   ~PolicySymbol() override;
   Quoin::Publisher * publisher() const noexcept override;

   /// The key in the table.
   const Quoin::String & name() const noexcept { return name_; }
   /// The version of the notifier; 0 if the notifier is null.
   uint32_t notifierVersion() const noexcept { return notifier_.value ? notifier_.value->version() : 0; }

   /// Whether the status of the symbol agrees with the configuration. The producer clears it when a change begins, and sets it when the
   /// change is published.
   bool statusCurrent() const noexcept { return statusCurrent_; }
   void statusCurrentIs( bool isCurrent );
   bool isOfList() const noexcept { return of_ == Of::list; }
   /// Whether all symbols of lists in the process are current: then no route map waits for a list. Any thread; other threads may change it.
   static bool listsAreCurrent() noexcept;

   /// The hash() of a symbol of that name.
   static uint32_t hashOf( const Quoin::String & name ) noexcept { return name.hash(); }
   uint32_t hash() const override;
   bool compare( const Zeugma::DedupHandleBase * other ) const override;
   bool compareByContent( const Zeugma::DedupContentHandle & content ) const override;   // a Quoin::String
   bool compareLessThan( const Zeugma::DedupHandleBase * other ) const override;
   bool compareLessThanByContent( const Zeugma::DedupContentHandle & content ) const override;

 protected:
   enum class Of : uint8_t { list, routeMap };
   PolicySymbol( const Quoin::String & name, Of of );
   mutable Quoin::Publisher publisher_;

   /// The object with the version, to which holders subscribe. A new symbol has its own notifier. May be null.
   PLINTH_ATTR( notifier, notifierIs, Field::notifier, Quoin::Ptr<PolicySymbolNotifier> );

 private:
   const Of of_;
   bool statusCurrent_ = true;
   Quoin::String name_;
};

}   // namespace Routing::RouteMap
