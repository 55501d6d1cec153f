#include "FindingKinds.h"
#include "Format.h"
#include "RegistryPaths.h"
#include "Rules.h"

namespace
{
constexpr std::size_t MostTypes = 12;

/// The name of a registry type; its number where it is none of the usual ones.
std::wstring TypeName(DWORD type)
{
    static constexpr const wchar_t* Names[MostTypes] = {
        L"REG_NONE",      L"REG_SZ",       L"REG_EXPAND_SZ", L"REG_BINARY",
        L"REG_DWORD",     L"REG_DWORD_BE", L"REG_LINK",      L"REG_MULTI_SZ",
        L"resource list", L"descriptor",   L"requirements",  L"REG_QWORD"};
    return type < MostTypes ? Names[type] : Format(L"type %lu", type);
}

void SayUnreadable(const ValueFact& value, const wchar_t* name, Report& report)
{
    if (value.IsUnreadable())
    {
        report.NotSeen(L"settings", Format(L"The value %s cannot be read: error %lu.",
                                           std::wstring(name), value.error));
    }
}
} // namespace

void JudgeSettings(const SettingsFacts& settings, Report& report)
{
    SayUnreadable(settings.runSwitch, RegistryPaths::RunSwitch, report);
    SayUnreadable(settings.position, RegistryPaths::ScanPosition, report);
    SayUnreadable(settings.prompt, L"PromptToAttachDebugger", report);
    if (settings.effectiveSwitch == 0)
    {
        report.Find(FindingKinds::RunSwitchOff,
                    Format(L"The value %s is 0.", std::wstring(RegistryPaths::RunSwitch)));
    }
    if (settings.runSwitch.IsThere() &&
        (settings.runSwitch.type != REG_DWORD || settings.runSwitch.bytes.size() != 4))
    {
        report.Find(FindingKinds::RunSwitchType,
                    Format(L"The value %s is %s of %u bytes, not a DWORD.",
                           std::wstring(RegistryPaths::RunSwitch),
                           TypeName(settings.runSwitch.type),
                           static_cast<unsigned>(settings.runSwitch.bytes.size())));
    }
    if (settings.position.IsThere() &&
        (settings.position.type != REG_QWORD || settings.position.bytes.size() != 8))
    {
        report.Find(FindingKinds::PositionType,
                    Format(L"The value %s is %s of %u bytes, not a QWORD.",
                           std::wstring(RegistryPaths::ScanPosition),
                           TypeName(settings.position.type),
                           static_cast<unsigned>(settings.position.bytes.size())));
    }
    if (settings.prompt.IsThere() && EqualsIgnoringCase(settings.prompt.Text(), L"always"))
    {
        report.Find(FindingKinds::PromptOn,
                    L"The debugger prompt of PalvoPrinterConfiguration is \"always\".");
    }
}
