# {fmt} for the product, header only: 9 in releases, 10 is accepted. GoogleTest for the tests
# and the benchmarks.

if(CMAKE_CROSSCOMPILING)
  # Debian ships {fmt} for the host alone. Its headers serve any target, but /usr/include as a whole
  # must never enter the search path of a cross build: only they are staged.
  find_path(OSTREL_FMT_SOURCE fmt/format.h PATHS /usr/include NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  file(COPY ${OSTREL_FMT_SOURCE}/fmt DESTINATION ${CMAKE_BINARY_DIR}/stage/include)
  file(GLOB version_headers ${OSTREL_FMT_SOURCE}/fmt/base.h ${OSTREL_FMT_SOURCE}/fmt/core.h)
  list(GET version_headers 0 version_header) # base.h from 11 on
  file(STRINGS ${version_header} fmt_VERSION REGEX "^#define FMT_VERSION [0-9]+$")
  string(REGEX REPLACE "^.* ([0-9]+)([0-9][0-9])([0-9][0-9])$" "\\1.\\2.\\3" fmt_VERSION
                       "${fmt_VERSION}")
  string(REGEX REPLACE "[.]0([0-9])" ".\\1" fmt_VERSION "${fmt_VERSION}")
  add_library(ostrel_fmt INTERFACE)
  target_include_directories(ostrel_fmt SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/stage/include)
  target_compile_definitions(ostrel_fmt INTERFACE FMT_HEADER_ONLY=1)
else()
  find_package(fmt CONFIG REQUIRED)
  add_library(ostrel_fmt INTERFACE)
  target_link_libraries(ostrel_fmt INTERFACE fmt::fmt-header-only)
endif()
if(NOT fmt_VERSION MATCHES "^(9|10)[.]")
  message(FATAL_ERROR "{fmt} 9 or 10 is needed; the version found is \"${fmt_VERSION}\".")
endif()
set(OSTREL_FMT_VERSION "${fmt_VERSION}" CACHE INTERNAL "The version of {fmt} that is linked")
# A fixed separator keeps the locale machinery of the C++ library out of the executable.
target_compile_definitions(ostrel_fmt INTERFACE FMT_STATIC_THOUSANDS_SEPARATOR=0x2c)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND fmt_VERSION VERSION_GREATER_EQUAL 10)
  # Newer clangs refuse {fmt} 10's own format strings as constants. GCC checks ours.
  target_compile_definitions(ostrel_fmt INTERFACE FMT_CONSTEVAL=)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Each object would otherwise keep private clones of {fmt}'s larger functions: 200 KB of them.
  target_compile_options(ostrel_fmt INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-ipa-sra>)
endif()

if(OSTREL_BUILD_TESTS OR OSTREL_BUILD_BENCHMARKS)
  if(CMAKE_CROSSCOMPILING)
    function(add_googletest)
      set(INSTALL_GTEST OFF)
      # The same in all builds by one compiler, which ccache then shares.
      set(CMAKE_CXX_FLAGS_DEBUG "")
      set(CMAKE_CXX_FLAGS_RELEASE "")
      set(CMAKE_UNITY_BUILD OFF)
      add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    endfunction()
    add_googletest()
  else()
    find_package(GTest CONFIG REQUIRED)
  endif()
endif()
