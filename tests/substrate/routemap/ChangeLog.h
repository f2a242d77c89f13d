/// @file tests/substrate/routemap/ChangeLog.h
/// Hears every change of an object and keeps the fields, and the keys where there are any.
#pragma once

#include <utility>
#include <vector>

#include "substrate/quoin/Node.h"
#include "substrate/quoin/Publisher.h"

template <class Key = int>
struct ChangeLog final : Quoin::Subscriber {
   explicit ChangeLog( Quoin::Node & watched ) { watched.publisher()->subscriberAdd( this ); }
   void onChange( const Quoin::Change & change ) override {
      fields.push_back( change.field );
      if( change.key ) keys.push_back( *static_cast<const Key *>( change.key ) );
   }
   std::vector<Quoin::FieldId> take() { return std::exchange( fields, {} ); }
   std::vector<Quoin::FieldId> fields;
   std::vector<Key> keys;
};
