#include "DesktopAppEntries.h"
#include "DesktopAppGuidList.h"
#include "FindingKinds.h"
#include "Format.h"
#include "RegistryPaths.h"
#include "Rules.h"

#include <array>

namespace
{
enum class Form
{
    Identifier,
    Flag,
    Any
};

struct BagValue
{
    const wchar_t* name;
    const ValueFact& value;
    Form form;
};

constexpr wchar_t Zeros[] = L"00000000-0000-0000-0000-000000000000";

bool HasForm(const std::wstring& text, Form form)
{
    switch (form)
    {
    case Form::Identifier:
        return IsIdentifier(text);
    case Form::Flag:
        return text == L"0" || text == L"1";
    case Form::Any:
        break;
    }
    return true;
}

void JudgeValue(const BagValue& bagValue, const std::wstring& user, Report& report)
{
    const std::wstring name = bagValue.name;
    const std::wstring text = bagValue.value.Text();
    if (bagValue.value.type != REG_SZ)
    {
        report.Find(FindingKinds::BagValueType,
                    Format(L"The value %s of \"%s\" is no text but of type %lu.", name, user,
                           bagValue.value.type));
    }
    else if (text == Zeros)
    {
        report.Find(FindingKinds::IdentifierZero,
                    Format(L"The %s of \"%s\" is all zeros.", name, user));
    }
    else if (!HasForm(text, bagValue.form))
    {
        report.Find(FindingKinds::BagValueOdd,
                    Format(L"The value %s of \"%s\" is \"%s\".", name, user, text));
    }
    else if (bagValue.form == Form::Any &&
             DesktopAppEntries::Update(text, FromNarrow(DesktopAppGuidList)) != text)
    {
        report.Find(
            FindingKinds::BagApplications,
            Format(L"The value %s of \"%s\" lacks this version's applications.", name, user));
    }
}

void JudgeBag(const SessionFact& session, Report& report)
{
    const std::array values = {
        BagValue{RegistryPaths::UserId, session.userId, Form::Identifier},
        BagValue{RegistryPaths::DeviceId, session.deviceId, Form::Identifier},
        BagValue{RegistryPaths::IsAdmin, session.isAdministrator, Form::Flag},
        BagValue{RegistryPaths::DesktopAppGuids, session.applications, Form::Any}};
    std::wstring missing;
    for (const BagValue& value : values)
    {
        if (value.value.IsThere())
        {
            JudgeValue(value, session.user, report);
        }
        else
        {
            missing += (missing.empty() ? L"" : L", ") + std::wstring(value.name);
        }
    }
    if (!missing.empty())
    {
        report.Find(FindingKinds::BagIncomplete,
                    Format(L"The bag of \"%s\" lacks %s.", session.user, missing));
    }
}

void JudgeSession(const SessionFact& session, Report& report)
{
    if (!session.isSeen)
    {
        report.NotSeen(L"sessions",
                       Format(L"Only SYSTEM sees the user of session %lu.", session.id));
    }
    else if (session.tokenError != 0)
    {
        report.Find(
            FindingKinds::SessionWithoutToken,
            Format(L"Session %lu gives no token: error %lu.", session.id, session.tokenError));
    }
    else if (!session.hasHive)
    {
        report.Find(FindingKinds::HiveMissing,
                    Format(L"The hive of \"%s\" is not loaded.", session.user));
    }
    else
    {
        if (session.writeError != 0)
        {
            report.Find(FindingKinds::HiveReadOnly,
                        Format(L"\"%s\" may not write the printer property bag: error %lu.",
                               session.user, session.writeError));
        }
        JudgeBag(session, report);
    }
}
} // namespace

bool IsIdentifier(const std::wstring& text)
{
    const std::wstring pattern = Zeros;
    bool fits = text.size() == pattern.size();
    for (std::size_t i = 0; fits && i < text.size(); ++i)
    {
        const bool isDigit =
            (text[i] >= L'0' && text[i] <= L'9') || (text[i] >= L'a' && text[i] <= L'f');
        fits = pattern[i] == L'-' ? text[i] == L'-' : isDigit;
    }
    return fits;
}

void JudgeSessions(const SessionFacts& sessions, Report& report)
{
    if (sessions.listError != 0)
    {
        report.NotSeen(L"sessions",
                       Format(L"They cannot be listed: error %lu.", sessions.listError));
    }
    for (const SessionFact& session : sessions.sessions)
    {
        JudgeSession(session, report);
    }
}
