/// @file substrate/plinth/Attribute.h
/// Attributes of notifying objects: one line each, every public name spelled out.
/// A write stores first and publishes after; a write of the present value publishes nothing.
/// Errors: a null handle cannot be a member of a collection or set; every other value can be stored. Threading: any number of readers, or one writer.
#pragma once

#include <type_traits>
#include <utility>

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

template <class T>
using Read = std::conditional_t<std::is_trivially_copyable_v<T> && sizeof( T ) <= 16, T, const T &>;

template <class T>
struct Attr {
   T value{};
   bool assign( T && v ) {
      if( v == value ) return false;
      std::swap( value, v );   // the old value stays with the caller: it goes when the new one stands
      return true;
   }
};

/// Whether two keys of a published change are the same.
template <class K>
bool keyIsEq( const void * a, const void * b ) {
   return *static_cast<const K *>( a ) == *static_cast<const K *>( b );
}

/// Tells that the member under `key` changed from `old`, a default-built value where there was none.
template <class Publisher, class K, class V>
void publishMember( Publisher & publisher, Quoin::FieldId field, const K & key, const V * old ) {
   publisher.publishChangeRecursive( field, &key, old, keyIsEq<K> );
}

/// The value under `key`, a default-built one where there is none.
template <class Collection>
typename Collection::Value memberOf( const Collection & collection, const typename Collection::Key & key ) {
   auto * found = collection.find( key );
   return found ? *found : typename Collection::Value{};
}

/// Errors: a null handle is a fault of the caller and raised under the name of the `mutator`.
template <class Publisher, class Collection>
void putMember( Publisher & publisher, Quoin::FieldId field, const char * mutator, Collection & collection,
                const typename Collection::Key & key, typename Collection::Value value ) {
   if constexpr( requires { typename Collection::Value::element_type; } )
      if( !value ) throwMutatorArgNullPointerException( mutator );
   const auto old = memberOf( collection, key );
   if( collection.put( key, std::move( value ) ) ) publishMember( publisher, field, key, &old );
}

template <class Publisher, class Collection>
void eraseMember( Publisher & publisher, Quoin::FieldId field, Collection & collection, const typename Collection::Key & key ) {
   const auto old = memberOf( collection, key );
   if( collection.erase( key ) ) publishMember( publisher, field, key, &old );
}

/// Empties the collection first and then tells of every member, so that no reactor sees half of it. A reaction that throws leaves
/// the rest untold.
template <class Publisher, class Collection>
void eraseAllMembers( Publisher & publisher, Quoin::FieldId field, Collection & collection ) {
   Quoin::ReleaseScope scope;   // a reaction may drop the owner
   for( const auto & [ key, value ] : collection.takeAll() ) publishMember( publisher, field, key, &value );
}

/// Makes `to` hold what `from` holds, telling of each real change.
template <class Publisher, class Collection>
void cloneMembers( Publisher & publisher, Quoin::FieldId field, Collection & to, const Collection & from ) {
   Quoin::ReleaseScope scope;
   for( auto i = to.first(); i; i.next() )
      if( !from.find( i.key() ) ) eraseMember( publisher, field, to, i.key() );
   for( auto i = from.first(); i; i.next() ) putMember( publisher, field, "clone", to, i.key(), i.value() );   // it may be written to
}

/// The node under `key`; made with that key, and told of, if there is none.
template <class Publisher, class Collection>
typename Collection::Value findOrMakeMember( Publisher & publisher, Quoin::FieldId field, Collection & collection,
                                             const typename Collection::Key & key ) {
   if( auto * found = collection.find( key ) ) return *found;
   Quoin::ReleaseScope scope;   // a reaction may drop the owner
   auto made = Quoin::makeNode<typename Collection::Value::element_type>( key );
   putMember( publisher, field, "", collection, key, made );
   auto * now = collection.find( key );   // a reaction may have put another in its place
   return now ? *now : made;
}

/// Takes the node under `key` out; null when there was none.
template <class Publisher, class Collection>
typename Collection::Value takeMember( Publisher & publisher, Quoin::FieldId field, Collection & collection,
                                       const typename Collection::Key & key ) {
   auto old = memberOf( collection, key );
   if( collection.erase( key ) ) publishMember( publisher, field, key, &old );
   return old;
}

// The same for a set, whose members are their keys.

/// Errors: a null handle, as above.
template <class Publisher, class Set, class K>
void putKey( Publisher & publisher, Quoin::FieldId field, const char * mutator, Set & set, const K & key ) {
   if constexpr( requires { typename K::element_type; } )
      if( !key ) throwMutatorArgNullPointerException( mutator );
   if( set.put( key ) ) publisher.publishChangeRecursive( field, &key, nullptr, keyIsEq<K> );
}

template <class Publisher, class Set, class K>
void eraseKey( Publisher & publisher, Quoin::FieldId field, Set & set, const K & key ) {
   if( set.erase( key ) ) publisher.publishChangeRecursive( field, &key, nullptr, keyIsEq<K> );
}

template <class Publisher, class Set>
void eraseAllKeys( Publisher & publisher, Quoin::FieldId field, Set & set ) {
   Quoin::ReleaseScope scope;
   for( const auto & key : set.takeAll() ) publisher.publishChangeRecursive( field, &key, nullptr, keyIsEq<typename Set::Key> );
}

}   // namespace Plinth

// clang-format off

// What the macros have in common: the reader comes first, so that the comment above the line documents it, then the private member, then
// the writers. Every one of them starts and ends in `public:`, whichever section it stands in; what follows a macro and is private says so.
// Each but PLINTH_VALUE needs a member `publisher_`.

/// An attribute: reader `foo`, writer `fooIs`. It starts as a default-built value, or as what a constructor gives `foo_`.
#define PLINTH_ATTR( foo, fooIs, field, ... )                                                                     \
 public:                                                                                                          \
   ::Plinth::Read<__VA_ARGS__> foo() const noexcept { return foo##_.value; }                                      \
                                                                                                                  \
 private:                                                                                                         \
   ::Plinth::Attr<__VA_ARGS__> foo##_;                                                                            \
                                                                                                                  \
 public:                                                                                                          \
   void fooIs( __VA_ARGS__ v ) {                                                                                  \
      if( foo##_.assign( std::move( v ) ) ) this->publisher_.publishChange( ::Quoin::FieldId( field ) );          \
   }

/// A collection: readers `foo` of the whole and of one key (a default-built value, such as a null handle, where there is none),
/// writers `fooIs`, `fooDel`, `fooDelAll`. Keys are passed by value: they may alias a member.
#define PLINTH_COLLECTION( foo, fooIs, fooDel, fooDelAll, field, ... )                                            \
 public:                                                                                                          \
   const __VA_ARGS__ & foo() const noexcept { return foo##_; }                                                    \
   __VA_ARGS__::Value foo( const __VA_ARGS__::Key & key ) const { return ::Plinth::memberOf( foo##_, key ); }     \
                                                                                                                  \
 private:                                                                                                         \
   __VA_ARGS__ foo##_;                                                                                            \
                                                                                                                  \
 public:                                                                                                          \
   void fooIs( __VA_ARGS__::Key key, __VA_ARGS__::Value value ) {                                                 \
      ::Plinth::putMember( this->publisher_, ::Quoin::FieldId( field ), #fooIs, foo##_, key, std::move( value ) ); \
   }                                                                                                              \
   void fooDel( __VA_ARGS__::Key key ) { ::Plinth::eraseMember( this->publisher_, ::Quoin::FieldId( field ), foo##_, key ); } \
   void fooDelAll() { ::Plinth::eraseAllMembers( this->publisher_, ::Quoin::FieldId( field ), foo##_ ); }

/// A collection of nodes that hold their key: `fooIs` takes a node, and `nodeKey` is what reads its key. `fooDel` gives the node that
/// goes, null for none. The rest as above.
#define PLINTH_NODES( foo, fooIs, fooDel, fooDelAll, field, nodeKey, ... )                                        \
 public:                                                                                                          \
   const __VA_ARGS__ & foo() const noexcept { return foo##_; }                                                    \
   __VA_ARGS__::Value foo( const __VA_ARGS__::Key & key ) const { return ::Plinth::memberOf( foo##_, key ); }     \
                                                                                                                  \
 private:                                                                                                         \
   __VA_ARGS__ foo##_;                                                                                            \
                                                                                                                  \
 public:                                                                                                          \
   void fooIs( __VA_ARGS__::Value node ) {   /* by value: a reaction may drop the caller's */                     \
      if( !node ) ::Plinth::throwMutatorArgNullPointerException( #fooIs );                                        \
      ::Plinth::putMember( this->publisher_, ::Quoin::FieldId( field ), #fooIs, foo##_, node->nodeKey(), node );  \
   }                                                                                                              \
   __VA_ARGS__::Value fooDel( __VA_ARGS__::Key key ) {                                                            \
      return ::Plinth::takeMember( this->publisher_, ::Quoin::FieldId( field ), foo##_, key );                    \
   }                                                                                                              \
   void fooDelAll() { ::Plinth::eraseAllMembers( this->publisher_, ::Quoin::FieldId( field ), foo##_ ); }

/// A collection of nodes that are made here: `fooIs` takes a key, and gives the node that stands there or is made of the key, which
/// alone is told of. `fooDel` gives the node that goes, null for none.
#define PLINTH_MADE_NODES( foo, fooIs, fooDel, fooDelAll, field, ... )                                            \
 public:                                                                                                          \
   const __VA_ARGS__ & foo() const noexcept { return foo##_; }                                                    \
   __VA_ARGS__::Value foo( const __VA_ARGS__::Key & key ) const { return ::Plinth::memberOf( foo##_, key ); }     \
                                                                                                                  \
 private:                                                                                                         \
   __VA_ARGS__ foo##_;                                                                                            \
                                                                                                                  \
 public:                                                                                                          \
   __VA_ARGS__::Value fooIs( __VA_ARGS__::Key key ) {                                                             \
      return ::Plinth::findOrMakeMember( this->publisher_, ::Quoin::FieldId( field ), foo##_, key );              \
   }                                                                                                              \
   __VA_ARGS__::Value fooDel( __VA_ARGS__::Key key ) {                                                            \
      return ::Plinth::takeMember( this->publisher_, ::Quoin::FieldId( field ), foo##_, key );                    \
   }                                                                                                              \
   void fooDelAll() { ::Plinth::eraseAllMembers( this->publisher_, ::Quoin::FieldId( field ), foo##_ ); }

/// A set: readers `foo` of the whole and `fooHas` of one key.
#define PLINTH_SET( foo, fooHas, fooIs, fooDel, fooDelAll, field, ... )                                           \
 public:                                                                                                          \
   const __VA_ARGS__ & foo() const noexcept { return foo##_; }                                                    \
   bool fooHas( const __VA_ARGS__::Key & key ) const { return foo##_.contains( key ); }                           \
                                                                                                                  \
 private:                                                                                                         \
   __VA_ARGS__ foo##_;                                                                                            \
                                                                                                                  \
 public:                                                                                                          \
   void fooIs( __VA_ARGS__::Key key ) { ::Plinth::putKey( this->publisher_, ::Quoin::FieldId( field ), #fooIs, foo##_, key ); } \
   void fooDel( __VA_ARGS__::Key key ) { ::Plinth::eraseKey( this->publisher_, ::Quoin::FieldId( field ), foo##_, key ); } \
   void fooDelAll() { ::Plinth::eraseAllKeys( this->publisher_, ::Quoin::FieldId( field ), foo##_ ); }

/// A field of a plain value: reader `foo`, writer `fooIs`; nobody is told. `initial` is what a new value has.
#define PLINTH_VALUE( foo, fooIs, initial, ... )                                                                  \
 public:                                                                                                          \
   ::Plinth::Read<__VA_ARGS__> foo() const noexcept { return foo##_; }                                            \
                                                                                                                  \
 private:                                                                                                         \
   __VA_ARGS__ foo##_ initial;                                                                                    \
                                                                                                                  \
 public:                                                                                                          \
   void fooIs( __VA_ARGS__ v ) { foo##_ = std::move( v ); }
// clang-format on
