#include "LogonEvents.h"

#include "WindowsHeaders.h"

namespace PalvoLab
{
namespace
{

// How the security log writes Yes and No: numbers of its message table.
constexpr wchar_t kYes[] = L"%%1842";
constexpr wchar_t kNo[] = L"%%1843";

Event WithTokenFields(Event event, bool isElevated, bool isVirtual)
{
    event.parameters.emplace_back(L"VirtualAccount", isVirtual ? kYes : kNo);
    event.parameters.emplace_back(L"ElevatedToken", isElevated ? kYes : kNo);
    return event;
}

} // namespace

std::vector<Event> LogonEvents(const User& user, std::uint32_t session, unsigned logonType,
                               bool isWindows10)
{
    const Event own = LogonEvent(user.name, ComputerName(), logonType);
    std::vector<Event> events;
    if (isWindows10)
    {
        events.push_back(WithTokenFields(
            LogonEvent(L"UMFD-" + std::to_wstring(session), L"Font Driver Host", kInteractiveLogon),
            false, true));
    }
    if (user.kind != UserKind::Standard)
    {
        events.push_back(isWindows10 ? WithTokenFields(own, true, false) : own);
    }
    if (user.kind != UserKind::FullAdmin)
    {
        events.push_back(isWindows10 ? WithTokenFields(own, false, false) : own);
    }
    return events;
}

bool IsWindows10()
{
    // Wine tells a process the version that was chosen when that process began; this asks for the
    // one that the next process will see.
    wchar_t version[16] = {};
    DWORD size = sizeof version - sizeof *version;
    const LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, L"Software\\Wine", L"Version",
                                        RRF_RT_REG_SZ, nullptr, version, &size);
    return status == ERROR_SUCCESS && std::wstring_view(version) == L"win10";
}

} // namespace PalvoLab
