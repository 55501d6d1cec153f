#include "StandardOutput.h"

#include "Text.h"

#include <cstdio>

namespace StandardOutput
{
void Write(const std::wstring& text)
{
    std::fputs(ToCodePage(text).c_str(), stdout);
}
} // namespace StandardOutput
