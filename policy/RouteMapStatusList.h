/// @file policy/RouteMapStatusList.h
/// The policy of one point of application, such as the import from one neighbor: route maps in the order of their precedence, and functions
/// of the policy language. An agent writes it, and PolicyEval evaluates it: a route is permitted if every evaluated route map and function
/// permits it.
/// Ownership: shares its members. Threading: any number of readers, or one writer.
/// Invariant: after each write of a member, `features` is the union over all members.
#pragma once

#include "policy/RouteMapStatus.h"
#include "substrate/gyre/FunctionStatusBase.h"
#include "substrate/quoin/NotifyingNode.h"

namespace Routing::Policy {

/// The policy of one point of application.
class ROUTEPOLICY_API RouteMapStatusList final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { features, rmStatus, gyreStatus, gyreStatusFilter, gyreStatusDefaultOriginate, gyreStatusMaint };
   // The usual list has one or two entries. The object has room for them.
   using RouteMaps = Plinth::RbTreeMap<RmPrecedence, Quoin::Ptr<const RouteMapStatus>, 2>;
   using FunctionPtr = Quoin::Ptr<const Gyre::FunctionStatusBase>;

   RouteMapStatusList();
   ~RouteMapStatusList() override;

   /// A new list that shares the same members, without gyreStatusDefaultOriginate.
   Quoin::Ptr<RouteMapStatusList> copy() const;

   /// The route maps by precedence, the lowest first.
   const RouteMaps & rmStatus() const noexcept { return rmStatus_; }
   /// Null if no route map has this precedence.
   Quoin::Ptr<const RouteMapStatus> rmStatus( RmPrecedence p ) const { return Plinth::memberOf( rmStatus_, p ); }
   /// The only route map, if there is no function that PolicyEval evaluates; else null.
   const RouteMapStatus * onlyRouteMap() const noexcept { return onlyRouteMap_; }
   /// Stores a route map under `p`; null deletes. A change computes the features before subscribers are notified.
   void rmStatusIs( RmPrecedence p, const Quoin::Ptr<const RouteMapStatus> & s );
   void rmStatusDel( RmPrecedence p );
   void rmStatusDelAll();

   /// The function that replaces the route map at `routeMapPrecedence`.
   const FunctionPtr & gyreStatus() const noexcept { return gyreStatus_; }
   void gyreStatusIs( const FunctionPtr & function ) { functionIs( gyreStatus_, Field::gyreStatus, function ); }
   /// The filter function. The agent evaluates it; PolicyEval ignores it.
   const FunctionPtr & gyreStatusFilter() const noexcept { return gyreStatusFilter_; }
   void gyreStatusFilterIs( const FunctionPtr & function ) { functionIs( gyreStatusFilter_, Field::gyreStatusFilter, function ); }
   /// The default-originate function. The agent evaluates it; PolicyEval ignores it.
   const FunctionPtr & gyreStatusDefaultOriginate() const noexcept { return gyreStatusDefaultOriginate_; }
   void gyreStatusDefaultOriginateIs( const FunctionPtr & function ) {
      functionIs( gyreStatusDefaultOriginate_, Field::gyreStatusDefaultOriginate, function );
   }
   /// The function that replaces the route map at `routeMapMaintPrecedence`, which is for maintenance.
   const FunctionPtr & gyreStatusMaint() const noexcept { return gyreStatusMaint_; }
   void gyreStatusMaintIs( const FunctionPtr & function ) { functionIs( gyreStatusMaint_, Field::gyreStatusMaint, function ); }

   /// Single bits of `features`, which a caller may set. The next change of a member computes the features again and discards these bits.
   bool matchPrefixDependent() const noexcept { return features().has( RouteMapFeatures::matchPrefixDependent ); }
   void matchPrefixDependentIs( bool on ) { featureIs( RouteMapFeatures::matchPrefixDependent, on ); }
   bool matchBestpath() const noexcept { return features().has( RouteMapFeatures::matchBestpath ); }
   void matchBestpathIs( bool on ) { featureIs( RouteMapFeatures::matchBestpath, on ); }

   /// The name of the route map or function in each role; empty if the role is not used.
   Quoin::String routeMapName() const { return nameAt( RmPrecedence::routeMapPrecedence ); }
   Quoin::String prefixListName() const { return nameAt( RmPrecedence::prefixListPrecedence ); }
   Quoin::String routeMapMaintName() const { return nameAt( RmPrecedence::routeMapMaintPrecedence ); }
   Quoin::String defaultOriginateRouteMapName() const { return nameAt( RmPrecedence::defaultOriginatePrecedence ); }
   Quoin::String gyreName() const { return nameOf( gyreStatus_ ); }
   Quoin::String gyreFilterName() const { return nameOf( gyreStatusFilter_ ); }
   Quoin::String gyreMaintName() const { return nameOf( gyreStatusMaint_ ); }
   Quoin::String defaultOriginateGyreName() const { return nameOf( gyreStatusDefaultOriginate_ ); }

   /// Whether the route map or function in each role is referred to but not defined; false if the role is not used.
   bool routeMapUndefined() const { return undefinedAt( RmPrecedence::routeMapPrecedence ); }
   bool prefixListUndefined() const { return undefinedAt( RmPrecedence::prefixListPrecedence ); }
   bool routeMapMaintUndefined() const { return undefinedAt( RmPrecedence::routeMapMaintPrecedence ); }
   bool defaultOriginateRouteMapUndefined() const { return undefinedAt( RmPrecedence::defaultOriginatePrecedence ); }
   bool gyreUndefined() const { return undefinedIn( gyreStatus_ ); }
   bool gyreFilterUndefined() const { return undefinedIn( gyreStatusFilter_ ); }
   bool gyreMaintUndefined() const { return undefinedIn( gyreStatusMaint_ ); }
   bool defaultOriginateGyreUndefined() const { return undefinedIn( gyreStatusDefaultOriginate_ ); }

   /// Whether the list contains the marker that makes a missing policy deny.
   bool missingPolicyActionIsDeny() const { return rmStatus_.find( RmPrecedence::missingPolicyDenyPrecedence ) != nullptr; }

   /// Computes `features` over all members.
   void updateFeatures();
   /// Prints the members. See kAttributesNotDumped.
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;
   static constexpr const char * kAttributesNotDumped = "features, gyreStatusDefaultOriginate";

 private:
   /// The attributes of a route that the members read, as bits: the union over all members.
   PLINTH_ATTR( features, featuresIs, Field::features, RouteMapFeatures );

 private:
   void functionIs( FunctionPtr & member, Field field, const FunctionPtr & function );
   void featureIs( RouteMapFeatures::Bit bit, bool on );
   Quoin::String nameAt( RmPrecedence p ) const;
   bool undefinedAt( RmPrecedence p ) const;
   static Quoin::String nameOf( const FunctionPtr & function );
   static bool undefinedIn( const FunctionPtr & function );
   void membersHaveChanged();

   RouteMaps rmStatus_;
   FunctionPtr gyreStatus_;
   FunctionPtr gyreStatusFilter_;
   FunctionPtr gyreStatusDefaultOriginate_;
   FunctionPtr gyreStatusMaint_;
   const RouteMapStatus * onlyRouteMap_ = nullptr;
};

}   // namespace Routing::Policy
