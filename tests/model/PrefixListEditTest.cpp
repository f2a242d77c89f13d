// A prefix list that is edited, generation by generation, against a linear one.
#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "policy/PrefixListMatcher.h"
#include "substrate/lists/RetiredPrefixRows.h"
#include "tests/model/PrefixListModel.h"
#include "tests/model/RandomCases.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace ListFixtures;
using Routing::Policy::PrefixListMatcher;
using Routing::RouteMap::PrefixListRows;
using Routing::RouteMap::PrefixRow;
using Routing::RouteMap::RetiredPrefixRows;
using Entry = PrefixListModel::Entry;

constexpr AddressFamily kFamilies[] = { AddressFamily::ipv4, AddressFamily::ipv6 };

std::string textOf( uint32_t seqno, bool permits, const IpGenPrefix & prefix, unsigned ge, unsigned le ) {
   return std::string( prefix.toStrep().view() ) + ' ' + std::to_string( seqno ) + ( permits ? " permit " : " deny " ) +
      std::to_string( ge ) + ' ' + std::to_string( le );
}

/// The rows of a generation, in the order of a visit.
std::vector<std::string> textsOf( const PrefixListRows & rows ) {
   std::vector<std::string> texts;
   rows.visitAll( [ & ]( const IpGenPrefix & prefix, const PrefixRow & row ) {
      texts.push_back( textOf( row.seqno(), row.permit(), prefix, row.ge(), row.le() ) );
   } );
   return texts;
}

std::vector<std::string> textsOf( const PrefixListModel & model ) {
   auto entries = model.entries;
   std::ranges::sort( entries, {},
                      []( const Entry & e ) { return std::tuple( e.prefix.ipGenAddr().bits(), e.prefix.length(), e.seqno ); } );
   std::vector<std::string> texts;
   for( const auto & e : entries ) texts.push_back( textOf( e.seqno, e.permit == permit, e.prefix, e.ge, e.le ) );
   return texts;
}

/// The entry objects that a walk hands out.
struct Recorder final : Routing::PatriciaTrieWalkCb {
   bool handlePrefixData( const IpGenPrefix & prefix, const Routing::PrefixData * head ) override {
      for( auto * e = static_cast<const PrefixListEntryData *>( head ); e; e = e->nextEntry() ) {
         EXPECT_EQ( e->prefixLength(), prefix.length() );
         texts.push_back( textOf( e->seqno(), e->isPrefixEntryPermit(), prefix, e->ge(), e->le() ) );
      }
      held.emplace_back( head );
      return true;
   }
   std::vector<std::string> texts;
   std::vector<Quoin::Ptr<const Routing::PrefixData>> held;
};

/// One list under edit, and the generations that somebody still uses.
class Edits {
 public:
   Edits( Random & random, AddressFamily af ) : random_( random ), prefixes_( random, af ), model_{ af, {} } { builderIs(); }

   void step() {
      switch( below( random_, 10 ) ) {
         case 0:
         case 1:
         case 2: return remove();
         case 3: return publish();
         case 4:
            if( !kept_.empty() ) kept_.erase( kept_.begin() + long( below( random_, kept_.size() ) ) );
            return;
         case 5:
            if( oneIn( random_, 20 ) ) builderIs();
            return;
         default: return add();
      }
   }

   void check() {
      publish();
      for( const auto & [ list, model ] : kept_ ) {
         ASSERT_EQ( textsOf( *list->rows() ), textsOf( model ) );
         EXPECT_EQ( list->entryCount(), model.entries.size() );
         const PrefixListMatcher matcher( "list", list );
         for( int i = 0; i < 5; ++i ) ask( matcher, model );
      }
      // However a set of rows came to be, its trie is the same.
      PrefixListBuilder builder( "list", model_.af );
      for( const auto & e : model_.entries ) EXPECT_EQ( builder.entryIs( configured( e ) ), std::nullopt );
      const auto fresh = builder.build();
      EXPECT_EQ( kept_.back().first->rows()->bytes(), fresh->rows()->bytes() );
      EXPECT_EQ( kept_.back().first->rows()->prefixCount(), fresh->rows()->prefixCount() );
   }

 private:
   static PrefixListEntry configured( const Entry & e ) { return { e.seqno, e.permit, e.prefix, e.ge, e.le }; }

   void builderIs() {
      builder_ = std::make_unique<PrefixListBuilder>( "list", model_.af );
      model_.entries.clear();
   }

   void add() {
      const unsigned bits = prefixes_.addressBits();
      const auto & entries = model_.entries;
      Entry e;
      e.seqno = oneIn( random_, 20 ) ? uint32_t( random_() ) : uint32_t( below( random_, 60 ) );
      e.permit = oneIn( random_, 2 ) ? permit : deny;
      e.prefix = entries.empty() || oneIn( random_, 3 ) ? prefixes_.network()
         : oneIn( random_, 2 )                          ? anyOf( random_, entries ).prefix
                                                        : prefixes_.around( anyOf( random_, entries ).prefix ).subnet();
      e.ge = e.prefix.length() + unsigned( below( random_, bits - e.prefix.length() + 1 ) );
      e.le = e.ge + unsigned( below( random_, bits - e.ge + 1 ) );
      EXPECT_EQ( !builder_->entryIs( configured( e ) ), model_.entryIs( configured( e ) ) );
   }

   void remove() {
      if( model_.entries.empty() ) {
         EXPECT_FALSE( builder_->entryDel( 7 ) );
         return;
      }
      const auto at = model_.entries.begin() + long( below( random_, model_.entries.size() ) );
      EXPECT_TRUE( builder_->entryDel( at->seqno ) );
      model_.entries.erase( at );
   }

   void publish() { kept_.emplace_back( builder_->build(), model_ ); }

   void ask( const PrefixListMatcher & matcher, const PrefixListModel & model ) {
      const auto asked = model.entries.empty() ? prefixes_.withHostBits() : prefixes_.around( anyOf( random_, model.entries ).prefix );
      EXPECT_EQ( matcher.matchPrefix( asked ), model.match( asked ) ) << asked;
      const auto covered = matcher.coveredByForTest( routeTo( asked ), noContext );
      EXPECT_EQ( covered.has_value(), model.coveredBy( asked ).result != Routing::Policy::PrefixListMatchResult::notMatched ) << asked;
      const auto recorder = Quoin::makeNode<Recorder>();
      matcher.status()->trie().ancestorWalk( asked, recorder.get() );
      auto containing = model;
      std::erase_if( containing.entries, [ & ]( const Entry & e ) { return !PrefixListModel::contains( e.prefix, asked ); } );
      auto expected = textsOf( containing );   // the prefixes that contain one prefix stand by length
      EXPECT_EQ( recorder->texts, expected ) << asked;
   }

   Random & random_;
   RandomPrefixes prefixes_;
   PrefixListModel model_;
   std::unique_ptr<PrefixListBuilder> builder_;
   std::vector<std::pair<Quoin::Ptr<const PrefixListStatus>, PrefixListModel>> kept_;
};

TEST( PrefixListEdit, eachGenerationAnswersLikeALinearListOfItsTime ) {
   for( const auto af : kFamilies )
      forRandomCases( 20, [ af ]( Random & random ) {
         Edits edits( random, af );
         for( auto steps = below( random, oneIn( random, 5 ) ? 300 : 60 ); steps; --steps ) edits.step();
         edits.check();
      } );
}

// Every allocation of a sequence of edits fails once.
TEST( PrefixListEdit, anEditThatFindsNoMemoryChangesNothing ) {
   for( const auto af : kFamilies ) {
      const std::vector<const char *> prefixes =
         af == AddressFamily::ipv4 ? std::vector{ "10.0.0.0/8",  "10.1.0.0/16", "10.1.0.0/16", "10.1.1.0/24",
                                                  "10.1.1.1/32", "10.1.1.1/32", "0.0.0.0/0",   "10.1.1.2/32" }
                                   : std::vector{ "2001:db8::/32",   "2001:db8::/32", "2001:db8:1::/48", "2001:db8::1/128",
                                                  "2001:db8::1/128", "::/0",          "2001:db8::2/128" };
      bool failed = true;
      size_t n = 0;
      for( ; failed; ++n ) {
         failed = false;
         size_t calls = 0;
         PrefixListBuilder builder( "list", af );
         PrefixListModel model{ af, {} };
         auto published = builder.build();
         const auto attempt = [ & ]( const auto & edit ) {
            const auto before = textsOf( model );
            if( failed ) return edit();
            const size_t made = allocationCount();
            bool threw = false;
            {
               const AllocationFailure failure( n - calls );
               try {
                  edit();
               } catch( const std::bad_alloc & ) { threw = true; }
               failed = failure.happened();
            }
            calls += allocationCount() - made;
            if( !threw ) return;   // if one failed all the same, the edit has done without it
            ASSERT_EQ( textsOf( *builder.build()->rows() ), before );
            edit();
         };
         // The first entry comes with the first build, the others one by one, each behind a generation.
         for( uint32_t i = 0; i < prefixes.size(); ++i ) {
            const PrefixListEntry entry{ 10 + i * 7 % 8, i % 2 ? deny : permit, IpGenPrefix( prefixes[ i ] ), {}, {} };
            attempt( [ & ] { EXPECT_EQ( builder.entryIs( entry ), std::nullopt ); } );
            ASSERT_TRUE( model.entryIs( entry ) );
            attempt( [ & ] { published = builder.build(); } );
            ASSERT_EQ( textsOf( *published->rows() ), textsOf( model ) );
         }
         while( !model.entries.empty() ) {
            const uint32_t seqno = model.entries[ model.entries.size() / 2 ].seqno;
            attempt( [ & ] { EXPECT_TRUE( builder.entryDel( seqno ) ); } );
            std::erase_if( model.entries, [ & ]( const Entry & e ) { return e.seqno == seqno; } );
            attempt( [ & ] { published = builder.build(); } );
            ASSERT_EQ( textsOf( *published->rows() ), textsOf( model ) );
         }
         EXPECT_EQ( builder.entryIs( { 1, permit, IpGenPrefix( prefixes[ 0 ] ), {}, {} } ), std::nullopt );
         EXPECT_EQ( builder.build()->entryCount(), 1u );
      }
      EXPECT_GT( n, 50u ) << "so many there are, at least";
   }
}

// What one edit copies is a path, whatever the size of the list.
TEST( PrefixListEdit, aGenerationSharesAllButAPath ) {
   for( const uint32_t size : { 1000u, 100'000u } ) {
      PrefixListBuilder builder( "list", AddressFamily::ipv4 );
      for( uint32_t i = 0; i < size; ++i )
         ASSERT_EQ( builder.entryIs( { i, permit, IpGenPrefix( Ferule::IpAddr( 0x0a000000 + ( i << 8 ) ), 24 ), {}, {} } ), std::nullopt );
      auto list = builder.build();
      const auto before = allocationCount();
      ASSERT_TRUE( builder.entryDel( size / 2 ) );
      list = builder.build();
      EXPECT_LT( allocationCount() - before, 20u ) << size;
   }
}

// Nine prefixes in each block.
IpGenPrefix prefixAt( uint32_t i ) {
   return IpGenPrefix( Ferule::IpAddr( i / 9 << 14 | i % 9 << 8 ), 24 );
}

Quoin::Ptr<const PrefixListStatus> largeList( PrefixListBuilder & builder ) {
   for( uint32_t i = 0; i < 200'000; ++i ) EXPECT_EQ( builder.entryIs( { i, permit, prefixAt( i ), {}, {} } ), std::nullopt );
   return builder.build();
}

/// How many calls free what waits, a thousand blocks each.
int slices() {
   int calls = 1;
   while( !RetiredPrefixRows::letGo( 1000 ) ) ++calls;
   return calls;
}

TEST( PrefixListEdit, aLargeListGoesInSlices ) {
   slices();
   auto builder = std::make_unique<PrefixListBuilder>( "list", AddressFamily::ipv4 );
   auto list = largeList( *builder );
   builder = nullptr;
   EXPECT_EQ( slices(), 1 ) << "somebody uses it";
   list = nullptr;
   EXPECT_GT( slices(), 15 );
}

// The blocks that an older generation shares stay, and all others are freed in slices too.
TEST( PrefixListEdit, aGenerationThatSharesLittleGoesInSlices ) {
   slices();
   auto builder = std::make_unique<PrefixListBuilder>( "list", AddressFamily::ipv4 );
   auto old = largeList( *builder );
   for( uint32_t i = 0; i < 100'000; ++i ) {   // as many as it has blocks, and less than a whole new list
      ASSERT_TRUE( builder->entryDel( i ) );
      ASSERT_EQ( builder->entryIs( { i, deny, prefixAt( i ), {}, {} } ), std::nullopt );
   }
   auto young = builder->build();
   builder = nullptr;
   EXPECT_EQ( slices(), 1 ) << "somebody uses both";
   young = nullptr;
   EXPECT_GT( slices(), 5 );
   const PrefixListMatcher matcher( "list", old );
   for( uint32_t i = 0; i < 200'000; ++i ) ASSERT_EQ( matcher.matchPrefix( prefixAt( i ) ).seqNo, i );
}

TEST( PrefixListEdit, theBlocksThatOnlyAnOldGenerationHasGoInSlices ) {
   slices();
   PrefixListBuilder builder( "list", AddressFamily::ipv4 );
   auto old = largeList( builder );
   for( uint32_t i = 0; i < 150'000; ++i ) ASSERT_TRUE( builder.entryDel( i ) );
   const auto young = builder.build();
   EXPECT_EQ( slices(), 1 ) << "somebody uses both";
   old = nullptr;
   EXPECT_GT( slices(), 5 );
   EXPECT_EQ( PrefixListMatcher( "list", young ).matchPrefix( prefixAt( 160'000 ) ).seqNo, 160'000u );
}

}   // namespace
