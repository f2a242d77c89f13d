#include "policy/RoutingPolicyAcl.h"

#include <typeinfo>

#include "policy/MatchKeys.h"
#include "substrate/lists/AccessListRules.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

namespace {

using Ferule::AddressFamily;

// Returns the rule that governs among `best`, which may be null, and the rules of a chain.
const AclEntryData * governing( const AclEntryData * best, const Routing::PrefixData * chain, const Ferule::IpGenPrefix & asked ) {
   for( auto * entry = static_cast<const AclEntryData *>( chain ); entry; entry = entry->nextEntry() ) {
      // A source that is a prefix matches if its node is above the prefix. For any other mask, the node only says that the leading ones
      // match.
      if( !entry->source().validAsPrefix() && !entry->source().contains( asked.ipGenAddr() ) ) continue;
      if( !best || entry->seqno() < best->seqno() ) best = entry;
   }
   return best;
}

// Finds the governing rule without a handle of it. The walk runs no code of an agent, so nothing can release the rules in the meantime.
class GoverningRule final : public Routing::PatriciaTrieWalkCb {
 public:
   explicit GoverningRule( const Ferule::IpGenPrefix & asked ) : asked_( asked ) {}
   bool handlePrefixData( const Ferule::IpGenPrefix &, const Routing::PrefixData * data ) override {
      rule_ = governing( rule_, data, asked_ );
      return true;
   }
   const AclEntryData * rule() const noexcept { return rule_; }

 private:
   const Ferule::IpGenPrefix & asked_;
   const AclEntryData * rule_ = nullptr;
};

// The use of the thread's context for one match. Both ends clear the context.
class CleanContext {
 public:
   CleanContext() { clear(); }
   ~CleanContext() { clear(); }
   CleanContext( const CleanContext & ) = delete;
   CleanContext & operator=( const CleanContext & ) = delete;
   IpAccessListWalkerCbCtx * operator->() const noexcept { return &ctx_; }

 private:
   void clear() const noexcept {
      ctx_.prefix = nullptr;
      ctx_.entry = nullptr;
   }
   IpAccessListWalkerCbCtx & ctx_ = IpAccessListWalkerCbCtx::ofThisThread();
};

}   // namespace

IpAccessListWalkerCbCtx & IpAccessListWalkerCbCtx::ofThisThread() {
   static thread_local IpAccessListWalkerCbCtx ctx;
   return ctx;
}

IpAccessListWalkerCb::~IpAccessListWalkerCb() = default;
AclTestWalkCb::~AclTestWalkCb() = default;
IpAccessListMatcher::~IpAccessListMatcher() = default;

bool IpAccessListWalkerCb::handlePrefixData( const Ferule::IpGenPrefix &, const Routing::PrefixData * data ) {
   auto & ctx = IpAccessListWalkerCbCtx::ofThisThread();
   if( !data ) return true;
   if( const auto * rule = governing( ctx.entry.get(), data, *ctx.prefix ); rule != ctx.entry.get() ) ctx.entry = Quoin::Ptr( rule );
   return true;
}

bool AclTestWalkCb::handlePrefixData( const Ferule::IpGenPrefix &, const Routing::PrefixData * data ) {
   for( auto * entry = static_cast<const AclEntryData *>( data ); entry; entry = entry->nextEntry() )
      walkedEntriesIs( Quoin::Ptr( entry ) );
   return true;
}

IpAccessListMatcher::IpAccessListMatcher( const Quoin::String & name, const Quoin::Ptr<const IpAccessListStatus> & status )
      : name_( name ), status_( status ), walker_( Quoin::makeNode<IpAccessListWalkerCb>() ) {}

bool IpAccessListMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   const Quoin::ReleaseScope keep;   // the getter may release this matcher
   const Ferule::IpGenPrefix * prefix = input->getPrefixPointer();
   if( !status_ ) return false;
   const auto * rules = status_->rules();
   if( ( rules ? AddressFamily::ipv4 : status_->trie().af() ) != prefix->af() ) return false;
   CleanContext ctx;
   if( rules ) return rules->permits( *prefix );
   GoverningRule governing( *prefix );
   status_->trie().ancestorWalk( *prefix, &governing );
   if( !governing.rule() ) return false;
   if( typeid( *governing.rule() ) != typeid( AclEntryData ) ) return matchByWalk( *prefix );
   return governing.rule()->AclEntryData::permit() == Acl::MatchPermit::permit;
}

// A rule of an agent's own class decides in permit(), which may release the list, or look at the thread's context.
bool IpAccessListMatcher::matchByWalk( const Ferule::IpGenPrefix & prefix ) const {
   const auto status = status_;
   const auto walker = walker_;
   CleanContext ctx;
   ctx->prefix = &prefix;
   status->trie().ancestorWalk( prefix, walker.get() );
   return ctx->entry && ctx->entry->permit() == Acl::MatchPermit::permit;
}

RouteMapFeatures IpAccessListMatcher::getFeatures() const {
   return RouteMapFeatures::matchPrefixDependent;
}

void IpAccessListMatcher::formatDerivedType( std::ostream & os ) const {
   os << "IpAccessListMatcher prefix-list " << name_ << ";" << status_;
}

void IpAccessListMatcher::keys( MatchKeys & keys ) const {
   if( status_ ) keys.dependsOn( status_->seal() );
   if( !status_ || status_->rules() ) keys.skippable();   // a rule of an agent's own class may do anything
}

}   // namespace Routing::Policy
