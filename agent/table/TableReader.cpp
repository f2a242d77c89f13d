#include "table/TableReader.h"

#include "table/BgpJson.h"
#include "table/BgpdumpLine.h"
#include "table/BirdText.h"
#include "table/IpRouteJson.h"
#include "table/MrtReader.h"
#include "table/PrefixLine.h"
#include "table/TextReader.h"

namespace Agent {

namespace {

Broken::Unit unitOf( TableForm form ) noexcept {
   if( form == TableForm::mrt ) return Broken::Unit::record;
   return form == TableForm::json ? Broken::Unit::entry : Broken::Unit::line;
}

// Why bytes of which nothing was read are no table.
std::string whyNoTable( const TableSummary & summary, bool isBlank ) {
   if( summary.broken != 0 ) {
      static constexpr const char * kUnits[] = { "line", "entry", "record" };
      return std::string( "every " ) + kUnits[ size_t( unitOf( summary.form ) ) ] + " is broken";
   }
   switch( summary.form ) {
      case TableForm::empty: return isBlank ? "it has blank lines and comments only" : "it is empty";
      case TableForm::mrt: return "it has no record with routes of IPv4 or IPv6 unicast";
      default: return "it has no entries";
   }
}

class Reading final : private FormHandler {
 public:
   Reading( const Input & input, TextReader & text, TableHandler & handler, const TableLimits & limits, TableSummary & summary )
         : input_( input ), text_( text ), handler_( handler ), limits_( limits ), summary_( summary ) {}

   void readLines() {
      TableRoute route;
      while( text_.nextLine() ) {
         std::string_view line = text_.line();
         if( text_.lineNumber() == 1 && line.starts_with( kByteOrderMark ) ) line.remove_prefix( kByteOrderMark.size() );
         if( summary_.form == TableForm::empty && looksLikeBird( line ) ) return readBird( line );
         const bool isBgpdump = looksLikeBgpdump( line );
         const LineResult result = parseLine( line, isBgpdump, route );
         if( result.kind != LineResult::Kind::nothing && summary_.form == TableForm::empty )
            summary_.form = isBgpdump ? TableForm::bgpdump : TableForm::prefixes;
         switch( result.kind ) {
            case LineResult::Kind::route: handleRoute( route ); break;
            case LineResult::Kind::skipped: handleSkipped(); break;
            case LineResult::Kind::nothing: break;
            case LineResult::Kind::broken: handleBroken( text_.lineNumber(), result.reason ); break;
         }
      }
   }

   void readMrt() {
      summary_.form = TableForm::mrt;
      summary_.fault = Agent::readMrt( text_, limits_.maxRecord, *this );
   }

   // `first`: the first character of the first document.
   void readJson( int first ) {
      summary_.form = TableForm::json;
      do {
         summary_.fault = first == '{' ? readBgpJson( text_, limits_.maxLine, *this ) : readIpRouteJson( text_, limits_.maxLine, *this );
         while( isSpace( text_.peek() ) ) text_.get();
         first = text_.peek();
      } while( summary_.fault.empty() && first != TextReader::kEnd );
   }

 private:
   void readBird( std::string_view firstLine ) {
      summary_.form = TableForm::bird;
      BirdText bird( *this );
      bird.lineIs( text_.lineNumber(), firstLine );
      while( text_.nextLine() ) {
         if( auto reason = faultOfLine(); reason.empty() )
            bird.lineIs( text_.lineNumber(), text_.line() );
         else
            bird.brokenLineIs( text_.lineNumber(), reason );
      }
      bird.finish( input_.fault() );
   }

   // Why the present line is not whole; empty if it is.
   std::string faultOfLine() const {
      if( text_.lineTooLong() ) return "longer than " + std::to_string( limits_.maxLine ) + " bytes";
      // Part of a line may look like a whole one: 128.0.0.0/1 is a prefix, but may have been 128.0.0.0/16.
      if( !text_.lineTerminated() && !input_.fault().empty() ) return "cut short: " + input_.fault();
      return {};
   }
   LineResult parseLine( std::string_view line, bool isBgpdump, TableRoute & route ) const {
      if( auto reason = faultOfLine(); !reason.empty() ) return LineResult::broken( std::move( reason ) );
      return isBgpdump ? parseBgpdumpLine( line, route ) : parsePrefixLine( line, route );
   }

   void handleRoute( const TableRoute & route ) override {
      ++summary_.routes;
      handler_.handleRoute( route );
   }
   void handleSkipped() override { ++summary_.skipped; }
   void handleUnknown() override {
      ++summary_.skipped;
      ++summary_.unknown;
   }
   void handleBroken( uint64_t number, std::string_view reason ) override {
      ++summary_.broken;
      handler_.handleBroken( { unitOf( summary_.form ), number, reason } );
   }
   void handleRemark( std::string_view text ) override { summary_.remark = text; }

   const Input & input_;
   TextReader & text_;
   TableHandler & handler_;
   const TableLimits & limits_;
   TableSummary & summary_;
};

}   // namespace

std::string placeOf( const Broken & broken ) {
   static constexpr const char * kUnits[] = { "line ", "entry ", "record ", "message " };
   return kUnits[ size_t( broken.unit ) ] + std::to_string( broken.number );
}

TableSummary readTable( ByteSource & source, TableHandler & handler, const TableLimits & limits ) {
   TableSummary summary;
   Input input( source, limits.maxText );
   TextReader text( input, limits.maxLine );
   Reading reading( input, text, handler, limits, summary );

   const bool isMrt = looksLikeMrt( text.peekBytes( kMrtMarkSize ) );
   // White space is skipped before JSON, but not before lines: their numbers would be wrong.
   const int first = isMrt ? TextReader::kEnd : text.peekBehindSpace();
   if( isMrt )
      reading.readMrt();
   else if( first == '[' || first == '{' )
      reading.readJson( first );
   else
      reading.readLines();

   summary.compression = input.compression();
   if( !input.fault().empty() ) summary.fault = input.fault();   // the cause of any other fault
   if( summary.fault.empty() && summary.routes == 0 && summary.skipped == summary.unknown ) {
      summary.fault = whyNoTable( summary, text.lineNumber() != 0 );
      summary.isNoTable = true;
   }
   return summary;
}

}   // namespace Agent
