# add_product_library(<name> SOURCES <file>... [LINKS <library>...])
#
# One folder of the program as a static library. Its headers are included by their bare names; a
# folder sees the headers of LINKS and of what these link. A folder without sources is an empty
# library.

include_guard()

function(add_product_library name)
    cmake_parse_arguments(PARSE_ARGV 1 library "" "" "SOURCES;LINKS")
    if(NOT library_SOURCES)
        add_library(${name} INTERFACE)
        return()
    endif()
    add_library(${name} STATIC ${library_SOURCES})
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
    target_link_libraries(${name}
        PUBLIC ${library_LINKS} Palvo::Windows Palvo::Options
        PRIVATE Palvo::Product)
endfunction()
