/// @file agent/text/RouteMapLines.h
/// Reads the lines that route maps are made of.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "text/Doubts.h"
#include "text/LineCursor.h"
#include "text/PolicyText.h"
#include "text/SetForms.h"

namespace Agent {

/// A line "route-map NAME permit|deny N" opens a sequence, to which the clauses behind it belong. When that line is wrong the clauses
/// are read all the same, for what is wrong with them, and go nowhere.
class RouteMapLines {
 public:
   /// Both outlive this; nothing else changes the maps.
   RouteMapLines( std::map<std::string, RouteMapText> & maps, Doubts & doubts ) : maps_( maps ), doubts_( doubts ) {}
   RouteMapLines( const RouteMapLines & ) = delete;
   RouteMapLines & operator=( const RouteMapLines & ) = delete;

   /// Reads the line, which stands behind a "no" or does not, if it begins with "route-map". Errors: LineError.
   bool read( LineCursor & line, bool no );

   bool isOpen() const noexcept { return sequence_ != nullptr; }
   void close() noexcept { sequence_ = nullptr; }
   /// Whether the line would be a clause if a sequence were open; none is.
   bool isClause( LineCursor line );
   /// Reads the line into the open sequence, or closes it by "exit" and the like; false when the line begins otherwise.
   /// Errors: LineError.
   bool readClause( LineCursor & line );

 private:
   void open( LineCursor & line );
   void setAction( MatchPermit action, const Place & place );
   void remove( LineCursor & line );
   void readMatch( LineCursor & line, bool no );
   void readSet( LineCursor & line, bool no );
   void readCall( LineCursor & line, bool no );
   void readContinue( LineCursor & line, bool no );
   void readOnMatch( LineCursor & line, bool no );
   void readDescription( LineCursor & line, bool no );
   ContinueClause takeTarget( LineCursor & line ) const;
   template <class Value>
   void editSet( const SetForm<Value> & form, LineCursor & line, bool no );
   template <class Read>
   void editContinue( LineCursor & line, bool no, Read read );
   /// Notes it if the open sequence said something else before in this file. `put` puts a clause into a sequence of its own, of which
   /// there is no more than that.
   template <class Clause, class Put>
   void noteReplaced( const Clause & was, const Place & before, const Clause & is, const Place & now, Put put );

   std::map<std::string, RouteMapText> & maps_;
   Doubts & doubts_;
   SequenceText * sequence_ = nullptr;   // that is open
   std::string_view name_;               // of its route map
   uint32_t number_ = 0;                 // its own
   SequenceText lost_;                   // what belongs to a wrong "route-map" line
};

}   // namespace Agent
