option( BUILD_SHARED_LIBS "Build libroutepolicy.so; OFF builds libroutepolicy.a" ON )
option( ROUTEPOLICY_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL} )
option( ROUTEPOLICY_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL} )
option( ROUTEPOLICY_BUILD_AGENT "Build routepolicy, the reference agent" ${PROJECT_IS_TOP_LEVEL} )
option( ROUTEPOLICY_BUILD_BENCH "Build the benchmarks; refused in a debug or instrumented build" OFF )
option( ROUTEPOLICY_BUILD_FUZZERS "Build the fuzz programs: with libFuzzer in a build for it, otherwise to replay fuzz/corpus as tests" OFF )
option( ROUTEPOLICY_WERROR "Treat warnings as errors" OFF )
option( ROUTEPOLICY_COVERAGE "Instrument for gcov" OFF )
set( ROUTEPOLICY_SANITIZE "" CACHE STRING "Sanitizers for everything in this build, as in address;undefined" )

# A look-up counts bits; without the popcnt instruction, this is a function call. Every x86-64 machine since about 2009 has popcnt.
set( default_arch "" )
if( CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$" )
   set( default_arch x86-64-v2 )
endif()
set( ROUTEPOLICY_ARCH "${default_arch}" CACHE STRING "-march of the library's own code; empty: the compiler's default" )

get_property( multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG )
if( PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT multi_config )
   set_property( CACHE CMAKE_BUILD_TYPE PROPERTY VALUE Release )
endif()

# Tests that measure the release artefact make no sense on instrumented code.
set( ROUTEPOLICY_INSTRUMENTED OFF )
if( ROUTEPOLICY_SANITIZE OR ROUTEPOLICY_COVERAGE )
   set( ROUTEPOLICY_INSTRUMENTED ON )
endif()
