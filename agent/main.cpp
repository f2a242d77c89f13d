#include "command/CommandLine.h"

int main( int argc, char ** argv ) {
   return Agent::runCommandLine( argc, argv );
}
