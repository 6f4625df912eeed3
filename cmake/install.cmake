# SPDX-License-Identifier: Apache-2.0
# The library, its headers, and what pkg-config and CMake tell about them.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/libgrex")
install(TARGETS grex EXPORT grex-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libgrex COMPONENT development)
install(EXPORT grex-targets NAMESPACE grex:: DESTINATION ${package_dir} COMPONENT development)

configure_package_config_file(cmake/libgrex-config.cmake.in libgrex-config.cmake
    INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(libgrex-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/libgrex-config.cmake" "${PROJECT_BINARY_DIR}/libgrex-config-version.cmake"
    DESTINATION ${package_dir} COMPONENT development)

# Relative to the folder of the .pc file, so that the installed tree can be moved.
set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH prefix_from_pkgconfig
    "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
configure_file(cmake/grex.pc.in grex.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/grex.pc" DESTINATION ${pkgconfig_dir} COMPONENT development)
