/// @file agent/live/AgentSetters.h
/// The setters of this agent, beyond those of the library. Threading: setters run on several threads at once, each on its own result.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "live/AgentRoute.h"
#include "policy/Setter.h"
#include "text/PolicyText.h"

namespace Agent {

using Routing::Policy::Result_;
using Routing::Policy::Setter;

/// The result of this agent; null for a result of another agent.
inline AgentResult * agentResultOf( Result_ * result ) noexcept {
   return dynamic_cast<AgentResult *>( result );
}

class TagSetter final : public Setter {
 public:
   explicit TagSetter( uint32_t tag ) noexcept : tag_( tag ) {}
   void setValue( Result_ * result ) const override { result->tagIs( tag_ ); }
   void formatDerivedType( std::ostream & os ) const override { os << "TagSetter tag " << std::to_string( tag_ ); }

 private:
   uint32_t tag_;
};

class LocalPreferenceSetter final : public Setter {
 public:
   explicit LocalPreferenceSetter( uint32_t value ) noexcept : value_( value ) {}
   void setValue( Result_ * result ) const override {
      if( auto * r = agentResultOf( result ) ) r->localPreference = value_;
   }
   void formatDerivedType( std::ostream & os ) const override { os << "LocalPreferenceSetter " << std::to_string( value_ ); }

 private:
   uint32_t value_;
};

/// Replaces the communities of a route, or adds to them. `communities`: ascending, each once.
inline void communitiesAre( std::vector<Community> & communities, const SetClause & set ) {
   if( !set.additive ) communities.clear();
   for( const Community c : set.communities ) {
      const auto place = std::lower_bound( communities.begin(), communities.end(), c );
      if( place == communities.end() || *place != c ) communities.insert( place, c );
   }
}

class CommunitySetter final : public Setter {
 public:
   explicit CommunitySetter( SetClause set ) : set_( std::move( set ) ) {}
   void setValue( Result_ * result ) const override {
      if( auto * r = agentResultOf( result ) ) communitiesAre( r->communities, set_ );
   }
   void formatDerivedType( std::ostream & os ) const override {
      os << "CommunitySetter";
      for( const Community c : set_.communities ) os << ' ' << std::to_string( c >> 16 ) << ':' << std::to_string( c & 0xffff );
      if( set_.additive )
         os << " additive";
      else if( set_.communities.empty() )
         os << " none";
   }

 private:
   SetClause set_;
};

}   // namespace Agent
