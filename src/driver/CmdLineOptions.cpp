#include "CmdLineOptions.h"

#include "LogFile.h"

#include <array>
#include <cstddef>

namespace
{
constexpr std::array ModeNames = {
    L"InvalidArgumentList",
    L"NoCmdLineOption",
    L"NewOrChangedEvent",
    L"PeriodicRefreshEvent",
    L"OnDemandAutoConfigRefresh",
    L"DisplayHelp",
    L"DeleteLogFile",
    L"InstallScheduledTask",
    L"UninstallScheduledTask",
    L"AddPrinterDriverInstance",
};
constexpr std::array NgenNames = {L"NoNgen", L"InstallNgen", L"UninstallNgen"};
constexpr std::array WarmupNames = {L"NoWarmup", L"Warmup"};
constexpr std::array EventTypeNames = {
    L"NotNewOrChangedEvent", L"NormalNewOrChangedEvent", L"NewOrChangedTask",
    L"XmlConfigEvent",       L"UserLogonEvent",
};

template <class Enumeration, std::size_t Count>
std::wstring NameOf(Enumeration value, const std::array<const wchar_t*, Count>& names,
                    WideFormat<std::uint32_t> errorFormat, LogFile& log)
{
    const auto number = static_cast<std::uint32_t>(value);
    if (number >= Count)
    {
        log.Write(Format<std::uint32_t>(errorFormat, number));
        return {};
    }
    return names[number];
}
} // namespace

std::wstring DisplayName(CmdLineOptionsEnum mode, LogFile& log)
{
    return NameOf(mode, ModeNames, L"ERROR: Unhandled CmdLineOptionsEnum value: %u", log);
}

std::wstring DisplayName(NgenOptionEnum ngen, LogFile& log)
{
    return NameOf(ngen, NgenNames, L"ERROR: Unhandled NgenOptionEnum value: %u", log);
}

std::wstring DisplayName(WarmupOptionEnum warmup, LogFile& log)
{
    return NameOf(warmup, WarmupNames, L"ERROR: Unhandled WarmupOptionEnum value: %u", log);
}

std::wstring DisplayName(NewOrChangedEventTypeEnum eventType, LogFile& log)
{
    return NameOf(eventType, EventTypeNames,
                  L"ERROR: Unhandled NewOrChangedEventTypeEnum value: %u", log);
}
