"""Lines at the edge of what bgpd takes. Records which lines it refuses, and the lists and route maps that it has then.
tests/agent/FrrAnswersTest.cpp reads the file."""
from concurrent.futures import ThreadPoolExecutor
import fixtures, frrd

KEPT = ( 'ip prefix-list', 'ipv6 prefix-list', 'access-list', 'ipv6 access-list', 'bgp community-list', 'bgp large-community-list',
         'bgp extcommunity-list', 'bgp as-path access-list', 'route-map', ' ' )


def each( before, *lines ):
   """One case for each line, behind the lines `before`."""
   return [ [ *before, line ] for line in lines ]


def lists( words, *lines ):
   return [ f'{words} {line}' for line in lines ]


# ---- lines of lists that "no" takes back

PREFIX_LIST = lists( 'ip prefix-list', 'L description foo', 'L seq 5 permit 10.0.0.0/8 le 24', 'L seq 10 permit 11.0.0.0/8', 'L seq 15 deny 10.0.0.0/8 le 24' )
IPV6_PREFIX_LIST = lists( 'ipv6 prefix-list', 'L description foo', 'L seq 5 permit 2001:db8::/32 le 64', 'L seq 30 permit any' )
ACCESS_LIST = lists( 'access-list', 'L remark foo', 'L seq 5 permit 10.0.0.0/8', 'L seq 10 permit 11.0.0.0/8 exact-match', 'L seq 15 permit host 1.2.3.4',
                     'L seq 20 permit 12.0.0.0 0.255.255.255', 'L seq 25 permit ip 12.0.0.0 0.255.255.255 any', 'L seq 30 permit any' )
IPV6_ACCESS_LIST = lists( 'ipv6 access-list', 'L remark foo', 'L seq 5 permit 2001:db8::/32', 'L seq 10 permit 2001:db9::/32 exact-match', 'L seq 30 permit any' )

REMOVAL = [
   *each( PREFIX_LIST, *lists( 'no ip prefix-list', 'L', 'X', 'L seq 5', 'L seq 99', 'X seq 5', 'L seq 05', 'L seq 0', 'L seq 4294967295', 'L seq 4294967296',
      'L seq 5 permit 10.0.0.0/8', 'L seq 5 deny 172.0.0.0/8 ge 9', 'L seq 6 permit 10.0.0.0/8 le 24', 'L seq 5 permit 10.0.0.0/8 le 40', 'L permit 10.0.0.0/8',
      'L permit 10.0.0.0/8 le 24', 'L permit 10.1.0.0/8 le 24', 'L permit 12.0.0.0/8', 'L deny 10.0.0.0/8 le 24', 'L permit any', 'L permit 11.0.0.0/8 le 8',
      'L permit 11.0.0.0/8 ge 8', 'L permit', 'L seq', 'L seq 5 permit', 'L description', 'L description foo', 'L description bar', 'X permit any' ) ),
   *each( lists( 'ip prefix-list', 'L permit any' ), *lists( 'no ip prefix-list', 'L permit any', 'L permit 0.0.0.0/0 le 32', 'L permit 0.0.0.0/0' ) ),
   *each( lists( 'ip prefix-list', 'L permit 0.0.0.0/0 le 32' ), 'no ip prefix-list L permit any', 'ip prefix-list L permit any' ),
   *each( lists( 'ip prefix-list', 'L permit 0.0.0.0/0' ), 'no ip prefix-list L permit any' ),
   *each( lists( 'ip prefix-list', 'L permit 10.0.0.0/8 ge 8 le 24' ), 'no ip prefix-list L permit 10.0.0.0/8 le 24', 'ip prefix-list L permit 10.0.0.0/8 le 24' ),
   *each( lists( 'ip prefix-list', 'L seq 5 permit 10.0.0.0/8 ge 9 le 24', 'L seq 9 permit 11.0.0.0/8' ), *lists( 'ip prefix-list', 'L seq 5 deny 12.0.0.0/8',
      'L seq 5 permit 10.0.0.0/8', 'L seq 5 permit any', 'L permit 11.0.0.0/8', 'L seq 4 permit 11.0.0.0/8', 'L seq 5 permit 11.0.0.0/8' ) ),
   *each( lists( 'ip prefix-list', 'L permit any', 'L permit 0.0.0.0/0 le 32' ), 'ip prefix-list L permit 10.0.0.0/8' ),
   *each( IPV6_PREFIX_LIST, *lists( 'no ipv6 prefix-list', 'L', 'L seq 5', 'L seq 5 deny any', 'L permit any', 'L permit 2001:db8::/32', 'L permit 2001:db8::/32 le 64',
      'L permit 2001:DB8:0::1/32 le 64', 'L description zz' ) ),
   *each( ACCESS_LIST, *lists( 'no access-list', 'L', 'X', 'L seq 5', 'L seq 99', 'X seq 5', 'L seq 5 permit', 'L permit', 'L remark', 'L remark foo', 'L remark bar',
      'X permit any', 'L seq 5 permit 10.0.0.0/8', 'L seq 5 deny 172.0.0.0/8', 'L seq 6 permit 10.0.0.0/8', 'L seq 5 permit host 9.9.9.9', 'L seq 5 permit ip any any',
      'L seq 30 permit any', 'L seq 30 deny any', 'L seq 5 deny any', 'L permit 10.0.0.0/8', 'L permit 10.0.0.1/8', 'L deny 10.0.0.0/8', 'L permit 10.0.0.0/8 exact-match',
      'L permit 11.0.0.0/8', 'L permit 11.0.0.0/8 exact-match', 'L permit 1.2.3.4', 'L permit host 1.2.3.4', 'L permit 1.2.3.4 0.0.0.0', 'L permit 12.0.0.0 0.255.255.255',
      'L permit ip 12.0.0.0 0.255.255.255 any', 'L permit any', 'L permit 0.0.0.0/0', 'L permit 99.0.0.0/8' ) ),
   *each( lists( 'access-list', 'L permit ip host 1.2.3.4 any' ), 'no access-list L permit ip 1.2.3.4 0.0.0.0 any', 'access-list L permit ip 1.2.3.4 0.0.0.0 any' ),
   *each( lists( 'access-list', 'L permit 10.1.2.3 0.0.0.255' ), 'no access-list L permit 10.1.2.0 0.0.0.255', 'access-list L permit 10.1.2.0 0.0.0.255' ),
   *each( lists( 'access-list', 'L permit 10.1.2.3/24' ), 'no access-list L permit 10.1.2.3/24', 'no access-list L permit 10.1.2.0/24', 'access-list L permit 10.1.2.0/24' ),
   *each( lists( 'access-list', 'L permit 10.1.2.3 0.0.0.0' ), 'no access-list L permit host 10.1.2.3' ),
   *each( lists( 'access-list', 'L permit 0.0.0.0 255.255.255.255' ), 'no access-list L permit any', 'no access-list L permit 0.0.0.0 255.255.255.255' ),
   *each( lists( 'access-list', 'L seq 7 permit 10.0.0.0/8 exact-match' ), 'access-list L permit 10.0.0.0/8', 'access-list L seq 7 permit 10.0.0.0/8',
          'access-list L seq 9 permit 10.0.0.0/8', 'access-list L seq 7 deny 10.0.0.0/8', 'access-list L seq 7 permit any' ),
   *each( lists( 'access-list', 'L seq 7 permit 10.0.0.0/8', 'L seq 9 permit 10.0.0.0/8 exact-match' ), 'no access-list L permit 10.0.0.0/8' ),
   *each( lists( 'access-list', 'L seq 9 permit 10.0.0.0/8', 'L seq 7 permit 10.0.0.0/8 exact-match' ), 'no access-list L permit 10.0.0.0/8' ),
   *each( lists( 'access-list', 'L permit any', 'L permit 0.0.0.0/0', 'L permit 0.0.0.0 255.255.255.255' ), 'access-list L permit 10.0.0.0/8' ),
   *each( lists( 'access-list', 'L permit host 1.2.3.4', 'L permit 1.2.3.4', 'L permit 1.2.3.4 0.0.0.0', 'L permit 1.2.3.4/32' ), 'access-list L permit 10.0.0.0/8' ),
   *each( lists( 'access-list', 'L seq 5 permit ip 10.0.0.0 0.255.255.255 host 255.0.0.0' ), *lists( 'access-list', 'L seq 5 permit host 1.1.1.1',
      'L seq 5 permit 11.0.0.0 0.255.255.255', 'L seq 5 permit any', 'L seq 5 permit 11.0.0.0/8', 'L seq 5 permit ip any any' ) ),
   *each( IPV6_ACCESS_LIST, *lists( 'no ipv6 access-list', 'L', 'L seq 5', 'L seq 5 deny any', 'L seq 30 permit any', 'L permit 2001:db8::/32', 'L permit 2001:DB8::/32',
      'L permit 2001:db8::/32 exact-match', 'L permit 2001:db9::/32', 'L permit any', 'L permit ::/0', 'L seq 5 permit 2001:dead::/32', 'L remark', 'L remark zz' ) ),
]

for words, first, second, swapped, other in (
   ( 'bgp community-list standard', '65000:1', '65000:2 65000:3', '65000:3 65000:2', '65000:9' ),
   ( 'bgp large-community-list standard', '1:1:1', '1:1:2 1:1:3', '1:1:3 1:1:2', '1:1:9' ),
   ( 'bgp extcommunity-list standard', 'rt 1:1', 'rt 1:2 soo 1:3', 'soo 1:3 rt 1:2', 'rt 1:9' ),
   ( 'bgp community-list expanded', '65000:1', '_2_ 65000:3', '_2_ 65000:3', '65000:9' ),
   ( 'bgp large-community-list expanded', '1:1:1', '_2_ 1:1:3', '_2_ 1:1:3', '1:1:9' ),
   ( 'bgp extcommunity-list expanded', 'rt 1:1', '_2_ soo 1:3', '_2_ soo 1:3', 'rt 1:9' ),
   ( 'bgp as-path access-list', '_1_', '_2_ _3_', '_2_ _3_', '_9_' ) ):
   has = lists( words, f'L seq 5 permit {first}', f'L seq 10 permit {second}', f'L seq 15 deny {first}' )
   REMOVAL += each( has, *lists( f'no {words}', 'L', 'X', 'L seq 5', 'L seq 99', 'X seq 5', f'L seq 5 permit {first}', f'L seq 5 permit {second}', f'L seq 5 deny {second}',
      f'L seq 5 permit {other}', f'L seq 99 permit {first}', f'L seq 5 deny {first}', f'L permit {first}', f'L permit {swapped}', f'L permit {other}', f'L deny {first}',
      f'L deny {second}', f'X permit {first}', 'L permit', 'L seq 5 permit' ) )
   REMOVAL += each( has, *lists( words, f'L permit {first}', f'L permit {swapped}', f'L seq 7 permit {first}', f'L seq 5 deny {second}', f'L seq 5 permit {second}',
      f'L seq 5 permit {other}' ) )
   REMOVAL += each( [ f'{words} L permit {first}' ], f'no {words} L permit {first}' )
   kind = words.rsplit( ' ', 1 )[ 0 ]
   if kind != 'bgp as-path':
      opposite = f'{kind} {"expanded" if words.endswith( "standard" ) else "standard"}'
      REMOVAL += each( has, *lists( f'no {opposite}', 'L', 'X', 'L seq 5', f'L permit {first}', f'L seq 5 permit {first}' ), f'{opposite} L permit {first}', f'no {kind} L', f'no {kind} X' )
   if words.endswith( 'standard' ):
      for number in ( 50, 150 ):
         REMOVAL += each( [ f'{kind} {number} permit {first}' ], *lists( f'no {kind}', f'{number}', f'{number} permit {first}', f'{number} seq 5', f'{number} deny {first}',
            f'standard {number}', f'expanded {number}', f'{number} seq 9 permit {first}' ) )
REMOVAL += each( lists( 'bgp as-path access-list', 'L seq 9 permit ^1', 'L seq 3 deny ^1' ), 'no bgp as-path access-list L permit ^1', 'no bgp as-path access-list L deny ^1' )

CASES = { 'removal': REMOVAL }


def ask( lines ):
   with frrd.Bgpd( '' ) as bgpd:
      answers = bgpd.ask( [ 'configure terminal', *lines, 'end' ] )[ 1:-1 ]
      shown = bgpd.show( 'show running-config' ).splitlines()
   return { 'lines': lines, 'refused': [ number for number, ( _, status, _ ) in enumerate( answers, 1 ) if status not in ( 0, 1 ) ],
            'shows': [ line for line in shown if line.startswith( KEPT ) ] }


def record( directory ):
   fixture = { 'daemon': frrd.version() }
   with ThreadPoolExecutor( 6 ) as pool:
      for name, cases in CASES.items():
         fixture[ name ] = list( pool.map( ask, cases ) )
         print( f'{len( cases )} cases of {name}' )
   fixtures.write( f'{directory}/lines.json.gz', fixture )
