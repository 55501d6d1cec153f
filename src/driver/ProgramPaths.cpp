#include "ProgramPaths.h"

#include "ComOwners.h"
#include "Format.h"

#include <initguid.h>
#include <knownfolders.h>
#include <shlobj.h>

namespace
{
/// Memory that the shell allocated.
using ShellText = Owner<NullIsNothing<wchar_t*, &GiveBack::TaskMemory>>;
} // namespace

ProgramPaths ProgramPathsIn(const std::wstring& directory)
{
    if (directory.empty())
    {
        return {};
    }
    return {directory + L"\\PalvoPrinterConfiguration.exe", directory + L"\\PalvoPrinterQuery.exe",
            directory + L"\\PalvoPrinterConfigurationWriter.exe"};
}

std::wstring LogDirectory()
{
    // The text must be released even if the call fails.
    ShellText programData;
    const HRESULT result =
        SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_CREATE, nullptr, programData.Receive());
    if (FAILED(result) || !programData)
    {
        return {};
    }
    return Format("%s%s\\%s", programData.Get(),
                  L"\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration", L"PalvoOrvela");
}
