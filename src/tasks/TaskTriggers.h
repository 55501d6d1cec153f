#pragma once

#include <string>

// What starts the tasks.

namespace TaskTriggers
{
/// Event subscription: the print service added or changed a printer.
inline constexpr wchar_t NewOrChangedSubscription[] =
    L"<QueryList><Query Id=\"0\" Path=\"Microsoft-Windows-PrintService/Operational\">"
    L"<Select Path=\"Microsoft-Windows-PrintService/Operational\">"
    L"*[System[Provider[@Name='Microsoft-Windows-PrintService'] and "
    L"(EventID=300 or EventID=306)]]</Select></Query></QueryList>";

/// Event subscription: a user logged on, locally (type 2) or remotely (type 10).
inline constexpr wchar_t UserLogonSubscription[] =
    L"<QueryList><Query Id=\"0\" Path=\"Security\"><Select Path=\"Security\">"
    L"*[System[(EventID=4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or "
    L"*[EventData[Data[@Name='LogonType']='2']])</Select></Query></QueryList>";

/// The same for Windows 10 and later, without elevated tokens and virtual accounts. "%%1843" is the
/// Security log's "No".
inline constexpr wchar_t UserLogonSubscriptionWindows10[] =
    L"<QueryList><Query Id=\"0\" Path=\"Security\"><Select Path=\"Security\">"
    L"*[System[(EventID=4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or "
    L"*[EventData[Data[@Name='LogonType']='2']]) and "
    L"*[EventData[Data[@Name='ElevatedToken']='%%1843']] and "
    L"*[EventData[Data[@Name='VirtualAccount']='%%1843']]</Select></Query></QueryList>";

/// When the daily refresh starts: between 00:00 and 03:50 in steps of ten minutes, so that a
/// fleet's machines do not start all at once. The same seed gives the same time.
std::wstring StartBoundary(unsigned seed);
} // namespace TaskTriggers
