#include "FakeChildren.h"

#include <cstring>

namespace
{
/// True for a record that holds nothing but its size.
bool IsPlain(const STARTUPINFOW* startup)
{
    STARTUPINFOW plain = {};
    plain.cb = sizeof(STARTUPINFOW);
    return startup != nullptr && std::memcmp(startup, &plain, sizeof(plain)) == 0;
}
} // namespace

FakeChildren::FakeChildren(Journal& target, FakeKernelObjects& objects)
    : journal(target),
      kernel(objects),
      createProcess(
          [this](LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                 LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                 LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information)
          {
              const bool defaults = process == nullptr && thread == nullptr && !inherit &&
                                    environment == nullptr && directory == nullptr && flags == 0x20;
              return failing.contains(L"CreateProcessW")
                         ? Refuse(commandLine, information)
                         : Start(L"start", application, commandLine, defaults, flags, startup,
                                 information);
          }),
      createAsUser(
          [this](HANDLE token, LPCWSTR application, LPWSTR commandLine,
                 LPSECURITY_ATTRIBUTES process, LPSECURITY_ATTRIBUTES thread, BOOL inherit,
                 DWORD flags, LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup,
                 LPPROCESS_INFORMATION information)
          {
              const bool defaults =
                  process == nullptr && thread == nullptr && !inherit && directory == nullptr;
              return StartAsUser(token, application, commandLine, defaults, flags, environment,
                                 startup, information);
          }),
      getExitCode(
          [this](HANDLE process, LPDWORD code) -> BOOL
          {
              const auto found = exitCodes.find(process);
              if (found == exitCodes.end() || failing.contains(L"GetExitCodeProcess"))
              {
                  return FALSE;
              }
              *code = found->second;
              Note(L"exit code " + std::to_wstring(*code));
              return TRUE;
          }),
      logOn(
          [this](LPCWSTR user, LPCWSTR domain, LPCWSTR password, DWORD type, DWORD provider,
                 PHANDLE token) -> BOOL
          {
              Note(std::wstring(L"LogonUserW ") + domain + L"\\" + user + L" " +
                   std::to_wstring(type) + L" " + std::to_wstring(provider) +
                   (password == nullptr ? L"" : L" BAD"));
              if (failing.contains(L"LogonUserW"))
              {
                  *token = FakeKernelObjects::Garbage();
                  return FALSE;
              }
              *token = Token(L"service");
              return TRUE;
          }),
      duplicateToken(
          [this](HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES attributes,
                 SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, PHANDLE copy) -> BOOL
          {
              const bool expected = access == MAXIMUM_ALLOWED && attributes == nullptr &&
                                    level == SecurityImpersonation && type == TokenPrimary;
              Note(L"DuplicateTokenEx " + NameOf(token) + (expected ? L"" : L" BAD"));
              if (failing.contains(L"DuplicateTokenEx"))
              {
                  *copy = FakeKernelObjects::Garbage();
                  return FALSE;
              }
              *copy = Token(NameOf(token) + L"/copy");
              return TRUE;
          }),
      createBlock(
          [this](LPVOID* block, HANDLE token, BOOL inherit) -> BOOL
          {
              Note(L"CreateEnvironmentBlock " + NameOf(token) + (inherit ? L" BAD" : L""));
              if (failing.contains(L"CreateEnvironmentBlock"))
              {
                  *block = FakeKernelObjects::Garbage();
                  return FALSE;
              }
              *block = &environmentBlock;
              return TRUE;
          }),
      destroyBlock(
          [this](LPVOID block) -> BOOL
          {
              Note(std::wstring(L"DestroyEnvironmentBlock") +
                   (block == &environmentBlock ? L"" : L" BAD"));
              return TRUE;
          })
{
}

HANDLE FakeChildren::Token(const std::wstring& name)
{
    const HANDLE token = kernel.Add([](DWORD) { return WAIT_FAILED; },
                                    [this, name] { Note(L"CloseHandle " + name); });
    tokens[token] = name;
    return token;
}

std::wstring FakeChildren::NameOf(HANDLE token) const
{
    const auto found = tokens.find(token);
    return found == tokens.end() ? L"BAD TOKEN" : found->second;
}

void FakeChildren::Note(const std::wstring& line)
{
    if (writesTokens)
    {
        journal.push_back(line);
    }
}

BOOL FakeChildren::StartAsUser(HANDLE token, LPCWSTR application, LPWSTR commandLine, bool defaults,
                               DWORD flags, LPVOID environment, const STARTUPINFOW* startup,
                               PROCESS_INFORMATION* information)
{
    if (failing.contains(L"CreateProcessAsUserW"))
    {
        return Refuse(commandLine, information);
    }
    const bool ownEnvironment = environment == &environmentBlock;
    return Start(L"start as " + NameOf(token) +
                     (ownEnvironment           ? L" with its environment"
                      : environment == nullptr ? L""
                                               : L" BAD ENVIRONMENT"),
                 application, commandLine, defaults && flags == 0x420, flags, startup, information);
}

BOOL FakeChildren::Refuse(LPCWSTR commandLine, PROCESS_INFORMATION* information)
{
    journal.push_back(std::wstring(L"cannot start ") + commandLine);
    information->hProcess = FakeKernelObjects::Garbage();
    information->hThread = FakeKernelObjects::Garbage();
    return FALSE;
}

BOOL FakeChildren::Start(const std::wstring& how, LPCWSTR application, LPWSTR commandLine,
                         bool defaults, DWORD flags, const STARTUPINFOW* startup,
                         PROCESS_INFORMATION* information)
{
    const std::wstring text = commandLine;
    // Windows may write here; memory that may not be written must show.
    commandLine[text.size()] = L'\0';
    journal.push_back(how + L": " + text +
                      (defaults && application == nullptr && IsPlain(startup)
                           ? L""
                           : L" BAD " + std::to_wstring(flags)));
    information->hThread =
        kernel.Add([](DWORD) { return WAIT_FAILED; }, [this] { Note(L"CloseHandle thread"); });
    information->hProcess = kernel.Add(
        [this](DWORD milliseconds) -> DWORD
        {
            if (milliseconds != 100)
            {
                journal.push_back(L"BAD wait for a child: " + std::to_wstring(milliseconds));
            }
            if (onWait)
            {
                onWait();
            }
            if (waits.empty())
            {
                return WAIT_OBJECT_0;
            }
            const DWORD result = waits.front();
            waits.pop_front();
            return result;
        },
        [this] { Note(L"CloseHandle process"); });
    information->dwProcessId = 0x1234;
    information->dwThreadId = 0x5678;
    exitCodes[information->hProcess] = run(text);
    return TRUE;
}
