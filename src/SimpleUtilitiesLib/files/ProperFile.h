#pragma once

#include "Owners.h"

#include <string>
#include <string_view>

// Files in a folder where every user may write. A user can put a link, a hard link to another file
// or a mount point under a path that a more powerful account then opens. A proper file really lies
// under its path: an ordinary file, not a folder, device, pipe or reparse point, with one name (no
// hard link) and with that path as its final path. The check is made on the open handle, so that
// the file checked is the file used.
//
// Paths begin with a drive or a server and have no ".", ".." or short names. A path of more than
// 1,000 characters is never a proper file's.

/// Whether the open file is the proper one under `path`. Any handle of CreateFileW has enough
/// access. Allocates no memory.
bool IsProperFile(HANDLE file, const std::wstring& path) noexcept;

enum class WhenMissing
{
    Fail,
    Create
};

/// Opens the proper file under `path`. An invalid handle when that fails or the file is not the
/// proper one. Children do not inherit the handle. Throws std::bad_alloc, but only to create.
FileHandle OpenProperFile(const std::wstring& path, DWORD access, DWORD sharing,
                          WhenMissing whenMissing);

/// Creates a file that does not exist, with the right to delete it. An invalid handle on failure,
/// if the name is taken, or if its folder is reached through a link or a mount point. Throws
/// std::bad_alloc.
FileHandle CreateProperFile(const std::wstring& path, DWORD access, DWORD sharing);

/// Whether no folder on the way to `folder` is a link or a mount point, as far as folders exist and
/// can be opened. A file created below is then created there, unless a user adds a mount point in
/// between. Throws std::bad_alloc.
bool IsOnProperWay(std::wstring folder);

/// Deletes the name `path` without following links: deletes a link itself, and nothing that is
/// reached through a mount point. False, with the reason as the thread's last error, on failure.
/// Allocates no memory.
bool DeleteName(const std::wstring& path) noexcept;

/// Whether `finalPath`, as GetFinalPathNameByHandleW returns it, names the same file as `path`.
/// Ignores case as Windows's file systems do, '/' instead of '\', and doubled '\'.
bool IsSamePath(std::wstring_view finalPath, std::wstring_view path) noexcept;
