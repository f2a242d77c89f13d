#include "command/Console.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace Agent {

namespace {

constexpr size_t kKept = 1 << 16;
constexpr double kProgressPause = 0.1;   // seconds

double seconds() {
   return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() ).count();
}

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

bool wantsColours() {
   const char * const no = std::getenv( "NO_COLOR" );
   const char * const kind = std::getenv( "TERM" );
   return isatty( STDOUT_FILENO ) == 1 && !( no && *no ) && kind && std::string_view( kind ) != "dumb";
}

}   // namespace

Console::Console() : colours_( wantsColours() ), terminal_( isatty( STDERR_FILENO ) == 1 ) {}

Console::~Console() {
   clearProgress();
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
   writeAll( STDOUT_FILENO, data );
}

// Where nobody reads messages, the data may still be wanted.
void Console::message( std::string_view text ) {
   clearProgress();
   const std::string line = std::string( text ) + '\n';
   [[maybe_unused]] const auto n = ::write( STDERR_FILENO, line.data(), line.size() );
}

void Console::progress( std::string_view text ) {
   if( !terminal_ || seconds() - progressShown_ < kProgressPause ) return;
   progressShown_ = seconds();
   std::string line = "\r" + std::string( text );
   if( text.size() < progressWidth_ ) line.append( progressWidth_ - text.size(), ' ' );
   progressWidth_ = text.size();
   [[maybe_unused]] const auto n = ::write( STDERR_FILENO, line.data(), line.size() );
}

void Console::clearProgress() {
   if( progressWidth_ == 0 ) return;
   const std::string line = '\r' + std::string( progressWidth_, ' ' ) + '\r';
   progressWidth_ = 0;
   [[maybe_unused]] const auto n = ::write( STDERR_FILENO, line.data(), line.size() );
}

std::string Console::strong( std::string_view text ) const {
   return colours_ ? "\033[1m" + std::string( text ) + "\033[0m" : std::string( text );
}

}   // namespace Agent
