#include "command/PolicyFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "live/HeldBack.h"
#include "table/TextReader.h"

namespace Agent {

namespace {

constexpr size_t kLongestName = 200;
constexpr size_t kPiece = 1 << 16;

struct Close {
   void operator()( std::FILE * file ) const noexcept { std::fclose( file ); }
};

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

std::string reasonOf( HeldBackBy cause ) {
   if( cause == HeldBackBy::cycle ) return "its calls come round in a ring";
   return fmt::format( "its calls go deeper than {}", kDeepestCalls );
}

}   // namespace

std::string displayName( const std::string & file ) {
   return file == "-" ? "standard input" : printable( file, kLongestName );
}

std::string printableName( const std::string & name ) {
   return printable( name, kLongestName );
}

std::string contentOf( const std::string & file ) {
   const auto failed = [ & ]( const char * what ) {
      return CommandError{ fmt::format( "{}: cannot {}: {}", displayName( file ), what, std::strerror( errno ) ) };
   };
   std::unique_ptr<std::FILE, Close> opened( file == "-" ? nullptr : std::fopen( file.c_str(), "rb" ) );
   if( file != "-" && !opened ) throw failed( "open" );
   std::FILE * const from = opened ? opened.get() : stdin;
   std::string content;
   for( ;; ) {
      const size_t before = content.size();
      content.resize( before + kPiece );
      content.resize( before + std::fread( content.data() + before, 1, kPiece, from ) );
      if( content.size() == before ) break;
   }
   if( std::ferror( from ) ) throw failed( "read" );
   return content;
}

LineLoader loadFiles( const std::vector<std::string> & files, Console & console ) {
   LineLoader loader;
   for( const auto & file : files ) loader.load( displayName( file ), contentOf( file ) );
   const PolicyText & text = loader.text();
   const bool allStray = text == PolicyText() && loader.errors().empty();
   for( const uint32_t file : text.strayFiles ) {
      const std::string what = fmt::format( "{}: no line of a policy in it", text.files[ file ] );
      if( allStray ) throw CommandError{ what };
      console.message( what );
   }
   return loader;
}

bool reportErrors( const LineLoader & loader, Console & console ) {
   for( const auto & error : loader.errors() ) console.message( loader.toString( error ) );
   return loader.errors().empty();
}

void mentionPassedOver( const PolicyText & text, Console & console ) {
   const auto count = std::ranges::count( text.doubts, Doubt::Kind::passedOver, &Doubt::kind );
   if( count == 0 ) return;
   console.message( fmt::format( "{} {} passed over and look{} like a policy's; \"check\" tells which", count,
                                 count == 1 ? "line is" : "lines are", count == 1 ? "s" : "" ) );
}

std::unique_ptr<LivePolicy> livePolicyOf( const std::vector<std::string> & files, Console & console ) {
   const LineLoader loader = loadFiles( files, console );
   if( !reportErrors( loader, console ) )
      throw CommandError{ fmt::format( "{} error{}, nothing was applied", loader.errors().size(),
                                       loader.errors().size() == 1 ? "" : "s" ) };
   mentionPassedOver( loader.text(), console );
   auto policy = std::make_unique<LivePolicy>();
   policy->apply( loader.text() );
   return policy;
}

Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMapOf( const LivePolicy & policy, const std::string & name ) {
   if( auto status = policy.routeMap( name ) ) return status;
   const std::string shown = printableName( name );
   const auto held = routeMapsHeldBack( policy.text().routeMaps );
   if( const auto at = held.find( name ); at != held.end() )
      throw CommandError{ fmt::format( "route map {} is not in force, as {}; \"check\" tells more", shown, reasonOf( at->second ) ) };
   if( policy.text().routeMaps.empty() ) throw CommandError{ fmt::format( "there is no route map {}, nor any other", shown ) };
   throw CommandError{ fmt::format( "there is no route map {}; there are {}", shown, allNames( policy.text() ) ) };
}

}   // namespace Agent
