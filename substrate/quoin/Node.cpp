#include "substrate/quoin/Node.h"

#include <utility>

namespace Quoin {

namespace {

// A chain of nodes that own each other is destroyed recursively to this depth and one by one below it.
constexpr uint32_t kMaxReleaseDepth = 64;

struct ReleaseState {
   uint32_t depth;        // destructors that now run on this thread, each inside the other
   uint32_t scopes;       // ReleaseScopes that stand
   const Node * doomed;   // nodes without a use that wait to be destroyed
};

// Static TLS: this is touched once per evaluation, and a call into the dynamic linker would show.
[[gnu::tls_model( "initial-exec" )]] constinit thread_local ReleaseState state{ 0, 0, nullptr };

}   // namespace

Node::~Node() = default;

void Node::lastUserGone() const {}

Publisher * Node::publisher() noexcept {
   return nullptr;
}

void Node::release() const noexcept {
   lastUserGone();
   if( state.scopes != 0 || state.depth >= kMaxReleaseDepth ) {
      nextDoomed_ = std::exchange( state.doomed, this );
      return;
   }
   ++state.depth;
   delete this;
   if( state.depth == 1 ) destroyDoomed();
   --state.depth;
}

void Node::destroyDoomed() noexcept {
   while( const Node * node = state.doomed ) {
      state.doomed = node->nextDoomed_;
      delete node;   // may put off more
   }
}

ReleaseScope::ReleaseScope() noexcept {
   ++state.scopes;
}

ReleaseScope::~ReleaseScope() {
   // An outer scope, or the release that we stand in, destroys what waits.
   if( --state.scopes != 0 || !state.doomed || state.depth != 0 ) [[likely]]
      return;
   ++state.depth;
   Node::destroyDoomed();
   --state.depth;
}

}   // namespace Quoin
