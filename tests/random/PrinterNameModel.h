#pragma once

#include <string>
#include <vector>

/// How a program gets its arguments from its command line: the rules that Windows documents for
/// CommandLineToArgvW, written down apart from the program and from Windows.
namespace PrinterNameModel
{
std::vector<std::wstring> ArgumentsOf(const std::wstring& commandLine);
} // namespace PrinterNameModel
