#include "LegacyPlvException.h"
#include "Replaced.h"
#include "SimpleByteBuffer.h"
#include "SimpleRegistryKey.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace
{
/// The throwing statement that begins in a line of a source file, which the test program carries as
/// a resource, without its line ends and indentation; "NO THROW" when none begins there.
std::string ThrowAt(const wchar_t* source, std::uint32_t line)
{
    const HRSRC resource = FindResourceW(nullptr, source, RT_RCDATA);
    const HGLOBAL loaded = resource == nullptr ? nullptr : LoadResource(nullptr, resource);
    if (loaded == nullptr)
    {
        return "NO SOURCE";
    }
    std::istringstream text(std::string(static_cast<const char*>(LockResource(loaded)),
                                        SizeofResource(nullptr, resource)));
    std::string statement;
    std::string next;
    for (std::uint32_t number = 1; std::getline(text, next); ++number)
    {
        const std::size_t start = next.find_first_not_of(' ');
        if (number < line || start == std::string::npos)
        {
            continue;
        }
        statement += next.substr(start);
        if (!statement.starts_with("throw "))
        {
            return "NO THROW";
        }
        if (statement.ends_with(";"))
        {
            return statement;
        }
    }
    return "NO END";
}

/// The line that the exception of `work` names.
template <class Work> std::uint32_t LineOf(Work work)
{
    try
    {
        work();
    }
    catch (const LegacyPlvException& e)
    {
        return e.Line();
    }
    ADD_FAILURE() << "nothing was thrown";
    return 0;
}

TEST(ThrowLineTest, WriteNamesTheLineOfItsThrow)
{
    const Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)> set(
        [](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
        { return ERROR_ACCESS_DENIED; });
    RegistryKey key(HKEY_USERS, false);
    for (const std::uint32_t line : {LineOf([&] { key.SetValue(L"n", 1ULL); }),
                                     LineOf([&] { key.SetValue(L"s", std::wstring(L"x")); })})
    {
        EXPECT_EQ(ThrowAt(L"SimpleRegistryKey", line),
                  "throw ExceptionRegistryRequest(L\"\", SourceFile, __LINE__, "
                  "L\"RegistryKey::SetValue\");");
    }
}

TEST(ThrowLineTest, ReadNamesTheLineOfItsThrow)
{
    const Replaced<"ADVAPI32", "RegQueryValueExW", decltype(RegQueryValueExW)> query(
        [](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS
        { return ERROR_KEY_DELETED; });
    const RegistryKey key(HKEY_USERS, false);
    std::vector<std::uint8_t> bytes;
    EXPECT_EQ(ThrowAt(L"SimpleRegistryKey",
                      LineOf([&] { static_cast<void>(key.GetValue(L"v", bytes)); })),
              "throw ExceptionRegistryRequest(L\"\", SourceFile, __LINE__, "
              "L\"RegistryKey::GetValue\");");
}

TEST(ThrowLineTest, NumberOfTooFewBytesNamesTheLineOfItsThrow)
{
    const ByteBuffer buffer({1, 2, 3});
    EXPECT_EQ(ThrowAt(L"SimpleByteBuffer",
                      LineOf([&] { static_cast<void>(buffer.WalkBufferToGetLong()); })),
              "throw ExceptionNotEnoughBytesForDesiredDataType(L\"\", SourceFile, __LINE__,"
              "L\"ByteBuffer::WalkBufferToGetLong\");");
    EXPECT_EQ(ThrowAt(L"SimpleByteBuffer",
                      LineOf([&] { static_cast<void>(buffer.WalkBufferToGetLong64()); })),
              "throw ExceptionNotEnoughBytesForDesiredDataType(L\"\", SourceFile, __LINE__,"
              "L\"ByteBuffer::WalkBufferToGetLong64\");");
}
} // namespace
