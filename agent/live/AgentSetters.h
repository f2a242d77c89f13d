/// @file agent/live/AgentSetters.h
/// The setters of this agent, beyond those of the library. Threading: setters run on several threads at once, each on its own result.
#pragma once

#include <string>
#include <utility>

#include "live/AgentRoute.h"
#include "live/Change.h"
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

/// Sets what the library does not know.
class ChangeSetter : public Setter {
 public:
   explicit ChangeSetter( SetClause set ) : set_( std::move( set ) ) {}
   void setValue( Result_ * result ) const override {
      if( auto * r = agentResultOf( result ) ) change( r->route, set_ );
   }

 protected:
   SetClause set_;
};

class LocalPreferenceSetter final : public ChangeSetter {
 public:
   explicit LocalPreferenceSetter( uint32_t value ) : ChangeSetter( { .kind = SetKind::localPreference, .number = value } ) {}
   void formatDerivedType( std::ostream & os ) const override { os << "LocalPreferenceSetter " << std::to_string( set_.number ); }
};

class CommunitySetter final : public ChangeSetter {
 public:
   using ChangeSetter::ChangeSetter;
   void formatDerivedType( std::ostream & os ) const override {
      os << "CommunitySetter";
      for( const Community c : set_.communities ) os << ' ' << std::to_string( c >> 16 ) << ':' << std::to_string( c & 0xffff );
      if( set_.additive )
         os << " additive";
      else if( set_.communities.empty() )
         os << " none";
   }
};

}   // namespace Agent
