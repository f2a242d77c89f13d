/// @file agent/command/Console.h
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Agent {

/// Standard output was closed by its reader: the program ends without a message.
struct ClosedPipe {};

/// The output of a command: data on standard output, messages on standard error.
/// Threading: one thread.
class Console {
 public:
   /// `seconds` returns the current time in seconds since any fixed moment. It decides when progress is due.
   explicit Console( double ( *seconds )() = steadySeconds );
   ~Console();
   Console( const Console & ) = delete;
   Console & operator=( const Console & ) = delete;

   /// Writes data, buffered. Errors: ClosedPipe; std::system_error if it cannot be written.
   void write( std::string_view data );
   /// Like write(), with a line end.
   void line( std::string_view data );
   /// Writes the buffered data. Every command ends with a call of this.
   void flush();

   /// Prints one line for the operator.
   void message( std::string_view text );
   /// Shows a line of progress, which the next progress, the next message, or data on the same terminal replaces. Printable ASCII, cut to
   /// the width of the terminal. Shown on terminals only, for long-running commands, a few times a second.
   void progress( std::string_view text );

   /// Text in bold, where standard output is a terminal and NO_COLOR is not set.
   std::string strong( std::string_view text ) const;

 private:
   static double steadySeconds();
   void clearProgress();

   double ( *const seconds_ )();
   std::string kept_;
   size_t progressWidth_ = 0;
   double progressDue_;   // the next one, in seconds
   bool colours_;
   bool dataOnTerminal_;
   bool messagesOnTerminal_;
};

/// "1 route", "2 routes".
inline std::string quantity( uint64_t count, std::string_view what ) {
   return std::to_string( count ).append( " " ).append( what ).append( count == 1 ? "" : "s" );
}

/// An error in the arguments or in what a command reads. The command prints the message and ends with kExitError.
struct CommandError {
   std::string message;
};

constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;   // check found something, diff found a difference
constexpr int kExitError = 2;      // wrong arguments, wrong configuration, a file that cannot be read to its end

}   // namespace Agent
