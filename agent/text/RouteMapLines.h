/// @file agent/text/RouteMapLines.h
/// Reads the lines that route maps are made of.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

/// A line "route-map NAME permit|deny N" opens a sequence, to which the clauses behind it belong. When that line is wrong the clauses
/// are read all the same, for what is wrong with them, and go nowhere.
class RouteMapLines {
 public:
   /// `maps` outlives this, and nothing else changes it.
   explicit RouteMapLines( std::map<std::string, RouteMapText> & maps ) : maps_( maps ) {}
   RouteMapLines( const RouteMapLines & ) = delete;
   RouteMapLines & operator=( const RouteMapLines & ) = delete;

   /// Reads the line, which stands behind a "no" or does not, if it begins with "route-map". Errors: LineError.
   bool read( LineCursor & line, bool no );

   bool isOpen() const noexcept { return sequence_ != nullptr; }
   void close() noexcept { sequence_ = nullptr; }
   /// Reads the line into the open sequence, or closes it by "exit" and the like; false when the line begins otherwise.
   /// Errors: LineError.
   bool readClause( LineCursor & line );

 private:
   void open( LineCursor & line );
   void remove( LineCursor & line );
   void readMatch( LineCursor & line, bool no );
   void readSet( LineCursor & line, bool no );
   void readCall( LineCursor & line, bool no );
   void readContinue( LineCursor & line, bool no );
   void readOnMatch( LineCursor & line, bool no );
   void readDescription( LineCursor & line, bool no );
   ContinueClause takeTarget( LineCursor & line ) const;

   std::map<std::string, RouteMapText> & maps_;
   SequenceText * sequence_ = nullptr;   // that is open
   uint32_t number_ = 0;                 // its number
   SequenceText lost_;                   // what belongs to a wrong "route-map" line
};

}   // namespace Agent
