/// @file examples/evaluate_table/Report.h
/// What the program prints: for people, and as JSON.
#pragma once

#include <string>
#include <vector>

#include "TableEvaluation.h"
#include "TableReader.h"

namespace EvaluateTable {

struct ReadTable {
   std::string name;   // of the file, or "standard input"
   RouteTable::TableSummary summary;
};

struct Report {
   std::vector<ReadTable> tables;
   std::vector<Explanation> explanations;   // in the order in which they are to be shown
   double seconds = 0;                      // for reading and evaluating all tables
};

/// Aligned text; it ends with a line end.
std::string textOf( const Report & report, const TableEvaluation & evaluation );

/// One JSON object on many lines; the logs in it are the library's own, unchanged.
std::string jsonOf( const Report & report, const TableEvaluation & evaluation );

}   // namespace EvaluateTable
