# Compiles each header twice in a translation unit of its own: it must bring
# all that it needs, and its guard must hold. A test looks for macros that they
# leave behind.

set(header_root "${PROJECT_SOURCE_DIR}/sys/src")
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${header_root}"
  "${header_root}/nalo/*")

# <nalo/print> says in an error what it needs where that is missing.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_FLAGS -std=c++20)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
check_cxx_source_compiles("#include <version>
#ifndef __cpp_lib_format
#include <fmt/xchar.h>
#endif" NALO_CAN_PRINT)
unset(CMAKE_TRY_COMPILE_TARGET_TYPE)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT NALO_CAN_PRINT)
  list(REMOVE_ITEM headers nalo/print)
endif()

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

add_test(NAME header_macros
  COMMAND bash "${PROJECT_SOURCE_DIR}/tests/header_macros.sh"
    "${CMAKE_CXX_COMPILER}" ${headers})
