#include "FolderRights.h"
#include "Looks.h"
#include "ProgramPaths.h"
#include "Rules.h"
#include "WindowsVersion.h"

namespace
{
bool IsFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

/// "C:\" of "C:\Suite", and nothing of that.
std::wstring FolderAbove(const std::wstring& folder)
{
    const std::size_t slash = folder.rfind(L'\\');
    if (slash == std::wstring::npos || slash + 1 == folder.size())
    {
        return {};
    }
    return folder.substr(0, slash == 2 ? 3 : slash);
}
} // namespace

SuiteFacts LookAtSuite(const std::wstring& folder)
{
    SuiteFacts facts;
    facts.isWindows8 = IsWindowsVersionOrLater(6, 2);
    facts.folder = folder;
    const ProgramPaths paths = ProgramPathsIn(folder);
    for (const std::wstring& path : {paths.configuration, paths.query, paths.writer})
    {
        if (!IsFile(path))
        {
            facts.missing.push_back(path);
        }
    }
    for (const std::wstring& path : PathsOnTheWay(paths.writer))
    {
        if (IsFile(path))
        {
            facts.onTheWay.push_back(path);
        }
    }
    for (std::wstring above = folder; above.size() >= 3; above = FolderAbove(above))
    {
        LookAtRights(above, facts);
    }
    return facts;
}
