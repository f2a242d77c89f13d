"""Writes what bgpd answered. tests/agent/FrrFixture.h reads it.

A file holds tables. A table holds routes and policies. A policy holds its lines and what becomes of each route: null if it is denied,
otherwise the attributes that differ from those with which the route came, {} for none."""
import gzip, json, os
from harness import changes


def table( routes, before ):
   return { 'routes': [ { 'prefix': route[ 'prefix' ], 'attributes': came } for route, came in zip( routes, before ) ], 'policies': [] }


def after( before, outcome ):
   return [ None if is_ is None else changes( was, is_ ) for was, is_ in zip( before, outcome ) ]


def text( value, depth = 0 ):
   """JSON whose outer levels have a line for each member, so that a review can read them."""
   if depth > 5 or not value or not isinstance( value, ( dict, list ) ) or ( isinstance( value, dict ) and 'prefix' in value ):
      return json.dumps( value )
   margin = '\n' + ' ' * depth
   if isinstance( value, dict ):
      members = [ f'{json.dumps( key )}: {text( member, depth + 1 )}' for key, member in value.items() ]
      return '{' + margin + ' ' + ( ',' + margin + ' ' ).join( members ) + margin + '}'
   return '[' + margin + ' ' + ( ',' + margin + ' ' ).join( text( member, depth + 1 ) for member in value ) + margin + ']'


def write( path, fixture ):
   os.makedirs( os.path.dirname( path ) or '.', exist_ok = True )
   with open( path, 'wb' ) as file:
      if not path.endswith( '.gz' ):
         file.write( text( fixture ).encode() + b'\n' )
         return
      with gzip.GzipFile( '', 'wb', fileobj = file, mtime = 0 ) as packed:   # without a time: the same answers are the same bytes
         packed.write( json.dumps( fixture, separators = ( ',', ':' ) ).encode() )
