#include "SimpleModes.h"

#include "CommandLine.h"
#include "LogFile.h"
#include "ProperFile.h"
#include "SpoolerPackages.h"
#include "StandardOutput.h"

int DisplayUsage()
{
    StandardOutput::Write(UsageText());
    return 1;
}

int DeleteLog(const Run& run)
{
    const bool failed = !DeleteName(run.log.Path()) && GetLastError() != ERROR_FILE_NOT_FOUND;
    run.log.Write(L"# Invoked to delete log file. Done...exiting.");
    return failed ? 1 : 0;
}

int AddPrinterDriverInstance(const Run& run)
{
    const HRESULT result =
        InstallPrinterDriverFromPackageW(nullptr, nullptr, run.invoker.c_str(), nullptr, 0);
    std::wstring text;
    if (FAILED(result))
    {
        text = Format(L"ERROR: Failed to add driver instance for '%s': HRESULT=0x%x", run.invoker,
                      result);
    }
    else
    {
        text = Format(L"Added driver instance for '%s'", run.invoker);
    }
    StandardOutput::Write(text + L".\n");
    run.log.Write(text);
    return result;
}
