#include "substrate/routemap/ListPublication.h"

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace Routing::RouteMap {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Publication = ListPublication<TagSetStatus>;
using Log = std::vector<std::string>;

// What a publication tells: all of its steps, in their order.
const char * const kSteps[] = { "not current", "status", "current", "version" };

/// Writes down what a symbol and its notifier tell, and does something at one of the steps, once.
class Ear final : public Quoin::Subscriber {
 public:
   explicit Ear( Quoin::Ptr<TagSetSymbol> symbol ) : symbol_( std::move( symbol ) ) {
      symbol_->publisher()->subscriberAdd( this );
      version_.ear = this;
      symbol_->notifier()->publisher()->subscriberAdd( &version_ );
   }
   void on( std::string step, std::function<void()> reaction ) {
      step_ = std::move( step );
      reaction_ = std::move( reaction );
   }
   bool done() const { return !reaction_; }
   Log take() { return std::exchange( log_, {} ); }

 private:
   struct Version final : Quoin::Subscriber {
      void onChange( const Quoin::Change & ) override { ear->note( "version" ); }
      Ear * ear = nullptr;
   };
   void onChange( const Quoin::Change & change ) override {
      if( change.field == Quoin::FieldId( PolicySymbol::Field::statusCurrent ) )
         note( symbol_->statusCurrent() ? "current" : "not current" );
      else
         note( "status" );
   }
   void note( const std::string & step ) {
      log_.push_back( step );
      if( !reaction_ || step != step_ ) return;
      const auto now = std::exchange( reaction_, nullptr );
      now();
   }
   Quoin::Ptr<TagSetSymbol> symbol_;
   std::string step_;
   std::function<void()> reaction_;
   Log log_;
   Version version_;
};

class ListPublicationTest : public testing::Test {
 protected:
   /// What a producer would do: an edit of what is configured, and a publication of it as it then stands.
   void edit( RouteTag t ) {
      tag = t;
      publication->begin();
   }
   void publish() {
      publication->publish( [ this ] { return statusOf( tag ); } );
   }
   Quoin::Ptr<TagSetStatus> statusOf( RouteTag t ) {
      auto status = Quoin::makeNode<TagSetStatus>( "TS" );
      status->tagIs( t );
      return status;
   }
   /// The one tag of the list as it stands; none while it is undefined.
   std::optional<RouteTag> standing() const {
      if( !symbol->status() ) return {};
      for( RouteTag t = 0; t < 10; ++t )
         if( symbol->status()->tag().contains( t ) ) return t;
      return {};
   }
   uint32_t version() const { return symbol->notifier()->version(); }
   const Quoin::Ptr<TagSetSymbol> symbol = Quoin::makeNode<TagSetSymbol>( "TS" );
   RouteTag tag = 1;
   std::unique_ptr<Publication> publication = std::make_unique<Publication>( symbol );
};

TEST_F( ListPublicationTest, aNewOneHasPublishedNothing ) {
   EXPECT_EQ( publication->symbol(), symbol );
   EXPECT_FALSE( publication->underWay() );
   EXPECT_TRUE( symbol->statusCurrent() );
   publication = nullptr;
   EXPECT_EQ( version(), 0u );
   EXPECT_EQ( symbol->useCount(), 1u );
}

TEST_F( ListPublicationTest, aChangeIsBegunAndLands ) {
   Ear ear( symbol );
   edit( 2 );
   edit( 3 );
   EXPECT_TRUE( publication->underWay() );
   EXPECT_THAT( ear.take(), ElementsAre( "not current" ) );
   publish();
   EXPECT_THAT( ear.take(), ElementsAre( "status", "current", "version" ) );
   EXPECT_FALSE( publication->underWay() );
   EXPECT_EQ( standing(), 3u );
   publish();
   EXPECT_THAT( ear.take(), ElementsAre( "not current", "status", "current", "version" ) ) << "without a begin() too";
   EXPECT_EQ( version(), 2u );
}

TEST_F( ListPublicationTest, theStatusIsMadeWhenTheChangeHasBeenTold ) {
   bool current = true;
   publication->publish( [ & ] {
      current = symbol->statusCurrent();
      return statusOf( 1 );
   } );
   EXPECT_FALSE( current );
}

TEST_F( ListPublicationTest, anEditInsideALandingIsNotCoveredUp ) {
   for( const char * step : { "status", "current", "version" } ) {
      SCOPED_TRACE( step );
      publication = std::make_unique<Publication>( symbol );
      edit( 1 );
      Ear ear( symbol );
      ear.on( step, [ this ] { edit( 2 ); } );
      publish();
      EXPECT_TRUE( ear.done() );
      EXPECT_TRUE( publication->underWay() );
      EXPECT_FALSE( symbol->statusCurrent() ) << "what has begun last has not landed";
      EXPECT_EQ( standing(), 1u );
      publish();
      EXPECT_EQ( standing(), 2u );
      EXPECT_TRUE( !publication->underWay() && symbol->statusCurrent() );
      EXPECT_EQ( ear.take().back(), "version" );
   }
}

TEST_F( ListPublicationTest, anEditBeforeTheStatusIsMadeLandsWithIt ) {
   Ear ear( symbol );
   ear.on( "not current", [ this ] { edit( 2 ); } );
   publish();
   EXPECT_EQ( standing(), 2u );
   EXPECT_TRUE( !publication->underWay() && symbol->statusCurrent() );
   EXPECT_EQ( version(), 1u );
}

TEST_F( ListPublicationTest, aPublicationInsideAPublicationIsNotOverwritten ) {
   for( const char * step : kSteps ) {
      SCOPED_TRACE( step );
      publication = std::make_unique<Publication>( symbol );
      publish();
      const uint32_t before = version();
      Ear ear( symbol );
      ear.on( step, [ this ] {
         edit( 2 );
         publish();
      } );
      publish();
      EXPECT_TRUE( ear.done() );
      EXPECT_EQ( standing(), 2u );
      EXPECT_TRUE( !publication->underWay() && symbol->statusCurrent() );
      EXPECT_GT( version(), before );
      EXPECT_EQ( ear.take().back(), "version" ) << "whoever waits for a version finds it all in place";
      publication = nullptr;
      EXPECT_EQ( standing(), std::nullopt ) << "it takes back what it published last";
      EXPECT_TRUE( symbol->statusCurrent() );
      tag = 1;
   }
}

TEST_F( ListPublicationTest, whoHearsOfItMayDropTheProducer ) {
   for( const bool defined : { false, true } ) {
      for( const char * step : kSteps ) {
         SCOPED_TRACE( step );
         SCOPED_TRACE( defined );
         publication = std::make_unique<Publication>( symbol );
         if( defined ) publish();
         Ear ear( symbol );
         ear.on( step, [ this ] { publication = nullptr; } );
         auto & raw = *publication;
         raw.publish( [ this ] { return statusOf( 1 ); } );
         EXPECT_TRUE( ear.done() );
         EXPECT_EQ( publication, nullptr );
         EXPECT_EQ( symbol->status(), nullptr ) << "nobody is left to undefine it";
         EXPECT_TRUE( symbol->statusCurrent() );
      }
   }
   EXPECT_EQ( symbol->useCount(), 1u );
}

TEST_F( ListPublicationTest, whatTheMakingOfTheStatusThrowsLeavesTheOldOne ) {
   publish();
   const auto before = symbol->status();
   EXPECT_THROW( publication->publish( []() -> Quoin::Ptr<TagSetStatus> { throw std::runtime_error( "no" ); } ), std::runtime_error );
   EXPECT_EQ( symbol->status(), before );
   EXPECT_TRUE( publication->underWay() && !symbol->statusCurrent() );
   publication = nullptr;
   EXPECT_EQ( symbol->status(), nullptr );
   EXPECT_TRUE( symbol->statusCurrent() );
}

TEST_F( ListPublicationTest, oneThatGoesTellsOnce ) {
   publish();
   Ear ear( symbol );
   publication = nullptr;
   EXPECT_THAT( ear.take(), ElementsAre( "not current", "status", "current", "version" ) );
   EXPECT_EQ( version(), 2u );
   EXPECT_EQ( symbol->status(), nullptr );
}

TEST_F( ListPublicationTest, oneThatGoesLeavesTheListOfItsSuccessor ) {
   publish();
   Publication successor( symbol );
   successor.publish( [ this ] { return statusOf( 5 ); } );
   Ear ear( symbol );
   publication = nullptr;
   EXPECT_EQ( standing(), 5u );
   EXPECT_THAT( ear.take(), IsEmpty() );
}

TEST_F( ListPublicationTest, oneThatGoesWithAnEditUnderWayLeavesTheListOfItsSuccessorCurrent ) {
   publish();
   Publication successor( symbol );
   successor.publish( [ this ] { return statusOf( 5 ); } );
   edit( 2 );
   EXPECT_FALSE( symbol->statusCurrent() );
   publication = nullptr;
   EXPECT_EQ( standing(), 5u );
   EXPECT_TRUE( symbol->statusCurrent() ) << "nobody waits for what will never land";
   EXPECT_EQ( version(), 2u );
}

TEST_F( ListPublicationTest, aSuccessorMayComeWhileItGoes ) {
   for( const char * step : kSteps ) {
      SCOPED_TRACE( step );
      publication = std::make_unique<Publication>( symbol );
      publish();
      std::unique_ptr<Publication> successor;
      Ear ear( symbol );
      ear.on( step, [ & ] {
         successor = std::make_unique<Publication>( symbol );
         successor->publish( [ this ] { return statusOf( 5 ); } );
      } );
      publication = nullptr;
      EXPECT_TRUE( ear.done() );
      EXPECT_EQ( standing(), 5u ) << "it has defined the list meanwhile";
      EXPECT_TRUE( symbol->statusCurrent() );
      successor = nullptr;
      EXPECT_EQ( standing(), std::nullopt );
   }
}

TEST_F( ListPublicationTest, standsASymbolWithoutANotifier ) {
   symbol->notifierIs( nullptr );
   edit( 3 );
   publish();
   EXPECT_EQ( standing(), 3u );
   publication = nullptr;
   EXPECT_EQ( standing(), std::nullopt );
   EXPECT_TRUE( symbol->statusCurrent() );
}

}   // namespace
}   // namespace Routing::RouteMap
