#include "Compiler.h"

#include <new>

#ifdef __GNUC__
#include <cstdlib>
#include <cxxabi.h>
#include <memory>

// mingw-w64's start-up code would expand wildcards in the arguments, so that "/?" could become the
// name of a file. 0 switches that off; Visual C++ never does it.
extern "C" int _dowildcard; // NOLINT(readability-identifier-naming): the start-up code's name
int _dowildcard = 0;        // NOLINT(readability-identifier-naming)
#else
#include <cstdlib>

namespace
{
// An exception that nobody expected ends the program with 3. Visual C++'s runtime would report an
// error to Windows and end it with 0xC0000409.
[[maybe_unused]] const unsigned previousAbortBehavior = _set_abort_behavior(0, _CALL_REPORTFAULT);
} // namespace
#endif

std::string ClassName(const std::type_info& type)
{
#ifdef __GNUC__
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr), &std::free);
    if (name == nullptr)
    {
        return {};
    }
    return "class " + std::string(name.get());
#else
    const char* name = type.name(); // null when there is no memory for it
    return name == nullptr ? std::string() : std::string(name);
#endif
}

std::string WhatText(const std::exception& e)
{
    // GCC's standard library gives the type's name here.
    if (typeid(e) == typeid(std::bad_alloc))
    {
        return "bad allocation";
    }
    if (typeid(e) == typeid(std::bad_array_new_length))
    {
        return "bad array new length";
    }
    const char* text = e.what();
    if (text == nullptr)
    {
        return {};
    }
    return text;
}
