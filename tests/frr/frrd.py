"""A bgpd of our own: started alone, asked over its vty socket, stopped by its own pid."""
import ctypes, os, shutil, signal, socket, subprocess, tempfile, time

BGPD = os.environ.get( 'BGPD', '/usr/lib/frr/bgpd' )
PR_SET_PDEATHSIG = 1
LIBC = ctypes.CDLL( None )


class Refused( Exception ):
   """Lines that bgpd refused, each with its status and answer."""


def version():
   first = subprocess.run( [ BGPD, '--version' ], check = True, capture_output = True, text = True ).stdout.splitlines()[ 0 ]
   return first.replace( ' version', '' )


class Bgpd:
   """Owns the process and its directory. Use it in a `with` statement."""

   def __init__( self, configuration ):
      self.directory = tempfile.mkdtemp( prefix = 'bgpd.' )
      self.vty, self.buffer = None, b''
      path = lambda name: os.path.join( self.directory, name )
      with open( path( 'bgpd.conf' ), 'w' ) as file:
         file.write( configuration )
      # -S: keeps the user and needs no capabilities. -Z -n: no zebra, no kernel. -p 0 -P 0: listens neither for BGP nor for telnet.
      command = [ BGPD, '-S', '-Z', '-n', '-p', '0', '-P', '0', '-f', path( 'bgpd.conf' ), '-i', path( 'bgpd.pid' ),
                  '--vty_socket', self.directory, '-z', path( 'no-zebra' ), '--log', 'file:' + path( 'log' ) ]
      with open( path( 'stderr' ), 'wb' ) as log:
         self.process = subprocess.Popen( command, stdin = subprocess.DEVNULL, stdout = log, stderr = log,
                                          preexec_fn = lambda: LIBC.prctl( PR_SET_PDEATHSIG, signal.SIGTERM ) )
      try:
         self.connect( path( 'bgpd.vty' ) )
         self.show( 'enable' )
      except BaseException:
         self.stop()
         raise

   def connect( self, path ):
      end = time.monotonic() + 20
      while True:
         vty = socket.socket( socket.AF_UNIX, socket.SOCK_STREAM )
         try:
            vty.connect( path )
            self.vty = vty
            return
         except OSError:
            vty.close()
            if self.process.poll() is not None or time.monotonic() > end:
               raise RuntimeError( 'bgpd does not start' ) from None
            time.sleep( 0.01 )

   def answer( self ):
      """The status and the text of the next answer. An answer ends with three zero octets and the status."""
      while True:
         at = self.buffer.find( b'\0\0\0' )
         if at >= 0 and len( self.buffer ) > at + 3:
            text, status = self.buffer[ :at ], self.buffer[ at + 3 ]
            self.buffer = self.buffer[ at + 4: ]
            return status, text.decode( 'utf-8', 'replace' ).strip()
         piece = self.vty.recv( 1 << 20 )
         if not piece:
            raise RuntimeError( 'bgpd has ended' )
         self.buffer += piece

   def ask( self, lines ):
      """Sends many lines at once; bgpd answers them in order."""
      answers = []
      for at in range( 0, len( lines ), 200 ):   # more would fill the buffers of the socket
         part = lines[ at:at + 200 ]
         self.vty.sendall( b''.join( line.encode() + b'\0' for line in part ) )
         answers += [ ( line, *self.answer() ) for line in part ]
      return answers

   def show( self, line ):
      [ ( _, status, text ) ] = self.ask( [ line ] )
      if status != 0:
         raise Refused( [ ( line, status, text ) ] )
      return text

   def configure( self, lines ):
      """Returns the refused lines. Within a transaction, an error has status 0 and a text that begins with "%"."""
      answers = self.ask( [ 'configure terminal', *( line.strip() for line in lines ), 'end' ] )
      return [ ( line, status, text ) for line, status, text in answers if status not in ( 0, 1 ) or text.startswith( '%' ) ]

   def stop( self ):
      if self.vty:
         self.vty.close()
      if self.process.poll() is None:
         self.process.terminate()
         try:
            self.process.wait( 5 )
         except subprocess.TimeoutExpired:   # it does not end within a long transaction
            self.process.kill()
            self.process.wait()
      shutil.rmtree( self.directory, ignore_errors = True )

   def __enter__( self ):
      return self

   def __exit__( self, *_ ):
      self.stop()
