// What an account may do: tokens, logons, files.
#include "Check.h"

#include "AccessList.h"

#include <wtsapi32.h>

#include <aclapi.h>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kFile[] = L"C:\\ProgramData\\PalvoContract.txt";
constexpr wchar_t kFolder[] = L"C:\\ProgramData\\PalvoContract";

HANDLE MakeFile(const wchar_t* path, DWORD access)
{
    const HANDLE file = CreateFileW(path, access, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    return file == INVALID_HANDLE_VALUE ? nullptr : file;
}

std::wstring StoredIn(HANDLE file)
{
    constexpr SECURITY_INFORMATION what = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    PSECURITY_DESCRIPTOR stored = nullptr;
    if (GetSecurityInfo(file, SE_FILE_OBJECT, what, nullptr, nullptr, nullptr, nullptr, &stored) !=
        ERROR_SUCCESS)
    {
        return L"";
    }
    const std::wstring text = DescriptorText(stored, what);
    LocalFree(stored);
    return text;
}

std::wstring StoredUnder(const wchar_t* path)
{
    PSECURITY_DESCRIPTOR stored = nullptr;
    PACL list = nullptr;
    if (GetNamedSecurityInfoW(path, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                              &list, nullptr, &stored) != ERROR_SUCCESS ||
        list == nullptr)
    {
        return L"";
    }
    const std::wstring text = DescriptorText(stored, DACL_SECURITY_INFORMATION);
    LocalFree(stored);
    return text;
}

bool LogsOnLocalService(DWORD type)
{
    HANDLE token = nullptr;
    return LogonUserW(L"Local Service", L"NT AUTHORITY", nullptr, type, LOGON32_PROVIDER_DEFAULT,
                      &token) &&
           CloseHandle(token);
}

bool HasSessionToken()
{
    DWORD session = 0;
    HANDLE token = nullptr;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    return WTSQueryUserToken(session, &token) && CloseHandle(token);
}

} // namespace

STATEMENT(AnAdministratorGetsNoTokenOfASession, "WTSQueryUserToken", Caller::Administrator)
{
    CHECK_FAILS(HasSessionToken(), ERROR_PRIVILEGE_NOT_HELD);
}

STATEMENT(AUserGetsNoTokenOfTheOwnSession, "WTSQueryUserToken", Caller::StandardUser)
{
    CHECK_FAILS(HasSessionToken(), ERROR_PRIVILEGE_NOT_HELD);
}

STATEMENT(AnAdministratorDoesNotLogServicesOn, "LogonUserW", Caller::Administrator)
{
    CHECK_FAILS(LogsOnLocalService(LOGON32_LOGON_SERVICE), ERROR_LOGON_FAILURE);
}

STATEMENT(TheSystemLogsLocalServiceOnAsAService, "LogonUserW", Caller::System)
{
    CHECK(LogsOnLocalService(LOGON32_LOGON_SERVICE));
    CHECK_FAILS(LogsOnLocalService(LOGON32_LOGON_INTERACTIVE), ERROR_LOGON_TYPE_NOT_GRANTED);
}

STATEMENT(MembershipOfAProcessTokenIsNotTold, "CheckTokenMembership", Caller::Anybody)
{
    HANDLE token = nullptr;
    CHECK(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY | TOKEN_DUPLICATE, &token));
    BYTE sid[SECURITY_MAX_SID_SIZE] = {};
    DWORD size = sizeof sid;
    CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
    BOOL isMember = FALSE;
    CHECK_FAILS(CheckTokenMembership(token, sid, &isMember), ERROR_NO_IMPERSONATION_TOKEN);
    CHECK(CloseHandle(token));
}

STATEMENT(LocalServiceRunsOnTheDesktopOfAServiceOfTheSystem, "CreateProcessAsUserW, lpDesktop null",
          Caller::System)
{
    HANDLE token = nullptr;
    CHECK(LogonUserW(L"Local Service", L"NT AUTHORITY", nullptr, LOGON32_LOGON_SERVICE,
                     LOGON32_PROVIDER_DEFAULT, &token));
    wchar_t command[] = L"C:\\windows\\system32\\cmd.exe /c exit 7";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    CHECK(CreateProcessAsUserW(token, nullptr, command, nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &made));
    WaitForSingleObject(made.hProcess, 30000);
    DWORD code = 0;
    GetExitCodeProcess(made.hProcess, &code);
    CHECK(code == 7);
    CloseHandle(made.hProcess);
    CloseHandle(made.hThread);
    CloseHandle(token);
}

STATEMENT(UsersMakeNoFilesInProgramFiles, "CreateFileW, CreateDirectoryW", Caller::StandardUser)
{
    CHECK_FAILS(MakeFile(L"C:\\Program Files\\PalvoContract.txt", GENERIC_WRITE),
                ERROR_ACCESS_DENIED);
    CHECK_FAILS(CreateDirectoryW(L"C:\\Program Files\\PalvoContract", nullptr),
                ERROR_ACCESS_DENIED);
}

STATEMENT(LocalServiceMakesNoFilesInProgramFiles, "CreateFileW", Caller::LocalService)
{
    CHECK_FAILS(MakeFile(L"C:\\Program Files\\PalvoContract.txt", GENERIC_WRITE),
                ERROR_ACCESS_DENIED);
}

STATEMENT(EverybodyMakesAndDeletesFilesInProgramData, "CreateFileW, DeleteFileW", Caller::Anybody)
{
    const HANDLE file = MakeFile(kFile, GENERIC_WRITE);
    CHECK(file != nullptr && CloseHandle(file));
    CHECK(DeleteFileW(kFile));
}

STATEMENT(AFileStoresAnEntryWithoutInheritanceAndWithFileRights, "SetSecurityInfo, GetSecurityInfo",
          Caller::Anybody)
{
    const HANDLE file = MakeFile(kFile, READ_CONTROL | WRITE_DAC);
    Descriptor wanted = ParseDescriptor(L"D:(A;OICI;GRGWSD;;;AU)");
    CHECK(SetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                          ListOf(wanted.data()), nullptr) == ERROR_SUCCESS);
    PSECURITY_DESCRIPTOR stored = nullptr;
    PACL list = nullptr;
    CHECK(GetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                          nullptr, &stored) == ERROR_SUCCESS);
    // The folder's entries may follow.
    void* first = nullptr;
    CHECK(list != nullptr && GetAce(list, 0, &first));
    auto* entry = static_cast<ACCESS_ALLOWED_ACE*>(first);
    CHECK(first != nullptr && SidText(&entry->SidStart) == L"S-1-5-11");
    CHECK(first != nullptr && entry->Header.AceFlags == 0 && entry->Mask == 0x13019f);
    LocalFree(stored);
    CHECK(CloseHandle(file));
    CHECK(DeleteFileW(kFile));
}

STATEMENT(AFolderHasTheOwnerAndListThatItIsMadeWith,
          "CreateDirectoryW, SetKernelObjectSecurity, GetSecurityInfo, GetNamedSecurityInfoW",
          Caller::Administrator)
{
    Descriptor made = ParseDescriptor(L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)");
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, made.data(), FALSE};
    CHECK(CreateDirectoryW(kFolder, &attributes));
    const HANDLE folder = CreateFileW(kFolder, READ_CONTROL | WRITE_DAC, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    CHECK(StoredIn(folder) == L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)");
    Descriptor changed = ParseDescriptor(L"D:P(A;OICI;FA;;;BA)(A;OICI;FRFX;;;AU)");
    CHECK(SetKernelObjectSecurity(folder, DACL_SECURITY_INFORMATION, changed.data()));
    CHECK(StoredIn(folder) == L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;AU)");
    CHECK(StoredUnder(kFolder) == L"D:P(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;AU)");
    CHECK(CloseHandle(folder));
    CHECK(RemoveDirectoryW(kFolder));
}

STATEMENT(AHandleThatMayNotChangeTheListDoesNot, "SetSecurityInfo", Caller::Anybody)
{
    const HANDLE file = MakeFile(kFile, READ_CONTROL | GENERIC_WRITE);
    Descriptor wanted = ParseDescriptor(L"D:(A;;GA;;;WD)");
    CHECK(SetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                          ListOf(wanted.data()), nullptr) == ERROR_ACCESS_DENIED);
    CHECK(CloseHandle(file));
    CHECK(DeleteFileW(kFile));
}
