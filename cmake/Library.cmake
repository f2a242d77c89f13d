include( CheckIPOSupported )
include( GenerateExportHeader )
find_package( Boost 1.74 REQUIRED )

set( folders substrate policy function compile rolestatus paths )
list( TRANSFORM folders PREPEND "${PROJECT_SOURCE_DIR}/" )
list( TRANSFORM folders APPEND "/*.cpp" OUTPUT_VARIABLE source_globs )
list( TRANSFORM folders APPEND "/*.h" OUTPUT_VARIABLE header_globs )
file( GLOB_RECURSE sources CONFIGURE_DEPENDS ${source_globs} )
file( GLOB_RECURSE headers CONFIGURE_DEPENDS ${header_globs} )

add_library( routepolicy ${sources} )
add_library( RoutePolicy::routepolicy ALIAS routepolicy )

# Every public header includes the generated export header: the check in it applies to all of them.
set( language_check [[
#if __cplusplus < 202002L
#  error "libroutepolicy needs C++20: compile with -std=c++20 or later"
#endif
]] )
generate_export_header( routepolicy
   EXPORT_MACRO_NAME ROUTEPOLICY_API
   CUSTOM_CONTENT_FROM_VARIABLE language_check
   EXPORT_FILE_NAME "${PROJECT_BINARY_DIR}/include/routepolicy_export.h" )

# Two file sets, because the build tree can be inside the source tree, and one set must not have nested base directories.
target_sources( routepolicy PUBLIC
   FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${headers}
   FILE_SET generated TYPE HEADERS BASE_DIRS "${PROJECT_BINARY_DIR}/include" FILES "${PROJECT_BINARY_DIR}/include/routepolicy_export.h" )

target_compile_features( routepolicy PUBLIC cxx_std_20 )
target_link_libraries( routepolicy PUBLIC Boost::headers )
if( NOT BUILD_SHARED_LIBS )
   target_compile_definitions( routepolicy PUBLIC ROUTEPOLICY_STATIC_DEFINE )
endif()
if( ROUTEPOLICY_ARCH )
   target_compile_options( routepolicy PRIVATE "-march=${ROUTEPOLICY_ARCH}" )
endif()
if( CMAKE_CXX_COMPILER_ID STREQUAL GNU )
   target_compile_options( routepolicy PRIVATE -fno-semantic-interposition )   # lets g++ inline calls within the library, as clang does
endif()
if( BUILD_SHARED_LIBS AND NOT ROUTEPOLICY_INSTRUMENTED )
   # A look-up calls functions in several source files; link-time optimisation saves about a sixth of its time.
   check_ipo_supported( RESULT link_time_optimization OUTPUT why_not LANGUAGES CXX )
   set_target_properties( routepolicy PROPERTIES
      INTERPROCEDURAL_OPTIMIZATION_RELEASE ${link_time_optimization}
      INTERPROCEDURAL_OPTIMIZATION_RELWITHDEBINFO ${link_time_optimization} )
endif()
if( NOT ROUTEPOLICY_SANITIZE )
   target_link_options( routepolicy PRIVATE -Wl,--no-undefined )   # only without sanitizers: their runtime is linked into the program
endif()

set_target_properties( routepolicy PROPERTIES
   CXX_VISIBILITY_PRESET hidden
   VISIBILITY_INLINES_HIDDEN ON
   POSITION_INDEPENDENT_CODE ON
   VERSION ${PROJECT_VERSION}
   SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} )   # before 1.0, a minor version can break the binary interface
