#include "ReportText.h"

#include "Format.h"

namespace
{
constexpr int SchemaVersion = 1;

std::wstring Quoted(const std::wstring& text)
{
    std::wstring quoted = L"\"";
    for (const wchar_t character : text)
    {
        if (character == L'"' || character == L'\\')
        {
            quoted += L'\\';
            quoted += character;
        }
        else if (character >= L' ' && character <= L'~')
        {
            quoted += character;
        }
        else
        {
            quoted += Format(L"\\u%04x", static_cast<unsigned>(character));
        }
    }
    return quoted + L"\"";
}

std::wstring Member(const wchar_t* name, const std::wstring& text)
{
    return Quoted(name) + L":" + Quoted(text);
}

template <class Item, class Write>
std::wstring List(const wchar_t* name, const std::vector<Item>& items, Write write)
{
    std::wstring list;
    for (const Item& item : items)
    {
        list += (list.empty() ? L"\n  {" : L",\n  {") + write(item) + L"}";
    }
    return Quoted(name) + L":[" + list + L"]";
}
} // namespace

std::wstring ReportAsJson(const Report& report, const std::wstring& computer,
                          const std::wstring& time)
{
    const auto finding = [](const Finding& f)
    {
        return Member(L"id", f.kind->id) + L"," + Member(L"what", f.what) + L"," +
               Member(L"why", f.kind->why) + L"," + Member(L"do", f.kind->advice);
    };
    const auto unseen = [](const Unseen& u)
    { return Member(L"area", u.area) + L"," + Member(L"reason", u.reason); };
    const auto note = [](const Note& n)
    { return Member(L"topic", n.topic) + L"," + Member(L"text", n.text); };
    return Format(L"{\"schema\":%d,\n", SchemaVersion) + Member(L"computer", computer) + L",\n" +
           Member(L"time", time) + L",\n" + Format(L"\"code\":%d,\n", report.ExitCode()) +
           List(L"findings", report.findings, finding) + L",\n" +
           List(L"unseen", report.unseen, unseen) + L",\n" + List(L"notes", report.notes, note) +
           L"}\n";
}
