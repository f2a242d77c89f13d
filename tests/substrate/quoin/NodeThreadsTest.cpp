// Nodes that several threads use. The cases of NodeTest.cpp need a process that has had one thread.

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "substrate/quoin/Ptr.h"
#include "tests/substrate/quoin/StartLine.h"

namespace {

using Quoin::makeNode;
using Quoin::Node;
using Quoin::Ptr;

TEST( NodeThreads, aReleaseScopeBelongsToItsThread ) {
   struct Item : Node {
      explicit Item( bool & g ) : gone( g ) {}
      ~Item() override { gone = true; }
      bool & gone;
   };
   bool gone = false;
   const Quoin::ReleaseScope scope;
   std::thread( [ & ] { makeNode<Item>( gone ); } ).join();
   EXPECT_TRUE( gone );
}

TEST( NodeThreads, theLastOfSeveralThreadsDestroysOnceAndSeesWhatAllHaveWritten ) {
   constexpr int kThreads = 4, kNodes = 20000;
   struct Shared : Node {
      Shared( std::atomic<int> & g, std::atomic<int> & w ) : gone( g ), whole( w ) {}
      ~Shared() override {
         int sum = 0;
         for( int v : written ) sum += v;   // plain memory: the counts alone make this safe
         whole += sum == 1 + 2 + 3 + 4;
      }
      void lastUserGone() const override { ++gone; }
      std::atomic<int> & gone;
      std::atomic<int> & whole;
      int written[ kThreads ] = {};
   };
   std::atomic<int> gone = 0, whole = 0;
   std::vector<std::vector<Ptr<Shared>>> held( kThreads );
   for( int n = 0; n < kNodes; ++n ) {
      const auto node = makeNode<Shared>( gone, whole );
      for( auto & h : held ) h.push_back( node );
   }
   StartLine start( kThreads );
   std::vector<std::thread> threads;
   threads.reserve( kThreads );
   for( int t = 0; t < kThreads; ++t )
      threads.emplace_back( [ &, t ] {
         start.wait();
         for( auto & node : held[ size_t( t ) ] ) {
            node->written[ t ] = t + 1;
            node = nullptr;
         }
      } );
   for( auto & t : threads ) t.join();
   EXPECT_EQ( gone, kNodes );
   EXPECT_EQ( whole, kNodes );
}

}   // namespace
