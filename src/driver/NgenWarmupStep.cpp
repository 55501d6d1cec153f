#include "NgenWarmupStep.h"

#include "LogFile.h"
#include "WindowsVersion.h"
#include "WriterLaunch.h"

namespace
{
void DropWarmupOnPrintServer(Run& run)
{
    if (run.options.warmup != WarmupOptionEnum::Warmup)
    {
        return;
    }
    if (IsPrintServer())
    {
        run.log.Write(
            L"# Ignoring request to warmup the Desktop Orvela because we are running on a "
            L"print server");
        run.options.warmup = WarmupOptionEnum::NoWarmup;
    }
    else
    {
        run.log.Write(L"# Will execute warmup of the Desktop Orvela (-w)");
    }
}

/// The writer's arguments, each with a blank before it.
std::wstring BackgroundArguments(const Run& run)
{
    std::wstring arguments;
    if (run.options.ngen == NgenOptionEnum::InstallNgen)
    {
        run.log.Write(L"# Will execute NGEN of Desktop Orvela and related apps (-IN)");
        arguments += L" -IN";
    }
    else if (run.options.ngen == NgenOptionEnum::UninstallNgen)
    {
        run.log.Write(L"# Will removing NGEN-generated Native Images of the Desktop Orvela and "
                      L"related apps (-UN)");
        arguments += L" -UN";
    }
    if (run.options.warmup == WarmupOptionEnum::Warmup)
    {
        arguments += L" -w";
    }
    return arguments;
}
} // namespace

void RunNgenWarmupStep(Run& run)
{
    DropWarmupOnPrintServer(run);
    if (run.options.ngen == NgenOptionEnum::NoNgen &&
        run.options.warmup == WarmupOptionEnum::NoWarmup)
    {
        return;
    }
    const std::wstring arguments = BackgroundArguments(run);
    OfferDebuggerPrompt(run);
    run.log.WriteFormat(
        L"# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s):%s", arguments);
    LaunchWriterInBackground(run.invoker, run.paths.writer, arguments);
}
