#include "substrate/routing/RetiredTries.h"

#include <thread>

#include "substrate/quoin/Assert.h"

namespace Routing {

namespace {

constexpr size_t kAtATime = 256;   // entries that are released between two checks of the clock

}   // namespace

RetirableHeir::~RetirableHeir() = default;
Retirable::~Retirable() = default;

void Retirable::lastUserGone() const {
   if( const auto heir = std::exchange( heir_, nullptr ) ) heir->take( Quoin::Ptr<Retirable>( const_cast<Retirable *>( this ) ) );
}

// The tries hold this object, not RetiredTries itself, so it can outlive RetiredTries.
class RetiredTries::Heir final : public RetirableHeir {
 public:
   explicit Heir( RetiredTries * owner ) : owner_( owner ) {}
   void ownerIsGone() noexcept { owner_ = nullptr; }
   void take( const Quoin::Ptr<PatriciaTrieWithNodeData> & trie ) noexcept override {
      if( canTake() && trie->entryCount() > kSmall ) owner_->wait( owner_->tries_, trie );
   }
   void take( const Quoin::Ptr<Retirable> & object ) noexcept override {
      if( canTake() ) owner_->wait( owner_->objects_, object );
   }

 private:
   bool canTake() const noexcept { return std::this_thread::get_id() == thread_ && owner_; }
   const std::thread::id thread_ = std::this_thread::get_id();
   RetiredTries * owner_;   // used only on that thread
};

RetiredTries::RetiredTries( const Quoin::Ptr<Plinth::Clock> & clock ) : NotifieeConst( clock ), heir_( Quoin::makeNode<Heir>( this ) ) {}

RetiredTries::~RetiredTries() {
   static_cast<Heir &>( *heir_ ).ownerIsGone();
}

template <class Row, class T>
void RetiredTries::wait( Row & row, const T & object ) noexcept {
   Quoin::whole( "a release", [ & ] {
      row.push_back( object );
      timeMinIs( Plinth::Clock::Seconds( 0 ) );
   } );
}

// Frees a part of what waits. Returns whether anything waited.
bool RetiredTries::letGo() noexcept {
   if( !objects_.empty() ) {
      const auto object = objects_.back();
      if( object->letGo() ) std::erase( objects_, object );
      return true;
   }
   if( tries_.empty() ) return false;
   const auto trie = tries_.back();
   if( trie->letGo( kAtATime ) ) std::erase( tries_, trie );
   return true;
}

void RetiredTries::handleTime() {
   const Quoin::Ptr<RetiredTries> self( this );   // entry classes of an agent may drop any object, also this one
   const auto deadline = clock()->now() + kQuantum;
   while( letGo() && clock()->now() < deadline ) {}
   if( count() != 0 ) timeMinIs( Plinth::Clock::Seconds( 0 ) );
}

}   // namespace Routing
