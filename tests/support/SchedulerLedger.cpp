#include "SchedulerLedger.h"

#include <iterator>

std::wstring Shown(BSTR text)
{
    return text == nullptr ? L"null" : L"\"" + std::wstring(text, SysStringLen(text)) + L"\"";
}

std::wstring Shown(const VARIANT& value)
{
    switch (value.vt)
    {
    case VT_EMPTY:
        return L"empty";
    case VT_BSTR:
        return Shown(value.bstrVal);
    default:
        return L"type " + std::to_wstring(value.vt);
    }
}

std::wstring Shown(const GUID& id)
{
    wchar_t text[64] = {};
    _snwprintf(text, std::size(text) - 1, L"{%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}",
               id.Data1, id.Data2, id.Data3, id.Data4[0], id.Data4[1], id.Data4[2], id.Data4[3],
               id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
    return text;
}

std::wstring Shown(const void* pointer)
{
    return pointer == nullptr ? L"null" : L"a pointer";
}

std::wstring Shown(long number)
{
    return std::to_wstring(number);
}

void SchedulerLedger::FailCall(std::size_t number, HRESULT result)
{
    failures.push_back({L"", number, result, 0});
}

void SchedulerLedger::Fail(const std::wstring& name, HRESULT result, std::size_t number)
{
    failures.push_back({name, number, result, 0});
}

void SchedulerLedger::FailAlways(const std::wstring& name, HRESULT result)
{
    failures.push_back({name, 0, result, 0});
}

void SchedulerLedger::Reset()
{
    journal.clear();
    misuses.clear();
    nobodys.releases = 0;
    references = 0;
    texts.clear();
    allocatedTexts = 0;
    failingText = 0;
    calls = 0;
    initializations = 0;
    tasks.clear();
    failures.clear();
    objects.clear();
}

HRESULT SchedulerLedger::Call(const std::wstring& name, const std::wstring& arguments)
{
    journal.push_back(name + L"(" + arguments + L")");
    ++calls;
    HRESULT result = S_OK;
    for (PlannedFailure& planned : failures)
    {
        if (planned.name.empty() || planned.name == name)
        {
            ++planned.seen;
            if (planned.number == 0 || planned.number == planned.seen)
            {
                result = planned.result;
            }
        }
    }
    return result;
}

void SchedulerLedger::CheckText(BSTR text)
{
    if (text != nullptr && !texts.contains(text))
    {
        Misuse(L"what was passed as a text is none: " + std::wstring(text));
    }
}

BSTR SchedulerLedger::AddText(BSTR text)
{
    texts.insert(text);
    return text;
}

void SchedulerLedger::DropText(BSTR text)
{
    if (text != nullptr && texts.erase(text) == 0)
    {
        Misuse(L"a text was given back twice");
    }
}
