#include "OtherProcess.h"

#include <cstring>
#include <stdexcept>
#include <vector>

// Last: it needs windows.h.
#include <psapi.h>

namespace
{
void Demand(bool succeeded, const char* what)
{
    if (!succeeded)
    {
        throw std::runtime_error(std::string(what) + ": error " + std::to_string(GetLastError()));
    }
}

/// What the code below is given.
struct CallRequest
{
    std::uint64_t slot;
    std::array<std::uint64_t, 4> arguments;
};

// Takes a CallRequest as a thread's one argument and makes the call.
constexpr std::array<BYTE, 35> CallingCode = {0x48, 0x83, 0xEC, 0x28,       // sub  rsp, 40
                                              0x48, 0x89, 0xC8,             // mov  rax, rcx
                                              0x48, 0x8B, 0x48, 0x08,       // mov  rcx, [rax+8]
                                              0x48, 0x8B, 0x50, 0x10,       // mov  rdx, [rax+16]
                                              0x4C, 0x8B, 0x40, 0x18,       // mov  r8, [rax+24]
                                              0x4C, 0x8B, 0x48, 0x20,       // mov  r9, [rax+32]
                                              0x48, 0x8B, 0x00,             // mov  rax, [rax]
                                              0xFF, 0x10,                   // call [rax]
                                              0x48, 0x83, 0xC4, 0x28, 0xC3, // add  rsp, 40; ret
                                              0xCC, 0xCC};

std::wstring PathOf(HANDLE process, HMODULE module)
{
    wchar_t path[MAX_PATH] = {};
    Demand(GetModuleFileNameExW(process, module, path, MAX_PATH) != 0, "GetModuleFileNameExW");
    return path;
}

std::vector<HMODULE> ModulesOf(HANDLE process)
{
    std::vector<HMODULE> modules(1024);
    DWORD size = 0;
    Demand(EnumProcessModules(process, modules.data(), DWORD(modules.size() * sizeof(HMODULE)),
                              &size) != FALSE,
           "EnumProcessModules");
    modules.resize(size / sizeof(HMODULE));
    return modules;
}
} // namespace

SuspendedProcess::SuspendedProcess(const std::wstring& path, const std::wstring& folder)
    : program(path)
{
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information = {};
    Demand(CreateProcessW(path.c_str(), nullptr, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                          folder.c_str(), &startup, &information) != FALSE,
           "CreateProcessW");
    process = KernelHandle(information.hProcess);
    thread = KernelHandle(information.hThread);
    // The first thread to run makes the process ready: the DLLs of its import table are loaded.
    const KernelHandle first(
        CreateRemoteThread(process.Get(), nullptr, 0,
                           reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(
                               GetProcAddress(GetModuleHandleW(L"kernel32"), "SetLastError"))),
                           nullptr, 0, nullptr));
    Demand(first.IsValid(), "CreateRemoteThread");
    WaitForSingleObject(first.Get(), INFINITE);
}

SuspendedProcess::Ending::~Ending()
{
    if (process.IsValid())
    {
        TerminateProcess(process.Get(), 0);
        WaitForSingleObject(process.Get(), INFINITE);
    }
}

std::uint64_t SuspendedProcess::Allocate(std::size_t size) const
{
    void* memory = VirtualAllocEx(process.Get(), nullptr, size, MEM_COMMIT | MEM_RESERVE,
                                  PAGE_EXECUTE_READWRITE);
    Demand(memory != nullptr, "VirtualAllocEx");
    return reinterpret_cast<std::uint64_t>(memory);
}

void SuspendedProcess::CallThrough(std::uint64_t slot,
                                   const std::array<std::uint64_t, 4>& arguments) const
{
    std::vector<BYTE> bytes(sizeof(CallRequest) + CallingCode.size());
    const CallRequest request = {slot, arguments};
    std::memcpy(bytes.data(), &request, sizeof request);
    std::memcpy(bytes.data() + sizeof request, CallingCode.data(), CallingCode.size());
    const std::uint64_t place = Allocate(bytes.size());
    Demand(WriteProcessMemory(process.Get(), reinterpret_cast<void*>(place), bytes.data(),
                              bytes.size(), nullptr) != FALSE,
           "WriteProcessMemory");
    const KernelHandle caller(CreateRemoteThread(
        process.Get(), nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(place + sizeof request),
        reinterpret_cast<void*>(place), 0, nullptr));
    Demand(caller.IsValid(), "CreateRemoteThread");
    const std::array<HANDLE, 2> ends = {caller.Get(), process.Get()};
    Demand(WaitForMultipleObjects(2, ends.data(), FALSE, INFINITE) == WAIT_OBJECT_0,
           "the process ended in the call");
}

std::uint64_t SuspendedProcess::ReadPointer(std::uint64_t address) const
{
    std::uint64_t value = 0;
    Demand(ReadProcessMemory(process.Get(), reinterpret_cast<void*>(address), &value, sizeof value,
                             nullptr) != FALSE,
           "ReadProcessMemory");
    return value;
}

std::uint64_t SuspendedProcess::ProgramBase() const
{
    for (const auto& [base, path] : Modules())
    {
        if (_wcsicmp(path.c_str(), program.c_str()) == 0)
        {
            return base;
        }
    }
    throw std::runtime_error("the program is not in its own process");
}

std::map<std::uint64_t, std::wstring> SuspendedProcess::Modules() const
{
    std::map<std::uint64_t, std::wstring> paths;
    for (const HMODULE module : ModulesOf(process.Get()))
    {
        paths[reinterpret_cast<std::uint64_t>(module)] = PathOf(process.Get(), module);
    }
    return paths;
}

std::wstring SuspendedProcess::ModuleOf(std::uint64_t address) const
{
    for (const HMODULE module : ModulesOf(process.Get()))
    {
        MODULEINFO information = {};
        Demand(GetModuleInformation(process.Get(), module, &information, sizeof information) !=
                   FALSE,
               "GetModuleInformation");
        const auto base = reinterpret_cast<std::uint64_t>(module);
        if (address >= base && address - base < information.SizeOfImage)
        {
            return PathOf(process.Get(), module);
        }
    }
    return {};
}
