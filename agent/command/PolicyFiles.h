/// @file agent/command/PolicyFiles.h
/// Loads the files on the command line, and compiles the policy.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "command/Console.h"
#include "live/LivePolicy.h"
#include "table/Input.h"
#include "table/RouteField.h"
#include "text/LineLoader.h"

namespace Agent {

class Target;

constexpr uint64_t kLongestFile = uint64_t( 1 ) << 30;   // bytes; a policy of 500,000 lines has 30 million

/// "-" is standard input. Errors: CommandError that names the file.
FileSource openFile( const std::string & file );
/// The text of a file, plain or compressed. Errors: CommandError that names the file; also if it is longer than `limit`.
std::string contentOf( const std::string & file, uint64_t limit = kLongestFile );
/// The name of a file in messages.
std::string displayName( const std::string & file );

/// The same files; a directory is replaced by the files of a router's configuration in it: frr.conf, or else all files *.conf.
std::vector<std::string> policyFilesOf( const std::vector<std::string> & given );

/// Reads the files, and the files in directories, as one configuration. A message names each file that was given and has lines, but no line
/// of a policy. Errors: CommandError for a file that cannot be read, and if no file has a line of a policy: other files were meant.
/// Messages for each error and for each skipped line that looks like policy come first. `lenient`: as LineLoader.
LineLoader loadFiles( const std::vector<std::string> & given, Dialect dialect, bool lenient, Console & console );

/// The first half of loadFiles(): the files' names and bytes. Errors: as contentOf().
std::vector<SourceFile> readFiles( const std::vector<std::string> & given );
/// The second half.
LineLoader loadFiles( const std::vector<SourceFile> & files, const std::vector<std::string> & given, Dialect dialect, bool lenient,
                      Console & console );
/// Prints a message for each file that was given and has lines, but no line of a policy.
void mentionStrayFiles( const PolicyText & text, const std::vector<std::string> & given, Console & console );

/// Prints a message for each error of the texts; with `json` also one document on standard output. Returns whether there was no error.
///    {"errors":[{"file":"edge.conf","line":3,"column":12,"reason":"..."}]}
bool reportErrors( std::initializer_list<const LineLoader *> loaders, Console & console, bool json );
inline bool reportErrors( const LineLoader & loader, Console & console, bool json ) {
   return reportErrors( { &loader }, console, json );
}

/// Prints a message for each line that was left out, and one if lines were skipped that look like policy. For commands that do not list them
/// as findings.
void mentionUnreadLines( const PolicyText & text, Console & console );

/// Errors: CommandError if one of the options --assume, --daemon and --set-attribute has no effect in the dialect.
void expectEffect( Dialect dialect, const Assumptions & assumptions, const RouteDefaults & defaults );
/// Prints a message for each assumption that answers no clause of the texts.
void mentionUnused( const Assumptions & assumptions, std::initializer_list<const LineLoader *> loaders, Console & console );

/// Compiles each of the loaded texts, in the order given, with the route map of the target. Errors: CommandError after the messages of
/// reportErrors(), if any text has errors; as Target::in(). Messages as mentionUnused().
std::vector<std::unique_ptr<LivePolicy>> livePoliciesOf( std::initializer_list<const LineLoader *> loaders, Console & console, bool json,
                                                         const Assumptions & assumptions = {}, const Target * target = nullptr );
/// The same for one text.
std::unique_ptr<LivePolicy> livePolicyOf( const LineLoader & loader, Console & console, bool json, const Assumptions & assumptions = {},
                                          const Target * target = nullptr );

/// The compiled route map of that name. Errors: CommandError if it is undefined, with the names that the policy has, or held back.
Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMapOf( const LivePolicy & policy, const std::string & name );

}   // namespace Agent
