/// @file agent/command/Commands.h
/// The commands of the program, one function each. Data goes to the console's standard output, messages to its standard error; each
/// function returns the exit status. Errors: CommandError, ClosedPipe, std::system_error.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/Analysis.h"
#include "command/Console.h"
#include "dialect/Assumptions.h"
#include "table/Input.h"
#include "table/RouteField.h"
#include "text/Dialect.h"

namespace Agent {

struct CheckOptions {
   std::vector<std::string> files;
   bool json = false;
   Dialect dialect = Dialect::frr;
   bool lenient = false;                  // leaves wrong lines out; the same below
   std::vector<Finding::Kind> failOn{};   // the exit status tells findings of these kinds only; none: of all
   std::vector<Finding::Kind> ignore{};   // findings of these kinds are left out
};
int check( const CheckOptions & options, Console & console );

/// What is asked about: one of these.
struct TargetOptions {
   std::string routeMap;
   std::pair<std::string, std::string> neighbor;   // its name, and "in" or "out"
   std::string vrf;                                // of the neighbor; empty: the default one
   std::string prefixList;
   std::string accessList;
};

struct EvalOptions {
   std::vector<std::string> files;
   TargetOptions target;
   std::vector<std::string> tables;
   bool summary = false;
   bool json = false;
   bool timing = false;
   unsigned threads = 1;
   Dialect dialect = Dialect::frr;
   bool lenient = false;
   Assumptions assumptions;
   RouteDefaults defaults;
   uint64_t maxInput = Input::kTableLimit;   // of a table once unpacked. Bytes
};
int eval( const EvalOptions & options, Console & console );

struct ExplainOptions {
   std::vector<std::string> files;
   TargetOptions target;
   std::string prefix;
   std::vector<std::pair<std::string, std::string>> fields;   // of the route: names as in table/RouteField.h, with values
   std::vector<std::string> tables;   // if not empty, their routes of that prefix are explained instead; of an address, the longest match
   bool json = false;
   Dialect dialect = Dialect::frr;
   bool lenient = false;
   Assumptions assumptions;
   RouteDefaults defaults;
   uint64_t maxInput = Input::kTableLimit;   // of a table once unpacked. Bytes
};
int explain( const ExplainOptions & options, Console & console );

struct DiffOptions {
   std::vector<std::string> oldFiles;
   std::vector<std::string> newFiles;
   TargetOptions target;
   std::vector<std::string> tables;
   unsigned examples = 3;   // shown for each group
   bool json = false;
   unsigned threads = 1;
   Dialect dialect = Dialect::frr;
   bool lenient = false;
   Assumptions assumptions;
   RouteDefaults defaults;
   uint64_t maxInput = Input::kTableLimit;   // of a table once unpacked. Bytes
};
int diff( const DiffOptions & options, Console & console );

struct WatchOptions {
   std::vector<std::string> files;
   TargetOptions target;   // none: report publications only
   std::vector<std::string> tables;
   bool json = false;
   std::chrono::milliseconds interval{ 250 };   // a change that lasts is complete when nothing happened in this time
   std::chrono::milliseconds untold{ 2000 };    // between two looks at files whose changes the kernel tells
   Dialect dialect = Dialect::frr;
   bool lenient = false;
   Assumptions assumptions;
   RouteDefaults defaults;
   uint64_t maxInput = Input::kTableLimit;   // of a table once unpacked. Bytes
};
/// Returns on SIGINT or SIGTERM. Until it has read its input, which may block, these do what the caller has set.
int watch( const WatchOptions & options, Console & console );

struct ShowOptions {
   std::vector<std::string> files;
   std::optional<std::string> name;   // of a list or a route map; none: everything
   bool json = false;
   bool verify = false;   // also compare the route maps in force with the configuration
   Dialect dialect = Dialect::frr;
   bool lenient = false;
};
int show( const ShowOptions & options, Console & console );

struct UsedByOptions {
   std::vector<std::string> files;
   std::string name;
   bool json = false;
   Dialect dialect = Dialect::frr;
   bool lenient = false;
};
int usedBy( const UsedByOptions & options, Console & console );

struct NamesOptions {
   std::vector<std::string> files;
   bool routeMapsOnly = false;
   Dialect dialect = Dialect::frr;
};
/// Prints the names in the files, one per line, for the completion of command lines. Errors in the files are ignored.
int names( const NamesOptions & options, Console & console );

}   // namespace Agent
