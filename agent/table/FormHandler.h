/// @file agent/table/FormHandler.h
/// What the reader of one form of table hands over.
#pragma once

#include <cstdint>
#include <string_view>

#include "table/TableRoute.h"

namespace Agent {

class FormHandler {
 public:
   /// The route lives until the call ends.
   virtual void handleRoute( const TableRoute & route ) = 0;
   /// Well-formed, but no route.
   virtual void handlePassedOver() = 0;
   /// `number` counts as the form says; `reason` is printable.
   virtual void handleBroken( uint64_t number, std::string_view reason ) = 0;

 protected:
   ~FormHandler() = default;
};

}   // namespace Agent
