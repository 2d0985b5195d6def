# The unit tests as a winelib program: what this takes beside the sources. See cmake/winelib.cmake.
set_source_files_properties(
  ${PROJECT_SOURCE_DIR}/src/support/task/disarm_guard.cpp
  TARGET_DIRECTORY tessel_task
  PROPERTIES HEADER_FILE_ONLY ON) # the one here stands in for it
target_sources(test_support PRIVATE sanitizers/linux_imports.cpp)
target_sources(
  unit_tests
  PRIVATE sanitizers/disarm_guard.cpp sanitizers/leak_check.cpp sanitizers/program_end.cpp
          sanitizers/threads.cpp sanitizers/wide_functions.cpp)
set_source_files_properties(
  sanitizers/wide_functions.cpp
  PROPERTIES COMPILE_OPTIONS "-fno-builtin;-fno-tree-loop-distribute-patterns")
target_link_options(
  unit_tests
  PRIVATE
  -Wl,--version-script=${CMAKE_CURRENT_LIST_DIR}/exports.map
  -Wl,-Bsymbolic
  -Wl,--wrap=main # program_end.cpp
  # Import slots that are filled from the start, and stay writable.
  -Wl,-z,now
  -Wl,-z,norelro)
target_link_libraries(unit_tests PRIVATE asan ubsan)
# The product is looked at for undefined behaviour here too. The tests' own files are not, which is a quarter
# of the time to compile them: in a debug build they trap on it.
target_compile_options(unit_tests PRIVATE -fno-sanitize=undefined)
add_custom_command(
  TARGET unit_tests POST_BUILD COMMAND ${CMAKE_CURRENT_LIST_DIR}/forbidden_imports
                                       $<TARGET_FILE:unit_tests>.exe.so
  VERBATIM)

# Without sanitizers: it begins before they do.
add_library(address_space MODULE sanitizers/address_space.cpp)
set_target_properties(address_space PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} PREFIX "")
target_compile_options(address_space PRIVATE -fno-sanitize=all)
add_dependencies(unit_tests address_space)
