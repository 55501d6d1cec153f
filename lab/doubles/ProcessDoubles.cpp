// Doubles of process creation and of what goes with a user's process: environment, profile,
// session.
#include "DoubleTable.h"
#include "Impersonation.h"

#include "CallRecord.h"
#include "FileRights.h"
#include "LabState.h"
#include "LeakRecord.h"
#include "MessageRecord.h"
#include "NewProcess.h"
#include "Text.h"
#include "Turn.h"

#include <userenv.h>

#include <cstring>
#include <vector>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kHandle[] = L"handle";
constexpr wchar_t kBlock[] = L"environment block";
constexpr UINT kNoDesktop = 0xC0000142; // STATUS_DLL_INIT_FAILED

// The variables of a block as "NAME=value" texts.
std::vector<std::wstring> Variables(const wchar_t* block)
{
    std::vector<std::wstring> variables;
    while (block != nullptr && *block != L'\0')
    {
        variables.emplace_back(block);
        block += variables.back().size() + 1;
    }
    return variables;
}

void SetVariable(std::vector<std::wstring>& variables, const std::wstring& name,
                 const std::wstring& value)
{
    for (std::wstring& variable : variables)
    {
        if (StartsWithNoCase(variable, name + L"="))
        {
            variable = name + L"=" + value;
            return;
        }
    }
    variables.push_back(name + L"=" + value);
}

std::wstring Block(const std::vector<std::wstring>& variables)
{
    std::wstring block;
    for (const std::wstring& variable : variables)
    {
        block += variable;
        block += L'\0';
    }
    block += L'\0';
    return block;
}

// The program that a command line starts: of a path with blanks the shortest that is a file.
std::wstring ProgramOf(LPCWSTR application, const std::wstring& commandLine)
{
    if (application != nullptr)
    {
        return application;
    }
    if (commandLine.starts_with(L'"'))
    {
        return commandLine.substr(1, commandLine.find(L'"', 1) - 1);
    }
    std::size_t end = commandLine.find(L' ');
    while (end != std::wstring::npos)
    {
        const std::wstring program = commandLine.substr(0, end);
        const auto file = FindFile(program);
        if (file ? !file->isFolder : FindFile(program + L".exe").has_value())
        {
            return file ? program : program + L".exe";
        }
        end = commandLine.find(L' ', end + 1);
    }
    return commandLine;
}

// The user of the new process must be able to read and run its program.
bool MayRun(const Identity& identity, const std::wstring& program)
{
    const auto file = FindFile(program);
    return !file || MayUse(*file, identity, GENERIC_READ | GENERIC_EXECUTE);
}

// A process gets its parent's desktop when it is given none. One of another user that is on a
// session's screen is closed to it, and it ends before its first instruction.
bool HasDesktop(const Identity& identity, const STARTUPINFOW& startup)
{
    const bool inherits = startup.lpDesktop == nullptr;
    return !inherits || !HasVisibleStation() || identity.sid == ProcessIdentity().sid ||
           identity.isAdministrator;
}

void CountProcess(const PROCESS_INFORMATION& made)
{
    const std::wstring id = std::to_wstring(made.dwProcessId);
    CountOpened(kHandle, made.hProcess, L"process " + id);
    CountOpened(kHandle, made.hThread, L"thread of process " + id);
}

// Windows may write into the command line. A text that cannot be written has to fail here too.
void TouchCommandLine(LPWSTR commandLine)
{
    if (commandLine != nullptr)
    {
        volatile wchar_t* first = commandLine;
        *first = *first;
    }
}

BOOL WINAPI DoubleCreateProcessW(LPCWSTR application, LPWSTR commandLine,
                                 LPSECURITY_ATTRIBUTES processAttributes,
                                 LPSECURITY_ATTRIBUTES threadAttributes, BOOL inherit, DWORD flags,
                                 LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup,
                                 LPPROCESS_INFORMATION made)
{
    TakeTurn(L"CreateProcessW program");
    Call call(L"CreateProcessW", application, static_cast<LPCWSTR>(commandLine), inherit, flags);
    TouchCommandLine(commandLine);
    const BOOL created =
        CreateProcessUnderWine(application, commandLine, processAttributes, threadAttributes,
                               inherit, flags, environment, directory, startup, made);
    if (created)
    {
        CountProcess(*made);
        call.Add(L"pid " + std::to_wstring(made->dwProcessId));
    }
    return call.Return(created);
}

BOOL WINAPI DoubleCreateProcessAsUserW(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                       LPSECURITY_ATTRIBUTES processAttributes,
                                       LPSECURITY_ATTRIBUTES threadAttributes, BOOL inherit,
                                       DWORD flags, LPVOID environment, LPCWSTR directory,
                                       LPSTARTUPINFOW startup, LPPROCESS_INFORMATION made)
{
    TakeTurn(L"CreateProcessAsUserW program");
    Call call(L"CreateProcessAsUserW", token, application, static_cast<LPCWSTR>(commandLine),
              inherit, flags);
    const auto info = FindToken(token);
    if (!info)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (!info->primary)
    {
        return call.Fail(ERROR_BAD_TOKEN_TYPE);
    }
    constexpr DWORD needed = TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY;
    if ((info->access & needed) != needed)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    if (!ProcessIdentity().MayAssignPrimaryToken())
    {
        return call.Fail(ERROR_PRIVILEGE_NOT_HELD);
    }
    if (environment != nullptr && (flags & CREATE_UNICODE_ENVIRONMENT) == 0)
    {
        // An environment in the code page is not modelled.
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    TouchCommandLine(commandLine);
    if (!MayRun(info->identity, ProgramOf(application, commandLine == nullptr ? L"" : commandLine)))
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }

    // The child learns its account from its environment.
    wchar_t* own = environment == nullptr ? GetEnvironmentStringsW() : nullptr;
    std::vector<std::wstring> variables =
        Variables(own != nullptr ? own : static_cast<const wchar_t*>(environment));
    if (own != nullptr)
    {
        FreeEnvironmentStringsW(own);
    }
    SetVariable(variables, kAccountVariable, info->identity.Text());
    std::wstring block = Block(variables);
    const bool hasDesktop = HasDesktop(info->identity, *startup);
    const DWORD suspended = hasDesktop ? 0 : CREATE_SUSPENDED;
    const BOOL created = CreateProcessUnderWine(
        application, commandLine, processAttributes, threadAttributes, inherit,
        flags | CREATE_UNICODE_ENVIRONMENT | suspended, block.data(), directory, startup, made);
    if (created)
    {
        if (!hasDesktop)
        {
            TerminateProcess(made->hProcess, kNoDesktop);
        }
        CountProcess(*made);
        call.Add(L"pid " + std::to_wstring(made->dwProcessId) + L" as " + info->identity.Text());
    }
    return call.Return(created);
}

std::wstring ProfileFolder(const Identity& identity)
{
    if (identity.IsSystem())
    {
        return L"C:\\Windows\\system32\\config\\systemprofile";
    }
    return identity.isService ? L"C:\\Windows\\ServiceProfiles\\" + identity.Text()
                              : L"C:\\Users\\" + identity.name;
}

BOOL WINAPI DoubleCreateEnvironmentBlock(LPVOID* made, HANDLE token, BOOL inherit)
{
    Call call(L"CreateEnvironmentBlock", token, inherit);
    if (made == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    const auto info = token == nullptr ? std::nullopt : FindToken(token);
    if (token != nullptr && !info)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (info && (info->access & TOKEN_QUERY) == 0)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    static const auto realCreate = PALVOLAB_REAL("userenv.dll", CreateEnvironmentBlock);
    static const auto realDestroy = PALVOLAB_REAL("userenv.dll", DestroyEnvironmentBlock);
    LPVOID common = nullptr;
    if (!realCreate(&common, nullptr, inherit))
    {
        return call.Return(FALSE);
    }
    std::vector<std::wstring> variables = Variables(static_cast<const wchar_t*>(common));
    realDestroy(common);
    if (info)
    {
        SetVariable(variables, L"USERNAME", info->identity.name);
        SetVariable(variables, L"USERDOMAIN", info->identity.domain);
        SetVariable(variables, L"USERPROFILE", ProfileFolder(info->identity));
    }
    const std::wstring block = Block(variables);
    *made = HeapAlloc(GetProcessHeap(), 0, block.size() * sizeof(wchar_t));
    std::memcpy(*made, block.data(), block.size() * sizeof(wchar_t));
    CountOpened(kBlock, *made, L"");
    return call.Return(TRUE);
}

BOOL WINAPI DoubleDestroyEnvironmentBlock(LPVOID block)
{
    Call call(L"DestroyEnvironmentBlock", block);
    if (block == nullptr || !CountClosed(kBlock, block))
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    HeapFree(GetProcessHeap(), 0, block);
    return call.Return(TRUE);
}

BOOL WINAPI DoubleUnloadUserProfile(HANDLE token, HANDLE profile)
{
    Call call(L"UnloadUserProfile", token, profile);
    if (!FindToken(token) || profile == nullptr)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    return call.Return(TRUE);
}

BOOL WINAPI DoubleProcessIdToSessionId(DWORD process, DWORD* session)
{
    Call call(L"ProcessIdToSessionId", process);
    if (process != GetCurrentProcessId())
    {
        return call.Return(ProcessIdToSessionId(process, session));
    }
    *session = ProcessIdentity().session;
    call.Add(*session);
    return call.Return(TRUE);
}

} // namespace

void AddProcessDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "KERNEL32", CreateProcessW);
    PALVOLAB_DOUBLE(list, "KERNEL32", ProcessIdToSessionId);
    PALVOLAB_DOUBLE(list, "ADVAPI32", CreateProcessAsUserW);
    PALVOLAB_DOUBLE(list, "USERENV", CreateEnvironmentBlock);
    PALVOLAB_DOUBLE(list, "USERENV", DestroyEnvironmentBlock);
    PALVOLAB_DOUBLE(list, "USERENV", UnloadUserProfile);
}

} // namespace PalvoLab
