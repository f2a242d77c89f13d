/// @file agent/text/LineEdits.h
/// Reads only the changed lines of a policy's files, if these lines are simple enough; else all lines but those of large lists.
///
///    ip prefix-list BIG seq 10 permit 10.1.0.0/16                    ip prefix-list BIG seq 10 permit 10.1.0.0/16
///    ip prefix-list BIG seq 15 permit 10.2.0.0/16        becomes     ip prefix-list BIG seq 15 permit 10.9.0.0/16
///    ip prefix-list BIG seq 20 permit 10.3.0.0/16                    ip prefix-list BIG seq 20 permit 10.3.0.0/16
///
/// is the edit of line 15 of BIG. All changed lines, of before and of after, must add a numbered line to a prefix list, a community list or
/// an AS path list that keeps its lines in any order (AnyOrder). Such a line ends any stanza and any sequence above. So if such a line stands
/// above the changed ones as well, or in place of the first of them, no other line of the files can mean something else than before.
///
/// If other lines have changed, all lines are read afresh but for long runs of lines of one list (ListRuns.h) that have not changed. Of each
/// run the first line is read, which ends stanzas and sequences like all of them. If then all lines read of this list, together with those
/// that were not, are numbered lines in any order, the list is the former one but for the lines read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/LineDiff.h"
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

/// The changed lines of one list, and if all other things are read, each line of it that was read. The list has lines before and after.
template <class Line>
struct ListEdit {
   struct Change {
      std::optional<Line> was;   // nothing: added
      std::optional<Line> is;    // nothing: removed. An equal line has another place only
   };
   std::map<uint32_t, Change> lines;   // by number
   bool expanded = false;              // of a community list, which keeps its kind
   std::optional<Place> place;         // of the list behind the edit; nothing: as before
   size_t unread = 0;                  // if all other things are read: the lines of the list that are not
};

/// The difference of two texts.
struct TextEdit {
   template <class Line>
   using ByName = PolicyText::ByName<ListEdit<Line>>;
   // Named as in PolicyText.
   ByName<PrefixListLine> ipv4PrefixLists;
   ByName<PrefixListLine> ipv6PrefixLists;
   ByName<CommunityListLine> communityLists;
   ByName<LargeCommunityListLine> largeCommunityLists;
   ByName<ExtCommunityListLine> extCommunityLists;
   ByName<AsPathListLine> asPathLists;
   LineMoves moves;
   int64_t lines = 0;   // added, unless all other things are read
   // If it is there, the text behind the edit, in which the edited lists have the lines only that were read.
   std::optional<PolicyText> read;
};

/// Cost: if lines have moved, a walk over all places, or over those of the edited lists if all other things are read; else that of the edit.
void apply( TextEdit edit, PolicyText & text );
/// The two halves of apply() if things were read. The edited lists leave both texts, `text` and the one that was read; these are the lists
/// behind the edit.
PolicyText takeEdited( TextEdit & edit, PolicyText & text );
void putLists( PolicyText lists, PolicyText & text );

/// Knows the files of the text in force, and finds the edit to their next state.
class LineEdits {
 public:
   /// `text` was loaded from these files, in this order, without errors; things that no line names may have been added.
   /// `lenient`: as LineLoader. Lines of a list are not read again if at least `leastRun` of them stand together, 2 or more.
   LineEdits( const PolicyText & text, std::vector<SourceFile> files, bool lenient = false, size_t leastRun = kLeastRun );

   /// The edit that turns `text`, which is in the state of these files, into the text of the files `next`. Nothing if they must be loaded.
   std::optional<TextEdit> editTo( const PolicyText & text, const std::vector<SourceFile> & next ) const;
   /// The edit is applied, and these are the files then.
   void filesAre( const TextEdit & edit, std::vector<SourceFile> next );

 private:
   // Hashes of the lines of each list, ascending.
   using Row = std::vector<uint32_t>;
   struct Contents {
      PolicyText::ByName<Row> ipv4PrefixLists, ipv6PrefixLists, communityLists, largeCommunityLists, extCommunityLists, asPathLists;
   };
   using Hunks = std::vector<std::vector<Hunk>>;   // by file
   std::optional<TextEdit> editOf( const PolicyText & text, const Hunks & hunks ) const;
   bool addFile( const PolicyText & text, uint32_t file, const std::vector<Hunk> & hunks, TextEdit & edit ) const;
   std::optional<TextEdit> readOthers( const PolicyText & text, const std::vector<SourceFile> & next, const Hunks & hunks ) const;

   static constexpr size_t kLeastRun = 64;
   Dialect dialect_;
   bool lenient_;
   size_t leastRun_;
   std::vector<SourceFile> files_;
   bool areDistinct_;    // each file is one of the text
   Contents contents_;   // in the dialect of FRR, which refuses a second line of the same content
};

}   // namespace Agent
