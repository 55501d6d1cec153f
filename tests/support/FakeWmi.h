#pragma once

#include "Journal.h"
#include "NobodysObject.h"
#include "Replaced.h"

#include <combaseapi.h>
#include <oleauto.h>

#include <map>
#include <set>
#include <string>
#include <vector>

/// A property's value: its type, and its text when it is one.
struct FakeProperty
{
    VARTYPE type = VT_BSTR;
    std::wstring text;
    LONG number = 0;
    bool nullText = false; ///< a VT_BSTR that points nowhere
};

/// Stands in for COM and WMI. Each step fails with the HRESULT that is set for it; every call is
/// written into the journal. Counts what was not given back.
class FakeWmi
{
public:
    explicit FakeWmi(Journal& target);
    ~FakeWmi();

    /// The objects of the query; a property that is missing cannot be had.
    std::vector<std::map<std::wstring, FakeProperty>> objects;
    /// CoInitializeEx, CoCreateInstance, ConnectServer, CoSetProxyBlanket, ExecQuery, Next.
    std::map<std::wstring, HRESULT> failing;
    bool nextGivesNoObject = false; ///< Next claims success and gives a null pointer
    bool nextCountsNone = false;    ///< Next claims success and that it gave nothing
    HRESULT initializeResult = S_OK;
    std::size_t failingText = 0; ///< the text that cannot be allocated, counted from 1; 0 for none

    /// What was not given back, or only after COM had ended, or twice; empty when all is well.
    [[nodiscard]] std::wstring Faults() const;
    int initialized = 0; ///< CoInitializeEx that succeeded less CoUninitialize
    std::size_t allocatedTexts = 0;

    HRESULT Step(const std::wstring& name);
    /// Notes a VARIANT that the double has put a value into.
    void Fill(const VARIANT* variant);
    /// Leaves in a VARIANT what a call that fails leaves.
    void LeaveNobodys(VARIANT* variant);
    Journal& journal;
    NobodysObject nobodys;              ///< what the calls that fail leave
    const IUnknown* services = nullptr; ///< the proxy that ConnectServer gave

private:
    [[nodiscard]] std::wstring NotGivenBack() const;
    void DropText(BSTR text);

    std::set<BSTR> texts;
    std::set<const VARIANT*> variants; ///< with a value in them
    std::wstring faults;

    Replaced<"OLE32", "CoInitializeEx", decltype(CoInitializeEx)> initialize;
    Replaced<"OLE32", "CoUninitialize", decltype(CoUninitialize)> uninitialize;
    Replaced<"OLE32", "CoCreateInstance", decltype(CoCreateInstance)> create;
    Replaced<"OLE32", "CoSetProxyBlanket", decltype(CoSetProxyBlanket)> setBlanket;
    Replaced<"OLEAUT32", "SysAllocString", decltype(SysAllocString)> allocateText;
    Replaced<"OLEAUT32", "SysFreeString", decltype(SysFreeString)> freeText;
    Replaced<"OLEAUT32", "VariantChangeType", decltype(VariantChangeType)> changeType;
    Replaced<"OLEAUT32", "VariantClear", decltype(VariantClear)> clear;
};
