#include "FakeTaskScheduler.h"

#include "FakeTaskObjects.h"

FakeTaskScheduler::FakeTaskScheduler(Journal& target)
    : ledger(target),
      coInitialize([this](LPVOID reserved, DWORD model) { return Initialize(reserved, model); }),
      coInitializeSecurity(
          [this](PSECURITY_DESCRIPTOR descriptor, LONG count, SOLE_AUTHENTICATION_SERVICE* services,
                 void* reserved, DWORD authentication, DWORD impersonation, void* list,
                 DWORD capabilities, void* lastReserved)
          {
              return ledger.Call(L"CoInitializeSecurity",
                                 Shown(static_cast<const void*>(descriptor)) + L", " +
                                     Shown(count) + L", " +
                                     Shown(static_cast<const void*>(services)) + L", " +
                                     Shown(static_cast<const void*>(reserved)) + L", " +
                                     Shown(static_cast<long>(authentication)) + L", " +
                                     Shown(static_cast<long>(impersonation)) + L", " +
                                     Shown(static_cast<const void*>(list)) + L", " +
                                     Shown(static_cast<long>(capabilities)) + L", " +
                                     Shown(static_cast<const void*>(lastReserved)));
          }),
      coCreateInstance([this](REFCLSID classId, LPUNKNOWN outer, DWORD context, REFIID interfaceId,
                              LPVOID* object)
                       { return Create(classId, outer, context, interfaceId, object); }),
      coUninitialize([this] { Uninitialize(); }),
      allocateText(
          [this](const OLECHAR* text) -> BSTR
          {
              return ++ledger.allocatedTexts == ledger.failingText
                         ? nullptr
                         : ledger.AddText(decltype(allocateText)::Original(text));
          }),
      freeText(
          [this](BSTR text)
          {
              ledger.DropText(text);
              decltype(freeText)::Original(text);
          })
{
}

HRESULT FakeTaskScheduler::Initialize(LPVOID reserved, DWORD model)
{
    const HRESULT result =
        ledger.Call(L"CoInitializeEx", Shown(static_cast<const void*>(reserved)) + L", " +
                                           Shown(static_cast<long>(model)));
    ledger.initializations += SUCCEEDED(result) ? 1 : 0;
    return result;
}

HRESULT FakeTaskScheduler::Create(REFCLSID classId, LPUNKNOWN outer, DWORD context,
                                  REFIID interfaceId, LPVOID* object)
{
    ledger.nobodys.LeaveAt(object);
    const HRESULT result =
        ledger.Call(L"CoCreateInstance",
                    Shown(classId) + L", " + Shown(static_cast<const void*>(outer)) + L", " +
                        Shown(static_cast<long>(context)) + L", " + Shown(interfaceId));
    if (ledger.initializations == 0)
    {
        ledger.Misuse(L"CoCreateInstance without COM");
    }
    if (SUCCEEDED(result))
    {
        *object = MakeTaskService(ledger);
    }
    return result;
}

void FakeTaskScheduler::Uninitialize()
{
    ledger.journal.push_back(L"CoUninitialize()");
    --ledger.initializations;
    ++uninitializations;
    referencesAtTheEnd += ledger.references;
    textsAtTheEnd += ledger.texts.size();
}

void FakeTaskScheduler::Reset()
{
    ledger.Reset();
    referencesAtTheEnd = 0;
    textsAtTheEnd = 0;
    uninitializations = 0;
}

std::wstring FakeTaskScheduler::Faults() const
{
    std::wstring faults;
    for (const std::wstring& misuse : ledger.misuses)
    {
        faults += misuse + L"\n";
    }
    if (ledger.nobodys.releases != 0)
    {
        faults += L"what a failing call left was given back\n";
    }
    if (referencesAtTheEnd != 0)
    {
        faults += std::to_wstring(referencesAtTheEnd) + L" references when COM ended\n";
    }
    if (ledger.references != 0)
    {
        faults += std::to_wstring(ledger.references) + L" references left\n";
    }
    if (!ledger.texts.empty())
    {
        faults += std::to_wstring(ledger.texts.size()) + L" texts left\n";
    }
    if (ledger.initializations != 0)
    {
        faults += std::to_wstring(ledger.initializations) + L" initialisations of COM left\n";
    }
    return faults;
}
