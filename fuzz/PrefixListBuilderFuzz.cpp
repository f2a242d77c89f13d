// Reads any bytes as entries. The builder must accept exactly the valid entries, and the compiled list must give the same answers as a
// linear scan, both through its index and by a walk.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

#include "policy/PolicyEvalContext.h"
#include "policy/PrefixListMatcher.h"
#include "tests/model/PrefixListModel.h"

namespace {

using Ferule::AddressFamily;
using Ferule::IpGenPrefix;
using Routing::PatriciaTrieWithNodeData;
using Routing::Policy::PrefixListMatcher;
using Routing::Policy::PrefixListMatchResult;
using namespace Routing::RouteMap;

void check( bool holds, const char * what ) {
   if( holds ) return;
   std::fprintf( stderr, "broken: %s\n", what );
   std::abort();
}

// The input bytes, followed by zeros without end.
class Bytes {
 public:
   Bytes( const uint8_t * data, size_t size ) : data_( data ), size_( size ) {}
   bool more() const { return at_ < size_; }
   uint8_t next() { return more() ? data_[ at_++ ] : 0; }

 private:
   const uint8_t * data_;
   size_t size_;
   size_t at_ = 0;
};

// Prefixes whose addresses differ from an earlier address at a bit that the input chooses, so that many prefixes contain each other.
class Prefixes {
 public:
   Prefixes( Bytes & bytes, AddressFamily af ) : bytes_( bytes ), af_( af ) {}

   IpGenPrefix next() {
      const uint8_t kind = bytes_.next();
      const uint8_t length = bytes_.next();
      Ferule::Bits128 bits = seen_.empty() ? Ferule::Bits128{} : seen_[ bytes_.next() % seen_.size() ];
      const unsigned at = bytes_.next() % 128;
      if( kind & 1 ) bits = bits ^ ( Ferule::Bits128::leadingOnes( at ) ^ Ferule::Bits128::leadingOnes( at + 1 ) );
      if( kind & 2 ) bits.high ^= uint64_t( bytes_.next() ) << 56 | uint64_t( bytes_.next() ) << 48 | uint64_t( bytes_.next() ) << 40;
      if( kind & 4 ) bits.low ^= bytes_.next();
      if( !( kind & 8 ) ) bits = bits & Ferule::Bits128::leadingOnes( length );
      if( seen_.size() < 64 ) seen_.push_back( bits );
      const AddressFamily af = ( kind & 0xf0 ) == 0xf0 ? AddressFamily( ( kind >> 1 ) % 3 ) : af_;   // seldom another family
      if( af == AddressFamily::ipv6 ) return Ferule::Ip6Prefix{ Ferule::Ip6Addr( bits ), length };
      if( af == AddressFamily::ipv4 ) return IpGenPrefix( Ferule::IpAddr( uint32_t( bits.high >> 32 ) ), length );
      return IpGenPrefix();
   }

 private:
   Bytes & bytes_;
   AddressFamily af_;
   std::vector<Ferule::Bits128> seen_;
};

std::optional<uint32_t> anyBound( Bytes & bytes, uint8_t kind ) {
   if( kind & 1 ) return std::nullopt;
   return kind & 2 ? bytes.next() : uint32_t( bytes.next() ) << 24 | bytes.next();
}

std::optional<bool> tristate( const PrefixListModel::Tuple & tuple ) {
   if( tuple.result == PrefixListMatchResult::notMatched ) return std::nullopt;
   return tuple.result == PrefixListMatchResult::permit;
}

void checkText( const PrefixListError & error, const PrefixListEntry & entry ) {
   const auto text = error.toStrep();
   check( text.view().find( entry.toStrep().view() ) != std::string_view::npos, "an error names the entry" );
   for( const char c : text.view() ) check( c >= 0x20 && c < 0x7f, "an error is printable" );
}

// The same entries in a list that walks: entries are added after trieIs().
Quoin::Ptr<const PrefixListStatus> walkedList( const PrefixListModel & model ) {
   auto entries = model.entries;
   std::sort( entries.begin(), entries.end(), []( const auto & a, const auto & b ) { return a.seqno > b.seqno; } );
   const auto trie = Quoin::makeNode<PatriciaTrieWithNodeData>( model.af, false );
   auto status = Quoin::makeNode<PrefixListStatus>( "walked", model.af );
   status->trieIs( trie );
   for( const auto & e : entries )
      trie->routeIs( e.prefix,
                     Quoin::makeNode<PrefixListEntryData>( e.seqno, e.permit, e.prefix.length(), uint8_t( e.ge ), uint8_t( e.le ) ) );
   check( entries.empty() || !status->rows(), "the rows of a trie that has changed do not count" );
   return status;
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   Bytes bytes( data, size );
   const AddressFamily af = bytes.next() & 1 ? AddressFamily::ipv6 : AddressFamily::ipv4;
   Prefixes prefixes( bytes, af );
   PrefixListModel model{ af, {} };
   PrefixListBuilder builder( "fuzz", af );
   std::vector<IpGenPrefix> questions;

   for( int steps = 0; bytes.more() && steps < 200; ++steps ) {
      const uint8_t kind = bytes.next();
      PrefixListEntry entry;
      entry.seqno = kind & 1 ? uint32_t( bytes.next() ) : ~uint32_t( 0 ) - bytes.next() % 4;
      if( kind >> 5 == 7 ) {
         const bool there = std::erase_if( model.entries, [ & ]( const auto & e ) { return e.seqno == entry.seqno; } ) != 0;
         check( builder.entryDel( entry.seqno ) == there, "an entry that is there can be deleted" );
         continue;
      }
      entry.action = kind & 2 ? Acl::MatchPermit::permit : Acl::MatchPermit::deny;
      entry.prefix = prefixes.next();
      if( kind >> 5 == 6 ) {
         questions.push_back( entry.prefix );
         continue;
      }
      entry.ge = anyBound( bytes, kind >> 2 );
      entry.le = anyBound( bytes, kind >> 4 );
      const auto error = builder.entryIs( entry );
      check( !error == model.entryIs( entry ), "the builder takes what can be" );
      if( error ) checkText( *error, entry );
      check( builder.count() == model.entries.size(), "and nothing else" );
      questions.push_back( entry.prefix );
      if( questions.size() < 400 ) questions.push_back( prefixes.next() );
   }

   const auto list = builder.build();
   check( list->rows(), "a list that was built has rows" );
   const PrefixListMatcher rows( "rows", list ), walked( "walked", walkedList( model ) );
   const Quoin::Ptr<Routing::Policy::PolicyEvalContext> noContext;
   for( const auto & asked : questions ) {
      Routing::Policy::MatchInput_ route;
      route.prefixIs( asked );
      const auto answer = model.match( asked );
      const auto covered = tristate( model.coveredBy( asked ) );
      check( rows.matchPrefix( asked ) == answer, "the rows answer like a scan" );
      check( walked.matchPrefix( asked ) == answer, "a walk answers like a scan" );
      check( rows.coveredBy( &route, noContext ) == covered, "what covers a prefix is what a scan finds" );
      check( walked.coveredBy( &route, noContext ) == covered, "whatever trie holds it" );
   }
   return 0;
}
