/// @file tests/agent/Program.h
/// Runs the program as a process, with a deadline that only one that hangs meets.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Agent {

/// Where the program writes to: what kind of thing a stream of its is.
struct Stream {
   enum class Kind { pipe, unreadPipe, terminal, outsTerminal, file } kind = Kind::pipe;
   std::string file{};            // of Kind::file
   unsigned short columns = 80;   // of Kind::terminal

   static Stream unreadPipe() { return { Kind::unreadPipe }; }   // whose reader has gone
   static Stream terminal( unsigned short columns = 80 ) { return { Kind::terminal, {}, columns }; }
   static Stream outsTerminal() { return { Kind::outsTerminal }; }   // messages on the terminal of the data
   static Stream to( std::string file ) { return { Kind::file, std::move( file ) }; }
};

struct ProgramCall {
   std::vector<std::string> arguments;
   std::string input{};                                              // on standard input, which ends there
   std::vector<std::pair<std::string, std::string>> environment{};   // besides what the test has
   Stream out{};
   Stream err{};
   bool keepInputOpen = false;   // no end of it comes before the program's own
   bool ignoreSigpipe = false;   // as some parents leave it to their children
};

/// What came of a run. The streams are of the pipes and terminals; a terminal's line ends are told as "\r\n".
struct ProgramOutput {
   int status = -1;   // the exit status; 128 and the signal's number for a program that a signal ended
   std::string out;
   std::string err;
};

/// One run of the program; it does not outlive this. Threading: one thread, of a process that has no other.
class Program {
 public:
   static constexpr std::chrono::seconds kDeadline{ 120 };

   explicit Program( ProgramCall call ) : call_( std::move( call ) ), deadline_( Clock::now() + kDeadline ) { start(); }
   ~Program() {
      if( pid_ > 0 ) {
         kill( pid_, SIGKILL );
         waitpid( pid_, nullptr, 0 );
      }
      for( int * end : { &in_, &kept_, &out_.ours, &err_.ours } ) close( *end );
   }
   Program( const Program & ) = delete;
   Program & operator=( const Program & ) = delete;

   const std::string & out() const noexcept { return output_.out; }
   const std::string & err() const noexcept { return output_.err; }

   /// Until `done()`, which looks at what has been written so far. Errors: a failure of the test for a program that ends before, or
   /// that the deadline meets.
   template <class Done>
   void waitUntil( const char * what, Done && done ) {
      while( !done() )
         if( !step() ) {
            ADD_FAILURE() << "waited in vain until " << what << "; standard output: " << out() << "; standard error: " << err();
            return;
         }
   }
   void waitForOut( std::string_view text ) {
      waitUntil( "it printed what was awaited", [ & ] { return out().find( text ) != std::string::npos; } );
   }
   void waitForErr( std::string_view text ) {
      waitUntil( "it said what was awaited", [ & ] { return err().find( text ) != std::string::npos; } );
   }

   /// More on its standard input, which was kept open; and the end of that.
   void giveInput( std::string_view more ) {
      call_.input += more;
      if( in_ < 0 ) std::swap( in_, kept_ );
   }
   void endInput() {
      call_.keepInputOpen = false;
      giveInput( {} );
   }

   /// Reads no more of its standard output.
   void closeOut() { close( out_.ours ); }
   void signal( int number ) { kill( pid_, number ); }

   /// To the end of it.
   ProgramOutput finish() {
      while( in_ >= 0 || out_.ours >= 0 || err_.ours >= 0 )
         if( !step() ) break;
      reap();
      return output_;
   }

 private:
   using Clock = std::chrono::steady_clock;
   struct Ends {
      int ours = -1;
      int theirs = -1;
   };

   [[noreturn]] static void fail( const char * what ) { throw std::system_error( errno, std::generic_category(), what ); }
   static int checked( int result, const char * what ) { return result < 0 ? fail( what ), result : result; }
   static void close( int & end ) {
      if( end >= 0 ) ::close( end );
      end = -1;
   }

   static Ends pipeEnds() {
      int ends[ 2 ];
      checked( pipe2( ends, O_CLOEXEC ), "pipe" );
      return { ends[ 0 ], ends[ 1 ] };
   }
   static Ends terminalEnds( unsigned short columns ) {
      const int ours = checked( posix_openpt( O_RDWR | O_NOCTTY | O_CLOEXEC ), "terminal" );
      checked( grantpt( ours ), "terminal" );
      checked( unlockpt( ours ), "terminal" );
      const int theirs = checked( open( ptsname( ours ), O_RDWR | O_NOCTTY | O_CLOEXEC ), "terminal" );
      const winsize size{ 24, columns, 0, 0 };
      checked( ioctl( theirs, TIOCSWINSZ, &size ), "terminal" );
      return { ours, theirs };
   }
   Ends endsOf( const Stream & stream ) const {
      if( stream.kind == Stream::Kind::terminal ) return terminalEnds( stream.columns );
      if( stream.kind == Stream::Kind::outsTerminal ) return { -1, checked( fcntl( out_.theirs, F_DUPFD_CLOEXEC, 0 ), "terminal" ) };
      if( stream.kind == Stream::Kind::file ) return { -1, checked( open( stream.file.c_str(), O_WRONLY | O_CLOEXEC ), "file" ) };
      Ends ends = pipeEnds();
      if( stream.kind == Stream::Kind::unreadPipe ) close( ends.ours );
      return ends;
   }

   void start() {
      Ends input = pipeEnds();
      std::swap( input.ours, input.theirs );   // the program reads
      out_ = endsOf( call_.out );
      err_ = endsOf( call_.err );
      pid_ = checked( fork(), "fork" );
      if( pid_ == 0 ) become( input.theirs );
      for( int * end : { &input.theirs, &out_.theirs, &err_.theirs } ) close( *end );
      in_ = input.ours;
      checked( fcntl( in_, F_SETFL, O_NONBLOCK ), "pipe" );
   }

   // In the child.
   [[noreturn]] void become( int input ) const {
      dup2( input, STDIN_FILENO );
      dup2( out_.theirs, STDOUT_FILENO );
      dup2( err_.theirs, STDERR_FILENO );
      ::signal( SIGPIPE, call_.ignoreSigpipe ? SIG_IGN : SIG_DFL );
      for( const auto & [ name, value ] : call_.environment ) setenv( name.c_str(), value.c_str(), 1 );
      std::string name = ROUTEPOLICY_PROGRAM;
      std::vector<char *> arguments{ name.data() };
      auto texts = call_.arguments;
      for( auto & text : texts ) arguments.push_back( text.data() );
      arguments.push_back( nullptr );
      execv( ROUTEPOLICY_PROGRAM, arguments.data() );
      _exit( 127 );
   }

   // Waits until something can be read or written, and does it. False: the deadline has come, or nothing is left to wait for.
   bool step() {
      pollfd ends[] = { { in_, POLLOUT, 0 }, { out_.ours, POLLIN, 0 }, { err_.ours, POLLIN, 0 } };
      if( std::all_of( std::begin( ends ), std::end( ends ), []( const pollfd & end ) { return end.fd < 0; } ) ) return false;
      const int left = millisecondsLeft();
      const int ready = left > 0 ? poll( ends, std::size( ends ), left ) : 0;
      if( ready < 0 && errno == EINTR ) return true;
      if( ready <= 0 ) return false;
      if( ends[ 0 ].revents ) feed();
      if( ends[ 1 ].revents ) drain( out_.ours, output_.out );
      if( ends[ 2 ].revents ) drain( err_.ours, output_.err );
      return true;
   }

   void feed() {
      struct Unbroken {   // a program that does not read its input must not end the test
         Unbroken() { was = ::signal( SIGPIPE, SIG_IGN ); }
         ~Unbroken() { ::signal( SIGPIPE, was ); }
         void ( *was )( int );
      } unbroken;
      const ssize_t n = write( in_, call_.input.data() + fed_, call_.input.size() - fed_ );
      if( n > 0 ) fed_ += static_cast<size_t>( n );
      const bool full = n < 0 && ( errno == EAGAIN || errno == EINTR );
      if( n < 0 && !full ) close( in_ );
      if( fed_ == call_.input.size() ) fedOut();
   }

   void fedOut() {
      if( call_.keepInputOpen )
         std::swap( in_, kept_ );
      else
         close( in_ );
   }

   // A terminal that nobody has open any more gives an error.
   static void drain( int & from, std::string & to ) {
      char piece[ 1 << 16 ];
      const ssize_t n = read( from, piece, sizeof( piece ) );
      if( n > 0 )
         to.append( piece, static_cast<size_t>( n ) );
      else if( n == 0 || errno != EINTR )
         close( from );
   }

   int millisecondsLeft() const {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>( deadline_ - Clock::now() ).count();
      return static_cast<int>( std::max<long>( left, 0 ) );
   }

   void reap() {
      int status = 0;
      if( !hasEnded() || waitpid( pid_, &status, 0 ) != pid_ ) {
         ADD_FAILURE() << "it hangs; standard output: " << out() << "; standard error: " << err();
         return;   // the destructor ends it
      }
      pid_ = -1;
      output_.status = WIFEXITED( status ) ? WEXITSTATUS( status ) : 128 + WTERMSIG( status );
   }

   // Waits for the end of the process, until the deadline.
   bool hasEnded() const {
      pollfd end{ static_cast<int>( checked( static_cast<int>( syscall( SYS_pidfd_open, pid_, 0 ) ), "process" ) ), POLLIN, 0 };
      int ready = 0;
      do ready = poll( &end, 1, millisecondsLeft() );
      while( ready < 0 && errno == EINTR );
      ::close( end.fd );
      return ready > 0;
   }

   ProgramCall call_;
   Clock::time_point deadline_;
   pid_t pid_ = -1;
   int in_ = -1;
   int kept_ = -1;   // the same, with nothing more to write
   Ends out_;
   Ends err_;
   size_t fed_ = 0;
   ProgramOutput output_;
};

inline ProgramOutput runProgram( ProgramCall call ) {
   return Program( std::move( call ) ).finish();
}
inline ProgramOutput runProgram( std::vector<std::string> arguments, std::string input = {} ) {
   return runProgram( ProgramCall{ std::move( arguments ), std::move( input ) } );
}

}   // namespace Agent
