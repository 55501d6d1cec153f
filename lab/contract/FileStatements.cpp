// Files below ProgramData: what a path, a handle and an access list lead to.
#include "Check.h"

#include "AccessList.h"
#include "Owners.h"

#include <aclapi.h>

#include <array>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kFolder[] = L"C:\\ProgramData\\PalvoContract";
constexpr wchar_t kFile[] = L"C:\\ProgramData\\PalvoContract\\file.txt";
constexpr wchar_t kOther[] = L"C:\\ProgramData\\PalvoContract\\other.txt";
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE Open(const wchar_t* path, DWORD access, DWORD disposition = OPEN_EXISTING,
            DWORD share = kShareAll)
{
    return CreateFileW(path, access, share, nullptr, disposition, 0, nullptr);
}

bool Opens(const wchar_t* path, DWORD access, DWORD disposition = OPEN_EXISTING)
{
    const HANDLE file = Open(path, access, disposition);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file);
}

// The caller's folder with the caller's empty file; both go with it.
class Folder
{
public:
    Folder() { CHECK(CreateDirectoryW(kFolder, nullptr) && Opens(kFile, GENERIC_WRITE, CREATE_NEW)); }

    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    ~Folder()
    {
        DeleteFileW(kFile);
        DeleteFileW(kOther);
        CHECK(RemoveDirectoryW(kFolder));
    }
};

std::wstring FinalPath(HANDLE file)
{
    std::array<wchar_t, 300> path = {};
    GetFinalPathNameByHandleW(file, path.data(), 300, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    return path.data();
}

DWORD Names(HANDLE file)
{
    FILE_STANDARD_INFO information = {};
    return GetFileInformationByHandleEx(file, FileStandardInfo, &information, sizeof information) &&
                   !information.DeletePending
               ? information.NumberOfLinks
               : 0;
}

std::wstring FileList(const wchar_t* path)
{
    const KernelHandle file(Open(path, READ_CONTROL));
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    GetSecurityInfo(file.Get(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                    nullptr, nullptr, &descriptor);
    const std::wstring text = DescriptorText(descriptor, DACL_SECURITY_INFORMATION);
    LocalFree(descriptor);
    return text;
}

} // namespace

STATEMENT(AnyHandleTellsItsPathAndItsNames,
          "GetFinalPathNameByHandleW, GetFileInformationByHandle(Ex)", Caller::Anybody)
{
    const Folder folder;
    for (const DWORD access : {DWORD{DELETE}, DWORD{FILE_APPEND_DATA | SYNCHRONIZE}, DWORD{0}})
    {
        const KernelHandle file(Open(kFile, access));
        BY_HANDLE_FILE_INFORMATION information = {};
        CHECK(FinalPath(file.Get()) == std::wstring(L"\\\\?\\") + kFile);
        CHECK(Names(file.Get()) == 1);
        CHECK(GetFileInformationByHandle(file.Get(), &information));
        CHECK((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0);
    }
}

STATEMENT(AHardLinkHasAPathOfItsOwnAndItsFilesList, "CreateHardLinkW, GetSecurityInfo",
          Caller::Anybody)
{
    const Folder folder;
    CHECK(SetFileList(kFile, L"D:P(A;;FA;;;WD)(A;;0x1;;;AN)"));
    CHECK(CreateHardLinkW(kOther, kFile, nullptr));
    {
        const KernelHandle link(Open(kOther, GENERIC_READ));
        CHECK(FinalPath(link.Get()) == std::wstring(L"\\\\?\\") + kOther);
        CHECK(Names(link.Get()) == 2);
    }
    CHECK(FileList(kOther) == FileList(kFile));
    CHECK(SetFileList(kOther, L"D:P(A;;FA;;;WD)"));
    CHECK(FileList(kFile).ends_with(L"(A;;FA;;;WD)"));
    CHECK(DeleteFileW(kOther));
    CHECK(Opens(kFile, GENERIC_READ));
}

STATEMENT(WhatIsThereIsNotMadeAnew, "CreateFileW, CreateDirectoryW", Caller::Anybody)
{
    const Folder folder;
    CHECK_FAILS(Opens(kFile, GENERIC_WRITE, CREATE_NEW), ERROR_FILE_EXISTS);
    CHECK_FAILS(CreateDirectoryW(kFolder, nullptr), ERROR_ALREADY_EXISTS);
}

STATEMENT(AMissingFileIsToldFromAMissingFolder, "CreateFileW, DeleteFileW, CreateDirectoryW",
          Caller::Anybody)
{
    const Folder folder;
    CHECK_FAILS(Opens(kOther, GENERIC_READ), ERROR_FILE_NOT_FOUND);
    CHECK_FAILS(DeleteFileW(kOther), ERROR_FILE_NOT_FOUND);
    CHECK_FAILS(Opens(L"C:\\ProgramData\\PalvoContract\\no\\file", GENERIC_READ),
                ERROR_PATH_NOT_FOUND);
    CHECK_FAILS(CreateDirectoryW(L"C:\\ProgramData\\PalvoContract\\no\\folder", nullptr),
                ERROR_PATH_NOT_FOUND);
}

STATEMENT(AFileThatIsNotSharedIsNeitherOpenedNorDeleted, "CreateFileW, DeleteFileW",
          Caller::Anybody)
{
    const Folder folder;
    const KernelHandle held(Open(kFile, GENERIC_READ, OPEN_EXISTING, 0));
    CHECK_FAILS(Opens(kFile, FILE_APPEND_DATA), ERROR_SHARING_VIOLATION);
    CHECK_FAILS(DeleteFileW(kFile), ERROR_SHARING_VIOLATION);
    // Who reads nothing but the file's attributes is no hindrance and has none.
    CHECK(Opens(kFile, 0));
}

STATEMENT(AFolderIsNoFile, "CreateFileW, DeleteFileW", Caller::Anybody)
{
    const Folder folder;
    CHECK_FAILS(Opens(kFolder, GENERIC_READ), ERROR_ACCESS_DENIED);
    CHECK_FAILS(DeleteFileW(kFolder), ERROR_ACCESS_DENIED);
}

STATEMENT(AListKeepsItsOwnerOutUntilItIsChanged, "CreateFileW, SetSecurityInfo", Caller::Anybody)
{
    const Folder folder;
    CHECK(SetFileList(kFile, L"D:P(A;;FR;;;WD)"));
    CHECK_FAILS(Opens(kFile, GENERIC_WRITE), ERROR_ACCESS_DENIED);
    CHECK(Opens(kFile, GENERIC_READ));
    CHECK(SetFileList(kFile, L"D:P(A;;FA;;;WD)"));
    CHECK(Opens(kFile, GENERIC_WRITE));
}

STATEMENT(TheFirstEntryThatSpeaksOfAFilesRightDecides, "CreateFileW", Caller::Anybody)
{
    const Folder folder;
    CHECK(SetFileList(kFile, L"D:P(D;;0x4;;;WD)(A;;FA;;;WD)"));
    CHECK_FAILS(Opens(kFile, FILE_APPEND_DATA), ERROR_ACCESS_DENIED);
    CHECK(Opens(kFile, FILE_WRITE_DATA));
    CHECK(SetFileList(kFile, L"D:P(A;;FA;;;WD)(D;;0x4;;;WD)"));
    CHECK(Opens(kFile, FILE_APPEND_DATA));
}

STATEMENT(ACopyNeedsItsSourceToBeReadAndItsTargetToBeWritten, "CopyFileW", Caller::Anybody)
{
    const Folder folder;
    CHECK(CopyFileW(kFile, kOther, TRUE));
    CHECK_FAILS(CopyFileW(kFile, kOther, TRUE), ERROR_FILE_EXISTS);
    CHECK(SetFileList(kOther, L"D:P(A;;FRSD;;;WD)"));
    CHECK_FAILS(CopyFileW(kFile, kOther, FALSE), ERROR_ACCESS_DENIED);
    CHECK(SetFileList(kFile, L"D:P(A;;0x130116;;;WD)"));
    CHECK(SetFileList(kOther, L"D:P(A;;FA;;;WD)"));
    CHECK_FAILS(CopyFileW(kFile, kOther, FALSE), ERROR_ACCESS_DENIED);
}
