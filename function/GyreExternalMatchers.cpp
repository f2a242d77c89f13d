#include "function/GyreExternalMatchers.h"

#include <algorithm>

#include "substrate/quoin/Assert.h"
#include "substrate/zeugma/Dedup.h"
#include "substrate/zeugma/HashMix.h"

namespace Gyre {

using Routing::RouteMap::PrefixListStatus;
using Routing::RouteMap::SrLabelRangeStatus;

/// The fields of a content in the order of hash, comparison and dump, each with the matchers that are created from it.
struct ExternalMatchersFields {
   template <class Visit>
   static void each( const Visit & visit ) {
      using Content = ExternalMatchersContent;
      using Made = ExternalMatchers;
      visit( "v4Pfxl", &Content::v4Pfxl_, &Made::v4Pfxl_ );
      visit( "v6Pfxl", &Content::v6Pfxl_, &Made::v6Pfxl_ );
      visit( "asPathListStatus", &Content::asPathListStatus_ );
      visit( "commListStatus", &Content::commListStatus_ );
      visit( "extCommListStatus", &Content::extCommListStatus_ );
      visit( "largeCommListStatus", &Content::largeCommListStatus_ );
      visit( "roaTableStatus", &Content::roaTableStatus_ );
      visit( "dynPrefixListStatus", &Content::dynPrefixListStatus_, &Made::v4DynPfxl_, &Made::v6DynPfxl_ );
      visit( "srLabelRangeStatus", &Content::srLabelRangeStatus_ );
      visit( "tagSetStatus", &Content::tagSetStatus_ );
   }
};

namespace {

template <class T>
const void * pointerOf( const Quoin::Ptr<T> & handle ) {
   return handle.get();
}

template <class T>
void mixField( Zeugma::HashMix & mix, const Quoin::Ptr<T> & handle ) {
   const uint64_t pointer = reinterpret_cast<uintptr_t>( pointerOf( handle ) );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( &pointer ) );
}
template <class Status>
void mixField( Zeugma::HashMix & mix, const ExternalListTable<Status> & table ) {
   for( auto i = table.first(); i; i.next() ) mixField( mix, i.value() );
}

template <class T>
std::strong_ordering compareField( const Quoin::Ptr<T> & a, const Quoin::Ptr<T> & b ) {
   return a <=> b;
}
template <class Status>
std::strong_ordering compareField( const ExternalListTable<Status> & a, const ExternalListTable<Status> & b ) {
   for( uint32_t number = std::min( a.firstIndex(), b.firstIndex() ), end = std::max( a.size(), b.size() ); number < end; ++number )
      if( const auto order = a[ number ] <=> b[ number ]; order != 0 ) return order;
   return std::strong_ordering::equal;
}

/// Prints the lists of one field.
struct FieldDump {
   const ExternalMatchers & of;
   const Zeugma::DumpContextPtr & ctx;
   unsigned indent;

   template <class T>
   void operator()( const char * name, Quoin::Ptr<T> ExternalMatchersContent::*field ) const {
      ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s %p\n", name, pointerOf( of.content().*field ) );
   }
   template <class Status>
   void operator()( const char * name, ExternalListTable<Status> ExternalMatchersContent::*field ) const {
      for( auto i = ( of.content().*field ).first(); i; i.next() )
         ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s #%u, status %p\n", name, i.key(), pointerOf( i.value() ) );
   }
   template <class Status, class Made>
   void operator()( const char * name, ExternalListTable<Status> ExternalMatchersContent::*field, Made matchers ) const {
      for( auto i = ( of.content().*field ).first(); i; i.next() ) {
         const auto & matcher = ( of.*matchers )[ i.key() ];
         ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s #%u, status %p, matcher %p\n", name, i.key(),
                               matcher ? pointerOf( matcher->status() ) : nullptr, pointerOf( matcher ) );
      }
   }
   template <class Status, class Made>
   void operator()( const char * name, ExternalListTable<Status> ExternalMatchersContent::*field, Made v4, Made v6 ) const {
      for( auto i = ( of.content().*field ).first(); i; i.next() )   // the missing blank and the text "/n" are intended
         ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s #%u, status %p, v4matcher %p, v6matcher%p/n", name, i.key(), pointerOf( i.value() ),
                               pointerOf( ( of.*v4 )[ i.key() ] ), pointerOf( ( of.*v6 )[ i.key() ] ) );
   }
};

}   // namespace

ExternalMatchersContent::ExternalMatchersContent( Quoin::Ptr<const SrLabelRangeStatus> srLabelRangeStatus )
      : srLabelRangeStatus_( std::move( srLabelRangeStatus ) ) {}

ExternalMatchersContent::ExternalMatchersContent( const Quoin::String & ) {
   QUOIN_ASSERT( false, "\"No String constructor for ExternalMatchersContent - has collection\" == nullptr" );
}

uint32_t ExternalMatchersContent::hash( uint32_t seed ) const noexcept {
   Zeugma::HashMix mix( seed );
   ExternalMatchersFields::each( [ & ]( const char *, auto field, auto... ) { mixField( mix, this->*field ); } );
   return mix;
}

std::strong_ordering ExternalMatchersContent::operator<=>( const ExternalMatchersContent & other ) const noexcept {
   auto order = std::strong_ordering::equal;
   if( this == &other ) return order;
   ExternalMatchersFields::each( [ & ]( const char *, auto field, auto... ) {
      if( order == 0 ) order = compareField( this->*field, other.*field );
   } );
   return order;
}

ExternalMatchers::ExternalMatchers( const ExternalMatchersContent & content ) : content_( content ) {
   initialize();
}
ExternalMatchers::~ExternalMatchers() = default;

void ExternalMatchers::initialize() {
   const auto enter = []( PrefixListMatchers & matchers, uint32_t number, const Quoin::Ptr<const PrefixListStatus> & status ) {
      if( status ) matchers.put( number, Quoin::makeNode<PrefixListMatcher>( status->name(), status ) );
   };
   for( auto i = content_.v4Pfxl().first(); i; i.next() ) enter( v4Pfxl_, i.key(), i.value() );
   for( auto i = content_.v6Pfxl().first(); i; i.next() ) enter( v6Pfxl_, i.key(), i.value() );
   for( auto i = content_.dynPrefixListStatus().first(); i; i.next() ) {
      enter( v4DynPfxl_, i.key(), i.value()->v4PrefixList() );
      enter( v6DynPfxl_, i.key(), i.value()->v6PrefixList() );
   }
}

uint32_t ExternalMatchers::hash() const {
   return content_.hash( 0 );
}

bool ExternalMatchers::compare( const Zeugma::DedupHandleBase * other ) const {
   return content_ == static_cast<const ExternalMatchers *>( other )->content_;
}

bool ExternalMatchers::compareByContent( const Zeugma::DedupContentHandle & content ) const {
   return content_ == content.content<ExternalMatchersContent>();
}

void ExternalMatchers::dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "External Matchers\n" );
   ExternalMatchersFields::each( FieldDump{ *this, ctx, indent + 2 } );
}

ExternalMatchersDedupTable::ExternalMatchersDedupTable() {
   handleInitialized();
}
ExternalMatchersDedupTable::~ExternalMatchersDedupTable() = default;

void ExternalMatchersDedupTable::handleInitialized() {
   dedupTable_ = Quoin::makeNode<Zeugma::DedupHashTableUnorderedSet>( true );   // any thread may release the last reference to a table
}

Quoin::Ptr<ExternalMatchers> ExternalMatchersDedupTable::dedupContent( const ExternalMatchersContent & content ) const {
   return Quoin::staticPtrCast<ExternalMatchers>(
      dedupTable_->findOrDedup( Zeugma::DedupContentHandle( content ), content.hash( 0 ),
                                [ & ]() -> Quoin::Ptr<Zeugma::DedupHandleBase> { return Quoin::makeNode<ExternalMatchers>( content ); } ) );
}

}   // namespace Gyre
