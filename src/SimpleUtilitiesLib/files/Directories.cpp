#include "Directories.h"

#include "WindowsHeaders.h"

namespace
{
bool CreateOrFind(const std::wstring& directory)
{
    return CreateDirectoryW(directory.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
}

/// The position of the first component that may be created; npos if the path has neither a drive
/// nor a server.
std::size_t FirstComponent(const std::wstring& path)
{
    // Look for the drive first: in "\\?\C:\a" it follows what looks like a server.
    if (const std::size_t drive = path.find(L":\\"); drive != std::wstring::npos)
    {
        return drive + 2;
    }
    if (path.starts_with(L"\\\\"))
    {
        const std::size_t serverEnd = path.find(L'\\', 2);
        return serverEnd == std::wstring::npos ? serverEnd : serverEnd + 1;
    }
    return std::wstring::npos;
}
} // namespace

bool MakeDirectory(const std::wstring& directory)
{
    if (CreateOrFind(directory))
    {
        return true;
    }
    std::wstring path = directory;
    if (path.size() > 1 && path.ends_with(L'\\'))
    {
        path.pop_back();
    }
    std::size_t end = FirstComponent(path);
    while (end != std::wstring::npos && (end = path.find(L'\\', end)) != std::wstring::npos)
    {
        if (!CreateOrFind(path.substr(0, end)))
        {
            return false;
        }
        ++end;
    }
    return CreateOrFind(path);
}
