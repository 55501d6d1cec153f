# delay_load(<target> <dll> <function>...)
#
# Gives the INTERFACE library <target> the functions of <dll> such that the DLL is loaded at the first
# call of one of them, not at the start of the program. No run needs all of them, and every DLL in the
# import table costs each run a load.
#
# With GNU's linker and LLVM's, a function of the program that is missing in the list is an undefined
# symbol; or, when it belongs to one of the libraries that CMake links by itself, an import that
# tools/check-program refuses. Visual C++ needs no list: it delays the whole DLL.

include_guard()

function(delay_load target dll)
    get_filename_component(name ${dll} NAME_WE)
    string(TOLOWER ${name} name)
    if(MSVC)
        target_link_libraries(${target} INTERFACE ${name}.lib delayimp.lib)
        target_link_options(${target} INTERFACE /DELAYLOAD:${dll})
        return()
    endif()

    set(folder "${CMAKE_BINARY_DIR}/delayload")
    set(definition "${folder}/${name}.def")
    set(library "${folder}/lib${name}-delay.a")
    list(JOIN ARGN "\n" exports)
    file(CONFIGURE OUTPUT "${definition}" CONTENT "LIBRARY \"${dll}\"\nEXPORTS\n@exports@\n" @ONLY)

    # GNU ld knows no delayed imports: the library itself holds the code that loads the DLL. LLVM's
    # linker makes that code, from an ordinary import library in the short form.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        find_program(PALVO_LLVM_DLLTOOL NAMES llvm-dlltool-14 llvm-dlltool REQUIRED)
        set(command ${PALVO_LLVM_DLLTOOL} -m i386:x86-64 -d ${name}.def -l lib${name}-delay.a)
        target_link_options(${target} INTERFACE -Wl,-Xlink=-delayload:${dll})
    else()
        find_program(PALVO_DLLTOOL NAMES x86_64-w64-mingw32-dlltool REQUIRED)
        set(command ${PALVO_DLLTOOL} -k -d ${name}.def -y lib${name}-delay.a)
    endif()
    # Bare names in the folder itself: dlltool cannot cope with blanks in a path.
    add_custom_command(OUTPUT "${library}"
        COMMAND ${command}
        DEPENDS "${definition}"
        WORKING_DIRECTORY "${folder}"
        COMMENT "Delayed import library for ${dll}"
        VERBATIM)
    add_custom_target(delayload_${name} DEPENDS "${library}")
    add_library(delayed_${name} STATIC IMPORTED GLOBAL)
    set_target_properties(delayed_${name} PROPERTIES IMPORTED_LOCATION "${library}")
    add_dependencies(delayed_${name} delayload_${name})
    target_link_libraries(${target} INTERFACE delayed_${name})
endfunction()
