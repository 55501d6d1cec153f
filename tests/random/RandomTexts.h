#pragma once

#include "Random.h"

#include <string>

/// Text without zeros: letters, what has a meaning in command lines, formats and lists, controls,
/// characters outside the code page and halves of surrogate pairs.
inline std::wstring AnyText(Random& random, std::size_t length)
{
    static const std::wstring special = L"\"\"\\\\  \t\n\r%*:;,=-/\u00A0\u3000\u00E4\u0416\u4E2D"
                                        L"\uFEFF\uFFFF\u007F\u0001";
    std::wstring text;
    while (text.size() < length)
    {
        switch (random.Below(8))
        {
        case 0:
        case 1:
        case 2:
            text += static_cast<wchar_t>(random.Between('a', 'z'));
            break;
        case 3:
            text += static_cast<wchar_t>(random.Between(0xD800, 0xDFFF));
            break;
        default:
            text += special[random.Below(special.size())];
        }
    }
    return text;
}

/// The same, or nothing but what has a meaning in command lines.
inline std::wstring AnyPrinterName(Random& random, std::size_t length)
{
    if (!random.OneIn(3))
    {
        return AnyText(random, length);
    }
    std::wstring name;
    for (std::size_t i = 0; i < length; ++i)
    {
        name += random.Of({L'"', L'\\', L'\\', L' ', L'\t', L'a'});
    }
    return name;
}

/// The letters A to Z of `text` as capitals or not, at random.
inline std::wstring InAnyCase(Random& random, std::wstring text)
{
    for (wchar_t& character : text)
    {
        const bool isLetter =
            (character >= L'A' && character <= L'Z') || (character >= L'a' && character <= L'z');
        if (isLetter && random.OneIn(2))
        {
            character = static_cast<wchar_t>(character ^ 0x20);
        }
    }
    return text;
}

/// `text` with one character taken out, doubled, added or exchanged.
inline std::wstring NearMiss(Random& random, std::wstring text)
{
    const std::size_t place = random.Below(text.size() + 1);
    if (place == text.size() || random.OneIn(3))
    {
        return text.insert(place, AnyText(random, 1));
    }
    switch (random.Below(3))
    {
    case 0:
        return text.erase(place, 1);
    case 1:
        return text.insert(place, 1, text[place]);
    default:
        text[place] = static_cast<wchar_t>(text[place] ^ (1U << random.Below(7)));
        return text[place] == L'\0' ? text.erase(place, 1) : text;
    }
}
