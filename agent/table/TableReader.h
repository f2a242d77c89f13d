/// @file agent/table/TableReader.h
/// Reads a routing table of any form that this folder knows, from any bytes: plain or compressed, lines, JSON or MRT.
///
/// The content shows the form. An MRT file (MrtReader.h) begins with the header of a record, which no text does. If the first character of
/// a text other than white space is a bracket, the text is the JSON of `ip -j route` (IpRouteJson.h); if it is a brace, the JSON of a BGP
/// daemon (BgpJson.h); such documents may be joined. Else the text consists of lines. Each line is either of `bgpdump -m` (BgpdumpLine.h)
/// or begins with a prefix (PrefixLine.h), so that such files may be joined. Blank lines and lines that begin with # are ignored. A first
/// line that BIRD prints shows its format (BirdText.h).
///
/// Routes are passed on as they are read; memory does not grow with the table. A broken line, entry or record is reported and skipped. A
/// damaged stream, malformed JSON or an MRT record that is cut short ends the table there; the routes before it are valid. Bytes of which
/// nothing could be read, neither a route nor an entry that is skipped on purpose, are no table: this is a fault, too.
/// Threading: one thread per call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "table/Input.h"
#include "table/TableRoute.h"

namespace Agent {

enum class TableForm : uint8_t { empty, bgpdump, prefixes, bird, json, mrt, kernel };

struct Broken {
   enum class Unit : uint8_t { line, entry, record, message };
   Unit unit;
   uint64_t number;           // lines, records and messages count from 1, entries of a JSON document from 0
   std::string_view reason;   // printable, without a line end
};
/// "line 3", "entry 0", "record 17", "message 5".
std::string placeOf( const Broken & broken );

class TableHandler {
 public:
   /// The route is valid until the call ends; its memory is reused.
   virtual void handleRoute( const TableRoute & route ) = 0;
   virtual void handleBroken( const Broken & broken ) = 0;

 protected:
   ~TableHandler() = default;
};

struct TableLimits {
   size_t maxLine = size_t( 1 ) << 20;      // of a line, and of a JSON entry; longer ones are broken. Bytes
   size_t maxRecord = size_t( 1 ) << 24;    // of an MRT record; longer ones are broken. Bytes
   uint64_t maxText = Input::kTableLimit;   // of the whole table once unpacked. Bytes
};

struct TableSummary {
   uint64_t routes = 0;
   uint64_t skipped = 0;   // well-formed, but no routes: withdrawals, addresses of the host, other records
   uint64_t unknown = 0;   // of the skipped: of kinds that are not read, such as other records
   uint64_t broken = 0;
   TableForm form = TableForm::empty;   // of the first line
   Compression compression = Compression::none;
   std::string remark;       // what the whole table lacks; printable; empty for nothing
   std::string fault;        // why the table was not read to its end, or is no table; empty if it is one and was
   bool isNoTable = false;   // the fault is that nothing was read, although the end was reached
};

TableSummary readTable( ByteSource & source, TableHandler & handler, const TableLimits & limits = {} );

}   // namespace Agent
