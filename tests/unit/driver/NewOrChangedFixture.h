#pragma once

#include "NewOrChangedScheme.h"
#include "RunFixture.h"

inline constexpr wchar_t UpdateLine[] =
    L"log: Update UserPropertyBags With Desktop GUIDs before exiting after processing queued "
    L"request(s)";

/// Runs for new or changed printers, and what their journals hold.
class NewOrChangedSchemeTest : public RunFixture
{
protected:
    int RunTask()
    {
        return RunNewOrChanged(NewRun(CmdLineOptionsEnum::NewOrChangedEvent,
                                      NewOrChangedEventTypeEnum::NewOrChangedTask,
                                      L"NewOrChangedTask"));
    }
    int RunLogon(NewOrChangedEventTypeEnum type = NewOrChangedEventTypeEnum::UserLogonEvent)
    {
        return RunNewOrChanged(
            NewRun(CmdLineOptionsEnum::NewOrChangedEvent, type, L"UserLogonTask"));
    }

    /// What every copy does first.
    static Journal Opening(const std::wstring& invoker, const std::wstring& posted)
    {
        return {L"log: -Processing NewOrChanged event: " + invoker,
                L"CreateEventW NormalRequestEvent not signalled",
                L"CreateEventW SpecialRequestEvent not signalled",
                L"SetEvent " + posted,
                L"CreateMutexW NewOrChangedInstanceMutex",
                L"wait NewOrChangedInstanceMutex 0"};
    }
    static Journal Poll(bool normal, bool special)
    {
        return {normal ? L"poll NormalRequestEvent 0: yes" : L"poll NormalRequestEvent 0: no",
                special ? L"poll SpecialRequestEvent 0: yes" : L"poll SpecialRequestEvent 0: no"};
    }
    static Journal Launch(const std::wstring& query, const std::wstring& writer,
                          const std::wstring& invoker)
    {
        return {L"start: C:\\P\\PalvoPrinterQuery.exe " + query,
                L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe " + writer +
                    L" -i \"PalvoPrinterConfiguration(" + invoker + L" PID: 4711)\"",
                L"users' values"};
    }
    static Journal Ending()
    {
        return {L"ReleaseMutex NewOrChangedInstanceMutex",
                L"CloseHandle NewOrChangedInstanceMutex",
                L"CloseHandle SpecialRequestEvent",
                L"CloseHandle NormalRequestEvent",
                UpdateLine,
                L"bags",
                L"log: NewOrChanged event done...exiting.",
                L"log: ",
                L"log: "};
    }

    /// Compares the journal with the parts, one after the other. When the handles are closed is
    /// left open for a working copy: they only have to be, each of them once.
    void Expect(const std::vector<Journal>& parts) const
    {
        Journal expected;
        for (const Journal& part : parts)
        {
            expected.insert(expected.end(), part.begin(), part.end());
        }
        EXPECT_EQ(WithoutClosing(journal), WithoutClosing(expected));
        EXPECT_EQ(objects.OpenHandles(), 0U);
    }
    static Journal WithoutClosing(const Journal& lines)
    {
        Journal kept;
        for (const std::wstring& line : lines)
        {
            if (!line.starts_with(L"CloseHandle "))
            {
                kept.push_back(line.starts_with(L"set DesktopAppGUIDs=7.0:") ? L"bags" : line);
            }
        }
        return kept;
    }

    /// Runs `once` when the first child starts.
    void WhenTheFirstChildStarts(const std::function<void()>& once)
    {
        children.run = [once, done = false](const std::wstring&) mutable
        {
            if (!std::exchange(done, true))
            {
                once();
            }
            return DWORD{0};
        };
    }
    void Post(const std::wstring& event) { objects.MakeEvent(event, true); }

    Journal FirstPassForOnePrinter() const
    {
        return {
            L"sleep 500", L"scan",
            L"log: Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 "
            L"to 2. One printer added or changed: 'Sales Room'",
            L"set LastEvtRecordProcessed=2",
            L"log: # Processing a configuration request from a NewOrChanged event event for 'Sales "
            L"Room'."};
    }
    void AddOnePrinter()
    {
        AddSupportedPrinter(L"Sales Room");
        AddEvent(1, L"x");
        AddEvent(2, L"Sales Room");
    }

    const Journal task = Opening(L"NewOrChangedTask", L"NormalRequestEvent");
    const Journal logon = Opening(L"UserLogonTask", L"SpecialRequestEvent");
    const Journal oneLaunch = Launch(L"-e \"Sales Room\"", L"-e", L"NewOrChangedTask");
    const Journal allLaunch = Launch(L"-c", L"-c", L"NewOrChangedTask");
};
