#pragma once

#include "Replaced.h"
#include "SchedulerLedger.h"

#include <objbase.h>
#include <taskschd.h>

/// Stands in for COM and the task scheduler. Journals every call with its arguments, can be told to
/// fail any of them (see SchedulerLedger), and notes what COM's end finds not given back.
class FakeTaskScheduler
{
public:
    explicit FakeTaskScheduler(Journal& target);

    SchedulerLedger ledger;

    long referencesAtTheEnd = 0;   ///< interface references that an end of COM found
    std::size_t textsAtTheEnd = 0; ///< texts that an end of COM found
    std::size_t uninitializations = 0;

    /// Begins anew with no tasks and no planned failures.
    void Reset();
    /// Empty when everything was given back in time and nothing was misused; else what is wrong.
    [[nodiscard]] std::wstring Faults() const;

private:
    HRESULT Initialize(LPVOID reserved, DWORD model);
    HRESULT Create(REFCLSID classId, LPUNKNOWN outer, DWORD context, REFIID interfaceId,
                   LPVOID* object);
    void Uninitialize();

    Replaced<"OLE32", "CoInitializeEx", HRESULT(LPVOID, DWORD)> coInitialize;
    Replaced<"OLE32", "CoInitializeSecurity",
             HRESULT(PSECURITY_DESCRIPTOR, LONG, SOLE_AUTHENTICATION_SERVICE*, void*, DWORD, DWORD,
                     void*, DWORD, void*)>
        coInitializeSecurity;
    Replaced<"OLE32", "CoCreateInstance", HRESULT(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID*)>
        coCreateInstance;
    Replaced<"OLE32", "CoUninitialize", void()> coUninitialize;
    Replaced<"OLEAUT32", "SysAllocString", BSTR(const OLECHAR*)> allocateText;
    Replaced<"OLEAUT32", "SysFreeString", void(BSTR)> freeText;
};
