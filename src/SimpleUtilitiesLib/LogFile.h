#pragma once

#include "Format.h"
#include "HeldMutex.h"
#include "Owners.h"
#include "SharedObjectSecurity.h"

#include <memory>
#include <string>
#include <string_view>

/// The log file that every copy of the program appends to. Lines of all copies are serialised by
/// one mutex, named after the log's directory. No failure of the log reaches a caller: a line that
/// cannot be written is dropped.
class LogFile
{
public:
    /// The log of this process. The first call builds it, with the file `logDirectory`\`name`.log;
    /// later calls give the same log whatever they name. It lives until the process ends.
    static LogFile& Get(const std::wstring& logDirectory, const std::wstring& name);

    /// Makes the directory and trims the file. An empty directory or name, or a mutex whose
    /// security cannot be described, gives a log that writes nothing.
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
            // Out of memory: the line is dropped, as any line that cannot be written.
        }
    }

    /// The file's full path; empty when the log writes nothing.
    [[nodiscard]] const std::wstring& Path() const noexcept { return path; }
    /// Empty when the log could not be initialised or a write timed out.
    [[nodiscard]] const std::wstring& Directory() const noexcept { return directory; }

    /// Waits for the log's mutex, for at most 5 seconds.
    /// On time-out: the line or the grant is given up, the program's work goes on without it.
    /// On abandoned: the owner died while it wrote; at worst its own line is torn, so go on.
    [[nodiscard]] HeldMutex WaitForMutex() const noexcept;

private:
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
    SharedObjectSecurityDescriptor mutexSecurity;
    std::unique_ptr<NamedMutex> mutex;
};

/// The name of the mutex of the log in `directory`. Spellings that differ only in the case of the
/// letters A to Z or in '\' and '/' have one name. Other spellings of the same directory, with a
/// '\' at the end or with short names, have names of their own: all copies must be given the same
/// one.
std::wstring LogMutexName(const std::wstring& directory);
