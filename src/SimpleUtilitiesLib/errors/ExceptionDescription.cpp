#include "ExceptionDescription.h"

#include "Compiler.h"
#include "Format.h"
#include "LegacyPlvException.h"
#include "Owners.h"
#include "SystemMessage.h"

namespace
{
std::wstring TypeLine(const std::exception& e)
{
    const std::string name = ClassName(typeid(e));
    return name.empty() ? std::wstring() : Format(L"Object of %S", name);
}

std::wstring LocationBlock(const LegacyPlvException& e)
{
    std::wstring text = L" thrown from:\r\n\r\n";
    text += Format("File:\t%s\r\n", FileNameOf(e.File()));
    text += Format("Method:\t%s()\r\n", e.Method());
    text += Format("Line:\t%u\r\n", e.Line());
    if (!e.Details().empty())
    {
        text += L"\r\nDetails:\r\n\t" + e.Details() + L"\r\n";
    }
    return text;
}

std::wstring ComBlock(const LegacyPlvComException& e)
{
    return L"\n\t" +
           Format(L"COM Error HRESULT = 0x%x (%s).", e.Result(), ComErrorText(e.Result())) +
           L"\n\n";
}

std::wstring WhatBlock(const std::exception& e)
{
    // what() of the program's own exceptions returns this description: calling it would recurse
    // forever.
    const bool describesItself = dynamic_cast<const LegacyPlvException*>(&e) != nullptr;
    const std::string what = describesItself ? std::string() : WhatText(e);
    return what.empty() ? L"\r\n\r\n\tNo additional information available.\r\n"
                        : Format(L"\r\n\r\n\t%S\r\n", what);
}

/// The text after the type line for the program's own two kinds; empty for other exceptions.
std::wstring OwnBlock(const std::exception& e)
{
    if (const auto* own = dynamic_cast<const LegacyPlvException*>(&e))
    {
        return LocationBlock(*own);
    }
    if (const auto* com = dynamic_cast<const LegacyPlvComException*>(&e))
    {
        return ComBlock(*com);
    }
    return {};
}

/// Appends the result of `build`; false if that is empty or fails.
template <class Build> bool Append(std::wstring& text, Build build) noexcept
{
    try
    {
        const std::wstring block = build();
        text += block;
        return !block.empty();
    }
    catch (...)
    {
        return false;
    }
}
} // namespace

std::wstring ComErrorText(HRESULT result)
{
    const LastErrorKeeper keeper;
    const auto code = static_cast<DWORD>(result);
    std::wstring message =
        SystemMessage(code, FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                FORMAT_MESSAGE_IGNORE_INSERTS);
    if (message.ends_with(L"\r\n"))
    {
        message.resize(message.size() - 2);
    }
    if (!message.empty())
    {
        return message;
    }
    constexpr DWORD FirstDispatchError = 0x80040201;
    constexpr DWORD LastDispatchError = 0x8004FFFF;
    if (code >= FirstDispatchError && code <= LastDispatchError)
    {
        return Format(L"IDispatch error #%d", code - (FirstDispatchError - 1));
    }
    return Format(L"Unknown error 0x%0lX", code);
}

std::wstring DescribeException(const std::exception& e) noexcept
{
    const LastErrorKeeper keeper;
    std::wstring text;
    if (!Append(text, [&] { return TypeLine(e); }))
    {
        Append(text, [] { return L"Object of std::exception"; });
    }
    if (!Append(text, [&] { return OwnBlock(e); }))
    {
        Append(text, [&] { return WhatBlock(e); });
    }
    return text;
}
