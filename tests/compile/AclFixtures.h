/// @file tests/compile/AclFixtures.h
/// What the tests of access list compilation share: rules out of texts, clocks that a test moves, and what a compiled list holds, in words.
///    auto version = aclVersion( { "10 permit 10.0.0.0 255.0.255.0", "20 deny 10.0.0.0/8" } );
///    EXPECT_THAT( rulesOf( *symbol->status() ), ElementsAre( "10 permit 10.0.0.0/255.0.255.0 at 10.0.0.0/8", ... ) );
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "compile/AclConfigSm.h"
#include "policy/RoutingPolicyAcl.h"
#include "tests/compile/Fixtures.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/routemap/SymbolWatcher.h"

namespace Routing::Policy::CompileFixtures {

using AclSymbolWatcher = Routing::RouteMap::SymbolWatcher<Routing::RouteMap::IpAccessListStatus>;

/// The id that the rule at a sequence number has here. Not the number itself, so that one cannot be taken for the other.
constexpr uint32_t ruleIdOf( uint32_t seq ) {
   return seq + 7000;
}

inline Acl::RuleAction actionOf( const AclPrefixEntry & rule ) {
   return rule.permit == Acl::MatchPermit::permit ? Acl::RuleAction::permit : Acl::RuleAction::deny;
}
inline Acl::IpRuleConfig ipRuleOf( const AclPrefixEntry & rule ) {
   return { actionOf( rule ), { { rule.source.address().v4Addr(), Ferule::IpAddr( uint32_t( rule.source.mask().high >> 32 ) ) } } };
}
inline Acl::Ip6RuleConfig ip6RuleOf( const AclPrefixEntry & rule ) {
   return { actionOf( rule ), { { rule.source.address().v6Addr(), rule.source.leadingOnesOfMask() } } };
}
/// "10 permit 10.0.0.0 255.0.255.0" or "10 permit 10.0.0.0/8".
inline Acl::IpRuleConfig ipRule( const std::string & text ) {
   return ipRuleOf( ListFixtures::accessListRule( text ) );
}
inline Acl::Ip6RuleConfig ip6Rule( const std::string & text ) {
   return ip6RuleOf( ListFixtures::accessListRule( text ) );
}

/// What the rule says, and where it stands: two changes for a new one.
inline void ruleIs( Acl::AclVersion & version, const std::string & text ) {
   const auto rule = ListFixtures::accessListRule( text );
   if( rule.source.address().af() == Ferule::AddressFamily::ipv4 )
      version.ipRuleIs( ruleIdOf( rule.seqno ), ipRuleOf( rule ) );
   else
      version.ip6RuleIs( ruleIdOf( rule.seqno ), ip6RuleOf( rule ) );
   version.ruleBySequenceIs( rule.seqno, ruleIdOf( rule.seqno ) );
}
inline void ruleDel( Acl::AclVersion & version, uint32_t seq ) {
   version.ipRuleDel( ruleIdOf( seq ) );
   version.ip6RuleDel( ruleIdOf( seq ) );
   version.ruleBySequenceDel( seq );
}

inline Quoin::Ptr<Acl::AclVersion> aclVersion( const std::vector<std::string> & texts = {} ) {
   auto version = Quoin::makeNode<Acl::AclVersion>();
   for( const auto & text : texts ) ruleIs( *version, text );
   return version;
}

/// `n` rules 10, 20, ... that permit 10.0.n.0/24 each.
inline std::vector<std::string> manyRules( unsigned n ) {
   std::vector<std::string> texts;
   for( unsigned i = 1; i <= n; ++i )
      texts.push_back( std::to_string( 10 * i ) + " permit 10." + std::to_string( i / 256 ) + '.' + std::to_string( i % 256 ) + ".0/24" );
   return texts;
}

/// Every rule of a trie by its number: "10 permit 10.1.2.3/8 at 10.0.0.0/8", address and mask as they came and the prefix that it stands at.
inline std::vector<std::string> rulesOf( const PatriciaTrieWithNodeData & trie ) {
   std::multimap<uint32_t, std::string> rules;
   trie.visitAll( [ & ]( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * head ) {
      for( auto * e = static_cast<const AclEntryData *>( head ); e; e = e->nextEntry() ) {
         rules.emplace( e->seqno(),
                        std::to_string( e->seqno() ) + ( e->permit() == Acl::MatchPermit::permit ? " permit " : " deny " ) +
                           std::string( e->source().toStrep().view() ) + " at " + std::string( prefix.toStrep().view() ) );
      }
   } );
   std::vector<std::string> texts;
   for( const auto & [ seq, text ] : rules ) texts.push_back( text );
   return texts;
}
/// "undefined" where there is no list.
inline std::vector<std::string> rulesOf( const Quoin::Ptr<const IpAccessListStatus> & status ) {
   return status ? rulesOf( status->trie() ) : std::vector<std::string>{ "undefined" };
}
inline size_t ruleCountOf( const Quoin::Ptr<const IpAccessListStatus> & status ) {
   return status ? rulesOf( status->trie() ).size() : 0;
}

/// What a matcher on that list says of a route.
inline bool listPermits( const Quoin::Ptr<const IpAccessListStatus> & status, const Ferule::IpGenPrefix & prefix ) {
   return IpAccessListMatcher( "list", status ).matchForTest( ListFixtures::routeTo( prefix ), nullptr );
}
inline bool listPermits( const Quoin::Ptr<const IpAccessListStatus> & status, const char * prefix ) {
   return listPermits( status, Ferule::IpGenPrefix( prefix ) );
}

/// What publishes a change of a list: its new status at the symbol, its new version at the symbol's notifier.
inline const Quoin::Node & heardAt( const Routing::RouteMap::IpAccessListSymbol & symbol, bool byVersion ) {
   if( byVersion ) return *symbol.notifier();
   return symbol;
}

/// Does something at the first call, and is false from then on. Pass it by std::ref to a reaction, a clock or a trace.
class OnlyOnce {
 public:
   explicit OnlyOnce( std::function<void()> f ) : function_( std::move( f ) ) {}
   OnlyOnce( const OnlyOnce & ) = delete;
   OnlyOnce & operator=( const OnlyOnce & ) = delete;
   void operator()() {
      if( const auto now = std::exchange( function_, {} ) ) now();   // cleared first: the function may call this again
   }
   void operator()( const Quoin::Change & ) { ( *this )(); }
   explicit operator bool() const { return bool( function_ ); }

 private:
   std::function<void()> function_;
};

/// A row of a table: something that changes a list, and how many rules the list has in the end.
struct EditRow {
   const char * what;
   std::function<void()> edit;
   size_t rules;
};

/// Whether that many prefixes are in the trie under construction.
inline bool hasTaken( const Quoin::Ptr<IpAclConfigSm> & sm, uint32_t prefixes ) {
   return sm && sm->newTrie() && sm->newTrie()->prefixCount() == prefixes;
}
/// Slices of one rule each from now on, and the first of them: of a list of rules 10, 20, ... that is to be compiled.
inline void pauseAtSecondRule( const Quoin::Ptr<IpAclConfigSm> & sm, Plinth::Clock & clock ) {
   sm->clockQuantumIs( Plinth::Clock::Seconds( 0 ) );
   clock.callDue();
   ASSERT_EQ( sm->bookmark(), 20u );
}

/// Asks a function for the time.
class AskingClock final : public Plinth::Clock {
 public:
   using Time = std::function<Seconds()>;
   explicit AskingClock( Time t ) : time( std::move( t ) ) {}
   Seconds now() const override { return time(); }
   Time time;
};

inline bool nothingDue( const Plinth::Clock & clock ) {
   return clock.untilNextCall() == Plinth::Clock::kNever;
}
/// Turns of an agent's loop until nothing is due; their number.
inline int runUntilIdle( Plinth::Clock & clock ) {
   int turns = 0;
   for( ; !nothingDue( clock ); ++turns ) {
      if( turns == 100000 ) {
         ADD_FAILURE() << "it never comes to an end";
         break;
      }
      clock.callDue();
   }
   return turns;
}

/// What an agent's access lists live in.
struct AclCase {
   using AclConfig = Acl::AclConfig;
   using AclTypeConfig = Acl::Input::AclTypeConfig;
   using Symbol = Routing::RouteMap::IpAccessListSymbol;
   using Symbols = Routing::RouteMap::AllIpAccessListSymbol;
   using DedupTable = Routing::RouteMap::IpAccessListSymbolDedupTable;
   explicit AclCase( Acl::AclType family = Acl::AclType::ipv4 ) : type( Quoin::makeNode<AclTypeConfig>( family ) ) {}

   Quoin::Ptr<Symbol> symbol( const char * name = "A" ) const { return dedupTable->symbol( name ); }
   Quoin::Ptr<const IpAccessListStatus> status( const char * name = "A" ) const { return symbol( name )->status(); }
   std::vector<std::string> rules( const char * name = "A" ) const { return rulesOf( status( name ) ); }

   Quoin::Ptr<AclTypeConfig> type;
   Quoin::Ptr<DedupTable> dedupTable = Quoin::makeNode<DedupTable>();
   Quoin::Ptr<Symbols> symbols = Quoin::makeNode<Symbols>();
   Quoin::Ptr<Plinth::ManualClock> clock = Quoin::makeNode<Plinth::ManualClock>();
};

}   // namespace Routing::Policy::CompileFixtures
