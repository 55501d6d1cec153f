#include "XPathExpression.h"

#include "Text.h"

#include <utility>

namespace PalvoLab
{
namespace
{

using Expression = XPath::Expression;
using Owned = std::unique_ptr<Expression>;

bool IsNameStart(wchar_t c)
{
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_' || c >= 0x80;
}

bool IsNameCharacter(wchar_t c)
{
    return IsNameStart(c) || (c >= L'0' && c <= L'9') || c == L'-' || c == L'.';
}

class Parser
{
public:
    explicit Parser(std::wstring_view text) : m_text(text) {}

    Owned ParseWhole()
    {
        Owned path = ParsePath();
        SkipBlanks();
        return path != nullptr && m_at == m_text.size() ? std::move(path) : nullptr;
    }

private:
    static constexpr int kDeepest = 32;

    void SkipBlanks()
    {
        while (m_at < m_text.size() && (m_text[m_at] == L' ' || m_text[m_at] == L'\t' ||
                                        m_text[m_at] == L'\r' || m_text[m_at] == L'\n'))
        {
            ++m_at;
        }
    }

    bool Take(std::wstring_view token)
    {
        SkipBlanks();
        if (m_text.substr(m_at, token.size()) != token)
        {
            return false;
        }
        m_at += token.size();
        return true;
    }

    bool TakeWord(std::wstring_view word)
    {
        SkipBlanks();
        const std::size_t end = m_at + word.size();
        if (m_text.substr(m_at, word.size()) != word ||
            (end < m_text.size() && IsNameCharacter(m_text[end])))
        {
            return false;
        }
        m_at = end;
        return true;
    }

    std::wstring TakeName()
    {
        SkipBlanks();
        if (m_at < m_text.size() && m_text[m_at] == L'*')
        {
            ++m_at;
            return L"*";
        }
        const std::size_t begin = m_at;
        if (m_at < m_text.size() && IsNameStart(m_text[m_at]))
        {
            while (m_at < m_text.size() && IsNameCharacter(m_text[m_at]))
            {
                ++m_at;
            }
        }
        return std::wstring(m_text.substr(begin, m_at - begin));
    }

    Owned ParseOr()
    {
        if (++m_depth > kDeepest)
        {
            return nullptr;
        }
        Owned left = ParseAnd();
        while (left != nullptr && TakeWord(L"or"))
        {
            left = Join(Expression::Kind::Or, std::move(left), ParseAnd());
        }
        --m_depth;
        return left;
    }

    Owned ParseAnd()
    {
        Owned left = ParseTerm();
        while (left != nullptr && TakeWord(L"and"))
        {
            left = Join(Expression::Kind::And, std::move(left), ParseTerm());
        }
        return left;
    }

    static Owned Join(Expression::Kind kind, Owned left, Owned right)
    {
        if (right == nullptr)
        {
            return nullptr;
        }
        auto joined = std::make_unique<Expression>();
        joined->kind = kind;
        joined->left = std::move(left);
        joined->right = std::move(right);
        return joined;
    }

    Owned ParseTerm()
    {
        if (Take(L"("))
        {
            Owned inner = ParseOr();
            return inner != nullptr && Take(L")") ? std::move(inner) : nullptr;
        }
        Owned path;
        std::uint64_t mask = 0;
        if (TakeWord(L"Band") || TakeWord(L"band"))
        {
            const bool opened = Take(L"(");
            path = opened ? ParsePath() : nullptr;
            const auto number =
                path != nullptr && Take(L",") ? TakeNumber() : std::optional<std::uint64_t>();
            if (!number || !Take(L")"))
            {
                return nullptr;
            }
            mask = *number;
        }
        else
        {
            path = ParsePath();
        }
        return path == nullptr ? nullptr : ParseComparison(std::move(path), mask);
    }

    Owned ParseComparison(Owned path, std::uint64_t mask)
    {
        static constexpr std::pair<std::wstring_view, Comparison> operators[] = {
            {L"<=", Comparison::LessOrEqual}, {L">=", Comparison::GreaterOrEqual},
            {L"!=", Comparison::NotEqual},    {L"=", Comparison::Equal},
            {L"<", Comparison::Less},         {L">", Comparison::Greater},
        };
        path->mask = mask;
        path->numeric = mask != 0;
        for (const auto& [token, comparison] : operators)
        {
            if (!Take(token))
            {
                continue;
            }
            path->comparison = comparison;
            path->kind = Expression::Kind::Compare;
            SkipBlanks();
            return TakeLiteral(*path) ? std::move(path) : nullptr;
        }
        return path;
    }

    std::optional<std::uint64_t> TakeNumber()
    {
        SkipBlanks();
        const std::size_t begin = m_at;
        while (m_at < m_text.size() && (IsNameCharacter(m_text[m_at])))
        {
            ++m_at;
        }
        return ParseNumber(m_text.substr(begin, m_at - begin));
    }

    bool TakeLiteral(Expression& expression)
    {
        if (m_at >= m_text.size())
        {
            return false;
        }
        const wchar_t quote = m_text[m_at];
        if (quote == L'\'' || quote == L'"')
        {
            const std::size_t end = m_text.find(quote, m_at + 1);
            if (end == std::wstring_view::npos)
            {
                return false;
            }
            expression.text = m_text.substr(m_at + 1, end - m_at - 1);
            m_at = end + 1;
            return true;
        }
        const auto number = TakeNumber();
        expression.numeric = true;
        expression.number = number.value_or(0);
        return number.has_value();
    }

    Owned ParsePath()
    {
        auto path = std::make_unique<Expression>();
        do
        {
            Step step;
            step.attribute = Take(L"@");
            step.name = TakeName();
            if (step.name.empty() || step.name == L"and" || step.name == L"or")
            {
                return nullptr;
            }
            while (Take(L"["))
            {
                Owned predicate = ParseOr();
                if (predicate == nullptr || !Take(L"]"))
                {
                    return nullptr;
                }
                step.predicates.push_back(std::move(predicate));
            }
            path->steps.push_back(std::move(step));
        } while (Take(L"/"));
        return path;
    }

    std::wstring_view m_text;
    std::size_t m_at = 0;
    int m_depth = 0;
};

} // namespace

std::unique_ptr<XPath::Expression> ParseXPath(std::wstring_view text)
{
    return Parser(text).ParseWhole();
}

} // namespace PalvoLab
