#include "SystemMessage.h"

#include "Format.h"
#include "Owners.h"

std::wstring SystemMessage(DWORD code, DWORD flags)
{
    LocalPointer<wchar_t*> buffer;
    // For an allocated buffer this argument receives its address.
    const DWORD length =
        FormatMessageW(flags, nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                       reinterpret_cast<wchar_t*>(buffer.Receive()), 0, nullptr);
    if (!buffer.KeepIf(length != 0))
    {
        return {};
    }
    return {buffer.Get(), length};
}

std::wstring Win32ErrorText(DWORD code)
{
    const LastErrorKeeper keeper;
    std::wstring text =
        SystemMessage(code, FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM);
    if (text.empty())
    {
        // Not the reason why there is no text, but the code that was asked about, counts from here
        // to the end, where the caller's value is put back.
        SetLastError(code);
        text = L"Unknown value";
    }
    // The text carries the separator of a label, "GetLastError()", that is itself not printed:
    // callers put two blanks and an equals sign before the code. Support's searches expect them.
    if (code == 0)
    {
        return Format("%s%s", L": ", text);
    }
    return Format("%s%lu/0x%lx: %s", L" = ", code, code, text);
}

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
