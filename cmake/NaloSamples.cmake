# Compiles and runs the samples in the documentation.
#
# A ```cpp block that begins with #include starts a program, which the following
# blocks continue up to the next such block or the end of the page. A ```console
# block shows commands that use the program, as ./program: each command after "$
# " is run and must print the text shown below it. A program without such a
# block must print nothing.

set(samples_dir "${PROJECT_BINARY_DIR}/samples")

# Headers of other libraries that samples include, each with its package and
# target.
set(sample_headers zlib.h fmt/format.h)
set(sample_packages ZLIB fmt)
set(sample_targets ZLIB::ZLIB fmt::fmt)

# Adds PROGRAM, and a test of the same name that compares what it prints.
function(nalo_add_sample program source console)
  set(libraries nalo::buffers)
  foreach(header package target IN ZIP_LISTS
          sample_headers sample_packages sample_targets)
    if(source MATCHES "#include <${header}>")
      find_package(${package} QUIET)
      if(NOT ${package}_FOUND)
        message(STATUS "${program} is left out: it needs ${package}")
        return()
      endif()
      list(APPEND libraries ${target})
    endif()
  endforeach()

  set(dir "${samples_dir}/${program}")
  # An unchanged file is not written again, so that nothing is rebuilt.
  file(GENERATE OUTPUT "${dir}/program.cpp" CONTENT "${source}")
  if(console STREQUAL "")
    set(console "$ ./program\n")
  endif()
  file(GENERATE OUTPUT "${dir}/console.txt" CONTENT "${console}")

  add_executable(${program} "${dir}/program.cpp")
  target_link_libraries(${program} PRIVATE
    ${libraries} nalo_warnings sanitizer_options)
  set_target_properties(${program} PROPERTIES
    CXX_EXTENSIONS OFF
    OUTPUT_NAME program
    RUNTIME_OUTPUT_DIRECTORY "${dir}")
  add_test(NAME ${program}
    COMMAND sh "${PROJECT_SOURCE_DIR}/cmake/replay_console.sh" console.txt
    WORKING_DIRECTORY "${dir}")
  set_tests_properties(${program} PROPERTIES TIMEOUT 60)
endfunction()

# Adds the programs of a page: sample_PAGE_1 and so on.
function(nalo_add_samples page)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${page}")
  cmake_path(GET page STEM name)
  string(TOLOWER "sample_${name}" name)
  string(REPLACE "-" "_" name "${name}")
  file(READ "${page}" rest)

  set(count 0)
  set(source "")
  set(console "")
  while(rest MATCHES "\n```(cpp|console)\n")
    set(language "${CMAKE_MATCH_1}")
    set(fence "${CMAKE_MATCH_0}")
    string(FIND "${rest}" "${fence}" begin)
    string(LENGTH "${fence}" length)
    math(EXPR begin "${begin} + ${length}")
    string(SUBSTRING "${rest}" ${begin} -1 rest)
    string(FIND "${rest}" "\n```" length)
    math(EXPR length "${length} + 1")
    string(SUBSTRING "${rest}" 0 ${length} block)
    string(SUBSTRING "${rest}" ${length} -1 rest)
    string(SUBSTRING "${rest}" 3 -1 rest)

    if(language STREQUAL "console")
      string(APPEND console "${block}")
      continue()
    endif()
    if(block MATCHES "^#include" AND NOT source STREQUAL "")
      math(EXPR count "${count} + 1")
      nalo_add_sample(${name}_${count} "${source}" "${console}")
      set(source "")
      set(console "")
    endif()
    string(APPEND source "${block}")
  endwhile()
  if(NOT source STREQUAL "")
    math(EXPR count "${count} + 1")
    nalo_add_sample(${name}_${count} "${source}" "${console}")
  endif()
endfunction()

file(GLOB pages CONFIGURE_DEPENDS
  "${PROJECT_SOURCE_DIR}/*.md" "${PROJECT_SOURCE_DIR}/docs/*.md")
foreach(page IN LISTS pages)
  nalo_add_samples("${page}")
endforeach()
