/// @file agent/command/PolicyFiles.h
/// From the files on the command line to a policy that is in force.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "command/Console.h"
#include "live/LivePolicy.h"
#include "table/Input.h"
#include "text/LineLoader.h"

namespace Agent {

constexpr uint64_t kLongestFile = uint64_t( 1 ) << 30;   // bytes; a policy of 500,000 lines has 30 million

/// "-" is standard input. Errors: CommandError that names the file.
FileSource openFile( const std::string & file );
/// The text of a file, which may be packed as a table may. Errors: CommandError that names it, also for one that is longer than `limit`.
std::string contentOf( const std::string & file, uint64_t limit = kLongestFile );
/// As messages call it.
std::string displayName( const std::string & file );

/// Reads the files as one configuration. Errors: CommandError for one that cannot be read; and for those that say something, but nothing
/// of a policy, as other files were meant: behind a message for each error, and for each line of theirs that looks like a policy's.
LineLoader loadFiles( const std::vector<std::string> & files, Console & console );

/// What is wrong with texts, a message each; with `json`, also one document on standard output for all. Then whether there was nothing.
///    {"errors":[{"file":"edge.conf","line":3,"column":12,"reason":"..."}]}
bool reportErrors( std::initializer_list<const LineLoader *> loaders, Console & console, bool json );
inline bool reportErrors( const LineLoader & loader, Console & console, bool json ) {
   return reportErrors( { &loader }, console, json );
}

/// A message when lines that look like a policy's were passed over. For commands that go on, and do not tell which.
void mentionPassedOver( const PolicyText & text, Console & console );

/// Puts into force what was loaded, in the order given. Errors: CommandError, behind what reportErrors() says, where anything is wrong.
std::vector<std::unique_ptr<LivePolicy>> livePoliciesOf( std::initializer_list<const LineLoader *> loaders, Console & console, bool json );
/// The policy of these files. Errors: as of loading and of that.
std::unique_ptr<LivePolicy> livePolicyOf( const std::vector<std::string> & files, Console & console, bool json );

/// The route map of that name, as it is in force. Errors: CommandError where there is none, with what comes near; or where it
/// is held back.
Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMapOf( const LivePolicy & policy, const std::string & name );

}   // namespace Agent
