#include "RegistryValues.h"

#include "LegacyPlvException.h"
#include "SimpleByteBuffer.h"
#include "SimpleRegistryKey.h"

namespace
{
/// Opens the key for reading and returns the result of `read`, or the default.
template <class Value, class Read>
Value ReadOrDefault(HKEY root, const std::wstring& subKey, const Value& defaultValue, Read read)
{
    try
    {
        const auto key = RegistryKey::OpenRegistryKey(root, subKey, KEY_READ);
        return key == nullptr ? defaultValue : read(*key);
    }
    catch (const LegacyPlvException&)
    {
        return defaultValue;
    }
}

std::wstring ReadString(HKEY root, const std::wstring& subKey, const std::wstring& name,
                        const std::wstring& defaultText)
{
    return ReadOrDefault(root, subKey, defaultText,
                         [&](const RegistryKey& key) { return key.GetString(name, defaultText); });
}

template <class Number, class Walk>
Number ReadMachineNumber(const std::wstring& subKey, const std::wstring& name, Number defaultNumber,
                         Walk walk)
{
    return ReadOrDefault(HKEY_LOCAL_MACHINE, subKey, defaultNumber,
                         [&](const RegistryKey& key)
                         {
                             std::vector<std::uint8_t> bytes;
                             if (!key.GetValue(name, bytes))
                             {
                                 return defaultNumber;
                             }
                             return walk(ByteBuffer(std::move(bytes)));
                         });
}

template <class Value>
bool WriteValue(HKEY root, const std::wstring& subKey, const std::wstring& name, const Value& value,
                std::wstring& errorText)
{
    const auto key = RegistryKey::CreateRegistryKey(root, subKey, KEY_WRITE, errorText);
    if (key == nullptr)
    {
        return false;
    }
    key->SetValue(name, value);
    return true;
}
} // namespace

std::wstring ReadUserString(const std::wstring& subKey, const std::wstring& name,
                            const std::wstring& defaultText)
{
    return ReadString(HKEY_USERS, subKey, name, defaultText);
}

bool WriteUserString(const std::wstring& subKey, const std::wstring& name, const std::wstring& text,
                     std::wstring& errorText)
{
    return WriteValue(HKEY_USERS, subKey, name, text, errorText);
}

std::wstring ReadMachineString(const std::wstring& subKey, const std::wstring& name,
                               const std::wstring& defaultText)
{
    return ReadString(HKEY_LOCAL_MACHINE, subKey, name, defaultText);
}

std::uint32_t ReadMachineNumber32(const std::wstring& subKey, const std::wstring& name,
                                  std::uint32_t defaultNumber)
{
    return ReadMachineNumber(subKey, name, defaultNumber,
                             [](const ByteBuffer& bytes) { return bytes.WalkBufferToGetLong(); });
}

std::uint64_t ReadMachineNumber64(const std::wstring& subKey, const std::wstring& name,
                                  std::uint64_t defaultNumber)
{
    return ReadMachineNumber(subKey, name, defaultNumber,
                             [](const ByteBuffer& bytes) { return bytes.WalkBufferToGetLong64(); });
}

bool WriteMachineNumber64(const std::wstring& subKey, const std::wstring& name,
                          std::uint64_t number, std::wstring& errorText)
{
    return WriteValue(HKEY_LOCAL_MACHINE, subKey, name, number, errorText);
}
