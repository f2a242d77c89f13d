/// @file agent/text/LineEdits.h
/// Reads only the changed lines of a policy's files, if these lines are simple enough.
///
///    ip prefix-list BIG seq 10 permit 10.1.0.0/16                    ip prefix-list BIG seq 10 permit 10.1.0.0/16
///    ip prefix-list BIG seq 15 permit 10.2.0.0/16        becomes     ip prefix-list BIG seq 15 permit 10.9.0.0/16
///    ip prefix-list BIG seq 20 permit 10.3.0.0/16                    ip prefix-list BIG seq 20 permit 10.3.0.0/16
///
/// is the edit of line 15 of BIG. All changed lines, of before and of after, must add a numbered line to a prefix list that keeps its lines
/// in any order (AnyOrder). Such a line ends any stanza and any sequence above. So if such a line stands above the changed ones as well, or
/// in place of the first of them, no other line of the files can mean something else than before.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/LineLoader.h"
#include "text/PolicyText.h"

namespace Agent {

/// To which numbers the lines behind changed lines have moved.
class LineMoves {
 public:
   /// The lines of the file from `line` on, numbered as before the change, have moved by `by` lines. In the order of the files and lines.
   void add( uint32_t file, uint32_t line, int64_t by );
   bool empty() const noexcept { return moves_.empty(); }
   Place operator()( Place place ) const noexcept;

 private:
   struct Move {
      uint32_t file;
      uint32_t line;
      int64_t by;
   };
   std::vector<Move> moves_;
};

/// The changed lines of one prefix list; the list has lines before and after.
struct PrefixListEdit {
   struct Change {
      std::optional<PrefixListLine> was;   // nothing: added
      std::optional<PrefixListLine> is;    // nothing: removed. An equal line has another place only
   };
   std::map<uint32_t, Change> lines;   // by number
   Place place;                        // of the list
};

/// The difference of two texts.
struct TextEdit {
   PolicyText::ByName<PrefixListEdit> ipv4PrefixLists;
   PolicyText::ByName<PrefixListEdit> ipv6PrefixLists;
   LineMoves moves;
   int64_t lines = 0;   // added
};

/// Cost: a walk over all places if lines have moved; else that of the edit.
void apply( const TextEdit & edit, PolicyText & text );

/// Knows the files of the text in force, and finds the edit to their next state.
class LineEdits {
 public:
   /// `text` was loaded from these files, in this order, without errors; things that no line names may have been added.
   LineEdits( const PolicyText & text, std::vector<SourceFile> files );

   /// The edit that turns `text`, which is in the state of these files, into the text of the files `next`. Nothing if they must be loaded.
   std::optional<TextEdit> editTo( const PolicyText & text, const std::vector<SourceFile> & next ) const;
   /// The edit was applied, and these are the files now.
   void filesAre( const TextEdit & edit, std::vector<SourceFile> next );

 private:
   using Contents = PolicyText::ByName<std::vector<uint32_t>>;   // hashes of the lines of each list, ascending
   static Contents contentsOf( const PolicyText::ByName<PrefixListText> & lists );
   static bool areNew( const PrefixListEdit & edit, const std::vector<uint32_t> & contents );
   static void replace( const PolicyText::ByName<PrefixListEdit> & edits, Contents & contents );
   bool addFile( const PolicyText & text, uint32_t file, std::string_view next, TextEdit & edit ) const;
   bool complete( const PolicyText::ByName<PrefixListText> & lists, const Contents & contents, const LineMoves & moves,
                  PolicyText::ByName<PrefixListEdit> & edits ) const;

   Dialect dialect_;
   std::vector<SourceFile> files_;
   bool areDistinct_;   // each file is one of the text
   // In the dialect of FRR, which refuses a second line of the same content.
   Contents ipv4Contents_;
   Contents ipv6Contents_;
};

}   // namespace Agent
