#include "SimpleUser.h"

#include "WindowsHeaders.h"

#include <cwchar>

#define SECURITY_WIN32
#include <security.h>

namespace
{
/// Calls `read` with a buffer and its length in characters. Returns the text up to the first zero
/// if the call succeeds.
template <class Read> std::wstring ReadName(DWORD bufferCharacters, Read read)
{
    std::wstring name(bufferCharacters, L'\0');
    DWORD length = bufferCharacters;
    if (!read(name.data(), &length))
    {
        return {};
    }
    name.resize(std::wcslen(name.c_str()));
    return name;
}
} // namespace

namespace User
{
std::wstring GetCurrentUserName()
{
    return ReadName(261, [](wchar_t* name, DWORD* length)
                    { return GetUserNameW(name, length) != FALSE; });
}

std::wstring GetCurrentSamCompatibleName()
{
    return ReadName(260, [](wchar_t* name, DWORD* length)
                    { return GetUserNameExW(NameSamCompatible, name, length) != FALSE; });
}

std::wstring GetNetBiosComputerName()
{
    return ReadName(32767, [](wchar_t* name, DWORD* length)
                    { return GetComputerNameW(name, length) != FALSE; });
}

std::wstring GetPhysicalDnsDomain()
{
    return ReadName(
        260, [](wchar_t* name, DWORD* length)
        { return GetComputerNameExW(ComputerNamePhysicalDnsDomain, name, length) != FALSE; });
}
} // namespace User
