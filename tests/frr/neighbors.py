"""What a bgpd does to the routes of a neighbor: real sessions over loopback, in which filters apply as in a router."""
import json, os, time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
import fixtures, frrd
from harness import FAMILIES, attributes
from speaker import ADDRESS, Speaker, update

# What the neighbor announces. 10.3.0.0/16 and so on: the networks of bgpd itself, which it announces with the route maps WA and WB.
RECEIVED = ( ( '10.1.0.0/16', ( 65001, 65002 ), 10, ( '65000:1', ) ), ( '10.2.0.0/16', ( 65001, 65003 ), 20, ( '65000:2', ) ),
             ( '172.16.0.0/16', ( 65001, 65002 ), 30, () ), ( '2001:db8:1::/48', ( 65001, 65002 ), 10, ( '65000:1', ) ),
             ( '2001:db8:2::/48', ( 65001, 65003 ), 20, () ) )
NETWORKS = ( ( '10.3.0.0/16', 'WA' ), ( '10.4.0.0/16', 'WB' ), ( '172.17.0.0/16', 'WA' ), ( '2001:db8:3::/48', 'WA' ), ( '2001:db8:4::/48', 'WB' ) )
NETWORK_MAPS = ( 'route-map WA permit 10', 'set metric 10', 'set community 65000:1', 'set as-path prepend 65002',
                 'route-map WB permit 10', 'set metric 20', 'set community 65000:2', 'set as-path prepend 65003' )
LISTS = [
   'ip prefix-list TEN seq 5 permit 10.0.0.0/8 le 32', 'ip prefix-list ODD seq 5 permit 10.1.0.0/16', 'ip prefix-list ODD seq 10 permit 10.3.0.0/16',
   'ipv6 prefix-list TEN seq 5 permit 2001:db8:1::/48', 'ipv6 prefix-list TEN seq 10 permit 2001:db8:3::/48', 'ip prefix-list EMPTY description no line',
   'access-list ATEN seq 5 permit 10.0.0.0/8', 'access-list AODD seq 5 permit 10.1.0.0/16', 'access-list AODD seq 10 permit 10.3.0.0/16',
   'access-list AEMPTY remark no line', 'ipv6 access-list ATEN seq 5 permit 2001:db8:1::/48', 'ipv6 access-list ATEN seq 10 permit 2001:db8:3::/48',
   'bgp as-path access-list P2 permit _65002(_|$)', 'bgp as-path access-list P9 permit _65009(_|$)', 'bgp as-path access-list OWN permit _65000(_|$)',
   'route-map ALL permit 10', 'set metric 111', 'route-map TENS permit 10', 'match ip address prefix-list TEN', 'set metric 112', 'route-map TENS permit 20',
   'match ipv6 address prefix-list TEN', 'set metric 113', 'route-map NONE deny 10', 'route-map PATH permit 10', 'match as-path P2', 'set metric 114',
   'route-map MED permit 10', 'match metric 10', 'set community 65000:9 additive' ]
# The first lines of a stanza, if a case tells no others. No case needs the neighbor's own port, which the script adds.
BEGIN = ( 'no bgp ebgp-requires-policy', f'neighbor {ADDRESS} remote-as 65001' )
REQUIRES = BEGIN[ 1: ]
OTHER, OTHER_AS = '127.0.0.3', 65009   # a second neighbor, which announces nothing
BOTH = ( *BEGIN, f'neighbor {OTHER} remote-as {OTHER_AS}' )
GROUP = ( 'neighbor G peer-group', f'neighbor {ADDRESS} peer-group G' )


@dataclass
class Case:
   """A stanza. `ipv4` and `ipv6` are lines of its address families, without "neighbor" and its address if they begin with a filter."""
   name: str
   says: str
   top: tuple = ()
   ipv4: tuple = ()
   ipv6: tuple = ( 'activate', )
   begin: tuple = BEGIN
   lists: tuple = ()
   head: tuple = ( 'frr defaults traditional', )
   end: tuple = ()
   internal: bool = False
   refused: list = field( default_factory = list )


def line( text ):
   return text if text.startswith( ( 'neighbor', 'no ' ) ) else f'neighbor {ADDRESS} {text}'


def both( *filters, of = ADDRESS ):
   return tuple( f'neighbor {of} {each} {direction}' for each in filters for direction in ( 'in', 'out' ) )


def configuration( case ):
   """What the fixture records: what routepolicy reads."""
   lines = [ *case.head, *LISTS, *case.lists, 'router bgp 65000', *( ' ' + each for each in ( *case.begin, *case.top ) ) ]
   for af in FAMILIES:
      lines += [ f' address-family {af} unicast', *( '  ' + line( each ) for each in getattr( case, af ) ), ' exit-address-family' ]
   return lines + [ 'exit', *case.end ]


def started( case, speakers ):
   """What bgpd reads: also the networks, and what makes sessions over loopback quick."""
   lines = configuration( case )
   lines[ lines.index( 'router bgp 65000' ):0 ] = [ 'bgp route-map delay-timer 0', *NETWORK_MAPS ]
   at = lines.index( ' address-family ipv4 unicast' )
   networks = { af: [ f'  network {prefix} route-map {name}' for prefix, name in NETWORKS if ( ':' in prefix ) == ( af == 'ipv6' ) ] for af in FAMILIES }
   lines[ at:at ] = [ ' bgp router-id 192.0.2.254', ' coalesce-time 0', ' no bgp network import-check',
                      *( line_ for af in FAMILIES for line_ in ( f' address-family {af} unicast', *networks[ af ], ' exit-address-family' ) ),
                      *( f' neighbor {each.address} {words}' for each in speakers
                         for words in ( f'port {each.port}', 'timers connect 1', 'advertisement-interval 0' ) ) ]
   if not case.internal:
      lines[ at:at ] = [ f' neighbor {each.address} disable-connected-check' for each in speakers ]
   return '\n'.join( lines ) + '\n'


def table( bgpd, own ):
   """prefix -> attributes: of the networks of bgpd itself, or of the routes that it has received."""
   shown = {}
   for af in FAMILIES:
      for prefix, ( _, *paths ) in json.loads( bgpd.show( f'show bgp {af} unicast json detail' ) ).get( 'routes', {} ).items():
         for path in paths:
            if bool( path.get( 'local' ) ) == own and not path.get( 'removed' ):
               shown[ prefix ] = attributes( path | { 'nexthops': path[ 'nexthops' ][ :1 ] } )
   return shown


def ask( case ):
   """What becomes of the routes in each direction: "in" as bgpd shows the route, "out" the metric and the communities that it sends. "other":
   what it sends to the second neighbor."""
   speaker = Speaker( 65000 if case.internal else 65001 )
   speakers = [ speaker ] + ( [ Speaker( OTHER_AS, OTHER ) ] if case.begin == BOTH else [] )
   try:
      with frrd.Bgpd( started( case, speakers ) ) as bgpd:
         if not all( each.up.wait( 20 ) for each in speakers ):
            raise RuntimeError( f'{case.name}: no session' )
         speaker.send( b''.join( update( *each, 100 if case.internal else None ) for each in RECEIVED ) )
         time.sleep( 2 )   # quiet since long: all updates come within a tenth of this
         with open( os.path.join( bgpd.directory, 'stderr' ) ) as log:
            refused = log.read().count( 'can not co-exist' )
         if refused != len( case.refused ):
            raise RuntimeError( f'{case.name}: bgpd refused {refused} lines' )
         return { 'in': table( bgpd, False ), 'own': table( bgpd, True ), 'out': speaker.received,
                  'other': speakers[ -1 ].received }
   finally:
      for each in speakers:
         each.close()


CASES = [
   Case( 'nothing', 'permits all' ),
   Case( 'requires', 'an external neighbor needs a policy', begin = REQUIRES ),
   Case( 'requires-internal', 'an internal neighbor needs none', begin = ( f'neighbor {ADDRESS} remote-as 65000', ), internal = True ),
   Case( 'requires-internal-word', 'likewise', begin = ( f'neighbor {ADDRESS} remote-as internal', ), internal = True ),
   Case( 'requires-external-word', 'like another AS', begin = ( f'neighbor {ADDRESS} remote-as external', ) ),
   Case( 'requires-datacenter', 'not with these defaults', begin = REQUIRES, head = ( 'frr defaults datacenter', ) ),
   Case( 'requires-datacenter-said', 'but if said', begin = ( 'bgp ebgp-requires-policy', *REQUIRES ), head = ( 'frr defaults datacenter', ) ),
   Case( 'requires-before-7.4', 'not in a file of an earlier version', begin = REQUIRES, head = ( 'frr version 7.3.1', 'frr defaults traditional' ) ),
   Case( 'requires-since-7.4', 'the first version that does', begin = REQUIRES, head = ( 'frr version 7.4', 'frr defaults traditional' ) ),
   Case( 'requires-later', 'the line counts wherever it is', begin = REQUIRES, top = ( 'no bgp ebgp-requires-policy', ) ),
   Case( 'requires-prefix-list', 'any filter of the direction is a policy', begin = REQUIRES, ipv4 = ( 'prefix-list TEN in', ) ),
   Case( 'requires-distribute-list', 'likewise', begin = REQUIRES, ipv4 = ( 'distribute-list ATEN out', ) ),
   Case( 'requires-filter-list', 'likewise', begin = REQUIRES, ipv4 = ( 'filter-list P2 in', ) ),
   Case( 'requires-route-map', 'likewise', begin = REQUIRES, ipv4 = ( 'route-map ALL out', ) ),
   Case( 'requires-empty', 'also an empty one', begin = REQUIRES, ipv4 = both( 'prefix-list EMPTY' ) ),
   Case( 'undefined-route-map', 'denies', ipv4 = both( 'route-map UNDEFINED' ) ),
   Case( 'undefined-prefix-list', 'denies', ipv4 = both( 'prefix-list UNDEFINED' ) ),
   Case( 'undefined-distribute-list', 'denies', ipv4 = both( 'distribute-list UNDEFINED' ) ),
   Case( 'undefined-filter-list', 'denies', ipv4 = both( 'filter-list UNDEFINED' ) ),
   Case( 'empty-prefix-list', 'permits all, unlike in a match clause', ipv4 = both( 'prefix-list EMPTY' ) ),
   Case( 'empty-distribute-list', 'denies', ipv4 = both( 'distribute-list AEMPTY' ) ),
   Case( 'route-map', 'permits, denies and sets', ipv4 = both( 'route-map TENS' ) ),
   Case( 'route-map-denies', 'denies', ipv4 = both( 'route-map NONE' ) ),
   Case( 'all', 'all filters must permit', ipv4 = both( 'prefix-list TEN', 'filter-list P2', 'route-map ALL' ) ),
   Case( 'all-distribute-list', 'all filters must permit', ipv4 = both( 'distribute-list ATEN', 'filter-list P2', 'route-map ALL' ) ),
   Case( 'filter-list-before-route-map', 'the filter list does not see what the route map sets', ipv4 = both( 'filter-list P9', 'route-map NINE' ),
         lists = ( 'route-map NINE permit 10', 'set as-path prepend 65009' ) ),
   Case( 'filter-list-own', 'the path does not yet have the own AS', ipv4 = both( 'filter-list OWN' ) ),
   Case( 'route-map-out', 'sees metric and communities as in the table', ipv4 = ( 'route-map MED out', ) ),
   Case( 'path-out', 'sees the path as in the table', ipv4 = ( 'route-map PATH out', ) ),
   Case( 'two-lists', 'the second kind is refused', ipv4 = both( 'prefix-list TEN', 'distribute-list AODD' ),
         refused = list( both( 'distribute-list AODD' ) ) ),
   Case( 'two-lists-other-order', 'the second kind is refused', ipv4 = both( 'distribute-list AODD', 'prefix-list TEN' ),
         refused = list( both( 'prefix-list TEN' ) ) ),
   Case( 'families', 'each has filters of its own', ipv4 = both( 'route-map TENS' ), ipv6 = ( 'activate', *both( 'route-map TENS' ) ) ),
   Case( 'ipv6', 'has lists of its own', ipv6 = ( 'activate', *both( 'prefix-list TEN', 'filter-list P2' ) ) ),
   Case( 'ipv6-distribute-list', 'likewise', ipv6 = ( 'activate', *both( 'distribute-list ATEN' ) ) ),
   Case( 'ipv6-other-family', 'a list of the other family is undefined', ipv6 = ( 'activate', *both( 'prefix-list ODD' ) ) ),
   Case( 'not-active', 'IPv6 must be activated', ipv6 = both( 'route-map ALL' ) ),
   Case( 'ipv4-deactivated', 'exchanges no route', ipv4 = ( f'no neighbor {ADDRESS} activate', ) ),
   Case( 'default-off', 'before the neighbor it counts', begin = ( 'no bgp default ipv4-unicast', *BEGIN ) ),
   Case( 'default-off-later', 'behind the neighbor it does not', top = ( 'no bgp default ipv4-unicast', ) ),
   Case( 'default-off-activated', 'activated', begin = ( 'no bgp default ipv4-unicast', *BEGIN ), ipv4 = ( 'activate', ) ),
   Case( 'default-ipv6', 'activates', begin = ( 'bgp default ipv6-unicast', *BEGIN ), ipv6 = () ),
   Case( 'outside-of-family', 'is IPv4', top = both( 'prefix-list TEN', 'route-map ALL' ) ),
   Case( 'other-family', 'is neither', end = ( 'router bgp 65000', ' address-family ipv4 multicast', *( '  ' + each for each in both( 'route-map NONE' ) ) ) ),
   Case( 'family-in-short', 'is unicast', end = ( 'router bgp 65000', ' address-family ipv4', *( '  ' + each for each in both( 'route-map TENS' ) ) ) ),
   Case( 'replaced', 'the later line counts', ipv4 = both( 'route-map NONE', 'route-map TENS' ) ),
   Case( 'removed', 'whatever name the line has', ipv4 = ( *both( 'route-map NONE' ), f'no neighbor {ADDRESS} route-map OTHER in' ) ),
   Case( 'neighbor-removed', 'with all its lines', top = ( *both( 'route-map NONE' ), f'no neighbor {ADDRESS}', f'neighbor {ADDRESS} remote-as 65001' ) ),
   Case( 'group', 'filters for its members', top = GROUP, ipv4 = both( 'route-map TENS', of = 'G' ) ),
   Case( 'group-and-own', 'the own line counts', top = GROUP, ipv4 = ( *both( 'route-map NONE', of = 'G' ), *both( 'route-map TENS' ) ) ),
   Case( 'own-and-group', 'the own line counts', top = GROUP, ipv4 = ( *both( 'route-map TENS' ), *both( 'route-map NONE', of = 'G' ) ) ),
   Case( 'own-removed', "the group's counts again", top = GROUP,
         ipv4 = ( *both( 'route-map TENS', of = 'G' ), *both( 'route-map NONE' ), f'no neighbor {ADDRESS} route-map NONE in' ) ),
   Case( 'group-removed', 'members lose it', top = GROUP, ipv4 = ( *both( 'route-map NONE', of = 'G' ), 'no neighbor G route-map NONE in' ) ),
   Case( 'own-undefined', 'the own line counts', top = GROUP, ipv4 = ( *both( 'route-map TENS', of = 'G' ), *both( 'route-map UNDEFINED' ) ) ),
   Case( 'group-other-kind', 'both filter', top = GROUP, ipv4 = ( *both( 'prefix-list TEN', of = 'G' ), *both( 'filter-list P2', 'route-map ALL' ) ) ),
   Case( 'group-two-lists', 'the own line is refused', top = GROUP, ipv4 = ( *both( 'prefix-list TEN', of = 'G' ), *both( 'distribute-list AODD' ) ),
         refused = list( both( 'distribute-list AODD' ) ) ),
   Case( 'own-two-lists', 'the line of the group is not', top = GROUP, ipv4 = ( *both( 'distribute-list AODD' ), *both( 'prefix-list TEN', of = 'G' ) ) ),
   Case( 'group-activates', 'its members', top = GROUP, ipv6 = ( 'neighbor G activate', ) ),
   Case( 'group-activates-not-own', 'a member may say otherwise', top = GROUP, ipv6 = ( 'neighbor G activate', f'no neighbor {ADDRESS} activate' ) ),
   Case( 'group-deactivates', 'its members', top = GROUP, ipv4 = ( 'no neighbor G activate', ) ),
   Case( 'group-deactivates-not-own', 'a member may say otherwise', top = GROUP, ipv4 = ( 'no neighbor G activate', 'activate' ) ),
   Case( 'group-deactivates-later', 'also members that said otherwise before', top = GROUP, ipv4 = ( 'activate', 'no neighbor G activate' ) ),
   Case( 'group-as', 'has the AS', begin = ( 'neighbor G peer-group', 'neighbor G remote-as 65001', f'neighbor {ADDRESS} peer-group G' ),
         ipv4 = both( 'route-map TENS', of = 'G' ) ),
   Case( 'group-as-requires', 'and both make a policy', begin = ( 'neighbor G peer-group', 'neighbor G remote-as external', f'neighbor {ADDRESS} peer-group G' ),
         ipv4 = ( 'neighbor G route-map TENS in', 'prefix-list TEN out' ) ),
   Case( 'unsuppress-map', 'leaves routes alone that are not suppressed', ipv4 = ( 'unsuppress-map NONE', ) ),
   Case( 'unknown-neighbor', 'has no lines', ipv4 = ( 'neighbor 192.0.2.77 route-map NONE in', ) ),
   Case( 'route-map-behind', 'may be defined behind the stanza', ipv4 = both( 'route-map LATER' ), end = ( 'route-map LATER permit 10', ' set metric 5' ) ),
]

# Clauses that test the peer of a route, and what they hold for.
PEER_LISTS = ( 'access-list AFIRST seq 5 permit 127.0.0.2/32', 'access-list AANY seq 5 permit any', 'access-list AOTHER seq 5 permit 127.0.0.3/32',
               'ip prefix-list FIRST seq 5 permit 127.0.0.2/32', 'ip prefix-list ANY seq 5 permit any', 'ip prefix-list OTHER seq 5 permit 127.0.0.3/32' )
PEER_CLAUSES = [
   ( f'peer {ADDRESS}', 'in: the routes of the neighbor; out: nothing' ),
   ( f'peer {OTHER}', 'nothing, also of the routes that are sent to this neighbor' ),
   ( 'peer local', 'nothing, also of the own routes: these meet the clause in the route map of "network" only' ),
   ( 'ip route-source AFIRST', 'in: the IPv4 routes of the neighbor; out: nothing' ),
   ( 'ip route-source AOTHER', 'nothing' ),
   ( 'ip route-source AANY', 'out: nothing, though the list permits every address' ),
   ( 'ip route-source prefix-list FIRST', 'as an access list' ),
   ( 'ip route-source prefix-list OTHER', 'nothing' ),
   ( 'ip route-source prefix-list ANY', 'as an access list' ),
]


def peer_case( clause, says, begin, filters ):
   return Case( 'match-' + clause.replace( ' ', '-' ), says, begin = begin, ipv4 = filters,
                ipv6 = ( *( f'neighbor {each} activate' for each in ( ADDRESS, OTHER ) if begin == BOTH or each == ADDRESS ), *filters ),
                lists = ( *PEER_LISTS, 'route-map PEER permit 10', *( [ 'match ' + clause ] if clause != 'nothing' else [] ) ) )


CASES += [ peer_case( *each, BEGIN, both( 'route-map PEER' ) ) for each in PEER_CLAUSES ]
# Two neighbors, to which the routes of one of them and those of bgpd itself are sent.
SENT = [ peer_case( *each, BOTH, tuple( f'neighbor {to} route-map PEER out' for to in ( ADDRESS, OTHER ) ) )
         for each in ( ( 'nothing', 'all routes, also back to the neighbor that announced them' ), *PEER_CLAUSES,
                       ( 'peer G', 'nothing, like an address' ) ) ]


def recorded( cases, answers, came, shown, known ):
   """The routes come to the policy as `came` has them. `shown`: what an answer holds of them, with the attributes `known`."""
   routes = [ { 'prefix': prefix } for prefix in came ]
   result = fixtures.table( routes, [ { name: all_[ name ] for name in ( *known, 'asPath', 'peer' ) if name in all_ } for all_ in came.values() ] )
   for case, answer in zip( cases, answers ):
      is_ = [ answer[ shown ].get( prefix ) for prefix in came ]
      before, after = ( [ each and { name: each[ name ] for name in known if name in each } for each in side ] for side in ( came.values(), is_ ) )
      result[ 'policies' ].append( { 'name': case.name, 'row': case.says, 'says': '', 'configuration': configuration( case ),
                                     'refused': case.refused, 'after': fixtures.after( before, after ) } )
   return result


def write( path, cases, tables ):
   decisions = [ after for table_ in tables for policy in table_[ 'policies' ] for after in policy[ 'after' ] ]
   print( f'{os.path.basename( path )}: {len( cases )} policies, {len( decisions )} decisions, {decisions.count( None )} denied' )
   fixtures.write( path, { 'daemon': frrd.version(), 'tables': tables } )


def record( directory ):
   """The routes of each fixture are as they are in the table of its first case, which permits all."""
   with ThreadPoolExecutor( 6 ) as pool:
      answers, sent = ( list( pool.map( ask, cases ) ) for cases in ( CASES, SENT ) )
   received, own = ( { prefix: shown | { 'peer': peer } for prefix, shown in answers[ 0 ][ side ].items() }
                     for side, peer in ( ( 'in', ADDRESS ), ( 'own', '0.0.0.0' ) ) )
   # Paths are sent with the own AS. A metric that came from a neighbor is not sent.
   write( f'{directory}/neighbors-in.json.gz', CASES, [ recorded( CASES, answers, received, 'in', ( 'metric', 'communities', 'asPath' ) ) ] )
   write( f'{directory}/neighbors-out.json.gz', CASES, [ recorded( CASES, answers, own, 'out', ( 'metric', 'communities' ) ) ] )
   write( f'{directory}/neighbors-sent.json.gz', SENT, [ { 'neighbor': to } | recorded( SENT, sent, received | own, shown, ( 'communities', ) )
                                                        for to, shown in ( ( ADDRESS, 'out' ), ( OTHER, 'other' ) ) ] )
