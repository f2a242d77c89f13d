"""Policies written by hand, each with what FRR is known to answer."""
from dataclasses import dataclass, field

BUNDLES = {
   'a': [ 'set metric 5', 'set local-preference 100', 'set community 65000:1', 'set as-path prepend 65001', 'set tag 7' ],
   'b': [ 'set metric 77', 'set community no-export', 'set as-path prepend 65002' ],
   'c': [],
}
ROUTES = [ { 'prefix': prefix, 'from': bundle } for prefix, bundle in (
   ( '10.0.0.0/8', 'a' ), ( '10.1.0.0/16', 'a' ), ( '10.0.0.0/16', 'a' ), ( '10.0.0.0/32', 'c' ), ( '172.16.1.0/24', 'b' ),
   ( '172.16.1.10/32', 'b' ), ( '192.0.2.0/24', 'c' ), ( '2001:db8::/32', 'a' ), ( '2001:db8:1::/48', 'b' ), ( '10.0.0.0/7', 'c' ) ) ]

ALL = { route[ 'prefix' ] for route in ROUTES }
A, B = ( { route[ 'prefix' ] for route in ROUTES if route[ 'from' ] == bundle } for bundle in 'ab' )
TENS = { prefix for prefix in ALL if prefix.startswith( '10.' ) } - { '10.0.0.0/7' }   # what TEN permits
ZEROS = { prefix for prefix in ALL if prefix.startswith( '10.0.0.0/' ) }
OTHERS = ALL - TENS
IPV4 = { prefix for prefix in ALL if ':' not in prefix }

TEN = 'ip prefix-list TEN permit 10.0.0.0/8 le 32'
DESCRIBED = 'ip prefix-list L description nothing else'
MATCH_TEN = 'match ip address prefix-list TEN'

NUMBERS = ' '.join( f'65535:{value}' for value in ( *range( 10 ), 666, *range( 65281, 65286 ) ) )
NAMES = ( 'graceful-shutdown accept-own route-filter-translated-v4 route-filter-v4 route-filter-translated-v6 route-filter-v6 '
          'llgr-stale no-llgr accept-own-nexthop 65535:9 blackhole no-export no-advertise local-AS no-peer 65535:65285' )


def everywhere( **attributes ):
   return { prefix: attributes for prefix in ALL }


@dataclass
class Row:
   name: str
   row: str    # the policy in short
   says: str   # what FRR does
   lines: list
   permitted: set
   shown: dict = field( default_factory = dict )    # prefix -> attributes behind the policy
   refused: list = field( default_factory = list )  # the lines that bgpd refuses; they have no effect


ROWS = [
   Row( 'row-01', '`permit 10` / `call SUB`, SUB denies; `permit 20`', 'the route is denied',
        [ 'route-map SUB deny 10', 'route-map M permit 10', 'call SUB', 'route-map M permit 20' ], set() ),
   Row( 'row-02', '`deny 10` / `call SUB`, SUB denies; `permit 20`', 'a deny ignores its call: denied',
        [ 'route-map SUB deny 10', 'route-map M deny 10', 'call SUB', 'route-map M permit 20' ], set() ),
   Row( 'row-02b', '`deny 10` / match fits / `call SUB`, SUB permits and sets; `permit 20`', 'a deny ignores its call: denied',
        [ TEN, 'route-map SUB permit 10', 'set metric 9', 'route-map M deny 10', MATCH_TEN, 'call SUB', 'route-map M permit 20' ],
        OTHERS, { '192.0.2.0/24': { 'metric': 0 } } ),
   Row( 'row-03', '`permit 10` / match fits / `on-match next`; `permit 20` does not match; end', 'denied',
        [ TEN, 'ip prefix-list NONE permit 203.0.113.0/24', 'route-map M permit 10', MATCH_TEN, 'on-match next', 'route-map M permit 20',
          'match ip address prefix-list NONE' ], set() ),
   Row( 'row-04', '`on-match goto 15` where 15 does not exist', 'goes to the next higher sequence',
        [ TEN, 'route-map M permit 10', MATCH_TEN, 'set metric 1', 'on-match goto 15', 'route-map M permit 12', 'set metric 12',
          'route-map M permit 20', 'set local-preference 20' ],
        ALL, { '10.1.0.0/16': { 'metric': 1, 'localPreference': 20 }, '192.0.2.0/24': { 'metric': 12 } } ),
   Row( 'row-04b', '`permit 10` / match fits / `on-match goto 30`; `deny 20`; no sequence at or above 30', 'ends the map: permitted',
        [ TEN, 'route-map M permit 10', MATCH_TEN, 'set metric 1', 'on-match goto 30', 'route-map M deny 20' ],
        TENS, { '10.1.0.0/16': { 'metric': 1 } } ),
   Row( 'row-05', '`permit 10` / `set metric 77` / `on-match next`; `deny 20` / `match metric 77`; `permit 30`',
        'a match sees what was set: denied',
        [ TEN, 'route-map M permit 10', MATCH_TEN, 'set metric 77', 'on-match next', 'route-map M deny 20', 'match metric 77',
          'route-map M permit 30' ], OTHERS - B ),
   Row( 'row-06', '`set metric 1` / `call NET`, NET sets metric 5', "the caller's sets come first: 5",
        [ 'route-map NET permit 10', 'set metric 5', 'route-map M permit 10', 'set metric 1', 'call NET' ], ALL, everywhere( metric = 5 ) ),
   Row( 'row-06b', '`set metric 1` / `call NET`, NET denies metric 1', "the called map sees the caller's sets: denied",
        [ 'route-map NET deny 10', 'match metric 1', 'route-map NET permit 20', 'route-map M permit 10', 'set metric 1', 'call NET' ],
        set() ),
   Row( 'row-07', '`access-list 10 permit 10.0.0.0` in `match ip address 10`', 'compares the address alone: permits 10.0.0.0/8',
        [ 'access-list 10 permit 10.0.0.0', 'route-map M permit 10', 'match ip address 10' ], ZEROS ),
   Row( 'row-07b', '`access-list 10 permit host 10.0.0.0` in `match ip address 10`', 'compares the address alone: permits 10.0.0.0/8',
        [ 'access-list 10 permit host 10.0.0.0', 'route-map M permit 10', 'match ip address 10' ], ZEROS ),
   Row( 'row-07c', '`access-list 10 permit 10.0.0.0 0.255.255.255` in `match ip address 10`',
        'compares the address alone: permits 10.0.0.0/7',
        [ 'access-list 10 permit 10.0.0.0 0.255.255.255', 'route-map M permit 10', 'match ip address 10' ],
        TENS | { '10.0.0.0/7' } ),
   Row( 'row-07d', '`access-list 110 permit ip` with two addresses and their wildcards',
        'compares the address, and the netmask with the second',
        [ 'access-list 110 permit ip 10.0.0.0 0.0.255.255 any', 'access-list 110 permit ip host 172.16.1.0 host 255.255.255.0',
          'route-map M permit 10', 'match ip address 110' ], ZEROS | { '172.16.1.0/24' } ),
   Row( 'row-07e', '`access-list 10 permit 10.9.9.9 0.255.255.255` in `match ip address 10`',
        'an address with bits that the wildcard covers: nothing',
        [ 'access-list 10 permit 10.9.9.9 0.255.255.255', 'route-map M permit 10', 'match ip address 10' ], set() ),
   Row( 'row-08', "a called map sets metric; the caller's next sequence (`on-match next`) matches it", 'sees what was set',
        [ TEN, 'route-map SUB permit 10', 'set metric 44', 'route-map M permit 10', MATCH_TEN, 'call SUB', 'on-match next',
          'route-map M deny 20', 'match metric 44', 'route-map M permit 30' ], OTHERS ),
   Row( 'row-08b', '`set community` / `on-match next`; `deny 20` / `match community` of what was set', 'sees what was set',
        [ 'bgp community-list standard C permit 65000:2', TEN, 'route-map M permit 10', MATCH_TEN, 'set community 65000:2 additive',
          'on-match next', 'route-map M deny 20', 'match community C', 'route-map M permit 30' ], OTHERS ),
   Row( 'row-08c', '`set tag 9` / `on-match next`; `deny 20` / `match tag 9`', 'sees what was set',
        [ TEN, 'route-map M permit 10', MATCH_TEN, 'set tag 9', 'on-match next', 'route-map M deny 20', 'match tag 9',
          'route-map M permit 30' ], OTHERS ),
   Row( 'row-09', '`bgp community-list expanded E permit no-export` on a route with no-export', 'matches the name',
        [ 'bgp community-list expanded E permit no-export', 'route-map M permit 10', 'match community E' ], B ),
   Row( 'row-09b', '`bgp community-list expanded E permit 65535:65281` on a route with no-export', 'does not match the number',
        [ 'bgp community-list expanded E permit 65535:65281', 'route-map M permit 10', 'match community E' ], set() ),
   Row( 'row-10', '`access-list A permit 10.0.0.0/8 exact-match`', 'only this prefix',
        [ 'access-list A permit 10.0.0.0/8 exact-match', 'route-map M permit 10', 'match ip address A' ], { '10.0.0.0/8' } ),
   Row( 'row-10b', '`match community C exact-match`', 'a route with these communities and no other',
        [ 'bgp community-list standard C permit 65000:1', 'route-map M permit 10', 'match community C exact-match' ], A ),
   Row( 'row-10c', '`set community 65000:2 additive` / `on-match next`; `match community C exact-match`',
        'a route with more communities does not match',
        [ 'bgp community-list standard C permit 65000:1', TEN, 'route-map M permit 10', MATCH_TEN, 'set community 65000:2 additive',
          'on-match next', 'route-map M permit 20', 'match community C exact-match' ], A - TENS ),
   Row( 'row-11', '`ip prefix-list P permit 172.16.1.10/24`', 'is masked',
        [ 'ip prefix-list P permit 172.16.1.10/24', 'route-map M permit 10', 'match ip address prefix-list P' ], { '172.16.1.0/24' } ),
   Row( 'row-12', 'a call of an undefined map', 'is skipped',
        [ 'route-map M permit 10', 'call NOWHERE', 'set metric 3' ], ALL, everywhere( metric = 3 ) ),
   Row( 'row-13', '`call SUB` and `on-match next`, SUB denies', 'denied at once',
        [ 'route-map SUB deny 10', 'route-map M permit 10', 'call SUB', 'on-match next', 'route-map M permit 20' ], set() ),
   Row( 'row-14', '`on-match next` in the last sequence', 'permitted',
        [ 'route-map M permit 10', 'set metric 8', 'on-match next' ], ALL, everywhere( metric = 8 ) ),
   Row( 'row-15', '`deny 10` / match fits / `on-match next`; `permit 20`', 'a deny takes no on-match: the line is refused; denied',
        [ TEN, 'route-map M deny 10', MATCH_TEN, 'on-match next', 'route-map M permit 20' ], OTHERS, refused = [ 'on-match next' ] ),
   Row( 'row-16', 'all well-known communities, in an expression', 'their names, in the order of their numbers',
        [ f'bgp community-list expanded E permit ^{NAMES}$', 'route-map M permit 10', f'set community {NUMBERS}', 'on-match next',
          'route-map M permit 20', 'match community E' ], ALL, everywhere( communities = NAMES ) ),
   Row( 'row-17', '`match ip next-hop address 0.0.0.0`', 'matches every route without an IPv4 next hop, so IPv6 routes too',
        [ 'route-map M permit 10', 'match ip next-hop address 0.0.0.0' ], ALL ),
   Row( 'row-17b', '`match ip next-hop prefix-list H`, H permits 0.0.0.0/0 le 32', 'matches IPv4 routes only',
        [ 'ip prefix-list H permit 0.0.0.0/0 le 32', 'route-map M permit 10', 'match ip next-hop prefix-list H' ],
        { prefix for prefix in ALL if ':' not in prefix } ),
   Row( 'row-18', '`set metric +4294967295`', 'stops at 4294967295', [ 'route-map M permit 10', 'set metric +4294967295' ],
        ALL, everywhere( metric = 4294967295 ) ),
   Row( 'row-18b', '`set metric -4294967295`', 'stops at 0', [ 'route-map M permit 10', 'set metric -4294967295' ],
        ALL, everywhere( metric = 0 ) ),
   Row( 'row-19', 'a prefix list with a description only', 'permits nothing',
        [ 'ip prefix-list P description words', 'route-map M permit 10', 'match ip address prefix-list P' ], set() ),
   Row( 'row-19b', 'an access list with a remark only', 'permits nothing',
        [ 'access-list A remark words', 'route-map M permit 10', 'match ip address A' ], set() ),
   Row( 'row-19c', '`ip prefix-list P permit 10.0.0.0/8 ge 16`, without "le"', 'up to the longest prefix',
        [ 'ip prefix-list P permit 10.0.0.0/8 ge 16', 'route-map M permit 10', 'match ip address prefix-list P' ],
        TENS - { '10.0.0.0/8' } ),
   Row( 'row-20', '`set comm-list D delete`, a line of D has two communities', 'deletes each of them, also alone',
        [ 'bgp community-list standard D permit 65000:1 65000:2', 'route-map M permit 10', 'set comm-list D delete' ],
        ALL, { prefix: { 'communities': None } for prefix in A } ),
   Row( 'row-20b', '`set comm-list D delete`, D denies the community before it permits it', 'the community stays',
        [ 'bgp community-list standard D deny 65000:1', 'bgp community-list standard D permit 65000:1 no-export', 'route-map M permit 10',
          'set comm-list D delete' ],
        ALL, { prefix: { 'communities': '65000:1' if prefix in A else None } for prefix in A | B } ),
   Row( 'row-20c', '`set comm-list D delete` / `set community 65000:9 additive`', 'set clauses apply in the order of lines: stays',
        [ 'bgp community-list standard D permit 65000:9', 'route-map M permit 10', 'set comm-list D delete',
          'set community 65000:9 additive' ], ALL, { prefix: { 'communities': '65000:1 65000:9' } for prefix in A } ),
   Row( 'row-20d', '`set community 65000:9 additive` / `set comm-list D delete`', 'set clauses apply in the order of lines: goes',
        [ 'bgp community-list standard D permit 65000:9', 'route-map M permit 10', 'set community 65000:9 additive',
          'set comm-list D delete' ], ALL, { prefix: { 'communities': '65000:1' } for prefix in A } ),
   Row( 'row-21', '`continue 20`', 'is `on-match goto 20`',
        [ 'route-map M permit 10', 'set metric 1', 'continue 15', 'route-map M deny 12', 'route-map M permit 20', 'set tag 2' ],
        ALL, everywhere( metric = 1, tag = 2 ) ),
   Row( 'row-21b', '`continue` alone', 'is refused', [ 'route-map M permit 10', 'set metric 1', 'continue', 'route-map M deny 20' ],
        ALL, everywhere( metric = 1 ), [ 'continue' ] ),
   Row( 'row-21c', '`on-match goto` to a sequence that is not above', 'is refused',
        [ 'route-map M permit 10', 'set metric 1', 'route-map M permit 20', 'on-match goto 20', 'route-map M deny 30' ],
        ALL, everywhere( metric = 1 ), [ 'on-match goto 20' ] ),
   Row( 'row-22', 'a map that calls itself', 'the line is refused', [ 'route-map M permit 10', 'set metric 1', 'call M' ],
        ALL, everywhere( metric = 1 ), [ 'call M' ] ),
   Row( 'row-23', '`match community C exact-match`, C permits internet', 'matches every route',
        [ 'bgp community-list standard C permit internet', 'route-map M permit 10', 'match community C exact-match' ], ALL ),
   Row( 'row-24', 'the same sequence once more, with the other action', 'has the new action and keeps its clauses',
        [ TEN, 'route-map M deny 10', MATCH_TEN, 'set metric 1', 'route-map M permit 10' ], TENS, { '10.1.0.0/16': { 'metric': 1 } } ),
   Row( 'row-24b', 'two lines of one set clause', 'the later one replaces the earlier',
        [ 'route-map M permit 10', 'set metric 1', 'set metric 2', 'set tag 3', 'set tag 4' ], ALL, everywhere( metric = 2, tag = 4 ) ),
   Row( 'row-25', '`set as-path prepend 65009` / `set as-path exclude 65009`', 'set clauses apply in the order of lines',
        [ 'route-map M permit 10', 'set as-path prepend 65009', 'set as-path exclude 65009' ],
        ALL, { prefix: { 'asPath': '65001' } for prefix in A } ),
   Row( 'row-25b', '`set as-path prepend last-as 2`', 'repeats the first AS; an empty path stays empty',
        [ 'route-map M permit 10', 'set as-path prepend last-as 2' ],
        ALL, { prefix: { 'asPath': '65001 65001 65001' if prefix in A else None } for prefix in ALL - B } ),
   Row( 'row-26', '`set extcommunity rt` twice, and `soo` between', 'the later rt replaces the earlier and takes its place at the end',
        [ 'route-map M permit 10', 'set extcommunity rt 65000:1', 'set extcommunity soo 65000:2', 'set extcommunity rt 65000:3' ],
        ALL, everywhere( extendedCommunities = 'SoO:65000:2 RT:65000:3' ) ),
   Row( 'row-27', '`bgp community-list expanded E`, a class and the start of a word', 'POSIX extended expressions with those of libc',
        [ r'bgp community-list expanded E permit [[:digit:]]:1$', r'bgp community-list expanded E permit \<no-\w', 'route-map M permit 10',
          'match community E' ], A | B ),
   Row( 'row-27b', '`bgp as-path access-list P permit [^_]1`', '"_" is replaced also in brackets',
        [ 'bgp as-path access-list P permit [^_]1', 'route-map M permit 10', 'match as-path P' ], A | B ),
   Row( 'row-27c', r'`bgp community-list expanded E permit no-[\w]`', 'a backslash in brackets is a member',
        [ r'bgp community-list expanded E permit no-[\w]', 'route-map M permit 10', 'match community E' ], set() ),
   Row( 'row-27d', '`bgp community-list expanded E permit ^650{,3}:1$`', 'bounds without a lower number begin at 0',
        [ 'bgp community-list expanded E permit ^650{,3}:1$', 'route-map M permit 10', 'match community E' ], A ),
   Row( 'row-27e', '`match community E exact-match`, E is expanded', 'matches as without exact-match',
        [ 'bgp community-list expanded E permit 65000', 'route-map M permit 10', 'match community E exact-match' ], A ),
   Row( 'row-28', 'an access list has a line once more, under a lower number', 'the line has no effect',
        [ 'access-list L seq 9 permit 10.0.0.0/8', 'access-list L seq 8 deny 10.0.0.0/8 exact-match', 'access-list L seq 7 permit 10.0.0.0/8',
          'route-map M permit 10', 'match ip address L' ], TENS - { '10.0.0.0/8' } ),
   Row( 'row-28b', 'a community list has a line once more, under a lower number', 'the line has no effect',
        [ 'bgp community-list standard C seq 9 permit internet', 'bgp community-list standard C seq 8 deny 65000:1',
          'bgp community-list standard C seq 7 permit internet', 'route-map M permit 10', 'match community C' ], ALL - A ),
   Row( 'row-28c', 'an AS path list has a line once more, under a lower number', 'the line has no effect',
        [ 'bgp as-path access-list P seq 9 permit .*', 'bgp as-path access-list P seq 8 deny 65001', 'bgp as-path access-list P seq 7 permit .*',
          'route-map M permit 10', 'match as-path P' ], ALL - A ),
   Row( 'row-29', '`bgp community-list standard C permit internet 65000:1`', 'matches every route',
        [ 'bgp community-list standard C permit internet 65000:1', 'route-map M permit 10', 'match community C' ], ALL ),
   Row( 'row-29b', '`bgp community-list standard C permit 0:0`', 'is internet',
        [ 'bgp community-list standard C permit 0:0', 'route-map M permit 10', 'match community C' ], ALL ),
   Row( 'row-29c', 'numbers as names of community lists', 'tell the kind, unless the line says it',
        [ 'bgp community-list 7 permit no-export', 'bgp community-list 107 permit 0:1$', 'bgp community-list standard 108 permit internet',
          'route-map M permit 10', 'match community 7', 'route-map M permit 20', 'match community 107', 'route-map M permit 30', TEN,
          'route-map M permit 30', MATCH_TEN, 'match community 108' ], A | B | { '10.0.0.0/32' } ),
   Row( 'row-30', '`access-list L permit ip any 255.255.0.0 0.0.255.255`', 'the second pair is compared with the netmask',
        [ 'access-list L permit ip any 255.255.0.0 0.0.255.255', 'route-map M permit 10', 'match ip address L' ],
        { prefix for prefix in ALL if ':' not in prefix } - { '10.0.0.0/8', '10.0.0.0/7' } ),
   Row( 'row-30b', '`access-list L permit ip any 255.255.1.0 0.0.255.255`', 'bits under the wildcard: matches nothing',
        [ 'access-list L permit ip any 255.255.1.0 0.0.255.255', 'route-map M permit 10', 'match ip address L' ], set() ),
   Row( 'row-30c', '`access-list L permit 10.0.0.0 0.255.0.255`', 'a wildcard of any shape, compared with the address',
        [ 'access-list L permit 10.0.0.0 0.255.0.255', 'route-map M permit 10', 'match ip address L' ], TENS | { '10.0.0.0/7' } ),
   Row( 'row-30d', '`access-list L permit 10.1.2.3/8 exact-match`', 'is masked',
        [ 'access-list L permit 10.1.2.3/8 exact-match', 'route-map M permit 10', 'match ip address L' ], { '10.0.0.0/8' } ),
   Row( 'row-30e', '`match ip next-hop L`, L permits 0.0.0.0/32 exact-match', 'the next hop is a host',
        [ 'access-list L permit 0.0.0.0/32 exact-match', 'route-map M permit 10', 'match ip next-hop L' ],
        { prefix for prefix in ALL if ':' not in prefix } ),
   Row( 'row-31', '`set ip next-hop A` of an IPv6 route', 'has no effect',
        [ 'route-map M permit 10', 'set ip next-hop 192.0.2.9', 'on-match next', 'route-map M permit 20',
          'match ip next-hop address 192.0.2.9' ], { prefix for prefix in ALL if ':' not in prefix } ),
   Row( 'row-31b', '`set ipv6 next-hop global A` of an IPv4 route', 'is seen by a match of the address',
        [ 'route-map M permit 10', 'set ipv6 next-hop global 2001:db8::9', 'on-match next', 'route-map M permit 20',
          'match ipv6 next-hop address 2001:db8::9' ], ALL ),
   Row( 'row-32', '`match ip address prefix-list L`, where L has a description only', 'matches nothing',
        [ DESCRIBED, 'route-map M permit 10', 'match ip address prefix-list L' ], set() ),
   Row( 'row-32b', '`match ip next-hop prefix-list L`, where L has a description only', 'matches all IPv4 routes',
        [ DESCRIBED, 'route-map M permit 10', 'match ip next-hop prefix-list L' ], IPV4 ),
   Row( 'row-32c', '`match ipv6 next-hop prefix-list L`, where L has lost its lines and kept its description', 'matches all IPv6 routes',
        [ 'ipv6 prefix-list L description nothing else', 'ipv6 prefix-list L seq 5 permit 2001:db8::/32', 'no ipv6 prefix-list L seq 5',
          'route-map M permit 10', 'match ipv6 next-hop prefix-list L' ], ALL - IPV4 ),
]


def faults( row, permitted, shown, refused ):
   """How the daemon's answers differ from what the row says."""
   if permitted != row.permitted:
      yield f'permits {sorted( permitted )}, not {sorted( row.permitted )}'
   if refused != row.refused:
      yield f'refuses {refused}, not {row.refused}'
   for prefix, wanted in row.shown.items():
      for key, value in wanted.items():
         if shown[ prefix ].get( key ) != value:
            yield f'{prefix}: {key} is {shown[ prefix ].get( key )}, not {value}'
