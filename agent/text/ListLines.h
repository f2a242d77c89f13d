/// @file agent/text/ListLines.h
/// Reads the lines that lists are made of: prefix lists, access lists, tag sets, community lists and AS path lists.
#pragma once

#include "text/Doubts.h"
#include "text/LineCursor.h"
#include "text/NumberedLists.h"
#include "text/PolicyText.h"

namespace Agent {

class ListLines {
 public:
   /// Both outlive this; nothing else changes the text's lists.
   ListLines( PolicyText & text, Doubts & doubts );

   /// Whether the line begins as one of a list, and is of something else.
   static bool isOfOthers( LineCursor line );
   /// Reads the line, which stands behind a "no" or does not, if it begins with the words of a list. Errors: LineError.
   bool read( LineCursor & line, bool no );

 private:
   void readIpv4PrefixList( LineCursor & line, bool no );
   void readIpv6PrefixList( LineCursor & line, bool no );
   void readIpv4AccessList( LineCursor & line, bool no );
   void readIpv6AccessList( LineCursor & line, bool no );
   void readTagSet( LineCursor & line, bool no );
   void readCommunityList( LineCursor & line, bool no );
   void readAsPathList( LineCursor & line, bool no );

   PolicyText & text_;
   Doubts & doubts_;
   NumberedLists<PrefixListText> ipv4PrefixLists_;
   NumberedLists<PrefixListText> ipv6PrefixLists_;
   NumberedLists<AccessListText> ipv4AccessLists_;
   NumberedLists<AccessListText> ipv6AccessLists_;
   NumberedLists<CommunityListText> communityLists_;
   NumberedLists<AsPathListText> asPathLists_;
};

}   // namespace Agent
