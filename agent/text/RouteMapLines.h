/// @file agent/text/RouteMapLines.h
/// Reads the lines of route maps.
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

/// A line "route-map NAME permit|deny N" opens a sequence; the clauses after it belong to the sequence. If that line is wrong, its clauses
/// are still read, to report their errors, and then dropped.
class RouteMapLines {
 public:
   /// Both outlive this. Nothing else changes the maps meanwhile.
   RouteMapLines( std::map<std::string, RouteMapText> & maps, Doubts & doubts ) : maps_( maps ), doubts_( doubts ) {}
   RouteMapLines( const RouteMapLines & ) = delete;
   RouteMapLines & operator=( const RouteMapLines & ) = delete;

   /// Reads the line if it begins with "route-map"; false if not. `no`: "no" stands before it.
   /// Errors: LineError, RefusedLine.
   bool read( LineCursor & line, bool no );

   bool isOpen() const noexcept { return sequence_ != nullptr; }
   void close() noexcept { sequence_ = nullptr; }
   /// The route map of the open sequence; empty if that line is wrong.
   std::string_view name() const noexcept { return name_; }
   /// Whether the line would be a clause if a sequence were open. Call it while none is open.
   bool isClause( LineCursor line );
   /// Reads a clause into the open sequence, or closes the sequence at "exit", "exit-route-map" or "end"; false if the line begins
   /// otherwise. Errors: LineError.
   bool readClause( LineCursor & line );

 private:
   /// As readClause(). Errors: RefusedLine, too.
   bool readAnyClause( LineCursor & line );
   void open( LineCursor & line );
   void setAction( MatchPermit action, const Place & place );
   void remove( LineCursor & line );
   void readMatch( LineCursor & line, bool no );
   void readSet( LineCursor & line, bool no );
   bool takeRemoval( LineCursor & line, const SetForm & form, const std::optional<SetClause> & clause );
   void readCall( LineCursor & line, bool no );
   void readContinue( LineCursor & line, bool no );
   void readOnMatch( LineCursor & line, bool no );
   void readDescription( LineCursor & line, bool no );
   ContinueClause takeTarget( LineCursor & line ) const;
   template <class Read>
   void editContinue( LineCursor & line, bool no, Read read );
   /// Records a doubt if the open sequence had another clause from an earlier line of this file. `put` puts a clause into an otherwise
   /// empty sequence.
   template <class Clause, class Put>
   void noteReplaced( Dialect dialect, const Clause & was, const Place & before, const Clause & is, const Place & now, Put put );

   std::map<std::string, RouteMapText> & maps_;
   Doubts & doubts_;
   SequenceText * sequence_ = nullptr;   // the open one
   std::string_view name_;               // of its route map
   uint32_t number_ = 0;                 // its own
   SequenceText lost_;                   // takes the clauses of a wrong "route-map" line
};

}   // namespace Agent
