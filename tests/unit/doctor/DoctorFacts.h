#pragma once

#include "Facts.h"
#include "FindingKinds.h"
#include "Rules.h"

/// A machine on which all is well, as the looks would find it, at noon of a day.
inline Facts WellFacts()
{
    Facts facts;
    facts.localTime = 1000 * 24 * 60 * Minute;
    facts.utcTime = facts.localTime;
    facts.suite.folder = L"C:\\Suite";
    facts.tasks.tasks = {{L"Task", L"-c", S_OK, true, L"C:\\Suite\\PalvoPrinterConfiguration.exe",
                          L"-c", L"S-1-5-18", S_OK}};
    facts.channel.maximumSize = 1052672;
    facts.channel.position = 7;
    facts.channel.oldest = {3, facts.utcTime};
    facts.channel.newest = {9, facts.utcTime};
    facts.channel.newestPrinterEvent = {7, facts.utcTime};
    facts.log.path = L"C:\\Data\\P.log";
    facts.log.freeBytes = 1ULL << 30;
    return facts;
}

/// "id: what" of each finding, a line each.
inline std::wstring FindingsOf(const Facts& facts)
{
    std::wstring text;
    for (const Finding& finding : Judge(facts).findings)
    {
        text += std::wstring(finding.kind->id) + L": " + finding.what + L"\n";
    }
    return text;
}
