# Compiler and linker options, as targets to link:
#   Palvo::Options   how everything of this tree is compiled and linked;
#   Palvo::Warnings  the warnings that the tree's own code must be free of;
#   Palvo::Product   what only the program's own code is compiled with.

add_library(palvo_options INTERFACE)
add_library(Palvo::Options ALIAS palvo_options)
add_library(palvo_warnings INTERFACE)
add_library(Palvo::Warnings ALIAS palvo_warnings)
add_library(palvo_product INTERFACE)
add_library(Palvo::Product ALIAS palvo_product)
target_link_libraries(palvo_product INTERFACE Palvo::Options Palvo::Warnings)

target_compile_features(palvo_options INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)

# _WIN32_WINNT: the headers declare what Windows 8 has, since the automatic configuration needs it.
# The program itself starts on Vista: tests/product/ImportsSinceVista.h lists all that it may import.
target_compile_definitions(palvo_options INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0602)

if(MSVC)
    # The static runtime: the program is one self-contained file. The unit tests replace functions of the
    # C runtime too, which only a program that imports them allows; and their stand-ins throw.
    if(PALVO_TESTS)
        set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>DLL")
        set(exceptions /EHs)
    else()
        set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
        set(exceptions /EHsc)
    endif()
    # The C runtime's "safer" variants are not portable; lengths are checked by the code.
    target_compile_definitions(palvo_options INTERFACE _CRT_SECURE_NO_WARNINGS)
    target_compile_options(palvo_options INTERFACE
        /utf-8 /permissive- /Zc:__cplusplus /Zc:inline ${exceptions} /GS /guard:cf /Zi)
    # The manifest is in the resource file, for every compiler in the same way. No folder of the machine
    # that linked it and no time goes into the program, and its stack is as large as GCC makes it.
    target_link_options(palvo_options INTERFACE
        /guard:cf /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /MANIFEST:NO /STACK:0x200000
        /DEBUG /INCREMENTAL:NO /OPT:REF /OPT:ICF /PDBALTPATH:%_PDB% /Brepro)
    target_compile_options(palvo_warnings INTERFACE /W4 /WX)
    return()
endif()

# No folder of the machine that built it goes into the program. Nobody debugs the builds that only
# tell what runs and what is undefined; without symbols they take a third less time.
if(NOT PALVO_COVERAGE AND NOT PALVO_SANITIZE)
    target_compile_options(palvo_options INTERFACE -g)
endif()
# The same source gives the same bytes. What GCC tells of the places of variables in optimized code differs
# once in a hundred times; without it a third of the compiler's time is saved, too. The symbols name the
# build folder as "build", wherever it lies.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(palvo_options INTERFACE -fno-var-tracking)
endif()
# Of two options that fit a path, the later one holds. Assembler sources need them as well.
set(palvo_path_options
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
target_compile_options(palvo_options INTERFACE ${palvo_path_options} -fstack-protector-strong)
# The stack protector's own runtime library stays out: src/SimpleUtilitiesLib/runtime/StackGuard.cpp has what
# it is for.
target_link_options(palvo_options INTERFACE
    -static
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat -Wl,--no-insert-timestamp)

# GCC's standard library reports misuse of iterators, optionals and strings.
target_compile_definitions(palvo_options INTERFACE
    $<$<OR:$<CONFIG:Debug>,$<BOOL:${PALVO_SANITIZE}>>:_GLIBCXX_ASSERTIONS>)

if(PALVO_COVERAGE)
    target_compile_options(palvo_product INTERFACE --coverage -O0)
    target_link_options(palvo_options INTERFACE --coverage)
endif()
if(PALVO_SANITIZE)
    # There is no run-time library for this target: a trap ends the program at the fault.
    target_compile_options(palvo_options INTERFACE
        -fsanitize=undefined -fsanitize-undefined-trap-on-error)
endif()

target_compile_options(palvo_warnings INTERFACE
    -Werror -Wall -Wextra -Wpedantic
    -Wconversion -Wsign-conversion -Wdouble-promotion
    -Wshadow -Wold-style-cast -Wcast-qual -Wcast-align
    -Wformat=2 -Wundef -Wvla
    -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi
    -Wmissing-declarations -Wimplicit-fallthrough -Wunused)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(palvo_warnings INTERFACE
        -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wzero-as-null-pointer-constant
        -Wredundant-decls)
endif()
