/// @file agent/command/PolicyFiles.h
/// From the files on the command line to a policy that is in force.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "command/Console.h"
#include "live/LivePolicy.h"
#include "text/LineLoader.h"

namespace Agent {

/// The bytes of a file, of standard input for "-". Errors: CommandError that names it.
std::string contentOf( const std::string & file );
/// As messages call it.
std::string displayName( const std::string & file );

/// A name out of a policy, as messages show it: printable, and of bounded length.
std::string printableName( const std::string & name );

/// Reads the files as one configuration, with a message for each that says something, but nothing of a policy: it is another file than
/// was meant. Errors: CommandError for one that cannot be read, and where all there is says nothing of a policy.
LineLoader loadFiles( const std::vector<std::string> & files, Console & console );

/// What is wrong with a text, a message each; and then whether there was nothing.
bool reportErrors( const LineLoader & loader, Console & console );

/// A message when lines that look like a policy's were passed over. For commands that go on, and do not tell which.
void mentionPassedOver( const PolicyText & text, Console & console );

/// The policy of these files. Errors: CommandError, behind a message for each error in them.
std::unique_ptr<LivePolicy> livePolicyOf( const std::vector<std::string> & files, Console & console );

/// The route map of that name, as it is in force. Errors: CommandError where there is none, with what comes near; or where it
/// is held back.
Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMapOf( const LivePolicy & policy, const std::string & name );

}   // namespace Agent
