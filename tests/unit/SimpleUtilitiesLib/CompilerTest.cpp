#include "Compiler.h"

#include "LegacyPlvException.h"
#include "ScarceMemory.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#ifdef __GNUC__
extern "C" int _dowildcard; // NOLINT(readability-identifier-naming): the start-up code's name
#endif

namespace
{
class Silent : public std::exception
{
public:
    const char* what() const noexcept override { return nullptr; }
};

#ifdef __GNUC__
TEST(StartUpCodeTest, LeavesWildcardsInArgumentsAlone)
{
    EXPECT_EQ(_dowildcard, 0);
}
#endif

TEST(ClassNameTest, IsTheNameAfterTheWordClass)
{
    EXPECT_EQ(ClassName(typeid(ExceptionRegistryRequest)), "class ExceptionRegistryRequest");
    EXPECT_EQ(ClassName(typeid(LegacyPlvComException)), "class LegacyPlvComException");
    EXPECT_EQ(ClassName(typeid(std::bad_alloc)), "class std::bad_alloc");
}

TEST(ClassNameTest, IsEmptyWhenThereIsNoMemoryForIt)
{
    const ScarceMemory memory;
    ScarceMemory::Allow(0);
    const std::string name = ClassName(typeid(ExceptionRegistryRequest));
    ScarceMemory::End();
    EXPECT_EQ(name, "");
}

TEST(WhatTextTest, NamesAFailedAllocationAsWindowsDoes)
{
    EXPECT_EQ(WhatText(std::bad_alloc()), "bad allocation");
    EXPECT_EQ(WhatText(std::bad_array_new_length()), "bad array new length");
}

TEST(WhatTextTest, IsTheTextOfAnyOtherException)
{
    EXPECT_EQ(WhatText(std::runtime_error("why")), "why");
    EXPECT_EQ(WhatText(std::length_error("")), "");
}

TEST(WhatTextTest, ExceptionThatGivesNullHasNoText)
{
    EXPECT_EQ(WhatText(Silent()), "");
}
} // namespace
