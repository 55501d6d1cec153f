#include "RequestSchemes.h"

#include "DesktopAppGuids.h"
#include "LogFile.h"
#include "StandardOutput.h"
#include "WriterLaunch.h"

void TellRedundant(const Run& run, const wchar_t* event, const wchar_t* work)
{
    const std::wstring text =
        Format(L"-Redundant instance for %s: An instance is already running to process %s..."
               L"Queuing request and exiting this instance [%s].",
               event, work, run.invoker);
    StandardOutput::Write(text);
    run.log.Write(text);
}

void Serve(const Run& run, bool onePrinter, const std::wstring& printerName)
{
    LaunchWriterForRequest({run.options.mode, onePrinter, printerName}, run.invoker, run.paths,
                           run.log);
}

void ServeEverything(const Run& run)
{
    Serve(run, false, {});
}

void FinishRequests(const Run& run)
{
    run.log.Write(L"Update UserPropertyBags With Desktop GUIDs before exiting after processing "
                  L"queued request(s)");
    UpdateDesktopAppGuids();
}
