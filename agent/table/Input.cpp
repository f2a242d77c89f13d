#include "table/Input.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/iostreams/filter/bzip2.hpp>
#include <boost/iostreams/filter/lzma.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

namespace Agent {

namespace {

constexpr size_t kStoredCapacity = 65536;
constexpr size_t kMagicSize = 10;

enum class Step : uint8_t { more, end, cut, damaged, tooBig };

}   // namespace

/// One decompressor, driven a buffer at a time. Boost's own stream buffers throw on a cut stream and drop what they have decoded
/// up to there. So its filters are called directly: they move `in` and `out` even when they fail.
class Unpacker {
 public:
   virtual ~Unpacker() = default;
   /// `last`: no byte follows inEnd.
   virtual Step step( const char *& in, const char * inEnd, char *& out, char * outEnd, bool last ) = 0;
   /// Prepares for another stream after the one that ended. False: this kind of unpacker finds it by itself.
   virtual bool restart() { return false; }
};

namespace {

namespace io = boost::iostreams;

class GzipUnpacker final : public Unpacker {
 public:
   Step step( const char *& in, const char * inEnd, char *& out, char * outEnd, bool last ) override {
      try {
         return decompressor_.filter().filter( in, inEnd, out, outEnd, last ) ? Step::more : Step::end;
      } catch( const io::zlib_error & e ) { return e.error() == io::zlib::buf_error ? Step::cut : Step::damaged; }
   }
   bool restart() override {
      decompressor_.filter().close();
      return true;
   }

 private:
   static constexpr int kGzipFraming = 16;   // added to the window bits: zlib reads header and trailer and checks the sum
   io::zlib_decompressor decompressor_{ io::zlib::default_window_bits + kGzipFraming };
};

class Bzip2Unpacker final : public Unpacker {
 public:
   Step step( const char *& in, const char * inEnd, char *& out, char * outEnd, bool last ) override {
      try {
         return decompressor_.filter().filter( in, inEnd, out, outEnd, last ) ? Step::more : Step::end;
      } catch( const io::bzip2_error & e ) { return e.error() == io::bzip2::unexpected_eof ? Step::cut : Step::damaged; }
   }

 private:
   io::bzip2_decompressor decompressor_;
};

class XzUnpacker final : public Unpacker {
 public:
   Step step( const char *& in, const char * inEnd, char *& out, char * outEnd, bool last ) override {
      try {
         return decompressor_.filter().filter( in, inEnd, out, outEnd, last ) ? Step::more : Step::end;
      } catch( const io::lzma_error & e ) {
         if( e.error() == io::lzma::buf_error ) return Step::cut;
         return e.error() == kMemoryLimit ? Step::tooBig : Step::damaged;
      }
   }

 private:
   static constexpr int kMemoryLimit = 6;   // LZMA_MEMLIMIT_ERROR; Boost has no name for it. The limit is Boost's, 100 MB
   io::lzma_decompressor decompressor_;
};

std::unique_ptr<Unpacker> makeUnpacker( Compression c ) {
   switch( c ) {
      case Compression::none: break;
      case Compression::gzip: return std::make_unique<GzipUnpacker>();
      case Compression::bzip2: return std::make_unique<Bzip2Unpacker>();
      case Compression::xz: return std::make_unique<XzUnpacker>();
   }
   return nullptr;
}

}   // namespace

FileSource::FileSource( const std::string & path ) : fd_( path == "-" ? STDIN_FILENO : open( path.c_str(), O_RDONLY | O_CLOEXEC ) ) {
   if( fd_ < 0 ) throw std::system_error( errno, std::generic_category(), path );
}

FileSource::~FileSource() {
   if( fd_ != STDIN_FILENO ) close( fd_ );
}

size_t FileSource::read( char * to, size_t capacity ) {
   ssize_t count;
   do count = ::read( fd_, to, capacity );
   while( count < 0 && errno == EINTR );
   if( count < 0 ) throw std::system_error( errno, std::generic_category(), "cannot read" );
   return static_cast<size_t>( count );
}

size_t MemorySource::read( char * to, size_t capacity ) {
   const size_t count = std::min( capacity, rest_.size() );
   std::copy_n( rest_.data(), count, to );
   rest_.remove_prefix( count );
   return count;
}

const char * stringValue( Compression c ) noexcept {
   switch( c ) {
      case Compression::none: return "plain";
      case Compression::gzip: return "gzip";
      case Compression::bzip2: return "bzip2";
      case Compression::xz: return "xz";
   }
   return "";
}

Compression compressionOf( std::string_view firstBytes ) noexcept {
   using namespace std::string_view_literals;
   if( firstBytes.starts_with( "\x1f\x8b"sv ) ) return Compression::gzip;   // RFC 1952 2.3.1
   if( firstBytes.starts_with( "\xfd"
                               "7zXZ\0"sv ) )
      return Compression::xz;
   // A text may also begin with "BZh" and a level, but not with the mark of a first block, or of the end of an empty stream.
   if( firstBytes.starts_with( "BZh"sv ) && firstBytes.size() > 3 && firstBytes[ 3 ] >= '1' && firstBytes[ 3 ] <= '9' ) {
      const auto mark = firstBytes.substr( 4, 6 );
      if( "\x31\x41\x59\x26\x53\x59"sv.starts_with( mark ) || "\x17\x72\x45\x38\x50\x90"sv.starts_with( mark ) ) return Compression::bzip2;
   }
   return Compression::none;
}

Input::Input( ByteSource & source, uint64_t maxBytes, uint64_t freeGrowth )
      : source_( source ), stored_( kStoredCapacity ), maxBytes_( maxBytes ), freeGrowth_( freeGrowth ) {}

Input::~Input() = default;

size_t Input::read( char * to, size_t capacity ) {
   if( plainBytes_ == maxBytes_ ) {
      char further;
      if( take( &further, 1 ) != 0 ) end( "the text is longer than the limit of " + std::to_string( maxBytes_ ) + " bytes" );
      return 0;
   }
   const size_t count = take( to, std::min<uint64_t>( capacity, maxBytes_ - plainBytes_ ) );
   plainBytes_ += count;
   if( unpacker_ && plainBytes_ > freeGrowth_ && plainBytes_ / kMostGrowth > storedBytes_ )
      end( std::string( stringValue( compression_ ) ) + " data unpacks to more than " + std::to_string( kMostGrowth ) + " times its size" );
   return count;
}

// As read(), without limits.
size_t Input::take( char * to, size_t capacity ) {
   char * out = to;
   char * const outEnd = to + capacity;
   try {
      if( !started_ ) start();
      while( out == to && !ended_ ) {
         if( unpacker_ ) {
            unpack( out, outEnd );
         } else if( next_ == end_ && capacity >= stored_.size() ) {   // large pieces are not copied
            const size_t count = sourceEnded_ ? 0 : source_.read( to, capacity );
            storedBytes_ += count;
            out += count;
            sourceEnded_ = count == 0;
            if( sourceEnded_ ) end();
         } else if( next_ != end_ || refill() ) {
            const size_t count = static_cast<size_t>( std::min( end_ - next_, outEnd - out ) );
            out = std::copy_n( next_, count, out );
            next_ += count;
         } else {
            end();
         }
      }
   } catch( const std::system_error & e ) { end( e.what() ); } catch( const std::bad_alloc & ) {
      end( "out of memory" );
   }
   return static_cast<size_t>( out - to );
}

// Gathers the bytes that show the compression: a pipe may deliver them one at a time.
void Input::start() {
   started_ = true;
   size_t count = 0;
   while( count < kMagicSize ) {
      const size_t more = source_.read( stored_.data() + count, stored_.size() - count );
      if( more == 0 ) {
         sourceEnded_ = true;
         break;
      }
      count += more;
   }
   storedBytes_ = count;
   next_ = stored_.data();
   end_ = next_ + count;
   compression_ = compressionOf( { next_, count } );
   unpacker_ = makeUnpacker( compression_ );
}

// False at the end of the source.
bool Input::refill() {
   if( sourceEnded_ ) return false;
   next_ = end_ = stored_.data();
   const size_t count = source_.read( stored_.data(), stored_.size() );
   end_ += count;
   storedBytes_ += count;
   sourceEnded_ = count == 0;
   return count != 0;
}

void Input::unpack( char *& out, char * outEnd ) {
   const bool last = next_ == end_ && !refill();
   if( streamEnded_ ) {
      if( last || !unpacker_->restart() ) return end();
      next_ = std::find_if( next_, end_, []( char c ) { return c != '\0'; } );   // padding of the last block on a tape
      if( next_ == end_ ) return;
      streamEnded_ = false;
   }
   const char * const nextBefore = next_;
   char * const outBefore = out;
   Step step = unpacker_->step( next_, end_, out, outEnd, last );
   if( step == Step::more && last && next_ == nextBefore && out == outBefore ) step = Step::cut;   // no progress: else an endless loop
   const std::string kind = stringValue( compression_ );
   switch( step ) {
      case Step::more: break;
      case Step::end: streamEnded_ = true; break;
      case Step::cut: end( kind + " data is cut short" ); break;
      case Step::damaged: end( kind + " data is damaged" ); break;
      case Step::tooBig: end( kind + " data needs more than 100 MB of memory to be unpacked" ); break;
   }
}

void Input::end( std::string fault ) {
   ended_ = true;
   fault_ = std::move( fault );
}

}   // namespace Agent
