#pragma once

#include "Journal.h"
#include "Replaced.h"

#include <windows.h>

#include <winevt.h>

#include <map>

/// Stands in for the configuration of an event channel. Journals every call with its arguments and
/// refuses what Windows refuses; what is set counts only when it is saved.
class FakeChannelSetup
{
public:
    explicit FakeChannelSetup(Journal& target);

    /// Makes the call number `number`, counted from 1 from now on, fail with an error code.
    void FailCall(std::size_t number, DWORD error)
    {
        failingCall = number;
        failure = error;
        calls = 0;
    }

    /// Begins anew: nothing saved, no planned failure.
    void Reset()
    {
        FailCall(0, ERROR_SUCCESS);
        saved.clear();
        saves = 0;
    }

    std::map<int, std::wstring> saved; ///< by the property's number
    std::size_t saves = 0;
    std::size_t openHandles = 0;
    std::size_t misuses = 0;

private:
    bool Succeeds(const std::wstring& call);
    bool IsOpen(EVT_HANDLE handle);

    Journal& journal;
    std::size_t failingCall = 0;
    DWORD failure = ERROR_SUCCESS;
    std::size_t calls = 0;
    std::map<int, std::wstring> pending;

    Replaced<"WEVTAPI", "EvtOpenChannelConfig", EVT_HANDLE(EVT_HANDLE, LPCWSTR, DWORD)> open;
    Replaced<"WEVTAPI", "EvtSetChannelConfigProperty",
             BOOL(EVT_HANDLE, EVT_CHANNEL_CONFIG_PROPERTY_ID, DWORD, PEVT_VARIANT)>
        set;
    Replaced<"WEVTAPI", "EvtSaveChannelConfig", BOOL(EVT_HANDLE, DWORD)> save;
    Replaced<"WEVTAPI", "EvtClose", BOOL(EVT_HANDLE)> close;
};
