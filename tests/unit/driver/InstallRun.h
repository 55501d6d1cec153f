#pragma once

#include "FakeChannelSetup.h"
#include "FakeTaskScheduler.h"
#include "InstallModes.h"
#include "MainDriver.h"
#include "OutputCapture.h"
#include "PretendedWindows.h"
#include "RedirectedRoot.h"
#include "TestLog.h"

#include <shlobj.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

inline constexpr wchar_t OwnKey[] =
    L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration";
inline constexpr wchar_t ScanPosition[] = L"LastEvtRecordProcessed";
inline constexpr wchar_t DesktopAppGuids[] = L"DesktopAppGUIDs";

/// The path of a hive's property bag under HKEY_USERS.
inline std::wstring BagOf(const std::wstring& hive)
{
    return hive +
           L"\\Software\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\Palvo";
}

/// A machine for the install modes to work on: a registry, an event channel, a task scheduler and a
/// log of its own. One journal holds what happens to all of them.
class InstallRun
{
public:
    explicit InstallRun(DWORD major = 10, DWORD minor = 0) : windows(major, minor)
    {
        users.CreateKey(L"S-1-5-21-1");
        users.CreateKey(L".DEFAULT");
    }

    int Install()
    {
        return Do([this] { return InstallScheduledTasks(run); });
    }
    int Uninstall()
    {
        return Do([this] { return UninstallScheduledTasks(run); });
    }

    /// A whole run of the program with one argument. It has no log: there is no ProgramData folder.
    int Program(const wchar_t* argument)
    {
        using KnownFolder =
            Replaced<"SHELL32", "SHGetKnownFolderPath", decltype(::SHGetKnownFolderPath)>;
        const KnownFolder knownFolder(
            [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
            {
                *path = nullptr;
                return E_FAIL;
            });
        const wchar_t* arguments[] = {L"PalvoPrinterConfiguration", argument, nullptr};
        return Do([&] { return RunProgram(2, arguments); });
    }

    /// From now on the program's own path cannot be had.
    void ForgetPaths() { run.paths = {}; }

    /// Begins anew with no tasks, no saved channel and no planned failures.
    void Reset()
    {
        scheduler.Reset();
        channel.Reset();
    }

    /// The messages that the last run of a mode logged, in order.
    [[nodiscard]] std::vector<std::wstring> Messages() const
    {
        const std::vector<std::wstring> all = log.Messages();
        return {all.begin() + static_cast<std::ptrdiff_t>(messagesBefore), all.end()};
    }

    /// The names of the tasks that are registered.
    [[nodiscard]] std::vector<std::wstring> TaskNames() const
    {
        std::vector<std::wstring> names;
        for (const auto& task : scheduler.ledger.tasks)
        {
            names.push_back(task.first);
        }
        return names;
    }

    /// The journal's lines that begin with one of `beginnings`.
    [[nodiscard]] Journal Lines(const std::vector<std::wstring>& beginnings) const
    {
        Journal lines;
        std::copy_if(journal.begin(), journal.end(), std::back_inserter(lines),
                     [&](const std::wstring& line)
                     {
                         return std::any_of(beginnings.begin(), beginnings.end(),
                                            [&](const std::wstring& beginning)
                                            { return line.starts_with(beginning); });
                     });
        return lines;
    }

    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
    RedirectedRoot users{HKEY_USERS};
    TestLog log;
    Journal journal;
    FakeChannelSetup channel{journal};
    FakeTaskScheduler scheduler{journal};
    PretendedWindows windows;
    std::optional<LSTATUS> registryError; ///< no value can be written, with this code
    std::string output;

private:
    std::size_t messagesBefore = 0;

    // An installation starts no other program.
    Replaced<"KERNEL32", "CreateProcessW", decltype(CreateProcessW)> createProcess{
        [](LPCWSTR, LPWSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD,
           LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION)
        {
            ADD_FAILURE() << "started: " << testing::PrintToString(std::wstring(commandLine));
            return FALSE;
        }};
    Replaced<"ADVAPI32", "CreateProcessAsUserW", decltype(CreateProcessAsUserW)> createAsUser{
        [](HANDLE, LPCWSTR, LPWSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
           DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION)
        {
            ADD_FAILURE() << "started: " << testing::PrintToString(std::wstring(commandLine));
            return FALSE;
        }};

    template <class Work> int Do(Work work)
    {
        const LogJournal logJournal(journal);
        messagesBefore = log.Messages().size();
        using SetValue = Replaced<"ADVAPI32", "RegSetValueExW", decltype(::RegSetValueExW)>;
        const SetValue setValue(
            [this](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)
            {
                journal.push_back(std::wstring(L"registry: ") + name);
                return registryError ? *registryError
                                     : SetValue::Original(key, name, reserved, type, data, size);
            });
        int result = -1;
        output = OutputOf([&] { result = work(); });
        EXPECT_EQ(scheduler.Faults(), L"");
        EXPECT_EQ(channel.openHandles, 0U);
        EXPECT_EQ(channel.misuses, 0U);
        return result;
    }

    Run run{log.Log(),
            {},
            {},
            {L"C:\\Palvo Suite\\PalvoPrinterConfiguration.exe", L"C:\\Palvo Suite\\Query.exe",
             L"C:\\Palvo Suite\\Writer.exe"}};
};

/// Makes the task service fail for one task: `tasks` holds the numbers, counted from 1, of the
/// installations or deletions that fail.
inline void FailTasks(InstallRun& run, const std::vector<std::size_t>& tasks)
{
    for (const std::size_t task : tasks)
    {
        run.scheduler.ledger.Fail(L"CoCreateInstance", E_ACCESSDENIED, task);
    }
}
