/// @file agent/table/MrtReader.h
/// Routing tables and updates as MRT files hold them (RFC 6396, and RFC 8050 for path identifiers): records of the types
///
///    TABLE_DUMP_V2   PEER_INDEX_TABLE, RIB_IPV4_UNICAST and RIB_IPV6_UNICAST, with path identifiers or without
///    TABLE_DUMP      version 1: one route a record
///    BGP4MP          and BGP4MP_ET: messages, of which updates of IPv4 and IPv6 unicast are read
///
/// Each entry of a table, and each prefix that an update announces, is one route: the prefix, the next hop, MED as metric, local
/// preference, AS path and communities, the peer, and as tag the AS that the path ends in, as with BgpdumpLine.h. A message that the router
/// itself has sent (LOCAL) does not tell the peer that announced its routes; neither does a table before its PEER_INDEX_TABLE. Prefixes
/// that are withdrawn, other messages and changes of a session are skipped. Records of other types and subtypes, and other families, are unknown.
///
/// No length in the bytes is trusted. A broken entry is reported and the next one is read. If the end of an entry cannot be determined, the
/// rest of its record is skipped.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "table/FormHandler.h"
#include "table/TextReader.h"

namespace Agent {

/// The number of first bytes that looksLikeMrt() needs.
constexpr size_t kMrtMarkSize = 8;
/// Whether a table with these first bytes begins with a record about BGP. Its header contains zero bytes, which a text does not.
bool looksLikeMrt( std::string_view firstBytes ) noexcept;

/// Reads records to the end. Records count from 1; a broken one is reported with the offset of its first byte. A record longer than
/// `maxRecord` bytes is broken.
/// Returns the error if the last record is cut short, or nothing.
[[nodiscard]] std::string readMrt( TextReader & bytes, size_t maxRecord, FormHandler & handler );

}   // namespace Agent
