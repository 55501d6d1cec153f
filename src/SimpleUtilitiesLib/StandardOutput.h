#pragma once

#include <string>

namespace StandardOutput
{
/// Prints text to standard output in the machine's ANSI code page. The text is data, never a
/// format. A failure is nobody's business: most runs have no standard output that anyone reads.
void Write(const std::wstring& text);
} // namespace StandardOutput
