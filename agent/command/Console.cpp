#include "command/Console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace Agent {

namespace {

constexpr size_t kKept = 1 << 16;
constexpr double kProgressDelay = 0.3;   // seconds; a shorter command shows no progress
constexpr double kProgressPause = 0.1;   // seconds

void writeAll( int to, std::string_view data ) {
   while( !data.empty() ) {
      const ssize_t n = ::write( to, data.data(), data.size() );
      if( n >= 0 ) {
         data.remove_prefix( static_cast<size_t>( n ) );
      } else if( errno == EPIPE ) {
         throw ClosedPipe();
      } else if( errno != EINTR ) {
         throw std::system_error( errno, std::generic_category(), "standard output" );
      }
   }
}

// One less than the width: after the last column some terminals move to the next line, and "\r" does not move back.
size_t columnsForProgress() {
   winsize size{};
   const bool known = ioctl( STDERR_FILENO, TIOCGWINSZ, &size ) == 0 && size.ws_col != 0;
   return ( known ? size.ws_col : 80u ) - 1;
}

bool wantsColours() {
   const char * const no = std::getenv( "NO_COLOR" );
   const char * const kind = std::getenv( "TERM" );
   return isatty( STDOUT_FILENO ) == 1 && !( no && *no ) && kind && std::string_view( kind ) != "dumb";
}

}   // namespace

Console::Console( double ( *seconds )() )
      : seconds_( seconds ),
        progressDue_( seconds() + kProgressDelay ),
        colours_( wantsColours() ),
        dataOnTerminal_( isatty( STDOUT_FILENO ) == 1 ),
        messagesOnTerminal_( isatty( STDERR_FILENO ) == 1 ) {}

Console::~Console() {
   clearProgress();
}

double Console::steadySeconds() {
   return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() ).count();
}

void Console::write( std::string_view data ) {
   kept_ += data;
   if( kept_.size() >= kKept ) flush();
}

void Console::line( std::string_view data ) {
   kept_ += data;
   write( "\n" );
}

void Console::flush() {
   const std::string data = std::exchange( kept_, {} );
   if( dataOnTerminal_ && !data.empty() ) clearProgress();
   writeAll( STDOUT_FILENO, data );
}

// Errors are ignored: the data may be read even if the messages are not.
void Console::message( std::string_view text ) {
   clearProgress();
   const std::string line = std::string( text ) + '\n';
   [[maybe_unused]] const auto n = ::write( STDERR_FILENO, line.data(), line.size() );
}

void Console::progress( std::string_view text ) {
   if( !messagesOnTerminal_ || seconds_() < progressDue_ ) return;
   progressDue_ = seconds_() + kProgressPause;
   const size_t columns = columnsForProgress();
   text = text.substr( 0, columns );
   std::string line = "\r" + std::string( text );
   if( const size_t before = std::min( progressWidth_, columns ); text.size() < before ) line.append( before - text.size(), ' ' );
   progressWidth_ = text.size();
   [[maybe_unused]] const auto n = ::write( STDERR_FILENO, line.data(), line.size() );
}

void Console::clearProgress() {
   if( progressWidth_ == 0 ) return;
   const std::string line = '\r' + std::string( std::min( progressWidth_, columnsForProgress() ), ' ' ) + '\r';
   progressWidth_ = 0;
   [[maybe_unused]] const auto n = ::write( STDERR_FILENO, line.data(), line.size() );
}

std::string Console::strong( std::string_view text ) const {
   return colours_ ? "\033[1m" + std::string( text ) + "\033[0m" : std::string( text );
}

}   // namespace Agent
