# Compiles each header twice in a translation unit of its own: it must bring
# all that it needs, and its guard must hold.

set(header_root "${PROJECT_SOURCE_DIR}/sys/src")
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${header_root}"
  "${header_root}/nalo/*")

set(units)
foreach(header IN LISTS headers)
  set(unit "${PROJECT_BINARY_DIR}/header_check/${header}.cpp")
  file(CONFIGURE OUTPUT "${unit}" CONTENT
    "#include <@header@>\n#include <@header@>\n" @ONLY)
  list(APPEND units "${unit}")
endforeach()

add_library(header_check OBJECT ${units})
target_link_libraries(header_check PRIVATE nalo::nalo nalo_warnings)
set_target_properties(header_check PROPERTIES CXX_EXTENSIONS OFF)
