// log-writer DIRECTORY WRITERS KILLED LINES SEED: starts WRITERS copies of itself together. When
// all have the log in DIRECTORY open, it makes the log a copy of Old.log, which is too long, and
// lets them write. While they write their first LINES lines it ends KILLED of them at random
// moments, and half-way starts one more, which finds the log too long. Prints of each writer its
// process id, its exit code, and how many of its lines had been written.
//
// log-writer --write DIRECTORY NUMBER: one writer. It writes the lines in the file NUMBER.lines:
// UTF-16, with a zero behind each. With --trim it opens the log only when it has the log's mutex,
// and copies the file to Before.log before it does.
#include "LogFile.h"
#include "Owners.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace
{
const wchar_t* const CountsName = L"Global\\LogWriterCounts";

unsigned Number(const wchar_t* text)
{
    return static_cast<unsigned>(std::wcstoul(text, nullptr, 10));
}

/// Of each writer, how many of its lines had been written: memory of all of them, so that a kill
/// leaves it as it is.
LONG* Counts(HANDLE section)
{
    return static_cast<LONG*>(MapViewOfFile(section, FILE_MAP_WRITE, 0, 0, 0));
}

/// The lines of one writer, with one zero more behind the last.
std::wstring LinesIn(const std::wstring& path)
{
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    if (!file || !GetFileSizeEx(file.Get(), &size))
    {
        std::exit(4);
    }
    std::wstring lines(static_cast<std::size_t>(size.QuadPart) / sizeof(wchar_t), L'\0');
    DWORD length = 0;
    if (!ReadFile(file.Get(), lines.data(), static_cast<DWORD>(size.QuadPart), &length, nullptr) ||
        length != size.QuadPart)
    {
        std::exit(4);
    }
    return lines;
}

int Write(wchar_t** arguments)
{
    const std::wstring lines =
        LinesIn(arguments[0] + std::wstring(L"\\") + arguments[1] + L".lines");
    LogFile& log = LogFile::Get(arguments[0], L"Load");
    // All have the log open before the first writes: whoever opened it later would trim it.
    const KernelHandle go(OpenEventW(SYNCHRONIZE, FALSE, L"Global\\LogWriterGo"));
    const KernelHandle ready(
        OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, L"Global\\LogWriterReady"));
    const KernelHandle section(OpenFileMappingW(FILE_MAP_WRITE, FALSE, CountsName));
    LONG* const written = Counts(section.Get()) + Number(arguments[1]);
    ReleaseSemaphore(ready.Get(), 1, nullptr);
    WaitForSingleObject(go.Get(), INFINITE);
    for (const wchar_t* line = lines.c_str(); *line != L'\0'; line += std::wcslen(line) + 1)
    {
        log.Write(line);
        InterlockedIncrement(written);
    }
    return 0;
}

/// Trims the log, and leaves what was in it before.
int Trim(wchar_t** arguments)
{
    const std::wstring directory = arguments[0];
    const KernelHandle mutex(
        OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, LogMutexName(directory).c_str()));
    WaitForSingleObject(mutex.Get(), INFINITE);
    if (!CopyFileW((directory + L"\\Load.log").c_str(), (directory + L"\\Before.log").c_str(),
                   TRUE))
    {
        return 3;
    }
    LogFile::Get(directory, L"Load");
    ReleaseMutex(mutex.Get());
    return Write(arguments);
}

struct Writer
{
    KernelHandle process;
    DWORD id;
};

Writer Start(const std::wstring& program, const std::wstring& arguments)
{
    std::wstring commandLine = L"\"" + program + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &made))
    {
        std::printf("a writer could not be started: error %lu\n", GetLastError());
        std::exit(1);
    }
    CloseHandle(made.hThread);
    return {KernelHandle(made.hProcess), made.dwProcessId};
}

void WaitForLines(std::span<const LONG> written, unsigned lines)
{
    while (std::accumulate(written.begin(), written.end(), 0U) < lines)
    {
        Sleep(1);
    }
}

int StartAll(const std::wstring& program, wchar_t** arguments)
{
    const std::wstring directory = arguments[0];
    const unsigned count = Number(arguments[1]);
    const unsigned killed = Number(arguments[2]);
    const unsigned lines = Number(arguments[3]);
    std::mt19937 random(Number(arguments[4]));
    const KernelHandle go(CreateEventW(nullptr, TRUE, FALSE, L"Global\\LogWriterGo"));
    const KernelHandle ready(
        CreateSemaphoreW(nullptr, 0, static_cast<LONG>(count) + 1, L"Global\\LogWriterReady"));
    const KernelHandle section(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                                  static_cast<DWORD>((count + 1) * sizeof(LONG)),
                                                  CountsName));
    const std::span<const LONG> written(Counts(section.Get()), count + 1);
    std::vector<Writer> writers;
    for (unsigned writer = 0; writer < count; ++writer)
    {
        writers.push_back(
            Start(program, L"--write \"" + directory + L"\" " + std::to_wstring(writer)));
    }
    for (unsigned writer = 0; writer < count; ++writer)
    {
        WaitForSingleObject(ready.Get(), INFINITE);
    }
    if (!CopyFileW((directory + L"\\Old.log").c_str(), (directory + L"\\Load.log").c_str(), FALSE))
    {
        std::printf("the log could not be made: error %lu\n", GetLastError());
        return 1;
    }
    SetEvent(go.Get());
    // The one that trims is not among them: what a kill leaves of a trim is another proof's.
    std::vector<unsigned> order(count);
    std::iota(order.begin(), order.end(), 0U);
    std::shuffle(order.begin(), order.end(), random);
    auto killUpTo = [&, next = 0U](unsigned end) mutable
    {
        for (; next < end; ++next)
        {
            const unsigned between = lines / killed;
            WaitForLines(written, next * between + random() % between);
            TerminateProcess(writers[order[next]].process.Get(), 77);
        }
    };
    killUpTo(killed / 2);
    WaitForLines(written, lines / 2);
    writers.push_back(Start(program, L"--trim \"" + directory + L"\" " + std::to_wstring(count)));
    killUpTo(killed);
    for (std::size_t writer = 0; writer < writers.size(); ++writer)
    {
        WaitForSingleObject(writers[writer].process.Get(), INFINITE);
        DWORD code = 0;
        GetExitCodeProcess(writers[writer].process.Get(), &code);
        std::printf("%lu %lu %ld\n", writers[writer].id, code, written[writer]);
    }
    return 0;
}
} // namespace

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    if (count == 4 && std::wstring(arguments[1]) == L"--write")
    {
        return Write(arguments + 2);
    }
    if (count == 4 && std::wstring(arguments[1]) == L"--trim")
    {
        return Trim(arguments + 2);
    }
    wchar_t program[MAX_PATH] = {};
    if (count != 6 || GetModuleFileNameW(nullptr, program, MAX_PATH) == 0)
    {
        std::puts("usage: log-writer DIRECTORY WRITERS KILLED LINES SEED");
        return 2;
    }
    return StartAll(program, arguments + 1);
}
