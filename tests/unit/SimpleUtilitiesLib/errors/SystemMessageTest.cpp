#include "SystemMessage.h"

#include "Replaced.h"

#include <gtest/gtest.h>

#include <cwchar>

namespace
{
using FormatMessageDouble = Replaced<"KERNEL32", "FormatMessageW",
                                     DWORD(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**)>;

/// Puts a text where FormatMessageW leaves one that it allocated.
DWORD Give(LPWSTR buffer, const std::wstring& text)
{
    auto* memory = static_cast<wchar_t*>(LocalAlloc(LPTR, (text.size() + 1) * sizeof(wchar_t)));
    std::wmemcpy(memory, text.c_str(), text.size());
    *reinterpret_cast<wchar_t**>(buffer) = memory;
    return static_cast<DWORD>(text.size());
}

TEST(Win32ErrorTextTest, IsTheSeparatorTheCodeTwiceAndTheSystemsText)
{
    const FormatMessageDouble formatMessage(
        [](DWORD flags, LPCVOID source, DWORD code, DWORD language, LPWSTR buffer, DWORD least,
           char** arguments)
        {
            EXPECT_EQ(flags, 0x1100U);
            EXPECT_EQ(source, nullptr);
            EXPECT_EQ(code, 2U);
            EXPECT_EQ(language, 0x400U);
            EXPECT_EQ(least, 0U);
            EXPECT_EQ(arguments, nullptr);
            return Give(buffer, L"File not found.\r\n");
        });
    EXPECT_EQ(Win32ErrorText(2), L" = 2/0x2: File not found.\r\n");
}

TEST(Win32ErrorTextTest, CodeIsDecimalThenHexadecimal)
{
    const FormatMessageDouble formatMessage([](DWORD, LPCVOID, DWORD, DWORD, LPWSTR buffer, DWORD,
                                               char**) { return Give(buffer, L"T"); });
    EXPECT_EQ(Win32ErrorText(4294967295U), L" = 4294967295/0xffffffff: T");
}

TEST(Win32ErrorTextTest, PercentSignsInTheSystemsTextAreData)
{
    const FormatMessageDouble formatMessage([](DWORD, LPCVOID, DWORD, DWORD, LPWSTR buffer, DWORD,
                                               char**) { return Give(buffer, L"%1 %s%n"); });
    EXPECT_EQ(Win32ErrorText(193), L" = 193/0xc1: %1 %s%n");
}

TEST(Win32ErrorTextTest, CodeZeroGivesAColonAndTheText)
{
    const FormatMessageDouble formatMessage([](DWORD, LPCVOID, DWORD, DWORD, LPWSTR buffer, DWORD,
                                               char**) { return Give(buffer, L"Done.\r\n"); });
    EXPECT_EQ(Win32ErrorText(0), L": Done.\r\n");
}

TEST(Win32ErrorTextTest, RealCodesHaveRealTexts)
{
    const std::wstring none = Win32ErrorText(0);
    EXPECT_TRUE(none.starts_with(L": "));
    EXPECT_GT(none.size(), 4U);
    const std::wstring notFound = Win32ErrorText(2);
    EXPECT_TRUE(notFound.starts_with(L" = 2/0x2: "));
    EXPECT_TRUE(notFound.ends_with(L"\r\n"));
    EXPECT_GT(notFound.size(), 14U);
}

TEST(Win32ErrorTextTest, CodeThatTheSystemDoesNotKnowIsAnUnknownValue)
{
    EXPECT_EQ(Win32ErrorText(0x2FFFFFFF), L" = 805306367/0x2fffffff: Unknown value");
}

TEST(Win32ErrorTextTest, UnknownTextOfCodeZero)
{
    const FormatMessageDouble formatMessage([](DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**)
                                            { return 0; });
    EXPECT_EQ(Win32ErrorText(0), L": Unknown value");
}

TEST(Win32ErrorTextTest, TextWithoutAnAddressIsNone)
{
    const FormatMessageDouble formatMessage([](DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**)
                                            { return 5; });
    EXPECT_EQ(Win32ErrorText(5), L" = 5/0x5: Unknown value");
}

TEST(Win32ErrorTextTest, LeavesTheLastErrorAlone)
{
    SetLastError(0xABCDE);
    static_cast<void>(Win32ErrorText(2));
    EXPECT_EQ(GetLastError(), 0xABCDEU);
    static_cast<void>(Win32ErrorText(0x2FFFFFFF));
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

using SetLastErrorDouble = Replaced<"KERNEL32", "SetLastError", decltype(SetLastError)>;

TEST(Win32ErrorTextTest, CodeWithoutATextIsTheLastErrorUntilTheCallersIsPutBack)
{
    std::vector<DWORD> values;
    const SetLastErrorDouble setLastError(
        [&](DWORD value)
        {
            values.push_back(value);
            SetLastErrorDouble::Original(value);
        });
    SetLastErrorDouble::Original(0xABCDE);
    static_cast<void>(Win32ErrorText(0x2FFFFFFF));
    EXPECT_EQ(values, (std::vector<DWORD>{0x2FFFFFFF, 0xABCDE}));
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST(Win32ErrorTextTest, CodeWithATextIsNotTheLastError)
{
    SetLastError(0xABCDE);
    std::vector<DWORD> values;
    const SetLastErrorDouble setLastError([&](DWORD value) { values.push_back(value); });
    static_cast<void>(Win32ErrorText(2));
    EXPECT_EQ(std::count(values.begin(), values.end(), 2U), 0);
}

TEST(Win32ErrorTextTest, WhatAFailedCallLeavesIsNeitherATextNorGivenBack)
{
    int garbage = 0;
    const FormatMessageDouble formatMessage(
        [&](DWORD, LPCVOID, DWORD, DWORD, LPWSTR buffer, DWORD, char**)
        {
            *reinterpret_cast<void**>(buffer) = &garbage;
            return 0;
        });
    int freed = 0;
    const Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree(
        [&](HLOCAL memory) -> HLOCAL
        {
            ++freed;
            return memory;
        });
    EXPECT_EQ(Win32ErrorText(2), L" = 2/0x2: Unknown value");
    EXPECT_EQ(freed, 0);
}

TEST(Win32ErrorTextTest, GivesTheSystemsMemoryBack)
{
    void* given = nullptr;
    const FormatMessageDouble formatMessage(
        [&](DWORD, LPCVOID, DWORD, DWORD, LPWSTR buffer, DWORD, char**)
        {
            const DWORD length = Give(buffer, L"T");
            given = *reinterpret_cast<void**>(buffer);
            return length;
        });
    void* freed = nullptr;
    const Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree(
        [&](HLOCAL memory)
        {
            freed = memory;
            return decltype(localFree)::Original(memory);
        });
    static_cast<void>(Win32ErrorText(2));
    EXPECT_NE(freed, nullptr);
    EXPECT_EQ(freed, given);
}
} // namespace
