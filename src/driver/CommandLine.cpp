#include "CommandLine.h"

#include "LogFile.h"
#include "Text.h"

#include <array>

namespace
{
struct ModeSwitch
{
    const wchar_t* key;
    CmdLineOptionsEnum mode;
};

constexpr std::array ModeSwitches = {
    ModeSwitch{L"c", CmdLineOptionsEnum::NewOrChangedEvent},
    ModeSwitch{L"r", CmdLineOptionsEnum::PeriodicRefreshEvent},
    ModeSwitch{L"?", CmdLineOptionsEnum::DisplayHelp},
    ModeSwitch{L"DL", CmdLineOptionsEnum::DeleteLogFile},
    ModeSwitch{L"IT", CmdLineOptionsEnum::InstallScheduledTask},
    ModeSwitch{L"UT", CmdLineOptionsEnum::UninstallScheduledTask},
};

struct Invoker
{
    const wchar_t* name;
    NewOrChangedEventTypeEnum eventType;
};

/// Who is known to start the program for new and changed printers.
constexpr std::array Invokers = {
    Invoker{L"UserLogonTask", NewOrChangedEventTypeEnum::UserLogonEvent},
    Invoker{L"POJEMService", NewOrChangedEventTypeEnum::XmlConfigEvent},
    Invoker{L"NewOrChangedTask", NewOrChangedEventTypeEnum::NewOrChangedTask},
};

NewOrChangedEventTypeEnum ClassifyInvoker(const std::wstring& invoker)
{
    for (const Invoker& known : Invokers)
    {
        if (EqualsIgnoringCase(invoker, known.name))
        {
            return known.eventType;
        }
    }
    return NewOrChangedEventTypeEnum::NormalNewOrChangedEvent;
}

/// The walk over the arguments.
class Parser
{
public:
    Parser(int argumentCount, const wchar_t* const* argumentVector, LogFile& logFile,
           std::wstring& invokerString)
        : count(argumentCount), arguments(argumentVector), log(logFile), invoker(invokerString)
    {
        invoker.clear();
    }

    CmdLineOptions Parse()
    {
        Walk();
        ChooseDefaultMode();
        ResolveConflict();
        LogCall();
        LogResolution();
        return options;
    }

private:
    void Walk()
    {
        auto eventType = NewOrChangedEventTypeEnum::NormalNewOrChangedEvent;
        for (int index = 1; index < count; ++index)
        {
            const std::wstring argument = arguments[index];
            if (!argument.starts_with(L'-') && !argument.starts_with(L'/'))
            {
                continue; // stray words pass
            }
            const std::wstring key = argument.substr(1);
            if (EqualsIgnoringCase(key, L"i"))
            {
                TakeInvoker(index);
                eventType = ClassifyInvoker(invoker);
                continue;
            }
            switches += (switches.empty() ? L"" : L" ") + argument;
            if (!ApplySwitch(key))
            {
                log.WriteFormat(L"ERROR: Unrecognized argument: %s!", key);
                options.mode = CmdLineOptionsEnum::InvalidArgumentList;
                return;
            }
        }
        if (options.mode == CmdLineOptionsEnum::NewOrChangedEvent)
        {
            options.eventType = eventType;
        }
    }

    /// The argument after -i, without its quotes. At the end of the line the invoker stays as it
    /// is.
    void TakeInvoker(int& index)
    {
        if (index + 1 < count)
        {
            invoker = arguments[++index];
            std::erase(invoker, L'"');
        }
    }

    bool ApplySwitch(const std::wstring& key)
    {
        for (const ModeSwitch& known : ModeSwitches)
        {
            if (EqualsIgnoringCase(key, known.key))
            {
                options.mode = known.mode;
                return true;
            }
        }
        if (EqualsIgnoringCase(key, L"IN"))
        {
            options.ngen = NgenOptionEnum::InstallNgen;
        }
        else if (EqualsIgnoringCase(key, L"UN"))
        {
            options.ngen = NgenOptionEnum::UninstallNgen;
        }
        else if (EqualsIgnoringCase(key, L"w"))
        {
            options.warmup = WarmupOptionEnum::Warmup;
        }
        else if (EqualsIgnoringCase(key, L"APDI") && count == 4)
        {
            options.mode = CmdLineOptionsEnum::AddPrinterDriverInstance;
        }
        else
        {
            return false;
        }
        return true;
    }

    void ChooseDefaultMode()
    {
        if (options.mode == CmdLineOptionsEnum::NoCmdLineOption &&
            options.ngen == NgenOptionEnum::NoNgen && options.warmup == WarmupOptionEnum::NoWarmup)
        {
            options.mode = CmdLineOptionsEnum::OnDemandAutoConfigRefresh;
        }
    }

    void ResolveConflict()
    {
        if (options.ngen == NgenOptionEnum::UninstallNgen &&
            options.warmup == WarmupOptionEnum::Warmup)
        {
            log.Write(L"ERROR: Can't specify -w with -UN. Ignoring -w.");
            options.warmup = WarmupOptionEnum::NoWarmup;
        }
    }

    void LogCall()
    {
        if (count < 2)
        {
            log.Write(L"# Called with no arguments");
        }
        else if (invoker.empty())
        {
            log.WriteFormat(L"# Called with %d argument(s): %s", count - 1, switches);
        }
        else
        {
            log.WriteFormat(L"# Called with %d argument(s): %s -i %s", count - 1, switches,
                            invoker);
        }
    }

    void LogResolution()
    {
        const std::wstring ngen = DisplayName(options.ngen, log);
        const std::wstring warmup = DisplayName(options.warmup, log);
        const std::wstring mode = DisplayName(options.mode, log);
        const std::wstring eventType = DisplayName(options.eventType, log);
        log.WriteFormat(L"#\tResolved Args: %s, %s, %s, %s, -i %s", ngen, warmup, mode, eventType,
                        invoker);
    }

    int count;
    const wchar_t* const* arguments;
    LogFile& log;
    std::wstring& invoker;
    std::wstring switches;
    CmdLineOptions options;
};
} // namespace

CmdLineOptions ParseCommandLine(int argumentCount, const wchar_t* const* arguments, LogFile& log,
                                std::wstring& invoker)
{
    return Parser(argumentCount, arguments, log, invoker).Parse();
}

std::wstring UsageText()
{
    return L"\nPalvoPrinterConfiguration - Palvo Corporation\n"
           L"\n"
           L"\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n"
           L"\n"
           L"\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later.";
}
