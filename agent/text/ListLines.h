/// @file agent/text/ListLines.h
/// Reads the lines of lists: prefix lists, access lists, tag sets, community lists and AS path lists.
#pragma once

#include "text/Doubts.h"
#include "text/LineCursor.h"
#include "text/NumberedLists.h"
#include "text/PolicyText.h"

namespace Agent {

class ListLines {
 public:
   /// Both outlive this. Nothing else changes the lists of `text` meanwhile.
   ListLines( PolicyText & text, Doubts & doubts );

   /// Whether the line begins like a line of a list but belongs to something else, such as a packet filter.
   static bool isOfOthers( LineCursor line );
   /// Reads the line if it begins with the words of a list; false if not. `no`: "no" stands before it. Errors: LineError, RefusedLine.
   bool read( LineCursor & line, bool no );

 private:
   void readIpv4PrefixList( LineCursor & line, bool no );
   void readIpv6PrefixList( LineCursor & line, bool no );
   void readIpv4AccessList( LineCursor & line, bool no );
   void readIpv6AccessList( LineCursor & line, bool no );
   void readTagSet( LineCursor & line, bool no );
   void readCommunityList( LineCursor & line, bool no );
   void readLargeCommunityList( LineCursor & line, bool no );
   void readExtCommunityList( LineCursor & line, bool no );
   template <class C, class Take>
   void readCommunityList( NumberedLists<CommunityListTextOf<C>> & lists, LineCursor & line, bool no, Take takeStandard );
   void readAsPathList( LineCursor & line, bool no );

   PolicyText & text_;
   Doubts & doubts_;
   NumberedLists<PrefixListText> ipv4PrefixLists_;
   NumberedLists<PrefixListText> ipv6PrefixLists_;
   NumberedLists<AccessListText> ipv4AccessLists_;
   NumberedLists<AccessListText> ipv6AccessLists_;
   NumberedLists<CommunityListText> communityLists_;
   NumberedLists<LargeCommunityListText> largeCommunityLists_;
   NumberedLists<ExtCommunityListText> extCommunityLists_;
   NumberedLists<AsPathListText> asPathLists_;
};

}   // namespace Agent
