#include "DebuggerPrompt.h"

#include "ExactValue.h"
#include "RedirectedRoot.h"
#include "Replaced.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <vector>

#include <wtsapi32.h>

namespace
{
const std::wstring PromptKey = L"Software\\Palvo\\PrinterDriver\\V6.0\\PromptToAttachDebugger";

class DebuggerPromptTest : public testing::Test
{
protected:
    /// How many boxes the prompt shows when the registry says `setting`.
    int BoxesFor(const std::wstring& setting)
    {
        machine.SetString(PromptKey, L"Palvo.Program", setting);
        return Boxes();
    }

    int Boxes()
    {
        boxes = 0;
        PromptToAttachDebuggerIfConfigured();
        return boxes;
    }

    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
    int boxes = 0;
    std::wstring caption;
    std::wstring text;
    /// How many characters of the program's path were asked for, call by call.
    std::vector<DWORD> pathSizes;

private:
    Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)> moduleName{
        [this](HMODULE, LPWSTR buffer, DWORD size) -> DWORD
        {
            pathSizes.push_back(size);
            const std::wstring path = L"C:\\x.y\\Palvo.Program.exe";
            std::wmemcpy(buffer, path.c_str(), path.size() + 1);
            return static_cast<DWORD>(path.size());
        }};
    Replaced<"WTSAPI32", "WTSEnumerateSessionsW", decltype(WTSEnumerateSessionsW)> enumerate{
        [](HANDLE, DWORD, DWORD, PWTS_SESSION_INFOW*, DWORD*) { return FALSE; }};
    Replaced<"USER32", "MessageBoxW", decltype(MessageBoxW)> box{
        [this](HWND, LPCWSTR message, LPCWSTR title, UINT)
        {
            ++boxes;
            text = message;
            caption = title;
            return IDOK;
        }};
};

TEST_F(DebuggerPromptTest, AlwaysShowsThePrompt)
{
    EXPECT_EQ(BoxesFor(L"always"), 1);
    EXPECT_EQ(text, L"Attach debugger now, if desired.");
    EXPECT_TRUE(caption.starts_with(L"Palvo.Program ("));
}

TEST_F(DebuggerPromptTest, CaseOfTheLettersDoesNotMatter)
{
    EXPECT_EQ(BoxesFor(L"ALWAYS"), 1);
    EXPECT_EQ(BoxesFor(L"aLwAyS"), 1);
}

TEST_F(DebuggerPromptTest, NoKeyShowsNothing)
{
    EXPECT_EQ(Boxes(), 0);
    EXPECT_FALSE(machine.HasKey(PromptKey));
}

TEST_F(DebuggerPromptTest, PathOfTheProgramIsReadInto261Characters)
{
    EXPECT_EQ(BoxesFor(L"never"), 0);
    EXPECT_EQ(pathSizes, std::vector<DWORD>{261});
}

TEST_F(DebuggerPromptTest, NoValueShowsNothing)
{
    machine.SetString(PromptKey, L"Palvo.Program.exe", L"always");
    machine.SetString(PromptKey, L"", L"always");
    EXPECT_EQ(Boxes(), 0);
}

TEST_F(DebuggerPromptTest, AnythingElseShowsNothing)
{
    for (const wchar_t* setting : {L"never", L"", L"always ", L" always", L"alway", L"alwayss",
                                   L"1", L"\x0430lways", L"always\n"})
    {
        EXPECT_EQ(BoxesFor(setting), 0) << '"' << testing::PrintToString(setting) << '"';
    }
}

TEST_F(DebuggerPromptTest, SettingIsReadAtEveryCall)
{
    EXPECT_EQ(BoxesFor(L"never"), 0);
    EXPECT_EQ(BoxesFor(L"always"), 1);
    EXPECT_EQ(BoxesFor(L"never"), 0);
}

TEST_F(DebuggerPromptTest, SettingWithoutATerminatorIsUnderstood)
{
    StoreExactly(machine, PromptKey, L"Palvo.Program", REG_SZ,
                 {'a', 0, 'l', 0, 'w', 0, 'a', 0, 'y', 0, 's', 0});
    EXPECT_EQ(Boxes(), 1);
}

TEST_F(DebuggerPromptTest, SettingOfAnotherTypeOrLengthShowsNothing)
{
    StoreExactly(machine, PromptKey, L"Palvo.Program", REG_DWORD, {1, 0, 0, 0});
    EXPECT_EQ(Boxes(), 0);
    StoreExactly(machine, PromptKey, L"Palvo.Program", REG_BINARY, {'a'});
    EXPECT_EQ(Boxes(), 0);
    StoreExactly(machine, PromptKey, L"Palvo.Program", REG_BINARY,
                 std::vector<std::uint8_t>(0x100000, 'a'));
    EXPECT_EQ(Boxes(), 0);
}

TEST_F(DebuggerPromptTest, KeyIsOpenedForReading)
{
    std::wstring opened;
    const Replaced<"ADVAPI32", "RegOpenKeyExW", decltype(RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR subKey, DWORD, REGSAM access, PHKEY) -> LSTATUS
        {
            EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
            EXPECT_EQ(access, 0x20019U);
            opened = subKey;
            return ERROR_ACCESS_DENIED;
        });
    EXPECT_EQ(Boxes(), 0);
    EXPECT_EQ(opened, PromptKey);
}
} // namespace
