#include "RegistryModel.h"

namespace RegistryModel
{
namespace
{
/// Not found, access denied, invalid handle: no value rather than an error.
bool IsExpected(long error)
{
    return error == 2 || error == 5 || error == 6;
}

std::wstring TextIn(const std::vector<std::uint8_t>& bytes)
{
    std::wstring text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    {
        const auto character = static_cast<wchar_t>(bytes[i] + 256 * bytes[i + 1]);
        if (character == L'\0')
        {
            break;
        }
        text += character;
    }
    return text;
}
} // namespace

Read Bytes(const Stored& stored)
{
    const long sizeError = stored.sizeError == 0 && !stored.valueIsThere ? 2 : stored.sizeError;
    if (sizeError != 0)
    {
        return {!IsExpected(sizeError), false, {}};
    }
    if (stored.bytes.empty() || stored.bytesError == 0)
    {
        return {false, true, stored.bytes};
    }
    return {!IsExpected(stored.bytesError), IsExpected(stored.bytesError), {}};
}

std::optional<std::wstring> TextOfOpenKey(const Stored& stored, const std::wstring& defaultText)
{
    const Read read = Bytes(stored);
    if (read.threw)
    {
        return std::nullopt;
    }
    return read.found ? TextIn(read.bytes) : defaultText;
}

std::wstring Text(const Stored& stored, const std::wstring& defaultText)
{
    return stored.keyIsThere ? TextOfOpenKey(stored, defaultText).value_or(defaultText)
                             : defaultText;
}

std::uint64_t Number(const Stored& stored, std::size_t size, std::uint64_t defaultNumber)
{
    if (!stored.keyIsThere)
    {
        return defaultNumber;
    }
    const Read read = Bytes(stored);
    return read.threw || !read.found ? defaultNumber
                                     : NumberAtStart(read.bytes, size).value_or(defaultNumber);
}

std::optional<std::uint64_t> NumberAtStart(const std::vector<std::uint8_t>& bytes, std::size_t size)
{
    if (bytes.size() < size)
    {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (std::size_t i = size; i != 0; --i)
    {
        number = number * 256 + bytes[i - 1];
    }
    return number;
}
} // namespace RegistryModel
