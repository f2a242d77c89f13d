/// @file examples/custom_option/CommunityList.h
/// A kind of list whose content belongs to the agent; the library knows its name and symbol. CommunityMatcher reads the compiled list.
#pragma once

#include <set>
#include <utility>

#include "BgpRoute.h"
#include "substrate/routemap/ListPublication.h"

namespace BgpAgent {

/// A compiled list. Threading: read-only once published.
class CommunityList final : public StandardCommListStatus {
 public:
   CommunityList( const Quoin::String & name, std::set<Community> members )
         : StandardCommListStatus( name ), members_( std::move( members ) ) {}
   bool has( Community c ) const { return members_.contains( c ); }

 private:
   std::set<Community> members_;
};

/// A configured list. It is undefined before the first publish() and after its destruction. Between an edit and publish(), route maps that
/// refer to it do not change.
/// Threading: the activity thread.
class CommunityListProducer {
 public:
   CommunityListProducer( const Quoin::Ptr<CommListSymbolDedupTable> & table, const Quoin::String & name )
         : publication_( table->symbol( name ) ) {}
   void communityIs( Community c ) {
      if( members_.insert( c ).second ) publication_.begin();
   }
   void communityDel( Community c ) {
      if( members_.erase( c ) != 0 ) publication_.begin();
   }
   void publish() {
      publication_.publish( [ this ] { return Quoin::makeNode<CommunityList>( publication_.symbol()->name(), members_ ); } );
   }

 private:
   std::set<Community> members_;
   ListPublication<CommListStatus> publication_;
};

}   // namespace BgpAgent
