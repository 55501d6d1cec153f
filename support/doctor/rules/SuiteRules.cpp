#include "FindingKinds.h"
#include "Format.h"
#include "Rules.h"

std::vector<std::wstring> PathsOnTheWay(const std::wstring& path)
{
    std::vector<std::wstring> paths;
    for (std::size_t blank = path.find(L' '); blank != std::wstring::npos;
         blank = path.find(L' ', blank + 1))
    {
        const std::wstring before = path.substr(0, blank);
        paths.push_back(before);
        paths.push_back(before + L".exe");
    }
    return paths;
}

void JudgeRights(const RightsFacts& rights, const FindingKind& kind, Report& report)
{
    for (const WritableFolder& writable : rights.writable)
    {
        report.Find(kind, Format(L"%s may write into %s.", writable.account, writable.folder));
    }
    for (const std::wstring& folder : rights.unreadable)
    {
        report.NotSeen(L"rights", Format(L"The rights of %s cannot be read.", folder));
    }
}

void JudgeSuite(const SuiteFacts& suite, Report& report)
{
    if (!suite.isWindows8)
    {
        report.Find(FindingKinds::WindowsTooOld, L"This Windows is older than Windows 8.");
    }
    for (const std::wstring& path : suite.missing)
    {
        report.Find(FindingKinds::ProgramMissing, Format(L"There is no %s.", path));
    }
    for (const std::wstring& path : suite.onTheWay)
    {
        report.Find(FindingKinds::ProgramOnTheWay, Format(L"There is a file %s.", path));
    }
    JudgeRights(suite.rights, FindingKinds::FolderWritable, report);
}
