"""Asks a bgpd what a policy does to a table of routes.

A route is { 'prefix': PREFIX, 'from': BUNDLE }. A bundle is a list of `set` lines: the attributes with which its routes come. For each
bundle, a route map W<BUNDLE> sets the attributes and calls M, the route map under test; `network PREFIX route-map W<BUNDLE>` originates the
route through both. The view "plain" originates the routes while M is undefined. An undefined call is skipped, so this view keeps the routes
as they came."""
import json
from frrd import Bgpd, Refused

MAP = 'M'
FAMILIES = ( 'ipv4', 'ipv6' )
# Group the lines between them into one transaction. Its cost grows with the whole configuration, so one by one takes much longer.
START, END = 'XFRR_start_configuration', 'XFRR_end_configuration'


def family( prefix ):
   return 'ipv6' if ':' in prefix else 'ipv4'


def attributes( path ):
   """What bgpd shows of a route."""
   shown = { name: path[ key ] for key, name in (
      ( 'origin', 'origin' ), ( 'metric', 'metric' ), ( 'locPrf', 'localPreference' ), ( 'weight', 'weight' ), ( 'tag', 'tag' ),
      ( 'originatorId', 'originatorId' ), ( 'atomicAggregate', 'atomicAggregate' ), ( 'aggregatorAs', 'aggregatorAs' ),
      ( 'aggregatorId', 'aggregatorId' ), ( 'labelIndex', 'labelIndex' ) ) if key in path }
   shown |= { name: path[ key ][ 'string' ] for key, name in (
      ( 'community', 'communities' ), ( 'largeCommunity', 'largeCommunities' ),
      ( 'extendedCommunity', 'extendedCommunities' ) ) if key in path }
   as_path = path[ 'aspath' ][ 'string' ]
   if as_path != 'Local':
      shown[ 'asPath' ] = as_path
   [ next_hop ] = path[ 'nexthops' ]
   return shown | { 'nextHop': next_hop[ 'ip' ] }


def changes( before, after ):
   """The attributes that differ; None for one that is no longer there."""
   return { key: after.get( key ) for key in sorted( before.keys() | after.keys() ) if before.get( key ) != after.get( key ) }


class Table:
   """Owns a bgpd with the routes. Use it in a `with` statement."""

   def __init__( self, bundles, routes ):
      self.routes = routes
      # No evaluation but those that are asked for.
      self.bgpd = Bgpd( 'frr defaults traditional\nbgp route-map delay-timer 0\n' )
      try:
         self.define( line for name, sets in bundles.items() for line in [ f'route-map W{name} permit 10', *sets, f'call {MAP}' ] )
         self.originate( ' view plain' )
         plain = self.shown( ' view plain' )
         self.before = [ plain[ route[ 'prefix' ] ] for route in routes ]
      except BaseException:
         self.stop()
         raise

   def define( self, lines ):
      """Defines lists and route maps in one transaction, which an `exit` would end."""
      self.expect_none( self.bgpd.configure( [ START, *lines, END ] ) )

   def define_each( self, lines ):
      """Defines them line by line, as bgpd reads a file. Returns the refused lines."""
      return self.bgpd.configure( lines )

   def originate( self, view = '' ):
      """Evaluates the route maps of all routes, also of those that are originated already."""
      lines = [ 'router bgp 65000' + view, 'bgp router-id 192.0.2.254', 'no bgp network import-check' ]
      for af in FAMILIES:
         lines += [ f'address-family {af} unicast' ]
         lines += [ f'network {route["prefix"]} route-map W{route["from"]}' for route in self.routes if family( route[ 'prefix' ] ) == af ]
         lines += [ 'exit-address-family' ]
      self.expect_none( self.bgpd.configure( lines ) )

   def outcome( self ):
      """What each route becomes: its attributes, or None if M denies it. bgpd is asked in two ways, which must agree on the verdicts."""
      self.originate()
      shown = self.shown()
      permitted = self.permitted()
      if permitted != shown.keys():
         raise RuntimeError( f'the two ways to ask differ: {sorted( permitted ^ shown.keys() )}' )
      return [ shown.get( route[ 'prefix' ] ) for route in self.routes ]

   def shown( self, view = '' ):
      result = {}
      for af in FAMILIES:
         text = self.bgpd.show( f'show bgp{view} {af} unicast json detail' )
         for prefix, ( _, *paths ) in json.loads( text ).get( 'routes', {} ).items():
            # bgpd takes a denied route out later; until then it is "removed".
            paths = [ path for path in paths if not path.get( 'removed' ) ]
            if paths:
               result[ prefix ] = attributes( paths[ 0 ] )
      return result

   def permitted( self ):
      return { prefix for af in FAMILIES
               for prefix in json.loads( self.bgpd.show( f'show bgp view plain {af} unicast route-map {MAP} json' ) ).get( 'routes', {} ) }

   @staticmethod
   def expect_none( refused ):
      if refused:
         raise Refused( refused )

   def stop( self ):
      self.bgpd.stop()

   def __enter__( self ):
      return self

   def __exit__( self, *_ ):
      self.stop()
