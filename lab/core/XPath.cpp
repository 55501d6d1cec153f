#include "XPathExpression.h"

#include "Text.h"

namespace PalvoLab
{
namespace
{

using Expression = XPath::Expression;
using Owned = std::unique_ptr<Expression>;

bool Holds(const Expression& expression, const EventTree& tree, int context);

bool Matches(const Step& step, const EventTree& tree, int node)
{
    const EventTree::Node& candidate = tree[node];
    if (candidate.attribute != step.attribute || (step.name != L"*" && candidate.name != step.name))
    {
        return false;
    }
    for (const Owned& predicate : step.predicates)
    {
        if (!Holds(*predicate, tree, node))
        {
            return false;
        }
    }
    return true;
}

bool NodeEqualsText(const EventTree::Node& node, const std::wstring& text)
{
    if (node.kind == EventTree::ValueKind::Text || node.kind == EventTree::ValueKind::Empty)
    {
        return node.text == text;
    }
    const auto number = ParseNumber(text);
    return number && *number == node.number;
}

bool Compares(const Expression& expression, const EventTree::Node& node)
{
    if (!expression.numeric)
    {
        const bool equal = NodeEqualsText(node, expression.text);
        return expression.comparison == Comparison::NotEqual
                   ? !equal
                   : expression.comparison == Comparison::Equal && equal;
    }
    std::uint64_t value = node.number;
    if (node.kind == EventTree::ValueKind::Text || node.kind == EventTree::ValueKind::Empty)
    {
        const auto parsed = ParseNumber(node.text);
        if (!parsed)
        {
            return expression.comparison == Comparison::NotEqual;
        }
        value = *parsed;
    }
    value = expression.mask != 0 ? value & expression.mask : value;
    switch (expression.comparison)
    {
    case Comparison::Equal:
        return value == expression.number;
    case Comparison::NotEqual:
        return value != expression.number;
    case Comparison::Less:
        return value < expression.number;
    case Comparison::LessOrEqual:
        return value <= expression.number;
    case Comparison::Greater:
        return value > expression.number;
    case Comparison::GreaterOrEqual:
        return value >= expression.number;
    case Comparison::Exists:
        break;
    }
    return (expression.mask == 0) || value != 0;
}

// Calls `found` for the nodes that the path leads to until one call returns true; gives that node.
template <typename Found>
int Walk(const std::vector<Step>& steps, std::size_t at, const EventTree& tree, int first,
         const Found& found)
{
    for (int node = first; node != EventTree::kNone; node = tree[node].next)
    {
        if (!Matches(steps[at], tree, node))
        {
            continue;
        }
        const int hit = at + 1 == steps.size()
                            ? (found(tree[node]) ? node : EventTree::kNone)
                            : Walk(steps, at + 1, tree, tree[node].firstChild, found);
        if (hit != EventTree::kNone)
        {
            return hit;
        }
    }
    return EventTree::kNone;
}

bool Holds(const Expression& expression, const EventTree& tree, int context)
{
    switch (expression.kind)
    {
    case Expression::Kind::And:
        return Holds(*expression.left, tree, context) && Holds(*expression.right, tree, context);
    case Expression::Kind::Or:
        return Holds(*expression.left, tree, context) || Holds(*expression.right, tree, context);
    case Expression::Kind::Compare:
    case Expression::Kind::Path:
        break;
    }
    const auto test = [&expression](const EventTree::Node& node)
    {
        return (expression.kind == Expression::Kind::Path && expression.mask == 0) ||
               Compares(expression, node);
    };
    return Walk(expression.steps, 0, tree, tree[context].firstChild, test) != EventTree::kNone;
}

} // namespace

XPath::XPath() = default;
XPath::XPath(XPath&&) noexcept = default;
XPath& XPath::operator=(XPath&&) noexcept = default;
XPath::~XPath() = default;

std::optional<XPath> XPath::ParseQuery(std::wstring_view text)
{
    XPath parsed;
    parsed.m_expression = ParseXPath(text);
    return parsed.m_expression == nullptr ? std::nullopt : std::optional<XPath>(std::move(parsed));
}

bool XPath::Selects(const EventTree& tree) const
{
    return FirstNode(tree) != EventTree::kNone;
}

int XPath::FirstNode(const EventTree& tree) const
{
    const auto any = [](const EventTree::Node&) { return true; };
    return Walk(m_expression->steps, 0, tree, tree.Root(), any);
}

} // namespace PalvoLab
