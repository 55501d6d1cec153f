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
        LookAtRights(above, facts.rights);
    }
    return facts;
}
