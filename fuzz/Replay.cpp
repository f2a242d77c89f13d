// A main() for a fuzz program without a fuzzer: runs the program once on each file, unchanged. It needs no clang.
// usage: PROGRAM FILE-OR-FOLDER...   prints the name of each file before the run, because an error ends the process
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size );

// Never called. A fuzz program with a mutator of its own refers to this function.
extern "C" size_t LLVMFuzzerMutate( uint8_t *, size_t size, size_t ) {
   return size;
}

int main( int argc, char ** argv ) {
   std::vector<std::filesystem::path> files;
   for( int i = 1; i < argc; ++i ) {
      if( !std::filesystem::is_directory( argv[ i ] ) ) {
         files.emplace_back( argv[ i ] );
         continue;
      }
      for( const auto & entry : std::filesystem::recursive_directory_iterator( argv[ i ] ) )
         if( entry.is_regular_file() ) files.push_back( entry.path() );
   }
   std::sort( files.begin(), files.end() );
   for( const auto & file : files ) {
      std::printf( "%s\n", file.c_str() );
      std::fflush( stdout );
      std::ifstream in( file, std::ios::binary );
      const std::string bytes( std::istreambuf_iterator<char>( in ), {} );
      if( !in ) {
         std::fprintf( stderr, "cannot read %s\n", file.c_str() );
         return 1;
      }
      LLVMFuzzerTestOneInput( reinterpret_cast<const uint8_t *>( bytes.data() ), bytes.size() );
   }
   std::printf( "%zu files\n", files.size() );
   return files.empty();
}
