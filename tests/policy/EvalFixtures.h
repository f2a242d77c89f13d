/// @file tests/policy/EvalFixtures.h
/// What the tests of evaluation are made of: matchers with a script, functions that write down when they run, and short ways to
/// build route maps that call and continue. Threading: one thread.
///    auto map = routeMap( "RM1", { seq( 10 ).match( false ).call( sub ).continueTo( 30 ), seq( 20 ).deny() } );
#pragma once

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <locale>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "policy/Policy.h"
#include "tests/policy/Fixtures.h"

namespace EvalTest {

using namespace Routing::Policy;
using Fixtures::RecordingSetter;
using Fixtures::Watcher;
using Gyre::Eval::ResultCode;
using Quoin::makeNode;
using Quoin::Ptr;

/// What ran, in order.
using Journal = RecordingSetter::Log;

/// Answers call by call as told, the last answer for good.
class ScriptedMatcher final : public Matcher {
 public:
   explicit ScriptedMatcher( std::vector<bool> a, std::function<void()> d = {} ) : answers( std::move( a ) ), during( std::move( d ) ) {}
   bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override {
      const size_t call = calls++;
      if( during ) during();
      return answers[ std::min( call, answers.size() - 1 ) ];
   }
   void formatDerivedType( std::ostream & os ) const override { os << "ScriptedMatcher"; }
   RouteMapFeatures getFeatures() const override { return features; }

   std::vector<bool> answers;
   std::function<void()> during;
   RouteMapFeatures features;
   mutable size_t calls = 0;
};

inline Ptr<ScriptedMatcher> matcher( bool answer, std::function<void()> during = {} ) {
   return makeNode<ScriptedMatcher>( std::vector<bool>{ answer }, std::move( during ) );
}

/// Answers yes and writes its name down.
inline Ptr<ScriptedMatcher> noting( Journal & journal, std::string name, bool answer = true ) {
   return matcher( answer, [ &journal, name = std::move( name ) ] { journal.push_back( name ); } );
}

/// Writes down every preference that it is given.
class JournalResult final : public Result_ {
 public:
   JournalResult( Journal & j, std::string n ) : journal( j ), name( std::move( n ) ) {}
   void setPreference( Routing::RoutePreference preference ) override {
      journal.push_back( name + " gets " + std::to_string( preference ) );
      Result_::setPreference( preference );
   }
   Journal & journal;
   std::string name;
};

// ---- route maps

/// A sequence under construction: `seq( 10 ).deny().match( true )`.
class SeqBuilder {
 public:
   explicit SeqBuilder( uint32_t seqno ) : seq_( makeNode<RouteMapSeqStatus>( seqno ) ) {}
   SeqBuilder & deny() { return seq_->matchActionIs( Acl::MatchPermit::deny ), *this; }
   SeqBuilder & match( const Ptr<const Matcher> & m, MatchOption option = MatchOption::matchTag ) {
      return seq_->matcherIs( option, m ), *this;
   }
   SeqBuilder & match( bool answer ) { return match( matcher( answer ) ); }
   /// The answers of the first visit, the second and so on.
   SeqBuilder & match( std::initializer_list<bool> answers ) { return match( makeNode<ScriptedMatcher>( answers ) ); }
   SeqBuilder & set( const Ptr<const Setter> & s, SetOption option = SetOption::setTag ) { return seq_->setterIs( option, s ), *this; }
   SeqBuilder & call( const Ptr<const RouteMapStatus> & map ) { return seq_->subRouteMapIs( map ), *this; }
   SeqBuilder & callInverted( const Ptr<const RouteMapStatus> & map ) { return seq_->subInvertIs( true ), call( map ); }
   /// The object that it points at is no part of any route map: only the number counts.
   SeqBuilder & continueTo( uint32_t seqno ) { return seq_->continueSeqIs( makeNode<RouteMapSeqStatus>( seqno ) ), *this; }
   operator Ptr<const RouteMapSeqStatus>() const { return seq_; }
   const Ptr<RouteMapSeqStatus> & get() const { return seq_; }

 private:
   Ptr<RouteMapSeqStatus> seq_;
};

inline SeqBuilder seq( uint32_t seqno ) {
   return SeqBuilder( seqno );
}

inline Ptr<RouteMapStatus> routeMap( const char * name, std::initializer_list<SeqBuilder> seqs = {} ) {
   auto map = makeNode<RouteMapStatus>( name );
   for( const auto & s : seqs ) map->seqStatusIs( s );
   return map;
}

inline Ptr<RouteMapStatusList> listOf( std::initializer_list<std::pair<int, Ptr<const RouteMapStatus>>> maps ) {
   auto list = makeNode<RouteMapStatusList>();
   for( const auto & [ p, map ] : maps ) list->rmStatusIs( RmPrecedence( uint8_t( p ) ), map );
   return list;
}

template <class Matched>
std::vector<uint32_t> seqnosOf( const Matched & matched ) {
   std::vector<uint32_t> seqnos;
   for( const RouteMapSeqStatus * s : matched ) seqnos.push_back( s->seqno() );
   return seqnos;
}

// ---- functions

/// Hands itself out as a log, under its name.
struct FakeLog final : EvaluationLogBase {
   explicit FakeLog( std::string n ) : name( std::move( n ) ) {}
   const char * policyType() const override { return name.c_str(); }
   void toJson( Gloss::RendererV2 * renderer ) const override { renderer->_addJsonKeyValuePair( name, true ); }
   std::string name;
};

/// Writes down the calls that it gets.
struct FakeContext final : Gyre::Eval::EvalContextBase {
   FakeContext( Journal & j, std::string n ) : journal( j ), name( std::move( n ) ), resultOf( j, name ) {}
   Result_ * result() const override { return hasResult ? &resultOf : nullptr; }
   void shouldLogEvalIs( bool should ) override { journal.push_back( name + ( should ? " logs" : " does not log" ) ); }
   Ptr<const EvaluationLogBase> takeEvaluationLog() override {
      journal.push_back( name + " hands out its log" );
      return std::exchange( log, nullptr );
   }
   Journal & journal;
   std::string name;
   mutable JournalResult resultOf;
   bool hasResult = true;
   Ptr<const EvaluationLogBase> log;
};

/// Answers as told, and writes down on which context it runs.
struct FakeFunction final : Gyre::Eval::FunctionBase {
   FakeFunction( Journal & j, ResultCode c ) : journal( j ), code( c ) {}
   ResultCode evaluate( const Ptr<Gyre::Eval::EvalContextBase> & context ) const override {
      journal.push_back( static_cast<const FakeContext &>( *context ).name + " runs" );
      if( during ) during();
      return code;
   }
   RouteMapFeatures routeMapFeatures() const override { return features; }
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const override {
      ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "FakeFunction\n" );
   }
   Journal & journal;
   ResultCode code;
   RouteMapFeatures features;
   std::function<void()> during;
};

constexpr ResultCode kPermit = ResultCode::permit;
constexpr ResultCode kDeny = ResultCode( 1 );

/// A status whose body is there.
inline Ptr<Gyre::FunctionStatusBase> function( const char * name, const Ptr<const Gyre::Eval::FunctionBase> & body ) {
   auto status = Gyre::FunctionStatusBase::FunctionStatusBaseIs( name );
   status->aetIs( body );
   return status;
}

// ---- logs

/// While it stands, the process's locale writes 1234 as "1'2'3'4".
class OddLocale {
 public:
   OddLocale() = default;
   OddLocale( const OddLocale & ) = delete;
   ~OddLocale() { std::locale::global( before_ ); }

 private:
   struct Grouping : std::numpunct<char> {
      char do_thousands_sep() const override { return '\''; }
      std::string do_grouping() const override { return "\1"; }
   };
   std::locale before_ = std::locale::global( std::locale( std::locale::classic(), new Grouping ) );
};

inline std::string jsonOf( const EvaluationLogBase & log ) {
   Gloss::RendererV2 renderer;
   log.toJson( &renderer );
   return renderer.text();
}

/// The text with every address as "0x-".
inline std::string withoutAddresses( const Quoin::String & text ) {
   return std::regex_replace( std::string( text ), std::regex( "0x[0-9a-f]+" ), "0x-" );
}

/// What a log holds, field by field: "10{failed matchTag} 20{none call SUB( 5{none permit} permit )=permit permit >30} permit".
/// "none" stands for no matchers, "inverted" for subRouteMapInvertResult.
inline std::string fieldsOf( const PolicyEvaluationLog & log ) {
   std::string text;
   for( const auto & [ seqno, status ] : log.rmStatus()->seqStatus() ) {
      const auto record = log.seq( seqno );
      if( !record ) continue;
      std::string fields;
      auto add = [ & ]( bool on, const std::string & field ) {
         if( on ) fields += ( fields.empty() ? "" : " " ) + field;
      };
      add( record->hadNoMatchers(), "none" );
      add( record->failedMatcher() != MatchOption::none, std::string( "failed " ) + stringValue( record->failedMatcher() ) );
      if( const auto & sub = record->subPolicyEvaluationLog() )
         add( true,
              "call " + std::string( sub->rmStatus()->name() ) + "( " + fieldsOf( *sub ) +
                 " )=" + ( record->subRouteMapResult() ? "permit" : "deny" ) );
      add( record->subRouteMapInvertResult(), "inverted" );
      add( record->matchActionDeny(), "deny" );
      add( record->permitResult(), "permit" );
      add( record->continueSeq() != 0, ">" + std::to_string( record->continueSeq() ) );
      text += std::to_string( record->seqno() ) + "{" + fields + "} ";
   }
   return text + ( log.permitResult() ? "permit" : "deny" ) + ( log.defaultDeny() ? " default" : "" );
}

inline std::string fieldsOf( const EvaluationLogBase & log ) {
   return fieldsOf( dynamic_cast<const PolicyEvaluationLog &>( log ) );
}

}   // namespace EvalTest
