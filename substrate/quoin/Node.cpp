#include "substrate/quoin/Node.h"

#include <utility>
#include <vector>

namespace Quoin {

namespace {

// A chain of nodes that own each other is destroyed recursively to this depth and one by one below it.
constexpr uint32_t kMaxReleaseDepth = 64;

struct ReleaseState {
   uint32_t depth;                       // destructors that now run on this thread, each inside the other
   uint32_t scopes;                      // ReleaseScopes that stand
   std::vector<const Node *> * doomed;   // nodes without a use that wait to be destroyed; null for none
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
   if( flags_ & kDoomed ) return;   // gained a use while it waited, and has lost it again
   if( state.scopes != 0 || state.depth >= kMaxReleaseDepth ) {
      if( !state.doomed ) state.doomed = new std::vector<const Node *>;
      state.doomed->push_back( this );
      flags_ |= kDoomed;
      return;
   }
   ++state.depth;
   delete this;
   if( state.depth == 1 ) destroyDoomed();
   --state.depth;
}

void Node::destroyDoomed() noexcept {
   if( !state.doomed ) return;
   while( !state.doomed->empty() ) {
      const Node * node = state.doomed->back();
      state.doomed->pop_back();
      node->flags_ &= ~kDoomed;
      if( node->useCount() == 0 ) delete node;   // may put off more
   }
   delete std::exchange( state.doomed, nullptr );
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
