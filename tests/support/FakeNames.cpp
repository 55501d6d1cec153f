#include "FakeNames.h"

#include <cstring>

namespace
{
constexpr wchar_t OfTheMachine[] = L"name of the machine";
} // namespace

FakeNames::FakeNames(Journal* target)
    : journal(target),
      computerName([this](LPWSTR buffer, LPDWORD size) -> BOOL
                   { return Give(OfTheMachine, computer, buffer, size); }),
      computerNameEx(
          [this](COMPUTER_NAME_FORMAT format, LPWSTR buffer, LPDWORD size) -> BOOL {
              return format == ComputerNamePhysicalDnsDomain &&
                     Give(OfTheMachine, dnsDomain, buffer, size);
          }),
      userNameEx(
          [this](EXTENDED_NAME_FORMAT format, LPWSTR buffer, PULONG size) -> BOOLEAN {
              return format == NameSamCompatible && Give(OfTheMachine, samCompatible, buffer, size)
                         ? 1
                         : 0;
          }),
      userName([this](LPWSTR buffer, LPDWORD size) -> BOOL
               { return Give(L"name of the account", user, buffer, size); })
{
}

bool FakeNames::Give(const wchar_t* call, const std::optional<std::wstring>& name, LPWSTR buffer,
                     DWORD* size)
{
    if (journal != nullptr)
    {
        journal->push_back(call);
    }
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
