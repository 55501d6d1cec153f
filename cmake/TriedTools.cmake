# Says so when the compiler or the linker is of a version that nobody tried: what it makes has been
# looked at by nobody. tools/build shows these notes.

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

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    tried("GCC" ${CMAKE_CXX_COMPILER_VERSION} 12 14)
    execute_process(COMMAND ${CMAKE_LINKER} --version OUTPUT_VARIABLE version)
    string(REGEX MATCH "[0-9]+\\.[0-9]+" version "${version}")
    tried("binutils" "${version}" 2.40 2.44)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    tried("Clang" ${CMAKE_CXX_COMPILER_VERSION} 14 19)
else()
    message(NOTICE "Note: nobody tried this with ${CMAKE_CXX_COMPILER_ID}.")
endif()
