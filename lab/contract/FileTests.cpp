#include "Check.h"

#include <aclapi.h>
#include <sddl.h>

#include <string>

using namespace PalvoLab;

namespace
{

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr wchar_t kFolder[] = L"C:\\ProgramData\\PalvoLabSelfTest";
constexpr wchar_t kFile[] = L"C:\\ProgramData\\PalvoLabSelfTest\\file.txt";

bool Opens(const wchar_t* path, DWORD access, DWORD disposition)
{
    const HANDLE file = CreateFileW(path, access, kShareAll, nullptr, disposition,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file);
}

void MakeAs(const wchar_t* account)
{
    BecomeAccount(L"SYSTEM");
    DeleteFileW(kFile);
    RemoveDirectoryW(kFolder);
    CHECK(CreateDirectoryW(kFolder, nullptr));
    BecomeAccount(account);
    CHECK(Opens(kFile, GENERIC_WRITE, CREATE_NEW));
}

} // namespace

LAB_TEST(UsersReadProgramFilesAndWriteNothingThere)
{
    const wchar_t* const program =
        L"C:\\Program Files\\Palvo Printer Suite\\PalvoPrinterConfiguration.exe";
    const wchar_t* const added = L"C:\\Program Files\\Palvo Printer Suite\\version.dll";
    for (const wchar_t* account : {L"bob", L"alice", L"LocalService"})
    {
        BecomeAccount(account);
        CHECK(Opens(program, GENERIC_READ | GENERIC_EXECUTE, OPEN_EXISTING));
        CHECK_FAILS(Opens(program, GENERIC_WRITE, OPEN_EXISTING), ERROR_ACCESS_DENIED);
        CHECK_FAILS(Opens(added, GENERIC_WRITE, CREATE_NEW), ERROR_ACCESS_DENIED);
        CHECK_FAILS(DeleteFileW(program), ERROR_ACCESS_DENIED);
        CHECK_FAILS(CreateDirectoryW(L"C:\\Program Files\\Lab", nullptr), ERROR_ACCESS_DENIED);
        RemoveDirectoryW(L"C:\\Program Files\\Lab");
    }
    BecomeAccount(L"alice:elevated");
    CHECK(Opens(added, GENERIC_WRITE, CREATE_NEW));
    CHECK(DeleteFileW(added));
}

LAB_TEST(UsersMakeFilesInProgramDataThatAreTheirs)
{
    MakeAs(L"bob");
    CHECK(Opens(kFile, GENERIC_READ | GENERIC_WRITE | DELETE | WRITE_DAC, OPEN_EXISTING));
    BecomeAccount(L"LocalService");
    CHECK(Opens(kFile, GENERIC_READ, OPEN_EXISTING));
    CHECK_FAILS(Opens(kFile, GENERIC_WRITE, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    CHECK_FAILS(Opens(kFile, 0, CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    CHECK_FAILS(DeleteFileW(kFile), ERROR_ACCESS_DENIED);
    BecomeAccount(L"alice:elevated");
    CHECK(DeleteFileW(kFile));
}

LAB_TEST(WhatTheSystemMadeInProgramDataIsForOthersToRead)
{
    MakeAs(L"SYSTEM");
    BecomeAccount(L"bob");
    CHECK(Opens(kFile, GENERIC_READ, OPEN_EXISTING));
    CHECK_FAILS(Opens(kFile, FILE_APPEND_DATA, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    CHECK_FAILS(Opens(kFile, WRITE_DAC, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    CHECK_FAILS(DeleteFileW(kFile), ERROR_ACCESS_DENIED);
    CHECK_FAILS(Opens(kFolder, FILE_DELETE_CHILD, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    CHECK(Opens(L"C:\\ProgramData\\PalvoLabSelfTest\\other.txt", GENERIC_WRITE, CREATE_NEW));
    CHECK(DeleteFileW(L"C:\\ProgramData\\PalvoLabSelfTest\\other.txt"));
}

LAB_TEST(AFilesListDecidesOnceItIsSet)
{
    MakeAs(L"SYSTEM");
    CHECK(SetFileList(kFile, L"D:(A;OICI;GRGWSD;;;AU)"));
    BecomeAccount(L"bob");
    CHECK(Opens(kFile, GENERIC_READ | GENERIC_WRITE | DELETE, OPEN_EXISTING));
    CHECK_FAILS(Opens(kFile, WRITE_DAC, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    BecomeAccount(L"SYSTEM");
    CHECK_FAILS(SetFileList(kFile, L"D:(A;;FA;;;BU)", READ_CONTROL), ERROR_ACCESS_DENIED);
    // A list without the system refuses the system, but its group owns the file.
    CHECK(SetFileList(kFile, L"D:(A;;FA;;;LS)"));
    CHECK_FAILS(Opens(kFile, GENERIC_READ, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    CHECK(Opens(kFile, WRITE_DAC, OPEN_EXISTING));
    // Who may delete what is in the folder needs no right to the file.
    CHECK(DeleteFileW(kFile));
}

LAB_TEST(AFileKeepsWhatItsListSaysAndNothingInheritsFromIt)
{
    MakeAs(L"SYSTEM");
    CHECK(SetFileList(kFile, L"D:(A;OICI;GRGWSD;;;AU)"));
    const HANDLE file =
        CreateFileW(kFile, READ_CONTROL, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    CHECK(GetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                          nullptr, nullptr, &descriptor) == ERROR_SUCCESS);
    LPWSTR text = nullptr;
    ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                         DACL_SECURITY_INFORMATION, &text, nullptr);
    CHECK(std::wstring(text) == L"D:(A;;0x13019f;;;AU)");
    LocalFree(text);
    LocalFree(descriptor);
    CloseHandle(file);
    CHECK(DeleteFileW(kFile) && RemoveDirectoryW(kFolder));
}

// Wine leaves a file its path when the name is taken away from outside, as an attacker may who acts
// without the lab. Taking it away in Wine does the same.
LAB_TEST(ANameThatWasTakenAwayMeanwhileIsToldAsDeleted)
{
    const wchar_t* const other = L"C:\\ProgramData\\PalvoLabSelfTest\\other.txt";
    MakeAs(L"SYSTEM");
    const HANDLE file =
        CreateFileW(kFile, FILE_APPEND_DATA, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
    FILE_STANDARD_INFO information = {};
    CHECK(GetFileInformationByHandleEx(file, FileStandardInfo, &information, sizeof information));
    CHECK(!information.DeletePending);
    CHECK(MoveFileExW(kFile, other, 0));
    CHECK(Opens(kFile, GENERIC_WRITE, CREATE_NEW));
    CHECK(GetFileInformationByHandleEx(file, FileStandardInfo, &information, sizeof information));
    CHECK(information.DeletePending);
    CloseHandle(file);
    CHECK(DeleteFileW(kFile) && DeleteFileW(other) && RemoveDirectoryW(kFolder));
}
