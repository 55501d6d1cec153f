# delay_load(<target> <dll> <function>...)
#
# Gives the INTERFACE library <target> the functions of <dll> such that the DLL is loaded at the first
# call of one of them, not at the start of the program. No run needs all of them, and every DLL in the
# import table costs each run a load. src/SimpleUtilitiesLib/runtime/LateLoading.h says from where.
#
# With GCC and Clang, a function of the program that is missing in the list is an undefined symbol; or,
# when it belongs to one of the libraries that CMake links by itself, an import that
# tools/check-program refuses. Visual C++ needs no list: it delays the whole DLL.

include_guard()

if(NOT MSVC)
    enable_language(ASM)
endif()

set(palvo_late_imports "${CMAKE_CURRENT_LIST_DIR}/LateImports.s.in")

function(delay_load target dll)
    get_filename_component(name ${dll} NAME_WE)
    string(TOLOWER ${name} name)
    if(MSVC)
        target_link_libraries(${target} INTERFACE ${name}.lib delayimp.lib)
        target_link_options(${target} INTERFACE /DELAYLOAD:${dll})
        return()
    endif()

    # Two targets may have a list for the same DLL: each then has a table of its own.
    set(list ${target}_${name})
    set(names)
    set(name_table)
    set(address_table)
    set(entries)
    foreach(function IN LISTS ARGN)
        # IMAGE_IMPORT_BY_NAME: a hint, which nobody has, and the name.
        string(APPEND names "    .p2align 1\nlate_name_${function}:\n    .short 0\n"
            "    .asciz \"${function}\"\n")
        string(APPEND name_table "    .rva late_name_${function}\n    .long 0\n")
        string(APPEND address_table "    .globl __imp_${function}\n__imp_${function}:\n"
            "    .quad late_${function}\n")
        string(APPEND entries "    .globl ${function}\n${function}:\n"
            "    jmpq *__imp_${function}(%rip)\n"
            "late_${function}:\n    leaq __imp_${function}(%rip), %rax\n    jmp late_load\n")
    endforeach()
    set(source "${CMAKE_BINARY_DIR}/late-imports/${list}.s")
    configure_file("${palvo_late_imports}" "${source}" @ONLY)

    add_library(late_${list} STATIC "${source}")
    target_compile_options(late_${list} PRIVATE ${palvo_path_options})
    target_link_libraries(${target} INTERFACE late_${list})
endfunction()
