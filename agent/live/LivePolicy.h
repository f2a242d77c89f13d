/// @file agent/live/LivePolicy.h
/// The live configuration of this agent, and the policy that the library compiles of it.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "compile/PolicyRoot.h"
#include "policy/RouteMapStatusList.h"
#include "text/PolicyText.h"

namespace Agent {

/// What came of putting a text into force.
struct ApplyReport {
   size_t edits = 0;                       // writes to the live configuration; 0 when the text says what is in force already
   std::vector<std::string> republished;   // route maps that have another status now, or none; ascending
   std::chrono::duration<double> took{ 0 };
};

/// Threading: the activity thread. What it publishes is immutable, and may be evaluated anywhere.
class LivePolicy {
 public:
   LivePolicy();
   ~LivePolicy();
   LivePolicy( const LivePolicy & ) = delete;
   LivePolicy & operator=( const LivePolicy & ) = delete;

   /// Turns the difference between the text in force and this one into edits of the live configuration, and runs until all has
   /// settled. `text` is free of errors. Cost: of what differs, and of each list that does, whole;
   /// besides, of comparing both texts, and of a walk over all calls of route maps.
   ApplyReport apply( PolicyText text );
   /// What is in force.
   const PolicyText & text() const noexcept;

   /// What evaluation reads; null where there is no such route map, or it is held back (HeldBack.h).
   Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMap( const std::string & name ) const;
   /// A list with that route map alone; null as above.
   Quoin::Ptr<const Routing::Policy::RouteMapStatusList> policy( const std::string & name ) const;
   /// Where the symbols of all lists and route maps live.
   Quoin::Ptr<Routing::Policy::PolicyRoot> root() const noexcept;

 private:
   class Impl;
   std::unique_ptr<Impl> impl_;
};

}   // namespace Agent
