#include "compile/PolicyRoot.h"

#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Node;
using Quoin::Ptr;
using Routing::Policy::PolicyRoot;
using Routing::Policy::RouteMapSymbolDedupTable;
using testing::Each;

/// A table of the root, whatever its symbols are.
struct Table {
   const char * name;
   const Node * ( *of )( const PolicyRoot & );
   size_t ( *count )( const PolicyRoot & );
   Ptr<PolicySymbol> ( *symbol )( const PolicyRoot &, const char * name );
};

template <class Expected, auto reader>
Table table( const char * name ) {
   using Found = typename std::remove_cvref_t<decltype( ( std::declval<const PolicyRoot &>().*reader )() )>::element_type;
   static_assert( std::is_same_v<Expected, Found> );
   return { name, []( const PolicyRoot & root ) -> const Node * { return ( root.*reader )().get(); },
            []( const PolicyRoot & root ) { return ( root.*reader )()->count(); },
            []( const PolicyRoot & root, const char * n ) -> Ptr<PolicySymbol> { return ( root.*reader )()->symbol( n ); } };
}

const Table kTables[] = {
   table<RouteMapSymbolDedupTable, &PolicyRoot::routeMapTable>( "routeMapTable" ),
   table<RouteMapSymbolDedupTable, &PolicyRoot::peerFilterTable>( "peerFilterTable" ),
   table<CommListSymbolDedupTable, &PolicyRoot::commListTable>( "commListTable" ),
   table<CommListSymbolDedupTable, &PolicyRoot::extCommListTable>( "extCommListTable" ),
   table<CommListSymbolDedupTable, &PolicyRoot::largeCommListTable>( "largeCommListTable" ),
   table<PrefixListSymbolDedupTable, &PolicyRoot::ipv4PrefixListTable>( "ipv4PrefixListTable" ),
   table<PrefixListSymbolDedupTable, &PolicyRoot::ipv6PrefixListTable>( "ipv6PrefixListTable" ),
   table<IpAccessListSymbolDedupTable, &PolicyRoot::ipv4AclListTable>( "ipv4AclListTable" ),
   table<AsPathListSymbolDedupTable, &PolicyRoot::asPathListTable>( "asPathListTable" ),
   table<DynPrefixListSymbolDedupTable, &PolicyRoot::dynPrefixListTable>( "dynPrefixListTable" ),
   table<RoaTableSymbolDedupTable, &PolicyRoot::roaTableDedupTable>( "roaTableDedupTable" ),
   table<TunnelRibSymbolDedupTable, &PolicyRoot::tunnelRibTable>( "tunnelRibTable" ),
   table<TagSetSymbolDedupTable, &PolicyRoot::tagSetTable>( "tagSetTable" ),
};

std::vector<const Node *> tablesOf( const PolicyRoot & root ) {
   std::vector<const Node *> all;
   for( const auto & t : kTables ) all.push_back( t.of( root ) );
   return all;
}

TEST( PolicyRoot, aNewOneHasThirteenEmptyTables ) {
   const auto root = makeNode<PolicyRoot>();
   const auto tables = tablesOf( *root );
   ASSERT_EQ( tables.size(), 13u );
   EXPECT_THAT( tables, Each( testing::NotNull() ) );
   EXPECT_EQ( std::set( tables.begin(), tables.end() ).size(), 13u ) << "each its own";
   for( const auto & t : kTables ) EXPECT_EQ( t.count( *root ), 0u ) << t.name;
}

TEST( PolicyRoot, noTableIsReplacedLater ) {
   const auto root = makeNode<PolicyRoot>();
   const auto tables = tablesOf( *root );
   for( int round = 0; round < 3; ++round ) {
      std::vector<Ptr<PolicySymbol>> symbols;
      for( const auto & t : kTables ) symbols.push_back( t.symbol( *root, "A" ) );
      for( const auto & t : kTables ) EXPECT_EQ( t.count( *root ), 1u ) << t.name;
      symbols.clear();
      for( const auto & t : kTables ) EXPECT_EQ( t.count( *root ), 0u ) << t.name;
   }
   EXPECT_EQ( tablesOf( *root ), tables );
}

TEST( PolicyRoot, oneNameIsAnotherSymbolInEachTable ) {
   const auto root = makeNode<PolicyRoot>();
   std::vector<Ptr<PolicySymbol>> symbols;
   std::set<const Node *> apart;
   for( const auto & t : kTables ) {
      symbols.push_back( t.symbol( *root, "A" ) );
      apart.insert( symbols.back().get() );
      EXPECT_EQ( t.symbol( *root, "A" ), symbols.back() ) << t.name << " shares";
   }
   EXPECT_EQ( apart.size(), 13u );
}

TEST( PolicyRoot, rootsDoNotShare ) {
   const auto a = makeNode<PolicyRoot>(), b = makeNode<PolicyRoot>();
   for( const auto & t : kTables ) {
      EXPECT_NE( t.of( *a ), t.of( *b ) ) << t.name;
      const auto ofA = t.symbol( *a, "A" ), ofB = t.symbol( *b, "A" );
      EXPECT_NE( ofA, ofB ) << t.name;
   }
}

}   // namespace
