// The lab's doubles: which function of which DLL each one stands in for.
#pragma once

#include <vector>

namespace PalvoLab
{

struct Double
{
    const char* dll;
    const char* function;
    void* replacement;
};

using DoubleList = std::vector<Double>;

// Adds Double<name> to a list. Its type is checked against the real declaration, but the real
// function is not referred to: the lab must not load the DLLs that a program loads late or never.
#define PALVOLAB_DOUBLE(list, dll, name)                                                           \
    (list).push_back(                                                                              \
        {dll, #name, reinterpret_cast<void*>(static_cast<decltype(&::name)>(&Double##name))})

// The real function, its DLL loaded when it is first wanted.
void* FindRealFunction(const char* dll, const char* name);

#define PALVOLAB_REAL(dll, name)                                                                   \
    reinterpret_cast<decltype(&::name)>(PalvoLab::FindRealFunction(dll, #name))

void AddEventLogDoubles(DoubleList& list);
void AddEventChannelDoubles(DoubleList& list);
void AddSpoolerDoubles(DoubleList& list);
void AddSessionDoubles(DoubleList& list);
void AddTokenDoubles(DoubleList& list);
void AddImpersonationDoubles(DoubleList& list);
void AddAccountDoubles(DoubleList& list);
void AddFileDoubles(DoubleList& list);
void AddProcessDoubles(DoubleList& list);
void AddRegistryDoubles(DoubleList& list);
void AddMessageDoubles(DoubleList& list);
void AddKernelObjectDoubles(DoubleList& list);
void AddMemoryDoubles(DoubleList& list);
void AddSecurityDoubles(DoubleList& list);
void AddCryptoDoubles(DoubleList& list);
void AddRestartDoubles(DoubleList& list);
void AddSystemDoubles(DoubleList& list);

// In msiexec.exe alone: what a package starts runs in the lab.
void LeadInstallerIntoLab();

} // namespace PalvoLab
