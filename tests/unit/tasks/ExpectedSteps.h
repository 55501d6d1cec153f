#pragma once

#include <string>
#include <vector>

/// One call of a sequence, as the double journals it, and what is printed when it fails: the text
/// before the HRESULT. No text: the failure is passed over.
struct ExpectedStep
{
    std::wstring call;
    std::string failure;
};
using ExpectedSteps = std::vector<ExpectedStep>;

inline const std::wstring ProgramPath = L"C:\\Program Files\\Palvo\\PalvoPrinterConfiguration.exe";
inline const std::wstring Arguments = L"-x -i SomeTask";

inline const std::wstring NewOrChangedQuery =
    L"<QueryList><Query Id=\"0\" Path=\"Microsoft-Windows-PrintService/Operational\"><Select "
    L"Path=\"Microsoft-Windows-PrintService/Operational\">*[System[Provider[@Name='Microsoft-"
    L"Windows-PrintService'] and (EventID=300 or EventID=306)]]</Select></Query></QueryList>";
inline const std::wstring LogonQuery =
    L"<QueryList><Query Id=\"0\" Path=\"Security\"><Select Path=\"Security\">*[System[(EventID="
    L"4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or *[EventData[Data[@Name='LogonType'"
    L"]='2']])</Select></Query></QueryList>";
inline const std::wstring LogonQueryWindows10 =
    L"<QueryList><Query Id=\"0\" Path=\"Security\"><Select Path=\"Security\">*[System[(EventID="
    L"4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or *[EventData[Data[@Name='LogonType'"
    L"]='2']]) and *[EventData[Data[@Name='ElevatedToken']='%%1843']] and *[EventData[Data[@Name='"
    L"VirtualAccount']='%%1843']]</Select></Query></QueryList>";

/// Each kind's name, and some numbers that are no kind.
struct KindName
{
    unsigned kind;
    std::wstring name;
};
inline const std::vector<KindName> KindNames = {
    {0, L"Palvo PalvoOrvela Printer Configuration - Periodic Refresh"},
    {1, L"Palvo PalvoOrvela Printer Configuration - New or Changed"},
    {2, L"Palvo Orvela 7.0 Job Management - Job Start"},
    {3, L"Palvo PalvoOrvela Printer Configuration - User Logon"},
    {4, L"Unknown"},
    {0xFFFFFFFF, L"Unknown"},
};

/// The steps of installing a task of one kind with ProgramPath and Arguments. `logonQuery` is what
/// the logon trigger gets, `startBoundary` what the daily trigger gets.
ExpectedSteps InstallSteps(const KindName& kind, const std::wstring& logonQuery,
                           const std::wstring& startBoundary);

/// The steps of deleting the task `name`.
ExpectedSteps DeleteSteps(const std::wstring& name);
