#include "function/GyreExternalMatchers.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <new>
#include <ostream>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "function/GyreTypes.h"
#include "substrate/plinth/Exception.h"
#include "substrate/zeugma/Dedup.h"
#include "substrate/zeugma/HashMix.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Gyre::ExternalMatchers;
using Gyre::ExternalMatchersContent;
using Gyre::ExternalMatchersDedupTable;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::AsPathListStatus;
using Routing::RouteMap::DynPrefixListStatus;
using Routing::RouteMap::ExtCommListStatus;
using Routing::RouteMap::LargeCommListStatus;
using Routing::RouteMap::PrefixListStatus;
using Routing::RouteMap::RoaTableStatus;
using Routing::RouteMap::SrLabelRangeStatus;
using Routing::RouteMap::StandardCommListStatus;
using Routing::RouteMap::TagSetStatus;
using testing::ElementsAre;
using testing::HasSubstr;
using Zeugma::DedupContentHandle;
using Zeugma::DumpContext;
using Zeugma::DumpContextPtr;

constexpr size_t kVariants = 4;   // lists of each kind

/// Some lists of every kind. Those of one kind stand in ascending order of their addresses, so that a test can tell which is the lesser.
class Lists {
 public:
   template <class T>
   using Kind = std::array<Ptr<const T>, kVariants>;

   Kind<PrefixListStatus> v4Pfxl = kind<PrefixListStatus>( []( size_t i ) {
      return ListFixtures::prefixList( { ( "10 permit 10." + std::to_string( i ) + ".0.0/16" ).c_str() }, name( "v4", i ).data() );
   } );
   Kind<PrefixListStatus> v6Pfxl = kind<PrefixListStatus>( []( size_t i ) {
      return ListFixtures::prefixList( { ( "10 permit 2001:db8:" + std::to_string( i ) + "::/48" ).c_str() }, name( "v6", i ).data() );
   } );
   Kind<AsPathListStatus> asPathListStatus = named<AsPathListStatus>();
   Kind<StandardCommListStatus> commListStatus = named<StandardCommListStatus>();
   Kind<ExtCommListStatus> extCommListStatus = named<ExtCommListStatus>();
   Kind<LargeCommListStatus> largeCommListStatus = named<LargeCommListStatus>();
   Kind<RoaTableStatus> roaTableStatus = named<RoaTableStatus>();
   Kind<DynPrefixListStatus> dynPrefixListStatus = kind<DynPrefixListStatus>( [ this ]( size_t i ) {   // with all four choices of families
      auto dyn = makeNode<DynPrefixListStatus>( name( "dyn", i ) );
      if( i & 1 ) dyn->v4PrefixListIs( v4Pfxl[ i ] );
      if( i & 2 ) dyn->v6PrefixListIs( v6Pfxl[ i ] );
      return dyn;
   } );
   Kind<SrLabelRangeStatus> srLabelRangeStatus = named<SrLabelRangeStatus>();
   Kind<TagSetStatus> tagSetStatus = named<TagSetStatus>();

 private:
   static Quoin::String name( const char * kind, size_t i ) { return kind + std::to_string( i ); }
   template <class T, class Make>
   static Kind<T> kind( Make make ) {
      Kind<T> all;
      for( size_t i = 0; i < kVariants; ++i ) all[ i ] = make( i );
      std::sort( all.begin(), all.end(), []( const auto & a, const auto & b ) { return a.get() < b.get(); } );
      return all;
   }
   template <class T>
   static Kind<T> named() {
      return kind<T>( []( size_t i ) { return makeNode<T>( name( "list", i ) ); } );
   }
};

Lists & lists() {
   static Lists all;
   return all;
}

/// A dynamic list with a list of neither, of one, or of both families.
Ptr<const DynPrefixListStatus> dynamic( const Ptr<const PrefixListStatus> & v4, const Ptr<const PrefixListStatus> & v6 ) {
   auto dyn = makeNode<DynPrefixListStatus>( "dynamic" );
   dyn->v4PrefixListIs( v4 );
   dyn->v6PrefixListIs( v6 );
   return dyn;
}

/// One table of a content, whatever its lists are.
struct Table {
   const char * name;
   void ( *is )( ExternalMatchersContent &, uint32_t, size_t variant );
   void ( *isNull )( ExternalMatchersContent &, uint32_t );
   void ( *del )( ExternalMatchersContent &, uint32_t );
   void ( *delAll )( ExternalMatchersContent & );
   const Quoin::Node * ( *at )( const ExternalMatchersContent &, uint32_t );
   std::vector<uint32_t> ( *numbers )( const ExternalMatchersContent & );
   const Quoin::Node * ( *list )( size_t variant );
   friend std::ostream & operator<<( std::ostream & os, const Table & t ) { return os << t.name; }
};

#define TABLE( foo )                                                                                      \
   Table {                                                                                                \
#foo, []( ExternalMatchersContent & c, uint32_t i, size_t v ) { c.foo##Is( i, lists().foo[ v ] ); },    \
         []( ExternalMatchersContent & c, uint32_t i ) { c.foo##Is( i, nullptr ); },                          \
         []( ExternalMatchersContent & c, uint32_t i ) { c.foo##Del( i ); },                                  \
         []( ExternalMatchersContent & c ) { c.foo##DelAll(); },                                              \
         []( const ExternalMatchersContent & c, uint32_t i ) -> const Quoin::Node * {                         \
            EXPECT_EQ( c.foo( i ), c.foo()[ i ] );                                                            \
            EXPECT_EQ( bool( c.foo().find( i ) ), bool( c.foo( i ) ) );                                       \
            return c.foo( i ).get();                                                                          \
         },                                                                                                   \
         []( const ExternalMatchersContent & c ) {                                                            \
            std::vector<uint32_t> all;                                                                        \
            for( auto i = c.foo().first(); i; i.next() ) all.push_back( i.key() );                            \
            return all;                                                                                       \
         },                                                                                                   \
         []( size_t v ) -> const Quoin::Node * { return lists().foo[ v ].get(); } \
   }

const Table kTables[] = { TABLE( v4Pfxl ),
                          TABLE( v6Pfxl ),
                          TABLE( asPathListStatus ),
                          TABLE( commListStatus ),
                          TABLE( extCommListStatus ),
                          TABLE( largeCommListStatus ),
                          TABLE( roaTableStatus ),
                          TABLE( dynPrefixListStatus ),
                          TABLE( tagSetStatus ) };
constexpr size_t kTableCount = std::size( kTables );
constexpr size_t kDynamic = 7, kTagSets = 8;   // the label range stands between these

/// The same of plain maps, from the first field to the last; and what a content of that must answer, the slow way.
struct Twin {
   std::map<uint32_t, const void *> table[ kTableCount ];
   const void * labelRange = nullptr;

   /// Every pointer that a hash takes in, in order.
   std::vector<const void *> hashed() const {
      std::vector<const void *> all;
      for( size_t t = 0; t <= kDynamic; ++t )
         for( const auto & [ number, list ] : table[ t ] ) all.push_back( list );
      all.push_back( labelRange );
      for( const auto & [ number, list ] : table[ kTagSets ] ) all.push_back( list );
      return all;
   }
   uint32_t hash( uint32_t seed ) const {
      Zeugma::HashMix mix( seed );
      for( const void * pointer : hashed() ) {
         const auto word = uint64_t( uintptr_t( pointer ) );
         unsigned char bytes[ 8 ];
         std::memcpy( bytes, &word, 8 );
         mix.mixBytes8( bytes );
      }
      return mix;
   }

   const void * at( size_t t, uint32_t number ) const {
      const auto found = table[ t ].find( number );
      return found == table[ t ].end() ? nullptr : found->second;
   }
   static int compare( const void * a, const void * b ) { return uintptr_t( a ) < uintptr_t( b ) ? -1 : uintptr_t( a ) > uintptr_t( b ); }
   static int compareTable( const Twin & a, const Twin & b, size_t t, uint32_t numbers ) {
      for( uint32_t number = 0; number < numbers; ++number )
         if( const int order = compare( a.at( t, number ), b.at( t, number ) ) ) return order;
      return 0;
   }
   static int compare( const Twin & a, const Twin & b, uint32_t numbers ) {
      for( size_t t = 0; t <= kDynamic; ++t )
         if( const int order = compareTable( a, b, t, numbers ) ) return order;
      if( const int order = compare( a.labelRange, b.labelRange ) ) return order;
      return compareTable( a, b, kTagSets, numbers );
   }
   friend bool operator==( const Twin &, const Twin & ) = default;
};

int signOf( std::strong_ordering order ) {
   return order < 0 ? -1 : order > 0;
}

std::string pointer( const void * object ) {
   char text[ 32 ];
   std::snprintf( text, sizeof text, "%p", object );
   return text;
}

std::string dumpOf( const Gyre::ExternalMatchersBase & matchers, unsigned indent ) {
   const DumpContextPtr ctx = makeNode<DumpContext>();
   matchers.dumpState( ctx, indent );
   return std::string( ctx->text().view() );
}

/// The dump, line by line out of the twin.
std::string expectedDump( const ExternalMatchers & m, const Twin & twin, unsigned indent ) {
   const std::string blanks( indent + 2, ' ' );
   std::string text = std::string( indent, ' ' ) + "External Matchers\n";
   const auto number = []( uint32_t n ) { return " #" + std::to_string( n ); };
   for( const auto & [ n, list ] : twin.table[ 0 ] )
      text += blanks + "v4Pfxl" + number( n ) + ", status " + pointer( list ) + ", matcher " + pointer( m.v4Pfxl( n ).get() ) + "\n";
   for( const auto & [ n, list ] : twin.table[ 1 ] )
      text += blanks + "v6Pfxl" + number( n ) + ", status " + pointer( list ) + ", matcher " + pointer( m.v6Pfxl( n ).get() ) + "\n";
   const char * const plain[] = { "asPathListStatus", "commListStatus", "extCommListStatus", "largeCommListStatus", "roaTableStatus" };
   for( size_t t = 2; t < kDynamic; ++t )
      for( const auto & [ n, list ] : twin.table[ t ] )
         text += blanks + plain[ t - 2 ] + number( n ) + ", status " + pointer( list ) + "\n";
   for( const auto & [ n, list ] : twin.table[ kDynamic ] )
      text += blanks + "dynPrefixListStatus" + number( n ) + ", status " + pointer( list ) + ", v4matcher " +
         pointer( m.v4DynPfxl( n ).get() ) + ", v6matcher" + pointer( m.v6DynPfxl( n ).get() ) + "/n";
   text += blanks + "srLabelRangeStatus " + pointer( twin.labelRange ) + "\n";
   for( const auto & [ n, list ] : twin.table[ kTagSets ] )
      text += blanks + "tagSetStatus" + number( n ) + ", status " + pointer( list ) + "\n";
   return text;
}

using Matcher = Ptr<const Routing::Policy::PrefixListMatcher>;

void expectMatcherOf( const Matcher & matcher, const Ptr<const PrefixListStatus> & status ) {
   ASSERT_TRUE( matcher );
   EXPECT_EQ( matcher->status(), status );
   EXPECT_EQ( matcher->name(), status->name() );
   EXPECT_FALSE( matcher->invertResult() );
}

std::vector<uint32_t> numbersOf( const ExternalMatchers::PrefixListMatchers & matchers ) {
   std::vector<uint32_t> all;
   for( auto i = matchers.first(); i; i.next() ) all.push_back( i.key() );
   return all;
}

class EachTable : public testing::TestWithParam<Table> {};
INSTANTIATE_TEST_SUITE_P( ExternalMatchersContent, EachTable, testing::ValuesIn( kTables ),
                          []( const auto & info ) { return std::string( info.param.name ); } );

TEST_P( EachTable, holdsAUseOfEachOfItsLists ) {
   const Table & t = GetParam();
   const auto before = t.list( 0 )->useCount();
   {
      ExternalMatchersContent content;
      t.is( content, 1, 0 );
      t.is( content, 2, 0 );
      EXPECT_EQ( t.list( 0 )->useCount(), before + 2 );
      t.del( content, 2 );
      EXPECT_EQ( t.list( 0 )->useCount(), before + 1 );
      const ExternalMatchersContent copy = content;
      EXPECT_EQ( t.list( 0 )->useCount(), before + 2 );
      t.delAll( content );
      EXPECT_EQ( t.list( 0 )->useCount(), before + 1 );
      EXPECT_EQ( t.at( copy, 1 ), t.list( 0 ) );
   }
   EXPECT_EQ( t.list( 0 )->useCount(), before );
}

TEST_P( EachTable, isSeenByEveryOperation ) {
   const Table & t = GetParam();
   const ExternalMatchersContent none;
   ExternalMatchersContent content, other;
   t.is( content, 1, 0 );
   EXPECT_TRUE( content );
   EXPECT_NE( content, none );
   EXPECT_LT( none, content );
   EXPECT_NE( content.hash( 0 ), none.hash( 0 ) );
   t.is( other, 1, 1 );
   EXPECT_LT( content, other );
   EXPECT_GT( other, content );
   EXPECT_FALSE( ExternalMatchersContent::isEq( &content, &other ) );
   EXPECT_NE( content.hash( 0 ), other.hash( 0 ) );
   t.is( other, 1, 0 );
   EXPECT_EQ( content, other );
   EXPECT_TRUE( ExternalMatchersContent::isEq( &content, &other ) );
   EXPECT_EQ( content.hash( 0 ), other.hash( 0 ) );
   EXPECT_THAT( dumpOf( ExternalMatchers( content ), 0 ),
                HasSubstr( "  " + std::string( t.name ) + " #1, status " + pointer( t.list( 0 ) ) ) );
}

TEST_P( EachTable, atOtherNumbersIsAnotherContentOfTheSameHash ) {
   const Table & t = GetParam();
   ExternalMatchersContent three, seven;
   t.is( three, 3, 0 );
   t.is( seven, 7, 0 );
   EXPECT_EQ( three.hash( 0 ), seven.hash( 0 ) );
   EXPECT_EQ( three.hash( 99 ), seven.hash( 99 ) );
   EXPECT_NE( three, seven );
   EXPECT_GT( three, seven );   // at 3 the other has none
   const auto table = makeNode<ExternalMatchersDedupTable>();
   const auto a = table->dedupContent( three ), b = table->dedupContent( seven );
   EXPECT_NE( a, b );
   EXPECT_EQ( a->hash(), b->hash() );
   EXPECT_EQ( table->dedupTable()->count(), 2u );
}

TEST_P( EachTable, anEmptySlotAtTheEndIsNoDifference ) {
   const Table & t = GetParam();
   ExternalMatchersContent content, longer;
   t.is( content, 2, 0 );
   t.is( longer, 2, 0 );
   t.is( longer, 9, 1 );
   EXPECT_LT( content, longer );
   t.del( longer, 9 );
   EXPECT_EQ( content, longer );
   EXPECT_EQ( longer, content );
   EXPECT_EQ( content.hash( 0 ), longer.hash( 0 ) );
   const auto table = makeNode<ExternalMatchersDedupTable>();
   EXPECT_EQ( table->dedupContent( longer ), table->dedupContent( content ) );
   t.del( longer, 2 );
   EXPECT_FALSE( longer );
   EXPECT_EQ( longer, ExternalMatchersContent() );
}

TEST_P( EachTable, refusesANullListAndStaysAsItWas ) {
   const Table & t = GetParam();
   ExternalMatchersContent content;
   t.is( content, 1, 0 );
   try {
      t.isNull( content, 1 );
      ADD_FAILURE() << "nothing thrown";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_THAT( e.what(), HasSubstr( std::string( t.name ) + "Is" ) ); }
   EXPECT_EQ( t.at( content, 1 ), t.list( 0 ) );
}

TEST_P( EachTable, takesTheHighestNumber ) {
   const Table & t = GetParam();
   ExternalMatchersContent content;
   t.is( content, 2003003, 0 );
   EXPECT_EQ( t.at( content, 2003003 ), t.list( 0 ) );
   EXPECT_THAT( t.numbers( content ), ElementsAre( 2003003 ) );
   ExternalMatchersContent low;
   t.is( low, 0, 0 );
   EXPECT_EQ( content.hash( 0 ), low.hash( 0 ) );
   EXPECT_LT( content, low );
   t.delAll( content );
   EXPECT_FALSE( content );
}

TEST( ExternalListTable, handsOutWhatStoodInItInOrder ) {
   ExternalMatchersContent::TagSets table;
   EXPECT_TRUE( table.takeAll().empty() );
   const auto & sets = lists().tagSetStatus;
   table.put( 8, sets[ 1 ] );
   table.put( 2, sets[ 0 ] );
   table.put( 5, sets[ 0 ] );
   table.erase( 5 );
   EXPECT_THAT( table.takeAll(), ElementsAre( std::pair( 2u, sets[ 0 ] ), std::pair( 8u, sets[ 1 ] ) ) );
   EXPECT_TRUE( table.empty() );
   EXPECT_EQ( table.size(), 0u );
}

using EachTableDeathTest = EachTable;
INSTANTIATE_TEST_SUITE_P( ExternalMatchersContent, EachTableDeathTest, testing::ValuesIn( kTables ),
                          []( const auto & info ) { return std::string( info.param.name ); } );

TEST_P( EachTableDeathTest, endsTheProcessAtANumberBeyondTheBound ) {
   for( const uint32_t number : { 2003004u, 4294967295u } ) {
      ExternalMatchersContent content;
      EXPECT_DEATH( GetParam().is( content, number, 0 ), "Assertion failed: newEntries < 2003004\n" ) << number;
   }
}

TEST( ExternalMatchersContentDeathTest, hasNoTextForm ) {
   for( const char * text : { "", "v4Pfxl" } )
      EXPECT_DEATH( ExternalMatchersContent{ Quoin::String( text ) },
                    "Assertion failed: \"No String constructor for ExternalMatchersContent - has collection\" == nullptr\n" );
   static_assert( !std::is_convertible_v<Quoin::String, ExternalMatchersContent> );
}

TEST( ExternalMatchersContent, aDefaultOneIsNothing ) {
   const ExternalMatchersContent content;
   EXPECT_FALSE( content );
   EXPECT_EQ( content, ExternalMatchersContent() );
   EXPECT_FALSE( content.srLabelRangeStatus() );
   EXPECT_EQ( content.hash( 5 ), Twin().hash( 5 ) );
}

TEST( ExternalMatchersContent, oneWithALabelRangeOnlyIsSomething ) {
   const auto & range = lists().srLabelRangeStatus[ 0 ];
   const ExternalMatchersContent content( range );
   EXPECT_TRUE( content );
   EXPECT_EQ( content.srLabelRangeStatus(), range );
   for( const Table & t : kTables ) EXPECT_THAT( t.numbers( content ), ElementsAre() ) << t;
   ExternalMatchersContent written;
   written.srLabelRangeStatusIs( range );
   EXPECT_EQ( written, content );
   written.srLabelRangeStatusIs( lists().srLabelRangeStatus[ 1 ] );
   EXPECT_GT( written, content );
   EXPECT_NE( written.hash( 0 ), content.hash( 0 ) );
   written.srLabelRangeStatusIs( nullptr );
   EXPECT_FALSE( written );
   EXPECT_FALSE( ExternalMatchersContent( Ptr<const SrLabelRangeStatus>() ) );
}

TEST( ExternalMatchersContent, seedsGiveHashesOfTheirOwn ) {
   const ExternalMatchersContent content( lists().srLabelRangeStatus[ 0 ] );
   EXPECT_NE( content.hash( 0 ), content.hash( 1 ) );
   EXPECT_EQ( content.hash(), content.hash( 0 ) );
}

TEST( ExternalMatchersContent, listsCountByIdentityNotByWhatIsInThem ) {
   ExternalMatchersContent a, b;
   a.commListStatusIs( 1, makeNode<StandardCommListStatus>( "same" ) );
   b.commListStatusIs( 1, makeNode<StandardCommListStatus>( "same" ) );
   EXPECT_NE( a, b );
}

TEST( ExternalMatchersContent, anEarlierFieldOutweighsAllLaterOnes ) {
   // Of each pair the one that is greater in a field is less in the next.
   const auto put = []( ExternalMatchersContent & c, size_t field, size_t variant ) {
      if( field == kDynamic + 1 )
         c.srLabelRangeStatusIs( lists().srLabelRangeStatus[ variant ] );
      else
         kTables[ field > kDynamic ? field - 1 : field ].is( c, 4, variant );
   };
   for( size_t field = 0; field < kTableCount; ++field ) {
      ExternalMatchersContent less, greater;
      put( less, field, 0 );
      put( greater, field, 1 );
      for( size_t later = field + 1; later <= kTableCount; ++later ) {
         put( less, later, 3 );
         put( greater, later, 2 );
      }
      EXPECT_LT( less, greater ) << field;
      EXPECT_GT( greater, less ) << field;
   }
}

TEST( ExternalMatchersContent, hashingAndComparingAllocateNothing ) {
   ExternalMatchersContent a, b;
   for( const Table & t : kTables ) {
      t.is( a, 3, 0 );
      t.is( b, 3, 0 );
   }
   const size_t before = allocationCount();
   const bool same = a == b && a.hash( 0 ) == b.hash( 0 ) && a;
   EXPECT_EQ( allocationCount(), before );
   EXPECT_TRUE( same );
}

TEST( ExternalMatchers, aDynamicListHasMatchersForTheFamiliesThatItHas ) {
   const auto & v4 = lists().v4Pfxl[ 0 ];
   const auto & v6 = lists().v6Pfxl[ 0 ];
   ExternalMatchersContent content;
   content.dynPrefixListStatusIs( 1, dynamic( v4, nullptr ) );
   content.dynPrefixListStatusIs( 3, dynamic( nullptr, v6 ) );
   content.dynPrefixListStatusIs( 4, dynamic( v4, v6 ) );
   content.dynPrefixListStatusIs( 6, dynamic( nullptr, nullptr ) );
   const auto matchers = makeNode<ExternalMatchers>( content );
   EXPECT_THAT( numbersOf( matchers->v4DynPfxl() ), ElementsAre( 1, 4 ) );
   EXPECT_THAT( numbersOf( matchers->v6DynPfxl() ), ElementsAre( 3, 4 ) );
   EXPECT_FALSE( matchers->v4DynPfxl( 3 ) );
   EXPECT_FALSE( matchers->v6DynPfxl( 1 ) );
   for( const uint32_t number : { 1, 4 } ) expectMatcherOf( matchers->v4DynPfxl( number ), v4 );
   for( const uint32_t number : { 3, 4 } ) expectMatcherOf( matchers->v6DynPfxl( number ), v6 );
   EXPECT_THAT( numbersOf( matchers->v4Pfxl() ), ElementsAre() );
   EXPECT_THAT( numbersOf( matchers->v6Pfxl() ), ElementsAre() );
}

TEST( ExternalMatchers, itsMatchersAskTheirLists ) {
   ExternalMatchersContent content;
   content.v4PfxlIs( 0, ListFixtures::prefixList( { "10 permit 10.1.0.0/16" } ) );
   content.v6PfxlIs( 0, ListFixtures::prefixList( { "10 permit 2001:db8::/32" } ) );
   const auto matchers = makeNode<ExternalMatchers>( content );
   const auto matches = []( const Matcher & matcher, const char * prefix ) {
      const auto route = ListFixtures::routeTo( prefix );
      return matcher->match( &route, nullptr );
   };
   EXPECT_TRUE( matches( matchers->v4Pfxl( 0 ), "10.1.0.0/16" ) );
   EXPECT_FALSE( matches( matchers->v4Pfxl( 0 ), "10.2.0.0/16" ) );
   EXPECT_TRUE( matches( matchers->v6Pfxl( 0 ), "2001:db8::/32" ) );
   EXPECT_FALSE( matches( matchers->v6Pfxl( 0 ), "10.1.0.0/16" ) );
}

TEST( ExternalMatchers, comparesByContent ) {
   ExternalMatchersContent content, other, moved;
   content.tagSetStatusIs( 1, lists().tagSetStatus[ 0 ] );
   other.tagSetStatusIs( 1, lists().tagSetStatus[ 1 ] );
   moved.tagSetStatusIs( 2, lists().tagSetStatus[ 0 ] );
   const ExternalMatchers a( content ), same( content ), different( other ), ofTheSameHash( moved );
   EXPECT_EQ( a.hash(), content.hash( 0 ) );
   EXPECT_TRUE( a.compare( &same ) );
   EXPECT_TRUE( a.compare( &a ) );
   EXPECT_FALSE( a.compare( &different ) );
   ASSERT_EQ( a.hash(), ofTheSameHash.hash() );
   EXPECT_FALSE( a.compare( &ofTheSameHash ) );
   EXPECT_FALSE( a.compareByContent( DedupContentHandle( moved ) ) );
   EXPECT_TRUE( a.compareByContent( DedupContentHandle( content ) ) );
   EXPECT_FALSE( a.compareByContent( DedupContentHandle( other ) ) );
   EXPECT_FALSE( a.isDeduped() );
   EXPECT_NE( a.compareLessThan( &same ), same.compareLessThan( &a ) );   // the order that every handle has
}

TEST( ExternalMatchers, twoDynamicListsAreDumpedInOneLine ) {
   const auto & v4 = lists().v4Pfxl[ 0 ];
   const auto & v6 = lists().v6Pfxl[ 0 ];
   const auto first = dynamic( nullptr, v6 ), second = dynamic( v4, nullptr );
   ExternalMatchersContent content;
   content.dynPrefixListStatusIs( 3, first );
   content.dynPrefixListStatusIs( 10, second );
   const ExternalMatchers matchers( content );
   const std::string null = pointer( nullptr );
   EXPECT_EQ( dumpOf( matchers, 0 ),
              "External Matchers\n"
              "  dynPrefixListStatus #3, status " +
                 pointer( first.get() ) + ", v4matcher " + null + ", v6matcher" + pointer( matchers.v6DynPfxl( 3 ).get() ) +
                 "/n  dynPrefixListStatus #10, status " + pointer( second.get() ) + ", v4matcher " +
                 pointer( matchers.v4DynPfxl( 10 ).get() ) + ", v6matcher" + null + "/n  srLabelRangeStatus " + null + "\n" );
}

TEST( ExternalMatchers, isDumpedAsPartOfItsFunction ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   const auto matchers = table->dedupContent( ExternalMatchersContent() );
   const auto function = Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" );
   function->externalMatchersIs( matchers );
   const DumpContextPtr ctx = makeNode<DumpContext>();
   function->dumpState( ctx, 0 );
   EXPECT_EQ( ctx->text(),
              Quoin::String( "GYRE FunctionStatus for function F\n  External Matchers\n    srLabelRangeStatus " + pointer( nullptr ) +
                             "\n  Function NULL\n" ) );
}

TEST( ExternalMatchersDedupTable, equalContentsGiveOneObject ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   EXPECT_EQ( table->dedupTable()->count(), 0u );
   ExternalMatchersContent content, same;
   content.v4PfxlIs( 1, lists().v4Pfxl[ 0 ] );
   same.v4PfxlIs( 1, lists().v4Pfxl[ 0 ] );
   const auto matchers = table->dedupContent( content );
   ASSERT_TRUE( matchers );
   EXPECT_TRUE( matchers->isDeduped() );
   EXPECT_EQ( matchers->content(), content );
   EXPECT_EQ( table->dedupContent( same ), matchers );
   EXPECT_EQ( matchers->useCount(), 1u );   // the table's is weak
   EXPECT_EQ( table->dedupTable()->count(), 1u );
   EXPECT_EQ( matchers->getDedupHashTable(), table->dedupTable().get() );
}

TEST( ExternalMatchersDedupTable, aHitAllocatesNothing ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   ExternalMatchersContent content;
   for( const Table & t : kTables ) t.is( content, 2, 0 );
   const auto matchers = table->dedupContent( content );
   const size_t before = allocationCount();
   const auto hit = table->dedupContent( content );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( hit, matchers );
   content.v4PfxlDelAll();
   const auto miss = table->dedupContent( content );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

TEST( ExternalMatchersDedupTable, anObjectThatCannotBeMadeLeavesNothingBehind ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   ExternalMatchersContent content;
   for( const Table & t : kTables ) t.is( content, 2, 3 );
   const auto uses = lists().v4Pfxl[ 3 ]->useCount();
   size_t n = 0;
   for( ;; ++n ) {
      bool failed = false;
      {
         const AllocationFailure failure( n );
         try {
            table->dedupContent( content );
         } catch( const std::bad_alloc & ) { failed = true; }
         if( !failure.happened() ) break;
      }
      EXPECT_TRUE( failed ) << n;
      EXPECT_EQ( table->dedupTable()->count(), 0u ) << n;
      EXPECT_EQ( lists().v4Pfxl[ 3 ]->useCount(), uses ) << n;
      ASSERT_LT( n, 1000u );
   }
   EXPECT_GT( n, 10u );   // each table of the content, the matchers, the object
}

TEST( ExternalMatchersDedupTable, theLastUserLeavesTheTableAndItsLists ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   const auto list = ListFixtures::prefixList( { "10 permit 10.0.0.0/8" } );
   ASSERT_EQ( list->useCount(), 1u );
   Ptr<const Gyre::ExternalMatchersBase> first, again;
   {
      ExternalMatchersContent content;
      content.v4PfxlIs( 0, list );
      content.dynPrefixListStatusIs( 0, dynamic( list, nullptr ) );
      first = again = table->dedupContent( content );
   }
   EXPECT_EQ( list->useCount(), 5u );   // of content and matcher, under both numbers, and the test's
   first = nullptr;
   EXPECT_EQ( list->useCount(), 5u );
   EXPECT_EQ( table->dedupTable()->count(), 1u );
   again = nullptr;
   EXPECT_EQ( list->useCount(), 1u );
   EXPECT_EQ( table->dedupTable()->count(), 0u );
}

TEST( ExternalMatchersDedupTable, anObjectOutlivesTheTable ) {
   auto table = makeNode<ExternalMatchersDedupTable>();
   const Ptr<const Zeugma::DedupHashTable> inner = table->dedupTable();
   auto matchers = table->dedupContent( ExternalMatchersContent() );
   table = nullptr;
   EXPECT_TRUE( matchers->isDeduped() );
   EXPECT_EQ( inner->count(), 1u );
   matchers = nullptr;
   EXPECT_EQ( inner->count(), 0u );
}

TEST( ExternalMatchersDedupTable, isStartedAnewByHandleInitialized ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   const auto former = table->dedupContent( ExternalMatchersContent() );
   table->handleInitialized();
   EXPECT_EQ( table->dedupTable()->count(), 0u );
   EXPECT_NE( table->dedupContent( ExternalMatchersContent() ), former );
}

TEST( ExternalMatchersDedupTable, aChangedListMeansAnotherObjectForItsFunctionsOnly ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   ExternalMatchersContent content;
   content.v4PfxlIs( 0, lists().v4Pfxl[ 0 ] );
   const auto f = Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" ), g = Gyre::FunctionStatusBase::FunctionStatusBaseIs( "G" );
   for( const auto & function : { f, g } ) function->externalMatchersIs( table->dedupContent( content ) );
   EXPECT_EQ( f->externalMatchers(), g->externalMatchers() );
   EXPECT_EQ( f->externalMatchers()->useCount(), 2u );
   content.v4PfxlIs( 0, lists().v4Pfxl[ 1 ] );
   f->externalMatchersIs( table->dedupContent( content ) );
   EXPECT_NE( f->externalMatchers(), g->externalMatchers() );
   EXPECT_EQ( table->dedupTable()->count(), 2u );
   g->externalMatchersIs( table->dedupContent( content ) );
   EXPECT_EQ( f->externalMatchers(), g->externalMatchers() );
   EXPECT_EQ( table->dedupTable()->count(), 1u );
}

TEST( ExternalMatchersThreads, manyReadOneObjectAndLetGoOfIt ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   ExternalMatchersContent content( lists().srLabelRangeStatus[ 0 ] );
   for( const Table & t : kTables ) t.is( content, 1, 0 );
   content.v4PfxlIs( 0, ListFixtures::prefixList( { "10 permit 10.1.0.0/16" } ) );
   content.dynPrefixListStatusIs( 0, dynamic( content.v4Pfxl( 0 ), nullptr ) );
   auto mine = table->dedupContent( content );
   const std::string dump = dumpOf( *mine, 2 );
   std::atomic<int> faults = 0;
   std::vector<std::thread> threads;
   for( int n = 0; n < 4; ++n )
      threads.emplace_back( [ &, matchers = Ptr<const ExternalMatchers>( mine ) ]() mutable {
         const auto hit = ListFixtures::routeTo( "10.1.0.0/16" ), miss = ListFixtures::routeTo( "10.2.0.0/16" );
         for( int round = 0; round < 200; ++round ) {
            for( const auto * matcher : { matchers->v4Pfxl( 0 ).get(), matchers->v4DynPfxl( 0 ).get() } )
               faults += !matcher->match( &hit, nullptr ) || matcher->match( &miss, nullptr );
            faults += !matchers->compareByContent( DedupContentHandle( content ) ) || matchers->hash() != content.hash( 0 );
            faults += matchers->content().tagSetStatus( 1 ) != content.tagSetStatus( 1 );
            faults += bool( matchers->v6Pfxl( 4000000 ) );
            faults += dumpOf( *matchers, 2 ) != dump;
         }
         matchers = nullptr;
      } );
   mine = nullptr;
   for( int round = 0; round < 200; ++round ) {   // look-ups go on meanwhile, also of what is just going
      const auto found = table->dedupContent( content );
      faults += found->content() != content || !found->isDeduped();
   }
   for( auto & thread : threads ) thread.join();
   EXPECT_EQ( faults, 0 );
   EXPECT_EQ( table->dedupTable()->count(), 0u );
}

TEST( ExternalMatchersThreads, lastUsersMayGoOnManyThreadsAtOnce ) {
   constexpr uint32_t kThreads = 4, kObjects = 1600;
   const auto table = makeNode<ExternalMatchersDedupTable>();
   std::vector<std::vector<Ptr<const ExternalMatchers>>> objects( kThreads );
   for( uint32_t n = 0; n < kObjects; ++n ) {
      ExternalMatchersContent content;   // all of one hash, so that they stand in each other's way
      content.asPathListStatusIs( n / 40, lists().asPathListStatus[ 0 ] );
      content.roaTableStatusIs( n % 40, lists().roaTableStatus[ 0 ] );
      objects[ n % kThreads ].push_back( table->dedupContent( content ) );
   }
   EXPECT_EQ( table->dedupTable()->count(), kObjects );
   std::atomic<uint32_t> ready = 0;
   std::vector<std::thread> threads;
   for( auto & mine : objects )
      threads.emplace_back( [ & ] {
         for( ++ready; ready < kThreads; ) std::this_thread::yield();
         mine.clear();
      } );
   for( auto & thread : threads ) thread.join();
   EXPECT_EQ( table->dedupTable()->count(), 0u );
}

// Random contents against their twins.

constexpr uint32_t kNumbers = 5;

struct Step {
   uint8_t field = 0;   // kTableCount is the label range
   uint8_t what = 0;
   uint8_t number = 0;
   uint8_t variant = 0;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      return os << '{' << int( s.field ) << ' ' << int( s.what ) << ' ' << int( s.number ) << ' ' << int( s.variant ) << '}';
   }
};

/// Steps on these fields at this many numbers, with this many lists of a kind.
rc::Gen<Step> stepOf( rc::Gen<uint8_t> field, uint8_t numbers, uint8_t variants ) {
   return rc::gen::resize( rc::kNominalSize,
                           rc::gen::build<Step>(   // else the ranges grow with the number of steps
                              rc::gen::set( &Step::field, std::move( field ) ),
                              rc::gen::set( &Step::what, rc::gen::inRange<uint8_t>( 0, 12 ) ),
                              rc::gen::set( &Step::number, rc::gen::inRange<uint8_t>( 0, numbers ) ),
                              rc::gen::set( &Step::variant, rc::gen::inRange<uint8_t>( 0, variants ) ) ) );
}
rc::Gen<std::vector<Step>> steps( int most ) {
   return rc::gen::resize(
      most, rc::gen::container<std::vector<Step>>( stepOf( rc::gen::inRange<uint8_t>( 0, kTableCount + 1 ), kNumbers, kVariants ) ) );
}

struct Pair {
   ExternalMatchersContent content;
   Twin twin;

   void run( const Step & s ) {
      if( s.field == kTableCount ) {
         const auto range = s.what < 4 ? nullptr : lists().srLabelRangeStatus[ s.variant ];
         content.srLabelRangeStatusIs( range );
         twin.labelRange = range.get();
         return;
      }
      const Table & table = kTables[ s.field ];
      if( s.what == 0 ) {
         table.delAll( content );
         twin.table[ s.field ].clear();
      } else if( s.what < 4 ) {
         table.del( content, s.number );
         twin.table[ s.field ].erase( s.number );
      } else {
         table.is( content, s.number, s.variant );
         twin.table[ s.field ][ s.number ] = table.list( s.variant );
      }
   }
   void run( const std::vector<Step> & all ) {
      for( const Step & s : all ) run( s );
   }
};

RC_GTEST_PROP( ExternalMatchersContent, behavesAsItsTwin, () ) {
   Pair a, b;
   const auto common = *steps( 60 );
   a.run( common );
   b.run( common );
   a.run( *steps( 4 ) );
   b.run( *steps( 4 ) );
   for( const Pair * p : { &a, &b } ) {
      for( size_t t = 0; t < kTableCount; ++t )
         for( uint32_t n = 0; n < kNumbers + 2; ++n ) RC_ASSERT( ( kTables[ t ].at( p->content, n ) == p->twin.at( t, n ) ) );
      const auto seed = *rc::gen::arbitrary<uint32_t>();
      RC_ASSERT( p->content.hash( seed ) == p->twin.hash( seed ) );
      RC_ASSERT( bool( p->content ) == !( p->twin == Twin() ) );
   }
   const int order = Twin::compare( a.twin, b.twin, kNumbers );
   RC_ASSERT( signOf( a.content <=> b.content ) == order );
   RC_ASSERT( signOf( b.content <=> a.content ) == -order );
   RC_ASSERT( ( a.content == b.content ) == ( order == 0 ) );
   RC_ASSERT( ExternalMatchersContent::isEq( &a.content, &b.content ) == ( order == 0 ) );
   RC_ASSERT( ( a.twin == b.twin ) == ( order == 0 ) );
}

RC_GTEST_PROP( ExternalMatchers, isMadeAndDumpedAsItsTwin, () ) {
   Pair p;
   p.run( *steps( 80 ) );
   const ExternalMatchers m( p.content );
   const auto isMatcherOf = []( const Matcher & matcher, const PrefixListStatus * status ) {
      if( !status ) return !matcher;
      return matcher && matcher->status().get() == status && matcher->name() == status->name() && !matcher->invertResult();
   };
   for( uint32_t n = 0; n < kNumbers + 2; ++n ) {
      RC_ASSERT( isMatcherOf( m.v4Pfxl( n ), p.content.v4Pfxl( n ).get() ) );
      RC_ASSERT( isMatcherOf( m.v6Pfxl( n ), p.content.v6Pfxl( n ).get() ) );
      const auto dyn = p.content.dynPrefixListStatus( n );
      RC_ASSERT( isMatcherOf( m.v4DynPfxl( n ), dyn ? dyn->v4PrefixList().get() : nullptr ) );
      RC_ASSERT( isMatcherOf( m.v6DynPfxl( n ), dyn ? dyn->v6PrefixList().get() : nullptr ) );
   }
   const unsigned indent = *rc::gen::inRange( 0u, 9u );
   RC_ASSERT( dumpOf( m, indent ) == expectedDump( m, p.twin, indent ) );
}

/// Functions that come, change what they refer to, and go; each holds the one object of its content.
RC_GTEST_PROP( ExternalMatchersDedupTable, holdsOneObjectPerContentInUse, () ) {
   const auto table = makeNode<ExternalMatchersDedupTable>();
   struct Function {
      Pair refers;
      Ptr<const ExternalMatchers> matchers;
   };
   std::vector<std::vector<uint32_t>> usesBefore( kTableCount );
   for( size_t t = 0; t < kTableCount; ++t )
      for( size_t v = 0; v < kVariants; ++v ) usesBefore[ t ].push_back( kTables[ t ].list( v )->useCount() );
   {
      std::vector<Function> functions( 6 );
      const auto step = stepOf( rc::gen::element<uint8_t>( 0, kDynamic, kTableCount ), 2, 2 );   // few choices, so that contents meet
      const auto program = *rc::gen::resize( 60,
                                             rc::gen::container<std::vector<std::pair<uint8_t, Step>>>(
                                                rc::gen::pair( rc::gen::element<uint8_t>( 0, 1, 2, 3, 4, 5 ), step ) ) );
      for( const auto & [ which, step ] : program ) {
         Function & f = functions[ which ];
         if( step.what == 11 ) {
            f = Function();
         } else {
            f.refers.run( step );
            f.matchers = table->dedupContent( f.refers.content );
         }
         std::vector<std::pair<Twin, const ExternalMatchers *>> inUse;   // each once
         for( const Function & g : functions ) {
            if( !g.matchers ) continue;
            RC_ASSERT( g.matchers->content() == g.refers.content );
            const auto same = std::find_if( inUse.begin(), inUse.end(), [ & ]( const auto & i ) { return i.first == g.refers.twin; } );
            if( same == inUse.end() )
               inUse.emplace_back( g.refers.twin, g.matchers.get() );
            else
               RC_ASSERT( ( same->second == g.matchers.get() ) );
         }
         RC_ASSERT( table->dedupTable()->count() == inUse.size() );
         for( const auto & [ twin, matchers ] : inUse ) {
            uint32_t users = 0;
            for( const Function & g : functions ) users += g.matchers.get() == matchers;
            RC_ASSERT( matchers->useCount() == users );
         }
      }
   }
   RC_ASSERT( table->dedupTable()->count() == 0u );
   for( size_t t = 0; t < kTableCount; ++t )
      for( size_t v = 0; v < kVariants; ++v ) RC_ASSERT( kTables[ t ].list( v )->useCount() == usesBefore[ t ][ v ] );
}

}   // namespace
