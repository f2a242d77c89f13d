/// @file substrate/zeugma/BaseOutputSm.h
/// The base of a state machine that watches objects and produces output, and the parts that such a machine is made of.
///
///    class EntrySm final : public Zeugma::BaseOutputSm {
///     public:
///       explicit EntrySm( const Quoin::Ptr<const Entry> & entry ) {
///          entry_.notifierIs( entry );     // subscribe to every input,
///          handleInitialized();            // then scan what already stands, as if each member had just come
///       }
///       ~EntrySm() override { stop(); }    // notification off, zombie, and the members go
///     private:
///       void handleChangeMissed() override { handleInitialized(); }
///       void handleEntry( const Quoin::Change & change );
///       Zeugma::Reactor<EntrySm> entry_{ *this, &EntrySm::handleEntry };
///       Zeugma::NestedSms<uint32_t, RuleSm> ruleSm_{ *this };
///    };
///
/// The factory that made a machine switches notification on: Zeugma::makeSm(), and NestedSms for those nested in another.
/// Ownership: a machine owns its parts, and holds what it watches. Threading: the activity thread.
/// Invariant: a machine's flags, when they are written, are those of all its parts. What is nested in it later has its zombie flag, and
/// is switched on there and then unless the machine has been switched off. What it gives up, or what has lost its last user, is going:
/// it hears nothing more. A handler that has written to what others hear of looks at zombieReactors() before it goes on.
#pragma once

#include <iosfwd>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/plinth/Exception.h"
#include "substrate/plinth/NotifieeConst.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/zeugma/DumpContext.h"

namespace Zeugma {

class BaseOutputSm;

/// A member of a machine that follows its flags: a reactor, or a collection of nested machines. It lives as long as the machine.
class ROUTEPOLICY_API SmPart {
 public:
   SmPart( const SmPart & ) = delete;
   SmPart & operator=( const SmPart & ) = delete;
   virtual void partNotificationActiveIs( bool active ) = 0;
   virtual void partZombieIs( bool zombie ) = 0;
   /// Whether it missed a change while its machine was being made. Reading it forgets it.
   virtual bool partChangeMissed() = 0;

 protected:
   explicit SmPart( BaseOutputSm & owner ) noexcept;
   virtual ~SmPart();
   BaseOutputSm & owner() const noexcept { return owner_; }
   /// Gives a machine that comes to be nested its owner's flags.
   void takeIn( BaseOutputSm & sm ) const;
   /// A machine that was nested hears nothing more. Null does nothing.
   static void giveUp( BaseOutputSm * sm );

 private:
   friend class BaseOutputSm;
   BaseOutputSm & owner_;
   SmPart * prev_;
   SmPart * next_ = nullptr;
};

class ROUTEPOLICY_API BaseOutputSm : public Quoin::Node {
 public:
   ~BaseOutputSm() override;
   /// Stops the machine, also where a Quoin::ReleaseScope keeps it a while.
   void lastUserGone() const override;

   bool hasNotificationActive() const noexcept { return active_; }
   /// Whether what is nested in it now is to be switched on: also while the machine is being made, and not when it has been
   /// switched off.
   bool switchesOnNested() const noexcept { return active_ || !wasActive_; }
   /// Turns delivery on or off, for all that the machine watches and for the machines nested in it. The present value does
   /// nothing, also for those. What a machine missed between its scan and its being switched on is scanned again.
   void hasNotificationActiveIs( bool active );

   /// Whether the machine is being torn down: its reactors are then skipped.
   bool zombieReactors() const noexcept { return zombie_; }
   /// Marks the machine and those nested in it as going. The present value does nothing, also for those.
   void plinthDoZombieReactors( bool zombie );

   virtual void dumpState( const DumpContextPtr & ctx, unsigned indent ) const;
   /// Writes what traces call this machine; the printed identity unless a derived class says more.
   virtual void formatDerivedType( std::ostream & os ) const;

 protected:
   BaseOutputSm() = default;
   /// Scans again, since something changed behind the initial scan and before notification was on.
   virtual void handleChangeMissed() = 0;
   /// The first two steps of destruction, for the destructor of the class that is made: below it, handlers have gone.
   void stop();

 private:
   friend class SmPart;
   SmPart * first_ = nullptr;
   SmPart * last_ = nullptr;
   bool active_ = false;
   bool wasActive_ = false;   // has been switched on, or off, at least once
   bool zombie_ = false;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const BaseOutputSm & sm );

/// Watches one object for the machine that it is a member of, and hands every change to a function of that machine.
template <class Owner>
class Reactor final : public Plinth::NotifieeConst, private SmPart {
 public:
   using Handler = void ( Owner::* )( const Quoin::Change & change );
   Reactor( Owner & owner, Handler handler ) noexcept : SmPart( owner ), owner_( owner ), handler_( handler ) {}

 private:
   void handleChange( const Quoin::Change & change ) override {
      const Quoin::ReleaseScope whole;   // who hears of what the handler writes may drop the owner
      if( !owner_.zombieReactors() ) ( owner_.*handler_ )( change );
   }
   void partNotificationActiveIs( bool active ) override { hasNotificationActiveIs( active ); }
   void partZombieIs( bool ) override {}   // asks its owner
   bool partChangeMissed() override { return changeMissed(); }

   Owner & owner_;
   Handler handler_;
};

/// Makes a machine and switches it on.
template <class Sm, class... Args>
Quoin::Ptr<Sm> makeSm( Args &&... args ) {
   auto sm = Quoin::makeNode<Sm>( std::forward<Args>( args )... );
   sm->hasNotificationActiveIs( true );
   return sm;
}

/// The machines of one kind that are nested in another, by key.
template <class K, class Sm>
class NestedSms final : private SmPart {
 public:
   using Machines = Plinth::TreeMap<K, Quoin::Ptr<Sm>>;
   explicit NestedSms( BaseOutputSm & owner ) noexcept : SmPart( owner ) {}
   ~NestedSms() { clear(); }

   const Machines & machines() const noexcept { return machines_; }
   /// Null when there is none.
   Quoin::Ptr<Sm> find( const K & key ) const {
      auto * found = machines_.find( key );
      return found ? *found : nullptr;
   }
   /// Takes a machine in and switches it on, in place of the one that the key had. It may leave again while that is done.
   /// Errors: MutatorArgNullPointerException on null.
   void put( const K & key, Quoin::Ptr<Sm> sm ) {   // by value: its key may be erased meanwhile
      if( !sm ) Plinth::throwMutatorArgNullPointerException( "NestedSms::put" );
      const Quoin::Ptr<Sm> out = find( key );
      if( !machines_.put( key, sm ) ) return;
      giveUp( out.get() );
      takeIn( *sm );
   }
   /// Gives the machine that leaves; null when there was none.
   Quoin::Ptr<Sm> erase( const K & key ) {
      auto out = find( key );
      machines_.erase( key );
      giveUp( out.get() );
      return out;
   }
   void clear() {
      for( const auto & [ key, sm ] : machines_.takeAll() ) giveUp( sm.get() );
   }

 private:
   void partNotificationActiveIs( bool active ) override {
      // Each may leave meanwhile, or turn its owner back.
      for( auto i = machines_.first(); i && owner().hasNotificationActive() == active; i.next() )
         Quoin::Ptr<Sm>( i.value() )->hasNotificationActiveIs( active );
   }
   void partZombieIs( bool zombie ) override {
      for( auto i = machines_.first(); i; i.next() ) i.value()->plinthDoZombieReactors( zombie );
   }
   bool partChangeMissed() override { return false; }   // each of them has seen to that itself

   Machines machines_;
};

/// One machine that is nested in another.
template <class Sm>
class NestedSm final : private SmPart {
 public:
   explicit NestedSm( BaseOutputSm & owner ) noexcept : SmPart( owner ) {}
   ~NestedSm() { giveUp( machine_.get() ); }
   /// Null until there is one.
   const Quoin::Ptr<Sm> & machine() const noexcept { return machine_; }
   /// Takes a machine in and switches it on, in place of the one that there was. Errors: MutatorArgNullPointerException on null.
   void machineIs( Quoin::Ptr<Sm> sm ) {
      if( !sm ) Plinth::throwMutatorArgNullPointerException( "NestedSm::machineIs" );
      if( sm == machine_ ) return;
      const Quoin::Ptr<Sm> out = std::exchange( machine_, sm );
      giveUp( out.get() );
      takeIn( *sm );
   }

 private:
   void partNotificationActiveIs( bool active ) override {
      if( const auto sm = machine_ ) sm->hasNotificationActiveIs( active );
   }
   void partZombieIs( bool zombie ) override {
      if( machine_ ) machine_->plinthDoZombieReactors( zombie );
   }
   bool partChangeMissed() override { return false; }   // it has seen to that itself

   Quoin::Ptr<Sm> machine_;
};

}   // namespace Zeugma

// clang-format off

/// Machines that are nested in the class's own by their key: readers `foo` of all of them, and of the one that a key has, null for none.
/// The class writes them through `foo##_`. It stands where the member is to stand, mostly last; it starts and ends in `public:`.
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
