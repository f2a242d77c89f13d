/// @file tests/policy/ListFixtures.h
/// What the tests of lists share: lists out of texts, the roads on which a list answers, and entries that decide late.
///    auto list = prefixList( { "10 deny 10.0.0.0/8 ge 24 le 24", "20 permit 10.1.1.0/24" } );
///    auto acl = accessList( { "10 permit 10.0.0.0 255.0.255.0", "20 deny 10.0.0.0/8" } );
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "policy/MatchInput.h"
#include "policy/PolicyEvalContext.h"
#include "substrate/lists/AccessListRules.h"
#include "substrate/lists/IpAccessListStatus.h"
#include "substrate/routemap/PrefixListBuilder.h"
#include "tests/model/PrefixListModel.h"

namespace ListFixtures {

using Ferule::AddressFamily;
using Ferule::IpGenPrefix;
using Routing::PatriciaTrieWithNodeData;
using Routing::Policy::MatchInput_;
using Routing::RouteMap::AccessListRules;
using Routing::RouteMap::AclEntryData;
using Routing::RouteMap::IpAccessListStatus;
using Routing::RouteMap::PrefixListBuilder;
using Routing::RouteMap::PrefixListEntry;
using Routing::RouteMap::PrefixListEntryData;
using Routing::RouteMap::PrefixListStatus;

constexpr auto permit = Acl::MatchPermit::permit;
constexpr auto deny = Acl::MatchPermit::deny;

inline const Quoin::Ptr<Routing::Policy::PolicyEvalContext> noContext;

using Texts = std::initializer_list<const char *>;

/// An action out of its word; anything but "permit" and "deny" fails the test.
inline Acl::MatchPermit actionOf( const std::string & word ) {
   EXPECT_TRUE( word == "permit" || word == "deny" ) << word;
   return word == "permit" ? permit : deny;
}

/// "10 permit 10.0.0.0/8 ge 16 le 24".
inline PrefixListEntry prefixListEntry( const std::string & text ) {
   std::istringstream is( text );
   PrefixListEntry e;
   std::string action, prefix, bound;
   is >> e.seqno >> action >> prefix;
   EXPECT_FALSE( is.fail() ) << text;
   e.action = actionOf( action );
   e.prefix = IpGenPrefix( prefix );
   for( uint32_t length; is >> bound >> length; ) {
      EXPECT_TRUE( bound == "ge" || bound == "le" ) << text;
      ( bound == "ge" ? e.ge : e.le ) = length;
   }
   return e;
}

/// A list with these entries, as the builder makes it. The family is that of the first one, IPv4 if there is none.
inline Quoin::Ptr<const PrefixListStatus> prefixList( Texts texts, const char * name = "list" ) {
   const auto af = texts.size() ? prefixListEntry( *texts.begin() ).prefix.af() : AddressFamily::ipv4;
   PrefixListBuilder builder( name, af );
   for( const char * text : texts ) {
      const auto error = builder.entryIs( prefixListEntry( text ) );
      if( error ) ADD_FAILURE() << error->toStrep();
   }
   return builder.build();
}

/// An agent's own entry, which may decide late. Without a way to decide, it says what it was made with.
class OwnEntry final : public PrefixListEntryData {
 public:
   using Decide = std::function<bool()>;
   explicit OwnEntry( const PrefixListModel::Entry & e, Decide decide = nullptr )
         : PrefixListEntryData( e.seqno, e.permit, e.prefix.length(), uint8_t( e.ge ), uint8_t( e.le ) ), decide_( std::move( decide ) ) {}
   bool isPrefixEntryPermit() const override { return decide_ ? decide_() : PrefixListEntryData::isPrefixEntryPermit(); }

 private:
   Decide decide_;
};

inline Quoin::Ptr<PrefixListEntryData> plainEntry( const PrefixListModel::Entry & e ) {
   return Quoin::makeNode<PrefixListEntryData>( e.seqno, e.permit, e.prefix.length(), uint8_t( e.ge ), uint8_t( e.le ) );
}

/// The roads on which a list answers. The answer is the same on all.
enum class Road {
   rows,            // through the rows
   compactedRows,   // the same of a compacted trie
   ownEntries,      // an agent's entry type: the walk
   filledAfter,     // a trie that got its entries after it was installed: the walk
   compactedAfter   // a trie that was compacted after it was installed: the walk
};
constexpr Road kRoads[] = { Road::rows, Road::compactedRows, Road::ownEntries, Road::filledAfter, Road::compactedAfter };

inline std::ostream & operator<<( std::ostream & os, Road road ) {
   const char * const names[] = { "rows", "compactedRows", "ownEntries", "filledAfter", "compactedAfter" };
   return os << names[ size_t( road ) ];
}

/// Whether each chain of the trie of prefixListBy() ascends.
inline bool chainsAscend( const PrefixListModel & model ) {
   std::map<IpGenPrefix, uint32_t> lowest;
   return std::ranges::all_of( model.entries, [ & ]( const auto & e ) {
      const auto [ at, isFirst ] = lowest.try_emplace( e.prefix, e.seqno );
      return e.seqno <= std::exchange( at->second, e.seqno );
   } );
}

/// A list whose trie gets the entries in their order, so that of one prefix the last stands first in the chain.
inline Quoin::Ptr<const PrefixListStatus> prefixListBy( Road road, const PrefixListModel & model ) {
   const auto trie = Quoin::makeNode<PatriciaTrieWithNodeData>( model.af, false );
   const auto status = Quoin::makeNode<PrefixListStatus>( "list", model.af );
   if( road == Road::filledAfter ) status->trieIs( trie );
   for( const auto & e : model.entries ) {
      if( road == Road::ownEntries )
         trie->routeIs( e.prefix, Quoin::makeNode<OwnEntry>( e ) );
      else
         trie->routeIs( e.prefix, plainEntry( e ) );
   }
   if( road == Road::compactedRows ) trie->compact();
   if( road != Road::filledAfter ) status->trieIs( trie );
   if( road == Road::compactedAfter ) trie->compact();
   const bool hasRows = ( road == Road::rows || road == Road::compactedRows ) && chainsAscend( model );
   const bool walks = !model.entries.empty() && !hasRows;
   EXPECT_EQ( status->rows() == nullptr, walks || road == Road::compactedAfter ) << road;
   return status;
}

/// "10 permit 10.0.0.0 255.0.255.0" or, with the mask as a length, "10 permit 10.0.0.1/8".
inline AclPrefixEntry accessListRule( const std::string & text ) {
   std::istringstream is( text );
   AclPrefixEntry rule;
   std::string action, source, mask;
   is >> rule.seqno >> action >> source;
   EXPECT_FALSE( is.fail() ) << text;
   rule.permit = actionOf( action );
   const IpGenPrefix prefix( source );
   const auto bits = is >> mask ? Ferule::IpGenAddr( mask ).bits() : Ferule::Bits128::leadingOnes( prefix.length() );
   rule.source = { prefix.ipGenAddr(), bits };
   return rule;
}

/// Where a rule stands: at the leading run of ones of its mask.
inline IpGenPrefix keyOf( const AclPrefixEntry & rule ) {
   return IpGenPrefix( rule.source.address(), rule.source.leadingOnesOfMask() ).subnet();
}

/// A list with these rules, entered in their order.
inline Quoin::Ptr<IpAccessListStatus> accessListOf( AddressFamily af, const std::vector<AclPrefixEntry> & rules, bool compacted = false ) {
   const auto trie = Quoin::makeNode<PatriciaTrieWithNodeData>( af, false );
   for( const auto & rule : rules ) trie->routeIs( keyOf( rule ), Quoin::makeNode<AclEntryData>( rule ) );
   if( compacted ) trie->compact();
   auto status = Quoin::makeNode<IpAccessListStatus>( "acl" );
   status->trieIs( trie );
   return status;
}

/// A list of the same IPv4 rules, as a machine compiles it.
inline Quoin::Ptr<IpAccessListStatus> compiledAccessListOf( std::vector<AclPrefixEntry> inOrder ) {
   std::sort( inOrder.begin(), inOrder.end(), []( const auto & a, const auto & b ) { return a.seqno < b.seqno; } );
   const auto rules = Quoin::makeNode<AccessListRules>();
   for( const auto & rule : inOrder ) EXPECT_TRUE( rules->add( rule ) ) << rule.seqno;
   rules->trim();
   return Quoin::makeNode<IpAccessListStatus>( "acl", rules );
}

/// The same as accessListOf() out of texts. The family is that of the first rule, IPv4 if there is none.
inline Quoin::Ptr<IpAccessListStatus> accessList( Texts texts ) {
   std::vector<AclPrefixEntry> rules;
   for( const char * text : texts ) rules.push_back( accessListRule( text ) );
   return accessListOf( rules.empty() ? AddressFamily::ipv4 : rules.front().source.address().af(), rules );
}

/// A route to this prefix.
inline MatchInput_ routeTo( const IpGenPrefix & prefix ) {
   MatchInput_ input;
   input.prefixIs( prefix );
   return input;
}
inline MatchInput_ routeTo( const char * prefix ) {
   return routeTo( IpGenPrefix( prefix ) );
}

}   // namespace ListFixtures
