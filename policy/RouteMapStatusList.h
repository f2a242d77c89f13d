/// @file policy/RouteMapStatusList.h
/// What an agent holds for one point of application: route maps in the order of their precedence, and functions of the policy
/// language. All of them run, and each must permit.
/// Ownership: shares what it holds. Threading: the agent writes it; evaluation reads it on any number of threads meanwhile only
/// if nobody writes.
/// Invariant: a write of a member through this list leaves `features` the union over all members.
#pragma once

#include "policy/RouteMapStatus.h"
#include "substrate/gyre/FunctionStatusBase.h"

namespace Routing::Policy {

class ROUTEPOLICY_API RouteMapStatusList final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { features, rmStatus, gyreStatus, gyreStatusFilter, gyreStatusDefaultOriginate, gyreStatusMaint };
   // The usual list has one or two entries: they stand in the object.
   using RouteMaps = Plinth::RbTreeMap<RmPrecedence, Quoin::Ptr<const RouteMapStatus>, 2>;
   using FunctionPtr = Quoin::Ptr<const Gyre::FunctionStatusBase>;

   RouteMapStatusList();
   ~RouteMapStatusList() override;

   /// A new list of the same members, which it shares. gyreStatusDefaultOriginate is not taken over.
   Quoin::Ptr<RouteMapStatusList> copy() const;

   const RouteMaps & rmStatus() const noexcept { return rmStatus_; }
   /// Null when there is none at that precedence.
   Quoin::Ptr<const RouteMapStatus> rmStatus( RmPrecedence p ) const { return Plinth::memberOf( rmStatus_, p ); }
   /// Stores under `p`; a null deletes. A real change computes the features afresh before it is published.
   void rmStatusIs( RmPrecedence p, const Quoin::Ptr<const RouteMapStatus> & s );
   void rmStatusDel( RmPrecedence p );
   void rmStatusDelAll();

   /// The function that stands in for the point's route map.
   const FunctionPtr & gyreStatus() const noexcept { return gyreStatus_; }
   void gyreStatusIs( const FunctionPtr & function ) { functionIs( gyreStatus_, Field::gyreStatus, function ); }
   /// Evaluated by the agent, not here.
   const FunctionPtr & gyreStatusFilter() const noexcept { return gyreStatusFilter_; }
   void gyreStatusFilterIs( const FunctionPtr & function ) { functionIs( gyreStatusFilter_, Field::gyreStatusFilter, function ); }
   /// Evaluated by the agent, not here.
   const FunctionPtr & gyreStatusDefaultOriginate() const noexcept { return gyreStatusDefaultOriginate_; }
   void gyreStatusDefaultOriginateIs( const FunctionPtr & function ) {
      functionIs( gyreStatusDefaultOriginate_, Field::gyreStatusDefaultOriginate, function );
   }
   /// The function that stands in for the route map of maintenance.
   const FunctionPtr & gyreStatusMaint() const noexcept { return gyreStatusMaint_; }
   void gyreStatusMaintIs( const FunctionPtr & function ) { functionIs( gyreStatusMaint_, Field::gyreStatusMaint, function ); }

   /// Bits of the features that a caller may set, behind the last change of a member: that clears them.
   bool matchPrefixDependent() const noexcept { return features().has( RouteMapFeatures::matchPrefixDependent ); }
   void matchPrefixDependentIs( bool on ) { featureIs( RouteMapFeatures::matchPrefixDependent, on ); }
   bool matchBestpath() const noexcept { return features().has( RouteMapFeatures::matchBestpath ); }
   void matchBestpathIs( bool on ) { featureIs( RouteMapFeatures::matchBestpath, on ); }

   /// The name of the route map or function at a role; empty when there is none.
   Quoin::String routeMapName() const { return nameAt( RmPrecedence::routeMapPrecedence ); }
   Quoin::String prefixListName() const { return nameAt( RmPrecedence::prefixListPrecedence ); }
   Quoin::String routeMapMaintName() const { return nameAt( RmPrecedence::routeMapMaintPrecedence ); }
   Quoin::String defaultOriginateRouteMapName() const { return nameAt( RmPrecedence::defaultOriginatePrecedence ); }
   Quoin::String gyreName() const { return nameOf( gyreStatus_ ); }
   Quoin::String gyreFilterName() const { return nameOf( gyreStatusFilter_ ); }
   Quoin::String gyreMaintName() const { return nameOf( gyreStatusMaint_ ); }
   Quoin::String defaultOriginateGyreName() const { return nameOf( gyreStatusDefaultOriginate_ ); }

   /// Whether the route map or function at a role is referred to but not defined; false when there is none.
   bool routeMapUndefined() const { return undefinedAt( RmPrecedence::routeMapPrecedence ); }
   bool prefixListUndefined() const { return undefinedAt( RmPrecedence::prefixListPrecedence ); }
   bool routeMapMaintUndefined() const { return undefinedAt( RmPrecedence::routeMapMaintPrecedence ); }
   bool defaultOriginateRouteMapUndefined() const { return undefinedAt( RmPrecedence::defaultOriginatePrecedence ); }
   bool gyreUndefined() const { return undefinedIn( gyreStatus_ ); }
   bool gyreFilterUndefined() const { return undefinedIn( gyreStatusFilter_ ); }
   bool gyreMaintUndefined() const { return undefinedIn( gyreStatusMaint_ ); }
   bool defaultOriginateGyreUndefined() const { return undefinedIn( gyreStatusDefaultOriginate_ ); }

   /// Whether the list carries the marker that a missing policy denies.
   bool missingPolicyActionIsDeny() const { return rmStatus_.find( RmPrecedence::missingPolicyDenyPrecedence ) != nullptr; }

   /// Computes `features` over all members.
   void updateFeatures();
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;
   static constexpr const char * kAttributesNotDumped = "features, gyreStatusDefaultOriginate";

 private:
   /// The union over all members.
   PLINTH_ATTR( features, featuresIs, Field::features, RouteMapFeatures );

 private:
   void functionIs( FunctionPtr & member, Field field, const FunctionPtr & function );
   void featureIs( RouteMapFeatures::Bit bit, bool on );
   Quoin::String nameAt( RmPrecedence p ) const;
   bool undefinedAt( RmPrecedence p ) const;
   static Quoin::String nameOf( const FunctionPtr & function );
   static bool undefinedIn( const FunctionPtr & function );

   RouteMaps rmStatus_;
   FunctionPtr gyreStatus_;
   FunctionPtr gyreStatusFilter_;
   FunctionPtr gyreStatusDefaultOriginate_;
   FunctionPtr gyreStatusMaint_;
};

}   // namespace Routing::Policy
