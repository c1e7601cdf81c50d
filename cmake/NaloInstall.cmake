# Installs the library for find_package(nalo CONFIG) and pkg-config, and makes
# the build directory usable by find_package.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/nalo")

install(TARGETS nalo nalo_buffers EXPORT nalo-targets
  LIBRARY COMPONENT nalo_runtime NAMELINK_COMPONENT nalo_development
  ARCHIVE COMPONENT nalo_development
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
# base/impl contains template code that only the library itself instantiates.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/sys/src/nalo"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT nalo_development
  PATTERN base/impl EXCLUDE)

install(EXPORT nalo-targets FILE nalo-config.cmake NAMESPACE nalo::
  DESTINATION "${package_dir}" COMPONENT nalo_development)
export(EXPORT nalo-targets FILE "${PROJECT_BINARY_DIR}/nalo-config.cmake"
  NAMESPACE nalo::)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/nalo-config-version.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/nalo-config-version.cmake"
  DESTINATION "${package_dir}" COMPONENT nalo_development)

# Relative, so that the installed copy can be moved.
file(RELATIVE_PATH pc_prefix
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
set(pc_definitions)
if(NALO_HARDENED)
  set(pc_definitions " -DNALO_HARDENED")
endif()
foreach(package nalo nalo-buffers)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in"
    "${PROJECT_BINARY_DIR}/${package}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${package}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT nalo_development)
endforeach()

# GDB loads the printers with the shared library if that is in a trusted place
# such as /usr. For the static library they must be sourced manually.
set(printers "${PROJECT_SOURCE_DIR}/gdb/nalo_printers.py")
install(FILES "${printers}"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/nalo" COMPONENT nalo_development)
if(BUILD_SHARED_LIBS)
  install(FILES "${printers}"
    DESTINATION
      "${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}"
    RENAME "libnalo.so.${PROJECT_VERSION}-gdb.py"
    COMPONENT nalo_development)
endif()
