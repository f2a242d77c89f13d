/// @file agent/command/Json.h
/// JSON documents as this program prints them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "text/PolicyText.h"

namespace Agent {

using Json = nlohmann::ordered_json;

/// One line, without its end. Bytes that are no UTF-8 become U+FFFD.
inline std::string jsonText( const Json & json ) {
   return json.dump( -1, ' ', false, Json::error_handler_t::replace );
}

/// Members "file", "line" and "column"; none for a place that is nowhere.
inline Json jsonOf( const PolicyText & text, const Place & place ) {
   Json json = Json::object();
   if( place.line == 0 || place.file >= text.files.size() ) return json;
   json[ "file" ] = text.files[ place.file ];
   json[ "line" ] = place.line;
   json[ "column" ] = place.column;
   return json;
}

}   // namespace Agent
