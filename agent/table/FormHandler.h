/// @file agent/table/FormHandler.h
/// Receives the routes and errors that the reader of one table format finds.
#pragma once

#include <cstdint>
#include <string_view>

#include "table/TableRoute.h"

namespace Agent {

class FormHandler {
 public:
   /// The route lives until the call ends.
   virtual void handleRoute( const TableRoute & route ) = 0;
   /// An entry that is well-formed, but no route.
   virtual void handleSkipped() = 0;
   /// An entry of a kind that the reader does not know.
   virtual void handleUnknown() = 0;
   /// `number` counts as the form says; `reason` is printable.
   virtual void handleBroken( uint64_t number, std::string_view reason ) = 0;
   /// What the whole table lacks; `text` is printable.
   virtual void handleRemark( std::string_view text ) = 0;

 protected:
   ~FormHandler() = default;
};

}   // namespace Agent
