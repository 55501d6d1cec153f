#include "ReportText.h"

#include "Format.h"
#include "WindowsHeaders.h"

#include <algorithm>

namespace
{
std::wstring OneLine(std::wstring text)
{
    std::replace_if(
        text.begin(), text.end(), [](wchar_t c) { return c < L' ' || c == L'\x7F'; }, L'?');
    return text;
}

std::wstring Verdict(const Report& report)
{
    const auto count = static_cast<unsigned>(report.findings.size());
    if (count != 0)
    {
        return Format(L"%u %s attention.", count,
                      std::wstring(count == 1 ? L"thing needs" : L"things need"));
    }
    if (report.unseen.empty())
    {
        return L"All is well.";
    }
    return std::wstring(L"Not everything could be looked at.") +
           (report.asSystem ? L"" : L" Run the doctor as SYSTEM.");
}
} // namespace

std::wstring ReportAsText(const Report& report)
{
    std::wstring text;
    for (const Finding& finding : report.findings)
    {
        text +=
            OneLine(Format(L"%s: %s Why: %s Do: %s", std::wstring(finding.kind->id), finding.what,
                           std::wstring(finding.kind->why), std::wstring(finding.kind->advice))) +
            L"\n";
    }
    for (const Unseen& unseen : report.unseen)
    {
        text += OneLine(Format(L"not seen: %s: %s", unseen.area, unseen.reason)) + L"\n";
    }
    for (const Note& note : report.notes)
    {
        text += OneLine(Format(L"note: %s: %s", note.topic, note.text)) + L"\n";
    }
    return text + Verdict(report) + L"\n";
}

std::string ToUtf8(const std::wstring& text)
{
    const int size = static_cast<int>(text.size());
    std::string bytes(static_cast<std::size_t>(size) * 3, '\0');
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, bytes.data(),
                                           static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

std::wstring TimeText(std::uint64_t time)
{
    const FILETIME file = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    SYSTEMTIME parts = {};
    FileTimeToSystemTime(&file, &parts);
    return Format(L"%04u-%02u-%02uT%02u:%02u:%02u", parts.wYear, parts.wMonth, parts.wDay,
                  parts.wHour, parts.wMinute, parts.wSecond);
}
