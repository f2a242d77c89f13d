/// @file compile/MatchOptions.h
/// The table of match options: one row holds everything that compilation knows about an option. The machines of CommonComponent.h use the
/// rows to compile the match clauses of a sequence.
///
///    option               list that its clause names     matcher
///    matchIpPrefixList    an IPv4 prefix list            PrefixListMatcher
///    matchTag             none                           TagMatcher
///    matchCommunity       a community list               left to agents
///
/// The rows determine the supported options, the tables of the symbols, and the bit that an undefined list sets. An agent with match
/// options of its own passes their rows to the helpers of CommonHelpers.h.
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
   /// The symbol of a name.
   Quoin::Ptr<const Symbol> ( *symbol )( const Quoin::String & name, const PolicyRoot & root );
   /// Whether a symbol of this kind is undefined.
   bool ( *isUndefined )( const Symbol & symbol );
   /// The bit that reports a reference to an undefined list; no bit: the reference is not reported.
   UndefinedPolicyReferenceBitfield reportedAs;
};

/// A kind of list with the class of its symbols.
template <class S>
struct ListKindOf : ListKind {};

/// The row of one match option.
struct MatchOptionRow {
   using MatchRule = Routing::RouteMap::MatchRule;
   using Symbol = ListKind::Symbol;

   MatchOption option{};
   /// The kind of list that a clause names; null for none.
   const ListKind * list = nullptr;
   /// Whether a rule names a list. Null: every rule names one, if the option has a list.
   bool ( *namesList )( const MatchRule & rule ) = nullptr;
   /// Creates the matcher of a rule. `symbol` is the symbol of the list that the rule names, or null. A null function: the library does not
   /// compile the option. Errors: an exception, or a null matcher, ends the process, because the sequence would match wrong routes.
   Quoin::Ptr<const Matcher> ( *makeMatcher )( const MatchRule & rule, const Symbol * symbol ) = nullptr;
   /// Whether a matcher was created from the status that the symbol has now.
   bool ( *isOfPresentList )( const Matcher & matcher, const Symbol & symbol ) = nullptr;
   /// Whether changes of the option are recorded as a MatcherChange. If false, recording one is a programming error. Only the rows of the
   /// library are asked: a row of an agent for option 7 or 10 ends the process when it is compiled.
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

/// The kind of list whose symbols are in one table of the root, as in `listsIn<&PolicyRoot::commListTable>()`. The table may belong to a
/// class that an agent derives from PolicyRoot; the root must then be of this class.
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

/// An option whose clause names a list of kind `list`. The constructor of the matcher `M` takes the name and the status of the list, and
/// `M` has `status()`. If `M` can be inverted, it gets `invertResult` of the rule. `list` is a constant with static storage.
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

/// An option whose clause has a value and names no list. `Make` is a lambda without captures that creates the matcher of a MatchRule.
template <std::default_initializable Make>
constexpr MatchOptionRow valueOption( MatchOption option, Make ) noexcept {
   MatchOptionRow row{ .option = option };
   row.makeMatcher = []( const MatchOptionRow::MatchRule & rule, const ListKind::Symbol * ) -> Quoin::Ptr<const Matcher> {
      return Make()( rule );
   };
   return row;
}

// ---- how rows are found

/// The row of an option in `own`, or else in the library; null if neither has one.
ROUTEPOLICY_API const MatchOptionRow * findMatchOption( MatchOption option, std::span<const MatchOptionRow> own = {} ) noexcept;
/// The rows of the library, by option. Some rows have no matcher: the library knows the kind of list, and the agent supplies the matcher.
ROUTEPOLICY_API std::span<const MatchOptionRow> commonMatchOptions() noexcept;

/// The kind of list that a set clause of this option names; null for none.
ROUTEPOLICY_API const ListKind * listOfSetOption( SetOption option ) noexcept;

}   // namespace Routing::Policy
