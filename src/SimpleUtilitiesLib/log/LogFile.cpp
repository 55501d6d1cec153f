#include "LogFile.h"

#include "Directories.h"
#include "GlobalObjects.h"
#include "LogLine.h"
#include "LogTail.h"
#include "LogTrim.h"
#include "ProgramFile.h"
#include "ProperFile.h"
#include "ResourceAccessControl.h"
#include "Text.h"
#include "WellKnownAccounts.h"

#include <cstddef>
#include <new>
#include <optional>

namespace
{
constexpr DWORD MutexWaitMilliseconds = 5000;

/// The size of the file, which is created if missing; 0 if it cannot be opened.
std::uint64_t FileSize(const std::wstring& path)
{
    const FileHandle file = OpenProperFile(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                           WhenMissing::Create);
    LARGE_INTEGER size = {};
    return file && GetFileSizeEx(file.Get(), &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

void WriteBytes(HANDLE file, std::string_view bytes)
{
    DWORD written = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

bool GrantLogAccess(const LogFile& log, const WellKnownAccount& account) noexcept
{
    const HeldMutex held = log.WaitForMutex();
    if (!held.IsHeld() || IsEmptyOrBlank(log.Path()))
    {
        return false;
    }
    try
    {
        // The grant's own opening follows links, and lets a pipe's server act for the program. So
        // it is done only where the log was seen first. Without access: others need not share it.
        const FileHandle seen = OpenProperFile(log.Path(), 0, FILE_SHARE_READ, WhenMissing::Fail);
        FileAccessControl file(log.Path());
        return seen && IsProperFile(file.Open(), log.Path()) &&
               GrantAccess(file, TrusteeName(account));
    }
    catch (...)
    {
        // Out of memory: the file is left as it is.
        return false;
    }
}
} // namespace

std::wstring LogMutexName(const std::wstring& directory)
{
    return MakeGlobalObjectName(LowerCase(ReplaceCharacter(directory, L'\\', L'/')));
}

LogFile& LogFile::Get(const std::wstring& logDirectory, const std::wstring& name)
{
    // Never destroyed: code that runs while the process ends may still log. In static memory,
    // because an allocation may fail and no failure may reach a caller.
    alignas(LogFile) static std::byte place[sizeof(LogFile)];
    static auto* const log = new (place) LogFile(logDirectory, name);
    return *log;
}

LogFile::LogFile(const std::wstring& logDirectory, const std::wstring& name) noexcept
{
    try
    {
        Build(logDirectory, name);
    }
    catch (...)
    {
        directory.clear();
        path.clear();
    }
}

void LogFile::Build(const std::wstring& logDirectory, const std::wstring& name)
{
    moduleName = BaseNameOf(ProgramPath());
    mutexSecurity.shared = BuildSharedObjectSecurityDescriptor();
    if (!mutexSecurity.shared.isValid || logDirectory.empty() || name.empty())
    {
        return;
    }
    mutexSecurity.attributes.lpSecurityDescriptor = &mutexSecurity.shared.descriptor;
    directory = logDirectory;
    path = directory + L"\\" + name + L".log";

    mutex = std::make_unique<NamedMutex>();
    mutex->name = LogMutexName(directory);
    mutex->handle = CreateGlobalMutex(mutex->name, &mutexSecurity.attributes);

    const HeldMutex held = WaitForMutex();
    if (!held.IsHeld())
    {
        directory.clear();
        return;
    }
    if (IsOnProperWay(directory))
    {
        MakeDirectory(directory);
    }
    Trim();
}

HeldMutex LogFile::WaitForMutex() const noexcept
{
    return {mutex == nullptr ? nullptr : mutex->handle.Get(), MutexWaitMilliseconds};
}

void LogFile::Trim()
{
    const std::uint64_t size = FileSize(path);
    if (size <= LogTrim::LargestLog)
    {
        return;
    }
    const std::wstring copyPath = path + L".plvold";
    DeleteName(copyPath); // an older copy
    {
        constexpr DWORD Access = GENERIC_READ | GENERIC_WRITE;
        const FileHandle log = OpenProperFile(path, Access, FILE_SHARE_READ, WhenMissing::Fail);
        const FileHandle copy =
            log ? CreateProperFile(copyPath, Access, FILE_SHARE_READ) : FileHandle();
        if (copy)
        {
            TrimOpenLog(log.Get(), size, copy.Get());
        }
    }
    DeleteName(copyPath);
    Write(L"Log trimmed.");
}

void LogFile::Write(std::wstring_view message) noexcept
{
    if (path.empty())
    {
        return;
    }
    try
    {
        Append(message);
    }
    catch (...)
    {
        // Out of memory: the line is dropped.
    }
}

void LogFile::Append(std::wstring_view message)
{
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    const auto threadId =
        includeThreadId ? std::optional<DWORD>(GetCurrentThreadId()) : std::nullopt;
    const std::wstring line =
        LogLineText(now, moduleName, GetCurrentProcessId(), threadId, message);
    // Append bytes in one write, with CR LF for each line feed: the C runtime's text mode would
    // drop the rest of a line at the first character that its locale lacks.
    const std::string bytes = WithCarriageReturns(ToCodePage(line));

    const HeldMutex held = WaitForMutex();
    if (!held.IsHeld())
    {
        directory.clear();
        return;
    }
    const FileHandle file =
        OpenProperFile(path, FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ, WhenMissing::Create);
    if (file)
    {
        WriteBytes(file.Get(), bytes);
    }
}

bool GrantLocalServiceAccess(const LogFile& log) noexcept
{
    return GrantLogAccess(log, WellKnownAccounts::LocalService);
}

bool GrantAuthenticatedUsersAccess(const LogFile& log) noexcept
{
    return GrantLogAccess(log, WellKnownAccounts::AuthenticatedUsers);
}
