#include "DesktopAppGuidList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace
{
std::vector<std::string> Entries()
{
    std::vector<std::string> entries(1);
    for (const char* character = DesktopAppGuidList; *character != '\0'; ++character)
    {
        if (*character == ',')
        {
            entries.emplace_back();
        }
        else
        {
            entries.back() += *character;
        }
    }
    return entries;
}

/// The lengths of an entry's groups of hexadecimal digits; a 0 for anything else in a group.
std::vector<std::size_t> Groups(const std::string& entry)
{
    std::vector<std::size_t> groups(1);
    bool onlyDigits = true;
    for (const char character : entry)
    {
        if (character == '-')
        {
            groups.push_back(0);
            continue;
        }
        onlyDigits = onlyDigits && std::isxdigit(static_cast<unsigned char>(character)) != 0;
        ++groups.back();
    }
    return onlyDigits ? groups : std::vector<std::size_t>{0};
}

bool Has(const std::string& entry, int (*kind)(int))
{
    return std::any_of(entry.begin(), entry.end(),
                       [kind](char character)
                       { return kind(static_cast<unsigned char>(character)) != 0; });
}

TEST(DesktopAppGuidListTest, Has6475Characters)
{
    EXPECT_EQ(std::strlen(DesktopAppGuidList), 6475U);
}

TEST(DesktopAppGuidListTest, Has175EntriesBetweenSingleCommas)
{
    EXPECT_EQ(Entries().size(), 175U);
}

TEST(DesktopAppGuidListTest, EveryEntryButThe140thHasTheFormOfAGuid)
{
    const std::vector<std::string> entries = Entries();
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        const std::size_t last = i + 1 == 140 ? 13 : 12;
        EXPECT_EQ(Groups(entries[i]), (std::vector<std::size_t>{8, 4, 4, 4, last}))
            << "entry " << i + 1 << ": " << entries[i];
    }
}

TEST(DesktopAppGuidListTest, The140thEntryHas37Characters)
{
    ASSERT_GE(Entries().size(), 140U);
    EXPECT_EQ(Entries()[139].size(), 37U);
}

TEST(DesktopAppGuidListTest, Holds120InUpperCase54InLowerCaseAndOneMixed)
{
    int upper = 0;
    int lower = 0;
    int mixed = 0;
    for (const std::string& entry : Entries())
    {
        const bool hasUpper = Has(entry, &std::isupper);
        const bool hasLower = Has(entry, &std::islower);
        upper += hasUpper && !hasLower ? 1 : 0;
        lower += hasLower && !hasUpper ? 1 : 0;
        mixed += hasUpper && hasLower ? 1 : 0;
    }
    EXPECT_EQ(upper, 120);
    EXPECT_EQ(lower, 54);
    EXPECT_EQ(mixed, 1);
}

TEST(DesktopAppGuidListTest, NoEntryStandsTwice)
{
    const std::vector<std::string> entries = Entries();
    EXPECT_EQ(std::set<std::string>(entries.begin(), entries.end()).size(), entries.size());
}
} // namespace
