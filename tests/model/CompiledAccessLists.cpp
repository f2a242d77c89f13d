#include "tests/model/CompiledAccessLists.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "tests/policy/ListFixtures.h"

namespace CompilationModel {

AccessLists::AccessLists( Choices & random, const Ptr<const IpAccessListSymbolDedupTable> & table ) : random_( random ), table_( table ) {
   static constexpr const char * kNames[] = { "AL0", "AL1", "AL2" };
   static_assert( std::size( kNames ) == kLists );
   for( unsigned i = 0; i < kLists; ++i ) lists_[ i ].twin.name = kNames[ i ];
}

void AccessLists::start() {
   machine_ = Zeugma::makeSm<AclConfigSm>( config_, table_, clock_ );
   for( unsigned i = 0; i < kLists; ++i ) {
      auto & list = lists_[ i ].twin;
      if( !list.real ) continue;
      made( i );
      list.changed();
   }
}

// ---- steps

void AccessLists::edit( unsigned i, unsigned time ) {
   auto & list = lists_[ i ];
   list.time = time;
   if( chance( 24 ) ) return typeGoesOrComes();
   if( chance( 24 ) ) return editOfOthers();
   if( !list.twin.real ) {
      if( !type() ) config_->aclTypeIs( Acl::AclType::ipv4 );
      random_.say( "create access list ", list.twin.name );
      list.twin.real = type()->aclIs( list.twin.name );
      if( machine_ ) made( i );
      if( chance( 6 ) ) return;
   }
   switch( pick( 12 ) ) {
      case 0: return del( i );
      case 1:
      case 2: return versionIs( i, newVersion() );
      case 3: return versionIs( i, versions_.empty() || chance( 6 ) ? nullptr : versions_[ pick( unsigned( versions_.size() ) ) ] );
      case 4:
         if( list.twin.version && chance( 2 ) ) empty( *list.twin.version );
         return;
      default:
         if( !list.twin.version )
            versionIs( i, newVersion() );
         else
            write( *list.twin.version );
   }
}

void AccessLists::editRules( unsigned i ) {
   if( lists_[ i ].twin.version ) write( *lists_[ i ].twin.version );
}

void AccessLists::slice() {
   uint32_t before[ kLists ];
   for( unsigned i = 0; i < kLists; ++i ) {
      before[ i ] = lists_[ i ].twin.published;
      lists_[ i ].twin.slice();
   }
   random_.say( "slice" );
   slicing_ = true;
   clock_->callDue();
   slicing_ = false;
   for( unsigned i = 0; i < kLists; ++i )
      if( lists_[ i ].twin.published != before[ i ] ) told( i );
}

void AccessLists::slicesToTheEnd() {
   for( int turns = 0; !idle(); ++turns ) {
      ASSERT_LT( turns, 1000 );
      slice();
   }
}

void AccessLists::tell( unsigned i ) {
   random_.say( "notify without a change: ", lists_[ i ].twin.name );
   ++lists_[ i ].twin.published;
   symbol( i )->notifier()->versionInc( 1 );
   told( i );
}

void AccessLists::del( unsigned i ) {
   random_.say( "delete access list ", lists_[ i ].twin.name );
   lists_[ i ].twin.gone();
   if( machine_ ) {
      lists_[ i ].twin.undefined();
      lists_[ i ].held = false;
      lists_[ i ].sinceTold = { nullptr };
   }
   type()->aclDel( lists_[ i ].twin.name );
}

void AccessLists::told( unsigned i ) {
   record( i );
   lists_[ i ].sinceTold = { symbol( i )->status() };
}

bool AccessLists::mayBeSeen( unsigned i, const Ptr<const Status> & status, unsigned built ) const {
   const auto & list = lists_[ i ];
   if( built < list.untoldAt ) return status == list.sinceTold.front();
   return std::ranges::count( list.sinceTold, status ) != 0;
}

const AccessLists::Rules * AccessLists::rulesOf( const Ptr<const Status> & status ) const {
   const auto found = shown_.find( status.get() );
   return found == shown_.end() ? nullptr : &found->second.rules;
}

void AccessLists::check( const Ferule::IpGenPrefix & asked ) const {
   const auto * typeSm = machine_ ? machine_->ipConfigSm().find( Acl::AclType::ipv4 ) : nullptr;
   ASSERT_EQ( typeSm != nullptr, machine_ && type() );
   size_t held = 0, configured = 0;
   for( unsigned i = 0; i < kLists; ++i ) {
      const auto & list = lists_[ i ];
      SCOPED_TRACE( list.twin.name );
      held += list.held;
      configured += list.twin.real != nullptr;
      const auto status = symbol( i )->status();
      ASSERT_EQ( status, list.sinceTold.back() );
      ASSERT_EQ( status != nullptr, list.twin.shown.has_value() );
      if( status ) checkShown( status, *list.twin.shown, asked );
      if( list.twin.symbol ) { ASSERT_EQ( list.twin.symbol->notifierVersion(), list.twin.published ); }
      const auto sm = machineOf( i );
      ASSERT_EQ( sm != nullptr, machine_ && list.twin.real );
      if( !sm ) continue;
      ASSERT_EQ( sm->bookmark(), list.twin.bookmark );
      ASSERT_EQ( sm->isCompiling(), list.twin.compiling );
   }
   if( !machine_ ) return;
   EXPECT_EQ( machine_->ipAclSymbolTable()->symbol().count(), held );
   EXPECT_EQ( machine_->ipConfigSm().count(), typeSm ? 1u : 0u );
   if( typeSm ) { EXPECT_EQ( ( *typeSm )->ipAccessListConfigSm().count(), configured ); }
   EXPECT_EQ( idle(), std::ranges::none_of( lists_, []( const List & list ) { return list.twin.compiling; } ) );
}

void AccessLists::forget() {
   std::erase_if( shown_, []( const auto & row ) { return row.second.status->useCount() == 1; } );
}

// ---- the two ends

void AccessLists::watch( const std::function<void( unsigned i )> & hear ) {
   for( unsigned i = 0; i < kLists; ++i ) {
      lists_[ i ].twin.symbol = symbol( i );
      lists_[ i ].reaction =
         std::make_unique<CompileFixtures::Reaction>( *lists_[ i ].twin.symbol->notifier(), [ this, i, hear ]( const Quoin::Change & ) {
            told( i );
            hear( i );
         } );
   }
}

void AccessLists::drop() {
   if( !machine_ ) return;
   if( chance( 2 ) ) {
      for( unsigned i = 0; i < kLists; ++i )
         if( lists_[ i ].twin.real && chance( 2 ) ) del( i );
      config_->aclTypeDelAll();
      EXPECT_TRUE( idle() );
      EXPECT_TRUE( machine_->ipConfigSm().empty() );
   }
   machine_ = nullptr;
   EXPECT_TRUE( idle() );
}

void AccessLists::checkNothingIsLeft() {
   for( auto & list : lists_ ) list = {};
   shown_.clear();
   config_->aclTypeDelAll();
   for( const auto & version : versions_ ) EXPECT_EQ( version->real->useCount(), 1u );
   EXPECT_EQ( clock_->useCount(), 1u );
   EXPECT_EQ( config_->useCount(), 1u );
}

void AccessLists::typeGoesOrComes() {
   random_.say( type() ? "delete" : "create", " the type of access lists" );
   if( !type() ) return static_cast<void>( config_->aclTypeIs( Acl::AclType::ipv4 ) );
   for( auto & list : lists_ ) list.twin.gone();
   config_->aclTypeDel( Acl::AclType::ipv4 );   // symbols keep what they have
   if( chance( 2 ) ) config_->aclTypeIs( Acl::AclType::ipv4 );
}

void AccessLists::makeEmpty( unsigned i, unsigned time ) {
   random_.say( "create access list ", lists_[ i ].twin.name );
   lists_[ i ].time = time;
   if( !type() ) config_->aclTypeIs( Acl::AclType::ipv4 );
   lists_[ i ].twin.real = type()->aclIs( lists_[ i ].twin.name );
   made( i );
}

Ptr<IpAclConfigSm> AccessLists::machineOf( unsigned i ) const {
   const auto * typeSm = machine_ ? machine_->ipConfigSm().find( Acl::AclType::ipv4 ) : nullptr;
   const auto * sm = typeSm ? ( *typeSm )->ipAccessListConfigSm().find( lists_[ i ].twin.name ) : nullptr;
   return sm ? *sm : nullptr;
}

// The empty list, of which nobody is told.
void AccessLists::made( unsigned i ) {
   auto & list = lists_[ i ];
   list.twin.made();
   list.held = true;
   record( i );
   if( list.sinceTold.size() == 1 ) list.untoldAt = list.time;
   list.sinceTold.push_back( symbol( i )->status() );
   list.twin.oneRuleEach = chance( 2 );
   const auto sm = machineOf( i );
   ASSERT_TRUE( sm );
   if( list.twin.oneRuleEach ) sm->clockQuantumIs( IpAclConfigSm::Seconds( 0 ) );
}

// What a symbol shows is a whole list, whatever has been edited while it was compiled.
void AccessLists::record( unsigned i ) {
   const auto & list = lists_[ i ].twin;
   const auto status = symbol( i )->status();
   ASSERT_EQ( status != nullptr, list.shown.has_value() ) << list.name;
   if( !status ) return;
   EXPECT_TRUE( std::ranges::equal( AccessListTwins::rulesIn( *status ), *list.shown, AccessListTwins::sameRule ) )
      << testing::PrintToString( CompileFixtures::rulesOf( status ) );
   shown_.insert_or_assign( status.get(), Shown{ status, *list.shown } );
}

void AccessLists::checkShown( const Ptr<const Status> & status, const Rules & rules, const Ferule::IpGenPrefix & asked ) {
   EXPECT_EQ( CompileFixtures::listPermits( status, asked ), ( AccessListModel{ Ferule::AddressFamily::ipv4, rules }.match( asked ) ) )
      << asked << " " << testing::PrintToString( CompileFixtures::rulesOf( status ) );
}

std::shared_ptr<AccessListTwins::VersionTwin> AccessLists::newVersion() {
   versions_.push_back( std::make_shared<VersionTwin>( Ferule::AddressFamily::ipv4 ) );
   const auto version = versions_.back();
   for( uint32_t seqno = 1; seqno <= 3; ++seqno )
      if( !chance( 3 ) ) {
         version->ruleIs( CompileFixtures::ruleIdOf( seqno ), anyRule() );
         version->sequenceIs( seqno, CompileFixtures::ruleIdOf( seqno ) );
      }
   return version;
}

const AclPrefixEntry & AccessLists::anyRule() {
   static const std::vector<AclPrefixEntry> rules = [] {
      const char * const sources[] = { "10.0.0.0/8",  "10.1.0.0 255.255.0.0", "0.0.0.0/0",         "10.0.2.0 255.0.255.0",
                                       "10.1.2.3/16", "1.2.3.4 0.0.0.0",      "0.1.0.0 0.255.0.0", "192.0.2.0/24" };
      std::vector<AclPrefixEntry> all;
      for( const char * action : { "permit ", "permit ", "deny " } )
         for( const char * source : sources ) all.push_back( ListFixtures::accessListRule( std::string( "0 " ) + action + source ) );
      return all;
   }();
   return rules[ pick( unsigned( rules.size() ) ) ];
}

void AccessLists::changed( const VersionTwin & version ) {
   if( !machine_ ) return;
   for( auto & list : lists_ )
      if( list.twin.version.get() == &version ) list.twin.changed();
}

// A rule is changed in place, comes, goes, or moves.
void AccessLists::write( VersionTwin & version ) {
   const uint32_t seqno = 1 + pick( 4 ), id = CompileFixtures::ruleIdOf( chance( 6 ) ? 1 + pick( 4 ) : seqno );
   bool changes = false;
   random_.say( "access list rule ", seqno, " id ", id );
   switch( pick( 8 ) ) {
      case 0: changes = version.sequenceDel( seqno ); break;
      case 1: changes = version.ruleDel( id ); break;
      case 2: changes = version.sequenceIs( seqno, id ); break;
      default:
         if( version.ruleIs( id, anyRule() ) ) changed( version );
         changes = version.sequenceIs( seqno, id );
   }
   if( changes ) changed( version );
}

// All at once: what is under way goes on with what there is left.
void AccessLists::empty( VersionTwin & version ) {
   random_.say( "empty a version of access lists" );
   version.rules.clear();
   version.real->ipRuleDelAll();
   if( chance( 4 ) ) return;   // every number stands for a rule that is missing
   version.sequences.clear();
   version.real->ruleBySequenceDelAll();
}

void AccessLists::versionIs( unsigned i, std::shared_ptr<VersionTwin> version ) {
   auto & list = lists_[ i ].twin;
   const bool changes = list.version != version;
   random_.say( list.name, version ? " gets a version of " : " gets no version",
                version ? std::to_string( version->rules.size() ) + " rules" : "" );
   list.version = std::move( version );
   list.real->currVersionIs( list.version ? list.version->real : nullptr );
   if( changes && machine_ ) list.changed();
}

// Of those, nothing is compiled.
void AccessLists::editOfOthers() {
   random_.say( "edit access lists that are never compiled" );
   const auto version = versions_.empty() ? newVersion() : versions_.front();
   if( chance( 2 ) )
      config_->aclTypeIs( Acl::AclType::ipv6 )->aclIs( lists_[ 0 ].twin.name )->currVersionIs( version->real );
   else if( chance( 2 ) )
      config_->aclTypeDel( Acl::AclType::ipv6 );
   else if( !type() )
      return;
   else if( chance( 2 ) )
      type()->aclIs( IpAclTypeConfigSm::kControlPlaneAcl )->currVersionIs( version->real );
   else
      type()->aclDel( IpAclTypeConfigSm::kControlPlaneAcl );
}

}   // namespace CompilationModel
