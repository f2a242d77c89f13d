#include "substrate/routemap/PrefixListBuilder.h"

#include <utility>

#include "substrate/quoin/TextStream.h"

namespace Routing::RouteMap {

namespace {

constexpr size_t kLargeList = 1u << 17;

// The bounds of an entry, with defaults for missing bounds.
struct Range {
   uint32_t ge;
   uint32_t le;
   explicit Range( const PrefixListEntry & e )
         : ge( e.ge.value_or( e.prefix.length() ) ),
           le( e.le.value_or( e.ge ? Ferule::addressBits( e.prefix.af() ) : e.prefix.length() ) ) {}
};

}   // namespace

Quoin::String PrefixListEntry::toStrep() const {
   Quoin::TextStream os;
   os << seqno << ' ' << action << ' ' << prefix;
   if( ge ) os << " ge " << *ge;
   if( le ) os << " le " << *le;
   return std::move( os ).text();
}

Quoin::String PrefixListError::toStrep() const {
   const unsigned length = entry.prefix.length();
   const unsigned bits = Ferule::addressBits( entry.prefix.af() );
   const Range range( entry );
   Quoin::TextStream os;
   os << "prefix list " << listName << ", entry " << entry.toStrep() << ": ";
   switch( reason ) {
      case Reason::wrongFamily: os << "the prefix is not of the list's address family"; break;
      case Reason::prefixTooLong: os << "length " << length << " is beyond the family's " << bits; break;
      case Reason::hostBits: os << "the prefix has host bits set, its network is " << entry.prefix.subnet(); break;
      case Reason::geBelowLength: os << "ge " << range.ge << " is below the prefix's length " << length; break;
      case Reason::leBelowGe:
         os << "le " << range.le << " is below ";
         if( entry.ge )
            os << "ge " << range.ge;
         else
            os << "the prefix's length " << length;
         break;
      case Reason::boundBeyondFamily:
         os << ( range.ge > bits ? "ge " : "le " ) << ( range.ge > bits ? range.ge : range.le ) << " is beyond the family's " << bits;
         break;
      case Reason::duplicateSeqno: os << "the list has an entry " << entry.seqno << " already"; break;
   }
   return std::move( os ).text();
}

std::optional<PrefixListError::Reason> PrefixListBuilder::reasonAgainst( const PrefixListEntry & entry ) const {
   using Reason = PrefixListError::Reason;
   const unsigned bits = Ferule::addressBits( af_ );
   const Range range( entry );
   if( bits == 0 || entry.prefix.af() != af_ ) return Reason::wrongFamily;
   if( entry.prefix.length() > bits ) return Reason::prefixTooLong;
   if( !entry.prefix.isCanonical() ) return Reason::hostBits;
   if( range.ge > bits || range.le > bits ) return Reason::boundBeyondFamily;
   if( range.ge < entry.prefix.length() ) return Reason::geBelowLength;
   if( range.le < range.ge ) return Reason::leBelowGe;
   if( entries_.contains( entry.seqno ) ) return Reason::duplicateSeqno;
   return std::nullopt;
}

std::optional<PrefixListError> PrefixListBuilder::entryIs( const PrefixListEntry & entry ) {
   if( auto reason = reasonAgainst( entry ) ) return PrefixListError{ *reason, name_, entry };
   entries_.emplace_hint( entries_.end(), entry.seqno, entry );
   return std::nullopt;
}

Quoin::Ptr<const PrefixListStatus> PrefixListBuilder::build() const {
   auto trie = Quoin::makeNode<PatriciaTrieWithNodeData>( af_, entries_.size() >= kLargeList );
   // In descending order: each entry is inserted at the front of its chain, so each chain becomes ascending.
   for( auto i = entries_.rbegin(); i != entries_.rend(); ++i ) {
      const PrefixListEntry & e = i->second;
      const Range range( e );
      trie->routeIs( e.prefix, Quoin::makeNode<PrefixListEntryData>( e.seqno, e.action, e.prefix.length(), range.ge, range.le ) );
   }
   trie->compact();
   auto status = Quoin::makeNode<PrefixListStatus>( name_, af_ );
   status->trieIs( trie );
   return status;
}

}   // namespace Routing::RouteMap
