// Expressions of FRR against those of libc.
#include <regex.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <re2/re2.h>

#include "tests/model/RandomCases.h"
#include "text/Expression.h"

namespace Agent {
namespace {

/// An expression as bgpd compiles it.
class LibcExpression {
 public:
   explicit LibcExpression( std::string_view text ) {
      std::string posix;
      for( const char c : text ) posix += c == '_' ? "(^|[,{}() ]|$)" : std::string( 1, c );
      ok_ = ::regcomp( &compiled_, posix.c_str(), REG_EXTENDED | REG_NOSUB ) == 0;
   }
   LibcExpression( const LibcExpression & ) = delete;
   LibcExpression & operator=( const LibcExpression & ) = delete;
   ~LibcExpression() {
      if( ok_ ) ::regfree( &compiled_ );
   }
   bool ok() const { return ok_; }
   bool matches( const std::string & subject ) const { return ::regexec( &compiled_, subject.c_str(), 0, nullptr, 0 ) == 0; }

 private:
   ::regex_t compiled_;
   bool ok_;
};

bool matches( std::string_view expression, std::string_view subject ) {
   const auto compiled = compileExpression( expression, Dialect::frr );
   EXPECT_TRUE( compiled->ok() ) << expression;
   return RE2::PartialMatch( subject, *compiled );
}

std::string faultOf( std::string_view expression ) {
   try {
      return compileExpression( expression, Dialect::frr )->error();
   } catch( const std::invalid_argument & error ) { return error.what(); }
}

const char * const kSubjects[] = { "",
                                   "65001",
                                   "65001 65002",
                                   "65001 65002 65001",
                                   "65001 {65002,65003}",
                                   "(65001) 65002",
                                   "65000:1",
                                   "65000:1 65000:2",
                                   "no-export",
                                   "65000:1 no-export",
                                   "a",
                                   "\\",
                                   "]",
                                   "w-1" };

TEST( PosixExpression, answersAsLibc ) {
   for( const char * expression : { "_65001_",
                                    "^65001_65002$",
                                    "^65001__65002$",
                                    "_*",
                                    "65001_+65002",
                                    "^_65001",
                                    "65002_$",
                                    "[^_]65002",
                                    "65001[_]65002",
                                    "65001\\_65002",
                                    "65001{1,1}",
                                    "65001{,1}",
                                    "65001{,}",
                                    "65001{1,}",
                                    "65001{2}",
                                    "(65001)+",
                                    "a**",
                                    "a+?",
                                    "(a|)*",
                                    "()",
                                    "a|",
                                    "|a",
                                    "(|a)",
                                    "65001)",
                                    ")",
                                    "}",
                                    "]",
                                    "a]",
                                    "^^a",
                                    "a$$",
                                    "a^b",
                                    "[[:digit:]]+:1$",
                                    "[[:alpha:]-]+",
                                    "[]a]",
                                    "[^]a]",
                                    "[a-c]",
                                    "[\\d]",
                                    "[\\]",
                                    "[[.-.]]",
                                    "[[=a=]]",
                                    "[a-]",
                                    "[-a]",
                                    "[+--]",
                                    "[.]",
                                    "[$]",
                                    "\\d",
                                    "\\w+:1",
                                    "\\W",
                                    "\\s",
                                    "\\S+",
                                    "\\b65000:1\\b",
                                    "\\<65000:1\\>",
                                    "\\<no\\>",
                                    "\\B0",
                                    "\\`65001\\'",
                                    "\\.",
                                    "\\{",
                                    "\\(65001\\)",
                                    "a\\",
                                    "no-(export|peer)",
                                    "65000:[12]$",
                                    "(^65000:1$|no-export)",
                                    "\\w\\>",
                                    "\\<[0-9]+" } ) {
      const LibcExpression libc( expression );
      EXPECT_EQ( libc.ok(), faultOf( expression ).empty() ) << expression << ": " << faultOf( expression );
      if( !libc.ok() ) continue;
      for( const char * subject : kSubjects )
         EXPECT_EQ( matches( expression, subject ), libc.matches( subject ) ) << expression << " on " << subject;
   }
}

TEST( PosixExpression, wrongExpressionsAreWrongForLibc ) {
   for( const char * expression :
        { "*",       "^*a",           "+",    "{1}",  "a{",  "a{x}",     "a{2,1}",        "a{}",  "(a", "((a)", "[a", "[[:x:]]", "[b-a]",
          "[a-c-e]", "[[:digit:]-9]", "a|*b", "(*a)", "a\\", "[[.ab.]]", "[a-[:digit:]]", "\\b*", "$*" } ) {
      EXPECT_NE( faultOf( expression ), "" ) << expression;
      EXPECT_FALSE( LibcExpression( expression ).ok() ) << expression;
   }
}

TEST( PosixExpression, whatIsNotSupportedSaysSo ) {
   EXPECT_EQ( faultOf( "(a)\\1" ), "\"\\1\" refers back to a part of the text, which is not supported" );
   for( const char * expression : { "_{2}", "(a(^|b)c){,2}", "(a$){1,}" } )
      EXPECT_EQ( faultOf( expression ), "bounds of a repetition behind a group with \"^\", \"$\", \"_\" or \"\\b\" are not supported" )
         << expression;
   for( const char * expression : { "\\<", "\\<.", "\\<a*", "\\>a", ".\\>", "a*\\>", "\\<(a)", "(a)\\>", "\\<\\>" } )
      EXPECT_EQ( faultOf( expression ), R"("\<" and "\>" are supported next to a letter, a digit or "\w" only; use "\b")" ) << expression;
}

TEST( PosixExpression, randomExpressionsAnswerAsThoseOfLibc ) {
   static constexpr const char * kPieces[] = { "a",   "b",   "1",   "0",          ":",  " ",  ",",  "-",    "_",   "^",    "$",     ".",
                                               "|",   "(",   ")",   "*",          "+",  "?",  "{",  "}",    "{1}", "{,2}", "{1,2}", "{2,}",
                                               "[",   "]",   "[^",  "[a-b",       "[:", ":]", "\\", "\\b",  "\\B", "\\w",  "\\W",   "\\s",
                                               "\\S", "\\<", "\\>", "[[:digit:]", "(a", "b)", "[]", "[ab]", "[-",  "--" };
   static constexpr char kLetters[] = "ab01: ,-_{}()]\\";
   Random random( 16 );
   size_t compared = 0, unsupported = 0, wrong = 0, matched = 0, subjects = 0;
   for( int i = 0; i < 30000; ++i ) {
      std::string expression;
      for( auto n = 1 + below( random, 9 ); n; --n ) expression += kPieces[ below( random, std::size( kPieces ) ) ];
      const LibcExpression libc( expression );
      const std::string fault = faultOf( expression );
      if( !libc.ok() ) {
         ++wrong;
         ASSERT_NE( fault, "" ) << expression;
         continue;
      }
      if( fault.find( "supported" ) != fault.npos ) {
         ++unsupported;
         continue;
      }
      ASSERT_EQ( fault, "" ) << expression;
      ++compared;
      for( int j = 0; j < 12; ++j ) {
         std::string subject;
         for( auto n = below( random, 8 ); n; --n ) subject += kLetters[ below( random, std::size( kLetters ) - 1 ) ];
         const bool expected = libc.matches( subject );
         ASSERT_EQ( matches( expression, subject ), expected ) << "\"" << expression << "\" on \"" << subject << "\"";
         matched += expected;
         ++subjects;
      }
   }
   RecordProperty( "compared", int( compared ) );
   RecordProperty( "wrong", int( wrong ) );
   RecordProperty( "unsupported", int( unsupported ) );
   EXPECT_GT( compared, 5000u );
   EXPECT_GT( matched, subjects / 10 );
   EXPECT_LT( matched, subjects * 9 / 10 );
}

}   // namespace
}   // namespace Agent
