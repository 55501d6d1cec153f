# separate_symbols(<target>): after the link, moves the symbols of the program into a file of its own
# beside it, <program>.debug, which a debugger finds by the link that stays in the program.
#
# objcopy writes the time of day into what it makes, unless it is told another: the same source is to
# give the same bytes.

include_guard()

function(separate_symbols target)
    find_program(PALVO_OBJCOPY NAMES x86_64-w64-mingw32-objcopy REQUIRED)
    set(program "$<TARGET_FILE_NAME:${target}>")
    set(objcopy "${CMAKE_COMMAND}" -E env SOURCE_DATE_EPOCH=0 "${PALVO_OBJCOPY}")
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${objcopy} --only-keep-debug ${program} ${program}.debug
        COMMAND ${objcopy} --strip-all ${program}
        COMMAND ${objcopy} --add-gnu-debuglink=${program}.debug ${program}
        WORKING_DIRECTORY "$<TARGET_FILE_DIR:${target}>"
        BYPRODUCTS "${CMAKE_BINARY_DIR}/${target}.exe.debug"
        VERBATIM)
endfunction()
