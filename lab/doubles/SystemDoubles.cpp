// Doubles of what tells the program about the machine and its own process.
#include "DoubleTable.h"

#include "CallRecord.h"
#include "LabState.h"
#include "Owners.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

// What a Windows workstation reports.
constexpr DWORD kWorkstationSuite = VER_SUITE_TERMINAL | VER_SUITE_SINGLEUSERTS;

DWORD SuiteMask()
{
    const std::wstring suite = Setting(L"Suite");
    if (suite == L"smallbusiness")
    {
        return VER_SUITE_TERMINAL | VER_SUITE_SMALLBUSINESS;
    }
    if (suite == L"enterprise")
    {
        return VER_SUITE_TERMINAL | VER_SUITE_ENTERPRISE;
    }
    return kWorkstationSuite;
}

BOOL WINAPI DoubleVerifyVersionInfoW(LPOSVERSIONINFOEXW wanted, DWORD types, DWORDLONG conditions)
{
    Call call(L"VerifyVersionInfoW", types, conditions);
    if (types != VER_SUITENAME)
    {
        // The version itself is Wine's, as `palvo-lab set windows-version` told it.
        return call.Return(VerifyVersionInfoW(wanted, types, conditions));
    }
    // Three bits for each type, in the order of the types' bits; the suite's bit is the seventh.
    const auto condition = static_cast<BYTE>((conditions >> 18) & 7);
    const DWORD found = SuiteMask() & wanted->wSuiteMask;
    if (condition == VER_AND)
    {
        return found == wanted->wSuiteMask ? call.Return(TRUE) : call.Fail(ERROR_OLD_WIN_VERSION);
    }
    if (condition == VER_OR)
    {
        return found != 0 ? call.Return(TRUE) : call.Fail(ERROR_OLD_WIN_VERSION);
    }
    return call.Fail(ERROR_BAD_ARGUMENTS);
}

HMODULE WINAPI DoubleGetModuleHandleW(LPCWSTR name)
{
    // A process with managed code in it has the .NET runtime's loader.
    if (name != nullptr && EqualNoCase(name, L"mscoree.dll") && Setting(L"Managed") == L"on")
    {
        return GetModuleHandleW(L"kernel32.dll");
    }
    return GetModuleHandleW(name);
}

// The machine's time, as far behind as its clock was set back.
VOID WINAPI DoubleGetLocalTime(LPSYSTEMTIME time)
{
    constexpr std::uint64_t ticks = 10'000'000; // 100 ns units in a second
    const LastErrorKeeper keep;
    GetLocalTime(time);
    FILETIME local = {};
    SystemTimeToFileTime(time, &local);
    std::uint64_t value = std::uint64_t{local.dwHighDateTime} << 32 | local.dwLowDateTime;
    value -= SecondsSetBack() * ticks;
    local = {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
    FileTimeToSystemTime(&local, time);
}

} // namespace

void AddSystemDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "KERNEL32", VerifyVersionInfoW);
    PALVOLAB_DOUBLE(list, "KERNEL32", GetModuleHandleW);
    PALVOLAB_DOUBLE(list, "KERNEL32", GetLocalTime);
}

} // namespace PalvoLab
