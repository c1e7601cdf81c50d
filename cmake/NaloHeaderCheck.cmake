# Includes each header twice in a translation unit of its own, to check that it
# includes everything it needs and that its guard works. Then compiles all
# public headers together, with options that other projects use. A test looks
# for macros that the headers leave defined.

set(header_root "${PROJECT_SOURCE_DIR}/sys/src")
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${header_root}"
  "${header_root}/nalo/*")

# <nalo/print> reports by #error when what it needs is missing.
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

# check_public_headers(NAME UNLESS FLAG...): compiles all public headers that do
# not match the regular expression UNLESS with the flags.
function(check_public_headers name unless)
  set(includes "${headers}")
  list(FILTER includes EXCLUDE REGEX "/(base|impl)/|${unless}")
  list(TRANSFORM includes REPLACE "(.+)" "#include <\\1>\n")
  string(JOIN "" includes ${includes})
  set(unit "${PROJECT_BINARY_DIR}/header_check/${name}.cpp")
  file(CONFIGURE OUTPUT "${unit}" CONTENT "@includes@" @ONLY)
  add_library(${name} OBJECT "${unit}")
  target_link_libraries(${name} PRIVATE nalo::nalo nalo_warnings)
  target_compile_options(${name} PRIVATE ${ARGN})
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF)
endfunction()

# These two headers cannot be used without the feature. In the others, only
# operations that handle exceptions inline cannot.
check_public_headers(header_check_without_exceptions_and_rtti
  "^nalo/(syncstream|testing)$" -fno-exceptions -fno-rtti)

# Warnings that other projects enable. From Clang's -Weverything, the groups
# about older standards, class layout and plain arrays are excluded.
set(warnings -Weffc++ -Wnon-virtual-dtor)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  list(APPEND warnings -Weverything -Wno-unknown-warning-option
    -Wno-c++98-compat -Wno-c++98-compat-pedantic -Wno-c++20-compat
    -Wno-pre-c++14-compat -Wno-pre-c++17-compat -Wno-pre-c++20-compat
    -Wno-padded -Wno-weak-vtables -Wno-unsafe-buffer-usage)
else()
  list(APPEND warnings -Wcast-align -Wcast-qual -Wduplicated-branches
    -Wduplicated-cond -Wextra-semi -Wfloat-equal -Wformat=2 -Wlogical-op
    -Wnull-dereference -Wold-style-cast -Woverloaded-virtual
    -Wredundant-decls -Wsign-conversion -Wundef)
endif()
check_public_headers(header_check_warnings "^$" ${warnings})
