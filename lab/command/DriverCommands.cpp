#include "Command.h"

#include "LabState.h"
#include "PrinterStore.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

void PrintDriver(const Driver& driver, const wchar_t* state)
{
    std::wstring line =
        driver.name + L"\tversion " + std::to_wstring(driver.version) + L"\t" + state;
    for (const std::wstring& file : driver.dependentFiles)
    {
        line += L"\t" + file;
    }
    Print(line);
}

int ListDrivers()
{
    for (const Driver& driver : Drivers())
    {
        PrintDriver(driver, L"installed");
    }
    for (const Driver& driver : Packages())
    {
        PrintDriver(driver, L"package");
    }
    return kDone;
}

int AddDriverCommand(Arguments arguments, bool packageOnly)
{
    DriverRequest request;
    request.packageOnly = packageOnly;
    request.platform = TakeOption(arguments, L"--platform");
    request.manifestName = TakeOption(arguments, L"--manifest");
    if (const auto version = TakeOption(arguments, L"--version"))
    {
        request.version = static_cast<std::uint32_t>(ParseNumber(*version).value_or(4));
    }
    if (const auto path = TakeOption(arguments, L"--manifest-file"))
    {
        request.manifestBytes = ReadWholeFile(ToWindowsPath(*path));
        if (!request.manifestBytes)
        {
            return Complain(L"'" + *path + L"' cannot be read");
        }
    }
    while (const auto file = TakeOption(arguments, L"--file"))
    {
        request.otherFiles.push_back(*file);
    }
    if (arguments.size() != 1 || arguments[0].empty() ||
        arguments[0].find(L'\\') != std::wstring::npos)
    {
        return Misused(L"driver");
    }
    request.name = arguments[0];
    AddDriver(request);
    return kDone;
}

} // namespace

int RunDriver(const Arguments& arguments)
{
    if (arguments.size() == 1 && arguments[0] == L"list")
    {
        return ListDrivers();
    }
    if (arguments.size() > 1 && (arguments[0] == L"add" || arguments[0] == L"package"))
    {
        return AddDriverCommand(Arguments(arguments.begin() + 1, arguments.end()),
                                arguments[0] == L"package");
    }
    return Misused(L"driver");
}

} // namespace PalvoLab
