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

// Without a path there is nothing to start: the command line would begin with the arguments. A
// program that does not start leaves no line; the next request starts it again.

DWORD RunQuery(const std::wstring& path, const std::wstring& arguments)
{
    if (path.empty())
    {
        return 0;
    }
    const std::wstring commandLine = ChildCommandLine(path, arguments);
    XProcess query;
    const KernelHandle localService = LogOnLocalService();
    // Some accounts may not log another one on: the printers are configured all the same.
    return localService ? query.RunAsUser(localService.Get(), commandLine)
                        : query.RunAsCurrentUser(commandLine);
}

DWORD RunWriter(const std::wstring& path, const std::wstring& arguments)
{
    XProcess writer;
    return path.empty() ? 0 : writer.RunAsCurrentUser(ChildCommandLine(path, arguments));
}

bool StartWriter(const std::wstring& path, const std::wstring& arguments)
{
    XProcess writer;
    return !path.empty() && writer.Start(ChildCommandLine(path, arguments));
}
} // namespace

std::uint32_t LaunchWriterForRequest(const WriterRequest& request, const std::wstring& invoker,
                                     const ProgramPaths& paths, LogFile& log)
{
    const DWORD queryCode = RunQuery(paths.query, QueryArguments(request));
    const DWORD writerCode = RunWriter(
        paths.writer, InvokerTag(WriterArguments(request), invoker, GetCurrentProcessId()));
    UpdateUserPropertyBags(log);
    return std::max(queryCode, writerCode);
}

int LaunchWriterInBackground(const std::wstring& invoker, const std::wstring& writerPath,
                             const std::wstring& arguments)
{
    return StartWriter(writerPath, InvokerTag(arguments, invoker, GetCurrentProcessId())) ? 0 : 1;
}
