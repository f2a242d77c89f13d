#include "live/ListsInForce.h"

#include <algorithm>
#include <vector>

#include "live/AccessList.h"
#include "live/AsPathList.h"
#include "live/CommunityList.h"
#include "live/Differences.h"
#include "substrate/quoin/Assert.h"
#include "text/LineEdits.h"

namespace Agent {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;

namespace {

template <class Line>
bool isEmpty( const ListText<Line> & list ) {
   return list.lines.empty();
}
// Some clauses of FRR match all routes with a prefix list that has a description only.
bool isEmpty( const PrefixListText & list ) {
   return list.lines.empty() && list.description.empty();
}
bool isEmpty( const TagSetText & set ) {
   return set.tags.empty();
}
bool isEmpty( const StepText & ) {
   return false;
}

/// Calls `erase( name )` for each list that was removed, and `edit( name, was, is )` for each new or changed list. Returns the sum of their
/// results.
template <class Text, class Erase, class Edit>
size_t editLists( const PolicyText::ByName<Text> & before, const PolicyText::ByName<Text> & after, Erase && erase, Edit && edit ) {
   static const Text kNone;
   size_t edits = 0;
   forEachDifference( before, after, [ & ]( const std::string & name, const Text * was, const Text * is ) {
      if( is && !isEmpty( *is ) )
         edits += edit( name, was ? *was : kNone, *is );
      else if( was && !isEmpty( *was ) )
         edits += erase( name );
   } );
   return edits;
}

/// The same for lists that have a producer each, created from `table`, the name of the list and `args`. When a list is removed, its
/// producer is deleted, and the list is undefined.
template <class Text, class Producers, class Edit, class Table, class... Args>
size_t editProducers( Producers & producers, const PolicyText::ByName<Text> & before, const PolicyText::ByName<Text> & after, Edit && edit,
                      const Table & table, const Args &... args ) {
   return editLists(
      before, after, [ & ]( const std::string & name ) { return producers.erase( name ); },
      [ & ]( const std::string & name, const Text & was, const Text & is ) {
         return edit( producers.try_emplace( name, table, Quoin::String( name ), args... ).first->second, was, is );
      } );
}

// Either line may be null.
void editLine( PrefixListProducer & list, uint32_t seqno, const PrefixListLine * was, const PrefixListLine * is ) {
   if( was ) list.entryDel( seqno );
   if( !is ) return;
   const auto error = list.entryIs( { seqno, is->action, is->prefix, is->ge, is->le } );
   QUOIN_ASSERT( !error, "a prefix list's line that is free of errors" );
}

size_t editPrefixList( PrefixListProducer & list, const PrefixListText & was, const PrefixListText & is ) {
   const size_t edits =
      forEachDifference( was.lines, is.lines, [ & ]( uint32_t seqno, const PrefixListLine * old, const PrefixListLine * line ) {
         editLine( list, seqno, old, line );
      } );
   if( edits != 0 || is.lines.empty() ) list.publish();   // else only the description may have changed
   return edits;
}

// A line of a list before and after an edit; one of them may be null.
template <class Line>
struct LineChange {
   uint32_t number;
   const Line * was;
   const Line * is;
};
template <class Line>
using LineChanges = std::vector<LineChange<Line>>;

template <class Line>
LineChanges<Line> changesOf( const ListEdit<Line> & edit ) {
   LineChanges<Line> changes;
   for( const auto & [ number, change ] : edit.lines )
      if( change.was != change.is ) changes.push_back( { number, change.was ? &*change.was : nullptr, change.is ? &*change.is : nullptr } );
   return changes;
}

/// Calls `publish( producer, changes )` for each list with changes. Returns their sum.
template <class Producers, class Line, class Publish>
size_t applyEdits( Producers & producers, const PolicyText::ByName<ListEdit<Line>> & edits, Publish publish ) {
   size_t count = 0;
   for( const auto & [ name, edit ] : edits ) {
      const auto changes = changesOf( edit );
      if( !changes.empty() ) publish( producers.at( name ), changes );
      count += changes.size();
   }
   return count;
}

void publishPrefixList( PrefixListProducer & list, const LineChanges<PrefixListLine> & changes ) {
   for( const auto & change : changes ) editLine( list, change.number, change.was, change.is );
   list.publish();
}

size_t editTagSet( TagSetProducer & set, const TagSetText & was, const TagSetText & is ) {
   size_t edits = 0;
   for( const uint32_t tag : was.tags )
      if( !is.tags.contains( tag ) ) edits += set.tagDel( tag );
   for( const uint32_t tag : is.tags ) edits += set.tagIs( tag );
   if( edits != 0 ) set.publish();
   return edits;
}

template <class Text>
size_t differentLines( const Text & was, const Text & is ) {
   return forEachDifference( was.lines, is.lines, []( const auto &... ) {} );
}

size_t editAccessList( auto & list, const AccessListText & was, const AccessListText & is ) {
   const size_t edits = differentLines( was, is );
   if( edits != 0 ) list.publish( [ & ] { return makeNode<AccessList>( list.symbol()->name(), is ); } );
   return edits;
}

/// Publishes the next generation of a `List`, which shares the other lines.
template <class List>
constexpr auto publishChanges = []( auto & list, const auto & changes ) {
   list.publish( [ & ] {
      const auto & symbol = *list.symbol();
      auto next = makeNode<List>( symbol.name(), static_cast<const List &>( *symbol.status() ) );
      for( const auto & change : changes ) {
         if( change.was ) next->lineDel( change.number, *change.was );
         if( change.is ) next->lineIs( change.number, *change.is );
      }
      return next;
   } );
};

template <class Text>
bool areOfOneKind( const Text & a, const Text & b ) {
   if constexpr( requires { a.expanded; } )
      return a.expanded == b.expanded;
   else
      return true;
}

/// Edits a `List` of which an edit changes some lines only.
template <class List>
auto editLines( Dialect dialect ) {
   return [ dialect ]<class Text>( auto & list, const Text & was, const Text & is ) {
      using Line = typename decltype( was.lines )::mapped_type;
      LineChanges<Line> changes;
      forEachDifference( was.lines, is.lines, [ & ]( uint32_t number, const Line * old, const Line * line ) {
         changes.push_back( { number, old, line } );
      } );
      const bool sameKind = areOfOneKind( was, is );
      if( was.lines.empty() || !sameKind )
         list.publish( [ & ] { return makeNode<List>( list.symbol()->name(), is, dialect ); } );
      else if( !changes.empty() )
         publishChanges<List>( list, changes );
      return sameKind ? changes.size() : std::max<size_t>( changes.size(), 1 );
   };
}

Acl::RuleAction ruleActionOf( MatchPermit action ) {
   return action == MatchPermit::permit ? Acl::RuleAction::permit : Acl::RuleAction::deny;
}

// A new version for any change: compilation reads all rules of a list in any case.
Ptr<const Acl::AclVersion> versionOf( const AccessListText & list, Acl::AclType type ) {
   const auto version = makeNode<Acl::AclVersion>();
   for( const auto & [ seqno, line ] : list.lines ) {
      const auto & source = line.source;
      if( type == Acl::AclType::ipv4 ) {
         const Ferule::IpAddr mask( uint32_t( source.mask().high >> 32 ) );
         version->ipRuleIs( seqno, { ruleActionOf( line.action ), { { source.address().v4Addr(), mask } } } );
      } else {
         version->ip6RuleIs( seqno, { ruleActionOf( line.action ), { { source.address().v6Addr(), source.leadingOnesOfMask() } } } );
      }
      version->ruleBySequenceIs( seqno, seqno );
   }
   return version;
}

size_t editAccessLists( Acl::Input::AclTypeConfig & lists, const PolicyText::ByName<AccessListText> & before,
                        const PolicyText::ByName<AccessListText> & after ) {
   return editLists(
      before, after, [ & ]( const std::string & name ) { return lists.aclDel( name ) ? 1 : 0; },
      [ & ]( const std::string & name, const AccessListText & was, const AccessListText & is ) {
         const size_t edits = differentLines( was, is );
         if( edits != 0 ) lists.aclIs( name )->currVersionIs( versionOf( is, lists.type() ) );
         return edits;
      } );
}

}   // namespace

ListsInForce::ListsInForce( const Ptr<AgentRoot> & root, const Ptr<Plinth::Clock> & clock, Dialect dialect )
      : root_( root ),
        dialect_( dialect ),
        ipv4Acls_( makeNode<Acl::Input::Config>() ),
        ipv6Acls_( makeNode<Acl::Input::AclTypeConfig>( Acl::AclType::ipv6 ) ),
        ipv4AclSm_( Zeugma::makeSm<AclConfigSm>( ipv4Acls_, root->ipv4AclListTable(), clock ) ),
        ipv6AclSm_( Zeugma::makeSm<IpAclTypeConfigSm>( ipv6Acls_, makeNode<AllIpAccessListSymbol>(), root->ipv6AclListTable(), clock ) ) {}

size_t ListsInForce::applyAccessLists( const PolicyText & before, const PolicyText & after ) {
   if( dialect_ == Dialect::native )
      return editAccessLists( *ipv4Acls_->aclTypeIs( Acl::AclType::ipv4 ), before.ipv4AccessLists, after.ipv4AccessLists ) +
         editAccessLists( *ipv6Acls_, before.ipv6AccessLists, after.ipv6AccessLists );
   return editProducers(
             ipv4AccessLists_, before.ipv4AccessLists, after.ipv4AccessLists,
             []( auto & list, const auto & was, const auto & is ) { return editAccessList( list, was, is ); }, root_->ipv4AclListTable() ) +
      editProducers(
             ipv6AccessLists_, before.ipv6AccessLists, after.ipv6AccessLists,
             []( auto & list, const auto & was, const auto & is ) { return editAccessList( list, was, is ); }, root_->ipv6AclListTable() );
}

size_t ListsInForce::apply( const PolicyText & before, const PolicyText & after ) {
   const AgentRoot & root = *root_;
   return applyAccessLists( before, after ) +
      editProducers( ipv4PrefixLists_, before.ipv4PrefixLists, after.ipv4PrefixLists, editPrefixList, root.ipv4PrefixListTable(),
                     AddressFamily::ipv4 ) +
      editProducers( ipv6PrefixLists_, before.ipv6PrefixLists, after.ipv6PrefixLists, editPrefixList, root.ipv6PrefixListTable(),
                     AddressFamily::ipv6 ) +
      editProducers( tagSets_, before.tagSets, after.tagSets, editTagSet, root.tagSetTable() ) +
      editProducers( communityLists_, before.communityLists, after.communityLists, editLines<CommunityList>( dialect_ ),
                     root.commListTable() ) +
      editProducers( largeCommunityLists_, before.largeCommunityLists, after.largeCommunityLists, editLines<LargeCommunityList>( dialect_ ),
                     root.largeCommListTable() ) +
      editProducers( extCommunityLists_, before.extCommunityLists, after.extCommunityLists, editLines<ExtCommunityList>( dialect_ ),
                     root.extCommListTable() ) +
      editProducers( asPathLists_, before.asPathLists, after.asPathLists, editLines<AsPathList>( dialect_ ), root.asPathListTable() );
}

size_t ListsInForce::apply( const TextEdit & edit ) {
   return applyEdits( ipv4PrefixLists_, edit.ipv4PrefixLists, publishPrefixList ) +
      applyEdits( ipv6PrefixLists_, edit.ipv6PrefixLists, publishPrefixList ) +
      applyEdits( communityLists_, edit.communityLists, publishChanges<CommunityList> ) +
      applyEdits( largeCommunityLists_, edit.largeCommunityLists, publishChanges<LargeCommunityList> ) +
      applyEdits( extCommunityLists_, edit.extCommunityLists, publishChanges<ExtCommunityList> ) +
      applyEdits( asPathLists_, edit.asPathLists, publishChanges<AsPathList> );
}

size_t ListsInForce::applySteps( const PolicyText::ByName<StepText> & before, const PolicyText::ByName<StepText> & after ) {
   const auto edit = []( auto & list, const StepText &, const StepText & is ) {
      list.publish( [ & ] { return makeNode<Step>( list.symbol()->name(), is ); } );
      return size_t( 1 );
   };
   return editProducers( steps_, before, after, edit, root_->stepTable() );
}

}   // namespace Agent
