// Owners and access lists of files and folders. Of a list Wine keeps what the mode of a Unix file
// can say, so the lab keeps them itself, as texts in the descriptor definition language. What
// nobody made or changed in the lab belongs to the administrators and inherits from the folder
// above, down from what Windows has on ProgramData, Program Files and Windows. Elsewhere everybody
// may all.
#pragma once

#include "WindowsHeaders.h"

#include "Accounts.h"

#include <optional>
#include <string>

namespace PalvoLab
{

struct LabFile
{
    std::wstring path; // the final one
    std::wstring id;   // tells it from a later one under its path
    bool isFolder = false;
    bool hasOtherNames = false; // hard links, which have one list
};

// What a path leads to; nothing when there is nothing. Links are followed unless `flags`, those of
// CreateFileW, say otherwise.
std::optional<LabFile> FindFile(const std::wstring& path, DWORD flags = 0);
std::optional<LabFile> FileOf(HANDLE file);

// Owner and list; empty where everybody may all.
std::wstring SecurityOf(const LabFile& file);
void SetSecurityOf(const LabFile& file, const std::wstring& text);

// Whether an account may open a file for `access`, or make one in the path's folder. Who may delete
// a folder's children may delete them whatever their own lists say.
bool MayUse(const LabFile& file, const Identity& identity, DWORD access);
bool MayAdd(const std::wstring& path, const Identity& identity, bool isFolder);

// What this account made has its owner from now on, and inherits; or it has the descriptor that it
// was made with, when that has an owner and a list.
void NoteMade(const std::wstring& path, const Identity& creator,
              PSECURITY_DESCRIPTOR given = nullptr);

// Files that were copied to a path of which security is kept have that.
void AdoptFiles();

} // namespace PalvoLab
