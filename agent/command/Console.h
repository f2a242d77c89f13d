/// @file agent/command/Console.h
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Agent {

/// Nobody reads standard output any more: the program ends without a word.
struct ClosedPipe {};

/// What a command says: data on standard output, messages on standard error.
/// Threading: one thread.
class Console {
 public:
   Console();
   ~Console();
   Console( const Console & ) = delete;
   Console & operator=( const Console & ) = delete;

   /// Data, kept back in part. Errors: ClosedPipe; std::system_error where it cannot be written.
   void write( std::string_view data );
   /// As write(), and a line end.
   void line( std::string_view data );
   /// Lets out what is kept back. A command ends with it.
   void flush();

   /// A line for the operator.
   void message( std::string_view text );
   /// A line that the next one, the next message, or data on the same terminal take the place of; printable ASCII, cut to the width of
   /// the terminal. Shown on a terminal only, of what takes its time, and not more often than the eye can follow.
   void progress( std::string_view text );

   /// Text in bold, where standard output is a terminal and NO_COLOR is not set.
   std::string strong( std::string_view text ) const;

 private:
   void clearProgress();

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

/// A fault of the caller's or of what the command reads, for whom the message is: the command ends with kExitError.
struct CommandError {
   std::string message;
};

constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;   // check found something, diff found a difference
constexpr int kExitError = 2;      // wrong arguments, wrong configuration, a file that cannot be read to its end

}   // namespace Agent
