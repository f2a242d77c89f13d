#include "text/Expression.h"

#include <algorithm>
#include <bitset>
#include <cctype>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <re2/re2.h>

namespace Agent {

namespace {

constexpr std::string_view kBoundary = R"((?:^|$|[ ,{}()\[\]]))";

// The length of the bracket expression that starts here. A "]" in first place is a member, and so is one that ends a class: [[:digit:]].
size_t bracketLength( std::string_view text ) {
   size_t at = 1;
   if( at < text.size() && text[ at ] == '^' ) ++at;
   if( at < text.size() && text[ at ] == ']' ) ++at;
   while( at < text.size() && text[ at ] != ']' ) {
      if( text[ at ] == '\\' ) {
         at += 2;
      } else if( text.substr( at ).starts_with( "[:" ) && text.find( ":]", at + 2 ) != text.npos ) {
         at = text.find( ":]", at + 2 ) + 2;
      } else {
         ++at;
      }
   }
   return at + 1;
}

constexpr bool isWordCharacter( unsigned char c ) noexcept {
   return ( c >= '0' && c <= '9' ) || ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || c == '_';
}

std::string escaped( unsigned char c ) {
   return fmt::format( "\\x{{{:x}}}", c );
}

using Characters = std::bitset<256>;

/// Reads a bracket expression behind its "[". A backslash is a member.
class Bracket {
 public:
   explicit Bracket( std::string_view & rest ) : rest_( rest ) {}

   Characters read() {
      const bool negated = take( "^" );
      for( bool isFirst = true; isFirst || !take( "]" ); isFirst = false ) {
         if( rest_.starts_with( "-" ) && !isFirst && !rest_.starts_with( "-]" ) ) fail( "a range has no start" );
         const int from = takeElement();
         if( from == kClass || rest_.starts_with( "-]" ) || !take( "-" ) ) continue;
         const int to = takeElement();
         if( to < from ) fail( "a range ends before it starts" );   // or ends with a class
         for( int c = from; c <= to; ++c ) all_.set( size_t( c ) );
      }
      return negated ? ~all_ : all_;
   }

 private:
   static constexpr int kClass = -1;

   [[noreturn]] static void fail( const char * reason ) { throw std::invalid_argument( reason ); }
   bool take( std::string_view text ) {
      const bool is = rest_.starts_with( text );
      if( is ) rest_.remove_prefix( text.size() );
      return is;
   }
   // Adds a character or a class. Returns the character; kClass for a class.
   int takeElement() {
      for( const char kind : { '.', '=', ':' } )
         if( take( std::string( { '[', kind } ) ) ) return takeSymbol( kind );
      if( rest_.empty() ) fail( "\"[\" has no \"]\"" );
      return add( rest_ );
   }
   int add( std::string_view & from ) {
      const auto c = static_cast<unsigned char>( from.front() );
      from.remove_prefix( 1 );
      all_.set( c );
      return c;
   }
   // [.a.], [=a=] or [:alpha:].
   int takeSymbol( char kind ) {
      const size_t end = rest_.find( std::string( { kind, ']' } ) );
      if( end == rest_.npos ) fail( "\"[\" has no \"]\"" );
      auto name = rest_.substr( 0, end );
      rest_.remove_prefix( end + 2 );
      if( kind == ':' ) return takeClass( name );
      if( name.size() != 1 ) fail( "a collating element is one character" );
      const int c = add( name );
      return kind == '.' ? c : kClass;
   }
   int takeClass( std::string_view name ) {
      struct Class {
         std::string_view name;
         int ( *has )( int );
      };
      static constexpr Class kClasses[] = { { "alpha", std::isalpha }, { "digit", std::isdigit }, { "alnum", std::isalnum },
                                            { "upper", std::isupper }, { "lower", std::islower }, { "space", std::isspace },
                                            { "blank", std::isblank }, { "punct", std::ispunct }, { "print", std::isprint },
                                            { "graph", std::isgraph }, { "cntrl", std::iscntrl }, { "xdigit", std::isxdigit } };
      const auto * const found = std::ranges::find( kClasses, name, &Class::name );
      if( found == std::end( kClasses ) ) fail( "a class of characters is unknown" );
      for( int c = 0; c < 128; ++c )
         if( found->has( c ) ) all_.set( size_t( c ) );
      return kClass;
   }

   std::string_view & rest_;
   Characters all_;
};

/// Translates a POSIX extended expression for RE2 with POSIX syntax. Much is the same there; what is not, and what POSIX leaves open, is as
/// in glibc.
class PosixExpression {
 public:
   explicit PosixExpression( std::string_view text ) : rest_( text ) {}

   std::string run() {
      while( !rest_.empty() ) {
         const char c = take();
         switch( c ) {
            case '^':
            case '$': anchor( { &c, 1 } ); break;
            case '|': begin( "|" ); break;
            case '(':
               begin( "(" );
               groups_.push_back( false );
               break;
            case ')':
               if( groups_.empty() )
                  literal( c );   // stands for itself
               else
                  endGroup();
               break;
            case '*':
            case '+':
            case '?': repeat( { &c, 1 }, c == '+' ); break;
            case '{':
               if( hasAnchor_ )   // libc has faults there
                  fail( "bounds of a repetition behind a group with \"^\", \"$\", \"_\" or \"\\b\" are not supported" );
               repeat( takeBounds(), false );
               break;
            case '.': part( ".", false ); break;
            case '[': bracket( Bracket( rest_ ).read() ); break;
            case '\\': backslash(); break;
            default: literal( c );
         }
      }
      if( !groups_.empty() ) fail( "\"(\" has no \")\"" );
      if( wordBegins_ ) failWord();
      return std::move( result_ );
   }

 private:
   [[noreturn]] static void fail( const std::string & reason ) { throw std::invalid_argument( reason ); }
   [[noreturn]] static void failWord() {
      fail( "\"\\<\" and \"\\>\" are supported next to a letter, a digit or \"\\w\" only; use \"\\b\"" );
   }

   char take() {
      const char c = rest_.front();
      rest_.remove_prefix( 1 );
      return c;
   }
   // The part may be repeated. `isWord`: it is one character of a word.
   void part( std::string_view text, bool isWord ) {
      if( wordBegins_ && !isWord ) failWord();
      beginsWord_ = std::exchange( wordBegins_, false );
      result_ += text;
      mayRepeat_ = true;
      hasAnchor_ = false;
      isWord_ = isWord;
   }
   // Nothing may be repeated behind it.
   void begin( std::string_view text ) {
      part( text, false );
      mayRepeat_ = false;
   }
   void anchor( std::string_view text ) {
      begin( text );
      if( !groups_.empty() ) groups_.back() = true;
   }
   void endGroup() {
      part( ")", false );
      hasAnchor_ = groups_.back();
      groups_.pop_back();
      if( hasAnchor_ && !groups_.empty() ) groups_.back() = true;
   }
   void literal( char c ) { part( escaped( static_cast<unsigned char>( c ) ), isWordCharacter( static_cast<unsigned char>( c ) ) ); }
   void repeat( std::string_view text, bool keepsOne ) {
      if( !mayRepeat_ ) fail( fmt::format( "nothing is repeated by \"{}\"", text ) );
      if( beginsWord_ && !keepsOne ) failWord();
      result_ += text;
      isWord_ = isWord_ && keepsOne;
   }
   // "{N}", "{N,}", "{N,M}" or "{,M}", behind "{".
   std::string takeBounds() {
      const size_t end = rest_.find( '}' );
      const auto bounds = rest_.substr( 0, end );
      const size_t comma = std::min( bounds.find( ',' ), bounds.size() );
      const auto isNumber = []( std::string_view text ) { return text.find_first_not_of( "0123456789" ) == text.npos; };
      const auto from = bounds.substr( 0, comma ), to = bounds.substr( std::min( comma + 1, bounds.size() ) );
      if( end == rest_.npos || bounds.empty() || !isNumber( from ) || !isNumber( to ) ) fail( "\"{\" begins no bounds of a repetition" );
      rest_.remove_prefix( end + 1 );
      return fmt::format( "{{{}{}}}", from.empty() ? "0" : from, bounds.substr( comma ) );
   }
   void bracket( const Characters & characters ) {
      std::string text = "[";
      bool isWord = true;
      for( unsigned c = 0; c < 128; ++c ) {   // nothing else is in an AS path or a community
         if( !characters[ c ] ) continue;
         text += escaped( static_cast<unsigned char>( c ) );
         isWord = isWord && isWordCharacter( static_cast<unsigned char>( c ) );
      }
      part( text.size() == 1 ? "[^\\x00-\\x{10ffff}]" : text + "]", isWord );
   }
   void backslash() {
      if( rest_.empty() ) fail( "a backslash stands at the end" );
      const char c = take();
      switch( c ) {
         case 'w':
         case 'W':
         case 's':
         case 'S': return part( { rest_.data() - 2, 2 }, c == 'w' );
         case 'b':
         case 'B': return anchor( { rest_.data() - 2, 2 } );
         case '`': return anchor( "^" );
         case '\'': return anchor( "$" );
         case '<':
            anchor( "\\b" );
            wordBegins_ = true;
            return;
         case '>':
            if( !isWord_ ) failWord();
            return anchor( "\\b" );
         default:
            if( c >= '1' && c <= '9' ) fail( fmt::format( "\"\\{}\" refers back to a part of the text, which is not supported", c ) );
            literal( c );
      }
   }

   std::string_view rest_;
   std::string result_;
   std::vector<bool> groups_;   // the open ones, and whether they have an anchor
   bool hasAnchor_ = false;     // the last part is a group with an anchor
   bool mayRepeat_ = false;
   bool isWord_ = false;       // the last part is a character of a word, or more of them
   bool wordBegins_ = false;   // the next part must be one
   bool beginsWord_ = false;   // the last part was the next one
};

}   // namespace

std::string expressionOf( std::string_view text ) {
   std::string result;
   while( !text.empty() ) {
      const size_t taken = text.front() == '[' ? bracketLength( text ) : text.front() == '\\' ? 2 : 1;
      result += text.front() == '_' ? kBoundary : text.substr( 0, taken );
      text.remove_prefix( std::min( taken, text.size() ) );
   }
   return result;
}

std::string posixExpressionOf( std::string_view text ) {
   std::string posix;
   for( const char c : text )
      if( c == '_' )
         posix += "(^|[,{}() ]|$)";
      else
         posix += c;
   return PosixExpression( posix ).run();
}

std::optional<WordExpression> wordExpressionOf( std::string_view expression ) noexcept {
   const auto isOf = []( char c, char anchor ) { return c == '_' || c == anchor; };
   if( expression.size() < 2 || !isOf( expression.front(), '^' ) || !isOf( expression.back(), '$' ) ) return std::nullopt;
   const WordExpression found{ expression.substr( 1, expression.size() - 2 ), expression.front() == '^', expression.back() == '$' };
   if( found.word.empty() && !( found.begins && found.ends ) ) return std::nullopt;
   const auto isPlain = []( char c ) { return c != '_' && ( isWordCharacter( static_cast<unsigned char>( c ) ) || c == ':' || c == '-' ); };
   return std::ranges::all_of( found.word, isPlain ) ? std::optional( found ) : std::nullopt;
}

std::unique_ptr<const re2::RE2> compileExpression( std::string_view text, Dialect dialect ) {
   RE2::Options options( RE2::Quiet );
   if( dialect == Dialect::native ) return std::make_unique<const RE2>( expressionOf( text ), options );
   options.set_posix_syntax( true );
   options.set_perl_classes( true );
   options.set_word_boundary( true );
   options.set_one_line( true );
   options.set_never_capture( true );
   return std::make_unique<const RE2>( posixExpressionOf( text ), options );
}

}   // namespace Agent
