#include "Format.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace
{
/// An argument list that was started and must be ended.
class ArgumentList
{
public:
    ~ArgumentList() { va_end(list); }
    va_list list = {};
};
} // namespace

namespace FormatDetail
{
std::wstring FormatUnchecked(const wchar_t* format, ...)
{
    ArgumentList arguments;
    va_start(arguments.list, format);
    ArgumentList counted;
    va_copy(counted.list, arguments.list);
    const int length = _vscwprintf(format, counted.list);
    if (length <= 0)
    {
        return {};
    }
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    // The terminating zero is the string's own, so the room is one character more.
    _vsnwprintf(text.data(), text.size() + 1, format, arguments.list);
    return text;
}
} // namespace FormatDetail
