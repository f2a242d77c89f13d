#include "substrate/zeugma/BaseOutputSm.h"

#include "substrate/quoin/Assert.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Zeugma {

// A machine has few parts.
SmPart::SmPart( BaseOutputSm & owner ) noexcept : owner_( owner ) {
   SmPart ** end = &owner.first_;
   while( *end ) end = &( *end )->next_;
   *end = this;
}

SmPart::~SmPart() {
   SmPart ** at = &owner_.first_;
   while( *at != this ) at = &( *at )->next_;
   *at = next_;
}

void SmPart::takeIn( BaseOutputSm & sm ) const {
   sm.plinthDoZombieReactors( owner_.zombieReactors() );
   if( owner_.switchesOnNested() ) sm.hasNotificationActiveIs( true );
}

void SmPart::giveUp( BaseOutputSm * sm ) {
   if( !sm ) return;
   sm->hasNotificationActiveIs( false );
   sm->plinthDoZombieReactors( true );
}

BaseOutputSm::~BaseOutputSm() = default;

void BaseOutputSm::lastUserGone() const {
   const_cast<BaseOutputSm *>( this )->stop();   // no other user is left, so no one sees the change
}

void BaseOutputSm::hasNotificationActiveIs( bool active ) {
   if( active == active_ ) return;
   const Quoin::ReleaseScope whole;   // a repeated scan may drop the machine, or write this flag again
   active_ = active;
   wasActive_ = true;
   bool missed = false;
   for( SmPart * part = first_; part && active_ == active; part = part->next_ ) {
      missed |= part->partChangeMissed();
      part->partNotificationActiveIs( active );
   }
   if( missed && active_ && !zombie_ ) Quoin::whole( "a reaction", [ this ] { handleChangeMissed(); } );
}

void BaseOutputSm::plinthDoZombieReactors( bool zombie ) {
   if( zombie == zombie_ ) return;
   zombie_ = zombie;
   for( SmPart * part = first_; part; part = part->next_ ) part->partZombieIs( zombie );
}

void BaseOutputSm::stop() {
   hasNotificationActiveIs( false );
   plinthDoZombieReactors( true );
}

void BaseOutputSm::dumpState( const DumpContextPtr & ctx, unsigned indent ) const {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s\n", Quoin::DisplayPointer::toString( this ).c_str() );
}

void BaseOutputSm::formatDerivedType( std::ostream & os ) const {
   os << Quoin::DisplayPointer::toString( this );
}

std::ostream & operator<<( std::ostream & os, const BaseOutputSm & sm ) {
   sm.formatDerivedType( os );
   return os;
}

}   // namespace Zeugma
