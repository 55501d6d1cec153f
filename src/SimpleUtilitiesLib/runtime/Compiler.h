#pragma once

// What differs between compilers. These texts reach the log and must not depend on the compiler.

#include <exception>
#include <string>
#include <typeinfo>

/// The name of a class as Visual C++ spells it, for example "class ExceptionRegistryRequest". Empty
/// if there is none.
std::string ClassName(const std::type_info& type);

/// `e.what()`, except that std::bad_alloc and std::bad_array_new_length get Visual C++'s texts,
/// "bad allocation" and "bad array new length".
std::string WhatText(const std::exception& e);
