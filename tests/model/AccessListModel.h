/// @file tests/model/AccessListModel.h
/// An access list as a row of rules, all of which are asked, bit by bit: slow and obvious. The library's lists are held against it.
/// And twins of configured lists, which say what a list's symbol must show, slice after slice.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "substrate/acl/AclPrefixEntry.h"
#include "tests/compile/AclFixtures.h"
#include "tests/model/PrefixListModel.h"

struct AccessListModel {
   Ferule::AddressFamily af;
   std::vector<AclPrefixEntry> rules;   // no two of one number

   /// Whether the rule with the lowest number among those that cover the route permits it.
   bool match( const Ferule::IpGenPrefix & asked ) const {
      const AclPrefixEntry * best = governing( asked );
      return best && best->permit == Acl::MatchPermit::permit;
   }

   const AclPrefixEntry * governing( const Ferule::IpGenPrefix & asked ) const {
      const AclPrefixEntry * best = nullptr;
      for( const AclPrefixEntry & rule : rules )
         if( covers( rule, asked ) && ( !best || rule.seqno < best->seqno ) ) best = &rule;
      return best;
   }

   /// The leading run of ones of the mask must contain the route's prefix. For a mask and address that are no plain prefix, the
   /// route's address must agree in every bit of the mask besides.
   bool covers( const AclPrefixEntry & rule, const Ferule::IpGenPrefix & asked ) const {
      const Ferule::IpGenAddr mask( Ferule::Ip6Addr( rule.source.mask() ) ), address = rule.source.address();
      const unsigned bits = af == Ferule::AddressFamily::ipv4 ? 32 : 128;
      if( asked.af() != af ) return false;
      unsigned run = 0;
      while( run < bits && PrefixListModel::bitOf( mask, run ) ) ++run;
      if( run > asked.length() ) return false;
      bool plain = true, agrees = true;
      for( unsigned i = 0; i < bits; ++i ) {
         const bool differs = PrefixListModel::bitOf( address, i ) != PrefixListModel::bitOf( asked.ipGenAddr(), i );
         if( i < run && differs ) return false;
         if( i >= run && ( PrefixListModel::bitOf( mask, i ) || PrefixListModel::bitOf( address, i ) ) ) plain = false;
         if( PrefixListModel::bitOf( mask, i ) && differs ) agrees = false;
      }
      return plain || agrees;
   }
};

namespace AccessListTwins {

using Rules = std::vector<AclPrefixEntry>;

inline bool sameRule( const AclPrefixEntry & a, const AclPrefixEntry & b ) {
   return a.seqno == b.seqno && a.source == b.source && a.permit == b.permit;
}

/// Every rule of a compiled list, by its number.
inline Rules rulesIn( const Routing::RouteMap::IpAccessListStatus & status ) {
   Rules rules;
   status.trie().visitAll( [ & ]( const Ferule::IpGenPrefix &, const Routing::PrefixData * head ) {
      const auto * first = static_cast<const Routing::RouteMap::AclEntryData *>( head );
      for( const auto * e = first; e; e = e->nextEntry() ) rules.push_back( { e->seqno(), e->source(), e->permit() } );
   } );
   std::ranges::sort( rules, {}, &AclPrefixEntry::seqno );
   return rules;
}

/// A version, and what was written into it. Writes say whether they have changed anything.
struct VersionTwin {
   explicit VersionTwin( Ferule::AddressFamily f ) : af( f ) {}
   /// What stands at each number; a rule that is missing permits everything.
   AclPrefixEntry ruleAt( uint32_t seq ) const {
      const auto i = rules.find( sequences.at( seq ) );
      AclPrefixEntry rule{ 0, { Ferule::IpGenAddr( isIpv4() ? "0.0.0.0" : "::" ), {} }, Acl::MatchPermit::permit };
      if( i != rules.end() ) rule = i->second;
      rule.seqno = seq;
      return rule;
   }
   Rules all() const {
      Rules out;
      for( const auto & [ seq, id ] : sequences ) out.push_back( ruleAt( seq ) );
      return out;
   }
   bool isIpv4() const { return af == Ferule::AddressFamily::ipv4; }
   bool ruleIs( uint32_t id, const AclPrefixEntry & rule ) {
      const auto i = rules.find( id );
      const bool changes = i == rules.end() || i->second.source != rule.source || i->second.permit != rule.permit;
      rules.insert_or_assign( id, rule );
      if( isIpv4() )
         real->ipRuleIs( id, Routing::Policy::CompileFixtures::ipRuleOf( rule ) );
      else
         real->ip6RuleIs( id, Routing::Policy::CompileFixtures::ip6RuleOf( rule ) );
      return changes;
   }
   bool ruleDel( uint32_t id ) {
      if( isIpv4() )
         real->ipRuleDel( id );
      else
         real->ip6RuleDel( id );
      return rules.erase( id ) != 0;
   }
   bool sequenceIs( uint32_t seq, uint32_t id ) {
      const auto i = sequences.find( seq );
      const bool changes = i == sequences.end() || i->second != id;
      sequences.insert_or_assign( seq, id );
      real->ruleBySequenceIs( seq, id );
      return changes;
   }
   bool sequenceDel( uint32_t seq ) {
      real->ruleBySequenceDel( seq );
      return sequences.erase( seq ) != 0;
   }
   Ferule::AddressFamily af;
   Quoin::Ptr<Acl::AclVersion> real = Quoin::makeNode<Acl::AclVersion>();
   std::map<uint32_t, uint32_t> sequences;
   std::map<uint32_t, AclPrefixEntry> rules;   // by id
};

/// A list and what must have become of it.
struct ListTwin {
   const char * name = "";
   Quoin::Ptr<Acl::AclConfig> real;   // null while it is not configured
   Quoin::Ptr<Routing::RouteMap::IpAccessListSymbol> symbol;
   std::shared_ptr<VersionTwin> version;
   bool oneRuleEach = false;   // per slice; else all of them
   bool compiling = false;
   uint32_t bookmark = 0;
   Rules building;
   std::optional<Rules> shown;   // none while it is undefined
   uint32_t published = 0;

   /// It has a machine from now on. Nobody is told of the empty list.
   void made() { shown = Rules{}; }
   /// It is not configured any more, with all that was under way. What was shown stays.
   void gone() {
      real = nullptr;
      version = nullptr;
      compiling = false;
      bookmark = 0;
      building.clear();
   }
   void undefined() {
      shown = std::nullopt;
      ++published;
   }
   /// A list without rules begins nothing, and stops nothing.
   void changed() {
      if( !real || !version || version->rules.empty() ) return;
      compiling = true;
      bookmark = 0;
      building.clear();
   }
   void slice() {
      if( !compiling ) return;
      if( version && !version->rules.empty() )
         for( auto i = version->sequences.lower_bound( bookmark ), first = i; i != version->sequences.end(); ++i ) {
            if( i != first && oneRuleEach ) {
               bookmark = i->first;
               return;
            }
            building.push_back( version->ruleAt( i->first ) );
         }
      compiling = false;
      bookmark = 0;
      shown = std::exchange( building, {} );
      ++published;
   }
};

}   // namespace AccessListTwins
