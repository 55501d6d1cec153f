#include "MethodFaults.h"

#include "CallRecord.h"
#include "FaultPlan.h"
#include "Text.h"

#include <cwchar>
#include <iterator>

namespace PalvoLab
{
namespace
{

// Shared memory that this process alone knows. Its first opener never closes it, so it lasts as
// long as the process, whatever becomes of this DLL.
struct Counts
{
    struct Method
    {
        wchar_t name[96];
        std::uint32_t calls;
    };

    Method methods[256];
};

HANDLE countMapping = nullptr;
Counts* counts = nullptr;
bool isFirstOpener = false;
SRWLOCK countLock = SRWLOCK_INIT;

void OpenCounts()
{
    const std::wstring name =
        L"Local\\PalvoLabMethodCalls-" + std::to_wstring(GetCurrentProcessId());
    countMapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                      sizeof(Counts), name.c_str());
    isFirstOpener = GetLastError() != ERROR_ALREADY_EXISTS;
    counts = static_cast<Counts*>(MapViewOfFile(countMapping, FILE_MAP_WRITE, 0, 0, 0));
}

std::uint32_t CountCall(const std::wstring& method)
{
    AcquireSRWLockExclusive(&countLock);
    if (counts == nullptr)
    {
        OpenCounts();
    }
    std::uint32_t calls = 0;
    for (Counts::Method& entry : counts->methods)
    {
        if (entry.name[0] == L'\0')
        {
            wcsncpy(entry.name, method.c_str(), std::size(entry.name) - 1);
        }
        if (method == entry.name)
        {
            calls = ++entry.calls;
            break;
        }
    }
    ReleaseSRWLockExclusive(&countLock);
    return calls;
}

const std::vector<Fault>& Faults()
{
    static const std::vector<Fault> faults = LoadFaults();
    return faults;
}

} // namespace

std::optional<HRESULT> PlannedFault(const std::wstring& method)
{
    const std::uint32_t calls = CountCall(method);
    for (const Fault& fault : Faults())
    {
        if (fault.function != method ||
            (calls != fault.nth && (!fault.always || calls < fault.nth)))
        {
            continue;
        }
        RecordCall(method + L" call " + std::to_wstring(calls) + L" fault " + fault.error);
        const auto action = ParseFault(ToLine(method), fault.error);
        if (action && action->kill)
        {
            TerminateProcess(GetCurrentProcess(), kKilled);
        }
        if (action)
        {
            return static_cast<HRESULT>(static_cast<std::uint32_t>(action->result));
        }
    }
    return std::nullopt;
}

std::vector<std::string> MethodCountLines()
{
    AcquireSRWLockExclusive(&countLock);
    if (counts == nullptr)
    {
        OpenCounts();
    }
    std::vector<std::string> lines;
    for (const Counts::Method& entry : counts->methods)
    {
        if (entry.name[0] != L'\0')
        {
            lines.push_back(std::to_string(GetCurrentProcessId()) + " " + ToLine(entry.name) + " " +
                            std::to_string(entry.calls));
        }
    }
    ReleaseSRWLockExclusive(&countLock);
    return lines;
}

void LeaveMethodCounts()
{
    if (counts != nullptr)
    {
        UnmapViewOfFile(counts);
        counts = nullptr;
    }
    if (countMapping != nullptr && !isFirstOpener)
    {
        CloseHandle(countMapping);
    }
    countMapping = nullptr;
}

} // namespace PalvoLab
