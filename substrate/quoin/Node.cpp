#include "substrate/quoin/Node.h"

#include <utility>
#include <vector>

#include "substrate/quoin/Assert.h"

namespace Quoin {

namespace {

// A chain of nodes that own each other is destroyed recursively to this depth and one by one below it.
constexpr uint32_t kMaxReleaseDepth = 64;

struct ReleaseState {
   uint32_t depth;                        // releases in progress on this thread, each inside the previous one
   uint32_t scopes;                       // ReleaseScopes that are open on this thread
   std::vector<const Node *> * waiting;   // nodes with use count 0 that wait to be destroyed; null for none
};

// Static TLS: every evaluation touches this variable, and a call into the dynamic linker would cost measurable time.
[[gnu::tls_model( "initial-exec" )]] constinit thread_local ReleaseState state{ 0, 0, nullptr };

}   // namespace

Node::~Node() = default;

void Node::lastUserGone() const {}

Publisher * Node::publisher() const noexcept {
   return nullptr;
}

// One release. The outermost release destroys the nodes that wait because of inner releases and their scopes.
struct Node::Depth {
   Depth() noexcept { ++state.depth; }
   ~Depth() {
      if( state.depth == 1 && state.scopes == 0 ) destroyWaiting();
      --state.depth;
   }
};

void Node::release() const noexcept {
   if( flags_ & kInHook ) return;   // the hook took a use and has dropped it again
   const bool waits = flags_ & kWaits;
   if( !waits && state.depth >= kMaxReleaseDepth ) return wait( kHookDue );
   const Depth depth;
   if( waits ) {   // the node gained a use while it waited, and has lost it again
      if( !( flags_ & kHookDue ) ) goneBehindHook();
      return;
   }
   if( !goneBehindHook() ) return;
   if( state.scopes != 0 ) return wait( 0 );
   delete this;
}

// Runs the hook. Returns false if the hook gave the object a new use.
bool Node::goneBehindHook() const noexcept {
   flags_ |= kInHook;
   lastUserGone();
   flags_ &= ~kInHook;
   return useCount() == 0;
}

void Node::wait( uint32_t why ) const noexcept {
   whole( "a release", [ & ] {
      if( !state.waiting ) state.waiting = new std::vector<const Node *>;
      state.waiting->push_back( this );
   } );
   flags_ |= kWaits | why;
}

void Node::destroyWaiting() noexcept {
   if( !state.waiting ) return;
   while( !state.waiting->empty() ) {
      const Node * node = state.waiting->back();
      state.waiting->pop_back();
      const bool hookDue = node->flags_ & kHookDue;
      node->flags_ &= ~( kWaits | kHookDue );
      if( node->useCount() == 0 && ( !hookDue || node->goneBehindHook() ) ) delete node;   // its destructor may add waiting nodes
   }
   delete std::exchange( state.waiting, nullptr );
}

ReleaseScope::ReleaseScope() noexcept {
   ++state.scopes;
}

ReleaseScope::~ReleaseScope() {
   // An outer scope, or the release in progress around this scope, destroys the waiting nodes.
   if( --state.scopes != 0 || !state.waiting || state.depth != 0 ) [[likely]]
      return;
   const Node::Depth destroys;
}

}   // namespace Quoin
