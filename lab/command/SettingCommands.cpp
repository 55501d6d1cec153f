#include "Command.h"

#include "Accounts.h"
#include "CallRecord.h"
#include "EventChannel.h"
#include "FaultPlan.h"
#include "Hives.h"
#include "LabState.h"
#include "Text.h"

#include <map>
#include <set>

namespace PalvoLab
{
namespace
{

using Choices = std::set<std::wstring>;

// A switch that is a setting of the lab: its name there, and the values it takes. No choices: any
// text. "none", "auto" and "off" take it back.
struct Switch
{
    const wchar_t* name;
    const wchar_t* setting;
    Choices choices;
};

const std::vector<Switch>& Switches()
{
    static const std::vector<Switch> switches = {
        {L"lookup-fails", L"LookupFails", {L"on", L"off"}},
        {L"localised", L"Localised", {L"on", L"off"}},
        {L"managed", L"Managed", {L"on", L"off"}},
        {L"scheduler", L"Scheduler", {L"running", L"stopped", L"missing"}},
        {L"battery", L"Battery", {L"on", L"off"}},
        {L"suite", L"Suite", {L"none", L"smallbusiness", L"enterprise"}},
        {L"window-station", L"WindowStation", {L"auto", L"visible", L"hidden", L"none"}},
        {L"file-holder", L"FileHolder", {}},
        {L"message-queue", L"MessageQueue", {}},
        {L"message-limit", L"MessageLimit", {}},
        {L"message-response", L"MessageResponse", {}},
        {L"box-returns", L"BoxReturns", {}},
    };
    return switches;
}

bool IsDefault(const Switch& entry, const std::wstring& value)
{
    const bool station = std::wstring_view(entry.name) == L"window-station";
    return value == L"off" || value == L"auto" || (value == L"none" && !station);
}

void SetInRegistry(HKEY root, const wchar_t* path, const wchar_t* name,
                   const std::optional<std::wstring>& text, bool asNumber)
{
    const LabKey key = LabKey::Create(root, path);
    if (!text)
    {
        key.Remove(name);
    }
    else if (asNumber)
    {
        key.SetNumber(name, static_cast<std::uint32_t>(ParseNumber(*text).value_or(0)));
    }
    else
    {
        key.SetString(name, *text);
    }
}

bool SetChannel(const std::wstring& name, const std::wstring& value)
{
    const EventChannel channel = *EventChannel::Find(kPrintChannel);
    ChannelConfig config = channel.Config();
    const bool on = value == L"on";
    const bool isSwitch = on || value == L"off";
    const auto number = ParseNumber(value);
    if (name == L"channel-enabled" && isSwitch)
    {
        config.enabled = on;
    }
    else if (name == L"channel-retention" && isSwitch)
    {
        config.retention = on;
    }
    else if (name == L"channel-size" && number)
    {
        config.maxSize = *number;
    }
    else
    {
        return false;
    }
    channel.SaveConfig(config);
    return true;
}

// The hive of a user, or of the SID that is named itself.
std::wstring HiveOf(const std::wstring& name)
{
    const auto user = FindUser(name);
    return user ? user->sid : name;
}

int SetHive(const Arguments& arguments)
{
    const bool on = arguments.size() == 3 && arguments[2] == L"on";
    if (!on && (arguments.size() != 3 || arguments[2] != L"off"))
    {
        return Misused(L"set");
    }
    SetHiveReadOnly(HiveOf(arguments[1]), on);
    return kDone;
}

// An entry as another program makes it.
int SetBagValue(const Arguments& arguments)
{
    if (arguments.size() != 4)
    {
        return Misused(L"set");
    }
    const LabKey bag = LabKey::Create(HKEY_USERS, HiveOf(arguments[1]) + kBagPath);
    if (!bag)
    {
        return Complain(L"there is no such hive: " + arguments[1]);
    }
    bag.SetString(arguments[2], arguments[3]);
    return kDone;
}

// A value of any type, as whoever edits the registry may write it.
int SetMachineValue(const Arguments& arguments)
{
    static const std::map<std::wstring, DWORD> types = {
        {L"text", REG_SZ}, {L"binary", REG_BINARY}, {L"dword", REG_DWORD}, {L"qword", REG_QWORD}};
    const auto type = arguments.size() == 5 ? types.find(arguments[3]) : types.end();
    if (type == types.end())
    {
        return Misused(L"set");
    }
    const std::wstring& text = arguments[4];
    const std::uint64_t number = ParseNumber(text).value_or(0);
    const bool isText = type->second == REG_SZ;
    const void* data = isText ? static_cast<const void*>(text.c_str()) : &number;
    const std::size_t size = isText                      ? (text.size() + 1) * sizeof(wchar_t)
                             : type->second == REG_QWORD ? sizeof number
                                                         : sizeof(DWORD);
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, arguments[1].c_str(), arguments[2].c_str(),
                           type->second, data, static_cast<DWORD>(size)) == ERROR_SUCCESS
               ? kDone
               : kFailed;
}

} // namespace

int RunSet(const Arguments& arguments)
{
    const std::wstring name = arguments.empty() ? L"" : arguments[0];
    if (name == L"hive-readonly")
    {
        return SetHive(arguments);
    }
    if (name == L"machine-value")
    {
        return SetMachineValue(arguments);
    }
    if (name == L"bag-value")
    {
        return SetBagValue(arguments);
    }
    if (arguments.size() != 2)
    {
        return Misused(L"set");
    }
    const std::wstring& value = arguments[1];
    const auto wanted = value == L"none" ? std::nullopt : std::optional(value);
    if (name == L"machine-switch")
    {
        SetInRegistry(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Palvo\\PrinterDriver\\V6.0\\Options",
                      L"InstallAndRunEnhancedAutoConfigScheduledTasks", wanted, true);
        return kDone;
    }
    if (name == L"debugger-prompt")
    {
        SetInRegistry(HKEY_LOCAL_MACHINE,
                      L"Software\\Palvo\\PrinterDriver\\V6.0\\PromptToAttachDebugger",
                      L"PalvoPrinterConfiguration", wanted, false);
        return kDone;
    }
    if (name == L"windows-version")
    {
        static const Choices versions = {L"none", L"win7", L"win8", L"win81", L"win10"};
        if (versions.count(value) == 0)
        {
            return Misused(L"set");
        }
        SetInRegistry(HKEY_CURRENT_USER, L"Software\\Wine", L"Version", wanted, false);
        return kDone;
    }
    if (StartsWithNoCase(name, L"channel-"))
    {
        return SetChannel(name, value) ? kDone : Misused(L"set");
    }
    for (const Switch& entry : Switches())
    {
        if (name != entry.name)
        {
            continue;
        }
        if (!entry.choices.empty() && entry.choices.count(value) == 0)
        {
            return Misused(L"set");
        }
        if (IsDefault(entry, value))
        {
            RemoveSetting(entry.setting);
        }
        else
        {
            WriteSetting(entry.setting, value);
        }
        return kDone;
    }
    return Misused(L"set");
}

int RunFault(const Arguments& arguments)
{
    if (arguments.size() == 1 && arguments[0] == L"clear")
    {
        ClearFaults();
        return kDone;
    }
    const bool always = arguments.size() == 4 && arguments[3] == L"always";
    const bool once = arguments.size() == 3 || (arguments.size() == 4 && arguments[3] == L"once");
    const auto nth = arguments.size() > 2 ? ParseNumber(arguments[1]) : std::nullopt;
    if ((!always && !once) || !nth || *nth == 0)
    {
        return Misused(L"fault");
    }
    const std::string function(arguments[0].begin(), arguments[0].end());
    if (!ParseFault(function, arguments[2]))
    {
        return Complain(arguments[0] + L" cannot fail with '" + arguments[2] + L"'", kUsage);
    }
    AddFault({arguments[0], static_cast<std::uint32_t>(*nth), arguments[2], always});
    return kDone;
}

int RunRecord(const Arguments& arguments)
{
    static const Choices choices = {L"on", L"off", L"counts", L"memory"};
    if (arguments.empty() || choices.count(arguments[0]) == 0 ||
        (arguments.size() > 1 && arguments[0] != L"on"))
    {
        return Misused(L"record");
    }
    std::wstring only;
    for (std::size_t i = 1; i < arguments.size(); ++i)
    {
        only += (i == 1 ? L"" : L" ") + arguments[i];
    }
    WriteSetting(L"RecordOnly", only);
    WriteSetting(L"Record", arguments[0]);
    return kDone;
}

} // namespace PalvoLab
