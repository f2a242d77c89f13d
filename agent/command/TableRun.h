/// @file agent/command/TableRun.h
/// A table, route by route, on one thread or several.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "command/Console.h"
#include "table/TableRoute.h"

namespace Agent {

struct TableRunOptions {
   std::vector<std::string> tables;   // files, "-" for standard input, "kernel" for this machine's own
   unsigned threads = 1;
};

/// What one batch of routes gave: text for standard output, and whatever else is to be summed.
class BatchResult {
 public:
   virtual ~BatchResult() = default;
   std::string text;
};

/// What is done with routes. Threading: makeResult() and take() run on the caller's thread, evaluate() on any, several at once.
class RouteJob {
 public:
   virtual ~RouteJob() = default;
   virtual std::unique_ptr<BatchResult> makeResult() = 0;
   /// One route of a batch; `result` is the batch's.
   virtual void evaluate( const TableRoute & route, BatchResult & result ) const = 0;
   /// In the order of the table. The text has been written already, and the result is used again: leave it as makeResult() makes it.
   virtual void take( BatchResult & result ) = 0;
};

struct TableRunSummary {
   uint64_t routes = 0;
   bool whole = true;           // every table was read to its end, and none is broken throughout
   double seconds = 0;          // in all
   double secondsReading = 0;   // of the reading thread, without waiting for the others
   double secondsPolicy = 0;    // spent in evaluate(), summed over the threads
};

/// Reads the tables one behind the other. What is broken in them, why one ends early, and that there is no route in one, becomes
/// messages. What is written, and what take() sees, does not depend on the number of threads.
/// Errors: CommandError for a table that cannot be opened.
TableRunSummary runTables( const TableRunOptions & options, RouteJob & job, Console & console );

}   // namespace Agent
