#include "substrate/routing/RetiredTries.h"

#include <thread>

#include "substrate/quoin/Assert.h"

namespace Routing {

namespace {

constexpr size_t kAtATime = 256;   // entries that are released between two checks of the clock

}   // namespace

// The tries hold this object, not RetiredTries itself, so it can outlive RetiredTries.
class RetiredTries::Heir final : public PatriciaTrieHeir {
 public:
   explicit Heir( RetiredTries * owner ) : owner_( owner ) {}
   void ownerIsGone() noexcept { owner_ = nullptr; }
   void take( const Quoin::Ptr<PatriciaTrieWithNodeData> & trie ) noexcept override {
      if( std::this_thread::get_id() == thread_ && owner_ ) owner_->take( trie );
   }

 private:
   const std::thread::id thread_ = std::this_thread::get_id();
   RetiredTries * owner_;   // used only on that thread
};

RetiredTries::RetiredTries( const Quoin::Ptr<Plinth::Clock> & clock ) : NotifieeConst( clock ), heir_( Quoin::makeNode<Heir>( this ) ) {}

RetiredTries::~RetiredTries() {
   static_cast<Heir &>( *heir_ ).ownerIsGone();
}

void RetiredTries::take( const Quoin::Ptr<PatriciaTrieWithNodeData> & trie ) noexcept {
   if( trie->entryCount() <= kSmall ) return;
   Quoin::whole( "a release", [ & ] {
      tries_.push_back( trie );
      timeMinIs( Plinth::Clock::Seconds( 0 ) );
   } );
}

void RetiredTries::handleTime() {
   const Quoin::Ptr<RetiredTries> self( this );   // entry classes of an agent may drop any object, also this one
   const auto deadline = clock()->now() + kQuantum;
   while( !tries_.empty() ) {
      const auto trie = tries_.back();
      if( trie->letGo( kAtATime ) ) std::erase( tries_, trie );
      if( clock()->now() >= deadline ) break;
   }
   if( !tries_.empty() ) timeMinIs( Plinth::Clock::Seconds( 0 ) );
}

}   // namespace Routing
