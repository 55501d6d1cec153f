// log-writer DIRECTORY WRITERS LINES SEED KILLED: starts WRITERS copies of itself together, each of
// which writes LINES lines to the log in DIRECTORY, ends KILLED of them at random moments, and
// starts one more half-way, which finds the log too long. Prints how far each writer came.
//
// log-writer --write DIRECTORY NUMBER LINES SEED: one writer. With --trim it opens the log only when it
// has the log's mutex, and copies the file to Before.log before it does.
#include "LogFile.h"
#include "Owners.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace
{
// What a line is made of: letters, formats, characters inside and outside of the code page, a pair
// of surrogates, control characters that are no line ends.
const wchar_t* const Alphabet[] = {
    L"a",      L"Z",  L" ",  L"%s", L"%n", L"\u00E9", L"\u00FF",       L"\u65E5",
    L"\u03A9", L"\t", L"\"", L"\\", L"0",  L"~",      L"\xD83D\xDE00", L"\x1A"};

// Ranges of which no character is in the code page; the last are halves of surrogate pairs.
const unsigned Outside[][2] = {{0x4E00, 0x9FFF}, {0xAC00, 0xD7A3}, {0xDC00, 0xDFFF}};

/// The same numbers as the checker's.
class Numbers
{
public:
    explicit Numbers(std::uint64_t seed) : state(seed) {}

    unsigned Next(unsigned bound)
    {
        state = state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<unsigned>((state >> 33) % bound);
    }

private:
    std::uint64_t state;
};

std::wstring Line(unsigned writer, unsigned number, std::uint64_t seed)
{
    Numbers numbers(seed * 1000003 + writer * 100000 + number);
    std::wstring text = std::to_wstring(writer) + L" " + std::to_wstring(number) + L" ";
    for (unsigned left = numbers.Next(40); left > 0; --left)
    {
        const unsigned piece = numbers.Next(19);
        if (piece < 16)
        {
            text += Alphabet[piece];
            continue;
        }
        const auto& range = Outside[piece - 16];
        text += static_cast<wchar_t>(range[0] + numbers.Next(range[1] - range[0] + 1));
    }
    return text + L"|";
}

int Write(wchar_t** arguments)
{
    const auto writer = static_cast<unsigned>(std::wcstoul(arguments[1], nullptr, 10));
    const auto lines = static_cast<unsigned>(std::wcstoul(arguments[2], nullptr, 10));
    const std::uint64_t seed = std::wcstoull(arguments[3], nullptr, 10);
    LogFile& log = LogFile::Get(arguments[0], L"Load");
    // All have the log open before the first writes: whoever opened it later would trim it.
    const KernelHandle go(OpenEventW(SYNCHRONIZE, FALSE, L"Global\\LogWriterGo"));
    const KernelHandle ready(
        OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, L"Global\\LogWriterReady"));
    ReleaseSemaphore(ready.Get(), 1, nullptr);
    WaitForSingleObject(go.Get(), INFINITE);
    for (unsigned number = 0; number < lines; ++number)
    {
        log.Write(Line(writer, number, seed));
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

/// Makes the log so long that the next one to open it trims it.
void Fill(const std::wstring& directory)
{
    const FileHandle file(CreateFileW((directory + L"\\Load.log").c_str(), FILE_APPEND_DATA,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    std::string text;
    for (unsigned number = 0; text.size() <= 0x400000; ++number)
    {
        char line[80] = {};
        std::snprintf(line, sizeof line,
                      "[1/1/2024 1:00:00 AM] log-writer(PID1): old line %07u\r\n", number);
        text += line;
    }
    DWORD written = 0;
    WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

KernelHandle Start(const std::wstring& program, const std::wstring& arguments)
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
    return KernelHandle(made.hProcess);
}

void KillSome(const std::vector<KernelHandle>& writers, unsigned killed, unsigned milliseconds,
              std::mt19937& random)
{
    for (unsigned i = 0; i < killed; ++i)
    {
        Sleep(random() % (milliseconds / (killed + 1) + 1));
        TerminateProcess(writers[random() % writers.size()].Get(), 77);
    }
}

int StartAll(const std::wstring& program, wchar_t** arguments)
{
    const std::wstring directory = arguments[0];
    const unsigned count = static_cast<unsigned>(std::wcstoul(arguments[1], nullptr, 10));
    const std::wstring lines = arguments[2];
    const std::wstring seed = arguments[3];
    const unsigned killed = static_cast<unsigned>(std::wcstoul(arguments[4], nullptr, 10));
    const KernelHandle go(CreateEventW(nullptr, TRUE, FALSE, L"Global\\LogWriterGo"));
    const KernelHandle ready(
        CreateSemaphoreW(nullptr, 0, static_cast<LONG>(count) + 1, L"Global\\LogWriterReady"));
    std::vector<KernelHandle> writers;
    for (unsigned writer = 0; writer < count; ++writer)
    {
        writers.push_back(Start(program, L"--write \"" + directory + L"\" " +
                                             std::to_wstring(writer) + L" " + lines + L" " + seed));
    }
    for (unsigned writer = 0; writer < count; ++writer)
    {
        WaitForSingleObject(ready.Get(), INFINITE);
    }
    Fill(directory);
    SetEvent(go.Get());
    std::mt19937 random(static_cast<unsigned>(std::wcstoul(seed.c_str(), nullptr, 10)));
    const auto total = static_cast<unsigned>(std::wcstoul(lines.c_str(), nullptr, 10)) * count;
    KillSome(writers, killed / 2, total / 20, random);
    Sleep(total / 40);
    writers.push_back(Start(program, L"--trim \"" + directory + L"\" " + std::to_wstring(count) +
                                         L" 1 " + seed));
    KillSome(writers, killed - killed / 2, total / 20, random);
    for (std::size_t writer = 0; writer < writers.size(); ++writer)
    {
        WaitForSingleObject(writers[writer].Get(), INFINITE);
        DWORD code = 0;
        GetExitCodeProcess(writers[writer].Get(), &code);
        std::printf("%u %lu\n", static_cast<unsigned>(writer), code);
    }
    return 0;
}
} // namespace

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    if (count == 6 && std::wstring(arguments[1]) == L"--write")
    {
        return Write(arguments + 2);
    }
    if (count == 6 && std::wstring(arguments[1]) == L"--trim")
    {
        return Trim(arguments + 2);
    }
    wchar_t program[MAX_PATH] = {};
    if (count != 6 || GetModuleFileNameW(nullptr, program, MAX_PATH) == 0)
    {
        std::puts("usage: log-writer DIRECTORY WRITERS LINES SEED KILLED");
        return 2;
    }
    return StartAll(program, arguments + 1);
}
