// routepolicy watch: follows the files of a policy and reports what each change does.
#include <fmt/format.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "command/Commands.h"
#include "command/Comparison.h"
#include "command/FileSaves.h"
#include "command/PolicyFiles.h"
#include "command/RouteText.h"
#include "command/TableRun.h"
#include "command/Target.h"
#include "live/ValueTests.h"
#include "text/LineEdits.h"
#include "text/Printable.h"

namespace Agent {

namespace {

using std::chrono::milliseconds;

constexpr size_t kExamples = 3;

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
   Watch( const WatchOptions & options, Console & console )
         : options_( options ),
           console_( console ),
           target_( options.target, options.dialect, false ),
           policy_( options.dialect, options.assumptions ),
           saves_( options.files, options.interval, options.untold ) {
      expectEffect( options.dialect, options.assumptions, options.defaults );
      if( std::find( options.files.begin(), options.files.end(), "-" ) != options.files.end() )
         throw CommandError{ "watch follows files and cannot follow standard input" };
      if( !options.tables.empty() && target_.empty() )
         throw CommandError{ "--in needs --route-map, --neighbor, --prefix-list or --access-list" };
      if( !saves_.fault().empty() )
         console.message( fmt::format( "cannot be notified of changes (inotify): {}; the files are looked at every {} ms", saves_.fault(),
                                       options.interval.count() ) );
      auto files = readFiles( options.files );
      LineLoader loader = loadFiles( files, options.files, options.dialect, options.lenient, console );
      if( !reportErrors( loader, console, options.json ) ) throw CommandError{ "watch needs a policy without errors to start with" };
      mentionUnreadLines( loader.text(), console );
      mentionUnused( options.assumptions, { &loader }, console );
      loaded_ = apply( loader, std::move( files ) );
      requireRouteMap();
      readTables();
      updateEvaluator();
   }

   void begin() { report( loaded_, nullptr ); }

   /// Reloads the files if they have changed and the change is complete.
   void step() {
      if( !saves_.look() ) return;
      try {
         reload();
      } catch( const CommandError & e ) {
         reportError( e.message );
         keep( e.message );
      } catch( const Unanswered & e ) {   // the policy is in force
         reportError( e.what() );
         console_.message( e.what() );
      }
   }

   int events() const noexcept { return saves_.events(); }
   milliseconds wait() const { return saves_.wait(); }

 private:
   // With a part of a table, the reported changes would be incomplete.
   void readTables() {
      KeepJob job;
      const TableRunOptions tables{ options_.tables, 1, options_.maxInput, options_.defaults, target_.routes() };
      if( !options_.tables.empty() && !runTables( tables, job, console_ ).whole ) throw CommandError{ "watch needs the whole table" };
      routes_ = std::move( job.routes );
   }

   void reportError( const std::string & reason ) {
      if( options_.json ) console_.line( jsonText( { { "errors", Json::array( { { { "reason", reason } } } ) } } ) );
      console_.flush();
   }
   void keep( const std::string & why ) { console_.message( why + "; the last good policy stays in force" ); }
   void reload() {
      auto files = readFiles( options_.files );
      if( auto edit = lines_->editTo( policy_.text(), files ) ) return inForce( apply( std::move( *edit ), std::move( files ) ) );
      LineLoader loader = loadFiles( files, options_.files, options_.dialect, options_.lenient, console_ );
      if( !reportErrors( loader, console_, options_.json ) ) return keep( quantity( loader.errors().size(), "error" ) );
      if( loader.text() == PolicyText() && !( policy_.text() == PolicyText() ) ) throw CommandError{ "the policy is empty now" };
      mentionUnreadLines( loader.text(), console_ );
      inForce( apply( loader, std::move( files ) ) );
   }
   ApplyReport apply( LineLoader & loader, std::vector<SourceFile> files ) {
      auto report = policy_.apply( target_.in( loader.takeText() ) );
      lines_.emplace( policy_.text(), std::move( files ), options_.lenient );
      return report;
   }
   // With the messages that loading gives.
   ApplyReport apply( TextEdit edit, std::vector<SourceFile> files ) {
      if( edit.read ) edit.read = target_.in( std::move( *edit.read ) );
      lines_->filesAre( edit, std::move( files ) );
      auto report = policy_.applyEdit( std::move( edit ) );
      mentionStrayFiles( policy_.text(), options_.files, console_ );
      mentionUnreadLines( policy_.text(), console_ );
      return report;
   }
   void inForce( const ApplyReport & report ) {
      if( evaluator_ ) last_ = std::move( evaluator_ );
      updateEvaluator();
      this->report( report, last_.get() );
   }

   // At the start only: a name that is undefined then is probably mistyped. A route map that is held back or deleted may come back later.
   void requireRouteMap() const {
      if( !target_.empty() && !policy_.text().routeMaps.contains( target_.routeMap() ) )
         routeMapOf( policy_, target_.routeMap() );   // throws the error
   }

   // Null while the route map is not in force.
   void updateEvaluator() {
      const bool isInForce = !target_.empty() && policy_.routeMap( target_.routeMap() );
      evaluator_.reset( isInForce ? new RouteEvaluator( target_.evaluator( policy_ ) ) : nullptr );   // which cannot be moved
      if( !isInForce && !target_.empty() )
         console_.message( fmt::format( "route map {} is not in force", printableName( target_.routeMap() ) ) );
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

   void report( const ApplyReport & report, const RouteEvaluator * before ) {
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
      Json json = { { "edits", report.edits }, { "seconds", report.took.count() }, { "published", Json::array() } };
      for( const auto & name : report.republished )
         json[ "published" ].push_back( { { "routeMap", name }, { "inForce", policy_.routeMap( name ) != nullptr } } );
      if( differences ) json[ "differences" ] = differences->json( *before, *evaluator_ );
      return jsonText( json ) + '\n';
   }

   const WatchOptions & options_;
   Console & console_;
   const Target target_;
   LivePolicy policy_;
   std::optional<LineEdits> lines_;   // of the files in force
   ApplyReport loaded_;               // of the start
   FileSaves saves_;
   std::vector<TableRoute> routes_;
   std::unique_ptr<RouteEvaluator> evaluator_;
   std::unique_ptr<RouteEvaluator> last_;   // the one before it; kept while the route map is not in force
};

/// SIGINT and SIGTERM, which wait for `cameWithin()` while it lives: no report is cut short.
class HeldSignals {
 public:
   HeldSignals() {
      sigemptyset( &held_ );
      sigaddset( &held_, SIGINT );
      sigaddset( &held_, SIGTERM );
      pthread_sigmask( SIG_BLOCK, &held_, &before_ );
      signals_ = signalfd( -1, &held_, SFD_CLOEXEC );
      if( signals_ < 0 ) throw std::system_error( errno, std::generic_category(), "signals" );
   }
   ~HeldSignals() {
      close( signals_ );
      pthread_sigmask( SIG_SETMASK, &before_, nullptr );
   }
   HeldSignals( const HeldSignals & ) = delete;
   HeldSignals & operator=( const HeldSignals & ) = delete;

   /// Whether one of them came; waits that long for it, or until `events` is readable, or until another signal.
   bool cameWithin( milliseconds time, int events ) const {
      pollfd fds[] = { { signals_, POLLIN, 0 }, { events, POLLIN, 0 } };
      poll( fds, std::size( fds ), static_cast<int>( time.count() ) );
      constexpr timespec kNow{};
      return sigtimedwait( &held_, nullptr, &kNow ) > 0;
   }

 private:
   sigset_t held_;
   sigset_t before_;
   int signals_;   // readable when one of them came
};

}   // namespace

int watch( const WatchOptions & options, Console & console ) {
   Watch watch( options, console );
   const HeldSignals stop;
   watch.begin();
   while( !stop.cameWithin( watch.wait(), watch.events() ) ) watch.step();
   return kExitOk;
}

}   // namespace Agent
