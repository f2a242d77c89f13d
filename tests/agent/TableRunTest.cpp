#include "command/TableRun.h"

#include <gtest/gtest.h>

#include <new>
#include <utility>

#include "tests/agent/CommandFixture.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace Agent {
namespace {

struct CountBatch final : BatchResult {
   uint64_t routes = 0;
};

class CountJob final : public RouteJob {
 public:
   std::unique_ptr<BatchResult> makeResult() override { return std::make_unique<CountBatch>(); }
   void evaluate( const TableRoute &, BatchResult & result ) const override { ++static_cast<CountBatch &>( result ).routes; }
   void take( BatchResult & result ) override { routes += std::exchange( static_cast<CountBatch &>( result ).routes, 0 ); }
   uint64_t routes = 0;
};

TEST( TableRun, memoryThatRunsOutWhileThreadsAreMadeIsNoMatter ) {
   std::string table;
   for( int i = 0; i < 3000; ++i ) table += "10.0.0.0/8\n";
   const PolicyFile file( table );
   size_t overcome = 0;
   bool ended = false;
   for( size_t n = 0; !ended; ++n ) {
      Console console;
      CountJob job;
      bool whole = false;
      {
         const AllocationFailure failure( n );
         try {
            whole = runTables( { { file.name() }, 8 }, job, console ).whole;
         } catch( const std::bad_alloc & ) {   // elsewhere: the caller gets an exception
         }
         ended = !failure.happened();
      }
      if( !whole ) continue;
      EXPECT_EQ( job.routes, 3000u ) << "allocation " << n;
      overcome += !ended;
   }
   EXPECT_GE( overcome, 8u ) << "one for each thread, at the least";
}

}   // namespace
}   // namespace Agent
