/// @file agent/command/CommandLine.h
#pragma once

namespace Agent {

/// The whole program: reads the arguments, runs the command, and returns the exit status.
int runCommandLine( int argc, char ** argv );

}   // namespace Agent
