/// @file substrate/plinth/Attribute.h
/// Declares the attributes and collections of a class, one macro line each. Configuration and status classes use the macros. Each change
/// notifies the subscribers of the object (Quoin::Publisher).
/// A write first stores the value and then publishes the change; a write of the present value publishes nothing.
/// Errors: a null handle cannot be a member of a collection or set; every other value can be stored.
/// Threading: any number of readers, or one writer.
#pragma once

#include <type_traits>
#include <utility>

#include "substrate/plinth/Exception.h"
#include "substrate/plinth/Version.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

/// The return type of a reader: small plain values by value, all others by reference.
template <class T>
using Read = std::conditional_t<std::is_trivially_copyable_v<T> && sizeof( T ) <= 16, T, const T &>;

/// The storage of one attribute.
template <class T>
struct Attr {
   T value{};
   /// Stores `v`. Returns false, and does nothing, if `v` is the present value.
   bool assign( T && v ) {
      if( v == value ) return false;
      std::swap( value, v );   // the old value is destroyed in the caller, after the new value is stored
      return true;
   }
};

/// Whether two keys of a published change are equal.
template <class K>
bool keyIsEq( const void * a, const void * b ) {
   return *static_cast<const K *>( a ) == *static_cast<const K *>( b );
}

/// Publishes that the member under `key` changed. `old` is its previous value; default-built if the key had no member.
template <class Publisher, class K, class V>
void publishMember( Publisher & publisher, Quoin::FieldId field, const K & key, const V * old ) {
   publisher.publishChangeRecursive( field, &key, old, keyIsEq<K> );
}

/// The value under `key`; default-built if the key has no member.
template <class Collection>
typename Collection::Value memberOf( const Collection & collection, const typename Collection::Key & key ) {
   auto * found = collection.find( key );
   return found ? *found : typename Collection::Value{};
}

/// Inserts or replaces the member under `key` and publishes a real change.
/// Errors: MutatorArgNullPointerException, with the name `mutator`, if `value` is a null handle.
template <class Publisher, class Collection>
void putMember( Publisher & publisher, Quoin::FieldId field, const char * mutator, Collection & collection,
                const typename Collection::Key & key, typename Collection::Value value ) {
   if constexpr( requires { typename Collection::Value::element_type; } )
      if( !value ) throwMutatorArgNullPointerException( mutator );
   const Stored stored = collection.store( key, value );
   if( stored == Stored::nothing ) return;
   if( stored == Stored::added ) value = typename Collection::Value{};
   publishMember( publisher, field, key, &value );
}

/// For collections whose owner does nothing when a member comes or goes.
struct NoLink {
   void operator()( const auto & ) const noexcept {}
};

/// Removes the member under `key` and publishes the change. Does nothing if the key has no member.
template <class Publisher, class Collection>
void eraseMember( Publisher & publisher, Quoin::FieldId field, Collection & collection, const typename Collection::Key & key ) {
   if( const auto old = collection.take( key ) ) publishMember( publisher, field, key, &*old );
}

/// Empties the collection first and then publishes the removal of every member, so no subscriber sees a half-empty collection. `unlink` is
/// called for each member before the first change is published.
template <class Publisher, class Collection, class Unlink = NoLink>
void eraseAllMembers( Publisher & publisher, Quoin::FieldId field, Collection & collection, Unlink && unlink = {} ) {
   Quoin::ReleaseScope scope;   // a subscriber may drop the owner
   const auto gone = collection.takeAll();
   for( const auto & [ key, value ] : gone ) unlink( value );
   for( const auto & [ key, value ] : gone ) publishMember( publisher, field, key, &value );
}

/// Makes the members of `to` equal to the members of `from`, and publishes each real change.
template <class Publisher, class Collection>
void cloneMembers( Publisher & publisher, Quoin::FieldId field, Collection & to, const Collection & from ) {
   Quoin::ReleaseScope scope;
   for( auto i = to.first(); i; i.next() )
      if( !from.find( i.key() ) ) eraseMember( publisher, field, to, i.key() );
   for( auto i = from.first(); i; i.next() ) putMember( publisher, field, "clone", to, i.key(), i.value() );   // `from` may change
}

/// The node under `key`. If it does not exist, it is created from the key, linked by `link`, stored and published.
template <class Publisher, class Collection, class Link>
typename Collection::Value findOrMakeMember( Publisher & publisher, Quoin::FieldId field, Collection & collection,
                                             const typename Collection::Key & key, Link && link ) {
   if( auto * found = collection.find( key ) ) return *found;
   Quoin::ReleaseScope scope;   // a subscriber may drop the owner
   auto made = Quoin::makeNode<typename Collection::Value::element_type>( key );
   link( made );
   putMember( publisher, field, "", collection, key, made );
   auto * now = collection.find( key );   // a subscriber may have replaced or removed the node
   return now ? *now : made;
}

/// Removes the node under `key`, publishes the change, and returns the node; null if the key had none. `unlink` is called for the node
/// before the change is published.
template <class Publisher, class Collection, class Unlink = NoLink>
typename Collection::Value takeMember( Publisher & publisher, Quoin::FieldId field, Collection & collection,
                                       const typename Collection::Key & key, Unlink && unlink = {} ) {
   auto old = collection.take( key );
   if( !old ) return {};
   unlink( *old );
   publishMember( publisher, field, key, &*old );
   return *std::move( old );
}

// The same functions for a set, whose members are the keys themselves.

/// Inserts `key` and publishes a real change. Errors: MutatorArgNullPointerException, as putMember().
template <class Publisher, class Set, class K>
void putKey( Publisher & publisher, Quoin::FieldId field, const char * mutator, Set & set, const K & key ) {
   if constexpr( requires { typename K::element_type; } )
      if( !key ) throwMutatorArgNullPointerException( mutator );
   if( set.put( key ) ) publisher.publishChangeRecursive( field, &key, nullptr, keyIsEq<K> );
}

/// Removes `key` and publishes the change. Does nothing if the set does not contain it.
template <class Publisher, class Set, class K>
void eraseKey( Publisher & publisher, Quoin::FieldId field, Set & set, const K & key ) {
   if( set.erase( key ) ) publisher.publishChangeRecursive( field, &key, nullptr, keyIsEq<K> );
}

/// Empties the set first and then publishes the removal of every key, as eraseAllMembers().
template <class Publisher, class Set>
void eraseAllKeys( Publisher & publisher, Quoin::FieldId field, Set & set ) {
   if( set.empty() ) return;
   Quoin::ReleaseScope scope;
   for( const auto & key : set.takeAll() ) publisher.publishChangeRecursive( field, &key, nullptr, keyIsEq<typename Set::Key> );
}

}   // namespace Plinth

// clang-format off

// All macros have the same shape: first the reader, so that the comment above the macro documents it; then the private member; then the
// writers. Every macro starts and ends in `public:`, whichever section it is used in; private members after a macro need `private:`.
// Every macro except PLINTH_VALUE needs a member `publisher_`.

/// An attribute: reader `foo`, writer `fooIs`. The initial value is default-built, unless a constructor initializes `foo_`.
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

/// A collection: readers `foo()` of the whole and `foo( key )` of one member (default-built, such as a null handle, if the key has no
/// member); writers `fooIs`, `fooDel`, `fooDelAll`. Keys are passed by value: they may alias a member.
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

/// A collection of nodes that hold their own key. `fooIs` takes a node; `nodeKey` is the function of the node that reads its key.
/// `fooDel` returns the removed node, or null. The rest is as in PLINTH_COLLECTION.
#define PLINTH_NODES( foo, fooIs, fooDel, fooDelAll, field, nodeKey, ... )                                        \
 public:                                                                                                          \
   const __VA_ARGS__ & foo() const noexcept { return foo##_; }                                                    \
   __VA_ARGS__::Value foo( const __VA_ARGS__::Key & key ) const { return ::Plinth::memberOf( foo##_, key ); }     \
                                                                                                                  \
 private:                                                                                                         \
   __VA_ARGS__ foo##_;                                                                                            \
                                                                                                                  \
 public:                                                                                                          \
   void fooIs( __VA_ARGS__::Value node ) {   /* by value: a subscriber may drop the caller's handle */            \
      if( !node ) ::Plinth::throwMutatorArgNullPointerException( #fooIs );                                        \
      ::Plinth::putMember( this->publisher_, ::Quoin::FieldId( field ), #fooIs, foo##_, node->nodeKey(), node );  \
   }                                                                                                              \
   __VA_ARGS__::Value fooDel( __VA_ARGS__::Key key ) {                                                            \
      return ::Plinth::takeMember( this->publisher_, ::Quoin::FieldId( field ), foo##_, key );                    \
   }                                                                                                              \
   void fooDelAll() { ::Plinth::eraseAllMembers( this->publisher_, ::Quoin::FieldId( field ), foo##_ ); }

/// A collection of nodes that the collection creates itself, and that know their owner. `fooIs` takes a key and returns the node of that
/// key; if the node does not exist, it is created from the key and published. `fooDel` returns the removed node, or null. The owner's
/// function `link` is called for a node that was created, before it is published; `unlink` for a node that was removed, before the removal
/// is published.
#define PLINTH_LINKED_NODES( foo, fooIs, fooDel, fooDelAll, field, link, unlink, ... )                            \
 public:                                                                                                          \
   const __VA_ARGS__ & foo() const noexcept { return foo##_; }                                                    \
   __VA_ARGS__::Value foo( const __VA_ARGS__::Key & key ) const { return ::Plinth::memberOf( foo##_, key ); }     \
                                                                                                                  \
 private:                                                                                                         \
   __VA_ARGS__ foo##_;                                                                                            \
                                                                                                                  \
 public:                                                                                                          \
   __VA_ARGS__::Value fooIs( __VA_ARGS__::Key key ) {                                                             \
      return ::Plinth::findOrMakeMember( this->publisher_, ::Quoin::FieldId( field ), foo##_, key,                \
                                         [ & ]( const auto & node ) { link( *node ); } );                         \
   }                                                                                                              \
   __VA_ARGS__::Value fooDel( __VA_ARGS__::Key key ) {                                                            \
      return ::Plinth::takeMember( this->publisher_, ::Quoin::FieldId( field ), foo##_, key,                      \
                                   [ & ]( const auto & node ) { unlink( *node ); } );                             \
   }                                                                                                              \
   void fooDelAll() {                                                                                             \
      ::Plinth::eraseAllMembers( this->publisher_, ::Quoin::FieldId( field ), foo##_,                             \
                                 [ & ]( const auto & node ) { unlink( *node ); } );                               \
   }

/// As PLINTH_LINKED_NODES, for nodes that do not know their owner.
#define PLINTH_MADE_NODES( foo, fooIs, fooDel, fooDelAll, field, ... )                                            \
   PLINTH_LINKED_NODES( foo, fooIs, fooDel, fooDelAll, field, ::Plinth::NoLink{}, ::Plinth::NoLink{}, __VA_ARGS__ )

/// A set: readers `foo` of the whole and `fooHas` of one key; writers `fooIs`, `fooDel`, `fooDelAll`.
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

/// A field of a plain value: reader `foo`, writer `fooIs`; changes are not published. `initial` is the initializer of the field.
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
