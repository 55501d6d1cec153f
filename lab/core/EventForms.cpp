// What the lab's events look like: their XML as a tree, and the events of the spooler and the
// security log.
#include "EventChannel.h"

namespace PalvoLab
{

void FillTree(const Event& event, std::wstring_view channel, EventTree& tree)
{
    using Kind = EventTree::ValueKind;
    tree.Clear();
    const int root = tree.AddElement(EventTree::kNone, L"Event");
    const int system = tree.AddElement(root, L"System");
    const int provider = tree.AddElement(system, L"Provider");
    tree.AddTextAttribute(provider, L"Name",
                          channel == kSecurityChannel ? L"Microsoft-Windows-Security-Auditing"
                                                      : L"Microsoft-Windows-PrintService");
    const int id = tree.AddNumber(system, L"EventID", Kind::UInt16, event.id);
    if (event.qualifiers)
    {
        tree.AddNumberAttribute(id, L"Qualifiers", Kind::UInt16, *event.qualifiers);
        // Windows knows the attribute alone. The element lets a program that asks for one be shown
        // a qualifier.
        tree.AddNumber(id, L"Qualifier", Kind::UInt16, *event.qualifiers);
    }
    tree.AddNumber(system, L"Version", Kind::UInt8, 0);
    tree.AddNumber(system, L"Level", Kind::UInt8, event.level);
    tree.AddNumber(system, L"Task", Kind::UInt16, 0);
    tree.AddNumber(system, L"Opcode", Kind::UInt8, 0);
    tree.AddNumber(system, L"Keywords", Kind::HexInt64, 0x4000000000000000U);
    const int time = tree.AddElement(system, L"TimeCreated");
    tree.AddNumberAttribute(time, L"SystemTime", Kind::FileTime, event.time);
    tree.AddNumber(system, L"EventRecordID", Kind::UInt64, event.recordId);
    tree.AddText(system, L"Channel", channel);
    tree.AddText(system, L"Computer", L"LAB");

    if (event.element.empty())
    {
        const int data = tree.AddElement(root, L"EventData");
        for (const auto& [name, value] : event.parameters)
        {
            tree.AddTextAttribute(tree.AddText(data, L"Data", value), L"Name", name);
        }
    }
    else
    {
        const int data = tree.AddElement(tree.AddElement(root, L"UserData"), event.element);
        for (const auto& [name, value] : event.parameters)
        {
            tree.AddText(data, name, value);
        }
    }
}

Event PrinterCreatedEvent(const std::wstring& printer)
{
    Event event;
    event.id = 300;
    event.element = L"PrinterCreated";
    event.parameters = {{L"Param1", printer}};
    return event;
}

Event PrinterSetEvent(const std::wstring& printer)
{
    Event event;
    event.id = 306;
    event.element = L"PrinterSet";
    event.parameters = {{L"Param1", printer}, {L"Param2", L"0x1000"}};
    return event;
}

Event LogonEvent(const std::wstring& user, const std::wstring& domain, unsigned logonType)
{
    Event event;
    event.id = 4624;
    event.level = 0;
    event.parameters = {{L"TargetUserName", user},
                        {L"TargetDomainName", domain},
                        {L"LogonType", std::to_wstring(logonType)}};
    return event;
}

} // namespace PalvoLab
