#include "substrate/lists/IpAccessListStatus.h"

#include <gmock/gmock.h>

#include "substrate/plinth/Exception.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using Quoin::makeNode;

TEST( AclEntryData, tellsWhatItWasMadeOf ) {
   const auto rule = accessListRule( "10 permit 10.1.2.3 255.0.255.0" );
   const auto entry = makeNode<AclEntryData>( rule );
   EXPECT_EQ( entry->seqno(), 10u );
   EXPECT_EQ( entry->permit(), permit );
   EXPECT_EQ( entry->source(), rule.source ) << "whole, not cut to a prefix";
   EXPECT_EQ( entry->nextEntry(), nullptr );
   EXPECT_EQ( makeNode<AclEntryData>( accessListRule( "10 deny 10.0.0.0/8" ) )->permit(), deny );
}

TEST( AclEntryData, leadsToTheNextOfItsNode ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   const auto rule = accessListRule( "10 deny 10.0.0.0/8" );
   const auto second = makeNode<AclEntryData>( rule ), first = makeNode<AclEntryData>( rule );
   trie->routeIs( keyOf( rule ), second );
   trie->routeIs( keyOf( rule ), first );
   EXPECT_EQ( first->nextEntry(), second.get() );
   EXPECT_EQ( second->nextEntry(), nullptr );
}

TEST( IpAccessListStatus, isOfIpv4WithoutRulesUntilItGetsATrie ) {
   const auto status = makeNode<IpAccessListStatus>( "ACL" );
   EXPECT_EQ( status->name(), "ACL" );
   EXPECT_EQ( status->trie().af(), AddressFamily::ipv4 );
   EXPECT_EQ( status->trie().prefixCount(), 0u );
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv6, false );
   status->trieIs( trie );
   EXPECT_EQ( &status->trie(), trie.get() );
   EXPECT_EQ( status->trie().af(), AddressFamily::ipv6 );
}

TEST( IpAccessListStatus, aNullTrieIsRaisedAndChangesNothing ) {
   const auto status = makeNode<IpAccessListStatus>( "ACL" );
   const auto * trie = &status->trie();
   try {
      status->trieIs( nullptr );
      FAIL() << "not raised";
   } catch( const Plinth::MutatorArgNullPointerException & e ) {
      EXPECT_STREQ( e.what(), "IpAccessListStatus::trieIs: the argument is null" );
   }
   EXPECT_EQ( &status->trie(), trie );
}

}   // namespace
