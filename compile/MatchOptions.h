/// @file compile/MatchOptions.h
/// The table of options: one row says all that compilation knows of an option.
///
///    option               list that its clause names     matcher
///    matchIpPrefixList    an IPv4 prefix list            PrefixListMatcher
///    matchTag             none                           TagMatcher
///    matchCommunity       a community list               left to agents
///
/// Which options are supported, where the symbols of their lists are, and which bit an undefined list sets derive from the rows. An agent
/// with match options of its own hands rows for them to the helpers of CommonHelpers.h.
/// Threading: rows are constants.
#pragma once

#include <concepts>
#include <span>

#include "compile/PolicyRoot.h"
#include "policy/Matcher.h"
#include "policy/UndefinedPolicyReference.h"
#include "substrate/routemap/MatchRule.h"

namespace Routing::Policy {

/// A kind of list that clauses refer to by name.
struct ListKind {
   using Symbol = Routing::RouteMap::PolicySymbol;
   /// The one symbol of that name.
   Quoin::Ptr<const Symbol> ( *symbol )( const Quoin::String & name, const PolicyRoot & root );
   /// Whether nothing is configured behind a symbol of this kind.
   bool ( *isUndefined )( const Symbol & symbol );
   /// What a reference to an undefined list is reported as: one bit; none: it is not reported.
   UndefinedPolicyReferenceBitfield reportedAs;
};

/// The same with the class of its symbols.
template <class S>
struct ListKindOf : ListKind {};

/// What compilation knows of one match option.
struct MatchOptionRow {
   using MatchRule = Routing::RouteMap::MatchRule;
   using Symbol = ListKind::Symbol;

   MatchOption option{};
   /// The kind of list that a clause names; null for none.
   const ListKind * list = nullptr;
   /// Whether this rule names a list; null: every rule does, if the option has a list.
   bool ( *namesList )( const MatchRule & rule ) = nullptr;
   /// The matcher of a rule. `symbol` is that of the list that the rule names, null where it names none. Null: not compiled here.
   Quoin::Ptr<const Matcher> ( *makeMatcher )( const MatchRule & rule, const Symbol * symbol ) = nullptr;
   /// Whether a matcher was made of the list that the symbol has now.
   bool ( *isOfPresentList )( const Matcher & matcher, const Symbol & symbol ) = nullptr;
   /// Whether changes of the option are recorded as a MatcherChange. False: one that is so recorded is a fault of the programmer.
   bool isRecorded = true;
};

// ---- how rows are written

namespace OptionRows {

template <class>
struct MemberOf;
template <class C, class R>
struct MemberOf<R ( C::* )() const noexcept> {
   using Class = C;
   using Symbol = std::remove_cvref_t<decltype( *std::declval<R>()->symbol( Quoin::String() ) )>;
};

}   // namespace OptionRows

/// The lists whose symbols are in a table of the root, as in `listsIn<&PolicyRoot::commListTable>()`. The table may be that of a class
/// which an agent derives from PolicyRoot; the root is then of that class.
template <auto Table>
constexpr auto listsIn( UndefinedPolicyReferenceBitfield reportedAs = {} ) noexcept {
   using Member = OptionRows::MemberOf<decltype( Table )>;
   using Symbol = typename Member::Symbol;
   return ListKindOf<Symbol>{ { []( const Quoin::String & name, const PolicyRoot & root ) -> Quoin::Ptr<const ListKind::Symbol> {
                                  return ( static_cast<const typename Member::Class &>( root ).*Table )()->symbol( name );
                               },
                                []( const ListKind::Symbol & symbol ) { return !static_cast<const Symbol &>( symbol ).status(); },
                                reportedAs } };
}

inline constexpr UndefinedPolicyReferenceBitfield kReportedAsPrefixList{ UndefinedPolicyReferenceBitfield::prefixListUndefined };
inline constexpr UndefinedPolicyReferenceBitfield kReportedAsCommList{ UndefinedPolicyReferenceBitfield::commListUndefined };

inline constexpr auto kIpv4PrefixLists = listsIn<&PolicyRoot::ipv4PrefixListTable>( kReportedAsPrefixList );
inline constexpr auto kIpv6PrefixLists = listsIn<&PolicyRoot::ipv6PrefixListTable>( kReportedAsPrefixList );
inline constexpr auto kCommunityLists = listsIn<&PolicyRoot::commListTable>( kReportedAsCommList );
inline constexpr auto kExtCommunityLists = listsIn<&PolicyRoot::extCommListTable>( kReportedAsCommList );
inline constexpr auto kLargeCommunityLists = listsIn<&PolicyRoot::largeCommListTable>( kReportedAsCommList );
inline constexpr auto kIpv4AccessLists = listsIn<&PolicyRoot::ipv4AclListTable>();
inline constexpr auto kAsPathLists = listsIn<&PolicyRoot::asPathListTable>();
inline constexpr auto kTagSets = listsIn<&PolicyRoot::tagSetTable>();

/// An option whose clause names a list of kind `list`. `M` is made of the list's name and status, and has `status()`; one that can be
/// inverted gets the rule's `invertResult`. `list` is a constant with static storage.
template <class M, class S>
constexpr MatchOptionRow listOption( MatchOption option, const ListKindOf<S> & list ) noexcept {
   MatchOptionRow row{ .option = option, .list = &list };
   row.makeMatcher = []( const MatchOptionRow::MatchRule & rule, const ListKind::Symbol * symbol ) -> Quoin::Ptr<const Matcher> {
      const auto & named = static_cast<const S &>( *symbol );
      const auto matcher = Quoin::makeNode<M>( named.name(), named.status() );
      if constexpr( requires { matcher->invertResultIs( true ); } ) matcher->invertResultIs( rule.invertResult );
      return matcher;
   };
   row.isOfPresentList = []( const Matcher & matcher, const ListKind::Symbol & symbol ) {
      const auto * m = dynamic_cast<const M *>( &matcher );
      return m && m->status() == static_cast<const S &>( symbol ).status();
   };
   return row;
}

/// An option whose clause has a value. `Make` makes the matcher of a MatchRule, and captures nothing.
template <std::default_initializable Make>
constexpr MatchOptionRow valueOption( MatchOption option, Make ) noexcept {
   MatchOptionRow row{ .option = option };
   row.makeMatcher = []( const MatchOptionRow::MatchRule & rule, const ListKind::Symbol * ) -> Quoin::Ptr<const Matcher> {
      return Make()( rule );
   };
   return row;
}

// ---- how rows are found

/// The row of an option: of `own`, or else of the library; null where neither has one.
ROUTEPOLICY_API const MatchOptionRow * findMatchOption( MatchOption option, std::span<const MatchOptionRow> own = {} ) noexcept;
/// The library's rows, by option: those that it compiles, and those of which it knows the list and leaves the matcher to agents.
ROUTEPOLICY_API std::span<const MatchOptionRow> commonMatchOptions() noexcept;

/// The kind of list that a set clause of the option names; null for none.
ROUTEPOLICY_API const ListKind * listOfSetOption( SetOption option ) noexcept;

}   // namespace Routing::Policy
