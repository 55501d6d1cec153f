#include "Launch.h"

#include "Accounts.h"
#include "NewProcess.h"

#include <tlhelp32.h>

#include <vector>

namespace PalvoLab
{
namespace
{

// Sets environment variables for as long as a child is being made, which inherits them.
class TemporaryEnvironment
{
public:
    void Set(const std::wstring& name, const std::wstring& value)
    {
        std::vector<wchar_t> before(32768);
        const DWORD length = GetEnvironmentVariableW(name.c_str(), before.data(), 32768);
        const bool existed = length != 0 || GetLastError() != ERROR_ENVVAR_NOT_FOUND;
        m_before.push_back({name, std::wstring(before.data(), length), existed});
        SetEnvironmentVariableW(name.c_str(), value.c_str());
    }

    TemporaryEnvironment() = default;
    TemporaryEnvironment(const TemporaryEnvironment&) = delete;
    TemporaryEnvironment& operator=(const TemporaryEnvironment&) = delete;

    ~TemporaryEnvironment()
    {
        for (const Variable& variable : m_before)
        {
            SetEnvironmentVariableW(variable.name.c_str(),
                                    variable.existed ? variable.value.c_str() : nullptr);
        }
    }

private:
    struct Variable
    {
        std::wstring name;
        std::wstring value;
        bool existed;
    };

    std::vector<Variable> m_before;
};

} // namespace

// Loads the DLL through a thread of the new process. The thread is the first to run there, so it
// initialises the process, loads what the program imports, and then the lab; the program's own
// thread is still suspended.
bool Inject(HANDLE process, const std::wstring& dll)
{
    const SIZE_T size = (dll.size() + 1) * sizeof(wchar_t);
    void* remote = VirtualAllocEx(process, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (remote == nullptr || !WriteProcessMemory(process, remote, dll.c_str(), size, nullptr))
    {
        return false;
    }
    const auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "LoadLibraryW")));
    const KernelHandle thread(CreateRemoteThread(process, nullptr, 0, load, remote, 0, nullptr));
    DWORD loaded = 0;
    const bool ok = thread && WaitForSingleObject(thread.Get(), INFINITE) == WAIT_OBJECT_0 &&
                    GetExitCodeThread(thread.Get(), &loaded) && loaded != 0;
    VirtualFreeEx(process, remote, 0, MEM_RELEASE);
    if (!ok)
    {
        SetLastError(ERROR_DLL_INIT_FAILED);
    }
    return ok;
}

Launched::Launched(KernelHandle process, KernelHandle thread, DWORD id)
    : m_process(std::move(process)), m_thread(std::move(thread)), m_id(id)
{
}

void Launched::Start() const
{
    ResumeThread(m_thread.Get());
}

std::optional<DWORD> Launched::Wait(DWORD milliseconds) const
{
    if (WaitForSingleObject(m_process.Get(), milliseconds) != WAIT_OBJECT_0)
    {
        TerminateProcess(m_process.Get(), 1);
        return std::nullopt;
    }
    DWORD code = 0;
    GetExitCodeProcess(m_process.Get(), &code);
    return code;
}

DWORD Launched::Id() const
{
    return m_id;
}

std::optional<Launched> Launch(const LaunchRequest& request)
{
    TemporaryEnvironment environment;
    environment.Set(kAccountVariable, request.account.empty() ? CurrentAccount() : request.account);
    for (const auto& [name, value] : request.environment)
    {
        environment.Set(name, value);
    }

    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput =
        request.output == nullptr ? GetStdHandle(STD_OUTPUT_HANDLE) : request.output;
    startup.hStdError = request.ownErrors ? GetStdHandle(STD_ERROR_HANDLE) : startup.hStdOutput;
    PROCESS_INFORMATION made = {};
    std::wstring commandLine = request.commandLine;
    if (!CreateProcessUnderWine(request.program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                CREATE_SUSPENDED, nullptr, nullptr, &startup, &made))
    {
        return std::nullopt;
    }
    Launched launched(KernelHandle(made.hProcess), KernelHandle(made.hThread), made.dwProcessId);
    if (!Inject(made.hProcess, LabDll()))
    {
        const DWORD error = GetLastError();
        TerminateProcess(made.hProcess, error);
        SetLastError(error);
        return std::nullopt;
    }
    return launched;
}

bool ResumeSuspended(DWORD processId)
{
    // Another process's thread is found among all of the machine's.
    const FileHandle threads(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    bool resumed = false;
    for (BOOL more = Thread32First(threads.Get(), &entry); more;
         more = Thread32Next(threads.Get(), &entry))
    {
        if (entry.th32OwnerProcessID == processId)
        {
            const KernelHandle thread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, entry.th32ThreadID));
            // How often it was suspended before.
            const DWORD count = thread ? ResumeThread(thread.Get()) : 0;
            resumed = resumed || (count != 0 && count != static_cast<DWORD>(-1));
        }
    }
    return resumed;
}

std::wstring LabDll()
{
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring program = path.data();
    return program.substr(0, program.rfind(L'\\') + 1) + L"palvolab.dll";
}

std::wstring QuoteArgument(const std::wstring& argument)
{
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos)
    {
        return argument;
    }
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument)
    {
        if (c == L'\\')
        {
            ++backslashes;
            continue;
        }
        // Backslashes count double in front of a quote only.
        quoted.append(c == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
        backslashes = 0;
        quoted += c;
    }
    quoted.append(backslashes * 2, L'\\');
    return quoted + L"\"";
}

} // namespace PalvoLab
