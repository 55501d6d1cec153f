#include "Format.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace FormatDetail
{
std::wstring FormatUnchecked(const wchar_t* format, ...)
{
    // Every list is ended where it was started, before anything can throw.
    va_list arguments;
    va_start(arguments, format);
    const int length = _vscwprintf(format, arguments);
    va_end(arguments);
    if (length <= 0)
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
