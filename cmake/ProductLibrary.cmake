# add_product_library(<name> SOURCES <file>... [ROOMS <folder>...] [LINKS <library>...])
#
# One folder of the program as a static library, with the folders in it that ROOMS names. Its headers
# are included by their bare names; a folder sees the headers of LINKS and of what these link. A folder
# without sources is an empty library.

include_guard()

function(add_product_library name)
    cmake_parse_arguments(PARSE_ARGV 1 library "" "" "SOURCES;ROOMS;LINKS")
    if(NOT library_SOURCES)
        add_library(${name} INTERFACE)
        return()
    endif()
    add_library(${name} STATIC ${library_SOURCES})
    list(TRANSFORM library_ROOMS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}" ${library_ROOMS})
    target_link_libraries(${name}
        PUBLIC ${library_LINKS} Palvo::Windows Palvo::Options
        PRIVATE Palvo::Product)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        precompile_common_headers(${name})
    endif()
endfunction()

# What nearly every file includes is parsed once, by the first library: reading it again took two
# thirds of the build. Every header still includes what it needs; the second compiler, which has
# nothing precompiled, is the test of that.
function(precompile_common_headers name)
    get_property(first GLOBAL PROPERTY palvo_precompiled_by)
    if(first)
        target_precompile_headers(${name} REUSE_FROM ${first})
        return()
    endif()
    set_property(GLOBAL PROPERTY palvo_precompiled_by ${name})
    target_precompile_headers(${name} PRIVATE
        <windows.h> <algorithm> <functional> <memory> <optional> <string> <string_view> <utility>
        <vector>)
endfunction()
