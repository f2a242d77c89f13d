#include "command/Console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <string>

namespace Agent {
namespace {

/// A pseudo-terminal that replaces standard error.
class Terminal {
 public:
   Terminal() {
      const winsize size{ 24, 80, 0, 0 };
      int theirs = -1;
      if( openpty( &ours_, &theirs, nullptr, nullptr, &size ) != 0 ) return;
      fcntl( ours_, F_SETFL, O_NONBLOCK );
      dup2( theirs, STDERR_FILENO );
      close( theirs );
   }
   ~Terminal() {
      dup2( saved_, STDERR_FILENO );
      close( saved_ );
      close( ours_ );
   }
   Terminal( const Terminal & ) = delete;
   Terminal & operator=( const Terminal & ) = delete;

   bool isOpen() const { return ours_ >= 0; }
   /// The text written since the last call. The reads never wait: this process wrote the text itself.
   std::string take() const {
      std::string text;
      char piece[ 256 ];
      for( ssize_t n; ( n = read( ours_, piece, sizeof piece ) ) > 0; ) text.append( piece, static_cast<size_t>( n ) );
      return text;
   }

 private:
   int saved_ = dup( STDERR_FILENO );
   int ours_ = -1;
};

double now = 0;
double byHand() {
   return now;
}

TEST( ConsoleTest, aLongRunShowsProgressButNotTooOften ) {
   const Terminal terminal;
   ASSERT_TRUE( terminal.isOpen() );
   now = 1000;
   Console console( byHand );
   const struct {
      double seconds;   // since the start
      const char * text;
      const char * shown;
   } rows[] = {
      { 0, "1 route", "" },
      { 0.29, "2 routes", "" },
      { 0.31, "1000 routes", "\r1000 routes" },
      { 0.40, "1001 routes", "" },             // too soon after the last one
      { 0.42, "9 routes", "\r9 routes   " },   // spaces cover the rest of the last one
      { 5, "10 routes", "\r10 routes" },
   };
   for( const auto & row : rows ) {
      now = 1000 + row.seconds;
      console.progress( row.text );
      EXPECT_EQ( terminal.take(), row.shown ) << row.seconds;
   }
   console.message( "cut short" );
   EXPECT_EQ( terminal.take(), "\r         \rcut short\r\n" );
}

TEST( ConsoleTest, aShortRunShowsNoProgress ) {
   const Terminal terminal;
   ASSERT_TRUE( terminal.isOpen() );
   now = 0;
   {
      Console console( byHand );
      for( int i = 0; i < 5000; ++i ) console.progress( "many routes" );
   }
   EXPECT_EQ( terminal.take(), "" );
}

}   // namespace
}   // namespace Agent
