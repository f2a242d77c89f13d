# Options for this directory and below. They apply to the library, its tests, examples and benchmarks, and never to a consumer.
set( CMAKE_CXX_STANDARD 20 )
set( CMAKE_CXX_STANDARD_REQUIRED ON )
set( CMAKE_CXX_EXTENSIONS OFF )
set( CMAKE_COMPILE_WARNING_AS_ERROR ${ROUTEPOLICY_WERROR} )

add_compile_options( -Wall -Wextra -Wpedantic )
if( CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13 )
   add_compile_options( -Wno-restrict -Wno-maybe-uninitialized )   # g++ 12 warns inside std::string's own concatenation and assignment
endif()

if( CMAKE_CXX_COMPILER_ID STREQUAL GNU )
   add_compile_options( --param=ggc-min-heapsize=1048576 )   # KiB: below 1 GiB the compiler collects no garbage, a tenth of its time
endif()

# No installed file contains a path of the build machine. With link-time optimisation, the linker writes the library's line tables.
if( CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang)$" )
   set( build_paths "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${PROJECT_BINARY_DIR}=." )
   add_compile_options( "$<$<NOT:$<CONFIG:Debug>>:${build_paths}>" )
   add_link_options( "$<$<NOT:$<CONFIG:Debug>>:${build_paths}>" )
endif()

if( ROUTEPOLICY_SANITIZE )
   list( JOIN ROUTEPOLICY_SANITIZE "," sanitizers )
   if( "thread" IN_LIST ROUTEPOLICY_SANITIZE )
      add_compile_definitions( BOOST_ASIO_DISABLE_FENCED_BLOCK )   # g++ does not support fences here; each Asio loop has one thread
   endif()
   add_compile_options( -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer )
   add_link_options( -fsanitize=${sanitizers} )
   if( CMAKE_CXX_COMPILER_ID STREQUAL GNU )
      add_compile_options( -Wno-maybe-uninitialized )   # gives false warnings on instrumented code, as GCC's manual says
   endif()
endif()

if( ROUTEPOLICY_COVERAGE )
   add_compile_options( --coverage -fprofile-update=atomic )
   add_link_options( --coverage )
endif()
