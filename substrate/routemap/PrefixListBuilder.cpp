#include "substrate/routemap/PrefixListBuilder.h"

#include <utility>

#include "substrate/quoin/TextStream.h"

namespace Routing::RouteMap {

namespace {

using Item = PrefixListRowsEditor::Item;

Item itemOf( const PrefixListEntry & e ) {
   return { e.prefix.ipGenAddr().bits(), e.prefix.length(),
            PrefixRow( e.seqno, e.action == Acl::MatchPermit::permit, uint8_t( e.shortest() ), uint8_t( e.longest() ) ) };
}

}   // namespace

Quoin::String PrefixListError::toStrep() const {
   const unsigned length = entry.prefix.length();
   const unsigned bits = Ferule::addressBits( entry.prefix.af() );
   const uint32_t ge = entry.shortest(), le = entry.longest();
   Quoin::TextStream os;
   os << "prefix list " << listName << ", entry " << entry.toStrep() << ": ";
   switch( reason ) {
      case Reason::wrongFamily: os << "the prefix is not of the list's address family"; break;
      case Reason::prefixTooLong: os << "length " << length << " is beyond the family's " << bits; break;
      case Reason::hostBits: os << "the prefix has host bits set, its network is " << entry.prefix.subnet(); break;
      case Reason::geBelowLength: os << "ge " << ge << " is below the prefix's length " << length; break;
      case Reason::leBelowGe:
         os << "le " << le << " is below ";
         if( entry.ge )
            os << "ge " << ge;
         else
            os << "the prefix's length " << length;
         break;
      case Reason::boundBeyondFamily:
         os << ( ge > bits ? "ge " : "le " ) << ( ge > bits ? ge : le ) << " is beyond the family's " << bits;
         break;
      case Reason::duplicateSeqno: os << "the list has an entry " << entry.seqno << " already"; break;
   }
   return std::move( os ).text();
}

std::optional<PrefixListError::Reason> PrefixListBuilder::reasonAgainst( const PrefixListEntry & entry ) const {
   using Reason = PrefixListError::Reason;
   const unsigned bits = Ferule::addressBits( af_ );
   const uint32_t ge = entry.shortest(), le = entry.longest();
   if( bits == 0 || entry.prefix.af() != af_ ) return Reason::wrongFamily;
   if( entry.prefix.length() > bits ) return Reason::prefixTooLong;
   if( !entry.prefix.isCanonical() ) return Reason::hostBits;
   if( ge > bits || le > bits ) return Reason::boundBeyondFamily;
   if( ge < entry.prefix.length() ) return Reason::geBelowLength;
   if( le < ge ) return Reason::leBelowGe;
   if( entries_.contains( entry.seqno ) ) return Reason::duplicateSeqno;
   return std::nullopt;
}

std::optional<PrefixListError> PrefixListBuilder::entryIs( const PrefixListEntry & entry ) {
   if( auto reason = reasonAgainst( entry ) ) return PrefixListError{ *reason, name_, entry };
   entries_.insert( entry );
   noteEdit();
   if( !rows_ ) return std::nullopt;
   try {
      rows_->rowIs( itemOf( entry ) );
   } catch( ... ) {
      entries_.erase( entry.seqno );
      throw;
   }
   return std::nullopt;
}

bool PrefixListBuilder::entryDel( uint32_t seqno ) {
   const auto entry = entries_.find( seqno );
   if( !entry ) return false;
   noteEdit();
   if( rows_ ) rows_->rowDel( itemOf( *entry ) );
   entries_.erase( seqno );
   return true;
}

void PrefixListBuilder::noteEdit() noexcept {
   if( ++edits_ > built_ ) rows_ = nullptr;
}

// Makes all rows, in the order of their prefixes.
void PrefixListBuilder::layOut() {
   auto rows = std::make_unique<PrefixListRowsEditor>( af_ );
   const auto order = entries_.inOrderOfPrefixes();
   rows->rowsAre( order.size(), [ & ]( size_t i ) { return itemOf( entries_.entry( order[ i ] ) ); } );
   rows_ = std::move( rows );
}

Quoin::Ptr<const PrefixListStatus> PrefixListBuilder::build() {
   if( !rows_ ) layOut();
   auto status = Quoin::makeNode<PrefixListStatus>( name_, rows_->publish() );
   built_ = entries_.size();
   edits_ = 0;
   return status;
}

}   // namespace Routing::RouteMap
