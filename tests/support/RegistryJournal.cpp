#include "RegistryJournal.h"

#include <cstdint>
#include <cstring>

namespace
{
std::wstring Content(DWORD type, const BYTE* data, DWORD size)
{
    if (type == REG_SZ)
    {
        std::wstring text(size / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), data, text.size() * sizeof(wchar_t));
        return text.c_str();
    }
    std::uint64_t number = 0;
    if (type == REG_QWORD && size == sizeof(number))
    {
        std::memcpy(&number, data, sizeof(number));
        return std::to_wstring(number);
    }
    return L"UNEXPECTED TYPE " + std::to_wstring(type);
}
} // namespace

RegistryJournal::RegistryJournal(Journal& target, std::function<std::wstring()> who)
    : setValue(
          [&target, who](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                         DWORD size)
          {
              target.push_back(std::wstring(L"set ") + name + L"=" + Content(type, data, size) +
                               (who ? L" as " + who() : L""));
              return decltype(setValue)::Original(key, name, reserved, type, data, size);
          })
{
}
