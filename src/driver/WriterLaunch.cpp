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
    token.KeepIf(LogonUserW(account.name.c_str(), account.domain.c_str(), nullptr,
                            LOGON32_LOGON_SERVICE, LOGON32_PROVIDER_DEFAULT, token.Receive()));
    return token;
}

// A program that does not start leaves no line; the next request starts it again.

DWORD RunQuery(const std::wstring& commandLine)
{
    XProcess query;
    const KernelHandle localService = LogOnLocalService();
    // Some accounts may not log another one on: the printers are configured all the same.
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

/// What `launch` makes of the program at `path`. Without a path there is nothing to start, and
/// nothing as a result: the command line would begin with the arguments.
template <class Result>
Result Launch(Result (*launch)(const std::wstring&), const std::wstring& path,
              const std::wstring& arguments)
{
    return path.empty() ? Result() : launch(ChildCommandLine(path, arguments));
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
