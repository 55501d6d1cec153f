# separate_symbols(<target>): after the link, moves the symbols of the program into a file of its own
# beside it, <program>.debug, which a debugger finds by the link that stays in the program.

include_guard()

function(separate_symbols target)
    find_program(PALVO_OBJCOPY NAMES x86_64-w64-mingw32-objcopy REQUIRED)
    set(program "$<TARGET_FILE_NAME:${target}>")
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND "${PALVO_OBJCOPY}" --only-keep-debug ${program} ${program}.debug
        COMMAND "${PALVO_OBJCOPY}" --strip-all ${program}
        COMMAND "${PALVO_OBJCOPY}" --add-gnu-debuglink=${program}.debug ${program}
        WORKING_DIRECTORY "$<TARGET_FILE_DIR:${target}>"
        BYPRODUCTS "${CMAKE_BINARY_DIR}/${target}.exe.debug"
        VERBATIM)
endfunction()
