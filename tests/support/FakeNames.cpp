#include "FakeNames.h"

#include <cstring>

FakeNames::FakeNames()
    : computerName([this](LPWSTR buffer, LPDWORD size) -> WINBOOL
                   { return Give(computer, buffer, size); }),
      computerNameEx(
          [this](COMPUTER_NAME_FORMAT format, LPWSTR buffer, LPDWORD size) -> WINBOOL
          { return format == ComputerNamePhysicalDnsDomain && Give(dnsDomain, buffer, size); }),
      userNameEx(
          [this](EXTENDED_NAME_FORMAT format, LPWSTR buffer, PULONG size) -> BOOLEAN
          { return format == NameSamCompatible && Give(samCompatible, buffer, size) ? 1 : 0; }),
      userName([this](LPWSTR buffer, LPDWORD size) -> WINBOOL { return Give(user, buffer, size); })
{
}

bool FakeNames::Give(const std::optional<std::wstring>& name, LPWSTR buffer, DWORD* size)
{
    sizes.push_back(*size);
    if (!name || name->size() >= *size)
    {
        SetLastError(name ? ERROR_MORE_DATA : ERROR_NONE_MAPPED);
        return false;
    }
    std::memcpy(buffer, name->c_str(), (name->size() + 1) * sizeof(wchar_t));
    *size = static_cast<DWORD>(name->size());
    return true;
}
