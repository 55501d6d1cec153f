#include "CharacterSearch.h"

#include <emmintrin.h>

#include <bit>

namespace
{
// SSE2, which every x64 processor has, for both widths of characters.

__m128i Repeated(char character) noexcept
{
    return _mm_set1_epi8(character);
}
__m128i Repeated(wchar_t character) noexcept
{
    return _mm_set1_epi16(static_cast<short>(character));
}
__m128i Equal(__m128i block, __m128i wanted, char) noexcept
{
    return _mm_cmpeq_epi8(block, wanted);
}
__m128i Equal(__m128i block, __m128i wanted, wchar_t) noexcept
{
    return _mm_cmpeq_epi16(block, wanted);
}

template <class Character>
std::size_t Find(std::basic_string_view<Character> text, Character wanted) noexcept
{
    constexpr std::size_t Together = sizeof(__m128i) / sizeof(Character);
    const __m128i repeated = Repeated(wanted);
    std::size_t position = 0;
    for (; text.size() - position >= Together; position += Together)
    {
        const __m128i block =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + position));
        // One bit for each byte.
        const auto found = static_cast<unsigned>(_mm_movemask_epi8(Equal(block, repeated, wanted)));
        if (found != 0)
        {
            const auto bytes = static_cast<std::size_t>(std::countr_zero(found));
            return position + (bytes / sizeof(Character));
        }
    }
    while (position < text.size() && text[position] != wanted)
    {
        ++position;
    }
    return position;
}
} // namespace

std::size_t FindCharacter(std::string_view text, char wanted) noexcept
{
    return Find(text, wanted);
}

std::size_t FindCharacter(std::wstring_view text, wchar_t wanted) noexcept
{
    return Find(text, wanted);
}
