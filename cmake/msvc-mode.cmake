# MSVC's mode without MSVC, for script/msvc: clang-cl reads the sources with the options of the builds on
# Windows, against mingw-w64's headers of the platform and GCC's C++ library. Nothing is linked.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER clang-cl-22) # which Debian 12 and 13 both have
set(CMAKE_CXX_COMPILER clang-cl-22)
set(CMAKE_RC_COMPILER ${triplet}-windres) # asked for, not used
set(CMAKE_AR ${CMAKE_CURRENT_LIST_DIR}/msvc-lib)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

function(ask_compiler question answer)
  execute_process(COMMAND ${triplet}-g++-posix ${question} OUTPUT_VARIABLE said
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${answer} ${said} PARENT_SCOPE)
endfunction()
ask_compiler(-print-file-name=include/c++ library)
ask_compiler(-dumpversion version)
string(REGEX MATCH "^[0-9]+" version ${version})

string(
  JOIN " " flags
  --target=x86_64-pc-windows-msvc
  /Zl # an object names no libraries of MSVC's
  # Warnings that MSVC gives at /W4 and clang-cl does not: hidden names and code that is never reached.
  -Wshadow
  -Wshadow-field
  -Wunreachable-code-aggressive
  /clang:-nostdlibinc
  /clang:-fgnuc-version=${version}
  /FI${CMAKE_CURRENT_LIST_DIR}/msvc-mode.h
  -imsvc ${library}
  -imsvc ${library}/${triplet}
  -imsvc ${library}/backward
  -imsvc /usr/${triplet}/include)
set(CMAKE_CXX_FLAGS_INIT "${flags}")
