#include "substrate/acl/AclConfig.h"

#include <string>

namespace Acl {

std::ostream & operator<<( std::ostream & os, AclType type ) {
   switch( type ) {
      case AclType::ipv4: return os << "ipv4";
      case AclType::ipv6: return os << "ipv6";
   }
   return os << std::to_string( unsigned( type ) );
}

AclVersion::~AclVersion() = default;
AclConfig::~AclConfig() = default;
Input::AclTypeConfig::~AclTypeConfig() = default;
Input::Config::~Config() = default;

}   // namespace Acl
