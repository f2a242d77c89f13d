#include "analysis/Ignored.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "text/Printable.h"

namespace Agent {

namespace {

bool isIgnoredBy( const IgnoreComment & comment, const Finding & finding ) {
   return comment.place.file == finding.place.file && comment.below == finding.place.line && comment.kind == nameOf( finding.kind );
}

}   // namespace

ReportedFindings withoutIgnored( std::vector<Finding> findings, const PolicyText & text, const std::vector<Finding::Kind> & kinds ) {
   const size_t all = findings.size();
   std::vector<bool> isUsed( text.ignores.size() );
   std::erase_if( findings, [ & ]( const Finding & finding ) {
      bool isIgnored = std::ranges::find( kinds, finding.kind ) != kinds.end();
      for( size_t i = 0; i < isUsed.size(); ++i ) {
         if( !isIgnoredBy( text.ignores[ i ], finding ) ) continue;
         isUsed[ i ] = isIgnored = true;
      }
      return isIgnored;
   } );
   ReportedFindings reported{ std::move( findings ), 0 };
   reported.ignored = all - reported.findings.size();
   for( size_t i = 0; i < isUsed.size(); ++i ) {
      const auto & [ kind, place, below ] = text.ignores[ i ];
      if( isUsed[ i ] || std::ranges::find( kinds, Finding::Kind::unusedIgnore ) != kinds.end() ) continue;
      reported.findings.push_back(
         { place, Finding::Kind::unusedIgnore, fmt::format( "the line below has no finding {}", inQuotes( kind ) ) } );
   }
   sortByPlace( reported.findings );
   return reported;
}

}   // namespace Agent
