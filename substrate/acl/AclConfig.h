/// @file substrate/acl/AclConfig.h
/// The configuration of access lists, as an agent writes it and machines watch it.
/// Ownership: Input::Config shares the types, a type its lists, a list its version. Threading: the activity thread.
#pragma once

#include <cstdint>
#include <ostream>

#include "routepolicy_export.h"
#include "substrate/ferule/FullMask.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/String.h"

namespace Acl {

/// Which addresses a list speaks of.
enum class AclType : uint8_t { ipv4 = 0, ipv6 = 1 };
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, AclType type );

enum class RuleAction : uint8_t { permit = 0, deny = 1 };

/// What a rule matches; of all that filters may say, route policy reads the source.
struct IpFilter {
   Ferule::IpAddrWithFullMask source{};
   friend bool operator==( const IpFilter &, const IpFilter & ) = default;
};
struct Ip6Filter {
   Ferule::Ip6AddrWithMask source{};
   friend bool operator==( const Ip6Filter &, const Ip6Filter & ) = default;
};

/// One rule. A default-built one permits everything.
struct IpRuleConfig {
   RuleAction action = RuleAction::permit;
   IpFilter filter{};
   friend bool operator==( const IpRuleConfig &, const IpRuleConfig & ) = default;
};
struct Ip6RuleConfig {
   RuleAction action = RuleAction::permit;
   Ip6Filter filter{};
   friend bool operator==( const Ip6RuleConfig &, const Ip6RuleConfig & ) = default;
};

/// The rules of a list: which rule stands at which sequence number, and what each rule says. A list of one family has rules of it
/// alone.
class ROUTEPOLICY_API AclVersion final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { ruleBySequence, ipRule, ip6Rule };
   using RuleId = uint32_t;
   using Sequences = Plinth::TreeMap<uint32_t, RuleId>;
   using IpRules = Plinth::HashMap2018<RuleId, IpRuleConfig>;
   using Ip6Rules = Plinth::HashMap2018<RuleId, Ip6RuleConfig>;
   ~AclVersion() override;

   /// By sequence number, ascending: the order in which rules govern.
   PLINTH_COLLECTION( ruleBySequence, ruleBySequenceIs, ruleBySequenceDel, ruleBySequenceDelAll, Field::ruleBySequence, Sequences );
   PLINTH_COLLECTION( ipRule, ipRuleIs, ipRuleDel, ipRuleDelAll, Field::ipRule, IpRules );
   PLINTH_COLLECTION( ip6Rule, ip6RuleIs, ip6RuleDel, ip6RuleDelAll, Field::ip6Rule, Ip6Rules );
};

/// One list.
class ROUTEPOLICY_API AclConfig final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { currVersion };
   explicit AclConfig( const Quoin::String & name ) : name_( name ) {}
   ~AclConfig() override;
   const Quoin::String & name() const noexcept { return name_; }
   /// The rules in force; null for none yet. An agent that changes many of them writes a new version aside and puts it here.
   PLINTH_ATTR( currVersion, currVersionIs, Field::currVersion, Quoin::Ptr<const AclVersion> );

 private:
   Quoin::String name_;
};

namespace Input {

/// The lists of one type.
class ROUTEPOLICY_API AclTypeConfig final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { acl };
   using Acls = Plinth::TreeMap<Quoin::String, Quoin::Ptr<AclConfig>>;
   explicit AclTypeConfig( AclType type ) : type_( type ) {}
   ~AclTypeConfig() override;
   AclType type() const noexcept { return type_; }
   /// By name.
   PLINTH_MADE_NODES( acl, aclIs, aclDel, aclDelAll, Field::acl, Acls );

 private:
   AclType type_;
};

/// All lists.
class ROUTEPOLICY_API Config final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { aclType };
   using AclTypes = Plinth::TreeMap<AclType, Quoin::Ptr<AclTypeConfig>>;
   ~Config() override;
   PLINTH_MADE_NODES( aclType, aclTypeIs, aclTypeDel, aclTypeDelAll, Field::aclType, AclTypes );
};

}   // namespace Input

}   // namespace Acl
