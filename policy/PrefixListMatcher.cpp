#include "policy/PrefixListMatcher.h"

#include <string>

#include "policy/MatchKeys.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

namespace {

using Result = PrefixListMatchResult;
using RouteMap::PrefixListRows;

// The use of the thread's context for one walk. The destructor clears the context.
class Walk {
 public:
   explicit Walk( const Ferule::IpGenPrefix & prefix ) : ctx_( PrefixListWalkerCbCtx::ofThisThread() ) {
      ctx_.prefix = &prefix;
      ctx_.entry = nullptr;
   }
   ~Walk() {
      ctx_.prefix = nullptr;
      ctx_.entry = nullptr;
   }
   Walk( const Walk & ) = delete;
   Walk & operator=( const Walk & ) = delete;
   const PrefixListEntryData * entry() const { return ctx_.entry.get(); }

 private:
   PrefixListWalkerCbCtx & ctx_;
};

bool canAnswer( const PrefixListStatus * status, const Ferule::IpGenPrefix & prefix ) {
   return status && status->af() == prefix.af();
}

// The rows that answer for a prefix; null if the walk must.
const PrefixListRows * rowsFor( const PrefixListStatus * status, const Ferule::IpGenPrefix & prefix ) {
   return canAnswer( status, prefix ) ? status->rows() : nullptr;
}

PrefixListMatchResultTuple tuple( const PrefixListRows::Answer & answer ) {
   if( !answer.found ) return {};
   return { answer.seqno, answer.permit ? Result::permit : Result::deny };
}

// Finds the entry of the trie that governs a prefix.
PrefixListMatchResultTuple prefixListMatch( const PrefixListStatus * status, const Ferule::IpGenPrefix * prefix,
                                            Routing::PatriciaTrieWalkCb * walker ) {
   if( !canAnswer( status, *prefix ) ) return {};
   Walk walk( *prefix );
   status->trie().ancestorWalk( *prefix, walker );
   if( !walk.entry() ) return {};
   return { walk.entry()->seqno(), walk.entry()->isPrefixEntryPermit() ? Result::permit : Result::deny };
}

// The answer of a list for the prefix of the route. With an undefined list, the route is not read.
PrefixListMatchResultTuple matchPrefixOf( const MatchInput_ * input, const PrefixListMatcher & matcher ) {
   const Ferule::IpGenPrefix * prefix = input->getPrefixPointer();
   return matcher.status() ? matcher.matchPrefix( *prefix ) : PrefixListMatchResultTuple{};
}

std::optional<bool> tristate( const PrefixListMatchResultTuple & tuple ) {
   if( tuple.result == Result::notMatched ) return std::nullopt;
   return tuple.result == Result::permit;
}

}   // namespace

std::ostream & operator<<( std::ostream & os, PrefixListMatchResult result ) {
   switch( result ) {
      case Result::deny: return os << "deny";
      case Result::permit: return os << "permit";
      case Result::notMatched: return os << "notMatched";
   }
   return os << std::to_string( unsigned( result ) );
}

std::ostream & operator<<( std::ostream & os, const PrefixListMatchResultTuple & tuple ) {
   return os << "Routing::Policy::PrefixListMatchResultTuple(result=" << tuple.result << ", seqNo=" << std::to_string( tuple.seqNo ) << ")";
}

PrefixListMatcherBase::PrefixListMatcherBase( const char * opening, const Quoin::String & name,
                                              const Quoin::Ptr<const PrefixListStatus> & status )
      : opening_( opening ),
        name_( name ),
        status_( status ),
        matchWalker_( Quoin::makeNode<PrefixListMatchWalkerCb>() ),
        coveredByWalker_( Quoin::makeNode<PrefixListCoveredByWalkerCb>() ) {}

PrefixListMatcherBase::~PrefixListMatcherBase() = default;

void PrefixListMatcherBase::formatDerivedType( std::ostream & os ) const {
   os << opening_ << name_ << ";" << status_;
}

PrefixListMatchResultTuple PrefixListMatcherBase::matchPrefix( const Ferule::IpGenPrefix & prefix ) const {
   const auto * const rows = rowsFor( status_.get(), prefix );
   return rows ? tuple( rows->governing( prefix ) ) : prefixListMatch( status_.get(), &prefix, matchWalker_.get() );
}

PrefixListMatchResultTuple PrefixListMatcherBase::coveringPrefix( const Ferule::IpGenPrefix & prefix ) const {
   const auto * const rows = rowsFor( status_.get(), prefix );
   return rows ? tuple( rows->covering( prefix ) ) : prefixListMatch( status_.get(), &prefix, coveredByWalker_.get() );
}

PrefixListMatcher::PrefixListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status )
      : PrefixListMatcherBase( "PrefixListMatcher prefix-list ", name, status ) {}

bool PrefixListMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return ( matchPrefixOf( input, *this ).result == Result::permit ) != invertResult();
}

RouteMapFeatures PrefixListMatcher::getFeatures() const {
   return RouteMapFeatures::matchPrefixDependent;
}

std::optional<bool> PrefixListMatcher::matchWithTristate( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return tristate( matchPrefixOf( input, *this ) );
}

std::optional<bool> PrefixListMatcher::matchWithTristateForTest( const MatchInput_ & input,
                                                                 const Quoin::Ptr<PolicyEvalContext> & context ) const {
   return matchWithTristate( &input, context );
}

std::optional<bool> PrefixListMatcher::coveredBy( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   const Ferule::IpGenPrefix * prefix = input->getPrefixPointer();
   return status() ? tristate( coveringPrefix( *prefix ) ) : std::nullopt;
}

std::optional<bool> PrefixListMatcher::coveredByForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const {
   return coveredBy( &input, context );
}

NexthopPrefixListMatcher::NexthopPrefixListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status )
      : PrefixListMatcherBase( "NexthopPrefixListMatcher prefix-list ", name, status ) {}

bool NexthopPrefixListMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return matchPrefix( Ferule::IpGenPrefix( input->getNexthop() ) ).result == Result::permit;
}

ResolvedNexthopPfxListMatcher::ResolvedNexthopPfxListMatcher( const Quoin::String & name,
                                                              const Quoin::Ptr<const PrefixListStatus> & status )
      : PrefixListMatcherBase( "ResolvedNexthopMatcher prefix-list ", name, status ) {}

bool ResolvedNexthopPfxListMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   if( input->denyResolvedNexthop() ) return false;
   if( !input->matchResolvedNexthopInfo() ) return true;
   const auto & resolved = input->getResolvedNexthopInfoSet();
   if( !resolved ) return false;
   for( auto i = resolved->resolvedNexthop().first(); i; i.next() ) {
      const auto said = tristate( matchPrefix( Ferule::IpGenPrefix( i.key() ) ) );
      if( said ) return *said;
   }
   return false;
}

RouteMapFeatures ResolvedNexthopPfxListMatcher::getFeatures() const {
   return RouteMapFeatures::matchResolvedNexthop;
}

RouterIdMatcher::RouterIdMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status )
      : PrefixListMatcherBase( "RouterIdMatcher router-id prefix-list ", name, status ) {}

bool RouterIdMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return matchPrefix( Ferule::IpGenPrefix( input->getRouterId(), 32 ) ).result == Result::permit;
}

RouteMapFeatures RouterIdMatcher::getFeatures() const {
   return RouteMapFeatures::matchRouterId;
}

// A list that was given as a trie may have, or receive, entries of an agent's own class, which may do anything.
void PrefixListMatcherBase::tellSkippable( MatchKeys & keys ) const {
   keys.dependsOn( seal_ );
   if( status_ ) keys.dependsOn( status_->seal() );
   if( !status_ || status_->ownRows() ) keys.skippable();
}

void PrefixListMatcher::keys( MatchKeys & keys ) const {
   tellSkippable( keys );
   if( !keys.isSkippable() || invertResult() ) return;
   keys.listIs( status().get() );
   keys.exact();
}

}   // namespace Routing::Policy
