/// @file tests/model/AccessListModel.h
/// An access list as a row of rules, all of which are asked, bit by bit: slow and obvious. The library's lists are held against it.
#pragma once

#include <cstdint>
#include <vector>

#include "substrate/acl/AclPrefixEntry.h"
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
