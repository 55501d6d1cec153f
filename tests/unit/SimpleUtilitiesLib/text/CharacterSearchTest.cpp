#include "CharacterSearch.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
template <class Character> class CharacterSearchTest : public testing::Test
{
protected:
    using Text = std::basic_string<Character>;

    static constexpr Character Wanted = '\n';
    static constexpr Character Other = '\x0B'; // but for one bit the same
};
using Characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(CharacterSearchTest, Characters);

TYPED_TEST(CharacterSearchTest, TheOnlyOneIsFoundAnywhere)
{
    for (std::size_t length = 0; length < 70; ++length)
    {
        const typename TestFixture::Text text(length, this->Other);
        EXPECT_EQ(FindCharacter(text, this->Wanted), length);
        for (std::size_t place = 0; place < length; ++place)
        {
            typename TestFixture::Text withOne = text;
            withOne[place] = this->Wanted;
            EXPECT_EQ(FindCharacter(withOne, this->Wanted), place) << "of " << length;
        }
    }
}

TYPED_TEST(CharacterSearchTest, TheFirstOfSeveralIsFound)
{
    typename TestFixture::Text text(40, this->Other);
    text[20] = text[23] = text[37] = this->Wanted;
    EXPECT_EQ(FindCharacter(text, this->Wanted), 20U);
}

TYPED_TEST(CharacterSearchTest, WhatLiesBehindTheEndIsNotFound)
{
    const typename TestFixture::Text text =
        typename TestFixture::Text(40, this->Other) + this->Wanted;
    const std::basic_string_view<TypeParam> whole = text;
    for (std::size_t length = 0; length < text.size(); ++length)
    {
        EXPECT_EQ(FindCharacter(whole.substr(0, length), this->Wanted), length);
    }
}

TEST(WideCharacterSearchTest, HalfOfACharacterIsNotFound)
{
    const std::wstring text(20, L'\u0A0A');
    EXPECT_EQ(FindCharacter(text, L'\n'), 20U);
    EXPECT_EQ(FindCharacter(text + L'\n', L'\n'), 20U);
    EXPECT_EQ(FindCharacter(L"\u0A00\u000A", L'\n'), 1U);
}

TEST(WideCharacterSearchTest, AnyCharacterIsFound)
{
    const std::wstring text = std::wstring(21, L'x') + L'\uFFFF' + std::wstring(9, L'x') + L'\0';
    EXPECT_EQ(FindCharacter(text, L'\uFFFF'), 21U);
    EXPECT_EQ(FindCharacter(text, L'\0'), 31U);
}
} // namespace
