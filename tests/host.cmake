# What the projects that build parts of the product for this machine have in common. The product's own
# build is for Windows alone.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON) # for the linter
option(CMAKE_COMPILE_WARNING_AS_ERROR "Let warnings of the compiler stop the build" "$ENV{CI}")
get_filename_component(root ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)
set(app ${root}/src/apps/ostrel)
set(config ${root}/src/support/config)
set(task ${root}/src/support/task)

# Windows as the product sees it, by Wine's headers.
add_compile_options(-O1 -Wall -Wextra)
add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
include_directories(SYSTEM /usr/include/wine/wine/windows)

# And its wchar_t, of 16 bits. The C++ library comes from the host. With its assertions its wide strings are
# compiled anew instead of taken from there.
macro(use_wide_characters_of_windows)
  add_compile_options(-fshort-wchar)
  add_compile_definitions(WINE_UNICODE_NATIVE _GLIBCXX_ASSERTIONS)
  set(wide_functions ${root}/tests/sanitizers/wide_functions.cpp)
  set_source_files_properties(${wide_functions} PROPERTIES COMPILE_OPTIONS -fno-builtin)
endmacro()
