#include "Rules.h"

std::wstring ValueFact::Text() const
{
    std::wstring text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    {
        const auto character = static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8);
        if (character == L'\0')
        {
            break;
        }
        text += character;
    }
    return text;
}

Report Judge(const Facts& facts)
{
    Report report;
    report.asSystem = facts.services.isSystem;
    JudgeSettings(facts.settings, report);
    JudgeSuite(facts.suite, report);
    JudgeTasks(facts, report);
    JudgeChannel(facts, report);
    JudgeLog(facts, report);
    JudgePrinters(facts, report);
    JudgeSessions(facts.sessions, report);
    JudgeServices(facts.services, report);
    JudgeWork(facts, report);
    return report;
}
