#pragma once

// What differs between compilers. The texts that come from here reach the log and must be the same
// whichever compiler built the program.

#include <exception>
#include <string>
#include <typeinfo>

/// The name of a class as Visual C++ spells it, for example "class ExceptionRegistryRequest".
/// Empty when no name can be had.
std::string ClassName(const std::type_info& type);

/// The text of `e.what()`. Those of std::bad_alloc and std::bad_array_new_length alone are replaced
/// by Visual C++'s, "bad allocation" and "bad array new length"; any other comes as the exception
/// has it.
std::string WhatText(const std::exception& e);
