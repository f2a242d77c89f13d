#include "compile/ModifiedRouteMapSeqStatus.h"

#include "compile/MatchOptions.h"
#include "substrate/quoin/Assert.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

using Bit = UndefinedPolicyReferenceBitfield::Bit;

SeqUndefinedReferencesOptionTracker & ModifiedRouteMapSeqStatus::tracker() const {
   QUOIN_ASSERT( undefinedRefsTracker_, "nullptr != undefinedRefsTracker_" );
   return *undefinedRefsTracker_;
}

// The bits of the two types have the same values.
void ModifiedRouteMapSeqStatus::found( Bit bit, bool undefined ) noexcept {
   referenceUpdateMask_.value = static_cast<uint8_t>( referenceUpdateMask_.value | bit );
   undefinedReferences_.value = static_cast<uint8_t>( undefined ? undefinedReferences_.value | bit : undefinedReferences_.value & ~bit );
}

void ModifiedRouteMapSeqStatus::setPrefixListUndefined( MatchOption option, bool undefined ) {
   undefined ? tracker().undefinedPrefixListMatchOptionIs( option ) : tracker().undefinedPrefixListMatchOptionDel( option );
   found( Bit::prefixListUndefined, !tracker().undefinedPrefixListMatchOption().empty() );
}

void ModifiedRouteMapSeqStatus::setCommListUndefinedFromMatcher( MatchOption option, bool undefined ) {
   undefined ? tracker().undefinedCommListMatchOptionIs( option ) : tracker().undefinedCommListMatchOptionDel( option );
   setCommListUndefined();
}

void ModifiedRouteMapSeqStatus::setCommListUndefinedFromSetter( SetOption option, bool undefined ) {
   undefined ? tracker().undefinedCommListSetOptionIs( option ) : tracker().undefinedCommListSetOptionDel( option );
   setCommListUndefined();
}

void ModifiedRouteMapSeqStatus::setCommListUndefined() {
   found( Bit::commListUndefined, !tracker().undefinedCommListMatchOption().empty() || !tracker().undefinedCommListSetOption().empty() );
}

void ModifiedRouteMapSeqStatus::maybeSetUndefinedRefFlagFromMatcher( const Quoin::Ptr<const MatcherChange> & matcherChange ) {
   const MatchOption option = matcherChange->option();
   const auto * row = findMatchOption( option );
   QUOIN_ASSERT( !row || row->isRecorded, "false" );
   const ListKind * list = matcherChange->list() ? matcherChange->list() : row ? row->list : nullptr;
   if( !list ) return;
   const bool hasMatcher = matcherChange->matcher() != nullptr;
   if( list->reportedAs.has( Bit::prefixListUndefined ) )
      setPrefixListUndefined( option, hasMatcher && matcherChange->prefixListUndefined() );
   if( list->reportedAs.has( Bit::commListUndefined ) )
      setCommListUndefinedFromMatcher( option, hasMatcher && matcherChange->commListUndefined() );
}

void ModifiedRouteMapSeqStatus::maybeSetUndefinedRefFlagFromSetter( const Quoin::Ptr<const SetterChange> & setterChange ) {
   const SetOption option = setterChange->option();
   const ListKind * list = listOfSetOption( option );
   if( list && list->reportedAs.has( Bit::commListUndefined ) )
      setCommListUndefinedFromSetter( option, setterChange->setter() != nullptr && setterChange->commListUndefined() );
}

std::ostream & operator<<( std::ostream & os, const ModifiedRouteMapSeqStatus & entry ) {
   return os << "Routing::Policy::ModifiedRouteMapSeqStatus(key=" << entry.key()
             << ", seqStatus=" << Quoin::DisplayPointer::toString( entry.seqStatus().get() )
             << ", undefinedRefsTracker=" << Quoin::DisplayPointer::toString( entry.undefinedRefsTracker().get() )
             << ", undefinedReferences=" << std::to_string( entry.undefinedReferences().value )
             << ", referenceUpdateMask=" << entry.referenceUpdateMask() << ")";
}

std::ostream & operator<<( std::ostream & os, UndefinedPolicyReferenceBitMask mask ) {
   return os << std::to_string( mask.value );
}

void ModifiedRouteMapSeqStatusList::seqStatusIs( const ModifiedRouteMapSeqStatus & entry ) {
   Plinth::putMember( publisher_, Quoin::FieldId( Field::seqStatus ), "seqStatusIs", entries_, entry.key(), entry );
}

ModifiedRouteMapSeqStatus ModifiedRouteMapSeqStatusList::seqStatusDel( DescendingSeqnoKey key ) {
   return Plinth::takeMember( publisher_, Quoin::FieldId( Field::seqStatus ), entries_, key );
}

void ModifiedRouteMapSeqStatusList::seqStatusDelAll() {
   Plinth::eraseAllMembers( publisher_, Quoin::FieldId( Field::seqStatus ), entries_ );
}

}   // namespace Routing::Policy
