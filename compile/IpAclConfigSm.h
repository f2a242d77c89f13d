/// @file compile/IpAclConfigSm.h
#pragma once

#include "substrate/acl/AclConfig.h"
#include "substrate/ferule/IpGenPrefixSet.h"
#include "substrate/plinth/Clock.h"
#include "substrate/routemap/AllIpAccessListSymbol.h"
#include "substrate/routing/RetiredTries.h"
#include "substrate/zeugma/BaseOutputSm.h"

namespace Routing::Policy {

/// Compiles one access list into a trie, a slice of time after the other, and publishes it whole through the list's symbol. A change of
/// the list begins anew; until the new trie is whole, those who evaluate have the old one.
/// Of a rule's filter the source alone reaches the trie: a rule that says more matches as if it said only that.
/// Threading: the activity thread.
class ROUTEPOLICY_API IpAclConfigSm final : public Zeugma::BaseOutputSm {
 public:
   using Seconds = Plinth::Clock::Seconds;

   /// `ipConfig` tells the family and holds the list; without one, the list is of IPv4 and never found. `ipAclSymbolTable` holds the
   /// list's symbol. Large tries that are done with go to `retiredTries`; without one, they go at once. Errors: another null ends the
   /// process, a null clock raises MutatorArgNullPointerException.
   IpAclConfigSm( const Quoin::String & name, const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig,
                  const Quoin::Ptr<const Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable,
                  const Quoin::Ptr<const Acl::AclConfig> & ipAccessList, const Quoin::Ptr<Plinth::Clock> & clock,
                  const Quoin::Ptr<Routing::RetiredTries> & retiredTries = nullptr );
   ~IpAclConfigSm() override;

   void formatDerivedType( std::ostream & os ) const override;
   /// The list's configuration has changed.
   void handleIpAccessPrefixEntry();
   /// Begins a compilation, at the first rule.
   void handleIpAccessListVersion();
   /// One slice: at least one rule, and then as many as the quantum has time for. Errors: without a compilation under way, a list with
   /// rules ends the process.
   void processClock();

   const Quoin::String & name() const noexcept { return name_; }
   const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig() const noexcept { return ipConfig_; }
   const Quoin::Ptr<const Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable() const noexcept { return ipAclSymbolTable_; }
   const Quoin::Ptr<const Acl::AclConfig> & ipAccessList() const noexcept { return ipAccessList_; }
   /// A counter that nothing rests on.
   uint32_t bookmarkSeq() const noexcept { return bookmarkSeq_; }
   void bookmarkSeqInc( uint32_t n ) noexcept { bookmarkSeq_ += n; }
   /// The sequence number at which the next slice resumes; 0 for the first.
   uint32_t bookmark() const noexcept { return bookmark_; }
   /// The length of a slice. At first 10 ms: what a turn of an agent's loop may take.
   Seconds clockQuantum() const noexcept { return clockQuantum_; }
   void clockQuantumIs( Seconds quantum ) noexcept { clockQuantum_ = quantum; }
   /// The trie under construction; null while none is.
   const Quoin::Ptr<Routing::PatriciaTrieWithNodeData> & newTrie() const noexcept { return newTrie_; }
   /// What the inspections below found; null until one has run, and when a compilation has ended.
   const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset() const noexcept { return pset_; }
   bool initialized() const noexcept { return initialized_; }

   // Inspections. The first two put one rule into `newTrie`; without one, or where it is of the other family, the process ends. The others
   // find the prefixes that a rule permits.
   void testAddIpAclEntryToTrie( uint32_t seq, const Acl::IpRuleConfig & rule );
   void testAddIp6AclEntryToTrie( uint32_t seq, const Acl::Ip6RuleConfig & rule );
   void getIpPfxFromRule( const Acl::IpRuleConfig & rule );
   void getIp6PfxFromRule( const Acl::Ip6RuleConfig & rule );

 private:
   class SliceClock final : public Plinth::Clock::NotifieeConst {
    public:
      SliceClock( IpAclConfigSm & sm, const Quoin::Ptr<Plinth::Clock> & clock ) : NotifieeConst( clock ), sm_( sm ) {}

    private:
      void handleTime() override { sm_.processClock(); }
      IpAclConfigSm & sm_;
   };

   void handleChangeMissed() override { handleCurrVersion(); }
   void handleList( const Quoin::Change & ) { handleCurrVersion(); }
   void handleCurrVersion();
   void handleRules( const Quoin::Change & ) { handleIpAccessPrefixEntry(); }
   bool isIpv4() const noexcept { return !ipConfig_ || ipConfig_->type() == Acl::AclType::ipv4; }
   bool hasRules( const Acl::AclVersion & version ) const;   // of this family
   bool addRules( const Acl::AclVersion & version );
   void newTrieIs();
   void reserve( size_t rules );
   void pauseAt( uint32_t seq );
   void addRule( const Acl::AclVersion & version, uint32_t seq, Acl::AclVersion::RuleId id );
   void publish( const Quoin::Ptr<Routing::RouteMap::IpAccessListSymbol> & symbol,
                 const Quoin::Ptr<Routing::RouteMap::IpAccessListStatus> & status );

   Quoin::String name_;
   Quoin::Ptr<const Acl::Input::AclTypeConfig> ipConfig_;
   Quoin::Ptr<const Routing::RouteMap::AllIpAccessListSymbol> ipAclSymbolTable_;
   Quoin::Ptr<const Acl::AclConfig> ipAccessList_;
   SliceClock clock_;
   Quoin::Ptr<Routing::RetiredTries> retiredTries_;
   uint32_t bookmarkSeq_ = 0;
   uint32_t bookmark_ = 0;
   Seconds clockQuantum_{ 0.01 };
   Quoin::Ptr<Routing::PatriciaTrieWithNodeData> newTrie_;
   Quoin::Ptr<Ferule::IpGenPrefixSet> pset_;
   bool initialized_ = false;
   bool newTrieDue_ = false;   // `newTrie` is of rules as they no longer are
   Zeugma::Reactor<IpAclConfigSm> listReactor_{ *this, &IpAclConfigSm::handleList };
   Zeugma::Reactor<IpAclConfigSm> rulesReactor_{ *this, &IpAclConfigSm::handleRules };   // of the current version
};

}   // namespace Routing::Policy
