# The compilers that nalo supports, and the warnings for its own code.

set(NALO_MINIMUM_GNU 12)
set(NALO_MINIMUM_Clang 14)
if(NOT DEFINED NALO_MINIMUM_${CMAKE_CXX_COMPILER_ID}
   OR CMAKE_CXX_COMPILER_VERSION VERSION_LESS
      NALO_MINIMUM_${CMAKE_CXX_COMPILER_ID})
  message(FATAL_ERROR
    "nalo needs GCC ${NALO_MINIMUM_GNU} or Clang ${NALO_MINIMUM_Clang}, or a "
    "newer one, and found ${CMAKE_CXX_COMPILER_ID} "
    "${CMAKE_CXX_COMPILER_VERSION} (${CMAKE_CXX_COMPILER}). "
    "Choose a compiler with -DCMAKE_CXX_COMPILER=...")
endif()

if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" OR NOT CMAKE_SIZEOF_VOID_P EQUAL 8
   OR NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$")
  math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
  message(FATAL_ERROR
    "nalo supports 64-bit Linux on x86-64 only, and found ${bits}-bit "
    "${CMAKE_SYSTEM_NAME} on ${CMAKE_SYSTEM_PROCESSOR}.")
endif()

# The project's own targets link this one. Projects that include nalo are not
# affected.
add_library(nalo_warnings INTERFACE)
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(nalo_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
endif()
