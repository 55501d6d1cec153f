# GCC for 64-bit Windows, as Debian packages it. The win32 thread model needs no winpthread, which a
# single-threaded program has no use for.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(palvo_triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${palvo_triplet}-gcc-win32)
set(CMAKE_CXX_COMPILER ${palvo_triplet}-g++-win32)
set(CMAKE_RC_COMPILER ${palvo_triplet}-windres)

# The toolchain's own folders hold everything that a Windows program may link.
set(CMAKE_FIND_ROOT_PATH /usr/${palvo_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
