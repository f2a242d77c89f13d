/// @file agent/text/Doubts.h
/// Notes what can be read of a text, and was most likely not meant. Nothing that is read depends on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

class Doubts {
 public:
   /// `doubts` outlives this; nothing else adds to them.
   explicit Doubts( std::vector<Doubt> & doubts ) : doubts_( doubts ) {}
   Doubts( const Doubts & ) = delete;
   Doubts & operator=( const Doubts & ) = delete;

   /// A line that is passed over: a doubt if it looks like a line of a policy, or is one but for its indentation. Lines of one file that
   /// begin alike are one doubt with their number, at the first: another language may have nothing but such lines.
   /// `endsSequence`: it is the first behind the clauses of a sequence.
   void passedOver( LineCursor line, bool endsSequence );
   /// A clause where no sequence is open.
   void strayClause( LineCursor line );
   /// Behind the last line of a file.
   void endFile();

   /// What one file says of the same thing first and later: whether the second is to be told. What another file replaces is meant.
   static bool isReplaced( const Place & before, const Place & now ) noexcept { return before.file == now.file && before.line < now.line; }
   /// `whose` names the thing: "ip prefix-list CUSTOMERS". All three may be any bytes.
   void replaced( std::string_view whose, std::string_view was, const Place & before, std::string_view is, const Place & now );

   /// An address of an IPv4 access list and the wildcard behind it: a doubt if that is a netmask, of leading ones.
   void wildcard( const Place & place, uint32_t address, uint32_t bits );

 private:
   struct LookAlike {      // how a line begins that looks like one of a policy, and why it is none
      std::string words;   // printable
      std::string reason;
   };
   struct Alike {
      size_t doubt;
      uint64_t lines;
   };

   static std::optional<LookAlike> lookAlike( LineCursor line, bool endsSequence );
   static std::optional<LookAlike> indentedPolicy( const LineCursor & line );
   void notePassedOver( const LookAlike & found, const Place & place );

   std::vector<Doubt> & doubts_;
   std::unordered_map<std::string, Alike> alike_;   // of this file, by how the lines begin
};

}   // namespace Agent
