# Says so when the compiler, the linker or mingw-w64's runtime is of a version that nobody tried: what they
# make has been looked at by nobody. tools/build shows these notes.

include_guard()

# tried(<tool> <version> <major or major.minor>...)
function(tried tool version)
    foreach(known IN LISTS ARGN)
        if("${version}." MATCHES "^${known}\\.")
            return()
        endif()
    endforeach()
    list(JOIN ARGN ", " known)
    message(NOTICE "Note: nobody tried this with ${tool} ${version}, only with ${known}.")
endfunction()

# tried_linker(<name> <program> <version>...)
function(tried_linker name program)
    execute_process(COMMAND ${program} --version OUTPUT_VARIABLE version)
    string(REGEX MATCH "[0-9]+\\.[0-9]+" version "${version}")
    tried(${name} "${version}" ${ARGN})
endfunction()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    tried("GCC" ${CMAKE_CXX_COMPILER_VERSION} 12 14)
    tried_linker("binutils" ${CMAKE_LINKER} 2.40 2.44)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    tried("Clang" ${CMAKE_CXX_COMPILER_VERSION} 14 19)
    tried_linker("LLD" ${palvo_lld} 14 19)
    set(clang_target --target=${CMAKE_CXX_COMPILER_TARGET})
else()
    message(NOTICE "Note: nobody tried this with ${CMAKE_CXX_COMPILER_ID}.")
    return()
endif()

execute_process(
    COMMAND ${CMAKE_CXX_COMPILER} ${clang_target} -E -dM -include _mingw.h -x c++ /dev/null
    OUTPUT_VARIABLE macros)
string(REGEX MATCH "__MINGW64_VERSION_MAJOR ([0-9]+)" macros "${macros}")
tried("mingw-w64" "${CMAKE_MATCH_1}" 10 12)
