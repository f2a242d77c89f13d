"""A BGP speaker on an address of the loopback. bgpd connects to it, as it listens nowhere itself."""
import socket, struct, threading

OPEN, UPDATE, NOTIFICATION, KEEPALIVE = 1, 2, 3, 4
ADDRESS = '127.0.0.2'
NEXT_HOPS = ( '192.0.2.9', '2001:db8::9' )   # bgpd refuses an address of the loopback
UNICAST = ( ( 1, 'ipv4' ), ( 2, 'ipv6' ) )   # address families as BGP numbers them


def message( kind, body = b'' ):
   return b'\xff' * 16 + struct.pack( '!HB', 19 + len( body ), kind ) + body


def attribute( flags, code, value ):
   return struct.pack( '!BBH', flags | 0x10, code, len( value ) ) + value


def packed_prefix( prefix ):
   address, length = prefix.split( '/' )
   family = socket.AF_INET6 if ':' in address else socket.AF_INET
   return bytes( [ int( length ) ] ) + socket.inet_pton( family, address )[ :( int( length ) + 7 ) // 8 ]


def prefixes( octets, family ):
   size = 16 if family == socket.AF_INET6 else 4
   while octets:
      length, end = octets[ 0 ], 1 + ( octets[ 0 ] + 7 ) // 8
      yield socket.inet_ntop( family, octets[ 1:end ].ljust( size, b'\0' ) ) + f'/{length}'
      octets = octets[ end: ]


def update( prefix, path, metric, communities, preference = None ):
   """A route as a message. `communities` are written "65000:1"."""
   octets = attribute( 0x40, 1, b'\0' )
   octets += attribute( 0x40, 2, bytes( [ 2, len( path ) ] ) + b''.join( struct.pack( '!I', asn ) for asn in path ) if path else b'' )
   if ':' not in prefix:
      octets += attribute( 0x40, 3, socket.inet_aton( NEXT_HOPS[ 0 ] ) )
   octets += attribute( 0x80, 4, struct.pack( '!I', metric ) )
   if preference is not None:
      octets += attribute( 0x40, 5, struct.pack( '!I', preference ) )
   if communities:
      octets += attribute( 0xc0, 8, b''.join( struct.pack( '!HH', *map( int, each.split( ':' ) ) ) for each in communities ) )
   if ':' in prefix:
      next_hop = socket.inet_pton( socket.AF_INET6, NEXT_HOPS[ 1 ] )
      octets += attribute( 0x80, 14, struct.pack( '!HBB', 2, 1, 16 ) + next_hop + b'\0' + packed_prefix( prefix ) )
      return message( UPDATE, struct.pack( '!HH', 0, len( octets ) ) + octets )
   return message( UPDATE, struct.pack( '!HH', 0, len( octets ) ) + octets + packed_prefix( prefix ) )


def routes_of( body ):
   """prefix -> the attributes that policies of the tests set, of an UPDATE."""
   withdrawn = struct.unpack( '!H', body[ :2 ] )[ 0 ]
   size = struct.unpack( '!H', body[ 2 + withdrawn:4 + withdrawn ] )[ 0 ]
   rest, plain = body[ 4 + withdrawn:4 + withdrawn + size ], body[ 4 + withdrawn + size: ]
   found, shown = list( prefixes( plain, socket.AF_INET ) ), {}
   while rest:
      long = rest[ 0 ] & 0x10
      length = struct.unpack( '!H', rest[ 2:4 ] )[ 0 ] if long else rest[ 2 ]
      code, value, rest = rest[ 1 ], rest[ 3 + bool( long ): ][ :length ], rest[ 3 + bool( long ) + length: ]
      if code == 4:
         shown[ 'metric' ] = struct.unpack( '!I', value )[ 0 ]
      elif code == 8:
         shown[ 'communities' ] = ' '.join( '%d:%d' % struct.unpack( '!HH', value[ at:at + 4 ] ) for at in range( 0, len( value ), 4 ) )
      elif code == 14:
         found += prefixes( value[ 5 + value[ 3 ]: ], socket.AF_INET6 )
   return { prefix: shown for prefix in found }


class Speaker:
   """Accepts one session, of both unicast families."""

   def __init__( self, asn, address = ADDRESS ):
      self.asn, self.address, self.up, self.received = asn, address, threading.Event(), {}
      self.listener = socket.socket()
      self.listener.bind( ( address, 0 ) )
      self.listener.listen( 1 )
      self.port, self.session = self.listener.getsockname()[ 1 ], None
      threading.Thread( target = self.run, daemon = True ).start()

   def run( self ):
      try:
         self.session, _ = self.listener.accept()
         buffer = b''
         while octets := self.session.recv( 1 << 16 ):
            buffer += octets
            while len( buffer ) >= 19 and len( buffer ) >= ( size := struct.unpack( '!H', buffer[ 16:18 ] )[ 0 ] ):
               self.take( buffer[ 18 ], buffer[ 19:size ] )
               buffer = buffer[ size: ]
      except OSError:
         pass   # closed

   def take( self, kind, body ):
      if kind == OPEN:
         capabilities = b''.join( struct.pack( '!BBHBB', 1, 4, number, 0, 1 ) for number, _ in UNICAST ) + struct.pack( '!BBI', 65, 4, self.asn )
         options = bytes( [ 2, len( capabilities ) ] ) + capabilities
         self.session.sendall( message( OPEN, struct.pack( '!BHH4sB', 4, self.asn, 180, socket.inet_aton( self.address ), len( options ) ) + options ) +
                               message( KEEPALIVE ) )
      elif kind == KEEPALIVE:
         self.up.set()
      elif kind == UPDATE:
         self.received |= routes_of( body )

   def send( self, messages ):
      self.session.sendall( messages )

   def close( self ):
      self.listener.close()
      if self.session:
         self.session.close()
