/// @file compile/IpAclConfigSm.h
#pragma once

#include "substrate/acl/AclConfig.h"
#include "substrate/ferule/IpGenPrefixSet.h"
#include "substrate/lists/AccessListRules.h"
#include "substrate/plinth/Clock.h"
#include "substrate/routemap/AllIpAccessListSymbol.h"
#include "substrate/routing/RetiredTries.h"
#include "substrate/zeugma/BaseOutputSm.h"

namespace Routing::Policy {

/// Compiles one access list in slices of time, and publishes the complete list through its symbol: an IPv4 list as AccessListRules, an IPv6
/// list as a trie. IpAclTypeConfigSm owns this machine; the matchers of route maps read the list. A change of the list restarts the
/// compilation; until it ends, evaluation reads the old list. It holds only the source of a filter: every other condition of a rule is
/// ignored.
/// Threading: the activity thread.
class ROUTEPOLICY_API IpAclConfigSm final : public Zeugma::BaseOutputSm {
 public:
   using Seconds = Plinth::Clock::Seconds;

   /// `ipConfig` gives the family and holds the list; without it, the family is IPv4 and the list is never found. `ipAclSymbolTable` holds
   /// the symbol of the list. `retiredTries` takes over large tries that are no longer used; without it, they are destroyed at once.
   /// Errors: any other null argument ends the process, but a null clock raises MutatorArgNullPointerException.
   IpAclConfigSm( const Quoin::String & name, const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig,
                  const Quoin::Ptr<const Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable,
                  const Quoin::Ptr<const Acl::AclConfig> & ipAccessList, const Quoin::Ptr<Plinth::Clock> & clock,
                  const Quoin::Ptr<Routing::RetiredTries> & retiredTries = nullptr );
   ~IpAclConfigSm() override { stop(); }

   void formatDerivedType( std::ostream & os ) const override { os << "access-list: " << name_; }
   /// The reaction to a change of the list: begins a compilation if the list has rules.
   void handleIpAccessPrefixEntry();
   /// Begins a compilation at the first rule.
   void handleIpAccessListVersion();
   /// Compiles one slice: at least one rule, then more rules until the quantum has passed. Errors: if no compilation is in progress, a list
   /// with rules ends the process.
   void processClock();

   const Quoin::String & name() const noexcept { return name_; }
   /// The configuration of the type; null for none.
   const Quoin::Ptr<const Acl::Input::AclTypeConfig> & ipConfig() const noexcept { return ipConfig_; }
   const Quoin::Ptr<const Routing::RouteMap::AllIpAccessListSymbol> & ipAclSymbolTable() const noexcept { return ipAclSymbolTable_; }
   const Quoin::Ptr<const Acl::AclConfig> & ipAccessList() const noexcept { return ipAccessList_; }
   /// A counter that the library does not read.
   uint32_t bookmarkSeq() const noexcept { return bookmarkSeq_; }
   void bookmarkSeqInc( uint32_t n ) noexcept { bookmarkSeq_ += n; }
   /// The sequence number where the next slice begins; 0 for the first slice.
   uint32_t bookmark() const noexcept { return bookmark_; }
   /// The length of a slice. Unit: seconds. Default: 0.01, a tolerable delay for the loop of an agent.
   Seconds clockQuantum() const noexcept { return clockQuantum_; }
   void clockQuantumIs( Seconds quantum ) noexcept { clockQuantum_ = quantum; }
   /// The trie in construction; null if no compilation is in progress. An IPv4 list becomes a trie when this function is called during its
   /// compilation, and stays one: it is then larger and slower. Errors: std::bad_alloc.
   const Quoin::Ptr<Routing::PatriciaTrieWithNodeData> & newTrie() const;
   /// Whether a compilation is in progress.
   bool isCompiling() const noexcept { return newRules_ || newTrie_; }
   /// The result of the last inspection below; null before the first inspection and after the end of a compilation.
   const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset() const noexcept { return pset_; }
   /// Whether the list was read for the first time.
   bool initialized() const noexcept { return initialized_; }

   // Inspections, for tests. The first two add one rule to the list in construction; the process ends if no compilation is in progress, or
   // if the list is of the other family.
   // The other two compute the prefixes that a rule permits.
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
   void pauseAt( uint32_t seq );
   void addRule( const Acl::AclVersion & version, uint32_t seq, Acl::AclVersion::RuleId id );
   void addToList( const AclPrefixEntry & rule );
   void newTrieIs( const Quoin::Ptr<Routing::PatriciaTrieWithNodeData> & trie ) const;
   void publish( const Quoin::Ptr<Routing::RouteMap::IpAccessListSymbol> & symbol );

   Quoin::String name_;
   Quoin::Ptr<const Acl::Input::AclTypeConfig> ipConfig_;
   Quoin::Ptr<const Routing::RouteMap::AllIpAccessListSymbol> ipAclSymbolTable_;
   Quoin::Ptr<const Acl::AclConfig> ipAccessList_;
   SliceClock clock_;
   Quoin::Ptr<Routing::RetiredTries> retiredTries_;
   uint32_t bookmarkSeq_ = 0;
   uint32_t bookmark_ = 0;
   Seconds clockQuantum_{ 0.01 };
   uint32_t compilation_ = 0;   // counts the compilations
   // The list in construction: rules, or a trie; neither if no compilation is in progress.
   mutable Quoin::Ptr<Routing::RouteMap::AccessListRules> newRules_;
   mutable Quoin::Ptr<Routing::PatriciaTrieWithNodeData> newTrie_;
   Quoin::Ptr<Ferule::IpGenPrefixSet> pset_;
   bool initialized_ = false;
   Zeugma::Reactor<IpAclConfigSm> listReactor_{ *this, &IpAclConfigSm::handleList };
   Zeugma::Reactor<IpAclConfigSm> rulesReactor_{ *this, &IpAclConfigSm::handleRules };   // of the current version
};

}   // namespace Routing::Policy
