#include "ProgramRun.h"

#include "Owners.h"
#include "TemporaryFolder.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace
{
/// The text that a pointer in another process leads to; empty when it leads nowhere.
std::wstring TextAt(HANDLE process, void* pointer, bool isWide)
{
    void* place = nullptr;
    std::wstring text;
    if (pointer == nullptr || !ReadProcessMemory(process, pointer, &place, sizeof place, nullptr) ||
        place == nullptr)
    {
        return text;
    }
    const SIZE_T width = isWide ? 2 : 1;
    for (auto* at = static_cast<char*>(place);; at += width)
    {
        wchar_t character = 0;
        if (!ReadProcessMemory(process, at, &character, width, nullptr) || character == 0)
        {
            return text;
        }
        text += character;
    }
}

std::string NameInUpperCase(const std::wstring& path)
{
    std::string name;
    for (const wchar_t c : path.substr(path.rfind(L'\\') + 1))
    {
        name += static_cast<char>(c >= L'a' && c <= L'z' ? c - L'a' + L'A' : c);
    }
    return name;
}

/// The DLLs of a process as its debugger hears of them.
class LoadedDlls
{
public:
    void Note(const DEBUG_EVENT& event, HANDLE process)
    {
        if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT)
        {
            const LOAD_DLL_DEBUG_INFO& loaded = event.u.LoadDll;
            const FileHandle file(loaded.hFile);
            names[loaded.lpBaseOfDll] =
                NameInUpperCase(TextAt(process, loaded.lpImageName, loaded.fUnicode != 0));
        }
        else if (event.dwDebugEventCode == UNLOAD_DLL_DEBUG_EVENT)
        {
            names.erase(event.u.UnloadDll.lpBaseOfDll);
        }
    }

    [[nodiscard]] std::set<std::string> Names() const
    {
        std::set<std::string> all;
        for (const auto& [base, name] : names)
        {
            all.insert(name);
        }
        return all;
    }

private:
    std::map<void*, std::string> names;
};

/// The exception of an event. A breakpoint is the system's own, anything else the program's.
std::optional<ExceptionReport> ExceptionOf(const DEBUG_EVENT& event)
{
    const EXCEPTION_RECORD& record = event.u.Exception.ExceptionRecord;
    if (event.dwDebugEventCode != EXCEPTION_DEBUG_EVENT ||
        record.ExceptionCode == DWORD(EXCEPTION_BREAKPOINT))
    {
        return std::nullopt;
    }
    const ULONG_PTR* first = record.ExceptionInformation;
    return ExceptionReport{record.ExceptionCode,
                           {first, first + record.NumberParameters},
                           event.u.Exception.dwFirstChance != 0};
}

/// Debugs the one process of this thread to its end, and notes its exit code and its last
/// exception.
void DebugToTheEnd(HANDLE process, LoadedDlls& dlls, ProgramRun& run)
{
    for (;;)
    {
        DEBUG_EVENT event = {};
        if (!WaitForDebugEvent(&event, INFINITE))
        {
            throw std::runtime_error("WaitForDebugEvent");
        }
        dlls.Note(event, process);
        if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT)
        {
            const FileHandle file(event.u.CreateProcessInfo.hFile);
        }
        const std::optional<ExceptionReport> exception = ExceptionOf(event);
        if (exception)
        {
            run.exception = exception;
        }
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId,
                           exception ? DBG_EXCEPTION_NOT_HANDLED : DBG_CONTINUE);
        if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT)
        {
            run.exitCode = event.u.ExitProcess.dwExitCode;
            return;
        }
    }
}
} // namespace

ProgramRun RunToItsEnd(const std::wstring& program, const std::wstring& arguments)
{
    const TemporaryFolder folder;
    const std::wstring outputPath = folder.Of(L"output.txt");
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    FileHandle output(CreateFileW(outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.Get();
    std::wstring commandLine = L"\"" + program + L"\" " + arguments;
    PROCESS_INFORMATION information = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                        DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr, &startup, &information))
    {
        throw std::runtime_error("CreateProcessW: error " + std::to_string(GetLastError()));
    }
    const KernelHandle process(information.hProcess);
    const KernelHandle thread(information.hThread);
    LoadedDlls dlls;
    ProgramRun run;
    DebugToTheEnd(process.Get(), dlls, run);
    run.modules = dlls.Names();
    output.Reset();
    run.output = FileBytes(outputPath);
    std::erase(run.output, '\r');
    return run;
}
