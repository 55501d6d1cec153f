#include "ServerRegistration.h"

#include "LabState.h"

#include <vector>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kServerKey[] =
    L"Software\\Classes\\CLSID\\{0f87369f-a4e5-4cfc-bd3e-73e6154572dd}\\InprocServer32";
constexpr wchar_t kServer[] = L"palvotasks.dll";

std::wstring ServerPath()
{
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring program = path.data();
    return program.substr(0, program.rfind(L'\\') + 1) + kServer;
}

} // namespace

void RegisterTaskServer()
{
    if (Setting(L"Scheduler") == L"missing")
    {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kServerKey);
        return;
    }
    const std::wstring server = ServerPath();
    const LabKey key = LabKey::Create(HKEY_LOCAL_MACHINE, kServerKey);
    if (key.String(L"") != server)
    {
        key.SetString(L"", server);
        key.SetString(L"ThreadingModel", L"Both");
    }
}

} // namespace PalvoLab
