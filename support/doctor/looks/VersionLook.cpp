#include "Format.h"
#include "Looks.h"
#include "ProgramPaths.h"
#include "Text.h"

#include <array>

namespace
{
/// "7.0.0.0", of the resource that Windows compares (VS_FIXEDFILEINFO); empty when there is none.
std::wstring VersionOf(const std::wstring& path)
{
    DWORD unused = 0;
    std::vector<BYTE> resource(GetFileVersionInfoSizeW(path.c_str(), &unused));
    VS_FIXEDFILEINFO* version = nullptr;
    UINT size = 0;
    if (resource.empty() ||
        !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()),
                             resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&version), &size) ||
        size < sizeof *version)
    {
        return {};
    }
    return Format(L"%lu.%lu.%lu.%lu", version->dwFileVersionMS >> 16,
                  version->dwFileVersionMS & 0xFFFF, version->dwFileVersionLS >> 16,
                  version->dwFileVersionLS & 0xFFFF);
}

std::wstring SystemFolder()
{
    std::array<wchar_t, MAX_PATH> folder = {};
    const UINT length = GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    return length < folder.size() ? folder.data() : L"";
}
} // namespace

VersionFacts LookAtVersions(const std::wstring& folder)
{
    VersionFacts facts;
    const ProgramPaths paths = ProgramPathsIn(folder);
    for (const std::wstring& path :
         {SystemFolder() + L"\\kernel32.dll", paths.configuration, paths.query, paths.writer})
    {
        facts.files[FileNameOf(path)] = VersionOf(path);
    }
    facts.codePage = GetACP();
    return facts;
}
