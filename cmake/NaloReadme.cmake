# Takes the program and the terminal session that README.md shows and checks
# that the program compiles as shown and prints what the session shows.

set(readme "${PROJECT_SOURCE_DIR}/README.md")
set(readme_dir "${PROJECT_BINARY_DIR}/readme")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${readme}")

# Writes the first block of README.md that is fenced with ```LANGUAGE to FILE.
function(nalo_extract_block language file)
  file(READ "${readme}" text)
  set(fence "\n```${language}\n")
  string(LENGTH "${fence}" fence_length)
  string(FIND "${text}" "${fence}" begin)
  if(begin EQUAL -1)
    message(FATAL_ERROR "README.md shows no block of ${language}")
  endif()
  math(EXPR begin "${begin} + ${fence_length}")
  string(SUBSTRING "${text}" ${begin} -1 text)
  string(FIND "${text}" "\n```" length)
  string(SUBSTRING "${text}" 0 ${length} block)
  # Leaves an unchanged file, and what was built from it, alone.
  file(GENERATE OUTPUT "${readme_dir}/${file}" CONTENT "${block}\n")
endfunction()

nalo_extract_block(cpp program.cpp)
nalo_extract_block(console session.txt)

add_executable(readme_program "${readme_dir}/program.cpp")
target_link_libraries(readme_program PRIVATE nalo::nalo nalo_warnings)
set_target_properties(readme_program PROPERTIES
  CXX_EXTENSIONS OFF
  OUTPUT_NAME program
  RUNTIME_OUTPUT_DIRECTORY "${readme_dir}")

# The session's first line, behind its "$ ", is a command that runs ./program.
add_test(NAME readme_program
  COMMAND sh -c "{ head -n 1 session.txt; sed -n '1s/^. //p' session.txt | sh; \
} | diff session.txt -"
  WORKING_DIRECTORY "${readme_dir}")
