/// @file tests/agent/RandomText.h
/// Random policies that lines can say, out of few names, so that references often find what they name.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tests/model/RandomCases.h"
#include "text/MatchForms.h"
#include "text/PolicyText.h"
#include "text/SetForms.h"

namespace Agent {

class RandomText {
 public:
   explicit RandomText( Random & random ) : random_( random ) {}

   PolicyText next() {
      PolicyText text;
      for( auto n = below( random_, 4 ); n; --n ) text.ipv4PrefixLists[ name() ] = prefixList( AddressFamily::ipv4 );
      for( auto n = below( random_, 3 ); n; --n ) text.ipv6PrefixLists[ name() ] = prefixList( AddressFamily::ipv6 );
      for( auto n = below( random_, 3 ); n; --n ) text.ipv4AccessLists[ name() ] = accessList( AddressFamily::ipv4 );
      for( auto n = below( random_, 3 ); n; --n ) text.ipv6AccessLists[ name() ] = accessList( AddressFamily::ipv6 );
      for( auto n = below( random_, 3 ); n; --n ) text.tagSets[ name() ] = tagSet();
      for( auto n = below( random_, 3 ); n; --n ) text.communityLists[ name() ] = communityList();
      for( auto n = below( random_, 3 ); n; --n ) text.asPathLists[ name() ] = asPathList();
      for( auto n = below( random_, 4 ); n; --n ) text.routeMaps[ name() ] = routeMap();
      return text;
   }

 private:
   bool coin() { return oneIn( random_, 2 ); }
   std::string name() { return anyOf<std::string>( random_, { "A", "B", "EDGE-in", "10", "prefix-list", "invert", "seq", "permit" } ); }
   // Not "prefix-list": behind "match ip address" it is none.
   std::string reference() { return anyOf<std::string>( random_, { "A", "B", "EDGE-in", "10", "invert", "seq" } ); }
   std::string description() {
      return anyOf<std::string>( random_, { "", "", "one", "customers  of the edge", "! no comment", "\xc3\xbc" } );
   }
   MatchPermit action() { return coin() ? MatchPermit::permit : MatchPermit::deny; }
   uint32_t number32() { return anyOf<uint32_t>( random_, { 0, 1, 100, 65536, 0x7fffffff, 0xffffffff } ); }
   uint32_t sequenceNumber() { return anyOf<uint32_t>( random_, { 1, 5, 7, 10, 15, 65535, 65536, 0xfffffffe, 0xffffffff } ); }
   Community community() {
      return anyOf<Community>(
         random_, { 0, 1, 0xfbf40001, 0xfbf40002, 0xffff0000, 0xffff029a, 0xffffff01, 0xffffff02, 0xffffff03, 0xffffff04, 0xffffffff } );
   }
   std::vector<Community> communities( size_t least ) {
      std::set<Community> some;
      for( auto n = least + below( random_, 3 ); n; --n ) some.insert( community() );
      return { some.begin(), some.end() };
   }
   std::string expression() {
      return anyOf<std::string>( random_, { "_64500_", "^$", "^64500 [0-9]+$", "[_]\\_", "(a|b)  c", "permit", ".*" } );
   }
   Ferule::Bits128 bits( AddressFamily af ) {
      const Ferule::Bits128 some = anyOf<Ferule::Bits128>(
         random_,
         { {}, { 0x0a00000000000000, 0 }, { 0xc0000201ffffffff, 7 }, { 0x20010db800000000, 1 }, { ~uint64_t( 0 ), ~uint64_t( 0 ) } } );
      return some & Ferule::Bits128::leadingOnes( Ferule::addressBits( af ) );
   }
   Ferule::IpGenAddr address( AddressFamily af ) { return prefixOf( af, bits( af ), 0 ).ipGenAddr(); }

   template <class List, class MakeLine>
   List list( MakeLine makeLine ) {
      List list;
      for( auto n = 1 + below( random_, 4 ); n; --n ) list.lines[ sequenceNumber() ] = makeLine();
      return list;
   }
   PrefixListText prefixList( AddressFamily af ) {
      auto made = list<PrefixListText>( [ & ] {
         const unsigned family = Ferule::addressBits( af );
         const unsigned length = static_cast<unsigned>( below( random_, family + 1 ) );
         PrefixListLine line;
         line.action = action();
         line.prefix = prefixOf( af, bits( af ), coin() ? length : 0 ).subnet();
         if( coin() ) line.ge = line.prefix.length() + static_cast<uint32_t>( below( random_, family - line.prefix.length() + 1 ) );
         const uint32_t least = line.ge.value_or( line.prefix.length() );
         if( coin() ) line.le = coin() ? family : least + static_cast<uint32_t>( below( random_, family - least + 1 ) );
         return line;
      } );
      made.description = description();
      return made;
   }
   AccessListText accessList( AddressFamily af ) {
      auto made = list<AccessListText>( [ & ] {
         const bool gapped = af == AddressFamily::ipv4 && coin();
         const unsigned family = Ferule::addressBits( af );
         AccessListLine line;
         line.action = action();
         line.source = { address( af ),
                         gapped ? Ferule::Bits128{ random_() << 32, 0 }
                                : Ferule::Bits128::leadingOnes( coin() ? static_cast<unsigned>( below( random_, family + 1 ) ) : family ) };
         return line;
      } );
      made.description = description();
      return made;
   }
   TagSetText tagSet() {
      TagSetText set;
      for( auto n = 1 + below( random_, 40 ); n; --n )
         set.tags.insert( coin() ? number32() : static_cast<uint32_t>( below( random_, 99 ) ) );
      return set;
   }
   CommunityListText communityList() {
      const bool expanded = coin();
      auto made = list<CommunityListText>( [ & ] {
         CommunityListLine line;
         line.action = action();
         if( expanded )
            line.expression = expression();
         else
            line.communities = communities( 0 );
         return line;
      } );
      made.expanded = expanded;
      return made;
   }
   AsPathListText asPathList() {
      return list<AsPathListText>( [ & ] {
         AsPathListLine line;
         line.action = action();
         line.expression = expression();
         return line;
      } );
   }

   MatchClause matchClause( const MatchForm & form ) {
      MatchClause clause;
      switch( form.operand ) {
         case MatchForm::Operand::invertibleName: clause.invert = coin(); [[fallthrough]];
         case MatchForm::Operand::comparedName:
         case MatchForm::Operand::name: clause.name = reference(); break;
         case MatchForm::Operand::nextHop:
            if( coin() )
               clause.name = reference();
            else
               clause.address = address( form.option == MatchOption::matchIpNexthop ? AddressFamily::ipv4 : AddressFamily::ipv6 );
            break;
         case MatchForm::Operand::number: clause.number = coin() ? form.max : number32(); break;
         case MatchForm::Operand::protocol: clause.number = 1 + below( random_, 9 ); break;
         case MatchForm::Operand::keyword:
         case MatchForm::Operand::address:
         case MatchForm::Operand::peer:
         case MatchForm::Operand::text:
         case MatchForm::Operand::none: break;   // of FRR alone
      }
      return clause;
   }
   SetClauses setClauses() {
      SetClauses set;
      for( auto clauses = below( random_, 4 ); clauses; --clauses ) {
         SetClause clause{ .kind = SetKind( below( random_, size_t( SetKind::community ) + 1 ) ) };
         switch( clause.kind ) {
            case SetKind::metric: clause.number = coin() ? ( uint64_t( 1 ) << 63 ) - 1 : number32(); break;
            case SetKind::distance: clause.number = 1 + below( random_, 255 ); break;
            case SetKind::tag:
            case SetKind::localPreference: clause.number = number32(); break;
            case SetKind::community:
               if( !coin() ) break;
               clause.communities = communities( 1 );
               clause.additive = coin();
               break;
            default: continue;   // only of the dialect of FRR
         }
         set.put( clause );
      }
      return set;
   }
   RouteMapText routeMap() {
      RouteMapText map;
      for( auto n = 1 + below( random_, 5 ); n; --n ) {
         const uint32_t number = sequenceNumber();
         SequenceText & sequence = map.sequences[ number ];
         sequence.action = action();
         sequence.description = description();
         for( auto clauses = below( random_, 4 ); clauses; --clauses ) {
            const MatchForm & form = matchForms()[ below( random_, matchForms().size() ) ];
            if( isIn( Dialect::native, form.only ) ) sequence.match[ form.option ] = matchClause( form );
         }
         sequence.set = setClauses();
         if( oneIn( random_, 3 ) ) sequence.call = CallClause{ name(), coin(), {} };
         if( oneIn( random_, 3 ) ) {
            const bool toNext = coin() || number == 0xffffffff;
            sequence.continueTo = ContinueClause{ toNext ? 0 : number + 1, {} };
         }
      }
      return map;
   }

   Random & random_;
};

}   // namespace Agent
