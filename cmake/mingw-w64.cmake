# Cross build for 64-bit Windows with Debian's mingw-w64 (POSIX threads: the Win32 flavour of this
# compiler has no std::mutex). The programs run under Wine, on a registry of the tests' own.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH) # packages that were installed into a prefix
# No DLL of the compiler's goes with the executable; without the time stamp two links agree.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
get_filename_component(root ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${root}/script/wine ${root}/build/wine-test)
