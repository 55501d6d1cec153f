#include "ExceptionDescription.h"

#include "LegacyPlvException.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "SystemMessage.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <new>
#include <set>
#include <stdexcept>
#include <utility>

namespace
{
/// The system's message texts as the test wants them, for as long as the object lives.
class SystemTexts
{
public:
    std::wstring text = L"System text.\r\n";
    DWORD flags = 0;
    DWORD code = 0;
    DWORD language = 0;
    int notGivenBack = 0;

private:
    Replaced<"KERNEL32", "FormatMessageW",
             DWORD(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**)>
        formatMessage{[this](DWORD askedFlags, LPCVOID, DWORD askedCode, DWORD askedLanguage,
                             LPWSTR buffer, DWORD, char**) -> DWORD
                      {
                          flags = askedFlags;
                          code = askedCode;
                          language = askedLanguage;
                          if (text.empty())
                          {
                              SetLastError(317);
                              return 0;
                          }
                          auto* memory = static_cast<wchar_t*>(
                              LocalAlloc(LPTR, (text.size() + 1) * sizeof(wchar_t)));
                          std::wmemcpy(memory, text.c_str(), text.size());
                          *reinterpret_cast<wchar_t**>(buffer) = memory;
                          ++notGivenBack;
                          return static_cast<DWORD>(text.size());
                      }};
    Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree{
        [this](HLOCAL memory)
        {
            --notGivenBack;
            SetLastError(12);
            return decltype(localFree)::Original(memory);
        }};
};

TEST(DescribeExceptionTest, OwnExceptionTellsWhereItWasThrown)
{
    const ExceptionRegistryRequest e(L"", L"src\\SimpleUtilitiesLib\\SimpleRegistryKey", 239,
                                     L"RegistryKey::SetValue");
    EXPECT_EQ(DescribeException(e), L"Object of class ExceptionRegistryRequest thrown from:\r\n\r\n"
                                    L"File:\tSimpleRegistryKey\r\n"
                                    L"Method:\tRegistryKey::SetValue()\r\n"
                                    L"Line:\t239\r\n");
}

TEST(DescribeExceptionTest, DetailsFollowWhenThereAreAny)
{
    const ExceptionNotEnoughBytesForDesiredDataType e(L"more %s%n", L"C:\\a\\b\\SimpleByteBuffer",
                                                      4294967295U, L"M");
    EXPECT_EQ(DescribeException(e),
              L"Object of class ExceptionNotEnoughBytesForDesiredDataType thrown from:\r\n\r\n"
              L"File:\tSimpleByteBuffer\r\n"
              L"Method:\tM()\r\n"
              L"Line:\t4294967295\r\n"
              L"\r\nDetails:\r\n\tmore %s%n\r\n");
}

TEST(DescribeExceptionTest, FileWithoutABackslashIsPrintedWhole)
{
    const ExceptionRegistryRequest e(L"", L"src/a.cpp", 1, L"M");
    EXPECT_NE(DescribeException(e).find(L"File:\tsrc/a.cpp\r\n"), std::wstring::npos);
}

TEST(DescribeExceptionTest, HasNoLimit)
{
    const std::wstring details(1'000'000, L'\x4E2D');
    const ExceptionRegistryRequest e(details, L"f", 1, L"M");
    EXPECT_TRUE(DescribeException(e).ends_with(L"\r\nDetails:\r\n\t" + details + L"\r\n"));
}

TEST(DescribeExceptionTest, ComExceptionGivesTheResultAndTheSystemsText)
{
    SystemTexts system;
    system.text = L"Access is denied.\r\n";
    EXPECT_EQ(DescribeException(LegacyPlvComException(static_cast<HRESULT>(0x80070005))),
              L"Object of class LegacyPlvComException\n\t"
              L"COM Error HRESULT = 0x80070005 (Access is denied.).\n\n");
    EXPECT_EQ(system.code, 0x80070005U);
    EXPECT_EQ(system.notGivenBack, 0);
}

TEST(DescribeExceptionTest, FailedAllocationIsABadAllocation)
{
    EXPECT_EQ(DescribeException(std::bad_alloc()),
              L"Object of class std::bad_alloc\r\n\r\n\tbad allocation\r\n");
}

TEST(DescribeExceptionTest, AnyOtherExceptionGivesItsText)
{
    EXPECT_EQ(DescribeException(std::runtime_error("%s%n why")),
              L"Object of class std::runtime_error\r\n\r\n\t%s%n why\r\n");
}

TEST(DescribeExceptionTest, BytesOfATextBeyondAsciiAreTheCharactersOfTheirNumbers)
{
    EXPECT_EQ(DescribeException(std::runtime_error("Z\xFCrich \x80\xFF")),
              L"Object of class std::runtime_error\r\n\r\n\tZ\x00FCrich \x0080\x00FF\r\n");
}

TEST(DescribeExceptionTest, ExceptionWithoutATextSaysSo)
{
    EXPECT_EQ(DescribeException(std::runtime_error("")),
              L"Object of class std::runtime_error\r\n\r\n"
              L"\tNo additional information available.\r\n");
}

TEST(DescribeExceptionTest, ExceptionWhoseClassHasNoNameIsAStdException)
{
    const ScarceMemory memory;
    const std::runtime_error e("why");
    ScarceMemory::Refuse(0);
    const std::wstring description = DescribeException(e);
    ScarceMemory::End();
    EXPECT_EQ(description, L"Object of std::exception\r\n\r\n\twhy\r\n");
}

TEST(DescribeExceptionTest, OneAllocationThatFailsAtMostTakesTheNameAway)
{
    const ScarceMemory memory;
    const ExceptionRegistryRequest own(L"details", L"file", 1, L"Method");
    const LegacyPlvComException com(static_cast<HRESULT>(0x80040207));
    const std::runtime_error other("a reason that is too long to be kept in place");
    for (const auto& [e, named] : {std::pair<const std::exception*, std::wstring>(
                                       &own, L"Object of class ExceptionRegistryRequest"),
                                   {&com, L"Object of class LegacyPlvComException"},
                                   {&other, L"Object of class std::runtime_error"}})
    {
        const std::wstring unnamed = L"Object of std::exception";
        std::wstring description;
        std::set<std::wstring> beginnings;
        ScarceMemory::ForEveryFailure([&, e = e] { description = DescribeException(*e); },
                                      [&, &named = named]
                                      {
                                          beginnings.insert(description.starts_with(named) ? named
                                                            : description.starts_with(unnamed)
                                                                ? unnamed
                                                                : description);
                                      });
        EXPECT_EQ(beginnings, (std::set<std::wstring>{named, unnamed}));
    }
}

TEST(DescribeExceptionTest, MemoryThatRunsOutGivesAsMuchAsWasBuilt)
{
    const ScarceMemory memory;
    const LegacyPlvComException e(static_cast<HRESULT>(0x80040207));
    const std::wstring type = L"Object of class LegacyPlvComException";
    std::wstring description;
    std::set<std::wstring> different;
    ScarceMemory::ForEveryRoom([&] { description = DescribeException(e); },
                               [&] { different.insert(description); });
    const std::wstring whole = description;
    EXPECT_TRUE(whole.starts_with(type + L"\n\tCOM Error HRESULT = 0x80040207 ("));
    different.erase(L"");
    different.erase(L"Object of std::exception");
    different.erase(type);
    different.erase(whole);
    EXPECT_TRUE(different.empty()) << "for example \"" << testing::PrintToString(different);
}

TEST(DescribeExceptionTest, OwnBlockThatCannotBeBuiltIsReplacedByTheEndOfAnyOther)
{
    const ScarceMemory memory;
    const ExceptionRegistryRequest own(L"details", L"file", 1, L"Method");
    const LegacyPlvComException com(static_cast<HRESULT>(0x80040207));
    for (const std::exception* e :
         {static_cast<const std::exception*>(&own), static_cast<const std::exception*>(&com)})
    {
        std::wstring description;
        std::set<std::wstring> different;
        ScarceMemory::ForEveryFailure([&] { description = DescribeException(*e); },
                                      [&] { different.insert(description); });
        const bool isOwn = e == &own;
        EXPECT_EQ(different.count(std::wstring(L"Object of class ") +
                                  (isOwn ? L"ExceptionRegistryRequest" : L"LegacyPlvComException") +
                                  L"\r\n\r\n\tNo additional information available.\r\n"),
                  1U);
    }
}

TEST(DescribeExceptionTest, TextThatCannotBeBuiltIsLeftOut)
{
    const ScarceMemory memory;
    const std::runtime_error e("a reason that is too long to be kept in place");
    std::wstring description;
    std::set<std::wstring> different;
    ScarceMemory::ForEveryFailure([&] { description = DescribeException(e); },
                                  [&] { different.insert(description); });
    const std::wstring reason = L"\r\n\r\n\ta reason that is too long to be kept in place\r\n";
    EXPECT_EQ(different, (std::set<std::wstring>{L"Object of class std::runtime_error",
                                                 L"Object of class std::runtime_error" + reason,
                                                 L"Object of std::exception" + reason}));
}

/// Asking it for its text changes the thread's last-error value.
class Meddler : public std::exception
{
public:
    const char* what() const noexcept override
    {
        SetLastError(5);
        return "why";
    }
};

TEST(DescribeExceptionTest, LeavesTheLastErrorAlone)
{
    SetLastError(0xABCDE);
    EXPECT_TRUE(DescribeException(Meddler()).ends_with(L"\twhy\r\n"));
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST(ComErrorTextTest, LeavesTheLastErrorAlone)
{
    SystemTexts system;
    system.text.clear();
    SetLastError(0xABCDE);
    EXPECT_EQ(ComErrorText(E_FAIL), L"Unknown error 0x80004005");
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST(ComErrorTextTest, AsksForTheSystemsTextWithoutInserts)
{
    SystemTexts system;
    EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x80070002)), L"System text.");
    EXPECT_EQ(system.flags, 0x1300U);
    EXPECT_EQ(system.language, 0x400U);
    EXPECT_EQ(system.notGivenBack, 0);
}

TEST(ComErrorTextTest, OneLineEndIsTakenAway)
{
    SystemTexts system;
    system.text = L"Two.\r\n\r\n";
    EXPECT_EQ(ComErrorText(E_FAIL), L"Two.\r\n");
    system.text = L"None.";
    EXPECT_EQ(ComErrorText(E_FAIL), L"None.");
    system.text = L"Feed.\n";
    EXPECT_EQ(ComErrorText(E_FAIL), L"Feed.\n");
}

TEST(ComErrorTextTest, DispatchErrorsAreCountedFrom0x80040200)
{
    SystemTexts system;
    system.text.clear();
    EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x80040201)), L"IDispatch error #1");
    EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x8004FFFF)), L"IDispatch error #65023");
}

TEST(ComErrorTextTest, AnyOtherResultWithoutATextIsUnknown)
{
    SystemTexts system;
    system.text.clear();
    EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x80040200)), L"Unknown error 0x80040200");
    EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x80050000)), L"Unknown error 0x80050000");
    EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0xDEADBEEF)), L"Unknown error 0xDEADBEEF");
    EXPECT_EQ(ComErrorText(1), L"Unknown error 0x1");
}
} // namespace
