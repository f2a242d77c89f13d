/// @file tests/model/Choices.h
/// The random choices of one test case. Every random case of the models draws its numbers from a Choices, and Shrinking.h replays parts of
/// the row of numbers that was drawn. The row comes from a seed, is given, or is read from a fuzzer's bytes. A shorter row with smaller
/// numbers makes a simpler case.
///
/// A case that consists of steps tells where each step begins. Each step owns its numbers: when a step is left out, the other steps do not
/// change.
///
///    for( int i = 0; i < 100 && choices.step(); ++i ) {
///       const auto seqno = choices.below( 5 );
///       choices.say( "delete sequence ", seqno );   // printed when a failed case is replayed
///    }
/// Threading: one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

class Choices {
 public:
   using result_type = uint64_t;   // with min() and max(): a generator for the standard library

   /// The numbers of a case, and its steps among them.
   struct Row {
      struct Step {
         size_t begin;
         unsigned kind;
      };
      std::vector<uint32_t> numbers;
      std::vector<Step> steps;   // the numbers before the first step belong to no step
      size_t end( size_t step ) const { return step + 1 < steps.size() ? steps[ step + 1 ].begin : numbers.size(); }
   };
   /// Thrown when a case draws very many numbers after the end of its row.
   struct Exhausted {};

   explicit Choices( uint64_t seed ) : random_( seed ), endless_( true ) {}
   /// These numbers, then zeros.
   explicit Choices( std::vector<uint32_t> numbers ) : Choices( Row{ std::move( numbers ), {} } ) {}
   explicit Choices( Row row, bool keepsText = false ) : keepsText_( keepsText ), row_( std::move( row ) ) {
      end_ = row_.steps.empty() ? row_.numbers.size() : row_.steps.front().begin;
   }

   /// From 0 to n - 1.
   uint32_t below( uint32_t n ) { return next() % n; }
   /// True once in n times. The number zero means false.
   bool oneIn( uint32_t n ) { return below( n ) == n - 1; }
   template <class T>
   T anyOf( std::initializer_list<T> row ) {
      return row.begin()[ below( static_cast<uint32_t>( row.size() ) ) ];
   }
   /// 64 bits.
   uint64_t operator()() {
      const uint64_t high = next();
      return high << 32 | next();
   }
   static constexpr uint64_t min() { return 0; }
   static constexpr uint64_t max() { return std::numeric_limits<uint64_t>::max(); }

   /// Begins a step. Returns false if the row has no further step of this kind: then all numbers are zeros. Each loop of a case has its own
   /// kind.
   bool step( unsigned kind = 0 ) {
      if( endless_ ) {
         row_.steps.push_back( { row_.numbers.size(), kind } );
      } else if( nextStep_ < row_.steps.size() && row_.steps[ nextStep_ ].kind == kind ) {
         at_ = row_.steps[ nextStep_ ].begin;
         end_ = row_.end( nextStep_++ );
      } else {
         at_ = end_;
         return false;
      }
      if( keepsText_ ) text_ += "\n   step " + std::to_string( nextStep_ ) + ":";
      return true;
   }

   /// Adds a remark on what the case does. Formats nothing unless the text is kept.
   template <class... Parts>
   void say( const Parts &... parts ) {
      if( !keepsText_ ) return;
      std::ostringstream os;
      ( ( os << ' ' ) << ... << parts ) << ';';
      text_ += os.str();
   }
   bool keepsText() const { return keepsText_; }
   const std::string & text() const { return text_; }

   /// The row of the choices made so far. A Choices of this row makes the same choices again.
   Row made() const {
      if( endless_ || !row_.steps.empty() ) return row_;
      return { { row_.numbers.begin(), row_.numbers.begin() + static_cast<std::ptrdiff_t>( at_ ) }, {} };
   }

 private:
   static constexpr unsigned kMostZeros = 1000000;

   uint32_t next() {
      if( endless_ ) {
         row_.numbers.push_back( static_cast<uint32_t>( random_() ) );
         return row_.numbers.back();
      }
      if( at_ < end_ ) return row_.numbers[ at_++ ];
      if( ++zeros_ > kMostZeros ) throw Exhausted();
      return 0;
   }

   std::mt19937_64 random_;
   bool endless_ = false;
   bool keepsText_ = false;
   Row row_;
   size_t at_ = 0, end_ = 0;   // of a given row: the next number, and the end of its step
   size_t nextStep_ = 0;
   unsigned zeros_ = 0;
   std::string text_ = "\n   first:";
};
