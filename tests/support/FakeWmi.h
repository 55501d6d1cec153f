#pragma once

#include "Journal.h"
#include "Replaced.h"

#include <combaseapi.h>
#include <oleauto.h>

#include <map>
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

    [[nodiscard]] long LivingInterfaces() const;
    int initialized = 0; ///< CoInitializeEx that succeeded less CoUninitialize

    HRESULT Step(const std::wstring& name);
    Journal& journal;

private:
    Replaced<"OLE32", "CoInitializeEx", decltype(CoInitializeEx)> initialize;
    Replaced<"OLE32", "CoUninitialize", decltype(CoUninitialize)> uninitialize;
    Replaced<"OLE32", "CoCreateInstance", decltype(CoCreateInstance)> create;
    Replaced<"OLE32", "CoSetProxyBlanket", decltype(CoSetProxyBlanket)> setBlanket;
};
