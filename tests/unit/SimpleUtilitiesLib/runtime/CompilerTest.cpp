#include "Compiler.h"

#include "LegacyPlvException.h"
#include "Owners.h"
#include "ScarceMemory.h"
#include "SkippedTests.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace
{
class Silent : public std::exception
{
public:
    const char* what() const noexcept override { return nullptr; }
};

/// How many arguments this very program is given, its own name among them, when it is started in
/// `folder` with these.
DWORD CountedArguments(const std::wstring& folder, const std::wstring& arguments)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring commandLine = L"\"" + std::wstring(program) + L"\" --count-arguments " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information = {};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        folder.c_str(), &startup, &information))
    {
        return 0;
    }
    const KernelHandle process(information.hProcess);
    const KernelHandle thread(information.hThread);
    DWORD count = 0;
    WaitForSingleObject(process.Get(), INFINITE);
    GetExitCodeProcess(process.Get(), &count);
    return count;
}

TEST(StartUpCodeTest, LeavesWildcardsInArgumentsAlone)
{
    const TemporaryFolder folder;
    folder.WriteFile(L"a.one", "");
    folder.WriteFile(L"b.one", "");
    EXPECT_EQ(CountedArguments(folder.Path(), L"*.one"), 3U);
    EXPECT_EQ(CountedArguments(folder.Path(), L"?.one x"), 4U);
}

TEST(ClassNameTest, IsTheNameAfterTheWordClass)
{
    EXPECT_EQ(ClassName(typeid(ExceptionRegistryRequest)), "class ExceptionRegistryRequest");
    EXPECT_EQ(ClassName(typeid(LegacyPlvComException)), "class LegacyPlvComException");
    EXPECT_EQ(ClassName(typeid(std::bad_alloc)), "class std::bad_alloc");
}

TEST(ClassNameTest, IsEmptyWhenThereIsNoMemoryForIt)
{
    SKIP_WITH_VISUAL_CPP("it keeps a name that it made once");
    const ScarceMemory memory;
    ScarceMemory::Allow(0);
    const std::string name = ClassName(typeid(ExceptionRegistryRequest));
    ScarceMemory::End();
    EXPECT_EQ(name, "");
}

TEST(WhatTextTest, NamesAFailedAllocationAsWindowsDoes)
{
    EXPECT_EQ(WhatText(std::bad_alloc()), "bad allocation");
    EXPECT_EQ(WhatText(std::bad_array_new_length()), "bad array new length");
}

TEST(WhatTextTest, IsTheTextOfAnyOtherException)
{
    EXPECT_EQ(WhatText(std::runtime_error("why")), "why");
    EXPECT_EQ(WhatText(std::length_error("")), "");
}

TEST(WhatTextTest, ExceptionThatGivesNullHasNoText)
{
    EXPECT_EQ(WhatText(Silent()), "");
}
} // namespace
