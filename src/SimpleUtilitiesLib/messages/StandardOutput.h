#pragma once

#include <string>

namespace StandardOutput
{
/// Prints text to standard output in the machine's ANSI code page. The text is data, never a
/// format. Failures are ignored: nobody reads most runs' standard output.
void Write(const std::wstring& text);
} // namespace StandardOutput
