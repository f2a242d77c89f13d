/// @file agent/live/LivePolicy.h
/// The live configuration of this agent, and the policy that the library compiles from it.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "compile/PolicyRoot.h"
#include "dialect/Assumptions.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

struct TextEdit;   // text/LineEdits.h

/// The result of LivePolicy::apply().
struct ApplyReport {
   size_t edits = 0;                       // writes to the live configuration; 0 if the text is in force already
   std::vector<std::string> republished;   // route maps whose status was replaced or deleted; ascending
   std::chrono::duration<double> took{ 0 };
};

/// Errors: std::bad_alloc of apply() and applyEdit(); a part of the change may then be in force, and the object can only be destroyed.
/// Threading: the activity thread. Published objects are immutable and may be evaluated on any thread.
class LivePolicy {
 public:
   explicit LivePolicy( Dialect dialect = Dialect::native, Assumptions assumptions = {} );
   ~LivePolicy();
   LivePolicy( const LivePolicy & ) = delete;
   LivePolicy & operator=( const LivePolicy & ) = delete;

   /// Turns the difference between the text in force and this one into edits of the live configuration, and runs the tasks until none is
   /// pending. `text` must be free of errors, and in the dialect of this policy. Cost: comparing both texts, compiling each differing
   /// sequence, each differing line of a list, and differing access lists whole, and a walk over all calls.
   ApplyReport apply( PolicyText text );
   /// The same for an edit of the text in force. Cost: that of the edit, of publishing the edited lists, and, if lines have moved, a walk over
   /// all places and route maps. In the dialect of FRR, that of compiling all route maps if a list changes that a set clause may name. If
   /// things were read, that of apply() for these.
   ApplyReport applyEdit( TextEdit edit );
   /// The text in force.
   const PolicyText & text() const noexcept;

   /// The compiled route map, for evaluation; null if it is undefined or held back (analysis/HeldBack.h).
   Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMap( const std::string & name ) const;
   /// Compares the route maps in force with the live configuration. Returns one line for each difference; none is expected.
   std::vector<std::string> verify() const;
   /// The directory of the symbols of all lists and route maps.
   Quoin::Ptr<Routing::Policy::PolicyRoot> root() const noexcept;

 private:
   class Impl;
   std::unique_ptr<Impl> impl_;
};

}   // namespace Agent
