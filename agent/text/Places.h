/// @file agent/text/Places.h
/// Visits the places of a text.
#pragma once

#include "text/PolicyText.h"

namespace Agent {

namespace Places {

template <class Line, class Visit>
void visitEach( ListText<Line> & list, Visit & visit ) {
   for( auto & line : list.lines ) visit( line.second.place );
   visit( list.place );
}
template <class Visit>
void visitEach( TagSetText & set, Visit & visit ) {
   visit( set.place );
}
template <class Visit>
void visitEach( RouteMapText & map, Visit & visit ) {
   visit( map.place );
   for( auto & [ number, sequence ] : map.sequences ) {
      visit( sequence.place );
      visit( sequence.actionPlace );
      for( auto & match : sequence.match ) visit( match.second.place );
      for( auto & set : sequence.set ) visit( set.place );
      if( sequence.call ) visit( sequence.call->place );
      if( sequence.continueTo ) visit( sequence.continueTo->place );
   }
}
template <class Things, class Visit>
void visitEach( PolicyText::ByName<Things> & things, Visit & visit ) {
   for( auto & thing : things ) visitEach( thing.second, visit );
}

}   // namespace Places

/// Calls `visit( place )` for each place in the text, which it may change. Comments tell the line below, too: with the file of the comment.
template <class Visit>
void forEachPlace( PolicyText & text, Visit visit ) {
   Places::visitEach( text.ipv4PrefixLists, visit );
   Places::visitEach( text.ipv6PrefixLists, visit );
   Places::visitEach( text.ipv4AccessLists, visit );
   Places::visitEach( text.ipv6AccessLists, visit );
   Places::visitEach( text.tagSets, visit );
   Places::visitEach( text.communityLists, visit );
   Places::visitEach( text.largeCommunityLists, visit );
   Places::visitEach( text.extCommunityLists, visit );
   Places::visitEach( text.asPathLists, visit );
   Places::visitEach( text.routeMaps, visit );
   for( auto & application : text.applications ) visit( application.place );
   for( auto & doubt : text.doubts ) visit( doubt.place );
   for( auto & line : text.leftOut ) visit( line.error.place );
   for( auto & comment : text.ignores ) {
      visit( comment.place );
      Place below{ comment.place.file, comment.below, 1 };
      visit( below );
      comment.below = below.line;
   }
}

}   // namespace Agent
