// Computes users' identifiers as the program does, and prints the name of every DLL that is loaded
// meanwhile, a line each.
//
//     IdentifierProbe             without a user, after the program's preparation
//     IdentifierProbe unprepared  the same without it
//     IdentifierProbe users N     for N users in turn, whom it impersonates
//     IdentifierProbe sessions    all that is written for the users who are logged on, from the
//                                 first impersonation on; then how often it impersonated

#include "Identifiers.h"
#include "ImpersonateMainSessionUserWrapper.h"
#include "LogFile.h"
#include "UserPropertyBags.h"
#include "WindowsHeaders.h"

#include "../../lab/core/ImportPatch.h"

#include <psapi.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

namespace
{
using Names = std::set<std::string>;

Names LoadedDlls()
{
    std::array<HMODULE, 1024> modules = {};
    DWORD size = 0;
    EnumProcessModules(GetCurrentProcess(), modules.data(), sizeof modules, &size);
    Names names;
    for (std::size_t i = 0; i < size / sizeof(HMODULE); ++i)
    {
        std::array<char, MAX_PATH> name = {};
        GetModuleBaseNameA(GetCurrentProcess(), modules[i], name.data(), MAX_PATH);
        names.insert(name.data());
    }
    return names;
}

Names loadedBefore;
unsigned impersonations = 0;

const PalvoLab::StandIn<decltype(&ImpersonateLoggedOnUser)>* impersonation = nullptr;

BOOL WINAPI Impersonate(HANDLE token)
{
    if (impersonations++ == 0)
    {
        loadedBefore = LoadedDlls();
    }
    return impersonation->Original()(token);
}

/// The process's own user stands for each of them.
void ComputeForUsers(int count)
{
    KernelHandle token;
    token.KeepIf(OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, token.Receive()));
    for (int i = 0; i < count; ++i)
    {
        ImpersonateMainSessionUserWrapper user;
        if (!user.Impersonate(token.Get()))
        {
            std::printf("no impersonation\n");
        }
        ComputeUserId(L"user");
        ComputeDeviceId();
    }
}

void UpdateSessions()
{
    std::wstring folder(MAX_PATH, L'\0');
    folder.resize(GetTempPathW(MAX_PATH, folder.data()));
    LogFile log(folder + L"IdentifierProbe", L"Log");
    const PalvoLab::StandIn standIn("ADVAPI32", "ImpersonateLoggedOnUser", &Impersonate);
    impersonation = &standIn;
    UpdateUserPropertyBags(log);
}
} // namespace

int main(int count, char** arguments)
{
    const std::string mode = count > 1 ? arguments[1] : "";
    if (mode.empty() || mode == "users")
    {
        LoadDllsOfIdentifiers();
    }
    loadedBefore = LoadedDlls();
    if (mode == "sessions")
    {
        UpdateSessions();
    }
    else if (mode == "users")
    {
        ComputeForUsers(std::atoi(arguments[2]));
    }
    else
    {
        ComputeUserId(L"user");
        ComputeDeviceId();
    }
    for (const std::string& dll : LoadedDlls())
    {
        if (!loadedBefore.contains(dll))
        {
            std::printf("%s\n", dll.c_str());
        }
    }
    if (mode == "sessions")
    {
        std::printf("impersonated %u times\n", impersonations);
    }
    return 0;
}
