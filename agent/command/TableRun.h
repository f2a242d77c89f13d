/// @file agent/command/TableRun.h
/// Evaluates the routes of tables on one thread or several.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "command/Console.h"
#include "command/NeighborRoutes.h"
#include "table/Input.h"
#include "table/RouteField.h"
#include "table/TableRoute.h"

namespace Agent {

struct TableRunOptions {
   std::vector<std::string> tables;   // files, "-" for standard input, "kernel" for this machine's own
   unsigned threads = 1;
   uint64_t maxInput = Input::kTableLimit;   // of each file once unpacked. Bytes
   RouteDefaults defaults{};                 // for the routes that lack them
   NeighborRoutes neighbor{};                // the other routes are left out
};

/// The result of one batch of routes: text for standard output; a derived class adds the values to sum.
class BatchResult {
 public:
   virtual ~BatchResult() = default;
   std::string text;
};

/// The work to be done for each route. Threading: makeResult() and take() run on the caller's thread, evaluate() on any, several at once.
class RouteJob {
 public:
   virtual ~RouteJob() = default;
   virtual std::unique_ptr<BatchResult> makeResult() = 0;
   /// One route of a batch; `result` is the batch's.
   virtual void evaluate( const TableRoute & route, BatchResult & result ) const = 0;
   /// Called in the order of the table. The text has been written already. The result is reused: leave it as makeResult() creates it.
   virtual void take( BatchResult & result ) = 0;
};

struct TableRunSummary {
   uint64_t routes = 0;   // without those left out
   uint64_t leftOut = 0;
   bool whole = true;           // every table was read to its end, and of each something was read
   double seconds = 0;          // total
   double secondsReading = 0;   // of the reading thread, without waiting for others
   double secondsPolicy = 0;    // spent in evaluate(), summed over the threads
};

/// Reads the tables one after the other. Prints messages for broken lines, for a table that ends early, for a table without routes, and
/// for routes that are left out.
/// The output, and the results that take() receives, do not depend on the number of threads.
/// Errors: CommandError for a table that cannot be opened.
TableRunSummary runTables( const TableRunOptions & options, RouteJob & job, Console & console );

}   // namespace Agent
