/// @file substrate/zeugma/BaseOutputSm.h
/// The base of a state machine that watches objects and produces output, and the two kinds of parts of such a machine: reactors and
/// nested machines. The machines of compile/ derive from this base; they stand between configuration and published status.
///
///    class EntrySm final : public Zeugma::BaseOutputSm {
///     public:
///       explicit EntrySm( const Quoin::Ptr<const Entry> & entry ) {
///          entry_.notifierIs( entry );     // subscribe to every input,
///          handleInitialized();            // then scan the present members, as if each had just been created
///       }
///       ~EntrySm() override { stop(); }    // notification off, marked as stopping (zombie); the members are destroyed next
///     private:
///       void handleChangeMissed() override { handleInitialized(); }
///       void handleEntry( const Quoin::Change & change );
///       Zeugma::Reactor<EntrySm> entry_{ *this, &EntrySm::handleEntry };
///       Zeugma::NestedSms<uint32_t, RuleSm> ruleSm_{ *this };
///    };
///
/// Notification is switched on after construction: by Zeugma::makeSm(), or by NestedSms for a nested machine.
/// Ownership: a machine owns its parts, and holds the objects that it watches. Threading: the activity thread.
/// Invariant: a write of one of a machine's two flags (notification; zombie, which means stopping) sets the same flag of all its parts. A
/// machine that is nested later gets the zombie flag of its owner; it is switched on at once, unless the owner has been switched off. A
/// machine that was released, or that lost its last user, is stopping: it is not notified any more. A write inside a handler can therefore
/// stop the handler's own machine; the handler checks zombieReactors() after the write.
#pragma once

#include <iosfwd>
#include <optional>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/plinth/Exception.h"
#include "substrate/plinth/NotifieeConst.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/Assert.h"
#include "substrate/zeugma/DumpContext.h"

namespace Zeugma {

class BaseOutputSm;

/// A member of a machine that follows the machine's flags: a reactor, or a collection of nested machines. Ownership: the machine.
class ROUTEPOLICY_API SmPart {
 public:
   SmPart( const SmPart & ) = delete;
   SmPart & operator=( const SmPart & ) = delete;
   /// Follows BaseOutputSm::hasNotificationActiveIs() of the machine.
   virtual void partNotificationActiveIs( bool active ) = 0;
   /// Follows BaseOutputSm::plinthDoZombieReactors() of the machine.
   virtual void partZombieIs( bool zombie ) = 0;
   /// Whether the part missed a change while its machine was under construction. Reading resets it to false.
   virtual bool partChangeMissed() = 0;

 protected:
   explicit SmPart( BaseOutputSm & owner ) noexcept;
   virtual ~SmPart();
   BaseOutputSm & owner() const noexcept { return owner_; }
   /// Gives a newly nested machine the flags of its owner.
   void takeIn( BaseOutputSm & sm ) const;
   /// Stops a machine that is no longer nested: it is not notified any more. Null does nothing.
   static void giveUp( BaseOutputSm * sm );

 private:
   friend class BaseOutputSm;
   BaseOutputSm & owner_;
   SmPart * next_ = nullptr;   // in the order of construction
};

/// A state machine: a list of parts, and the two flags that they share.
class ROUTEPOLICY_API BaseOutputSm : public Quoin::Node {
 public:
   ~BaseOutputSm() override;
   /// Stops the machine at once, even if a Quoin::ReleaseScope delays its destruction.
   void lastUserGone() const override;

   bool hasNotificationActive() const noexcept { return active_; }
   /// Whether a machine that is nested now is switched on: true while this machine is on or has not been switched on yet, false after
   /// it was switched off.
   bool switchesOnNested() const noexcept { return active_ || !wasActive_; }
   /// Turns delivery on or off for all reactors and nested machines. A write of the present value does nothing, not even to the nested
   /// machines. If a change came between the machine's scan and the moment it is switched on, the machine scans again.
   void hasNotificationActiveIs( bool active );

   /// Whether the machine is stopping; its handlers are then not called.
   bool zombieReactors() const noexcept { return zombie_; }
   /// Marks the machine and its nested machines as stopping. A write of the present value does nothing, not even to the nested machines.
   void plinthDoZombieReactors( bool zombie );

   /// Writes the state of the machine as lines of text; by default its printed identity. `indent` counts columns.
   virtual void dumpState( const DumpContextPtr & ctx, unsigned indent ) const;
   /// Writes the name of this machine in traces; by default its printed identity.
   virtual void formatDerivedType( std::ostream & os ) const;

 protected:
   BaseOutputSm() = default;
   /// Called if an input changed after the initial scan and before notification was switched on. It must scan again.
   virtual void handleChangeMissed() = 0;
   /// Switches notification off and marks the machine as stopping. The destructor of the most derived class calls it, because the
   /// destructors of base classes run when the handlers no longer exist.
   void stop();

 private:
   friend class SmPart;
   SmPart * first_ = nullptr;
   bool active_ = false;
   bool wasActive_ = false;   // has been switched on at least once, or switched off
   bool zombie_ = false;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const BaseOutputSm & sm );

/// Watches one object for the machine that it is a member of, and passes every change to a member function of that machine.
template <class Owner>
class Reactor final : public Plinth::Watch, private SmPart {
 public:
   /// A member function of the machine that reacts to a change. It is re-entrant, as Quoin::Subscriber::onChange().
   using Handler = void ( Owner::* )( const Quoin::Change & change );
   Reactor( Owner & owner, Handler handler ) noexcept : SmPart( owner ), handler_( handler ) {}

 private:
   void handleChange( const Quoin::Change & change ) override {
      const Quoin::ReleaseScope whole;   // a subscriber to the handler's writes may drop the owner
      if( !owner().zombieReactors() ) ( static_cast<Owner &>( owner() ).*handler_ )( change );
   }
   void partNotificationActiveIs( bool active ) override { hasNotificationActiveIs( active ); }
   void partZombieIs( bool ) override {}   // handleChange() reads the owner's flag
   bool partChangeMissed() override { return changeMissed(); }

   Handler handler_;
};

/// Creates a machine and switches it on.
template <class Sm, class... Args>
Quoin::Ptr<Sm> makeSm( Args &&... args ) {
   auto sm = Quoin::makeNode<Sm>( std::forward<Args>( args )... );
   sm->hasNotificationActiveIs( true );
   return sm;
}

/// The nested machines of one kind, by key.
template <class K, class Sm>
class NestedSms final : private SmPart {
 public:
   using Machines = Plinth::TreeMap<K, Quoin::Ptr<Sm>>;
   explicit NestedSms( BaseOutputSm & owner ) noexcept : SmPart( owner ) {}
   ~NestedSms() override { clear(); }

   const Machines & machines() const noexcept { return machines_; }
   /// The machine under `key`, or null.
   Quoin::Ptr<Sm> find( const K & key ) const { return Quoin::Ptr<Sm>( get( key ) ); }
   /// The same without a use of the machine.
   Sm * get( const K & key ) const {
      auto * found = machines_.find( key );
      return found ? found->get() : nullptr;
   }
   /// Nests a machine under `key`, replacing the previous one, and switches it on. Switching it on may remove it again.
   /// Errors: MutatorArgNullPointerException on null.
   void put( const K & key, Quoin::Ptr<Sm> sm ) {   // by value: `key` may be erased meanwhile
      if( !sm ) Plinth::throwMutatorArgNullPointerException( "NestedSms::put" );
      const Quoin::Ptr<Sm> out = find( key );
      if( !machines_.put( key, sm ) ) return;
      giveUp( out.get() );
      takeIn( *sm );
   }
   /// Removes and stops the machine under `key`, and returns it; null if the key has none.
   Quoin::Ptr<Sm> erase( const K & key ) {
      auto out = find( key );
      machines_.erase( key );
      giveUp( out.get() );
      return out;
   }
   /// Removes and stops all machines.
   void clear() {
      for( const auto & [ key, sm ] : machines_.takeAll() ) giveUp( sm.get() );
   }

 private:
   void partNotificationActiveIs( bool active ) override {
      // A machine may remove itself here, or switch its owner back.
      for( auto i = machines_.first(); i && owner().hasNotificationActive() == active; i.next() )
         Quoin::Ptr<Sm>( i.value() )->hasNotificationActiveIs( active );
   }
   void partZombieIs( bool zombie ) override {
      for( auto i = machines_.first(); i; i.next() ) i.value()->plinthDoZombieReactors( zombie );
   }
   bool partChangeMissed() override { return false; }   // each nested machine handles its own missed changes

   Machines machines_;
};

/// One nested machine inside the object of its owner; create() constructs it.
/// Ownership: the owner alone. A Ptr to the machine does not keep it: hold the owner instead.
template <class Sm>
class NestedSm final : private SmPart {
 public:
   explicit NestedSm( BaseOutputSm & owner ) noexcept : SmPart( owner ) {}
   /// The nested machine; null until create().
   Sm * machine() noexcept { return machine_ ? &*machine_ : nullptr; }
   const Sm * machine() const noexcept { return machine_ ? &*machine_ : nullptr; }
   /// Creates the machine and switches it on. Errors: a second call ends the process.
   template <class... Args>
   void create( Args &&... args ) {
      QUOIN_ASSERT( !machine_, "the nested machine exists" );
      takeIn( machine_.emplace( std::forward<Args>( args )... ) );
   }

 private:
   void partNotificationActiveIs( bool active ) override {
      if( machine_ ) machine_->hasNotificationActiveIs( active );
   }
   void partZombieIs( bool zombie ) override {
      if( machine_ ) machine_->plinthDoZombieReactors( zombie );
   }
   bool partChangeMissed() override { return false; }   // the nested machine handles its own missed changes

   std::optional<Sm> machine_;
};

}   // namespace Zeugma

// clang-format off

/// Nested machines by key: readers `foo()` of all machines, and `foo( key )` of one (null if it does not exist). The class itself writes
/// them through `foo##_`. Place the macro where the member belongs, usually last. It starts and ends in `public:`.
#define ZEUGMA_NESTED_SMS( foo, Key, ... )                                                                        \
 public:                                                                                                          \
   const ::Zeugma::NestedSms<Key, __VA_ARGS__>::Machines & foo() const noexcept { return foo##_.machines(); }     \
                                                                                                                  \
 private:                                                                                                         \
   ::Zeugma::NestedSms<Key, __VA_ARGS__> foo##_{ *this };                                                         \
                                                                                                                  \
 public:                                                                                                          \
   ::Quoin::Ptr<__VA_ARGS__> foo( const Key & key ) const { return foo##_.find( key ); }
// clang-format on
