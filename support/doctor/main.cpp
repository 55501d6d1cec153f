#include "DoctorOptions.h"
#include "Format.h"
#include "Looks.h"
#include "ProgramFile.h"
#include "ReportMetrics.h"
#include "ReportText.h"
#include "Rules.h"
#include "SimpleUser.h"
#include "StandardOutput.h"
#include "Version.h"
#include "WholeFile.h"
#include "collect/Collection.h"

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

std::wstring SuiteFolder(const DoctorOptions& options)
{
    return options.folder.empty() ? ProgramDirectory() : options.folder;
}

Facts LookAtAll(const DoctorOptions& options)
{
    Facts facts;
    facts.hungAfter = options.hungAfterMinutes * Minute;
    facts.settings = LookAtSettings();
    facts.suite = LookAtSuite(SuiteFolder(options));
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

std::string CollectAll(const DoctorOptions& options, const Facts& facts, const Report& report)
{
    return Collect({facts, report, LookAtVersions(SuiteFolder(options)), FromNarrow(PALVO_VERSION),
                    User::GetNetBiosComputerName(), LookAtLeftover(facts.log.path)},
                   options.withNames);
}

/// False when it cannot be written, which is then told.
bool Write(const std::wstring& path, const std::string& bytes)
{
    const DWORD error = WriteWholeFile(path, bytes);
    if (error != 0)
    {
        StandardOutput::Write(Format(L"%s cannot be written: error %lu.\n", path, error));
    }
    return error == 0;
}

bool WriteFiles(const DoctorOptions& options, const Facts& facts, const Report& report)
{
    return (options.metrics.empty() ||
            Write(options.metrics,
                  ToUtf8(ReportAsMetrics(facts, report, FromNarrow(PALVO_VERSION))))) &&
           (options.collection.empty() ||
            Write(options.collection, CollectAll(options, facts, report)));
}

int Examine(const DoctorOptions& options)
{
    const Facts facts = LookAtAll(options);
    const Report report = Judge(facts);
    if (!WriteFiles(options, facts, report))
    {
        return CouldNotLook;
    }
    StandardOutput::Write(options.json ? ReportAsJson(report, User::GetNetBiosComputerName(),
                                                      TimeText(facts.utcTime) + L"Z")
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
