#include "command/PolicyFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <system_error>
#include <utility>

#include "analysis/Analysis.h"
#include "analysis/HeldBack.h"
#include "command/Json.h"
#include "command/Target.h"
#include "table/TextReader.h"
#include "text/Printable.h"

namespace Agent {

namespace fs = std::filesystem;

namespace {

constexpr size_t kLongestName = 200;
constexpr size_t kPiece = 1 << 16;
constexpr size_t kDoubtsShown = 10;

std::string allNames( const PolicyText & text ) {
   std::string names;
   size_t more = text.routeMaps.size();
   for( const auto & [ name, routeMap ] : text.routeMaps ) {
      if( names.size() > kLongestName ) break;
      if( !names.empty() ) names += ", ";
      names += printableName( name );
      --more;
   }
   return more ? fmt::format( "{} and {} more", names, more ) : names;
}

// For files without a line of a policy: the skipped lines show the mistake.
void reportSkippedLines( const PolicyText & text, Console & console ) {
   size_t count = 0;
   for( const auto & doubt : text.doubts ) {
      const bool isStray = std::ranges::binary_search( text.strayFiles, doubt.place.file );
      if( !isStray || doubt.kind != Doubt::Kind::skipped || ++count > kDoubtsShown ) continue;
      console.message( fmt::format( "{}:{}:{}: {}", text.files[ doubt.place.file ], doubt.place.line, doubt.place.column, doubt.text ) );
   }
   if( count > kDoubtsShown ) console.message( fmt::format( "and {} more", count - kDoubtsShown ) );
}

// The files of a router: frr.conf, or a file for each daemon; in the order of their names. Without any, the directory itself, which cannot
// be read.
std::vector<std::string> configurationIn( const fs::path & directory ) {
   std::error_code ignored;
   if( const fs::path all = directory / "frr.conf"; fs::is_regular_file( all, ignored ) ) return { all };
   std::vector<std::string> files;
   for( const auto & entry : fs::directory_iterator( directory, ignored ) )
      if( entry.path().extension() == ".conf" && entry.is_regular_file( ignored ) ) files.push_back( entry.path() );
   if( files.empty() ) return { directory };
   std::ranges::sort( files );
   return files;
}

Json jsonOfErrors( std::initializer_list<const LineLoader *> loaders ) {
   Json errors = Json::array();
   for( const auto * loader : loaders )
      for( const auto & e : loader->errors() ) {
         Json error = jsonOf( loader->text(), e.place );
         error[ "reason" ] = e.reason;
         errors.push_back( std::move( error ) );
      }
   return { { "errors", std::move( errors ) } };
}

std::string reasonOf( HeldBackBy cause, Dialect dialect ) {
   switch( cause ) {
      case HeldBackBy::cycle: return "its calls lead into a cycle";
      case HeldBackBy::depth: return fmt::format( "its calls go deeper than {}", deepestCalls( dialect ) );
      case HeldBackBy::number: return fmt::format( "one evaluation may make more than {} calls", kMostCalls );
   }
   return {};
}

}   // namespace

std::string displayName( const std::string & file ) {
   return file == "-" ? "standard input" : printable( file, kLongestName );
}

FileSource openFile( const std::string & file ) {
   try {
      return FileSource( file );
   } catch( const std::system_error & e ) {
      throw CommandError{ fmt::format( "{}: cannot open: {}", displayName( file ), e.code().message() ) };
   }
}

std::string contentOf( const std::string & file, uint64_t limit ) {
   FileSource source = openFile( file );
   Input input( source, limit + 1 );
   std::string content;
   std::error_code ignored;
   if( const auto stored = fs::file_size( file, ignored ); !ignored ) content.reserve( std::min<uint64_t>( stored, limit ) + kPiece );
   size_t size = 0;
   for( size_t count = 1; count != 0; size += count ) {
      content.resize( size + kPiece );
      count = input.read( content.data() + size, kPiece );
   }
   content.resize( size );
   if( size > limit ) throw CommandError{ fmt::format( "{}: longer than {} bytes", displayName( file ), limit ) };
   if( !input.fault().empty() ) throw CommandError{ fmt::format( "{}: {}", displayName( file ), input.fault() ) };
   return content;
}

std::vector<std::string> policyFilesOf( const std::vector<std::string> & given ) {
   std::vector<std::string> files;
   for( const auto & file : given )
      if( std::error_code ignored; fs::is_directory( file, ignored ) )
         std::ranges::move( configurationIn( file ), std::back_inserter( files ) );
      else
         files.push_back( file );
   return files;
}

// Files that were named. In a directory, the files of other daemons are expected.
void mentionStrayFiles( const PolicyText & text, const std::vector<std::string> & given, Console & console ) {
   for( const auto & file : given )
      for( const uint32_t stray : text.strayFiles )
         if( displayName( file ) == text.files[ stray ] )
            console.message( fmt::format( "{}: contains no line of a policy (tables are given with --in)", text.files[ stray ] ) );
}

std::vector<SourceFile> readFiles( const std::vector<std::string> & given ) {
   std::vector<SourceFile> files;
   for( const auto & file : policyFilesOf( given ) ) files.push_back( { displayName( file ), contentOf( file ) } );
   return files;
}

LineLoader loadFiles( const std::vector<std::string> & given, Dialect dialect, bool lenient, Console & console ) {
   return loadFiles( readFiles( given ), given, dialect, lenient, console );
}

LineLoader loadFiles( const std::vector<SourceFile> & files, const std::vector<std::string> & given, Dialect dialect, bool lenient,
                      Console & console ) {
   LineLoader loader( dialect, lenient );
   for( const auto & file : files ) loader.load( file.name, file.bytes );
   const PolicyText & text = loader.text();
   if( text.strayFiles.empty() ) return loader;
   if( text.strayFiles.size() < files.size() ) {
      mentionStrayFiles( text, given, console );
      return loader;
   }
   reportErrors( loader, console, false );
   reportSkippedLines( text, console );
   std::string names;
   for( const uint32_t file : text.strayFiles ) names += ( names.empty() ? "" : ", " ) + text.files[ file ];
   throw CommandError{ fmt::format( "{}: contains no line of a policy (tables are given with --in)", names ) };
}

bool reportErrors( std::initializer_list<const LineLoader *> loaders, Console & console, bool json ) {
   bool none = true;
   for( const auto * loader : loaders ) {
      for( const auto & error : loader->errors() ) console.message( loader->toString( error ) );
      none = none && loader->errors().empty();
   }
   if( !none && json ) {
      console.line( jsonText( jsonOfErrors( loaders ) ) );
      console.flush();
   }
   return none;
}

void mentionUnreadLines( const PolicyText & text, Console & console ) {
   for( const auto & line : text.leftOut )
      console.message( fmt::format( "{}: left out: {}", placeText( text, line.error.place ), line.error.reason ) );
   const auto count = std::ranges::count( text.doubts, Doubt::Kind::skipped, &Doubt::kind );
   if( count == 0 ) return;
   console.message( fmt::format( "{} skipped although {} like policy; see \"routepolicy check\"",
                                 quantity( static_cast<uint64_t>( count ), "line" ), count == 1 ? "it looks" : "they look" ) );
}

void expectEffect( Dialect dialect, const Assumptions & assumptions, const RouteDefaults & defaults ) {
   if( dialect != Dialect::native ) return;
   constexpr char kCannot[] = "cannot be used with --dialect native";
   if( !assumptions.empty() ) throw CommandError{ fmt::format( "--assume {}: every route answers every clause of this dialect", kCannot ) };
   if( assumptions.namesDaemon() )
      throw CommandError{ fmt::format( "--daemon {}: only the dialect of FRR depends on the daemon", kCannot ) };
   for( const char * name : { "peer", "rpki" } )
      if( defaults.has( name ) )
         throw CommandError{ fmt::format( "--set-attribute {} {}: only clauses of FRR test this attribute", name, kCannot ) };
}

void mentionUnused( const Assumptions & assumptions, std::initializer_list<const LineLoader *> loaders, Console & console ) {
   std::set<std::string> unused;
   bool isFirst = true;
   for( const auto * loader : loaders ) {
      const auto here = assumptions.unusedIn( loader->text() );
      if( std::exchange( isFirst, false ) )
         unused.insert( here.begin(), here.end() );
      else
         std::erase_if( unused, [ & ]( const std::string & words ) { return std::ranges::find( here, words ) == here.end(); } );
   }
   for( const auto & words : unused )
      console.message( fmt::format( "--assume {}: no route map of the policy has such a clause", inQuotes( words ) ) );
}

std::vector<std::unique_ptr<LivePolicy>> livePoliciesOf( std::initializer_list<const LineLoader *> loaders, Console & console, bool json,
                                                         const Assumptions & assumptions, const Target * target ) {
   size_t errors = 0;
   for( const auto * loader : loaders ) errors += loader->errors().size();
   if( !reportErrors( loaders, console, json ) ) throw CommandError{ quantity( errors, "error" ) + ", nothing was applied" };
   mentionUnused( assumptions, loaders, console );
   std::vector<std::unique_ptr<LivePolicy>> policies;
   for( const auto * loader : loaders ) {
      mentionUnreadLines( loader->text(), console );
      policies.push_back( std::make_unique<LivePolicy>( loader->text().dialect, assumptions ) );
      policies.back()->apply( target ? target->in( loader->text() ) : loader->text() );
   }
   return policies;
}

std::unique_ptr<LivePolicy> livePolicyOf( const LineLoader & loader, Console & console, bool json, const Assumptions & assumptions,
                                          const Target * target ) {
   return std::move( livePoliciesOf( { &loader }, console, json, assumptions, target ).front() );
}

Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMapOf( const LivePolicy & policy, const std::string & name ) {
   if( auto status = policy.routeMap( name ) ) return status;
   const std::string shown = printableName( name );
   const auto held = routeMapsHeldBack( policy.text().routeMaps, policy.text().dialect );
   if( const auto at = held.find( name ); at != held.end() )
      throw CommandError{ fmt::format( "route map {} is not in force: {}; see \"routepolicy check\"", shown,
                                       reasonOf( at->second, policy.text().dialect ) ) };
   if( policy.text().routeMaps.empty() ) throw CommandError{ fmt::format( "unknown route map {}; the policy has none", shown ) };
   throw CommandError{ fmt::format( "unknown route map {}; the policy has {}", shown, allNames( policy.text() ) ) };
}

}   // namespace Agent
