// The parsed form of an expression: what the parser makes and the evaluation walks.
#pragma once

#include "XPath.h"

namespace PalvoLab
{

enum class Comparison
{
    Exists,
    Equal,
    NotEqual,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
};

struct Step
{
    std::wstring name; // "*" for any
    bool attribute = false;
    std::vector<std::unique_ptr<XPath::Expression>> predicates;
};

struct XPath::Expression
{
    enum class Kind
    {
        And,
        Or,
        Compare,
        Path,
    };

    Kind kind = Kind::Path;
    std::unique_ptr<Expression> left;
    std::unique_ptr<Expression> right;
    Comparison comparison = Comparison::Exists;
    bool numeric = false;
    std::uint64_t number = 0;
    std::wstring text;
    std::uint64_t mask = 0; // not 0: Band(path, mask)
    std::vector<Step> steps;
};

// Parses a whole text. Null when it is not well formed.
std::unique_ptr<XPath::Expression> ParseXPath(std::wstring_view text);

} // namespace PalvoLab
