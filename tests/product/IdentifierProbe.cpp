// Computes both identifiers as the program does for a user, and prints the name of every DLL that
// is loaded meanwhile, a line each. With "unprepared" the DLLs are not loaded before.

#include "IdentifierDlls.h"
#include "Identifiers.h"
#include "WindowsHeaders.h"

#include <psapi.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>

namespace
{
std::set<std::string> LoadedDlls()
{
    std::array<HMODULE, 1024> modules = {};
    DWORD size = 0;
    EnumProcessModules(GetCurrentProcess(), modules.data(), sizeof modules, &size);
    std::set<std::string> names;
    for (std::size_t i = 0; i < size / sizeof(HMODULE); ++i)
    {
        std::array<char, MAX_PATH> name = {};
        GetModuleBaseNameA(GetCurrentProcess(), modules[i], name.data(), MAX_PATH);
        names.insert(name.data());
    }
    return names;
}
} // namespace

int main(int count, char** arguments)
{
    if (count == 1 || std::strcmp(arguments[1], "unprepared") != 0)
    {
        LoadDllsOfIdentifiers();
    }
    const std::set<std::string> before = LoadedDlls();
    ComputeUserId(L"user");
    ComputeDeviceId();
    for (const std::string& dll : LoadedDlls())
    {
        if (!before.contains(dll))
        {
            std::printf("%s\n", dll.c_str());
        }
    }
    return 0;
}
