#include "compile/ModifiedRouteMapSeqStatus.h"

#include "substrate/quoin/Assert.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

namespace {

using Bit = UndefinedPolicyReferenceBitfield::Bit;

enum class ListKind : uint8_t { none, prefixList, commList, neverCompiled };

// What kind of list a match clause of this option refers to.
ListKind listKindOf( MatchOption option ) noexcept {
   switch( static_cast<unsigned>( option ) ) {
      case 2:
      case 14:
      case 15:
      case 116:
      case 118:
      case 119:
      case 120:
      case 123:
      case 124: return ListKind::prefixList;
      case 103:
      case 104:
      case 127: return ListKind::commList;
      case 7:
      case 10: return ListKind::neverCompiled;
      default: return ListKind::none;
   }
}

bool refersToCommList( SetOption option ) noexcept {
   switch( static_cast<unsigned>( option ) ) {
      case 11:
      case 12:
      case 13:
      case 22:
      case 35:
      case 36:
      case 37: return true;
      default: return false;
   }
}

}   // namespace

SeqUndefinedReferencesOptionTracker & ModifiedRouteMapSeqStatus::tracker() const {
   QUOIN_ASSERT( undefinedRefsTracker_, "nullptr != undefinedRefsTracker_" );
   return *undefinedRefsTracker_;
}

// The bits of the two types have the same values.
void ModifiedRouteMapSeqStatus::found( Bit bit, bool undefined ) noexcept {
   referenceUpdateMask_.value = static_cast<uint8_t>( referenceUpdateMask_.value | bit );
   undefinedReferences_.value = static_cast<uint8_t>( undefined ? undefinedReferences_.value | bit : undefinedReferences_.value & ~bit );
}

void ModifiedRouteMapSeqStatus::setSubRouteMapUndefined( bool undefined ) {
   found( Bit::subRouteMapUndefined, undefined );
}

void ModifiedRouteMapSeqStatus::setAggRoleAttrMapUndefined( bool undefined ) {
   found( Bit::aggRoleAttrMapUndefined, undefined );
}

void ModifiedRouteMapSeqStatus::setPrefixListUndefined( MatchOption option, bool undefined ) {
   if( undefined )
      tracker().undefinedPrefixListMatchOptionIs( option );
   else
      tracker().undefinedPrefixListMatchOptionDel( option );
   found( Bit::prefixListUndefined, !tracker().undefinedPrefixListMatchOption().empty() );
}

void ModifiedRouteMapSeqStatus::setCommListUndefinedFromMatcher( MatchOption option, bool undefined ) {
   if( undefined )
      tracker().undefinedCommListMatchOptionIs( option );
   else
      tracker().undefinedCommListMatchOptionDel( option );
   setCommListUndefined();
}

void ModifiedRouteMapSeqStatus::setCommListUndefinedFromSetter( SetOption option, bool undefined ) {
   if( undefined )
      tracker().undefinedCommListSetOptionIs( option );
   else
      tracker().undefinedCommListSetOptionDel( option );
   setCommListUndefined();
}

void ModifiedRouteMapSeqStatus::setCommListUndefined() {
   found( Bit::commListUndefined, !tracker().undefinedCommListMatchOption().empty() || !tracker().undefinedCommListSetOption().empty() );
}

void ModifiedRouteMapSeqStatus::maybeSetUndefinedRefFlagFromMatcher( const Quoin::Ptr<const MatcherChange> & matcherChange ) {
   const MatchOption option = matcherChange->option();
   const bool stands = matcherChange->matcher() != nullptr;
   switch( listKindOf( option ) ) {
      case ListKind::prefixList: return setPrefixListUndefined( option, stands && matcherChange->prefixListUndefined() );
      case ListKind::commList: return setCommListUndefinedFromMatcher( option, stands && matcherChange->commListUndefined() );
      case ListKind::neverCompiled: QUOIN_ASSERT( false, "false" ); break;
      case ListKind::none: break;
   }
}

void ModifiedRouteMapSeqStatus::maybeSetUndefinedRefFlagFromSetter( const Quoin::Ptr<const SetterChange> & setterChange ) {
   const SetOption option = setterChange->option();
   if( refersToCommList( option ) )
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

ModifiedRouteMapSeqStatusList::~ModifiedRouteMapSeqStatusList() = default;

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
