/// @file agent/text/Doubts.h
/// Notes what can be read of a text, and was most likely not meant. Nothing that is read depends on it.
#pragma once

#include <cstddef>
#include <cstdint>
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

   /// An unindented line that is passed over: a doubt if it looks like a line of a policy. Lines of one file that begin alike are one
   /// doubt with their number, at the first: another language may have nothing but such lines.
   /// `endsSequence`: it is the first behind the clauses of a sequence.
   void passedOver( LineCursor line, bool endsSequence );
   /// Behind the last line of a file.
   void endFile();

   /// What one file says of the same thing first and later: whether the second is to be told. What another file replaces is meant.
   static bool isReplaced( const Place & before, const Place & now ) noexcept { return before.file == now.file && before.line < now.line; }
   /// `whose` names the thing: "ip prefix-list CUSTOMERS". All three may be any bytes.
   void replaced( std::string_view whose, std::string_view was, const Place & before, std::string_view is, const Place & now );

   /// The wildcard of an IPv4 access list: a doubt if it is a netmask, of leading ones.
   void wildcard( const Place & place, uint32_t bits );

 private:
   struct Alike {
      size_t doubt;
      uint64_t lines;
   };

   std::vector<Doubt> & doubts_;
   std::unordered_map<std::string, Alike> alike_;   // of this file, by how the lines begin
};

}   // namespace Agent
