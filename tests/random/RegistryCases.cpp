#include "CodeText.h"
#include "ExactValue.h"
#include "LegacyPlvException.h"
#include "RandomRun.h"
#include "RedirectedRoot.h"
#include "RegistryModel.h"
#include "RegistryValues.h"
#include "Replaced.h"
#include "Shrinking.h"
#include "SimpleByteBuffer.h"
#include "SimpleRegistryKey.h"

namespace
{
struct RegistryCase : RegistryModel::Stored
{
    DWORD type = REG_SZ;
};

/// Every reader gives of every value what the model gives.
class RegistryReaders
{
public:
    using Case = RegistryCase;

    RegistryReaders()
        : query(
              [this](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE bytes,
                     LPDWORD size)
              {
                  const long error = bytes == nullptr ? sizeError : bytesError;
                  return error != 0
                             ? error
                             : decltype(query)::Original(asked, name, reserved, type, bytes, size);
              })
    {
        // One key behind both roots; RedirectedRoot's end leaves HKEY_USERS redirected no longer
        // than this object lives.
        RegOverridePredefKey(HKEY_USERS, machine.Key());
        machine.CreateKey(L"Key");
        RegOpenKeyExW(machine.Key(), L"Key", 0, KEY_READ | KEY_WRITE, &key);
    }
    ~RegistryReaders()
    {
        RegCloseKey(key);
        RegOverridePredefKey(HKEY_USERS, nullptr);
    }
    RegistryReaders(const RegistryReaders&) = delete;
    RegistryReaders& operator=(const RegistryReaders&) = delete;

    static Case Generate(Random& random)
    {
        Case result;
        result.keyIsThere = !random.OneIn(30);
        result.valueIsThere = !random.OneIn(30);
        result.type = random.OneIn(20) ? static_cast<DWORD>(random.Next())
                                       : static_cast<DWORD>(random.Below(13));
        result.bytes.resize(random.OneIn(100) ? LongLength(random)
                                              : random.Length(600, {0, 1, 2, 3, 4, 5, 7, 8, 9}));
        for (std::uint8_t& byte : result.bytes)
        {
            byte = static_cast<std::uint8_t>(random.OneIn(2) ? random.Next()
                                                             : random.Between('a', 'z'));
        }
        // Zeros: a terminator, one inside, half of one at an odd place.
        for (std::size_t count = random.Below(4); count != 0 && !result.bytes.empty(); --count)
        {
            const std::size_t place =
                random.OneIn(2) ? result.bytes.size() - 1 : random.Below(result.bytes.size());
            result.bytes[place] = 0;
            result.bytes[place == 0 ? 0 : place - 1] = 0;
        }
        if (random.OneIn(10))
        {
            (random.OneIn(2) ? result.sizeError : result.bytesError) =
                random.Of<long>({2, 5, 6, 87, 234, 1009, 1018});
        }
        return result;
    }

    std::optional<std::string> Difference(const Case& tried)
    {
        Store(tried);
        sizeError = tried.sizeError;
        bytesError = tried.bytesError;
        const std::wstring path = tried.keyIsThere ? L"Key" : L"No key";
        std::optional<std::string> difference = OpenKeyDifference(tried);
        if (!difference)
        {
            difference = OneCallDifference(tried, path);
        }
        if (!difference)
        {
            difference = BufferDifference(tried.bytes);
        }
        sizeError = 0;
        bytesError = 0;
        return difference;
    }

    static std::vector<Case> Simpler(const Case& tried)
    {
        std::vector<Case> candidates;
        AddWith(candidates, tried, &Case::bytes, ::Simpler(tried.bytes, std::uint8_t{'a'}));
        AddPlain(candidates, tried, &Case::sizeError, 0L);
        AddPlain(candidates, tried, &Case::bytesError, 0L);
        AddPlain(candidates, tried, &Case::type, DWORD{REG_SZ});
        AddPlain(candidates, tried, &Case::keyIsThere, true);
        AddPlain(candidates, tried, &Case::valueIsThere, true);
        return candidates;
    }

    static std::string Text(const Case& tried)
    {
        std::string bytes;
        for (const std::uint8_t byte : tried.bytes)
        {
            bytes += (bytes.empty() ? "" : ", ") + std::to_string(byte);
        }
        std::string code;
        code += tried.keyIsThere ? "" : "// without the key\n";
        code += tried.valueIsThere ? "" : "// without the value\n";
        code += tried.sizeError != 0
                    ? "// asking for the size fails with " + std::to_string(tried.sizeError) + "\n"
                    : "";
        code += tried.bytesError != 0 ? "// asking for the bytes fails with " +
                                            std::to_string(tried.bytesError) + "\n"
                                      : "";
        return code + "StoreExactly(machine, L\"Key\", L\"Value\", " + std::to_string(tried.type) +
               ", {" + bytes + "});";
    }

private:
    static constexpr std::uint64_t DefaultNumber = 0x1122334455667788U;

    /// About a power of two up to 1 MiB, where a buffer may end, or anything below it.
    static std::size_t LongLength(Random& random)
    {
        const std::size_t power = std::size_t{1} << random.Between(6, 20);
        return random.OneIn(3) ? random.Between(1, power) : power - 2 + random.Below(5);
    }

    void Store(const Case& tried) const
    {
        std::vector<std::uint8_t> bytes = tried.bytes;
        // The system looks behind the end of text without a terminating zero.
        bytes.insert(bytes.end(), 4, 0xFF);
        const LSTATUS status = tried.valueIsThere
                                   ? RegSetValueExW(key, L"Value", 0, tried.type, bytes.data(),
                                                    static_cast<DWORD>(tried.bytes.size()))
                                   : RegDeleteValueW(key, L"Value");
        if (status != ERROR_SUCCESS && tried.valueIsThere)
        {
            throw std::runtime_error("the value cannot be stored");
        }
    }

    static std::optional<std::string> OpenKeyDifference(const Case& tried)
    {
        const auto open = RegistryKey::OpenRegistryKey(HKEY_LOCAL_MACHINE, L"Key", KEY_READ);
        const RegistryModel::Read expected = RegistryModel::Bytes(tried);
        RegistryModel::Read read;
        read.bytes = {1, 2, 3};
        try
        {
            read.found = open->GetValue(L"Value", read.bytes);
        }
        catch (const LegacyPlvException&)
        {
            read.threw = true;
        }
        if (read.threw != expected.threw || read.found != expected.found ||
            (!read.threw && read.bytes != expected.bytes))
        {
            return "GetValue: threw " + std::to_string(read.threw) + " (" +
                   std::to_string(expected.threw) + "), found " + std::to_string(read.found) +
                   " (" + std::to_string(expected.found) + "), " +
                   std::to_string(read.bytes.size()) + " bytes (" +
                   std::to_string(expected.bytes.size()) + ")";
        }
        std::optional<std::wstring> text;
        try
        {
            text = open->GetString(L"Value", L"default");
        }
        catch (const LegacyPlvException&)
        {
        }
        return Same("GetString", text, RegistryModel::TextOfOpenKey(tried, L"default"));
    }

    static std::optional<std::string> OneCallDifference(const Case& tried, const std::wstring& path)
    {
        auto difference = Same("ReadMachineString", ReadMachineString(path, L"Value", L"default"),
                               RegistryModel::Text(tried, L"default"));
        if (!difference)
        {
            difference = Same("ReadUserString", ReadUserString(path, L"Value", L""),
                              RegistryModel::Text(tried, L""));
        }
        if (!difference)
        {
            difference = Same("ReadMachineNumber32", ReadMachineNumber32(path, L"Value", 77),
                              RegistryModel::Number(tried, 4, 77));
        }
        if (!difference)
        {
            difference =
                Same("ReadMachineNumber64", ReadMachineNumber64(path, L"Value", DefaultNumber),
                     RegistryModel::Number(tried, 8, DefaultNumber));
        }
        return difference;
    }

    static std::optional<std::string> BufferDifference(const std::vector<std::uint8_t>& bytes)
    {
        const ByteBuffer buffer(bytes);
        const auto numberOf = [](auto read) -> std::optional<std::uint64_t>
        {
            try
            {
                return read();
            }
            catch (const ExceptionNotEnoughBytesForDesiredDataType&)
            {
                return std::nullopt;
            }
        };
        auto difference =
            Same("WalkBufferToGetLong", numberOf([&] { return buffer.WalkBufferToGetLong(); }),
                 RegistryModel::NumberAtStart(bytes, 4));
        return difference ? difference
                          : Same("WalkBufferToGetLong64",
                                 numberOf([&] { return buffer.WalkBufferToGetLong64(); }),
                                 RegistryModel::NumberAtStart(bytes, 8));
    }

    static std::string Named(const std::optional<std::wstring>& text)
    {
        return text ? CodeText(*text) : "an exception";
    }
    static std::string Named(const std::optional<std::uint64_t>& number)
    {
        return number ? std::to_string(*number) : "an exception";
    }
    template <class Value, class Expected>
    static std::optional<std::string> Same(const std::string& reader, const Value& value,
                                           const Expected& expected)
    {
        return value == expected
                   ? std::nullopt
                   : std::optional(reader + ": " + Named(value) + ", not " + Named(expected));
    }

    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
    HKEY key = nullptr;
    long sizeError = 0;
    long bytesError = 0;
    Replaced<"ADVAPI32", "RegQueryValueExW", decltype(RegQueryValueExW)> query;
};

TEST(RandomTest, RegistryReadersGiveWhatTheModelGives)
{
    CompareRandomCases<RegistryReaders>("registry readers", 3'000);
}
} // namespace
