#pragma once

#include "ExpectedSteps.h"
#include "FakeTaskScheduler.h"
#include "OutputCapture.h"
#include "PretendedWindows.h"
#include "TaskInstallation.h"

#include <gtest/gtest.h>

#include <algorithm>

/// A scheduler of its own on a Windows 10, and what one call of the program did with it.
struct TaskRun
{
    template <class Work> int Do(Work work)
    {
        journal.clear();
        scheduler.ledger.calls = 0;
        int result = -1;
        output = OutputOf([&] { result = work(); });
        return result;
    }
    int Install(unsigned kind, const std::wstring& path = ProgramPath,
                const std::wstring& arguments = Arguments)
    {
        return Do([&] { return InstallTask(path, arguments, kind); });
    }
    int Delete(unsigned kind)
    {
        return Do([&] { return DeleteTask(kind); });
    }

    /// The argument of the one call of `method`, without its quotes; "" when there is no such call.
    [[nodiscard]] std::wstring TextPut(const std::wstring& method) const
    {
        const auto found = std::find_if(journal.begin(), journal.end(),
                                        [&](const std::wstring& line)
                                        { return line.starts_with(method + L"(\""); });
        return found == journal.end()
                   ? L""
                   : found->substr(method.size() + 2, found->size() - method.size() - 4);
    }

    /// The journal with the settings asked for at most once: asking again for what is there already
    /// changes nothing.
    [[nodiscard]] Journal Calls() const
    {
        Journal calls;
        for (const std::wstring& line : journal)
        {
            if (line != L"ITaskDefinition::get_Settings()" ||
                std::find(calls.begin(), calls.end(), line) == calls.end())
            {
                calls.push_back(line);
            }
        }
        return calls;
    }

    Journal journal;
    FakeTaskScheduler scheduler{journal};
    PretendedWindows windows{10, 0};
    std::string output;
};

/// The calls of a sequence that runs to its end.
inline Journal CallsOf(const ExpectedSteps& steps)
{
    Journal calls;
    for (const ExpectedStep& step : steps)
    {
        calls.push_back(step.call);
    }
    calls.push_back(L"CoUninitialize()");
    return calls;
}
