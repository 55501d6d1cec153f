#include "Command.h"

#include "Hives.h"
#include "LabState.h"
#include "Text.h"

#include <cstring>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kProgramPath[] = L"Software\\Palvo";

struct Value
{
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

std::optional<Value> ReadValue(HKEY key, const std::wstring& name)
{
    Value value;
    DWORD size = 0;
    if (RegQueryValueExW(key, name.c_str(), nullptr, &value.type, nullptr, &size) != ERROR_SUCCESS)
    {
        return std::nullopt;
    }
    value.data.resize(size);
    RegQueryValueExW(key, name.c_str(), nullptr, nullptr, value.data.data(), &size);
    return value;
}

std::wstring HexBytes(const std::vector<BYTE>& data)
{
    static const wchar_t digits[] = L"0123456789abcdef";
    std::wstring text;
    for (const BYTE byte : data)
    {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::wstring TypeText(DWORD type)
{
    static const wchar_t* const names[] = {L"REG_NONE",   L"REG_SZ",      L"REG_EXPAND_SZ",
                                           L"REG_BINARY", L"REG_DWORD",   L"REG_DWORD_BIG_ENDIAN",
                                           L"REG_LINK",   L"REG_MULTI_SZ"};
    if (type == REG_QWORD)
    {
        return L"REG_QWORD";
    }
    return type < std::size(names) ? names[type] : L"type " + std::to_wstring(type);
}

// A value as a person reads it; its bytes when that would hide something.
std::wstring DataText(const Value& value)
{
    const std::size_t size = value.data.size();
    if (value.type == REG_DWORD && size == 4)
    {
        return std::to_wstring(*reinterpret_cast<const std::uint32_t*>(value.data.data()));
    }
    if (value.type == REG_QWORD && size == 8)
    {
        return std::to_wstring(*reinterpret_cast<const std::uint64_t*>(value.data.data()));
    }
    const bool text = value.type == REG_SZ && size >= 2 && size % 2 == 0 &&
                      value.data[size - 1] == 0 && value.data[size - 2] == 0;
    if (text)
    {
        return {reinterpret_cast<const wchar_t*>(value.data.data()), size / 2 - 1};
    }
    return L"bytes " + HexBytes(value.data);
}

void PrintValues(const LabKey& key, const std::wstring& shown, bool hex)
{
    for (const std::wstring& name : key.ValueNames())
    {
        const auto value = ReadValue(key.Get(), name);
        if (value)
        {
            Print(shown + L"\t" + name + L"\t" + TypeText(value->type) + L"\t" +
                  (hex ? HexBytes(value->data) : DataText(*value)));
        }
    }
}

void PrintTree(const LabKey& key, const std::wstring& shown, bool hex)
{
    PrintValues(key, shown, hex);
    for (const std::wstring& name : key.SubkeyNames())
    {
        PrintTree(LabKey::Open(key.Get(), name), shown + L"\\" + name, hex);
    }
}

} // namespace

int ShowBags(const Arguments& given)
{
    Arguments arguments = given;
    const bool hex = TakeFlag(arguments, L"--hex");
    if (!arguments.empty())
    {
        return Misused(L"show");
    }
    for (const std::wstring& hive : MountedHives())
    {
        const LabKey key = LabKey::Open(HKEY_USERS, hive + kBagPath);
        if (key)
        {
            PrintValues(key, hive, hex);
        }
    }
    return kDone;
}

int ShowRegistryTree(const Arguments& given)
{
    Arguments arguments = given;
    const bool hex = TakeFlag(arguments, L"--hex");
    if (!arguments.empty())
    {
        return Misused(L"show");
    }
    const LabKey key = LabKey::Open(HKEY_LOCAL_MACHINE, kProgramPath);
    if (key)
    {
        PrintTree(key, std::wstring(L"HKLM\\") + kProgramPath, hex);
    }
    return kDone;
}

} // namespace PalvoLab
