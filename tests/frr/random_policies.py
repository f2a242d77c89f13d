"""Random policies and tables for bgpd. The same seed gives the same lines.

A policy deals with a few subjects: the attributes that its clauses match and set. So a match often sees what an earlier sequence has set.
Two policies of five have plain clauses only; in two more, one subject has other clauses too. A sequence has at most one clause of a kind:
bgpd keeps the last of two, or refuses both. No map is called by a map below it: two maps that call each other end bgpd."""
import ipaddress, random
from dataclasses import dataclass, field
from harness import MAP, family

COMMUNITIES = [ '65000:1', '65000:2', '65000:3', '65001:100', 'no-export', 'no-advertise', 'local-AS', 'blackhole', 'graceful-shutdown' ]
LARGE = [ '65000:1:1', '65000:1:2', '65000:2:1', '4200000000:0:7' ]
TARGETS, SITES = [ '65000:1', '65000:2', '192.0.2.1:3' ], [ '65000:1', '65000:9' ]
ASNS = [ 65001, 65002, 65003, 64512, 4200000000 ]
METRICS, PREFERENCES, TAGS = [ 1, 5, 77 ], [ 50, 100, 200 ], [ 1, 7, 99 ]
ORIGINS = [ 'igp', 'egp', 'incomplete' ]
HOP_NETWORKS = [ '192.0.2.0/24', '192.0.2.8/29', '198.51.100.0/24', '0.0.0.0/0' ]
HOPS4, HOPS6 = [ '192.0.2.1', '192.0.2.9', '198.51.100.1' ], [ '2001:db8:f::1', '2001:db8:f::9' ]
AS_PATH_EXPRESSIONS = [ '^$', '_65001_', '^65001', '65002$', '^65001_65002', '.*', '_4200000000_', '^[0-9]+$', '65003 65001',
                        '^(65001|65002)_' ]
COMMUNITY_EXPRESSIONS = [ '65000:1', '65000:.*', '^65000:1', '65000:[12]$', '_65000:2_', 'no-export', 'local-AS', '65535:65281', '.*',
                          '^65000:1 65000:2', '100' ]
LARGE_EXPRESSIONS = [ '65000:1:.*', '^65000:', '4200000000', '_65000:2:1_', '.*' ]
EXTENDED_EXPRESSIONS = [ 'RT:65000:1', 'SoO:.*', '65000:.*', 'RT:192.0.2.1:3', '.*' ]


@dataclass
class Policy:
   lines: list = field( default_factory = list )
   undo: list = field( default_factory = list )


def some( r, items, low, high ):
   return r.sample( items, r.randint( low, high ) )


def words( items ):
   return ' '.join( str( item ) for item in items )


def action( r ):
   return r.choice( [ 'permit', 'permit', 'permit', 'deny' ] )


# ---- tables

def bundle( r, six ):
   """Attributes of a route. Each has a local preference: bgpd assumes one for routes of its own that lack it, and shows it nowhere."""
   lines = [ f'set local-preference {r.choice( PREFERENCES )}' ]
   def maybe( chance, line ):
      if r.random() < chance:
         lines.append( line )
   maybe( .8, 'set as-path prepend ' + words( r.choice( ASNS ) for _ in range( r.randint( 1, 4 ) ) ) )
   maybe( .7, 'set community ' + words( some( r, COMMUNITIES, 1, 3 ) ) )
   maybe( .4, 'set large-community ' + words( some( r, LARGE, 1, 3 ) ) )
   maybe( .3, 'set extcommunity rt ' + words( some( r, TARGETS, 1, 2 ) ) )
   maybe( .2, 'set extcommunity soo ' + r.choice( SITES ) )
   maybe( .8, f'set metric {r.choice( METRICS )}' )
   maybe( .5, f'set tag {r.choice( TAGS )}' )
   maybe( .5, f'set origin {r.choice( ORIGINS )}' )
   # Of the other family it would be set, too, but not shown.
   maybe( .7, 'set ipv6 next-hop global ' + r.choice( HOPS6 ) if six else 'set ip next-hop ' + r.choice( HOPS4 ) )
   return lines


def prefix( r, six ):
   """An address without bits after the length, and the length."""
   if six:
      length = r.choice( [ 16, 28, 32, 40, 48, 48, 56, 64, 64, 127, 128 ] )
      groups = [ '2001', r.choice( [ 'db8', 'db8', 'db9' ] ), r.choice( [ '0', '1', '2', 'ff00' ] ), r.choice( [ '0', '1', '100' ] ) ]
      address = ':'.join( groups ) + '::' + r.choice( '012' )
   else:
      length = r.choice( [ 8, 9, 12, 15, 16, 16, 20, 24, 24, 24, 25, 30, 32 ] )
      octets = [ 10, 10, 10, 11, 172 ], [ 0, 1, 1, 2, 16, 129 ], [ 0, 1, 5, 128 ], [ 0, 1, 4, 128, 255 ]
      address = '.'.join( str( r.choice( octet ) ) for octet in octets )
   return str( ipaddress.ip_network( f'{address}/{length}', False ).network_address ), length


def table( seed, count ):
   """Bundles, and routes that have their attributes from them. Few bundles: the time of bgpd grows faster than their number."""
   r = random.Random( seed )
   bundles = { f'{af}{n}': bundle( r, af == 'ipv6' ) for af, number in ( ( 'ipv4', 8 ), ( 'ipv6', 4 ) ) for n in range( number ) }
   routes = {}
   while len( routes ) < count:
      text = '{}/{}'.format( *prefix( r, r.random() < .25 ) )
      routes[ text ] = r.choice( [ name for name in bundles if name.startswith( family( text ) ) ] )
   return bundles, [ { 'prefix': text, 'from': name } for text, name in routes.items() ]


# ---- lists

def entries( r, low, high, make ):
   """Entries with different values: bgpd refuses a list with the same prefix twice, or drops the second."""
   made = dict( make() for _ in range( r.randint( low, high ) ) )
   return [ f'seq {5 * n + 5} {action( r )} {text}' for n, text in enumerate( made.values() ) ]


def prefix_entry( r, six, plain ):
   if r.random() < .08:
      return 'any', 'any'
   longest = 128 if six else 32
   address, length = prefix( r, six )
   length = max( 16 if six else 8, length - r.choice( [ 0, 4, 8, 16 ] ) )
   network = ipaddress.ip_network( f'{address}/{length}', False )
   low = r.randint( length, longest ) if r.random() < .3 else None
   high = r.randint( low or length, longest ) if r.random() < .3 else longest if r.random() < .6 else None
   has_host_bits = not plain and length <= longest - 8 and r.random() < .2
   text = f'{network.network_address + 0x4d}/{length}' if has_host_bits else str( network )
   text += ( f' ge {low}' if low else '' ) + ( f' le {high}' if high else '' )
   return ( str( network ), low, high ), text


def access_entry( r, six, form ):
   if r.random() < .08:
      return 'any', 'any'
   address, length = prefix( r, six )
   if form == 'address':
      address = ipaddress.ip_network( f'{address}/{min( length, 16 )}', False ).network_address   # of many routes
      return address, r.choice( [ '', 'host ' ] ) + str( address )
   if form == 'wildcard':
      wildcard = ipaddress.ip_address( r.choice( [ '0.0.0.255', '0.0.255.255', '0.255.255.255', '0.0.1.0' ] ) )
      if r.random() < .8:   # with bits under the wildcard, it matches nothing
         address = ipaddress.ip_address( int( ipaddress.ip_address( address ) ) & ~int( wildcard ) )
      return ( address, wildcard ), f'{address} {wildcard}'
   network = ipaddress.ip_network( f'{address}/{max( 8, length - r.choice( [ 0, 8, 12 ] ) )}', False )
   exact = form == 'exact' and r.random() < .7
   return ( str( network ), exact ), f'{network}' + ( ' exact-match' if exact else '' )


class Writer:
   """Writes one policy."""

   def __init__( self, seed ):
      self.r = random.Random( seed )
      self.policy = Policy()
      self.plain = True   # of the subject in work
      self.names = {}    # by kind of list

   def write( self ):
      r = self.r
      subjects = [ self.prefixes, *some( r, [ self.prefixes6, self.access, self.next_hops ], 1, 1 ),
                   *some( r, [ self.metric, self.tag, self.preference, self.communities, self.as_paths ], 2, 3 ) ]
      others = [ self.origin, self.large, self.extended, self.weight, self.rest, self.probability ]
      style = r.choice( [ 'plain', 'plain', 'one', 'one', 'all' ] )
      if style == 'all' or style == 'one' and r.random() < .4:
         subjects += some( r, others, 1, 3 if style == 'all' else 1 )
      not_plain = { 'plain': [], 'one': [ r.choice( subjects ) ], 'all': subjects }[ style ]
      self.clauses = [ self.clauses_of( subject, subject not in not_plain ) for subject in subjects ]
      maps = [ MAP, *( f'SUB{n}' for n in range( r.choice( [ 0, 1, 1, 2 ] ) ) ) ]
      for depth, name in enumerate( maps ):
         self.route_map( name, maps[ depth + 1: ], r.randint( 2, 6 ) if depth == 0 else r.randint( 1, 3 ) )
      self.policy.undo = [ f'no route-map {name}' for name in reversed( maps ) ] + self.policy.undo
      return self.policy

   def clauses_of( self, subject, plain ):
      self.plain = plain
      return subject()

   def route_map( self, name, below, count ):
      r = self.r
      numbers = sorted( r.sample( range( 10, 100, 5 ), count ) )
      for number in numbers:
         last = number == numbers[ -1 ]
         permits = r.random() < ( .9 if last else .7 )
         self.policy.lines.append( f'route-map {name} {"permit" if permits else "deny"} {number}' )
         self.some_of( 0, r.choice( [ 0, 0, 0, 1 ] if last else [ 0, 1, 1, 1, 1, 1, 2 ] ) )
         self.some_of( 1, r.choice( [ 0, 1, 1, 2, 2 ] ) )
         if below and r.random() < .35:
            self.policy.lines.append( 'call ' + ( 'UNDEFINED' if r.random() < .05 else r.choice( below ) ) )
         if permits and r.random() < .5:   # a deny takes no on-match
            self.policy.lines.append( 'on-match next' if r.random() < .5 else f'on-match goto {r.randint( number + 1, 100 )}' )

   def some_of( self, which, count ):
      """Match clauses (0) or set clauses (1), of each kind one. The key of a clause is its kind."""
      subjects = [ both[ which ] for both in self.clauses if both[ which ] ]
      chosen = dict( self.r.choice( self.r.choice( subjects ) )() for _ in range( count if subjects else 0 ) )
      self.policy.lines += chosen.values()

   def define( self, kind, words_, name, made, undo = None ):
      self.policy.lines += [ f'{words_} {name} {line}' for line in made ]
      self.policy.undo += [ f'no {words_} {name}' ] if undo is None else undo
      self.names.setdefault( kind, [] ).append( name.split()[ -1 ] )

   def name_of( self, kind ):
      return 'UNDEFINED' if self.r.random() < .02 else self.r.choice( self.names[ kind ] )

   def plain_or( self, *clauses ):
      return [] if self.plain else list( clauses )

   # Subjects. Each defines its lists and returns what makes its match clauses and what makes its set clauses.

   def prefixes( self ):
      for name in ( 'P0', 'P1' ):
         self.define( 'prefix4', 'ip prefix-list', name, entries( self.r, 1, 4, lambda: prefix_entry( self.r, False, self.plain ) ) )
      return [ lambda: ( 'ip', 'match ip address prefix-list ' + self.name_of( 'prefix4' ) ) ] * 2, []

   def prefixes6( self ):
      self.define( 'prefix6', 'ipv6 prefix-list', 'S0', entries( self.r, 1, 4, lambda: prefix_entry( self.r, True, self.plain ) ) )
      return [ lambda: ( 'ipv6', 'match ipv6 address prefix-list ' + self.name_of( 'prefix6' ) ) ], []

   def access( self ):
      form = 'prefix' if self.plain else self.r.choice( [ 'exact', 'address', 'wildcard' ] )
      def one( kind, line, name, six, form ):
         made = entries( self.r, 1, 3, lambda: access_entry( self.r, six, form ) )
         self.define( kind, line, name, made, [ f'no {line} {name} {entry}' for entry in made ] )
      one( 'access4', 'access-list', self.r.choice( [ '10', 'A0' ] ), False, form )
      one( 'access6', 'ipv6 access-list', 'A6', True, 'exact' if form == 'exact' else 'prefix' )
      return [ lambda: ( 'ip list', 'match ip address ' + self.name_of( 'access4' ) ) ] * 2 + [
               lambda: ( 'ipv6 list', 'match ipv6 address ' + self.name_of( 'access6' ) ) ], []

   def next_hops( self ):
      r = self.r
      made = [ f'seq {5 * n + 5} {action( r )} {hop}' for n, hop in enumerate( r.sample( HOP_NETWORKS, 2 ) ) ]
      self.define( 'hop prefix', 'ip prefix-list', 'H0', [ line + ' le 32' for line in made ] )
      self.define( 'hop access', 'access-list', 'H1', made, [ f'no access-list H1 {line}' for line in made ] )
      matches = [ lambda: ( 'hop', 'match ip next-hop address ' + r.choice( HOPS4 ) ),
                  lambda: ( 'hop', 'match ip next-hop prefix-list ' + self.name_of( 'hop prefix' ) ),
                  lambda: ( 'hop', 'match ip next-hop ' + self.name_of( 'hop access' ) ),
                  lambda: ( 'hop6', 'match ipv6 next-hop address ' + r.choice( HOPS6 ) ) ]
      return matches, self.plain_or( lambda: ( 'ip', 'set ip next-hop ' + r.choice( HOPS4 ) ),
                                     lambda: ( 'ipv6', 'set ipv6 next-hop global ' + r.choice( HOPS6 ) ) )

   def metric( self ):
      r = self.r
      sets = [ lambda: ( 'metric', f'set metric {r.choice( METRICS )}' ) ]
      sets += self.plain_or( lambda: ( 'metric', f'set metric {r.choice( "+-" )}{r.choice( [ 1, 4, 72, 4294967295 ] )}' ) )
      return [ lambda: ( 'metric', f'match metric {r.choice( METRICS )}' ) ] * 2, sets

   def tag( self ):
      r = self.r
      return [ lambda: ( 'tag', f'match tag {r.choice( TAGS )}' ) ], [ lambda: ( 'tag', f'set tag {r.choice( TAGS )}' ) ]

   def preference( self ):
      r = self.r
      relative = lambda: ( 'preference', f'set local-preference {r.choice( "+-" )}{r.choice( [ 1, 50, 500 ] )}' )
      matches = self.plain_or( lambda: ( 'preference', f'match local-preference {r.choice( PREFERENCES )}' ) )
      return matches, [ lambda: ( 'preference', f'set local-preference {r.choice( PREFERENCES )}' ), *self.plain_or( relative ) ]

   def list_of( self, kind, words_, name, number, standard, expanded ):
      r = self.r
      styles = [ ( 'standard ' + name, standard ), ( 'expanded ' + name, expanded ) ]
      styles += self.plain_or( ( str( number ), standard ), ( str( 100 + number ), expanded ) )
      who, content = r.choice( styles )
      made = [ f'seq {5 * n + 5} {action( r )} {content()}' for n in range( r.randint( 1, 3 ) ) ]
      self.define( kind, words_, who, made )

   def exactly( self, plain ):
      return ' exact-match' if not plain and self.r.random() < .3 else ''

   def additive( self ):
      return self.r.choice( [ ' additive', '' ] )

   def communities( self ):
      r, plain = self.r, self.plain
      standard = lambda: 'internet' if r.random() < .05 else words( some( r, COMMUNITIES, 1, 2 ) )
      for n in range( 2 ):
         self.list_of( 'community', 'bgp community-list', f'C{n}', 7 + n, standard, lambda: r.choice( COMMUNITY_EXPRESSIONS ) )
      sets = [ lambda: ( 'community', 'set community ' + words( some( r, COMMUNITIES, 1, 3 ) ) + self.additive() ) ] * 3
      sets += [ lambda: ( 'community', 'set community none' ) ]
      sets += self.plain_or( lambda: ( 'delete', f'set comm-list {self.name_of( "community" )} delete' ) ) * 2
      return [ lambda: ( 'community', 'match community ' + self.name_of( 'community' ) + self.exactly( plain ) ) ] * 2, sets

   def as_paths( self ):
      r = self.r
      made = [ f'seq {5 * n + 5} {action( r )} {r.choice( AS_PATH_EXPRESSIONS )}' for n in range( r.randint( 1, 3 ) ) ]
      self.define( 'as-path', 'bgp as-path access-list', 'AP', made )
      return [ lambda: ( 'as-path', 'match as-path ' + self.name_of( 'as-path' ) ) ] * 2, self.plain_or(
         lambda: ( 'prepend', 'set as-path prepend ' + words( r.choice( ASNS ) for _ in range( r.randint( 1, 3 ) ) ) ),
         lambda: ( 'prepend', f'set as-path prepend last-as {r.randint( 1, 3 )}' ),
         lambda: ( 'exclude', 'set as-path exclude ' + words( some( r, ASNS, 1, 2 ) ) ) )

   def origin( self ):
      r = self.r
      return [ lambda: ( 'origin', f'match origin {r.choice( ORIGINS )}' ) ], [ lambda: ( 'origin', f'set origin {r.choice( ORIGINS )}' ) ]

   def large( self ):
      r, plain = self.r, self.plain
      self.list_of( 'large', 'bgp large-community-list', 'L0', 8, lambda: words( some( r, LARGE, 1, 2 ) ),
                    lambda: r.choice( LARGE_EXPRESSIONS ) )
      return [ lambda: ( 'large', 'match large-community ' + self.name_of( 'large' ) + self.exactly( plain ) ) ], [
         lambda: ( 'large', 'set large-community ' + words( some( r, LARGE, 1, 2 ) ) + self.additive() ),
         lambda: ( 'large', 'set large-community none' ),
         lambda: ( 'large delete', f'set large-comm-list {self.name_of( "large" )} delete' ) ]

   def extended( self ):
      r = self.r
      target, site = lambda: 'rt ' + r.choice( TARGETS ), lambda: 'soo ' + r.choice( SITES )
      self.list_of( 'extended', 'bgp extcommunity-list', 'X0', 9, lambda: r.choice( [ target, site ] )(),
                    lambda: r.choice( EXTENDED_EXPRESSIONS ) )
      return [ lambda: ( 'extended', 'match extcommunity ' + self.name_of( 'extended' ) ) ], [
         lambda: ( 'rt', 'set extcommunity ' + target() ), lambda: ( 'soo', 'set extcommunity ' + site() ),
         lambda: ( 'none', 'set extcommunity none' ) ]

   def weight( self ):
      return [], [ lambda: ( 'weight', f'set weight {self.r.choice( [ 0, 5, 65535 ] )}' ) ]

   def rest( self ):
      r = self.r
      return [], [ lambda: ( 'originator', 'set originator-id ' + r.choice( HOPS4 ) ), lambda: ( 'atomic', 'set atomic-aggregate' ),
                   lambda: ( 'aggregator', f'set aggregator as {r.choice( ASNS )} {r.choice( HOPS4 )}' ),
                   lambda: ( 'label', f'set label-index {r.choice( [ 5, 6 ] )}' ) ]

   def probability( self ):
      return [ lambda: ( 'probability', f'match probability {self.r.choice( [ 0, 100 ] )}' ) ], []


def policy( seed ):
   return Writer( seed ).write()
