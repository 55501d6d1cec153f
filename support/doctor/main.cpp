#include "DoctorOptions.h"
#include "Format.h"
#include "Looks.h"
#include "ProgramFile.h"
#include "ReportText.h"
#include "Rules.h"
#include "SimpleUser.h"
#include "StandardOutput.h"

#include <exception>

namespace
{
constexpr int CouldNotLook = 2;

std::uint64_t TimeNow(void(WINAPI* getTime)(SYSTEMTIME*))
{
    SYSTEMTIME parts = {};
    FILETIME time = {};
    getTime(&parts);
    SystemTimeToFileTime(&parts, &time);
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::wstring UtcNow()
{
    SYSTEMTIME now = {};
    GetSystemTime(&now);
    return Format(L"%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond);
}

Facts LookAtAll(const DoctorOptions& options)
{
    Facts facts;
    facts.hungAfter = options.hungAfterMinutes * Minute;
    facts.settings = LookAtSettings();
    facts.suite = LookAtSuite(options.folder.empty() ? ProgramDirectory() : options.folder);
    facts.tasks = LookAtTasks();
    facts.channel = LookAtChannel();
    facts.log = LookAtLog();
    facts.printers = LookAtPrinters();
    facts.sessions = LookAtSessions();
    facts.services = LookAtServices();
    facts.work = LookAtWork(facts.log.path);
    // Last: nothing that was found is younger than this.
    facts.localTime = TimeNow(&GetLocalTime);
    facts.utcTime = TimeNow(&GetSystemTime);
    return facts;
}

int Examine(const DoctorOptions& options)
{
    const Report report = Judge(LookAtAll(options));
    StandardOutput::Write(options.json
                              ? ReportAsJson(report, User::GetNetBiosComputerName(), UtcNow())
                              : ReportAsText(report));
    return report.ExitCode();
}
} // namespace

int wmain(int argumentCount, wchar_t** arguments);

int wmain(int argumentCount, wchar_t** arguments)
{
    try
    {
        const auto options = ParseDoctorOptions({arguments + 1, arguments + argumentCount});
        if (!options || options->help)
        {
            StandardOutput::Write(DoctorHelp);
            return options ? 0 : CouldNotLook;
        }
        return Examine(*options);
    }
    catch (const std::exception& error)
    {
        StandardOutput::Write(Format(L"The doctor itself failed: %S\n", std::string(error.what())));
        return CouldNotLook;
    }
}
