# Debian packages of the shared library, built by cpack: libnaloN with the
# library, where N is the version of its binary interface, and libnalo-dev with
# the files for compiling against it. The version is the project's.

get_target_property(soversion nalo SOVERSION)
set(runtime_package "libnalo${soversion}")

set(no_licence "No licence has been granted for it yet.")
foreach(package ${runtime_package} libnalo-dev)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/${package}.copyright"
    CONTENT "This is nalo. @no_licence@\n" @ONLY)
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/${runtime_package}.copyright"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${runtime_package}"
  RENAME copyright COMPONENT nalo_runtime)
install(FILES "${PROJECT_BINARY_DIR}/libnalo-dev.copyright"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/libnalo-dev"
  RENAME copyright COMPONENT nalo_development)

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL nalo_runtime nalo_development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The maintainers of nalo")

set(CPACK_DEBIAN_NALO_RUNTIME_PACKAGE_NAME "${runtime_package}")
set(CPACK_DEBIAN_NALO_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_NALO_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_NALO_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
# Debug information goes into a separate package, libnaloN-dbgsym.
set(CPACK_DEBIAN_NALO_RUNTIME_DEBUGINFO_PACKAGE ON)
set(CPACK_COMPONENT_NALO_RUNTIME_DESCRIPTION
  "The library that programs run with. ${no_licence}")

set(CPACK_DEBIAN_NALO_DEVELOPMENT_PACKAGE_NAME libnalo-dev)
set(CPACK_DEBIAN_NALO_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_NALO_DEVELOPMENT_PACKAGE_DEPENDS
  "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_NALO_DEVELOPMENT_DESCRIPTION
  "Headers, and files for CMake and pkg-config. ${no_licence}")

include(CPack)
