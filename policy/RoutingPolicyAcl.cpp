#include "policy/RoutingPolicyAcl.h"

#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

IpAccessListWalkerCbCtx & IpAccessListWalkerCbCtx::ofThisThread() {
   static thread_local IpAccessListWalkerCbCtx ctx;
   return ctx;
}

IpAccessListWalkerCb::~IpAccessListWalkerCb() = default;
AclTestWalkCb::~AclTestWalkCb() = default;
IpAccessListMatcher::~IpAccessListMatcher() = default;

bool IpAccessListWalkerCb::handlePrefixData( const Ferule::IpGenPrefix &, const Routing::PrefixData * data ) {
   auto & ctx = IpAccessListWalkerCbCtx::ofThisThread();
   for( auto * entry = static_cast<const AclEntryData *>( data ); entry; entry = entry->nextEntry() ) {
      // A source that is a prefix matches if its node is above the prefix. For any other mask, the node only says that the leading ones
      // match.
      if( !entry->source().validAsPrefix() && !entry->source().contains( ctx.prefix->ipGenAddr() ) ) continue;
      if( ctx.entry && ctx.entry->seqno() <= entry->seqno() ) continue;
      ctx.entry = Quoin::Ptr( entry );
   }
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
   // Keeps both alive: a getter or a rule may replace this matcher during the call.
   const auto status = status_;
   const auto walker = walker_;
   const Ferule::IpGenPrefix * prefix = input->getPrefixPointer();
   if( !status || status->trie().af() != prefix->af() ) return false;
   struct Walk {
      IpAccessListWalkerCbCtx & ctx;
      ~Walk() {
         ctx.prefix = nullptr;
         ctx.entry = nullptr;
      }
   } walk{ IpAccessListWalkerCbCtx::ofThisThread() };
   walk.ctx.prefix = prefix;
   walk.ctx.entry = nullptr;
   status->trie().ancestorWalk( *prefix, walker.get() );
   return walk.ctx.entry && walk.ctx.entry->permit() == Acl::MatchPermit::permit;
}

RouteMapFeatures IpAccessListMatcher::getFeatures() const {
   return RouteMapFeatures::matchPrefixDependent;
}

void IpAccessListMatcher::formatDerivedType( std::ostream & os ) const {
   os << "IpAccessListMatcher prefix-list " << name_ << ";" << status_;
}

}   // namespace Routing::Policy
