# The second compiler: Clang for 64-bit Windows, with the headers and the standard library that come
# with GCC's win32 thread model, and LLVM's linker.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(palvo_triplet x86_64-w64-mingw32)
# Clang 14 where it is, else the release's own.
find_program(palvo_clang NAMES clang-14 clang REQUIRED)
find_program(palvo_clangxx NAMES clang++-14 clang++ REQUIRED)
# By its full path: Clang 14 looks for it under its plain name alone, which Debian's lld-14 lacks.
find_program(palvo_lld NAMES ld.lld-14 ld.lld REQUIRED)
set(CMAKE_C_COMPILER ${palvo_clang})
set(CMAKE_CXX_COMPILER ${palvo_clangxx})
set(CMAKE_C_COMPILER_TARGET ${palvo_triplet})
set(CMAKE_CXX_COMPILER_TARGET ${palvo_triplet})
set(CMAKE_ASM_COMPILER ${CMAKE_C_COMPILER})
set(CMAKE_ASM_COMPILER_TARGET ${palvo_triplet})
set(CMAKE_RC_COMPILER ${palvo_triplet}-windres)

# Clang looks for GCC's libraries where other systems put them; Debian names the folder after the
# thread model.
file(GLOB palvo_gcc_folder /usr/lib/gcc/${palvo_triplet}/*-win32)
list(GET palvo_gcc_folder -1 palvo_gcc_folder)
set(CMAKE_CXX_FLAGS_INIT "-cxx-isystem ${palvo_gcc_folder}/include/c++ \
-cxx-isystem ${palvo_gcc_folder}/include/c++/${palvo_triplet}")
set(CMAKE_ASM_FLAGS_INIT "--target=${palvo_triplet}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "--ld-path=${palvo_lld} -L${palvo_gcc_folder}")

set(CMAKE_FIND_ROOT_PATH /usr/${palvo_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
