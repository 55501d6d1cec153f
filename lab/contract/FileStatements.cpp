// Files below ProgramData: what a path, a handle and an access list lead to.
#include "Check.h"

#include "AccessList.h"
#include "Owners.h"

#include <aclapi.h>
#include <winioctl.h>

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
    Folder()
    {
        CHECK(CreateDirectoryW(kFolder, nullptr) && Opens(kFile, GENERIC_WRITE, CREATE_NEW));
    }

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
    const FileHandle file(Open(path, READ_CONTROL));
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    GetSecurityInfo(file.Get(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                    nullptr, nullptr, &descriptor);
    const std::wstring text = DescriptorText(descriptor, DACL_SECURITY_INFORMATION);
    LocalFree(descriptor);
    return text;
}

// Of files that are deleted by handle, as Windows 10 knows it: the name is free at once.
bool DeleteAtOnce(HANDLE file)
{
    DWORD flags = 0x1 | 0x2; // FILE_DISPOSITION_FLAG_DELETE, _POSIX_SEMANTICS
    return SetFileInformationByHandle(file, static_cast<FILE_INFO_BY_HANDLE_CLASS>(21), &flags,
                                      sizeof flags);
}

bool MarkForDeletion(HANDLE file, BOOLEAN marked)
{
    FILE_DISPOSITION_INFO information = {marked};
    return SetFileInformationByHandle(file, FileDispositionInfo, &information, sizeof information);
}

HANDLE OpenFolder(const wchar_t* path, DWORD access, DWORD flags)
{
    return CreateFileW(path, access, kShareAll, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
}

// REPARSE_DATA_BUFFER of a mount point, which no header for programs declares.
struct MountData
{
    DWORD tag = IO_REPARSE_TAG_MOUNT_POINT;
    WORD size = 0;
    WORD reserved = 0;
    WORD targetOffset = 0;
    WORD targetSize = 0;
    WORD shownOffset = 0;
    WORD shownSize = 0;
    std::array<wchar_t, 300> target = {};
};

// Makes a mount point of an empty folder. The target begins with \??\.
bool Mount(const wchar_t* folder, const std::wstring& target)
{
    MountData point;
    target.copy(point.target.data(), target.size());
    point.targetSize = static_cast<WORD>(target.size() * sizeof(wchar_t));
    point.shownOffset = static_cast<WORD>(point.targetSize + sizeof(wchar_t));
    point.size = static_cast<WORD>(8 + point.shownOffset + sizeof(wchar_t));
    const FileHandle opened(OpenFolder(folder, GENERIC_WRITE, FILE_FLAG_OPEN_REPARSE_POINT));
    DWORD returned = 0;
    return DeviceIoControl(opened.Get(), FSCTL_SET_REPARSE_POINT, &point, 8 + point.size, nullptr,
                           0, &returned, nullptr);
}

// A mount point, which goes with it, and what was made through it.
class MountPoint
{
public:
    MountPoint(const wchar_t* path, const wchar_t* target) : m_path(path)
    {
        CHECK(CreateDirectoryW(path, nullptr) && Mount(path, std::wstring(L"\\??\\") + target));
    }

    MountPoint(const MountPoint&) = delete;
    MountPoint& operator=(const MountPoint&) = delete;

    ~MountPoint()
    {
        RemoveDirectoryW((m_path + L"\\below").c_str());
        RemoveDirectoryW(m_path.c_str());
    }

private:
    std::wstring m_path;
};

} // namespace

STATEMENT(AnyHandleTellsItsPathAndItsNames,
          "GetFinalPathNameByHandleW, GetFileInformationByHandle(Ex)", Caller::Anybody)
{
    const Folder folder;
    for (const DWORD access : {DWORD{DELETE}, DWORD{FILE_APPEND_DATA | SYNCHRONIZE}, DWORD{0}})
    {
        const FileHandle file(Open(kFile, access));
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
        const FileHandle link(Open(kOther, GENERIC_READ));
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
    const FileHandle held(Open(kFile, GENERIC_READ, OPEN_EXISTING, 0));
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

STATEMENT(AHandleThatMayOnlyAppendWritesAtTheEnd, "CreateFileW, WriteFile", Caller::Anybody)
{
    const Folder folder;
    DWORD written = 0;
    for (const char* text : {"one", "two"})
    {
        const FileHandle file(Open(kFile, FILE_APPEND_DATA | SYNCHRONIZE));
        CHECK(WriteFile(file.Get(), text, 3, &written, nullptr));
    }
    const FileHandle file(Open(kFile, GENERIC_READ));
    std::array<char, 10> bytes = {};
    CHECK(ReadFile(file.Get(), bytes.data(), 10, &written, nullptr));
    CHECK(std::string(bytes.data(), written) == "onetwo");
}

STATEMENT(AFileMarkedForDeletionGoesWithItsLastHandle, "SetFileInformationByHandle",
          Caller::Anybody)
{
    const Folder folder;
    {
        const FileHandle file(Open(kFile, DELETE));
        CHECK(MarkForDeletion(file.Get(), TRUE));
        CHECK(MarkForDeletion(file.Get(), FALSE));
    }
    CHECK(Opens(kFile, GENERIC_READ));
    {
        const FileHandle file(Open(kFile, DELETE));
        CHECK(MarkForDeletion(file.Get(), TRUE));
    }
    CHECK_FAILS(Opens(kFile, GENERIC_READ), ERROR_FILE_NOT_FOUND);
}

WINDOWS_STATEMENT(ANameDeletedByHandleIsFreeAtOnceSinceWindows10, "SetFileInformationByHandle",
                  Caller::Anybody)
{
    const Folder folder;
    const FileHandle file(Open(kFile, DELETE));
    CHECK(DeleteAtOnce(file.Get()));
    CHECK(Opens(kFile, GENERIC_WRITE, CREATE_NEW));
}

WINDOWS_STATEMENT(ANameMarkedForDeletionDoesNotCount, "GetFileInformationByHandleEx",
                  Caller::Anybody)
{
    const Folder folder;
    CHECK(CreateHardLinkW(kOther, kFile, nullptr));
    const FileHandle file(Open(kFile, DELETE));
    const FileHandle link(Open(kOther, 0));
    CHECK(MarkForDeletion(file.Get(), TRUE));
    FILE_STANDARD_INFO information = {};
    CHECK(GetFileInformationByHandleEx(file.Get(), FileStandardInfo, &information,
                                       sizeof information));
    CHECK(information.NumberOfLinks == 1 && information.DeletePending);
    CHECK(Names(link.Get()) == 1);
}

WINDOWS_STATEMENT(AMountPointThatLeadsToNothingIsOpenedItselfAlone, "CreateFileW, CreateDirectoryW",
                  Caller::Anybody)
{
    const Folder folder;
    const wchar_t* const point = L"C:\\ProgramData\\PalvoContract\\point";
    const MountPoint made(point, L"C:\\ProgramData\\PalvoContract\\not there");
    CHECK(!FileHandle(OpenFolder(point, 0, 0)));
    CHECK(!CreateDirectoryW(L"C:\\ProgramData\\PalvoContract\\point\\below", nullptr));
    {
        const FileHandle itself(OpenFolder(point, 0, FILE_FLAG_OPEN_REPARSE_POINT));
        BY_HANDLE_FILE_INFORMATION information = {};
        CHECK(GetFileInformationByHandle(itself.Get(), &information));
        CHECK((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0);
        CHECK(FinalPath(itself.Get()) == std::wstring(L"\\\\?\\") + point);
    }
}

WINDOWS_STATEMENT(WhatIsReachedThroughAMountPointHasThePathBehindIt, "GetFinalPathNameByHandleW",
                  Caller::Anybody)
{
    const Folder folder;
    const MountPoint made(L"C:\\ProgramData\\PalvoContractPoint", kFolder);
    const FileHandle file(CreateFileW(L"C:\\ProgramData\\PalvoContractPoint\\file.txt", 0,
                                      kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    CHECK(FinalPath(file.Get()) == std::wstring(L"\\\\?\\") + kFile);
}
