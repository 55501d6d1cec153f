#include "Format.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace FormatDetail
{
std::wstring FormatUnchecked(const wchar_t* format, ...)
{
    // End each list before anything can throw.
    va_list arguments;
    va_start(arguments, format);
    // Nearly every text fits: no need to measure it first.
    std::array<wchar_t, 256> buffer;
    int length = _vsnwprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    if (length >= 0)
    {
        return {buffer.data(), static_cast<std::size_t>(length)};
    }
    va_start(arguments, format);
    length = _vscwprintf(format, arguments);
    va_end(arguments);
    if (length < 0)
    {
        return {};
    }
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    va_start(arguments, format);
    // The terminating zero is the string's own.
    const int written = _vsnwprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return written == length ? text : std::wstring();
}
} // namespace FormatDetail
