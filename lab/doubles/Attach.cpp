// The lab's entry into a program: its imports are led to the doubles, and to the faults in front of
// them, before the program's first instruction runs.
#include "ComDoubles.h"
#include "DoubleTable.h"
#include "Impersonation.h"
#include "OddReads.h"

#include "CallRecord.h"
#include "CallThunk.h"
#include "FaultPlan.h"
#include "Hives.h"
#include "ImportPatch.h"
#include "LabState.h"
#include "LeakRecord.h"
#include "MethodFaults.h"
#include "Text.h"
#include "Turn.h"

#include <psapi.h>

#include <cerrno>
#include <memory>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kCountFile[] = L"counts.log";

// Counts the calls of one function and makes the planned ones fail.
class FaultDecision : public CallDecision
{
public:
    explicit FaultDecision(std::string function) : m_function(std::move(function)) {}

    void Add(const Fault& fault, const FaultAction& action) { m_plans.push_back({fault, action}); }

    bool Answer(std::uint64_t& result) override
    {
        ++m_calls;
        for (const Plan& plan : m_plans)
        {
            if (m_calls != plan.fault.nth && (!plan.fault.always || m_calls < plan.fault.nth))
            {
                continue;
            }
            RecordCall(Widen(m_function) + L" call " + std::to_wstring(m_calls) + L" fault " +
                       plan.fault.error);
            if (plan.action.kill)
            {
                TerminateProcess(GetCurrentProcess(), kKilled);
            }
            if (plan.action.read)
            {
                AskForOddRead(*plan.action.read);
                return false;
            }
            result = plan.action.result;
            if (plan.action.errorNumber)
            {
                errno = *plan.action.errorNumber;
            }
            SetLastError(plan.action.lastError);
            return true;
        }
        return false;
    }

    std::string CountLine() const
    {
        return std::to_string(GetCurrentProcessId()) + " " + m_function + " " +
               std::to_string(m_calls);
    }

    bool WasCalled() const { return m_calls != 0; }

private:
    struct Plan
    {
        Fault fault;
        FaultAction action;
    };

    std::string m_function;
    std::vector<Plan> m_plans;
    std::uint32_t m_calls = 0;
};

std::vector<FaultDecision*>& Decisions()
{
    static auto* decisions = new std::vector<FaultDecision*>;
    return *decisions;
}

bool counting = false;

DoubleList AllDoubles()
{
    DoubleList list;
    AddEventLogDoubles(list);
    AddEventChannelDoubles(list);
    AddSpoolerDoubles(list);
    AddSessionDoubles(list);
    AddTokenDoubles(list);
    AddImpersonationDoubles(list);
    AddAccountDoubles(list);
    AddFileDoubles(list);
    AddProcessDoubles(list);
    AddRegistryDoubles(list);
    AddMessageDoubles(list);
    AddKernelObjectDoubles(list);
    AddMemoryDoubles(list);
    AddSecurityDoubles(list);
    AddCryptoDoubles(list);
    AddRestartDoubles(list);
    AddSystemDoubles(list);
    AddComDoubles(list);
    return list;
}

void* FindDouble(const DoubleList& doubles, const ImportedFunction& import)
{
    for (const Double& entry : doubles)
    {
        if (import.name == entry.function && IsSameDll(import.dll, entry.dll))
        {
            return entry.replacement;
        }
    }
    return nullptr;
}

FaultDecision* MakeDecision(const std::string& function, const std::vector<Fault>& faults)
{
    auto decision = std::make_unique<FaultDecision>(function);
    bool wanted = counting;
    for (const Fault& fault : faults)
    {
        if (fault.function != Widen(function))
        {
            continue;
        }
        if (const auto action = ParseFault(function, fault.error))
        {
            decision->Add(fault, *action);
            wanted = true;
        }
    }
    if (!wanted)
    {
        return nullptr;
    }
    Decisions().push_back(decision.get());
    return decision.release();
}

void Attach()
{
    StartRecording();
    StartTurns();
    counting = Setting(L"Record") == L"counts";
    const std::vector<Fault> faults = LoadFaults();
    const DoubleList doubles = AllDoubles();
    const HMODULE program = GetModuleHandleW(nullptr);
    for (const ImportedFunction& import : EnumerateImports(program))
    {
        void* target = FindDouble(doubles, import);
        if (FaultDecision* decision = MakeDecision(import.name, faults))
        {
            void* real = target != nullptr ? target : ResolveImport(program, import, *import.slot);
            target = IsCode(real) ? CreateCallThunk(real, decision) : nullptr;
        }
        if (target != nullptr)
        {
            WriteImportSlot(import.slot, target);
        }
    }
    LeadInstallerIntoLab();
    RecordCall(L"process started: " + std::wstring(GetCommandLineW()));
}

// The most memory that this run had at one time, in KiB.
std::string MemoryLine()
{
    PROCESS_MEMORY_COUNTERS memory = {};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
    return std::to_string(GetCurrentProcessId()) + " memory " +
           std::to_string(memory.PeakWorkingSetSize / 1024);
}

void Detach()
{
    if (Setting(L"Record") == L"memory")
    {
        AppendLine(kCountFile, MemoryLine());
    }
    TakeTurn(L"end");
    RecordCall(L"process ended");
    WriteLeaks(IsAnyThreadImpersonating());
    for (const FaultDecision* decision : Decisions())
    {
        if (counting && decision->WasCalled())
        {
            AppendLine(kCountFile, decision->CountLine());
        }
    }
    for (const std::string& line : counting ? MethodCountLines() : std::vector<std::string>())
    {
        AppendLine(kCountFile, line);
    }
}

} // namespace

void* FindRealFunction(const char* dll, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(dll), name));
}

} // namespace PalvoLab

// For a program that changes the lab's sessions from inside: its own registry calls are led to the
// doubles, which do not let anybody mount a hive.
extern "C" __declspec(dllexport) void PalvoLabMountHives()
{
    PalvoLab::MountHives();
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH)
    {
        DisableThreadLibraryCalls(instance);
        PalvoLab::Attach();
    }
    else if (reason == DLL_PROCESS_DETACH)
    {
        PalvoLab::Detach();
    }
    return TRUE;
}
