#include "CodeText.h"

#include <cstdint>
#include <cstdio>

namespace
{
constexpr std::size_t LongRun = 24;

/// One character inside quotes. Sets `endsInHex` when a digit that follows would belong to it.
std::string Escaped(std::uint32_t character, char quote, bool& endsInHex)
{
    endsInHex = false;
    switch (character)
    {
    case '\t':
        return "\\t";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    default:
        break;
    }
    if (character >= 0x20 && character < 0x7F)
    {
        const char plain = static_cast<char>(character);
        return plain == quote || plain == '\\' ? std::string("\\") + plain : std::string(1, plain);
    }
    const bool isHalf = character >= 0xD800 && character <= 0xDFFF;
    endsInHex = isHalf || character <= 0xFF;
    char text[16] = {};
    std::snprintf(text, sizeof text, endsInHex ? "\\x%02X" : "\\u%04X",
                  static_cast<unsigned>(character));
    return text;
}

bool IsHexDigit(std::uint32_t character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

template <class Character> std::string Code(std::basic_string_view<Character> text)
{
    constexpr bool wide = sizeof(Character) > 1;
    const std::string prefix = wide ? "L" : "";
    const std::string type = wide ? "std::wstring" : "std::string";
    const auto number = [](Character character)
    { return static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<Character>>(character)); };

    std::string code;
    std::string literal;
    bool endsInHex = false;
    const auto endLiteral = [&]
    {
        if (!literal.empty())
        {
            const std::string quoted = prefix + "\"" + literal + "\"";
            code += code.empty() ? quoted : " + " + quoted;
            literal.clear();
            endsInHex = false;
        }
    };
    for (std::size_t i = 0; i < text.size();)
    {
        std::size_t end = i;
        while (end < text.size() && text[end] == text[i])
        {
            ++end;
        }
        bool hex = false;
        // A zero would end a literal too early.
        if (end - i >= LongRun || text[i] == Character{0})
        {
            endLiteral();
            code += code.empty() ? "" : " + ";
            code += type + "(" + std::to_string(end - i) + ", " + prefix + "'" +
                    Escaped(number(text[i]), '\'', hex) + "')";
            i = end;
            continue;
        }
        if (endsInHex && IsHexDigit(number(text[i])))
        {
            literal += "\" " + prefix + "\"";
        }
        literal += Escaped(number(text[i]), '"', hex);
        endsInHex = hex;
        ++i;
    }
    endLiteral();
    return code.empty() ? prefix + "\"\"" : code;
}
} // namespace

std::string CodeText(std::wstring_view text)
{
    return Code(text);
}

std::string CodeText(std::string_view bytes)
{
    return Code(bytes);
}

std::string CodeText(const std::vector<std::wstring>& texts)
{
    std::string code;
    for (const std::wstring& text : texts)
    {
        code += (code.empty() ? "" : ", ") + CodeText(text);
    }
    return "{" + code + "}";
}
