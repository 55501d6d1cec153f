#pragma once

#include "FakeChildren.h"
#include "FakeEventChannel.h"
#include "FakeKernelObjects.h"
#include "FakeSpooler.h"
#include "RedirectedRoot.h"
#include "RegistryJournal.h"
#include "Run.h"
#include "TestLog.h"

#include <wtsapi32.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

/// A run on a machine that is all doubles; what it does stands in the journal, in order. The
/// process id is 4711 and the program lies in C:\P.
class RunFixture : public ::testing::Test
{
protected:
    RunFixture()
    {
        manifest =
            folder.WriteFile(L"p-manifest.ini", "[PV-Private]\r\nDriverPlatform=PV6P2.0\r\n");
        users.CreateKey(L"Hive");
        // The same account runs everything, so that a launch takes few lines.
        children.failing.insert(L"LogonUserW");
        children.writesTokens = false;
        channel.onQuery = [this] { journal.push_back(L"scan"); };
    }

    ::Run& NewRun(CmdLineOptionsEnum mode, NewOrChangedEventTypeEnum eventType,
                  const std::wstring& invoker)
    {
        run.options.mode = mode;
        run.options.eventType = eventType;
        run.invoker = invoker;
        return run;
    }

    void AddSupportedPrinter(const std::wstring& name)
    {
        spooler.printers[name] = {4, {{manifest}}};
    }
    /// Logs an event for a printer, as the print service does.
    void AddEvent(std::uint64_t id, const std::wstring& printer)
    {
        channel.events.push_back({id, printer});
    }
    void SetPosition(std::uint64_t id) const
    {
        machine.SetNumber(L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration",
                          L"LastEvtRecordProcessed", id);
    }

    TestLog testLog; // made before anything is doubled
    TemporaryFolder folder;
    std::wstring manifest;
    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
    RedirectedRoot users{HKEY_USERS};
    Journal journal;
    FakeKernelObjects objects{journal};
    FakeChildren children{journal, objects};
    FakeEventChannel channel;
    FakeSpooler spooler;
    LogJournal logJournal{journal};
    RegistryJournal registryJournal{journal};

    Replaced<"KERNEL32", "GetCurrentProcessId", decltype(GetCurrentProcessId)> processId{
        [] { return DWORD{4711}; }};
    Replaced<"KERNEL32", "Sleep", decltype(Sleep)> sleep{
        [this](DWORD time) { journal.push_back(L"sleep " + std::to_wstring(time)); }};
    Replaced<"WTSAPI32", "WTSEnumerateSessionsW", decltype(WTSEnumerateSessionsW)> sessions{
        [this](HANDLE, DWORD, DWORD, PWTS_SESSION_INFOW*, DWORD*)
        {
            journal.push_back(L"users' values");
            return FALSE;
        }};
    Replaced<"msvcrt", "fwrite", std::size_t(const void*, std::size_t, std::size_t, FILE*)> output{
        [this](const void* text, std::size_t size, std::size_t count, FILE*)
        {
            const std::string bytes(static_cast<const char*>(text), size * count);
            journal.push_back(L"out: " + std::wstring(bytes.begin(), bytes.end()));
            return count;
        }};

    ::Run run{testLog.Log(),
              {},
              {},
              {L"C:\\P\\PalvoPrinterConfiguration.exe", L"C:\\P\\PalvoPrinterQuery.exe",
               L"C:\\P\\PalvoPrinterConfigurationWriter.exe"}};
};
