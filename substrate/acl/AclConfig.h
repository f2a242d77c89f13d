/// @file substrate/acl/AclConfig.h
/// The configuration of access lists. An agent writes it; the machines of compile/ watch it and compile each list.
/// Ownership: Input::Config holds the types, a type holds its lists, and a list holds its version. Threading: the activity thread.
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

/// The kind of addresses that a list matches.
enum class AclType : uint8_t { ipv4 = 0, ipv6 = 1 };
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, AclType type );

/// What a rule does with the addresses that it matches.
enum class RuleAction : uint8_t { permit = 0, deny = 1 };

/// What an IPv4 rule matches. Route policy uses only the source.
struct IpFilter {
   Ferule::IpAddrWithFullMask source{};
   friend bool operator==( const IpFilter &, const IpFilter & ) = default;
};
/// What an IPv6 rule matches. Route policy uses only the source.
struct Ip6Filter {
   Ferule::Ip6AddrWithMask source{};
   friend bool operator==( const Ip6Filter &, const Ip6Filter & ) = default;
};

/// One IPv4 rule. A default-built rule permits everything.
struct IpRuleConfig {
   RuleAction action = RuleAction::permit;
   IpFilter filter{};
   friend bool operator==( const IpRuleConfig &, const IpRuleConfig & ) = default;
};
/// One IPv6 rule. A default-built rule permits everything.
struct Ip6RuleConfig {
   RuleAction action = RuleAction::permit;
   Ip6Filter filter{};
   friend bool operator==( const Ip6RuleConfig &, const Ip6RuleConfig & ) = default;
};

/// The rules of a list: the rule at each sequence number, and the content of each rule. An IPv4 list has only IPv4 rules, and an IPv6 list
/// only IPv6 rules.
/// A version without rules starts no compilation. So after `ipRuleDelAll()`, or with a new version without rules, route maps keep matching
/// the rules that were compiled last. When the rules are deleted one by one, the deletions before the last one start a compilation, and
/// route maps then match an empty list. A list that must not permit anything gets one rule that denies everything.
class ROUTEPOLICY_API AclVersion final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { ruleBySequence, ipRule, ip6Rule };
   using RuleId = uint32_t;
   using Sequences = Plinth::TreeMap<uint32_t, RuleId>;
   using IpRules = Plinth::HashMap2018<RuleId, IpRuleConfig>;
   using Ip6Rules = Plinth::HashMap2018<RuleId, Ip6RuleConfig>;
   ~AclVersion() override;

   /// The rule ids by sequence number. The first rule in ascending order that matches decides.
   PLINTH_COLLECTION( ruleBySequence, ruleBySequenceIs, ruleBySequenceDel, ruleBySequenceDelAll, Field::ruleBySequence, Sequences );
   /// The IPv4 rules by rule id.
   PLINTH_COLLECTION( ipRule, ipRuleIs, ipRuleDel, ipRuleDelAll, Field::ipRule, IpRules );
   /// The IPv6 rules by rule id.
   PLINTH_COLLECTION( ip6Rule, ip6RuleIs, ip6RuleDel, ip6RuleDelAll, Field::ip6Rule, Ip6Rules );
};

/// One access list.
class ROUTEPOLICY_API AclConfig final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { currVersion };
   explicit AclConfig( const Quoin::String & name ) : name_( name ) {}
   ~AclConfig() override;
   const Quoin::String & name() const noexcept { return name_; }
   /// The current rules; null if no version was set yet. An agent that changes many rules fills a new version and then sets it here.
   PLINTH_ATTR( currVersion, currVersionIs, Field::currVersion, Quoin::Ptr<const AclVersion> );

 private:
   Quoin::String name_;
};

namespace Input {

/// The access lists of one type.
class ROUTEPOLICY_API AclTypeConfig final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { acl };
   using Acls = Plinth::TreeMap<Quoin::String, Quoin::Ptr<AclConfig>>;
   explicit AclTypeConfig( AclType type ) : type_( type ) {}
   ~AclTypeConfig() override;
   AclType type() const noexcept { return type_; }
   /// The lists by name.
   PLINTH_MADE_NODES( acl, aclIs, aclDel, aclDelAll, Field::acl, Acls );

 private:
   AclType type_;
};

/// The root of the configuration of access lists.
class ROUTEPOLICY_API Config final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { aclType };
   using AclTypes = Plinth::TreeMap<AclType, Quoin::Ptr<AclTypeConfig>>;
   ~Config() override;
   /// The lists of each type.
   PLINTH_MADE_NODES( aclType, aclTypeIs, aclTypeDel, aclTypeDelAll, Field::aclType, AclTypes );
};

}   // namespace Input

}   // namespace Acl
