# How everything of ours is compiled: one interface target that each of our targets links privately.
add_library(ostrel_build_flags INTERFACE)

target_compile_features(ostrel_build_flags INTERFACE cxx_std_20)
target_compile_definitions(
  ostrel_build_flags INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)

if(MSVC)
  set(options /W4 /permissive- /utf-8 /EHsc /Zc:__cplusplus /guard:cf)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "MSVC") # clang-cl has no other preprocessor, and no such option
    list(APPEND options /Zc:preprocessor)
  endif()
else()
  set(options
      -Wall
      -Wextra
      -Wpedantic
      -Wconversion
      -Wsign-conversion
      -Wshadow
      -Wold-style-cast
      -Wnon-virtual-dtor
      -Woverloaded-virtual
      -Wcast-qual
      -Wformat=2
      -Wundef
      -Wmissing-declarations
      -Wredundant-decls
      -ffunction-sections
      -fdata-sections)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    list(APPEND options -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wextra-semi)
  endif()
  if(WIN32 AND PROJECT_IS_TOP_LEVEL) # a library hands them on to the programs
    target_link_options(ostrel_build_flags INTERFACE -Wl,--gc-sections -Wl,--dynamicbase
                        -Wl,--high-entropy-va -Wl,--nxcompat)
  endif()
endif()

if(OSTREL_WARNINGS_AS_ERRORS)
  list(APPEND options $<IF:$<BOOL:${MSVC}>,/WX,-Werror>)
endif()

if(OSTREL_UNDEFINED_BEHAVIOUR_TRAPS)
  # The target has no sanitizer runtime: undefined behaviour executes an illegal instruction.
  list(APPEND options -fsanitize=undefined -fsanitize-undefined-trap-on-error)
  target_compile_definitions(ostrel_build_flags INTERFACE _GLIBCXX_ASSERTIONS)
endif()

if(OSTREL_WINELIB)
  target_precompile_headers(ostrel_build_flags INTERFACE
                            ${PROJECT_SOURCE_DIR}/tests/sanitizers/winelib.h)
  target_compile_definitions(ostrel_build_flags INTERFACE OSTREL_WINELIB)
endif()

if(NOT MSVC) # the same names everywhere: of two, the last map that fits counts
  # Newer versions of ccache hand the compiler names relative to the directory of the build.
  file(RELATIVE_PATH source ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR}/src)
  list(APPEND options -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
       -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build -ffile-prefix-map=${source}=./src
       -ffile-prefix-map=stage=./build/stage)
endif()

# Not for the resource compiler.
target_compile_options(ostrel_build_flags INTERFACE "$<$<COMPILE_LANGUAGE:CXX>:${options}>")

# Coverage counts the product, and the tests that instantiate its templates. Everything else is compiled
# as without coverage, so that ccache has it.
add_library(ostrel_product_flags INTERFACE)
target_link_libraries(ostrel_product_flags INTERFACE ostrel_build_flags)
if(OSTREL_COVERAGE)
  # After the other options, which these change: with atomic additions, because several threads count at
  # the same time, and with absolute names of files.
  add_library(ostrel_counting INTERFACE)
  target_link_libraries(ostrel_product_flags INTERFACE ostrel_counting)
  set(options
      -O0
      -g0
      -UNDEBUG
      --coverage
      -fprofile-abs-path
      -fprofile-update=atomic
      -fprofile-prefix-map=${PROJECT_SOURCE_DIR}=${PROJECT_SOURCE_DIR}
      -fprofile-prefix-map=${source}=${source}
      -fprofile-filter-files=^${PROJECT_SOURCE_DIR}/src/
      -fprofile-exclude-files=_test[.]cpp)
  target_compile_options(ostrel_counting INTERFACE "$<$<COMPILE_LANGUAGE:CXX>:${options}>")
  target_link_options(ostrel_build_flags INTERFACE --coverage)
endif()
