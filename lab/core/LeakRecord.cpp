#include "LeakRecord.h"

#include "LabState.h"
#include "Owners.h"
#include "Text.h"

#include <map>
#include <utility>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kLeakFile[] = L"leaks.log";

SRWLOCK tableLock = SRWLOCK_INIT;

class TableGuard
{
public:
    TableGuard() { AcquireSRWLockExclusive(&tableLock); }

    TableGuard(const TableGuard&) = delete;
    TableGuard& operator=(const TableGuard&) = delete;

    ~TableGuard() { ReleaseSRWLockExclusive(&tableLock); }

private:
    LastErrorKeeper m_keep;
};

using Key = std::pair<std::wstring, const void*>;

std::map<Key, std::wstring>& Table()
{
    // Never destroyed: it is read when the process ends, after other destructors.
    static auto* table = new std::map<Key, std::wstring>;
    return *table;
}

std::vector<std::wstring>& Misuses()
{
    static auto* misuses = new std::vector<std::wstring>;
    return *misuses;
}

} // namespace

void CountOpened(const wchar_t* kind, const void* value, const std::wstring& detail)
{
    const TableGuard guard;
    Table()[{kind, value}] = detail;
}

bool CountClosed(const wchar_t* kind, const void* value)
{
    const TableGuard guard;
    if (Table().erase({kind, value}) == 0)
    {
        Misuses().push_back(std::wstring(kind) + L" closed that is not open");
        return false;
    }
    return true;
}

bool IsOpen(const wchar_t* kind, const void* value)
{
    const TableGuard guard;
    return Table().count({kind, value}) != 0;
}

std::wstring DetailOf(const wchar_t* kind, const void* value)
{
    const TableGuard guard;
    const auto entry = Table().find({kind, value});
    return entry == Table().end() ? L"" : entry->second;
}

void CountMisuse(const wchar_t* kind, const std::wstring& detail)
{
    const TableGuard guard;
    Misuses().push_back(std::wstring(kind) + L" " + detail);
}

void WriteLeaks(bool impersonating)
{
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring program = path.data();
    const std::wstring head = std::to_wstring(GetCurrentProcessId()) + L" " +
                              program.substr(program.rfind(L'\\') + 1) + L" ";
    if (impersonating)
    {
        AppendLine(kLeakFile, ToLine(head + L"leak impersonation"));
    }
    for (const auto& [key, detail] : Table())
    {
        AppendLine(kLeakFile, ToLine(head + L"leak " + key.first + L" " + detail));
    }
    for (const std::wstring& misuse : Misuses())
    {
        AppendLine(kLeakFile, ToLine(head + L"misuse " + misuse));
    }
}

std::vector<std::string> LeakLines()
{
    return ReadLines(kLeakFile);
}

} // namespace PalvoLab
