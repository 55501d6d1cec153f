#pragma once

#include <cstddef>
#include <string>
#include <type_traits>

// Checks printf formats at compile time. A format must be a constant, so that data cannot become
// one, and every argument must fit its conversion.

namespace FormatCheck
{
enum class Kind
{
    WideText,
    NarrowText,
    Number32,
    Number64,
    Unsupported
};

template <class Argument> constexpr Kind KindOf()
{
    using Plain = std::remove_cv_t<std::decay_t<Argument>>;
    if constexpr (std::is_same_v<Plain, std::wstring> || std::is_same_v<Plain, const wchar_t*> ||
                  std::is_same_v<Plain, wchar_t*>)
    {
        return Kind::WideText;
    }
    else if constexpr (std::is_same_v<Plain, std::string> || std::is_same_v<Plain, const char*> ||
                       std::is_same_v<Plain, char*>)
    {
        return Kind::NarrowText;
    }
    else if constexpr (std::is_integral_v<Plain> && sizeof(Plain) <= sizeof(int))
    {
        return Kind::Number32;
    }
    else if constexpr (std::is_integral_v<Plain>)
    {
        return Kind::Number64;
    }
    else
    {
        return Kind::Unsupported;
    }
}

// Not constexpr on purpose: reaching one stops the compilation, which shows its name.
inline void ArgumentDoesNotFitItsConversion() {}
inline void NumberOfArgumentsDiffersFromTheFormat() {}
inline void UnknownConversion() {}

/// Reads a format and consumes the arguments' kinds in order, at compile time: CheckedFormat, which
/// asks for it, is made at no other time.
template <class Character> class Walk
{
public:
    constexpr Walk(const Character* format, const Kind* argumentKinds, std::size_t argumentCount)
        : at(format), kinds(argumentKinds), count(argumentCount)
    {
    }

    constexpr void ToTheEnd()
    {
        while (*at != 0)
        {
            if (*at++ == '%')
            {
                Conversion();
            }
        }
        if (taken != count)
        {
            NumberOfArgumentsDiffersFromTheFormat();
        }
    }

private:
    constexpr void Take(Kind wanted)
    {
        if (taken == count)
        {
            NumberOfArgumentsDiffersFromTheFormat();
        }
        else if (kinds[taken++] != wanted)
        {
            ArgumentDoesNotFitItsConversion();
        }
    }

    constexpr void WidthOrPrecision()
    {
        if (*at == '*')
        {
            Take(Kind::Number32);
            ++at;
        }
        while (*at >= '0' && *at <= '9')
        {
            ++at;
        }
    }

    constexpr void Conversion()
    {
        if (*at == '%')
        {
            ++at;
            return;
        }
        while (*at == '-' || *at == '+' || *at == ' ' || *at == '#' || *at == '0')
        {
            ++at;
        }
        WidthOrPrecision();
        if (*at == '.')
        {
            ++at;
            WidthOrPrecision();
        }
        const Kind number = SizeOfNumber();
        TakeFor(*at++, number);
    }

    constexpr Kind SizeOfNumber()
    {
        if (*at == 'l')
        {
            ++at; // a long has 32 bits on Windows
        }
        else if (at[0] == 'I' && at[1] == '6' && at[2] == '4')
        {
            at += 3;
            return Kind::Number64;
        }
        return Kind::Number32;
    }

    constexpr void TakeFor(Character conversion, Kind number)
    {
        switch (conversion)
        {
        case 'd':
        case 'u':
        case 'x':
        case 'X':
            Take(number);
            break;
        case 's':
            Take(Kind::WideText);
            break;
        case 'S':
            Take(Kind::NarrowText);
            break;
        default:
            UnknownConversion();
        }
    }

    const Character* at;
    const Kind* kinds;
    std::size_t count;
    std::size_t taken = 0;
};
} // namespace FormatCheck

/// A format whose conversions fit arguments of these types.
template <class Character, class... Arguments> class CheckedFormat
{
public:
    // Implicit, so that callers can pass a literal.
    // NOLINTNEXTLINE(google-explicit-constructor)
    consteval CheckedFormat(const Character* literal) : text(literal)
    {
        constexpr FormatCheck::Kind Kinds[] = {FormatCheck::KindOf<Arguments>()...,
                                               FormatCheck::Kind::Unsupported};
        FormatCheck::Walk<Character>(literal, Kinds, sizeof...(Arguments)).ToTheEnd();
    }

    [[nodiscard]] constexpr const Character* Text() const { return text; }

private:
    const Character* text;
};

template <class... Arguments>
using WideFormat = CheckedFormat<wchar_t, std::type_identity_t<Arguments>...>;
template <class... Arguments>
using NarrowFormat = CheckedFormat<char, std::type_identity_t<Arguments>...>;
