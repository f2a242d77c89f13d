/// @file agent/text/Doubts.h
/// Records lines that can be read but were probably not meant. The policy that is read does not depend on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

class Doubts {
 public:
   /// Both outlive this; nothing else adds to the doubts.
   Doubts( std::vector<Doubt> & doubts, const std::vector<std::string> & files ) : doubts_( doubts ), files_( files ) {}
   Doubts( const Doubts & ) = delete;
   Doubts & operator=( const Doubts & ) = delete;

   /// A skipped line: a doubt if it looks like a line of a policy, or would be one without its indentation. Lines of one file that begin
   /// alike make one doubt, at the first of them, with their number: a file in another language may consist of such lines.
   /// `endsSequence`: the line is the first line after the clauses of a sequence.
   void skipped( LineCursor line, bool endsSequence );
   /// A clause outside of any sequence.
   void strayClause( LineCursor line );
   /// Call it after the last line of a file.
   void endFile();

   /// Whether the replacement of a line of a list is worth a doubt: a file replaces its own earlier line. Another file that does so means it.
   static bool isReplaced( const Place & before, const Place & now ) noexcept { return before.file == now.file && before.line < now.line; }
   /// The same for a sequence. Two files that say it differently do not mean it.
   static bool isReplacedInSequence( const Place & before, const Place & now ) noexcept {
      return before.file != now.file || before.line < now.line;
   }
   /// `whose` names the thing: "ip prefix-list CUSTOMERS". The three texts may contain any bytes.
   void replaced( std::string_view whose, std::string_view was, const Place & before, std::string_view is, const Place & now );

   /// The first line of a policy behind the line "end" of its file.
   void behindEnd( const LineCursor & line, uint32_t end );
   /// A line that FRR refuses.
   void refused( const LineCursor & line, std::string_view reason );

   /// An address of an IPv4 access list and its wildcard: a doubt if the wildcard looks like a netmask, that is, consists of leading ones;
   /// in the dialect of FRR also if bits of the address are under the wildcard.
   static std::optional<Doubt> wildcard( Dialect dialect, const Place & place, Ferule::IpAddr address, Ferule::IpAddr wildcard );
   void add( Doubt doubt ) { doubts_.push_back( std::move( doubt ) ); }

 private:
   struct LookAlike {      // how a line begins that looks like a policy, and why it is none
      std::string words;   // printable
      std::string reason;
   };
   struct Alike {
      size_t doubt;
      uint64_t lines;
   };

   static std::optional<LookAlike> lookAlike( LineCursor line, bool endsSequence );
   static std::optional<LookAlike> indentedPolicy( const LineCursor & line );
   void noteSkipped( const LookAlike & found, const Place & place );

   std::vector<Doubt> & doubts_;
   const std::vector<std::string> & files_;         // by the index in places
   std::unordered_map<std::string, Alike> alike_;   // of this file, by the beginning of the lines
};

}   // namespace Agent
