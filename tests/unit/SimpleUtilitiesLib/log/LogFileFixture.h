#pragma once

#include "HeldMutex.h"
#include "LogFile.h"
#include "OtherThread.h"
#include "Replaced.h"
#include "TemporaryFolder.h"
#include "TestLog.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

/// A log of process 4120 of PalvoPrinterConfiguration, at 14:05:09 on 7 March 2024.
class LogFileTest : public testing::Test
{
protected:
    std::string Bytes() const { return FileBytes(log.Path()); }

    /// Whether another thread gets the log's mutex at once.
    bool IsMutexFree() const
    {
        bool isFree = false;
        const HANDLE mutex = OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE,
                                        LogMutexName(folder.Path()).c_str());
        OnOtherThread([&] { isFree = HeldMutex(mutex, 0).IsHeld(); });
        CloseHandle(mutex);
        return isFree;
    }

    TemporaryFolder folder;

private:
    Replaced<"KERNEL32", "GetLocalTime", decltype(GetLocalTime)> localTime{
        [](LPSYSTEMTIME now) { *now = {2024, 3, 4, 7, 14, 5, 9, 999}; }};
    Replaced<"KERNEL32", "GetCurrentProcessId", decltype(GetCurrentProcessId)> processId{
        [] { return 4120; }};
    Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)> moduleName{
        [](HMODULE module, LPWSTR buffer, DWORD size) -> DWORD
        {
            EXPECT_EQ(module, nullptr);
            EXPECT_EQ(size, 260U);
            const std::wstring path = L"C:\\a.b\\PalvoPrinterConfiguration.exe";
            std::wmemcpy(buffer, path.c_str(), path.size() + 1);
            return static_cast<DWORD>(path.size());
        }};

protected:
    LogFile log{folder.Path(), L"Log"};
    const std::string prefix = "[3/7/2024 2:05:09 PM] PalvoPrinterConfiguration(PID4120): ";
};
