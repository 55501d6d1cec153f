// Computes users' identifiers as the program does, and prints the name of every DLL that is loaded
// meanwhile, a line each, also of those that are unloaded again.
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

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

namespace
{
/// UNICODE_STRING; no header declares what comes here.
struct SystemText
{
    USHORT bytes;
    USHORT room;
    const wchar_t* text;
};

/// LDR_DLL_NOTIFICATION_DATA
struct LoadedDll
{
    ULONG reserved;
    const SystemText* path;
    const SystemText* name;
    void* base;
    ULONG size;
};

using NoteFunction = void CALLBACK(ULONG reason, const LoadedDll* dll, void*);

std::set<std::string> loaded;

void CALLBACK Note(ULONG reason, const LoadedDll* dll, void*)
{
    constexpr ULONG Loaded = 1;
    if (reason == Loaded)
    {
        const wchar_t* const end = dll->name->text + dll->name->bytes / sizeof(wchar_t);
        std::string name;
        for (const wchar_t* at = dll->name->text; at != end; ++at)
        {
            name += static_cast<char>(*at);
        }
        loaded.insert(name);
    }
}

/// From now on every load is noted. Ends the process when Windows does not tell of loads.
void NoteLoads()
{
    using Register = LONG NTAPI(ULONG, NoteFunction*, void*, void**);
    const auto registerNote = reinterpret_cast<Register*>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "LdrRegisterDllNotification")));
    void* cookie = nullptr;
    if (registerNote == nullptr || registerNote(0, &Note, nullptr, &cookie) != 0)
    {
        std::printf("no loads are told of\n");
        std::exit(1);
    }
}

unsigned impersonations = 0;

const PalvoLab::StandIn<decltype(&ImpersonateLoggedOnUser)>* impersonation = nullptr;

BOOL WINAPI Impersonate(HANDLE token)
{
    if (impersonations++ == 0)
    {
        NoteLoads();
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
    if (mode == "sessions")
    {
        UpdateSessions();
    }
    else if (mode == "users")
    {
        NoteLoads();
        ComputeForUsers(std::atoi(arguments[2]));
    }
    else
    {
        NoteLoads();
        ComputeUserId(L"user");
        ComputeDeviceId();
    }
    for (const std::string& dll : loaded)
    {
        std::printf("%s\n", dll.c_str());
    }
    if (mode == "sessions")
    {
        std::printf("impersonated %u times\n", impersonations);
    }
    return 0;
}
