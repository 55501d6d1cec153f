#pragma once

#include "WindowsHeaders.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What the looks found. Nothing here judges, and nothing of it calls Windows.

/// Times are in 100 ns since 1601, as FILETIME has them.
inline constexpr std::uint64_t Second = 10'000'000;
inline constexpr std::uint64_t Minute = 60 * Second;

/// One value of the registry. `error` is 0 when it was read, ERROR_FILE_NOT_FOUND when it or its
/// key is not there.
struct ValueFact
{
    DWORD error = ERROR_FILE_NOT_FOUND;
    DWORD type = REG_NONE;
    std::vector<std::uint8_t> bytes;

    [[nodiscard]] bool IsThere() const { return error == ERROR_SUCCESS; }
    [[nodiscard]] bool IsUnreadable() const
    {
        return error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND;
    }
    /// Up to the first zero character, as the program reads any type.
    [[nodiscard]] std::wstring Text() const;
};

struct SettingsFacts
{
    ValueFact runSwitch;
    std::uint32_t effectiveSwitch = 1; ///< as the program reads it
    ValueFact position;
    ValueFact prompt;
};

/// Who but administrators may write into a folder.
struct WritableFolder
{
    std::wstring folder;
    std::wstring account;
};

struct RightsFacts
{
    std::vector<WritableFolder> writable;
    std::vector<std::wstring> unreadable; ///< folders whose rights could not be read
};

struct SuiteFacts
{
    bool isWindows8 = true;
    std::wstring folder;
    std::vector<std::wstring> missing;  ///< of the three programs
    std::vector<std::wstring> onTheWay; ///< files that Windows starts instead of them
    RightsFacts rights;                 ///< of the folder and those above it
};

struct TaskFact
{
    std::wstring name;
    std::wstring wantedArguments;
    HRESULT found = S_OK;
    bool enabled = true;
    std::wstring program;
    std::wstring arguments;
    std::wstring account;
    HRESULT lastResult = S_OK;
    bool running = false;
    std::optional<std::uint64_t> lastRun; ///< local time
};

struct TaskFacts
{
    HRESULT reached = S_OK; ///< how the scheduler could be reached
    std::vector<TaskFact> tasks;
};

struct VersionFacts
{
    std::map<std::wstring, std::wstring> files; ///< empty where a file has none
    unsigned codePage = 0;
};

/// The newest or oldest event of a query. Record 0: there is none.
struct EventFact
{
    std::uint64_t record = 0;
    std::uint64_t time = 0; ///< UTC
};

struct ChannelFacts
{
    DWORD openError = 0;
    DWORD queryError = 0;
    bool enabled = true;
    bool retains = false; ///< a full channel takes no more
    std::uint64_t maximumSize = 0;
    std::uint64_t position = 0; ///< as the program reads it
    EventFact oldest;
    EventFact newest;
    EventFact newestPrinterEvent;
    std::map<std::wstring, std::uint64_t> lastEvents; ///< record by printer, of the last 5000
};

struct LogEntry
{
    std::uint64_t time = 0; ///< local
    DWORD process = 0;
    std::wstring message;
};

struct LogFacts
{
    std::wstring path; ///< empty when %ProgramData% cannot be had
    DWORD openError = 0;
    bool isFolder = false;
    bool isReadOnly = false;
    bool isProper = true;
    std::uint64_t size = 0;
    bool hasLeftover = false;
    RightsFacts rights; ///< of its folder and those above it that are the suite's
    std::optional<std::uint64_t> freeBytes;
    std::uint64_t upTime = 0; ///< of Windows
    std::uint64_t asleep = 0; ///< how much of that it slept or hibernated
    std::vector<DWORD> liveProcesses;
    std::string bytes; ///< its end, where it is very large
    std::vector<LogEntry> entries;
    std::size_t foreignLines = 0;
};

struct PrinterFact
{
    std::wstring name;
    DWORD openError = 0;
    HRESULT driverRead = S_OK;
    std::wstring driver;
    DWORD driverVersion = 0;
    std::wstring manifest;   ///< path; empty when the driver names none
    DWORD manifestError = 0; ///< of opening it
    std::wstring platform;
};

struct PrinterFacts
{
    DWORD listError = 0;
    std::vector<PrinterFact> printers;
};

struct SessionFact
{
    DWORD id = 0;
    DWORD tokenError = 0;
    bool isSeen = true; ///< false: only SYSTEM gets a token
    std::wstring user;
    std::wstring sid;
    bool hasHive = true;
    DWORD writeError = 0; ///< of opening the bag in the user's name
    ValueFact userId;
    ValueFact deviceId;
    ValueFact isAdministrator;
    ValueFact applications;
};

struct SessionFacts
{
    DWORD listError = 0;
    std::vector<SessionFact> sessions;
};

struct ServiceFacts
{
    bool isSystem = true; ///< who else looks cannot log Local Service on
    DWORD logonError = 0;
    bool canHash = true;
    bool hasWmi = true;
};

/// A process of the suite.
struct WorkingProcess
{
    DWORD id = 0;
    std::wstring file;
    std::optional<std::uint64_t> started; ///< UTC
};

struct MutexFact
{
    std::wstring scheme; ///< what it is for
    bool isHeld = false;
    DWORD openError = 0; ///< that it is not there is none
};

struct WorkFacts
{
    std::vector<WorkingProcess> processes;
    std::vector<MutexFact> instances;
    MutexFact logMutex;                   ///< held for 5 seconds, and nobody wrote
    std::vector<std::wstring> logHolders; ///< other programs that have the log open
};

struct Facts
{
    std::uint64_t utcTime = 0;             ///< now
    std::uint64_t localTime = 0;           ///< now
    std::uint64_t hungAfter = 60 * Minute; ///< how long a run may take
    SettingsFacts settings;
    SuiteFacts suite;
    TaskFacts tasks;
    ChannelFacts channel;
    LogFacts log;
    PrinterFacts printers;
    SessionFacts sessions;
    ServiceFacts services;
    WorkFacts work;
};
