// Files are Wine's. They pass through here to be given and refused by account, to be recorded, and
// to give less than was asked for. What is asked of an open handle needs no more rights than it
// has.
#include "DoubleTable.h"
#include "Impersonation.h"
#include "OddReads.h"

#include "CallRecord.h"
#include "FileRights.h"
#include "LeakRecord.h"
#include "Turn.h"

#include <algorithm>
#include <utility>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kHandle[] = L"handle";

std::optional<OddRead> asked;

std::wstring PathOf(LPCWSTR path)
{
    return path == nullptr ? L"" : path;
}

DWORD Denied(bool isAllowed)
{
    return isAllowed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

DWORD CheckAdding(const std::wstring& path, bool isFolder)
{
    const DWORD error = LevelError();
    return error != ERROR_SUCCESS ? error : Denied(MayAdd(path, EffectiveIdentity(), isFolder));
}

DWORD CheckOpening(const std::wstring& path, const std::optional<LabFile>& file, DWORD access,
                   DWORD disposition, DWORD flags)
{
    if (!file)
    {
        const bool makes = disposition != OPEN_EXISTING && disposition != TRUNCATE_EXISTING;
        return makes ? CheckAdding(path, false) : ERROR_SUCCESS;
    }
    if (disposition == CREATE_NEW)
    {
        return ERROR_SUCCESS; // Wine says that it exists.
    }
    if (disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING)
    {
        access |= FILE_WRITE_DATA;
    }
    if ((flags & FILE_FLAG_DELETE_ON_CLOSE) != 0)
    {
        access |= DELETE;
    }
    const DWORD error = LevelError();
    return error != ERROR_SUCCESS ? error : Denied(MayUse(*file, EffectiveIdentity(), access));
}

HANDLE WINAPI DoubleCreateFileW(LPCWSTR name, DWORD access, DWORD share,
                                LPSECURITY_ATTRIBUTES attributes, DWORD disposition, DWORD flags,
                                HANDLE model)
{
    TakeTurn(L"CreateFileW file " + PathOf(name));
    Call call(L"CreateFileW", name, access, share, disposition, flags);
    const auto there = FindFile(PathOf(name), flags);
    const DWORD error = CheckOpening(PathOf(name), there, access, disposition, flags);
    if (error != ERROR_SUCCESS)
    {
        return call.Fail(error, INVALID_HANDLE_VALUE);
    }
    const HANDLE file = CreateFileW(name, access, share, attributes, disposition, flags, model);
    if (file != INVALID_HANDLE_VALUE)
    {
        CountOpened(kHandle, file, std::wstring(L"file ") + PathOf(name));
        if (!there)
        {
            NoteMade(name, EffectiveIdentity());
        }
    }
    return call.Return(file);
}

BOOL WINAPI DoubleCreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES attributes)
{
    Call call(L"CreateDirectoryW", path);
    if (!FindFile(PathOf(path)))
    {
        if (const DWORD error = CheckAdding(PathOf(path), true); error != ERROR_SUCCESS)
        {
            return call.Fail(error);
        }
    }
    const BOOL made = CreateDirectoryW(path, attributes);
    if (made)
    {
        NoteMade(path, EffectiveIdentity(),
                 attributes == nullptr ? nullptr : attributes->lpSecurityDescriptor);
    }
    return call.Return(made);
}

BOOL WINAPI DoubleCopyFileW(LPCWSTR from, LPCWSTR to, BOOL onlyNew)
{
    Call call(L"CopyFileW", from, to, onlyNew);
    const auto target = FindFile(PathOf(to));
    DWORD error =
        CheckOpening(PathOf(from), FindFile(PathOf(from)), GENERIC_READ, OPEN_EXISTING, 0);
    if (error == ERROR_SUCCESS)
    {
        error = CheckOpening(PathOf(to), target, GENERIC_WRITE,
                             onlyNew ? CREATE_NEW : CREATE_ALWAYS, 0);
    }
    if (error != ERROR_SUCCESS)
    {
        return call.Fail(error);
    }
    const BOOL copied = CopyFileW(from, to, onlyNew);
    if (copied && !target)
    {
        NoteMade(to, EffectiveIdentity());
    }
    return call.Return(copied);
}

BOOL WINAPI DoubleDeleteFileW(LPCWSTR path)
{
    TakeTurn(L"DeleteFileW file " + PathOf(path));
    Call call(L"DeleteFileW", path);
    constexpr DWORD flags = FILE_FLAG_OPEN_REPARSE_POINT;
    const DWORD error =
        CheckOpening(PathOf(path), FindFile(PathOf(path), flags), DELETE, OPEN_EXISTING, flags);
    return error != ERROR_SUCCESS ? call.Fail(error) : call.Return(DeleteFileW(path));
}

// Whether the name by which a file was opened still leads to it.
bool HasItsName(HANDLE file)
{
    const auto opened = FileOf(file);
    const auto there = opened ? FindFile(opened->path, FILE_FLAG_OPEN_REPARSE_POINT) : std::nullopt;
    return there && there->id == opened->id;
}

// Of a name that was deleted meanwhile Wine tells no more than that there is one less.
BOOL WINAPI DoubleGetFileInformationByHandleEx(HANDLE file, FILE_INFO_BY_HANDLE_CLASS what,
                                               LPVOID buffer, DWORD size)
{
    Call call(L"GetFileInformationByHandleEx", file, static_cast<DWORD>(what));
    const bool hadName = what != FileStandardInfo || HasItsName(file);
    const BOOL told = GetFileInformationByHandleEx(file, what, buffer, size);
    if (told && what == FileStandardInfo && !(hadName && HasItsName(file)))
    {
        static_cast<FILE_STANDARD_INFO*>(buffer)->DeletePending = TRUE;
    }
    return call.Return(told);
}

BOOL WINAPI DoubleReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read,
                           LPOVERLAPPED overlapped)
{
    Call call(L"ReadFile", file, size);
    if (const auto odd = TakeOddRead())
    {
        size = std::min<DWORD>(size, odd->bytes);
    }
    return call.Return(ReadFile(file, buffer, size, read, overlapped));
}

} // namespace

void AskForOddRead(const OddRead& read)
{
    asked = read;
}

std::optional<OddRead> TakeOddRead()
{
    return std::exchange(asked, std::nullopt);
}

void AddFileDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "KERNEL32", CreateFileW);
    PALVOLAB_DOUBLE(list, "KERNEL32", CreateDirectoryW);
    PALVOLAB_DOUBLE(list, "KERNEL32", CopyFileW);
    PALVOLAB_DOUBLE(list, "KERNEL32", DeleteFileW);
    PALVOLAB_DOUBLE(list, "KERNEL32", GetFileInformationByHandleEx);
    PALVOLAB_DOUBLE(list, "KERNEL32", ReadFile);
}

} // namespace PalvoLab
