# Native Linux build of the same sources against Wine's libraries (winelib), for the sanitizers:
# they have no runtime for Windows. tests/sanitizers/ has what this takes.
set(CMAKE_SYSTEM_NAME Linux)
set(OSTREL_WINELIB ON)
get_filename_component(root ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
set(CMAKE_C_COMPILER x86_64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER x86_64-linux-gnu-g++)
set(CMAKE_RC_COMPILER /usr/lib/wine/wrc)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY) # CMake's own trials could not link a program here

# Windows' headers and wchar_t, but no _WIN32: the C++ library, {fmt} and GoogleTest are Linux'.
# Templates over wchar_t must not be taken from the C++ library, whose wchar_t has 32 bits: with its
# assertions none of its strings is.
string(
  JOIN " " flags
  -fPIC
  -fshort-wchar
  -isystem /usr/include/wine/wine/windows
  -idirafter /usr/include/wine
  -DWINE_UNICODE_NATIVE
  -D_GLIBCXX_ASSERTIONS
  # AddressSanitizer does not know the stacks of Wine's threads.
  -fsanitize=address,undefined
  -fno-sanitize=vptr,alignment
  --param=asan-stack=0
  -fno-omit-frame-pointer
  # For calling conventions in template arguments: the compiler warns that it ignores them, and does not.
  -Wno-ignored-attributes)
set(CMAKE_C_FLAGS_INIT "${flags}")
set(CMAKE_CXX_FLAGS_INIT "${flags}")

set(CMAKE_CXX_LINK_EXECUTABLE
    "/usr/lib/wine/wineg++ -b x86_64-linux-gnu -m64 <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>")
set(CMAKE_CROSSCOMPILING_EMULATOR ${root}/tests/sanitizers/run ${root}/build/wine-sanitize)
