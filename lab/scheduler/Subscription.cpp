#include "Subscription.h"

#include "Text.h"
#include "XmlTree.h"

namespace PalvoLab
{
namespace
{

constexpr wchar_t kDocument[] = L"Document";

// A subscription's condition is asked from above the event, where "*[System]" is the event that has
// a System. Paths start at the event's own root, so the condition becomes a predicate of a node
// above it.
std::optional<XPath> ParseCondition(std::wstring_view text)
{
    int depth = 0;
    wchar_t quote = L'\0';
    for (const wchar_t c : text)
    {
        if (quote != L'\0')
        {
            quote = c == quote ? L'\0' : quote;
            continue;
        }
        quote = c == L'\'' || c == L'"' ? c : L'\0';
        depth += (c == L'[' ? 1 : 0) - (c == L']' ? 1 : 0);
        if (depth < 0)
        {
            return std::nullopt;
        }
    }
    return XPath::ParseQuery(std::wstring(kDocument) + L"[" + std::wstring(text) + L"]");
}

void Copy(const EventTree& from, int node, EventTree& to, int parent)
{
    const EventTree::Node& source = from[node];
    int copy = EventTree::kNone;
    switch (source.kind)
    {
    case EventTree::ValueKind::Empty:
        copy = to.AddElement(parent, source.name);
        break;
    case EventTree::ValueKind::Text:
        if (source.attribute)
        {
            to.AddTextAttribute(parent, source.name, source.text);
            return;
        }
        copy = to.AddText(parent, source.name, source.text);
        break;
    default:
        if (source.attribute)
        {
            to.AddNumberAttribute(parent, source.name, source.kind, source.number);
            return;
        }
        copy = to.AddNumber(parent, source.name, source.kind, source.number);
        break;
    }
    for (int child = source.firstChild; child != EventTree::kNone; child = from[child].next)
    {
        Copy(from, child, to, copy);
    }
}

bool Refuse(SubscriptionError& error, const std::wstring& reason)
{
    error.reason = reason;
    return false;
}

} // namespace

std::optional<Subscription> Subscription::Parse(const std::wstring& xml, SubscriptionError* error)
{
    SubscriptionError ignored;
    SubscriptionError& why = error == nullptr ? ignored : *error;
    const auto root = ParseXml(xml);
    if (!root)
    {
        why.isNoXml = true;
        why.reason = L"not well-formed XML";
        return std::nullopt;
    }
    Subscription subscription;
    const auto addSelect = [&](const XmlElement& query, const XmlElement& select)
    {
        const std::wstring* channel = select.Attribute(L"Path");
        channel = channel == nullptr ? query.Attribute(L"Path") : channel;
        if (select.name != L"Select" || channel == nullptr)
        {
            return Refuse(why, L"<" + select.name + L"> is not modelled, or has no Path");
        }
        auto condition = ParseCondition(select.text);
        if (!condition)
        {
            return Refuse(why, L"a form of XPath that is not modelled: " + select.text);
        }
        subscription.m_selects.push_back(
            {*channel, std::make_shared<const XPath>(std::move(*condition))});
        return true;
    };
    if (root->name != L"QueryList" || root->children.empty())
    {
        why.reason = L"no QueryList with a Query";
        return std::nullopt;
    }
    for (const XmlElement& query : root->children)
    {
        if (query.name != L"Query" || query.children.empty())
        {
            why.reason = L"no Query with a Select";
            return std::nullopt;
        }
        for (const XmlElement& select : query.children)
        {
            if (!addSelect(query, select))
            {
                return std::nullopt;
            }
        }
    }
    return subscription;
}

std::vector<std::wstring> Subscription::Channels() const
{
    std::vector<std::wstring> channels;
    for (const Select& select : m_selects)
    {
        bool known = false;
        for (const std::wstring& channel : channels)
        {
            known = known || EqualNoCase(channel, select.channel);
        }
        if (!known)
        {
            channels.push_back(select.channel);
        }
    }
    return channels;
}

bool Subscription::Selects(const Event& event, std::wstring_view channel) const
{
    EventTree tree;
    FillTree(event, channel, tree);
    EventTree document;
    Copy(tree, tree.Root(), document, document.AddElement(EventTree::kNone, kDocument));
    for (const Select& select : m_selects)
    {
        if (EqualNoCase(select.channel, channel) && select.condition->Selects(document))
        {
            return true;
        }
    }
    return false;
}

} // namespace PalvoLab
