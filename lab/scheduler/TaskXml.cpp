#include "TaskXml.h"

#include "SchedulerResults.h"
#include "XmlTree.h"

#include <iterator>

namespace PalvoLab
{
namespace
{

enum class Form
{
    Text,
    Truth,
    RunLevel,
    LogonType,
    Policy,
    Number,
};

struct Property
{
    const wchar_t* name;    // in the bag
    const wchar_t* element; // in the XML
    Form form;
};

constexpr Property kRegistrationInfo[] = {
    {L"Source", L"Source", Form::Text},
    {L"Date", L"Date", Form::Text},
    {L"Author", L"Author", Form::Text},
    {L"Version", L"Version", Form::Text},
    {L"Description", L"Description", Form::Text},
    {L"Documentation", L"Documentation", Form::Text},
    {L"URI", L"URI", Form::Text},
};

constexpr Property kTrigger[] = {
    {L"StartBoundary", L"StartBoundary", Form::Text},
    {L"EndBoundary", L"EndBoundary", Form::Text},
    {L"ExecutionTimeLimit", L"ExecutionTimeLimit", Form::Text},
    {L"Enabled", L"Enabled", Form::Truth},
    {L"Subscription", L"Subscription", Form::Text},
};

constexpr Property kRepetition[] = {
    {L"Interval", L"Interval", Form::Text},
    {L"Duration", L"Duration", Form::Text},
    {L"StopAtDurationEnd", L"StopAtDurationEnd", Form::Truth},
};

constexpr Property kPrincipal[] = {
    {L"UserId", L"UserId", Form::Text},           {L"GroupId", L"GroupId", Form::Text},
    {L"DisplayName", L"DisplayName", Form::Text}, {L"LogonType", L"LogonType", Form::LogonType},
    {L"RunLevel", L"RunLevel", Form::RunLevel},
};

constexpr Property kSettings[] = {
    {L"MultipleInstances", L"MultipleInstancesPolicy", Form::Policy},
    {L"DisallowStartIfOnBatteries", L"DisallowStartIfOnBatteries", Form::Truth},
    {L"StopIfGoingOnBatteries", L"StopIfGoingOnBatteries", Form::Truth},
    {L"AllowHardTerminate", L"AllowHardTerminate", Form::Truth},
    {L"StartWhenAvailable", L"StartWhenAvailable", Form::Truth},
    {L"AllowDemandStart", L"AllowStartOnDemand", Form::Truth},
    {L"Enabled", L"Enabled", Form::Truth},
    {L"Hidden", L"Hidden", Form::Truth},
    {L"ExecutionTimeLimit", L"ExecutionTimeLimit", Form::Text},
};

constexpr Property kExecAction[] = {
    {L"Path", L"Command", Form::Text},
    {L"Arguments", L"Arguments", Form::Text},
    {L"WorkingDirectory", L"WorkingDirectory", Form::Text},
};

constexpr const wchar_t* kPolicies[] = {L"Parallel", L"Queue", L"IgnoreNew", L"StopExisting"};
constexpr const wchar_t* kRunLevels[] = {L"LeastPrivilege", L"HighestAvailable"};
constexpr const wchar_t* kLogonTypes[] = {L"None",
                                          L"Password",
                                          L"S4U",
                                          L"InteractiveToken",
                                          L"Group",
                                          L"ServiceAccount",
                                          L"InteractiveTokenOrPassword"};

// The version attribute that each compatibility level has.
constexpr const wchar_t* kVersions[] = {L"1.0", L"1.1", L"1.2", L"1.3", L"1.4", L"1.5", L"1.6"};

template <std::size_t Size>
std::wstring Choose(const wchar_t* const (&names)[Size], std::int32_t number)
{
    const bool isNamed = number >= 0 && static_cast<std::size_t>(number) < Size;
    return isNamed ? names[number] : std::to_wstring(number);
}

std::wstring NumberText(Form form, std::int32_t number)
{
    switch (form)
    {
    case Form::Truth:
        return number == VARIANT_TRUE ? L"true" : number == 0 ? L"false" : std::to_wstring(number);
    case Form::RunLevel:
        return Choose(kRunLevels, number);
    case Form::LogonType:
        return Choose(kLogonTypes, number);
    case Form::Policy:
        return Choose(kPolicies, number);
    default:
        return std::to_wstring(number);
    }
}

class Writer
{
public:
    void Open(const std::wstring& element, const std::wstring& attributes = L"")
    {
        Line(L"<" + element + attributes + L">");
        ++m_depth;
    }

    void Close(const std::wstring& element)
    {
        --m_depth;
        Line(L"</" + element + L">");
    }

    template <std::size_t Size>
    void Properties(const Property (&table)[Size], const PropertyBag& bag)
    {
        for (const Property& property : table)
        {
            const auto text = bag.Text(property.name);
            const auto number = bag.Number(property.name);
            if (text || number)
            {
                const std::wstring value = text ? *text : NumberText(property.form, *number);
                Line(std::wstring(L"<") + property.element + L">" + EscapeXml(value) + L"</" +
                     property.element + L">");
            }
        }
    }

    const std::wstring& Text() const { return m_text; }

private:
    void Line(const std::wstring& line)
    {
        m_text += std::wstring(m_depth * 2, L' ') + line + L"\n";
    }

    std::wstring m_text;
    std::size_t m_depth = 0;
};

std::wstring IdAttribute(const PropertyBag& bag)
{
    const auto id = bag.Text(L"Id");
    return id ? L" id=\"" + EscapeXml(*id) + L"\"" : L"";
}

void WriteTrigger(Writer& writer, const TriggerData& trigger)
{
    const bool isEvent = trigger.type == TASK_TRIGGER_EVENT;
    const std::wstring element = isEvent ? L"EventTrigger" : L"CalendarTrigger";
    writer.Open(element, IdAttribute(trigger.properties));
    if (!trigger.repetition.All().empty())
    {
        writer.Open(L"Repetition");
        writer.Properties(kRepetition, trigger.repetition);
        writer.Close(L"Repetition");
    }
    writer.Properties(kTrigger, trigger.properties);
    if (!isEvent)
    {
        PropertyBag days;
        days.Put(L"DaysInterval", trigger.properties.Number(L"DaysInterval").value_or(1));
        constexpr Property schedule[] = {{L"DaysInterval", L"DaysInterval", Form::Number}};
        writer.Open(L"ScheduleByDay");
        writer.Properties(schedule, days);
        writer.Close(L"ScheduleByDay");
    }
    writer.Close(element);
}

// The account and the logon type come with the registration, the rest from the definition.
PropertyBag PrincipalOf(const StoredTask& task)
{
    PropertyBag principal = task.data.principal;
    if (const auto user = task.registration.Text(L"UserId"))
    {
        principal.Put(L"UserId", *user);
    }
    if (const auto logonType = task.registration.Number(L"LogonType"))
    {
        principal.Put(L"LogonType", *logonType);
    }
    return principal;
}

} // namespace

std::wstring TaskXml(const StoredTask& task)
{
    const auto compatibility =
        task.data.settings.Number(L"Compatibility").value_or(TASK_COMPATIBILITY_V2);
    Writer writer;
    writer.Open(L"Task", L" version=\"" + Choose(kVersions, compatibility) +
                             L"\" xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\"");
    writer.Open(L"RegistrationInfo");
    writer.Properties(kRegistrationInfo, task.data.registrationInfo);
    writer.Close(L"RegistrationInfo");
    writer.Open(L"Triggers");
    for (const auto& trigger : task.data.triggers)
    {
        WriteTrigger(writer, *trigger);
    }
    writer.Close(L"Triggers");
    writer.Open(L"Principals");
    const PropertyBag principal = PrincipalOf(task);
    writer.Open(L"Principal", IdAttribute(principal));
    writer.Properties(kPrincipal, principal);
    writer.Close(L"Principal");
    writer.Close(L"Principals");
    writer.Open(L"Settings");
    writer.Properties(kSettings, task.data.settings);
    writer.Close(L"Settings");
    writer.Open(L"Actions");
    for (const auto& action : task.data.actions)
    {
        writer.Open(L"Exec", IdAttribute(action->properties));
        writer.Properties(kExecAction, action->properties);
        writer.Close(L"Exec");
    }
    writer.Close(L"Actions");
    writer.Close(L"Task");
    return writer.Text();
}

} // namespace PalvoLab
