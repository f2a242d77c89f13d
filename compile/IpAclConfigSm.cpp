#include "compile/IpAclConfigSm.h"

#include "substrate/acl/AclIp6Prefix.h"
#include "substrate/acl/AclPrefix.h"
#include "substrate/lists/AccessListRules.h"
#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using Acl::AclVersion;
using Acl::MatchPermit;
using Ferule::AddressFamily;
using Ferule::Ip6AddrWithMask;
using Ferule::IpGenAddrWithFullMask;
using Ferule::IpGenPrefix;
using Routing::RouteMap::AccessListRules;
using Routing::RouteMap::AllIpAccessListSymbol;
using Routing::RouteMap::IpAccessListStatus;
using Routing::RouteMap::IpAccessListSymbol;

namespace {

const Plinth::TraceHandle trace( "IpAclConfigSm" );
const Plinth::TraceHandle permittedTrace( "AclToPrefix::PermittedPrefixes" );
const Plinth::TraceHandle permitted6Trace( "AclToIp6Prefix::PermittedPrefixes" );

MatchPermit permitOf( Acl::RuleAction action ) {
   return action == Acl::RuleAction::permit ? MatchPermit::permit : MatchPermit::deny;
}

}   // namespace

IpAclConfigSm::IpAclConfigSm( const Quoin::String & name, const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig,
                              const Quoin::Ptr<const AllIpAccessListSymbol> & ipAclSymbolTable,
                              const Quoin::Ptr<const Acl::AclConfig> & ipAccessList, const Quoin::Ptr<Plinth::Clock> & clock,
                              const Quoin::Ptr<Routing::RetiredTries> & retiredTries )
      : name_( name ),
        ipConfig_( ipConfig ),
        ipAclSymbolTable_( ipAclSymbolTable ),
        ipAccessList_( ipAccessList ),
        clock_( *this, clock ),
        retiredTries_( retiredTries ) {
   QUOIN_ASSERT( ipAclSymbolTable_, "ipAclSymbolTable()" );
   QUOIN_ASSERT( ipAccessList_, "ipAccessList()" );
   listReactor_.notifierIs( ipAccessList_ );
   handleCurrVersion();
}

void IpAclConfigSm::handleCurrVersion() {
   rulesReactor_.notifierIs( ipAccessList_->currVersion() );
   handleIpAccessPrefixEntry();
}

void IpAclConfigSm::handleIpAccessPrefixEntry() {
   const auto & version = ipAccessList_->currVersion();
   if( version && hasRules( *version ) ) handleIpAccessListVersion();
   initialized_ = true;
}

bool IpAclConfigSm::hasRules( const AclVersion & version ) const {
   return ( isIpv4() ? version.ipRule().count() : version.ip6Rule().count() ) != 0;
}

void IpAclConfigSm::handleIpAccessListVersion() {
   pauseAt( 0 );
   ++compilation_;
   newRules_ = isIpv4() ? Quoin::makeNode<AccessListRules>() : nullptr;
   newTrie_ = nullptr;
   if( !isIpv4() ) newTrieIs( Quoin::makeNode<Routing::PatriciaTrieWithNodeData>( AddressFamily::ipv6, false ) );
}

void IpAclConfigSm::newTrieIs( const Quoin::Ptr<Routing::PatriciaTrieWithNodeData> & trie ) const {
   if( retiredTries_ ) trie->heirIs( retiredTries_->heir() );
   newTrie_ = trie;
   newRules_ = nullptr;
}

const Quoin::Ptr<Routing::PatriciaTrieWithNodeData> & IpAclConfigSm::newTrie() const {
   if( newRules_ ) newTrieIs( newRules_->makeTrie() );
   return newTrie_;
}

void IpAclConfigSm::processClock() {
   if( !initialized_ || zombieReactors() ) return;
   const Quoin::Ptr<IpAclConfigSm> self( this );   // a subscriber of the list may release it
   const auto symbol = ipAclSymbolTable_->symbol( name_ );
   const auto list = ipConfig_ ? ipConfig_->acl( name_ ) : nullptr;
   if( !list ) return;
   const auto version = list->currVersion();
   if( version && hasRules( *version ) && !addRules( *version ) ) return;
   bookmark_ = 0;
   clock_.timeMinIs( Plinth::Clock::kNever );
   publish( symbol );
}

// Whether all rules are in the trie. If not, the quantum has passed, or the list has changed and its compilation restarts.
bool IpAclConfigSm::addRules( const AclVersion & version ) {
   const auto & clock = *clock_.clock();
   const Seconds deadline = clock.now() + clockQuantum_;
   const auto isStill = [ this, compilation = compilation_ ] { return compilation_ == compilation && !zombieReactors(); };
   uint32_t done = 0;
   for( auto i = version.ruleBySequence().lowerBound( bookmark_ ); i; i.next() ) {
      const uint32_t seq = i.key();
      const bool late = clock.now() >= deadline;
      if( done != 0 && late ) {
         PLINTH_TRACE( trace, level8 ) << name_ << " pausing processing at rule " << seq;
         if( isStill() ) pauseAt( seq );
         return false;
      }
      if( const auto * id = version.ruleBySequence().find( seq ); id && isStill() ) addRule( version, seq, *id );
      if( !isStill() ) return false;
      ++done;
   }
   return true;
}

void IpAclConfigSm::pauseAt( uint32_t seq ) {
   bookmark_ = seq;
   clock_.timeMinIs( Seconds( 0 ) );
}

// An unknown id gives a rule that permits everything.
void IpAclConfigSm::addRule( const AclVersion & version, uint32_t seq, AclVersion::RuleId id ) {
   if( newTrie_ && newTrie_->prefixCount() == 0 ) newTrie_->reserve( version.ruleBySequence().count() );
   if( isIpv4() )
      testAddIpAclEntryToTrie( seq, version.ipRule( id ) );
   else
      testAddIp6AclEntryToTrie( seq, version.ip6Rule( id ) );
}

void IpAclConfigSm::publish( const Quoin::Ptr<IpAccessListSymbol> & symbol ) {
   // A subscriber may begin the next compilation.
   const auto rules = std::exchange( newRules_, nullptr );
   const auto trie = std::exchange( newTrie_, nullptr );
   pset_ = nullptr;
   if( !symbol || ( !rules && !trie ) ) return;
   Quoin::Ptr<IpAccessListStatus> status;
   if( rules ) {
      rules->trim();
      if( retiredTries_ && rules->count() > Routing::RetiredTries::kSmall ) rules->heirIs( retiredTries_->heir() );
      status = Quoin::makeNode<IpAccessListStatus>( name_, rules, retiredTries_ ? retiredTries_->heir() : nullptr );
   } else {
      trie->trim();
      status = Quoin::makeNode<IpAccessListStatus>( name_ );
      status->trieIs( trie );
   }
   symbol->statusIs( status );
   if( const auto notifier = symbol->notifier() ) notifier->versionInc( 1 );
}

// A mask with a gap, or an address with bits outside the mask, is not a prefix. The node of such a rule is above all prefixes that the rule
// can match. The entry keeps the address and the mask, and a match tests them.
void IpAclConfigSm::testAddIpAclEntryToTrie( uint32_t seq, const Acl::IpRuleConfig & rule ) {
   QUOIN_ASSERT( isCompiling(), "trie" );
   const IpGenAddrWithFullMask full( rule.filter.source );
   const MatchPermit permit = permitOf( rule.action );
   const uint32_t compilation = compilation_;   // a receiver of the trace may start another compilation
   if( !full.validAsPrefix() ) {
      const IpGenPrefix key = IpGenPrefix( full.address(), full.leadingOnesOfMask() ).subnet();
      PLINTH_TRACE( trace, level8 ) << "acl prefix is not contiguous, using contiguous prefix: " << key;
   }
   if( compilation_ == compilation ) addToList( { seq, full, permit } );
}

void IpAclConfigSm::testAddIp6AclEntryToTrie( uint32_t seq, const Acl::Ip6RuleConfig & rule ) {
   QUOIN_ASSERT( isCompiling(), "trie" );
   Ip6AddrWithMask source = rule.filter.source;
   const MatchPermit permit = permitOf( rule.action );
   const uint32_t compilation = compilation_;
   if( const uint8_t longest = Ferule::addressBits( AddressFamily::ipv6 ); source.length > longest ) {
      PLINTH_TRACE( trace, level8 ) << "acl mask is too long, using " << unsigned( longest ) << " bits of " << source.address;
      source.length = longest;
   }
   if( compilation_ == compilation ) addToList( { seq, source, permit } );
}

void IpAclConfigSm::addToList( const AclPrefixEntry & rule ) {
   const bool fits = newRules_ && rule.source.address().af() == AddressFamily::ipv4;
   if( !fits || !newRules_->add( rule ) ) Routing::RouteMap::addRule( *newTrie(), rule );
}

void IpAclConfigSm::getIpPfxFromRule( const Acl::IpRuleConfig & rule ) {
   pset_ = Quoin::makeNode<Ferule::IpGenPrefixSet>();
   AclPrefix::AclToPrefix conversion;
   conversion.handleRule( rule, false );
   for( const auto & interval : conversion.permitted() ) {
      PLINTH_TRACE( permittedTrace, level8 ) << interval.lower() << " to " << interval.upper() - 1;
      AclPrefix::ip4RangeToPrefixes( interval.lower(), interval.upper() - 1, pset_ );
   }
}

void IpAclConfigSm::getIp6PfxFromRule( const Acl::Ip6RuleConfig & rule ) {
   pset_ = Quoin::makeNode<Ferule::IpGenPrefixSet>();
   AclIp6Prefix::AclToIp6Prefix conversion;
   conversion.handleRule( rule, false );
   for( const auto & interval : conversion.permitted() ) {
      PLINTH_TRACE( permitted6Trace, level8 ) << interval.lower() << " to " << interval.upper() - 1;
      AclIp6Prefix::ip6RangeToPrefixes( interval.lower(), interval.upper() - 1, pset_ );
   }
}

}   // namespace Routing::Policy
