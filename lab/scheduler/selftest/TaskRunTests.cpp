#include "Check.h"
#include "TaskFixture.h"

#include "EventChannel.h"
#include "LabLock.h"
#include "LabState.h"
#include "LogonEvents.h"
#include "SiblingStore.h"
#include "TaskInstances.h"
#include "TaskRunner.h"

#include <tuple>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kPrinters[] =
    L"<QueryList><Query Id=\"0\" Path=\"Microsoft-Windows-PrintService/Operational\">"
    L"<Select Path=\"Microsoft-Windows-PrintService/Operational\">"
    L"*[System[Provider[@Name='Microsoft-Windows-PrintService'] and "
    L"(EventID=300 or EventID=306)]]</Select></Query></QueryList>";
constexpr wchar_t kLogons[] =
    L"<QueryList><Query Id=\"0\" Path=\"Security\"><Select Path=\"Security\">"
    L"*[System[(EventID=4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or "
    L"*[EventData[Data[@Name='LogonType']='2']]) and "
    L"*[EventData[Data[@Name='ElevatedToken']='%%1843']] and "
    L"*[EventData[Data[@Name='VirtualAccount']='%%1843']]</Select></Query></QueryList>";

// The stand-in of the query program serves as a task's program: it records how it was run and can
// be held.
std::wstring Program()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring self = path;
    return self.substr(0, self.rfind(L'\\') + 1) + SiblingFile(SiblingKind::Query);
}

class Holding
{
public:
    Holding()
        : m_release(
              CreateEventW(nullptr, TRUE, FALSE, ReleaseEventName(SiblingKind::Query).c_str()))
    {
        ResetEvent(m_release.Get());
        SiblingOrders orders;
        orders.hold = true;
        SaveOrders(SiblingKind::Query, orders);
    }

    Holding(const Holding&) = delete;
    Holding& operator=(const Holding&) = delete;

    ~Holding() { Release(); }

    void Release() const
    {
        SaveOrders(SiblingKind::Query, {});
        SetEvent(m_release.Get());
    }

private:
    KernelHandle m_release;
};

std::vector<TaskInstance> Running()
{
    const LabLock lock(kSchedulerLock);
    return LiveInstances();
}

void AwaitAll()
{
    for (auto running = Running(); !running.empty(); running = Running())
    {
        CHECK(AwaitEnd(running, 30000));
    }
}

HRESULT Make(const std::wstring& program, void (*change)(TaskPlan& plan))
{
    TaskPlan plan;
    plan.program = program.c_str();
    change(plan);
    return MakeTask(plan);
}

TaskStart RunLabTask()
{
    return RunTaskNow(*LoadTask(L"Lab task"));
}

std::uint32_t LastResult()
{
    return LoadHistory(L"Lab task").lastResult;
}

LabTime At(const wchar_t* time)
{
    return *ParseBoundary(time);
}

} // namespace

LAB_TEST(AnEventStartsItsTaskWithTheRegisteredCommandLine)
{
    const Scheduler scheduler;
    const EventChannel channel = *EventChannel::Find(kPrintChannel);
    channel.Append({PrinterCreatedEvent(L"before")});
    CHECK(Make(Program(), [](TaskPlan& plan) { plan.subscription = kPrinters; }) == S_OK);
    CHECK(RunDueTasks().empty());
    channel.Append({PrinterCreatedEvent(L"after")});
    const std::size_t runs = SiblingRuns().size();
    const auto starts = RunDueTasks();
    CHECK(starts.size() == 1 && starts[0].outcome == StartOutcome::Started);
    AwaitAll();
    CHECK(RunDueTasks().empty());
    CHECK(SiblingRuns().size() == runs + 1);
    const SiblingRun run = SiblingRuns().back();
    CHECK(run.account == L"SYSTEM");
    CHECK(starts.size() == 1 && run.commandLine == starts[0].commandLine);
    CHECK(starts.size() == 1 && run.processId == starts[0].processId);
    CHECK(LastResult() == 0);
}

LAB_TEST(APathWithBlanksIsQuoted)
{
    const Scheduler scheduler;
    const std::wstring folder = DataFolder() + L"with blanks";
    const std::wstring program = folder + L"\\pro gram.exe";
    CreateDirectoryW(folder.c_str(), nullptr);
    CHECK(CopyFileW(Program().c_str(), program.c_str(), FALSE));
    CHECK(Make(program, [](TaskPlan&) {}) == S_OK);
    CHECK(RunLabTask().outcome == StartOutcome::Started);
    AwaitAll();
    CHECK(SiblingRuns().back().commandLine == L"\"" + program + L"\" -c -i Lab");
}

LAB_TEST(ASplitAdministratorStartsTheLogonTaskOnce)
{
    const Scheduler scheduler;
    CHECK(Make(Program(),
               [](TaskPlan& plan)
               {
                   plan.subscription = kLogons;
                   plan.policy = TASK_INSTANCES_PARALLEL;
               }) == S_OK);
    const EventChannel channel = *EventChannel::Find(kSecurityChannel);
    const auto startsOf = [&channel](const wchar_t* user, unsigned type, bool isWindows10)
    {
        channel.Append(LogonEvents(*FindUser(user), 1, type, isWindows10));
        const std::size_t count = RunDueTasks().size();
        AwaitAll();
        return count;
    };
    CHECK(startsOf(L"alice", kInteractiveLogon, true) == 1);
    CHECK(startsOf(L"bob", kRemoteInteractiveLogon, true) == 1);
    CHECK(startsOf(L"carol", kInteractiveLogon, true) == 0);
    CHECK(startsOf(L"bob", 5, true) == 0);
    // Older events do not have what this query asks for.
    CHECK(startsOf(L"bob", kInteractiveLogon, false) == 0);
    CHECK(LogonEvents(*FindUser(L"alice"), 1, kInteractiveLogon, false).size() == 2);
    CHECK(LogonEvents(*FindUser(L"bob"), 1, kInteractiveLogon, false).size() == 1);
    CHECK(LogonEvents(*FindUser(L"alice"), 1, kInteractiveLogon, true).size() == 3);
}

LAB_TEST(TheClockStartsADailyTaskEveryFourHours)
{
    const Scheduler scheduler;
    SetClock(At(L"2024-05-06T12:00:00"));
    CHECK(Make(Program(), [](TaskPlan& plan) { plan.startBoundary = L"2000-01-01T02:30:00"; }) ==
          S_OK);
    CHECK(*NextRun(*LoadTask(L"Lab task"), ClockNow()) == At(L"2024-05-06T14:30:00"));
    CHECK(TurnClock(At(L"2024-05-06T14:29:59"), {}).empty());
    CHECK(TurnClock(At(L"2024-05-06T14:30:00"), {}).size() == 1);
    AwaitAll();
    CHECK(TurnClock(At(L"2024-05-07T02:30:00"), {}).size() == 3);
    AwaitAll();
    CHECK(LoadHistory(L"Lab task").lastRun == L"2024-05-07T02:30:00");
}

LAB_TEST(AClockThatIsSetBackStartsTheDailyTaskOnceMoreAndIsTheProgramsToo)
{
    const Scheduler scheduler;
    const auto year = []
    {
        SYSTEMTIME now = {};
        GetLocalTime(&now);
        return now.wYear;
    };
    SetClock(At(L"2024-05-06T12:00:00"));
    CHECK(Make(Program(), [](TaskPlan& plan) { plan.startBoundary = L"2000-01-01T02:30:00"; }) ==
          S_OK);
    CHECK(TurnClock(At(L"2024-05-06T14:30:00"), {}).size() == 1);
    AwaitAll();
    const WORD before = year();
    SetClockBack(366 * 24 * 3600);
    CHECK(ClockNow() == At(L"2023-05-06T14:30:00"));
    CHECK(year() == before - 1);
    CHECK(TurnClock(At(L"2023-05-06T18:30:00"), {}).size() == 1);
    AwaitAll();
}

LAB_TEST(WhatRunsMayRunAsLongAfterTheClockWasSetBack)
{
    const Scheduler scheduler;
    const Holding holding;
    SetClock(At(L"2024-05-06T12:00:00"));
    CHECK(Make(Program(), [](TaskPlan& plan) { plan.limit = L"PT2H"; }) == S_OK);
    CHECK(RunLabTask().outcome == StartOutcome::Started);
    SetClockBack(3600);
    TurnClock(At(L"2024-05-06T12:59:59"), {});
    CHECK(Running().size() == 1);
    ClockTurn atOnce;
    atOnce.graceMilliseconds = 0; // this program never ends by itself
    TurnClock(At(L"2024-05-06T13:00:00"), atOnce);
    CHECK(Running().empty());
}

LAB_TEST(MissedStartsAreMadeUpForOnceAndOnlyOnDemand)
{
    const Scheduler scheduler;
    const auto offForTenHours = [](int startWhenAvailable)
    {
        SetClock(At(L"2024-05-06T12:00:00"));
        const std::wstring program = Program();
        TaskPlan plan;
        plan.program = program.c_str();
        plan.startBoundary = L"2000-01-01T02:30:00";
        plan.startWhenAvailable = startWhenAvailable;
        CHECK(MakeTask(plan) == S_OK);
        ClockTurn off;
        off.isMachineOff = true;
        const std::size_t starts = TurnClock(At(L"2024-05-06T22:00:00"), off).size();
        AwaitAll();
        return starts;
    };
    CHECK(offForTenHours(1) == 1);
    CHECK(LoadHistory(L"Lab task").missedRuns == 1);
    CHECK(offForTenHours(0) == 0);
    CHECK(LoadHistory(L"Lab task").missedRuns == 2);
}

LAB_TEST(PoliciesDecideAboutASecondInstance)
{
    const Scheduler scheduler;
    const auto second = [](int policy)
    {
        const Holding holding;
        const std::wstring program = Program();
        TaskPlan plan;
        plan.program = program.c_str();
        plan.policy = policy;
        CHECK(MakeTask(plan) == S_OK);
        CHECK(RunLabTask().outcome == StartOutcome::Started);
        const std::size_t runs = SiblingRuns().size();
        const StartOutcome outcome = RunLabTask().outcome;
        const std::size_t running = Running().size();
        holding.Release();
        AwaitAll();
        return std::tuple(outcome, running, SiblingRuns().size() - runs);
    };
    const auto never = static_cast<std::size_t>(0);
    CHECK(std::get<0>(second(TASK_INSTANCES_PARALLEL)) == StartOutcome::Started);
    const auto queued = second(TASK_INSTANCES_QUEUE);
    CHECK(std::get<0>(queued) == StartOutcome::Queued && std::get<1>(queued) == 1);
    CHECK(std::get<2>(queued) >= 1);
    const auto ignored = second(TASK_INSTANCES_IGNORE_NEW);
    CHECK(std::get<0>(ignored) == StartOutcome::Ignored && std::get<1>(ignored) == 1);
    CHECK(std::get<0>(second(-1)) == StartOutcome::Ignored);
    const auto replaced = second(TASK_INSTANCES_STOP_EXISTING);
    CHECK(std::get<0>(replaced) == StartOutcome::Started && std::get<1>(replaced) == 1);
    CHECK(Running().size() == never);
}

LAB_TEST(WhatRunsTooLongIsTerminatedWhenTheClockIsTurned)
{
    const Scheduler scheduler;
    const Holding holding;
    SetClock(At(L"2024-05-06T12:00:00"));
    CHECK(Make(Program(), [](TaskPlan& plan) { plan.limit = L"PT2H"; }) == S_OK);
    CHECK(RunLabTask().outcome == StartOutcome::Started);
    TurnClock(At(L"2024-05-06T13:59:59"), {});
    CHECK(Running().size() == 1);
    CHECK(LastResult() == 0x41301);
    ClockTurn atOnce;
    atOnce.graceMilliseconds = 0; // this program never ends by itself
    TurnClock(At(L"2024-05-06T14:00:00"), atOnce);
    CHECK(Running().empty());
    CHECK(LastResult() == 0x41306);
}

LAB_TEST(DisabledTasksDoNotStart)
{
    const Scheduler scheduler;
    CHECK(Make(Program(), [](TaskPlan& plan) { plan.enabled = 0; }) == S_OK);
    CHECK(RunLabTask().outcome == StartOutcome::Disabled);
    CHECK(LastResult() == 0x41303);
}

LAB_TEST(AProgramThatIsNotThereIsTheLastResult)
{
    const Scheduler scheduler;
    CHECK(Make(L"C:\\none\\program.exe", [](TaskPlan&) {}) == S_OK);
    CHECK(RunLabTask().outcome == StartOutcome::NoProgram);
    AwaitAll();
    CHECK(LastResult() == 0x80070002 || LastResult() == 0x80070003);
}

LAB_TEST(TheProgramsExitCodeIsTheLastResult)
{
    const Scheduler scheduler;
    SiblingOrders orders;
    orders.returnCode = 17;
    SaveOrders(SiblingKind::Query, orders);
    CHECK(Make(Program(), [](TaskPlan&) {}) == S_OK);
    CHECK(RunLabTask().outcome == StartOutcome::Started);
    AwaitAll();
    SaveOrders(SiblingKind::Query, {});
    CHECK(LastResult() == 17);
}
