include( GNUInstallDirs )
include( CMakePackageConfigHelpers )

set( header_dir "${CMAKE_INSTALL_INCLUDEDIR}/routepolicy" )
set( package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/RoutePolicy" )

install( TARGETS routepolicy EXPORT RoutePolicyTargets
   FILE_SET HEADERS DESTINATION "${header_dir}"
   FILE_SET generated DESTINATION "${header_dir}" )
install( EXPORT RoutePolicyTargets NAMESPACE RoutePolicy:: DESTINATION "${package_dir}" )

configure_package_config_file( cmake/RoutePolicyConfig.cmake.in "${PROJECT_BINARY_DIR}/RoutePolicyConfig.cmake"
   INSTALL_DESTINATION "${package_dir}" )
write_basic_package_version_file( "${PROJECT_BINARY_DIR}/RoutePolicyConfigVersion.cmake" COMPATIBILITY SameMinorVersion )
install( FILES "${PROJECT_BINARY_DIR}/RoutePolicyConfig.cmake" "${PROJECT_BINARY_DIR}/RoutePolicyConfigVersion.cmake"
   DESTINATION "${package_dir}" )

# All paths are relative to the .pc file, so an installed tree can be moved.
file( RELATIVE_PATH pc_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}" )
file( RELATIVE_PATH pc_include "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}/routepolicy" )
set( pc_cflags "" )
if( NOT BUILD_SHARED_LIBS )
   string( APPEND pc_cflags " -DROUTEPOLICY_STATIC_DEFINE" )
endif()
if( Boost_INCLUDE_DIRS AND NOT Boost_INCLUDE_DIRS IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES )
   string( APPEND pc_cflags " -isystem ${Boost_INCLUDE_DIRS}" )
endif()
configure_file( cmake/routepolicy.pc.in "${PROJECT_BINARY_DIR}/routepolicy.pc" @ONLY )
install( FILES "${PROJECT_BINARY_DIR}/routepolicy.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" )

# The README and the documents that it links to, in the same folders as here, so that the links work. The headers that it names are in the
# installed include folder.
install( FILES LICENSE README.md CHANGELOG.md CONTRIBUTING.md DESTINATION "${CMAKE_INSTALL_DOCDIR}" )
install( FILES agent/README.md DESTINATION "${CMAKE_INSTALL_DOCDIR}/agent" )
install( DIRECTORY docs examples DESTINATION "${CMAKE_INSTALL_DOCDIR}" PATTERN examples/CMakeLists.txt EXCLUDE )
