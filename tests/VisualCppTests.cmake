# GoogleTest and the options of the tests, for Visual C++.

include(FetchContent)
# Its own project is older than the policy by which CMake chooses the C runtime.
set(CMAKE_POLICY_DEFAULT_CMP0091 NEW)
set(gtest_force_shared_crt ON CACHE INTERNAL "")
FetchContent_Declare(googletest
    URL https://github.com/google/googletest/archive/refs/tags/v1.14.0.tar.gz
    URL_HASH SHA256=8ad598c73ad796e0d8280b082cebd82a630d73e73cd3c70057938a6501bba5d7
    SYSTEM)
FetchContent_MakeAvailable(googletest)

# Warnings are errors where GCC builds the same code: of GoogleTest's and the tests' own, none ends this
# build.
target_compile_options(gtest PRIVATE /WX-)
target_compile_options(palvo_test_options INTERFACE /Od /MP)
target_compile_options(palvo_test_warnings INTERFACE /W3)
