// The commands of palvo-lab that show, start and protect tasks and turn the lab's clock.
#pragma once

#include "Command.h"
#include "TaskRunner.h"

namespace PalvoLab
{

inline constexpr wchar_t kTasksHelp[] =
    L"tasks                          all tasks: triggers, next run, last result, what runs\n"
    L"tasks xml NAME                 one task as task XML, COM booleans as they were put\n"
    L"tasks raw NAME                 every property as it was put, a line each\n"
    L"tasks run NAME                 start one by hand\n"
    L"tasks wait [MS]                wait until no task runs or waits to run\n"
    L"tasks stop NAME                terminate what runs of it\n"
    L"tasks delete NAME              delete one\n"
    L"tasks copy NAME NAME           register it once more, under another name\n"
    L"tasks put NAME PROPERTY VALUE  edit one: Settings.Enabled 0, Action0.Path ..., "
    L"Registration.UserId\n"
    L"                               ...\n"
    L"tasks protect|release NAME     make one that nobody can delete or replace\n"
    L"tasks history                  what the scheduler did: registered, started, ignored, ...\n";

inline constexpr wchar_t kClockHelp[] =
    L"clock                          the lab's clock, which stands still until it is turned\n"
    L"clock forward HOURS|H:MM [--off] [--grace MS]   let time pass; what falls due starts\n"
    L"clock to HH:MM [--off] [--grace MS]             the same, to the next such time of day;\n"
    L"                               --off: the machine is off meanwhile\n"
    L"clock back HOURS|H:MM          set the machine's clock back; the program sees that too\n";

int RunTasks(const Arguments& arguments);
int RunClock(const Arguments& arguments);

// A line for each start, or for why there was none.
int PrintStarts(const std::vector<TaskStart>& starts);

// Starts what the events of a command ask for, and says what it started.
void StartDueTasks();

} // namespace PalvoLab
