#include "substrate/plinth/NotifieeConst.h"

namespace Plinth {

Watch::~Watch() = default;   // the base class ends the subscription
NotifieeConst::~NotifieeConst() = default;

void NotifieeConst::lastUserGone() const {
   auto * self = const_cast<NotifieeConst *>( this );   // no other user is left, so no one sees the change
   self->hasNotificationActiveIs( false );
   self->onZeroReferences();
}

void Watch::notifierIs( Quoin::Ptr<const Quoin::Node> notifier ) {
   if( notifier == notifier_ ) return;
   unsubscribe();
   std::swap( notifier_, notifier );   // the old object is released when the new state is complete
   missed_ = false;
   subscribe();
}

void Watch::hasNotificationActiveIs( bool active ) {
   if( active == active_ ) return;
   active_ = active;
   if( active )
      subscribe();
   else
      unsubscribe();
}

void Watch::subscribe() {
   auto * publisher = notifier_ ? notifier_->publisher() : nullptr;
   if( publisher && !subscribed() ) publisher->subscriberAdd( this );
}

void Watch::onChange( const Quoin::Change & change ) {
   if( active_ )
      handleChange( change );
   else
      missed_ = true;
}

}   // namespace Plinth
