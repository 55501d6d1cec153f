// The part of XPath 1.0 that the Windows event log understands: paths with predicates, comparisons,
// "and", "or", attributes, numbers and quoted texts, Band(). Anything else is not well formed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

// An event as a tree of elements and attributes. Texts are views: what they look at has to outlive
// the tree. One tree is refilled for many events, so that scanning a channel allocates nothing.
class EventTree
{
public:
    static constexpr int kNone = -1;

    enum class ValueKind
    {
        Empty,
        Text,
        UInt8,
        UInt16,
        UInt32,
        UInt64,
        FileTime,
        HexInt64,
    };

    struct Node
    {
        std::wstring_view name;
        std::wstring_view text;
        std::uint64_t number = 0;
        ValueKind kind = ValueKind::Empty;
        bool attribute = false;
        int parent = kNone;
        int firstChild = kNone;
        int lastChild = kNone;
        int next = kNone;
    };

    void Clear();

    // Adds below `parent` (kNone for the root element) and returns the new node.
    int AddElement(int parent, std::wstring_view name);
    int AddText(int parent, std::wstring_view name, std::wstring_view text);
    int AddNumber(int parent, std::wstring_view name, ValueKind kind, std::uint64_t number);
    void AddTextAttribute(int parent, std::wstring_view name, std::wstring_view text);
    void AddNumberAttribute(int parent, std::wstring_view name, ValueKind kind,
                            std::uint64_t number);

    const Node& operator[](int index) const;
    int Root() const;

private:
    int Add(int parent, const Node& node);

    std::vector<Node> m_nodes;
};

// A parsed expression.
class XPath
{
public:
    XPath();
    XPath(XPath&&) noexcept;
    XPath& operator=(XPath&&) noexcept;
    ~XPath();

    // A query such as "Event/System[EventID=300]". "*" selects everything. Nothing when the text is
    // not well formed.
    static std::optional<XPath> ParseQuery(std::wstring_view text);

    // Whether the query selects the event.
    bool Selects(const EventTree& tree) const;

    // The first node that the path leads to, or EventTree::kNone.
    int FirstNode(const EventTree& tree) const;

    struct Expression;

private:
    std::unique_ptr<Expression> m_expression;
};

} // namespace PalvoLab
