"""Asks bgpd about the rows and about random policies; see scripts/compare-frr."""
import argparse, sys, time
import fixtures, frrd, lines, neighbors, random_policies, rows
from harness import Table

POLICIES_PER_TABLE = 50


def ask_rows( directory ):
   """False if an answer is not what its row says."""
   good = True
   for row in rows.ROWS:
      with Table( rows.BUNDLES, rows.ROUTES ) as table:
         refused = table.define_each( row.lines )
         outcome = table.outcome()
         before = table.before
      shown = { route[ 'prefix' ]: after for route, after in zip( rows.ROUTES, outcome ) if after is not None }
      faults = list( rows.faults( row, set( shown ), shown, [ line for line, _, _ in refused ] ) )
      for fault in faults:
         print( f'{row.name}: {row.row}: bgpd {fault}', file = sys.stderr )
      good = good and not faults
      if directory:
         recorded = fixtures.table( rows.ROUTES, before )
         recorded[ 'policies' ].append( { 'name': row.name, 'row': row.row, 'says': row.says, 'configuration': row.lines,
                                          'refused': row.refused, 'after': fixtures.after( before, outcome ) } )
         fixtures.write( f'{directory}/{row.name}.json', { 'daemon': frrd.version(), 'tables': [ recorded ] } )
   print( f'{len( rows.ROWS )} rows, {len( rows.ROWS ) * len( rows.ROUTES )} decisions' )
   return good


def ask_random( seed, policies, routes, file ):
   """Policy n of a seed has the seed SEED * 1000003 + n. Every 50 policies share a table, whose seed is SEED * 7919 + the first n."""
   start, decisions, denied, changed, alike = time.monotonic(), 0, 0, 0, 0
   recorded = { 'daemon': frrd.version(), 'seed': seed, 'tables': [] }
   for first in range( 0, policies, POLICIES_PER_TABLE ):
      bundles, table_routes = random_policies.table( seed * 7919 + first, routes )
      with Table( bundles, table_routes ) as table:
         recorded[ 'tables' ].append( fixtures.table( table_routes, table.before ) )
         for number in range( first, min( first + POLICIES_PER_TABLE, policies ) ):
            name = seed * 1000003 + number
            try:
               policy = random_policies.policy( name )
               table.define( policy.lines )
               after = fixtures.after( table.before, table.outcome() )
               table.define( policy.undo )   # alone: together with the next policy, lines would keep their old order
            except Exception as error:
               raise RuntimeError( f'policy {name} of table {seed * 7919 + first}' ) from error
            recorded[ 'tables' ][ -1 ][ 'policies' ].append( { 'name': str( name ), 'configuration': policy.lines, 'after': after } )
            decisions += len( after )
            denied += after.count( None )
            changed += sum( bool( each ) for each in after )
            alike += all( each == after[ 0 ] for each in after )
   took = time.monotonic() - start
   print( f'seed {seed}: {policies} policies, {decisions} decisions in {took:.1f} s: {denied} denied, {changed} permitted and changed; '
          f'{alike} policies answer all routes alike' )
   if file:
      fixtures.write( file, recorded )


def main():
   options = argparse.ArgumentParser( add_help = False )
   options.add_argument( '--seed', type = int, default = 1 )
   options.add_argument( '--policies', type = int, default = 100 )
   options.add_argument( '--routes', type = int, default = 200 )
   options.add_argument( '--record', metavar = 'FILE' )
   options.add_argument( '--record-rows', metavar = 'FOLDER' )
   options.add_argument( '--record-neighbors', metavar = 'FOLDER' )
   options.add_argument( '--record-lines', metavar = 'FOLDER' )
   given = options.parse_args()
   print( frrd.version() )
   good = ask_rows( given.record_rows )
   if given.record_neighbors:
      neighbors.record( given.record_neighbors )
   if given.record_lines:
      lines.record( given.record_lines )
   ask_random( given.seed, given.policies, given.routes, given.record )
   return 0 if good else 1


if __name__ == '__main__':
   sys.exit( main() )
