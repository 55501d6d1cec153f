#include "StandardOutput.h"

#include "Text.h"

#include <cstdio>

namespace StandardOutput
{
void Write(const std::wstring& text)
{
    std::fputs(ToCodePage(text).c_str(), stdout);
    // A run that ends in the middle has still said what it did.
    std::fflush(stdout);
}
} // namespace StandardOutput
