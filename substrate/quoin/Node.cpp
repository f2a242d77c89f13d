#include "substrate/quoin/Node.h"

#include <utility>
#include <vector>

namespace Quoin {

namespace {

// A chain of nodes that own each other is destroyed recursively to this depth and one by one below it.
constexpr uint32_t kMaxReleaseDepth = 64;

struct ReleaseState {
   uint32_t depth;                        // releases that now run on this thread, each inside the other
   uint32_t scopes;                       // ReleaseScopes that stand
   std::vector<const Node *> * waiting;   // nodes without a use that wait to be destroyed; null for none
};

// Static TLS: this is touched once per evaluation, and a call into the dynamic linker would show.
[[gnu::tls_model( "initial-exec" )]] constinit thread_local ReleaseState state{ 0, 0, nullptr };

}   // namespace

Node::~Node() = default;

void Node::lastUserGone() const {}

Publisher * Node::publisher() const noexcept {
   return nullptr;
}

// One release. The outermost destroys what those inside it, and their scopes, have put off.
struct Node::Depth {
   Depth() noexcept { ++state.depth; }
   ~Depth() {
      if( state.depth == 1 && state.scopes == 0 ) destroyWaiting();
      --state.depth;
   }
};

void Node::release() const noexcept {
   if( flags_ & kInHook ) return;   // the hook used the object and is done with it
   const bool waits = flags_ & kWaits;
   if( !waits && state.depth >= kMaxReleaseDepth ) return wait( kHookDue );
   const Depth depth;
   if( waits ) {   // gained a use while it waited, and has lost it again
      if( !( flags_ & kHookDue ) ) goneBehindHook();
      return;
   }
   if( !goneBehindHook() ) return;
   if( state.scopes != 0 ) return wait( 0 );
   delete this;
}

// Runs the hook; false if that gave the object a use.
bool Node::goneBehindHook() const noexcept {
   flags_ |= kInHook;
   lastUserGone();
   flags_ &= ~kInHook;
   return useCount() == 0;
}

void Node::wait( uint32_t why ) const noexcept {
   if( !state.waiting ) state.waiting = new std::vector<const Node *>;
   state.waiting->push_back( this );
   flags_ |= kWaits | why;
}

void Node::destroyWaiting() noexcept {
   if( !state.waiting ) return;
   while( !state.waiting->empty() ) {
      const Node * node = state.waiting->back();
      state.waiting->pop_back();
      const bool hookDue = node->flags_ & kHookDue;
      node->flags_ &= ~( kWaits | kHookDue );
      if( node->useCount() == 0 && ( !hookDue || node->goneBehindHook() ) ) delete node;   // may put off more
   }
   delete std::exchange( state.waiting, nullptr );
}

ReleaseScope::ReleaseScope() noexcept {
   ++state.scopes;
}

ReleaseScope::~ReleaseScope() {
   // An outer scope, or the release that we stand in, destroys what waits.
   if( --state.scopes != 0 || !state.waiting || state.depth != 0 ) [[likely]]
      return;
   const Node::Depth destroys;
}

}   // namespace Quoin
