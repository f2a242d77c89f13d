/// @file substrate/routemap/PolicySymbol.h
/// The base of every symbol: one object per name and table, alive from the first reference to that name, defined or not, to the
/// last. Holders learn of a change of what it stands for from its notifier.
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

   uint32_t version() const noexcept { return version_; }
   /// Adds `delta` and publishes the change of `version`; 0 does nothing.
   void versionInc( uint32_t delta );

 private:
   uint32_t version_ = 0;
};

class ROUTEPOLICY_API PolicySymbol : public Zeugma::DedupHandleBase {
 public:
   enum class Field : Quoin::FieldId { notifier, statusCurrent, derived };   // a derived class goes on from `derived`

   explicit PolicySymbol( const Quoin::String & name );
   ~PolicySymbol() override;
   Quoin::Publisher * publisher() const noexcept override;

   /// The symbol's identity within its table.
   const Quoin::String & name() const noexcept { return name_; }
   /// The notifier's; 0 where there is none.
   uint32_t notifierVersion() const noexcept { return notifier_.value ? notifier_.value->version() : 0; }

   /// What hash() gives for a symbol of that name.
   static uint32_t hashOf( const Quoin::String & name ) noexcept { return name.hash(); }
   uint32_t hash() const override;
   bool compare( const Zeugma::DedupHandleBase * other ) const override;
   bool compareByContent( const Zeugma::DedupContentHandle & content ) const override;   // a Quoin::String
   bool compareLessThan( const Zeugma::DedupHandleBase * other ) const override;
   bool compareLessThanByContent( const Zeugma::DedupContentHandle & content ) const override;

 protected:
   mutable Quoin::Publisher publisher_;

   /// The version that holders subscribe to; a new symbol has one of its own. May be null.
   PLINTH_ATTR( notifier, notifierIs, Field::notifier, Quoin::Ptr<PolicySymbolNotifier> );
   /// True while the status behind the symbol agrees with the configuration. Its producer clears it before a change and sets
   /// it when the change has landed.
   PLINTH_ATTR( statusCurrent, statusCurrentIs, Field::statusCurrent, bool );

 private:
   Quoin::String name_;
};

}   // namespace Routing::RouteMap
