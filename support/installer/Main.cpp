// What the installation package does beside copying files and running the program's -IT and -UT:
// see docs/installing.md. It runs as SYSTEM from the package's own table and is not installed.

#include "InstallState.h"
#include "RegistryPaths.h"
#include "RegistryValues.h"
#include "RunningCopies.h"
#include "StandardOutput.h"
#include "TaskSteps.h"

#include <array>

namespace
{
int Say(bool good, const wchar_t* otherwise)
{
    if (!good)
    {
        StandardOutput::Write(otherwise);
    }
    return good ? 0 : 1;
}

/// Without the '\' or "\." at its end with which the package quotes it.
std::wstring FullFolder(const wchar_t* folder)
{
    std::wstring path(32768, L'\0');
    path.resize(GetFullPathNameW(folder, static_cast<DWORD>(path.size()), path.data(), nullptr));
    while (!path.empty() && path.back() == L'\\')
    {
        path.pop_back();
    }
    return path;
}

int Keep(const wchar_t*)
{
    KeepState();
    return 0;
}

int Folder(const wchar_t*)
{
    return Say(SecureFolder(),
               L"The log's folder cannot be had, or something in its place is in use.\n");
}

int Stop(const wchar_t* folder)
{
    const bool deleted = DeleteStartingTasks();
    const bool ended = EndCopies(FullFolder(folder));
    return Say(deleted && ended, L"A task or a copy of the program is still there.\n");
}

int Check(const wchar_t*)
{
    const bool isOff =
        ReadMachineNumber32(RegistryPaths::Options, RegistryPaths::RunSwitch, 1) == 0;
    return Say(isOff || AreStartingTasksThere(), L"Not every task is registered.\n");
}

int Restore(const wchar_t*)
{
    const int result = Say(RestoreState(), L"Not everything could be put back.\n");
    ForgetState();
    return result;
}

int Forget(const wchar_t*)
{
    ForgetState();
    return 0;
}

int KeepChannel(const wchar_t*)
{
    KeepFirstChannel();
    return 0;
}

int RestoreChannel(const wchar_t*)
{
    return RestoreFirstChannel() ? 0 : 1;
}

int ForgetChannel(const wchar_t*)
{
    ForgetFirstChannel();
    return 0;
}

struct Verb
{
    const wchar_t* name;
    int arguments;
    int (*run)(const wchar_t* argument);
};

constexpr std::array Verbs = {Verb{L"keep", 0, Keep},
                              Verb{L"folder", 0, Folder},
                              Verb{L"stop", 1, Stop},
                              Verb{L"check", 0, Check},
                              Verb{L"restore", 0, Restore},
                              Verb{L"forget", 0, Forget},
                              Verb{L"keep-channel", 0, KeepChannel},
                              Verb{L"restore-channel", 0, RestoreChannel},
                              Verb{L"forget-channel", 0, ForgetChannel}};

int Run(const Verb& verb, const wchar_t* argument)
{
    try
    {
        const ComApartment apartment;
        RequireComSecurity(apartment);
        return verb.run(argument);
    }
    catch (const StepFailed&)
    {
        return 1;
    }
    catch (const std::exception&)
    {
        StandardOutput::Write(L"The registry cannot be used, or memory is short.\n");
        return 1;
    }
}
} // namespace

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    for (const Verb& verb : Verbs)
    {
        if (count == verb.arguments + 2 && std::wstring(arguments[1]) == verb.name)
        {
            return Run(verb, verb.arguments == 1 ? arguments[2] : nullptr);
        }
    }
    StandardOutput::Write(
        L"PalvoPrinterSetup keep | folder | stop FOLDER | check | restore | forget | keep-channel"
        L" | restore-channel | forget-channel\n");
    return 2;
}
