/// @file agent/command/Json.h
/// JSON documents as this program prints them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "text/PolicyText.h"

namespace Agent {

using Json = nlohmann::ordered_json;

/// One line, without a line end. Invalid UTF-8 becomes U+FFFD.
inline std::string jsonText( const Json & json ) {
   return json.dump( -1, ' ', false, Json::error_handler_t::replace );
}

/// Members "file", "line" and "column"; an empty object for a place without a line.
inline Json jsonOf( const PolicyText & text, const Place & place ) {
   Json json = Json::object();
   if( place.line == 0 || place.file >= text.files.size() ) return json;
   json[ "file" ] = text.files[ place.file ];
   json[ "line" ] = place.line;
   json[ "column" ] = place.column;
   return json;
}

}   // namespace Agent
