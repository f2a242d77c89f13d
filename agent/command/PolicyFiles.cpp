#include "command/PolicyFiles.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

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

LineLoader loadFiles( const std::vector<std::string> & files ) {
   LineLoader loader;
   for( const auto & file : files ) loader.load( displayName( file ), contentOf( file ) );
   return loader;
}

bool reportErrors( const LineLoader & loader, Console & console ) {
   for( const auto & error : loader.errors() ) console.message( loader.toString( error ) );
   return loader.errors().empty();
}

std::unique_ptr<LivePolicy> livePolicyOf( const std::vector<std::string> & files, Console & console ) {
   const LineLoader loader = loadFiles( files );
   if( !reportErrors( loader, console ) )
      throw CommandError{ fmt::format( "{} error{}, nothing was applied", loader.errors().size(),
                                       loader.errors().size() == 1 ? "" : "s" ) };
   auto policy = std::make_unique<LivePolicy>();
   policy->apply( loader.text() );
   return policy;
}

Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMapOf( const LivePolicy & policy, const std::string & name ) {
   if( auto status = policy.routeMap( name ) ) return status;
   const std::string shown = printableName( name );
   if( policy.text().routeMaps.contains( name ) )
      throw CommandError{ fmt::format( "route map {} calls itself through others, and is not in force; \"check\" tells how", shown ) };
   if( policy.text().routeMaps.empty() ) throw CommandError{ fmt::format( "there is no route map {}, nor any other", shown ) };
   throw CommandError{ fmt::format( "there is no route map {}; there are {}", shown, allNames( policy.text() ) ) };
}

}   // namespace Agent
