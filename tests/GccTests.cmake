# GoogleTest and the options of the tests, for GCC.

set(googletest_folder "/usr/src/googletest" CACHE PATH "GoogleTest's sources")
if(NOT EXISTS "${googletest_folder}/CMakeLists.txt")
    message(FATAL_ERROR "GoogleTest's sources are not in ${googletest_folder}: "
        "install the package googletest")
endif()
set(gtest_disable_pthreads ON CACHE INTERNAL "")
add_subdirectory("${googletest_folder}" googletest EXCLUDE_FROM_ALL SYSTEM)
target_compile_definitions(gtest PUBLIC GTEST_HAS_NOTIFICATION_=1)
set(notification "${CMAKE_CURRENT_SOURCE_DIR}/support/GoogleTestNotification.h")
target_compile_options(gtest PRIVATE "SHELL:-include \"${notification}\"")
list(PREPEND test_headers "${notification}")

# The program's code is compiled as it ships; that of the tests need not be fast, but soon compiled.
# The debug build has its symbols.
target_compile_options(palvo_test_options INTERFACE -O0 $<$<NOT:$<CONFIG:Debug>>:-g0>)

# A test names the members that matter to it; the rest of a record is zero. COM interfaces, which
# doubles implement, have no virtual destructors.
target_compile_options(palvo_test_warnings INTERFACE
    $<TARGET_PROPERTY:Palvo::Warnings,INTERFACE_COMPILE_OPTIONS>
    -Wno-missing-field-initializers -Wno-non-virtual-dtor)
