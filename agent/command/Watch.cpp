// routepolicy watch: follows the files of a policy, and tells what each change of them does.
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <thread>
#include <tuple>
#include <utility>

#include "command/Commands.h"
#include "command/Comparison.h"
#include "command/PolicyFiles.h"
#include "command/RouteText.h"
#include "command/TableRun.h"
#include "text/Printable.h"

namespace Agent {

namespace {

constexpr size_t kExamples = 3;

/// What a change of a file shows in; a file that is not there has none.
using Stamp = std::optional<std::tuple<int64_t, int64_t, uint64_t, uint64_t>>;

Stamp stampOf( const std::string & file ) {
   struct stat s {};
   if( ::stat( file.c_str(), &s ) != 0 ) return std::nullopt;
   return std::tuple<int64_t, int64_t, uint64_t, uint64_t>( s.st_mtim.tv_sec, s.st_mtim.tv_nsec, s.st_size, s.st_ino );
}

struct KeepBatch final : BatchResult {
   std::vector<TableRoute> routes;
};

/// Keeps a table's routes.
class KeepJob final : public RouteJob {
 public:
   std::unique_ptr<BatchResult> makeResult() override { return std::make_unique<KeepBatch>(); }
   void evaluate( const TableRoute & route, BatchResult & result ) const override {
      static_cast<KeepBatch &>( result ).routes.push_back( route );
   }
   void take( BatchResult & result ) override {
      auto & taken = static_cast<KeepBatch &>( result ).routes;
      std::ranges::move( taken, std::back_inserter( routes ) );
      taken.clear();
   }
   std::vector<TableRoute> routes;
};

class Watch {
 public:
   Watch( const WatchOptions & options, Console & console ) : options_( options ), console_( console ) {
      if( std::find( options.files.begin(), options.files.end(), "-" ) != options.files.end() )
         throw CommandError{ "watch follows files: standard input cannot change" };
      if( !options.tables.empty() && options.routeMap.empty() ) throw CommandError{ "--in needs --route-map: which one is asked?" };
      stamps_ = stamps();
      const LineLoader loader = loadFiles( options.files, console );
      if( !reportErrors( loader, console, options.json ) ) throw CommandError{ "the policy is wrong from the start" };
      mentionPassedOver( loader.text(), console );
      const auto report = policy_.apply( loader.text() );
      requireRouteMap();
      readTables();
      evaluatorIs();
      tell( report, nullptr );
   }

   /// Looks whether the files have changed. One that is being written is left to the next look.
   void step() {
      auto now = stamps();
      const bool settled = now == std::exchange( seen_, now );
      if( !settled || now == stamps_ ) return;
      stamps_ = std::move( now );
      try {
         reload();
      } catch( const CommandError & e ) {
         if( options_.json ) console_.line( "{\"errors\":[{\"reason\":" + jsonString( e.message ) + "}]}" );
         console_.flush();
         keep( e.message );
      }
   }

 private:
   std::vector<Stamp> stamps() const {
      std::vector<Stamp> all;
      for( const auto & file : options_.files ) all.push_back( stampOf( file ) );
      return all;
   }

   // What changes cannot be told of a part.
   void readTables() {
      KeepJob job;
      if( !options_.tables.empty() && !runTables( { options_.tables, 1 }, job, console_ ).whole )
         throw CommandError{ "watch needs the whole table" };
      routes_ = std::move( job.routes );
   }

   void keep( const std::string & why ) { console_.message( why + "; the last good policy stays in force" ); }
   void reload() {
      const LineLoader loader = loadFiles( options_.files, console_ );
      if( !reportErrors( loader, console_, options_.json ) ) return keep( quantity( loader.errors().size(), "error" ) );
      if( loader.text() == PolicyText() && !( policy_.text() == PolicyText() ) ) throw CommandError{ "nothing of the policy is left" };
      mentionPassedOver( loader.text(), console_ );
      const auto report = policy_.apply( loader.text() );
      if( evaluator_ ) last_ = std::move( evaluator_ );
      evaluatorIs();
      tell( report, last_.get() );
   }

   // One that is held back may come, and one that goes may come back. One that was never there is mistyped.
   void requireRouteMap() const {
      if( !options_.routeMap.empty() && !policy_.text().routeMaps.contains( options_.routeMap ) )
         routeMapOf( policy_, options_.routeMap );   // says which there are
   }

   // Of a route map that is not in force, there is none.
   void evaluatorIs() {
      const auto status = options_.routeMap.empty() ? nullptr : policy_.routeMap( options_.routeMap );
      evaluator_ = status ? std::make_unique<RouteEvaluator>( status ) : nullptr;
      if( !status && !options_.routeMap.empty() )
         console_.message( fmt::format( "route map {} is not in force", printableName( options_.routeMap ) ) );
   }

   std::optional<Differences> differencesTo( const RouteEvaluator * before ) const {
      if( routes_.empty() || !before || !evaluator_ ) return std::nullopt;
      Differences differences( kExamples );
      RouteAnswer old, now;
      for( const auto & route : routes_ ) {
         before->evaluate( route, old );
         evaluator_->evaluate( route, now );
         differences.add( route, old, now );
      }
      return differences;
   }

   void tell( const ApplyReport & report, const RouteEvaluator * before ) {
      const auto differences = differencesTo( before );
      console_.write( options_.json ? jsonOf( report, differences, before ) : textOf( report, differences, before ) );
      console_.flush();
   }
   std::string textOf( const ApplyReport & report, const std::optional<Differences> & differences, const RouteEvaluator * before ) const {
      std::string text =
         console_.strong( fmt::format( "{} in {:.3f} ms", quantity( report.edits, "edit" ), 1e3 * report.took.count() ) ) + '\n';
      for( const auto & name : report.republished )
         text += fmt::format( "   {} {}\n", policy_.routeMap( name ) ? "published" : "withdrawn", printableName( name ) );
      if( differences ) text += differences->text( *before, *evaluator_, console_ );
      return text;
   }
   std::string jsonOf( const ApplyReport & report, const std::optional<Differences> & differences, const RouteEvaluator * before ) const {
      std::string text = fmt::format( "{{\"edits\":{},\"seconds\":{:.6f},\"published\":[", report.edits, report.took.count() );
      for( const auto & name : report.republished ) {
         if( &name != &report.republished.front() ) text += ',';
         text += fmt::format( "{{\"routeMap\":{},\"inForce\":{}}}", jsonString( name ), policy_.routeMap( name ) ? "true" : "false" );
      }
      text += ']';
      if( differences ) text += ",\"differences\":" + differences->json( *before, *evaluator_ );
      return text + "}\n";
   }

   const WatchOptions & options_;
   Console & console_;
   LivePolicy policy_;
   std::vector<Stamp> stamps_;   // of what was read last
   std::vector<Stamp> seen_;     // at the last look
   std::vector<TableRoute> routes_;
   std::unique_ptr<RouteEvaluator> evaluator_;
   std::unique_ptr<RouteEvaluator> last_;   // before; of the time before the route map went, where it has gone meanwhile
};

}   // namespace

int watch( const WatchOptions & options, Console & console, StopRequest & stop ) {
   Watch watch( options, console );
   stop.heard = true;
   while( !stop.wanted ) {
      std::this_thread::sleep_for( options.interval );
      watch.step();
   }
   return kExitOk;
}

}   // namespace Agent
