#pragma once

#include "AccessControlList.h"
#include "Format.h"
#include "HeldMutex.h"
#include "Owners.h"

#include <memory>
#include <string>
#include <string_view>

/// The log file that every copy of the program appends to. One mutex, named after the log's
/// directory, serialises the lines. Failures never reach a caller: a line that cannot be written is
/// dropped.
class LogFile
{
public:
    /// The log of this process. The first call creates it, with the file `logDirectory`\`name`.log;
    /// later calls ignore their arguments. It lives until the process ends.
    static LogFile& Get(const std::wstring& logDirectory, const std::wstring& name);

    /// Creates the directory and trims the file. With an empty directory or name, or if the mutex's
    /// security cannot be built, the log writes nothing.
    LogFile(const std::wstring& logDirectory, const std::wstring& name) noexcept;
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Appends one line.
    void Write(std::wstring_view message) noexcept;

    /// Appends one line, formatted.
    template <class... Arguments>
    void WriteFormat(WideFormat<Arguments...> format, const Arguments&... arguments) noexcept
    {
        try
        {
            Write(Format(format, arguments...));
        }
        catch (...)
        {
            // Out of memory: the line is dropped.
        }
    }

    /// The file's full path; empty if the log writes nothing.
    [[nodiscard]] const std::wstring& Path() const noexcept { return path; }
    /// Empty when the log could not be initialised or a write timed out.
    [[nodiscard]] const std::wstring& Directory() const noexcept { return directory; }

    /// Waits for the log's mutex, for at most 5 seconds.
    /// On time-out: the line or the grant is given up, the program's work goes on without it.
    /// On abandoned: the owner died while it wrote; at worst its own line is torn, so go on.
    [[nodiscard]] HeldMutex WaitForMutex() const noexcept;

private:
    struct MutexSecurity
    {
        SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, FALSE};
        SharedObjectSecurityDescriptor shared; ///< to which they point
    };

    struct NamedMutex
    {
        KernelHandle handle;
        std::wstring name;
    };

    void Build(const std::wstring& logDirectory, const std::wstring& name);
    void Append(std::wstring_view message);
    void Trim();

    std::wstring moduleName;
    std::wstring directory;
    std::wstring path;
    bool includeThreadId = false;
    MutexSecurity mutexSecurity;
    std::unique_ptr<NamedMutex> mutex;
};

/// The name of the mutex of the log in `directory`. Spellings that differ only in the case of A to
/// Z or in '\' and '/' give the same name. Others, such as a trailing '\' or short names, do not:
/// all copies must use the same spelling.
std::wstring LogMutexName(const std::wstring& directory);

// Each lets one more account append to the existing log file. True only if the file's DACL was set.
// Does nothing if the log is off, the file cannot be opened or the mutex cannot be acquired. Throws
// and logs nothing.

bool GrantLocalServiceAccess(const LogFile& log) noexcept;
bool GrantAuthenticatedUsersAccess(const LogFile& log) noexcept;
