#include "WriterLaunch.h"

#include "UserPropertyBags.h"
#include "WellKnownAccounts.h"
#include "XProcess.h"

#include <algorithm>

namespace
{
KernelHandle LogOnLocalService()
{
    const AccountName account = ResolveAccount(WellKnownAccounts::LocalService);
    KernelHandle token;
    if (account.name.empty())
    {
        return token;
    }
    token.KeepIf(LogonUserW(account.name.c_str(), account.domain.c_str(), nullptr,
                            LOGON32_LOGON_SERVICE, LOGON32_PROVIDER_DEFAULT, token.Receive()));
    return token;
}

// A program that does not start is not logged; the next request tries again.

DWORD RunQuery(const std::wstring& commandLine)
{
    XProcess query;
    const KernelHandle localService = LogOnLocalService();
    // An account without the right to log another on still configures the printers.
    return localService ? query.RunAsUser(localService.Get(), commandLine)
                        : query.RunAsCurrentUser(commandLine);
}

DWORD RunWriter(const std::wstring& commandLine)
{
    return XProcess().RunAsCurrentUser(commandLine);
}

bool StartWriter(const std::wstring& commandLine)
{
    return XProcess().Start(commandLine);
}

/// Launches the program at `path`. With an empty path does nothing and returns an empty result: the
/// command line would begin with the arguments.
template <class Result>
Result Launch(Result (*launch)(const std::wstring&), const std::wstring& path,
              const std::wstring& arguments)
{
    if (path.empty())
    {
        return Result();
    }
    return launch(ChildCommandLine(path, arguments));
}
} // namespace

std::uint32_t LaunchWriterForRequest(const WriterRequest& request, const std::wstring& invoker,
                                     const ProgramPaths& paths, LogFile& log)
{
    const DWORD queryCode = Launch(RunQuery, paths.query, QueryArguments(request));
    const DWORD writerCode =
        Launch(RunWriter, paths.writer,
               InvokerTag(WriterArguments(request), invoker, GetCurrentProcessId()));
    UpdateUserPropertyBags(log);
    return std::max(queryCode, writerCode);
}

int LaunchWriterInBackground(const std::wstring& invoker, const std::wstring& writerPath,
                             const std::wstring& arguments)
{
    const std::wstring tagged = InvokerTag(arguments, invoker, GetCurrentProcessId());
    return Launch(StartWriter, writerPath, tagged) ? 0 : 1;
}
