/// @file agent/live/ListsInForce.h
#pragma once

#include <map>
#include <string>

#include "compile/AclConfigSm.h"
#include "live/AgentRoot.h"
#include "substrate/routemap/PrefixListProducer.h"
#include "substrate/routemap/TagSetProducer.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

struct TextEdit;

/// Keeps the lists and tag sets of the policy in force compiled. LivePolicy passes each new text to it; route maps refer to the compiled
/// lists by their symbols. A list that the text does not contain, or a list without lines, is undefined. Threading: the activity thread.
class ListsInForce {
 public:
   ListsInForce( const Quoin::Ptr<AgentRoot> & root, const Quoin::Ptr<Plinth::Clock> & clock, Dialect dialect );

   /// Applies the differences between two texts, and publishes each changed list once. Access lists of the library are compiled in calls of
   /// the clock: they are complete when the clock has made its pending calls.
   /// Returns the number of lines, tags and whole lists that were written or removed.
   size_t apply( const PolicyText & before, const PolicyText & after );
   /// Applies an edit of the text in force. It costs what the edited lists take to publish.
   size_t apply( const TextEdit & edit );
   /// As the first, for steps.
   size_t applySteps( const PolicyText::ByName<StepText> & before, const PolicyText::ByName<StepText> & after );

 private:
   size_t applyAccessLists( const PolicyText & before, const PolicyText & after );
   template <class Producer>
   using ByName = std::map<std::string, Producer>;
   /// The producer of a list whose statuses the agent creates.
   template <class Status>
   class ListProducer : public Routing::RouteMap::ListPublication<Status> {
      using Base = Routing::RouteMap::ListPublication<Status>;

    public:
      ListProducer( const Quoin::Ptr<Routing::RouteMap::SymbolDedupTable<typename Base::Symbol>> & table, const Quoin::String & name )
            : Base( table->symbol( name ) ) {}
   };

   Quoin::Ptr<AgentRoot> root_;
   Dialect dialect_;
   Quoin::Ptr<Acl::Input::Config> ipv4Acls_;
   Quoin::Ptr<Acl::Input::AclTypeConfig> ipv6Acls_;
   Quoin::Ptr<Routing::Policy::AclConfigSm> ipv4AclSm_;
   Quoin::Ptr<Routing::Policy::IpAclTypeConfigSm> ipv6AclSm_;
   // Of the dialect of FRR.
   ByName<ListProducer<Routing::RouteMap::IpAccessListStatus>> ipv4AccessLists_;
   ByName<ListProducer<Routing::RouteMap::IpAccessListStatus>> ipv6AccessLists_;
   ByName<Routing::RouteMap::PrefixListProducer> ipv4PrefixLists_;
   ByName<Routing::RouteMap::PrefixListProducer> ipv6PrefixLists_;
   ByName<Routing::RouteMap::TagSetProducer> tagSets_;
   ByName<ListProducer<Routing::RouteMap::CommListStatus>> communityLists_;
   ByName<ListProducer<Routing::RouteMap::CommListStatus>> largeCommunityLists_;
   ByName<ListProducer<Routing::RouteMap::CommListStatus>> extCommunityLists_;
   ByName<ListProducer<Routing::RouteMap::AsPathListStatus>> asPathLists_;
   ByName<ListProducer<Step>> steps_;
};

}   // namespace Agent
