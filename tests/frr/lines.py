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

# ---- clauses of a route map that "no" takes back

# A clause; its words, and another clause like it, both behind "no".
CLAUSES = (
   ( 'match metric 5', 'match metric', 'match metric 6' ), ( 'match tag 5', 'match tag', 'match tag 6' ),
   ( 'match local-preference 5', 'match local-preference', 'match local-preference 6' ),
   ( 'match ip address prefix-list A', 'match ip address prefix-list', 'match ip address prefix-list B' ),
   ( 'match ip address A', 'match ip address', 'match ip address B' ),
   ( 'match ipv6 address prefix-list A', 'match ipv6 address prefix-list', 'match ipv6 address prefix-list B' ),
   ( 'match ipv6 address A', 'match ipv6 address', 'match ipv6 address B' ), ( 'match ip next-hop A', 'match ip next-hop', 'match ip next-hop B' ),
   ( 'match ip next-hop prefix-list A', 'match ip next-hop prefix-list', 'match ip next-hop prefix-list B' ),
   ( 'match ip next-hop address 192.0.2.1', 'match ip next-hop address', 'match ip next-hop address 192.0.2.2' ),
   ( 'match ip next-hop type blackhole', 'match ip next-hop type', 'match ip next-hop type' ),
   ( 'match ipv6 next-hop type blackhole', 'match ipv6 next-hop type', 'match ipv6 next-hop type' ),
   ( 'match ipv6 next-hop address 2001:db8::1', 'match ipv6 next-hop address', 'match ipv6 next-hop address 2001:db8::2' ),
   ( 'match ipv6 next-hop 2001:db8::1', 'match ipv6 next-hop', 'match ipv6 next-hop 2001:db8::2' ),
   ( 'match ipv6 next-hop A', 'match ipv6 next-hop', 'match ipv6 next-hop B' ),
   ( 'match ipv6 next-hop prefix-list A', 'match ipv6 next-hop prefix-list', 'match ipv6 next-hop prefix-list B' ),
   ( 'match ip route-source A', 'match ip route-source', 'match ip route-source B' ),
   ( 'match ip route-source prefix-list A', 'match ip route-source prefix-list', 'match ip route-source prefix-list B' ),
   ( 'match community A', 'match community', 'match community B' ),
   ( 'match community A exact-match', 'match community A', 'match community B exact-match' ),
   ( 'match large-community A', 'match large-community', 'match large-community B' ),
   ( 'match large-community A exact-match', 'match large-community A', 'match large-community B exact-match' ),
   ( 'match extcommunity A', 'match extcommunity', 'match extcommunity B' ), ( 'match as-path A', 'match as-path', 'match as-path B' ),
   ( 'match origin igp', 'match origin', 'match origin egp' ), ( 'match probability 5', 'match probability', 'match probability 6' ),
   ( 'match peer 192.0.2.1', 'match peer', 'match peer 192.0.2.2' ), ( 'match peer local', 'match peer', 'match peer 192.0.2.2' ),
   ( 'match peer eth0', 'match peer', 'match peer local' ), ( 'match interface eth0', 'match interface', 'match interface eth1' ),
   ( 'match source-vrf A', 'match source-vrf', 'match source-vrf B' ), ( 'match evpn vni 5', 'match evpn vni', 'match evpn vni 6' ),
   ( 'match evpn route-type macip', 'match evpn route-type', 'match evpn route-type prefix' ),
   ( 'match evpn default-route', 'match evpn', 'match evpn default-route' ), ( 'match mac address A', 'match mac address', 'match mac address B' ),
   ( 'set metric 5', 'set metric', 'set metric 6' ), ( 'set metric +5', 'set metric', 'set metric -6' ),
   ( 'set metric 5', 'set metric', 'set metric rtt' ), ( 'set metric rtt', 'set metric', 'set metric 5' ), ( 'set tag 5', 'set tag', 'set tag 6' ),
   ( 'set distance 5', 'set distance', 'set distance 6' ), ( 'set local-preference 5', 'set local-preference', 'set local-preference +6' ),
   ( 'set weight 5', 'set weight', 'set weight 6' ), ( 'set community 1:1', 'set community', 'set community 2:2' ),
   ( 'set community 1:1 additive', 'set community', 'set community none' ), ( 'set community none', 'set community none', 'set community 1:1' ),
   ( 'set large-community 1:1:1', 'set large-community', 'set large-community 2:2:2' ),
   ( 'set large-community none', 'set large-community', 'set large-community none' ),
   ( 'set large-community none', 'set large-community none', 'set large-community 1:1:1' ),
   ( 'set comm-list A delete', 'set comm-list', 'set comm-list B delete' ), ( 'set comm-list A delete', 'set comm-list A', 'set comm-list delete' ),
   ( 'set large-comm-list A delete', 'set large-comm-list', 'set large-comm-list B delete' ), ( 'set origin igp', 'set origin', 'set origin egp' ),
   ( 'set as-path prepend 1', 'set as-path prepend', 'set as-path prepend 2' ),
   ( 'set as-path prepend 1', 'set as-path prepend last-as', 'set as-path prepend last-as 2' ),
   ( 'set as-path prepend last-as 3', 'set as-path prepend last-as', 'set as-path prepend 3' ),
   ( 'set as-path prepend last-as 3', 'set as-path prepend', 'set as-path prepend last-as 2' ),
   ( 'set as-path exclude 1', 'set as-path exclude', 'set as-path exclude 2' ),
   ( 'set as-path replace any', 'set as-path replace', 'set as-path replace 5' ),
   ( 'set extcommunity rt 1:1', 'set extcommunity rt', 'set extcommunity rt 1:2' ),
   ( 'set extcommunity soo 1:1', 'set extcommunity soo', 'set extcommunity soo 1:2' ),
   ( 'set extcommunity none', 'set extcommunity none', 'set extcommunity' ),
   ( 'set extcommunity rt 1:1', 'set extcommunity', 'set extcommunity none' ),
   ( 'set extcommunity bandwidth 5', 'set extcommunity bandwidth', 'set extcommunity bandwidth 6' ),
   ( 'set extcommunity bandwidth cumulative', 'set extcommunity bandwidth', 'set extcommunity bandwidth num-multipaths non-transitive' ),
   ( 'set ip next-hop 192.0.2.1', 'set ip next-hop', 'set ip next-hop 192.0.2.2' ),
   ( 'set ip next-hop 192.0.2.1', 'set ip next-hop peer-address', 'set ip next-hop unchanged' ),
   ( 'set ip next-hop peer-address', 'set ip next-hop', 'set ip next-hop 192.0.2.1' ),
   ( 'set ip next-hop unchanged', 'set ip next-hop', 'set ip next-hop peer-address' ),
   ( 'set ipv6 next-hop global 2001:db8::1', 'set ipv6 next-hop global', 'set ipv6 next-hop global 2001:db8::2' ),
   ( 'set ipv6 next-hop local fe80::1', 'set ipv6 next-hop local', 'set ipv6 next-hop local fe80::2' ),
   ( 'set ipv6 next-hop peer-address', 'set ipv6 next-hop peer-address', 'set ipv6 next-hop' ),
   ( 'set ipv6 next-hop prefer-global', 'set ipv6 next-hop prefer-global', 'set ipv6 next-hop' ),
   ( 'set atomic-aggregate', 'set atomic-aggregate', 'set atomic-aggregate x' ),
   ( 'set aggregator as 5 192.0.2.1', 'set aggregator as', 'set aggregator as 6 192.0.2.2' ),
   ( 'set aggregator as 5 192.0.2.1', 'set aggregator', 'set aggregator as 6' ),
   ( 'set originator-id 192.0.2.1', 'set originator-id', 'set originator-id 192.0.2.2' ),
   ( 'set label-index 5', 'set label-index', 'set label-index 6' ), ( 'set table 5', 'set table', 'set table 6' ),
   ( 'set sr-te color 5', 'set sr-te color', 'set sr-te color 6' ),
   ( 'set evpn gateway-ip ipv4 192.0.2.1', 'set evpn gateway-ip ipv4', 'set evpn gateway-ip ipv4 192.0.2.2' ),
   ( 'set evpn gateway-ip ipv6 2001:db8::1', 'set evpn gateway-ip ipv6', 'set evpn gateway-ip ipv6 2001:db8::2' ),
   ( 'set l3vpn next-hop encapsulation gre', 'set l3vpn next-hop encapsulation', 'set l3vpn next-hop encapsulation gre' ),
   ( 'set ipv4 vpn next-hop 192.0.2.1', 'set ipv4 vpn next-hop', 'set ipv4 vpn next-hop 192.0.2.2' ),
   ( 'set ipv6 vpn next-hop 2001:db8::1', 'set ipv6 vpn next-hop', 'set ipv6 vpn next-hop 2001:db8::2' ), ( 'call S', 'call', 'call T' ),
   ( 'on-match next', 'on-match', 'on-match next' ), ( 'on-match next', 'on-match goto', 'on-match goto 30' ),
   ( 'on-match goto 20', 'on-match goto', 'on-match goto 30' ), ( 'on-match goto 20', 'on-match next', 'on-match goto 5' ),
   ( 'continue 20', 'continue', 'continue 30' ), ( 'continue 20', 'on-match goto', 'continue 5' ), ( 'on-match next', 'continue', 'continue 20' ),
   ( 'on-match goto 20', 'continue', 'continue 30' ), ( 'on-match next', 'on-match goto', 'continue 20' ), )

MAP = [ 'route-map M permit 10' ]
BACK = [ [ *MAP, *lines ] for clause, *others in CLAUSES
         for lines in ( [ clause, f'no {clause}' ], *( [ clause, f'no {other}' ] for other in others ), [ f'no {clause}' ] ) ]
BACK += each( [ *MAP, 'set ip next-hop 192.0.2.1' ], 'no set ip next-hop 192.0.2.9', 'no set ip next-hop unchanged' )
BACK += each( [ *MAP, 'match ipv6 next-hop A', 'match ipv6 next-hop address 2001:db8::1' ], 'no match ipv6 next-hop address', 'no match ipv6 next-hop',
              'no match ipv6 next-hop 2001:db8::1' )
BACK += each( [ *MAP, 'match ip next-hop A', 'match ip next-hop address 192.0.2.1', 'match ip next-hop prefix-list P', 'match ip next-hop type blackhole' ],
              *lists( 'no match ip next-hop', 'A', 'address', 'prefix-list', 'type', 'B' ) )
BACK += each( [ *MAP, 'match metric 5', 'route-map M deny 20', 'route-map N permit 10' ], *lists( 'no route-map', 'M', 'X', 'M permit', 'M deny', 'M permit 10', 'M deny 10',
   'M permit 30', 'M permit 65536', 'M permit 0', 'X permit 10', 'M 10', 'M permit 10 x' ), *lists( 'route-map', 'M permit', 'M permit 0', 'M permit 65536', 'M permit 010',
   'M Permit 10', 'M deny 10', 'M permit 10 x', 'M 10', 'M' ) )

# ---- values: words, and what stands behind them. Not here: values that end bgpd, texts that it keeps and cannot
# use, and lists whose kind it does not show

CLAUSE_VALUES = {
   'match metric': ( '1', '4294967295', '4294967296', '010', '+10', '-1', '0x10', '1.5' ),
   'match tag': ( '0', '1', '4294967295', '4294967296', '010', '+10', '-1', '0x10', '1.5' ),
   'match local-preference': ( '0', '1', '4294967295', '4294967296', '010', '+10', '-1', '0x10', '1.5' ),
   'match probability': ( '0', '1', '100', '101', '050' ),
   'match origin': ( 'igp', 'IGP', 'EGP', 'Incomplete' ),
   'match peer': ( 'Local', '192.0.2.01', '2001:DB8::1', 'eth0', '0.0.0.0' ),
   'match evpn vni': ( '0', '1', '16777215', '16777216', '05' ),
   'match evpn route-type': ( 'ead', 'macip', 'multicast', 'es', 'prefix', 'Macip' ),
   'match ip next-hop': ( 'address 192.0.2.1', 'address 0.0.0.0', 'address 224.0.0.1', 'address 255.255.255.255', 'address 192.0.2.01',
      'address 127.0.0.1', 'type Blackhole' ),
   'match ipv6 next-hop': ( 'address 2001:DB8::1', 'address ::', 'address ff02::1', 'address fe80::1' ),
   'match community': ( 'A Exact-match', 'A exact-match x' ),
   'match interface': ( '', ),
   'match ip address': ( '10.0.0.0/8', ),
   'match Metric': ( '5', ),
   'set metric': ( '0', '1', '4294967295', '4294967296', '010', '+0', '-0', '+10', '-10', '+4294967295', '+4294967296', '-4294967295', '0x10', 'rtt',
      '+rtt', '-rtt', 'RTT', '+ 5', '99999999999999999999', '' ),
   'set tag': ( '0', '1', '4294967295', '4294967296', '010', '+0', '-0', '+10', '-10', '+4294967295', '+4294967296', '-4294967295', '0x10', 'rtt',
      '+rtt', '-rtt', 'RTT', '+ 5', '99999999999999999999' ),
   'set local-preference': ( '0', '1', '4294967295', '010', '+0', '-0', '+10', '-10', '+4294967295', '-4294967295' ),
   'set weight': ( '0', '1', '4294967295', '4294967296', '010', '+0', '+10', '-10', '+4294967295', '+4294967296', '-4294967295', '0x10', 'rtt',
      '+rtt', '-rtt', 'RTT', '+ 5', '99999999999999999999' ),
   'set distance': ( '0', '1', '255', '256', '010' ),
   'set origin': ( 'igp', 'egp', 'incomplete', 'IGP', 'Egp', 'INCOMPLETE' ),
   'set as-path prepend': ( '0', '1', '4294967295', '4294967296', '010', '1 0', '65000 65000', 'last-as 0', 'last-as 1', 'last-as 10', 'last-as 11',
      'last-as 010', 'Last-as 1', 'last-as', '' ),
   'set as-path exclude': ( '0', '1', '4294967295', '4294967296', '01' ),
   'set as-path replace': ( 'any', '0', '1', '4294967296', '01', 'Any' ),
   'set community': ( '65537', '0', '4294967295', '4294967296', '1', '65535', '65536', '1:1', '0:0', '65535:65535', '65536:1', '1:65536', '01:01',
      '001:1', '+1:1', 'internet', 'Internet', 'no-export', 'NO-EXPORT', 'No-Export', 'local-AS', 'local-as', 'LOCAL-AS', 'no-advertise',
      'graceful-shutdown', 'blackhole', 'none', 'None', 'additive', '1:1 additive', 'additive 1:1', '1:1 Additive', '1:1 none', 'none additive',
      '1:1 1:1', '1:1 additive 2:2', 'accept-own', 'accept-own-nexthop', 'no-peer', 'no-llgr', 'llgr-stale', 'route-filter-v4', '1:', '1:1:1', '' ),
   'set large-community': ( '1:1:1', '0:0:0', '4294967295:4294967295:4294967295', '01:1:1', '1:1:1 additive', '1:1:1 1:1:1', 'none' ),
   'set extcommunity rt': ( '1:1', '0:0', '65535:4294967295', '65536:65535', '4294967295:65535', '192.0.2.1:1', '192.0.2.1:65535', '01:1', '1:01',
      '1:1 1:2', '1:1 1:1' ),
   'set extcommunity soo': ( '1:1', '0:0', '65535:4294967295', '65536:65535', '4294967295:65535' ),
   'set extcommunity bandwidth': ( '0', '1', '25600', '25601', '01', 'cumulative non-transitive', '5 non-transitive', 'Cumulative' ),
   'set extcommunity RT': ( '1:1', ),
   'set ip next-hop': ( '192.0.2.1', '0.0.0.0', '224.0.0.1', '239.255.255.255', '240.0.0.1', '255.255.255.255', '127.0.0.1', '10.0.0.01', '10.0.0',
      '0.0.0.1', '169.254.1.1', 'Peer-address' ),
   'set ipv6 next-hop global': ( '2001:db8::1', 'fe80::1', '::', '::1', 'ff02::1', '2001:DB8::1', '::ffff:1.2.3.4', 'fec0::1' ),
   'set ipv6 next-hop local': ( 'fe80::1', '2001:db8::1', '::', 'ff02::1', 'FE80::1' ),
   'set originator-id': ( '192.0.2.1', '0.0.0.0', '224.0.0.1', '239.255.255.255', '240.0.0.1', '255.255.255.255', '127.0.0.1', '10.0.0.01', '10.0.0',
      '0.0.0.1', '169.254.1.1' ),
   'set aggregator as': ( '0 192.0.2.1', '1 192.0.2.1', '4294967295 192.0.2.1', '4294967296 192.0.2.1', '01 192.0.2.1', '1 0.0.0.0', '1 224.0.0.1',
      '1 255.255.255.255', '1.1 192.0.2.1' ),
   'set label-index': ( '0', '1', '1048560', '1048561', '01' ),
   'set table': ( '0', '1', '4294967295', '4294967296', '01' ),
   'set sr-te color': ( '0', '1', '4294967295', '4294967296', '01' ),
   'set ipv4 vpn next-hop': ( '192.0.2.1', '2001:db8::1', '0.0.0.0', '::' ),
   'set ipv6 vpn next-hop': ( '192.0.2.1', '2001:db8::1', '0.0.0.0', '::' ),
   'set evpn gateway-ip ipv4': ( '192.0.2.1', '0.0.0.0', '224.0.0.1', '239.255.255.255', '240.0.0.1', '255.255.255.255' ),
   'set evpn gateway-ip ipv6': ( '2001:db8::1', 'fe80::1', '::', 'ff02::1' ),
   'set l3vpn next-hop encapsulation': ( 'GRE', ),
   'set atomic-aggregate': ( 'x', ),
   'set comm-list': ( 'A', 'A Delete' ),
   'set Metric': ( '5', ),
   'call': ( '', 'S x' ),
   'on-match': ( '', 'goto 10', 'goto 65535', 'goto 65536', 'goto 020', 'Next' ),
   'continue': ( '', '020', '65536' ),
   'description': ( '', ),
}

LIST_VALUES = {
   'ip prefix-list': ( 'L seq 0 permit any', 'L seq 1 permit any', 'L seq 4294967295 permit any', 'L seq 4294967296 permit any',
      'L seq 05 permit any', 'L permit 10.0.0.0/08', 'L permit 10.0.0.0/8 le 024', 'L permit 10.0.0.0/8 ge 024', 'L permit 10.0.0.0/33',
      'L permit 10.0.0.0', 'L permit 10.0.0/8', 'L permit 010.0.0.0/8', 'L permit 10.0.0.0/8 ge 8', 'L permit 10.0.0.0/8 ge 7',
      'L permit 10.0.0.0/8 le 7', 'L permit 10.0.0.0/8 le 8', 'L permit 10.0.0.0/8 ge 24 le 20', 'L permit 10.0.0.0/8 le 24 ge 20',
      'L permit 10.0.0.0/8 ge 33', 'L permit 10.0.0.0/8 le 33', 'L permit 10.0.0.0/8 ge 24 le 24', 'L Permit any', 'L permit Any',
      'L permit any le 24', 'L permit any ge 8', 'L permit 0.0.0.0/0 ge 0', 'L permit 0.0.0.0/0 le 0', 'L permit 10.0.0.0/+8',
      'L permit 10.0.0.0/8 ge 9 ge 10', 'L permit 10.0.0.0/', 'L permit 10.0.0.0/0', 'L permit 255.255.255.255/32', 'L permit 10.0.0.0/8 x',
      'L description', 'L permit 10.0.0.0/8 le +9', 'L permit 10.0.0.0/008' ),
   'ipv6 prefix-list': ( 'L permit 2001:DB8::/32', 'L permit 2001:db8::/032', 'L permit 2001:db8::/129', 'L permit 2001:db8::',
      'L permit ::/0 le 128', 'L permit ::/0 ge 0', 'L permit 2001:db8::/32 le 129', 'L permit 2001:db8::/32 ge 048', 'L permit ::ffff:10.0.0.0/104',
      'L permit 10.0.0.0/8', 'L permit any le 48' ),
   'access-list': ( 'L seq 0 permit any', 'L seq 1 permit any', 'L seq 4294967295 permit any', 'L seq 4294967296 permit any', 'L seq 05 permit any',
      'L permit 10.0.0.0/08', 'L permit 10.0.0.0/33', 'L permit Any', 'L permit host 10.0.0.01', 'L permit 10.0.0.1',
      'L permit 10.0.0.0 0.0.0.255 x', 'L permit 10.0.0.0/8 Exact-match', 'L permit host 10.0.0.0/8', 'L permit 0.0.0.0', 'L permit 255.255.255.255',
      'L remark', 'L permit 10.0.0.0 0.255.0.255', 'L permit 2001:db8::/32' ),
   'ipv6 access-list': ( 'L permit 2001:DB8::/32', 'L permit 2001:db8::/032', 'L permit 2001:db8::/129', 'L permit any exact-match', 'L permit ::/0',
      'L seq 0 permit any' ),
   'bgp community-list standard L': ( 'permit 65537', 'permit 0', 'permit 4294967295', 'permit 4294967296', 'permit 1', 'permit 65535',
      'permit 65536', 'permit 1:1', 'permit 0:0', 'permit 65535:65535', 'permit 65536:1', 'permit 1:65536', 'permit 01:01', 'permit 001:1',
      'permit +1:1', 'permit internet', 'permit Internet', 'permit no-export', 'permit NO-EXPORT', 'permit No-Export', 'permit local-AS',
      'permit local-as', 'permit LOCAL-AS', 'permit no-advertise', 'permit graceful-shutdown', 'permit blackhole', 'permit none', 'permit None',
      'permit additive', 'permit 1:1 additive', 'permit additive 1:1', 'permit 1:1 Additive', 'permit 1:1 none', 'permit none additive',
      'permit 1:1 1:1', 'permit 1:1 additive 2:2', 'permit accept-own', 'permit accept-own-nexthop', 'permit no-peer', 'permit no-llgr',
      'permit llgr-stale', 'permit route-filter-v4', 'permit 1:', 'permit 1:1:1', 'permit ', 'seq 0 permit 1:1', 'seq 1 permit 1:1',
      'seq 4294967295 permit 1:1', 'seq 4294967296 permit 1:1', 'seq 05 permit 1:1' ),
   'bgp large-community-list standard L': ( 'permit 1:1:1', 'permit 0:0:0', 'permit 4294967295:4294967295:4294967295', 'permit 4294967296:1:1',
      'permit 1:4294967296:1', 'permit 01:1:1', 'permit 1:1', 'permit 1:1:1 additive', 'permit additive 1:1:1', 'permit 1:1:1 1:1:1', 'permit none',
      'permit 1:1:1 none', 'permit 1:1:1:1' ),
   'bgp extcommunity-list standard L': ( 'permit rt 1:1', 'permit rt 0:0', 'permit rt 65535:4294967295', 'permit rt 65536:65535',
      'permit rt 4294967295:65535', 'permit rt 192.0.2.1:1', 'permit rt 192.0.2.1:65535', 'permit rt 01:1', 'permit rt 1:01', 'permit rt 1:1 1:2',
      'permit rt 1:1 1:1', 'permit RT 1:1', 'permit 1:1', 'permit rt 1:1 soo 1:1', 'permit rt 1:1 1:2' ),
   'bgp as-path access-list': ( 'L seq 0 permit 1', 'L seq 1 permit 1', 'L seq 4294967295 permit 1', 'L seq 4294967296 permit 1', '0 permit 1',
      'L permit', 'L Permit 1', 'L permit a', 'L permit .*', 'L seq 05 permit 1', 'L permit 1 2', 'L permit (1', 'L permit [1', 'L permit 1{2,1}',
      'L permit *', 'L permit 1**' ),
}

VALUES = [ [ *MAP, f'{words} {value}'.strip() ] for words, values in CLAUSE_VALUES.items() for value in values ]
VALUES += [ [ f'{words} {value}'.strip() ] for words, values in LIST_VALUES.items() for value in values ]
for kind, value in ( ( 'community', '1:1' ), ( 'large-community', '1:1:1' ), ( 'extcommunity', 'rt 1:1' ) ):
   VALUES += [ [ f'bgp {kind}-list {name} permit {value}' ] for name in ( '0', '1', '01', '050', '99', '100', '500', '501', 'standard 5', 'standard 1a', 'expanded 150',
      'expanded a1' ) ]
VALUES += each( [], *lists( 'bgp large-community-list', 'expanded 5 permit 1:1:1', 'standard 150 permit 1:1:1', 'standard 0 permit 1:1:1' ) )
VALUES += each( [ *MAP, 'match metric 5', 'match tag 5', 'match evpn vni 5' ], 'match metric 0', 'match tag 0', 'match evpn vni 0', 'no match metric 0', 'no match tag 0',
                'no match evpn vni 0', 'no match metric 4294967296' )
VALUES += each( [ *MAP, 'set community 1:1', 'set origin igp', 'set tag 5', 'set ipv6 next-hop global 2001:db8::1', 'set ipv6 next-hop local fe80::1',
                  'set evpn gateway-ip ipv4 192.0.2.1', 'set ipv4 vpn next-hop 192.0.2.1' ],
                *lists( 'no set', 'community 65537', 'origin IGP', 'tag 0', 'tag x', 'ipv6 next-hop global fe80::1', 'ipv6 next-hop local 2001:db8::1',
                        'evpn gateway-ip ipv4 0.0.0.0', 'ipv4 vpn next-hop ::' ) )
VALUES += each( [], *lists( 'bgp extcommunity-list standard L permit', 'RT 1:1', 'Rt 1:1', 'SoO 1:1', 'SOO 1:1' ), 'route-map M permit +20', 'ip prefix-list L seq +5 permit any',
                'access-list L seq +5 permit any', 'bgp community-list standard L seq +5 permit 1:1', 'bgp as-path access-list L seq +5 permit 1',
                'ip prefix-list L permit 10.0.0.0/8 ge +9 le +010' )
VALUES += each( MAP, 'set distance +5', 'set label-index +5', 'set table +5', 'match probability +5', 'match evpn vni +5', 'on-match goto +20', 'continue +20',
                'set as-path prepend last-as +2', 'set extcommunity bandwidth +5', 'set sr-te color +5', 'set aggregator as +5 192.0.2.1' )

# ---- several blanks between words

BLANKS = each( [], 'bgp community-list expanded L permit 65000:1   65000:2', 'bgp community-list expanded L permit  ^65000:1\t65000:2$  ',
               'bgp large-community-list expanded L permit 1:1:1   1:1:2', 'bgp extcommunity-list expanded L permit RT:1:1 \t RT:1:2',
               'bgp as-path access-list L permit ^1  2$', 'bgp as-path access-list L permit  _3\t4_', 'ip  prefix-list   L  permit   any',
               'bgp community-list standard L permit  65000:1   65000:2' )
BLANKS += each( [ 'bgp community-list expanded L permit _1  2_' ], 'bgp community-list expanded L permit _1 2_', 'no bgp community-list expanded L permit _1   2_' )
BLANKS += each( [ 'ip prefix-list L permit any', 'access-list L permit any', 'route-map M permit 10' ], ' description  a   b', 'ip prefix-list L description  a   b',
                'access-list L remark  a \t b' )

# ---- prefix lists that have a description and no line

DESCRIBED = []
for words, prefix in ( ( 'ip prefix-list', '10.0.0.0/8' ), ( 'ipv6 prefix-list', '2001:db8::/32' ) ):
   DESCRIBED += each( lists( words, 'L description foo' ), *lists( words, 'L description bar', f'L permit {prefix}', f'L seq 3 permit {prefix}' ),
                      *lists( f'no {words}', 'L', 'L description', 'L seq 5', 'X', f'L permit {prefix}' ), f'{words} M description foo' )
   DESCRIBED += each( lists( words, 'L description foo', f'L seq 5 permit {prefix}' ), *lists( f'no {words}', 'L seq 5', f'L permit {prefix}', 'L description', 'L' ) )
   DESCRIBED += each( [ *lists( words, 'L description foo', f'L seq 5 permit {prefix}' ), f'no {words} L seq 5' ], f'{words} L permit {prefix}', f'no {words} L description' )
   DESCRIBED += each( [ *lists( words, f'L seq 5 permit {prefix}' ), f'no {words} L seq 5' ], f'{words} L description foo' )

# ---- lines of access lists that are the same line in other words

SOURCES = ( 'any', '0.0.0.0/0', '10.0.0.0/8', '10.0.0.1/8', '10.0.0.0/8 exact-match', '10.0.0.1/8 exact-match', '1.2.3.4', 'host 1.2.3.4', '1.2.3.4 0.0.0.0',
            '12.0.0.0 0.255.255.255', '0.0.0.0 255.255.255.255', 'ip any any', 'ip host 1.2.3.4 any', 'ip 1.2.3.4 0.0.0.0 any',
            'ip 12.0.0.0 0.255.255.255 host 255.0.0.0', 'ip 0.0.0.0 255.255.255.255 any' )
SPELLINGS = []
for source in SOURCES:
   for other in SOURCES:
      if other == '10.0.0.1/8' and source.endswith( 'exact-match' ):
         continue   # bgpd shows two lines, but reads only the first of them again
      SPELLINGS += [ lists( 'access-list', f'L permit {source}', f'L permit {other}' ),
                     lists( 'access-list', f'L seq 5 permit {source}', f'L seq 5 permit {other}' ),
                     [ *lists( 'access-list', f'L permit {source}', 'L permit 99.0.0.0/8' ), f'no access-list L permit {other}' ] ]

CASES = { 'removal': REMOVAL, 'clauses': BACK, 'values': VALUES, 'blanks': BLANKS, 'described': DESCRIBED, 'spellings': SPELLINGS }


def fails( _, status, text ):
   return status not in ( 0, 1 ) or text.startswith( '%' )


def ask( lines ):
   with frrd.Bgpd( '' ) as bgpd:
      answers = bgpd.ask( [ 'configure terminal', *lines, 'end' ] )[ 1:-1 ]
      shown = bgpd.show( 'show running-config' ).splitlines()
   return { 'lines': lines, 'refused': [ number for number, answer in enumerate( answers, 1 ) if fails( *answer ) ],
            'shows': [ line for line in shown if line.startswith( KEPT ) ] }


def record( directory ):
   fixture = { 'daemon': frrd.version() }
   with ThreadPoolExecutor( 6 ) as pool:
      for name, cases in CASES.items():
         fixture[ name ] = list( pool.map( ask, cases ) )
         print( f'{len( cases )} cases of {name}' )
   fixtures.write( f'{directory}/lines.json.gz', fixture )
