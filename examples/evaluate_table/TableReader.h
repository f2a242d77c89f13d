/// @file examples/evaluate_table/TableReader.h
/// Reads a routing table of any form that this folder knows, from any bytes: plain or compressed, lines or JSON.
///
/// The first character that is no white space tells the form: a bracket or brace begins the JSON of `ip -j route`
/// (IpRouteJson.h), and further documents may follow the first; everything else is lines. Among lines each one tells by itself
/// whether it is of `bgpdump -m` (BgpdumpLine.h) or begins with a prefix (PrefixLine.h), so that such files may be joined. Blank
/// lines, and lines that begin with a #, mean nothing.
///
/// Routes are handed over as they are read, and memory does not grow with the table. A broken line or entry is reported and
/// passed over. A stream that is damaged, and JSON that is malformed, end the table there: what was handed over before stays good.
/// Threading: one thread per call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Input.h"
#include "TableRoute.h"

namespace RouteTable {

enum class TableForm : uint8_t { empty, bgpdump, prefixes, json };
const char * stringValue( TableForm form ) noexcept;

struct Broken {
   enum class Unit : uint8_t { line, entry };
   Unit unit;
   uint64_t number;           // lines count from 1, entries of a JSON document from 0
   std::string_view reason;   // printable, without a line end
};

class TableHandler {
 public:
   virtual void handleRoute( const TableRoute & route ) = 0;
   virtual void handleBroken( const Broken & broken ) = 0;

 protected:
   ~TableHandler() = default;
};

struct TableLimits {
   size_t maxLine = size_t( 1 ) << 20;   // of a line, and of a JSON entry; longer ones are broken. Bytes
   uint64_t maxText = Input::kNoLimit;   // of the whole table once unpacked. Bytes
};

struct TableSummary {
   uint64_t routes = 0;
   uint64_t passedOver = 0;   // well-formed, but no routes: withdrawals, addresses of the host
   uint64_t broken = 0;
   TableForm form = TableForm::empty;   // of the first line or entry
   Compression compression = Compression::none;
   std::string fault;   // why the table was not read to its end; empty when it was
};

TableSummary readTable( ByteSource & source, TableHandler & handler, const TableLimits & limits = {} );

}   // namespace RouteTable
