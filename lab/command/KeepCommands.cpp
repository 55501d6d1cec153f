#include "Command.h"

#include "FileRights.h"
#include "Hives.h"
#include "LabState.h"

#include <filesystem>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKept[] = L"Software\\PalvoLabKept\\";

struct Key
{
    HKEY root;
    std::wstring path;

    void Copy(const Key& to) const
    {
        if (const LabKey from = LabKey::Open(root, path))
        {
            RegCopyTreeW(from.Get(), nullptr, LabKey::Create(to.root, to.path).Get());
        }
    }
};

// What makes the machine: the lab's state with the users' hives, what the program stored, and the
// two bags that stand in hives of Wine's own.
const std::vector<Key>& Keys()
{
    static const std::wstring bags = L"\\Software\\Classes\\Local Settings\\Printers";
    static const std::vector<Key> keys = {{HKEY_LOCAL_MACHINE, kStateKey},
                                          {HKEY_LOCAL_MACHINE, L"Software\\Palvo"},
                                          {HKEY_USERS, L".Default" + bags},
                                          {HKEY_USERS, L"S-1-5-21-0-0-0-1000" + bags}};
    return keys;
}

Key KeptKey(std::size_t number)
{
    return {HKEY_LOCAL_MACHINE, kKept + std::to_wstring(number)};
}

void CopyFolder(const std::filesystem::path& from, const std::filesystem::path& to)
{
    std::filesystem::remove_all(to);
    if (std::filesystem::exists(from))
    {
        std::filesystem::copy(from, to, std::filesystem::copy_options::recursive);
    }
}

struct Folders
{
    std::filesystem::path lab = std::filesystem::path(DataFolder()).parent_path();
    std::filesystem::path program = lab.parent_path() / L"Palvo";
    std::filesystem::path keptLab = lab.root_path() / L"PalvoLabKept" / L"Lab";
    std::filesystem::path keptProgram = keptLab.parent_path() / L"Program";
};

} // namespace

int RunKeep(const Arguments& arguments)
{
    if (!arguments.empty())
    {
        return Misused(L"keep");
    }
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kKept);
    for (std::size_t number = 0; number < Keys().size(); ++number)
    {
        Keys()[number].Copy(KeptKey(number));
    }
    const Folders folders;
    std::filesystem::create_directories(folders.keptLab.parent_path());
    CopyFolder(folders.lab, folders.keptLab);
    CopyFolder(folders.program, folders.keptProgram);
    return kDone;
}

int RunRestore(const Arguments& arguments)
{
    if (!arguments.empty())
    {
        return Misused(L"restore");
    }
    if (!LabKey::Open(HKEY_LOCAL_MACHINE, kKept))
    {
        return Complain(L"no machine was kept");
    }
    RemoveStateKey(L"");
    for (std::size_t number = 0; number < Keys().size(); ++number)
    {
        KeptKey(number).Copy(Keys()[number]);
    }
    const Folders folders;
    CopyFolder(folders.keptLab, folders.lab);
    CopyFolder(folders.keptProgram, folders.program);
    AdoptFiles();
    MountHives();
    return kDone;
}

} // namespace PalvoLab
