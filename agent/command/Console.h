/// @file agent/command/Console.h
#pragma once

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
   /// A line that the next one, or the next message, takes the place of; shown on a terminal only, and not more often than the eye
   /// can follow.
   void progress( std::string_view text );

   /// Text in bold, where standard output is a terminal and NO_COLOR is not set.
   std::string strong( std::string_view text ) const;

 private:
   void clearProgress();

   std::string kept_;
   size_t progressWidth_ = 0;
   double progressShown_ = 0;   // seconds
   bool colours_;
   bool terminal_;   // of messages
};

/// A fault of the caller's or of what the command reads, for whom the message is: the command ends with kExitError.
struct CommandError {
   std::string message;
};

constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;   // check found something, diff found a difference
constexpr int kExitError = 2;      // wrong arguments, wrong configuration, a file that cannot be read to its end

}   // namespace Agent
