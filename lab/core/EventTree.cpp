#include "XPath.h"

namespace PalvoLab
{

void EventTree::Clear()
{
    m_nodes.clear();
}

int EventTree::AddElement(int parent, std::wstring_view name)
{
    Node node;
    node.name = name;
    return Add(parent, node);
}

int EventTree::AddText(int parent, std::wstring_view name, std::wstring_view text)
{
    Node node;
    node.name = name;
    node.text = text;
    node.kind = ValueKind::Text;
    return Add(parent, node);
}

int EventTree::AddNumber(int parent, std::wstring_view name, ValueKind kind, std::uint64_t number)
{
    Node node;
    node.name = name;
    node.kind = kind;
    node.number = number;
    return Add(parent, node);
}

void EventTree::AddTextAttribute(int parent, std::wstring_view name, std::wstring_view text)
{
    Node node;
    node.name = name;
    node.text = text;
    node.kind = ValueKind::Text;
    node.attribute = true;
    Add(parent, node);
}

void EventTree::AddNumberAttribute(int parent, std::wstring_view name, ValueKind kind,
                                   std::uint64_t number)
{
    Node node;
    node.name = name;
    node.kind = kind;
    node.number = number;
    node.attribute = true;
    Add(parent, node);
}

const EventTree::Node& EventTree::operator[](int index) const
{
    return m_nodes[static_cast<std::size_t>(index)];
}

int EventTree::Root() const
{
    return m_nodes.empty() ? kNone : 0;
}

int EventTree::Add(int parent, const Node& node)
{
    const int index = static_cast<int>(m_nodes.size());
    m_nodes.push_back(node);
    m_nodes.back().parent = parent;
    if (parent != kNone)
    {
        Node& owner = m_nodes[static_cast<std::size_t>(parent)];
        if (owner.lastChild == kNone)
        {
            owner.firstChild = index;
        }
        else
        {
            m_nodes[static_cast<std::size_t>(owner.lastChild)].next = index;
        }
        owner.lastChild = index;
    }
    return index;
}

} // namespace PalvoLab
