#include "LateLoading.h"

#include <delayimp.h>

#include <algorithm>
#include <array>
#include <cstring>

// NOLINTNEXTLINE(bugprone-reserved-identifier, readability-identifier-naming): the linker's name
extern "C" IMAGE_DOS_HEADER __ImageBase; // where the program begins

namespace
{
/// Limits the search for DLLs of this process to the system folder, for DLLs that load others too.
/// False on Windows Vista and 7 without the update that brought this.
bool NarrowDllSearch() noexcept
{
    using SetDirectories = BOOL(WINAPI*)(DWORD);
    const auto setDirectories = reinterpret_cast<SetDirectories>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"KERNEL32"), "SetDefaultDllDirectories")));
    return setDirectories != nullptr && setDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
}

HMODULE LoadFromSystemFolder(const char* dll, DWORD flags) noexcept
{
    std::array<char, MAX_PATH> path = {};
    const std::size_t folder = GetSystemDirectoryA(path.data(), static_cast<UINT>(path.size()));
    const std::size_t name = std::strlen(dll);
    if (folder == 0 || folder + 1 + name >= path.size())
    {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    path[folder] = '\\';
    std::memcpy(path.data() + folder + 1, dll, name + 1);
    return LoadLibraryExA(path.data(), nullptr, flags);
}

// How the delay-loaded functions fail. Those that are in neither list fail with null or FALSE, or
// return nothing.

constexpr std::array ReturnResultCodes = {"CoCreateInstance",
                                          "CoInitializeEx",
                                          "CoInitializeSecurity",
                                          "CoSetProxyBlanket",
                                          "InstallPrinterDriverFromPackageW",
                                          "SHGetKnownFolderPath",
                                          "VariantChangeType",
                                          "VariantClear"};

// Restart Manager's, which the doctor calls: null is their success.
constexpr std::array ReturnErrors = {"RmEndSession", "RmGetList", "RmRegisterResources",
                                     "RmStartSession"};

template <class Names> bool Contains(const Names& names, const char* function) noexcept
{
    return std::ranges::any_of(names, [function](const char* name)
                               { return std::strcmp(function, name) == 0; });
}

// In 64-bit code the caller removes the arguments, and a result is always in the same register:
// these can replace any function.

template <DWORD Error> INT_PTR WINAPI FailWithNull() noexcept
{
    SetLastError(Error);
    return 0;
}

template <DWORD Error> INT_PTR WINAPI FailWithError() noexcept
{
    return Error;
}

template <DWORD Error> INT_PTR WINAPI FailWithResultCode() noexcept
{
    return HRESULT_FROM_WIN32(Error);
}

template <DWORD Error> FARPROC FailingFunctionFor(const char* function) noexcept
{
    if (Contains(ReturnResultCodes, function))
    {
        return &FailWithResultCode<Error>;
    }
    return Contains(ReturnErrors, function) ? &FailWithError<Error> : &FailWithNull<Error>;
}

/// Visual C++ imports the functions of OLEAUT32 by ordinal. These are the two that return an
/// HRESULT.
const char* NameOf(const DelayLoadProc& function) noexcept
{
    if (function.fImportByName)
    {
        return function.szProcName;
    }
    switch (function.dwOrdinal)
    {
    case 9:
        return "VariantClear";
    case 12:
        return "VariantChangeType";
    default:
        return "";
    }
}

/// Called by the linker's delay-load helper at every stage of a first call; null lets it go on.
/// Used for both hooks.
FARPROC WINAPI ObserveFirstCall(unsigned stage, DelayLoadInfo* call) noexcept
{
    auto* const thisProgram = reinterpret_cast<HMODULE>(&__ImageBase);
    if (stage == dliNotePreLoadLibrary)
    {
        // With null the helper would search the program's folder. The program's own module exports
        // nothing, so as a replacement it has no function.
        const HMODULE dll = LoadSystemDll(call->szDll);
        return reinterpret_cast<FARPROC>(dll == nullptr ? thisProgram : dll);
    }
    if (stage == dliFailGetProc)
    {
        return FailingFunction(NameOf(call->dlp), call->hmodCur == thisProgram
                                                      ? ERROR_MOD_NOT_FOUND
                                                      : ERROR_PROC_NOT_FOUND);
    }
    return nullptr;
}
} // namespace

// Whether they are constants differs between compilers.
// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming): the helper's names
extern "C"
{
    decltype(__pfnDliNotifyHook2) __pfnDliNotifyHook2 = &ObserveFirstCall;
    decltype(__pfnDliFailureHook2) __pfnDliFailureHook2 = &ObserveFirstCall;
}
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)

HMODULE LoadSystemDll(const char* dll) noexcept
{
    // The flags are for the DLLs that this one needs: they are looked for in the system's folder
    // alone, or, where Windows knows no such search, in this one's folder first.
    return LoadFromSystemFolder(dll, NarrowDllSearch() ? LOAD_LIBRARY_SEARCH_SYSTEM32
                                                       : LOAD_WITH_ALTERED_SEARCH_PATH);
}

FARPROC FailingFunction(const char* function, DWORD error) noexcept
{
    return error == ERROR_MOD_NOT_FOUND ? FailingFunctionFor<ERROR_MOD_NOT_FOUND>(function)
                                        : FailingFunctionFor<ERROR_PROC_NOT_FOUND>(function);
}
