#include "LegacyPlvException.h"

#include "CRuntime.h"
#include "FieldOffsets.h"
#include "PrivateMember.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "VirtualSlot.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <type_traits>

PRIVATE_FIELD(ThrownDetails, LegacyPlvException, std::wstring, details);
PRIVATE_FIELD(ThrownLine, LegacyPlvException, std::uint32_t, line);
PRIVATE_FIELD(ThrownMethod, LegacyPlvException, std::wstring, method);
PRIVATE_FIELD(ThrownFile, LegacyPlvException, std::wstring, file);
PRIVATE_FIELD(WhatBuffer, LegacyPlvException, std::unique_ptr<char[]>, whatBuffer);

namespace
{
ExceptionRegistryRequest Sample(const std::wstring& details = L"d\x4E2D")
{
    return ExceptionRegistryRequest(details, L"a\\File", 7, L"Class::Method");
}

const char* const SampleText = "Object of class ExceptionRegistryRequest thrown from:\r\n\r\n"
                               "File:\tFile\r\n"
                               "Method:\tClass::Method()\r\n"
                               "Line:\t7\r\n"
                               "\r\nDetails:\r\n\td\xE4\xB8\xAD\r\n";

static_assert(std::is_abstract_v<LegacyPlvException>);
static_assert(std::is_base_of_v<std::exception, LegacyPlvException>);
static_assert(std::is_base_of_v<LegacyPlvException, ExceptionRegistryRequest>);
static_assert(std::is_base_of_v<LegacyPlvException, ExceptionNotEnoughBytesForDesiredDataType>);
static_assert(std::is_base_of_v<std::exception, LegacyPlvComException>);
static_assert(!std::is_base_of_v<LegacyPlvException, LegacyPlvComException>);

TEST(LegacyPlvExceptionTest, EachKindHasItsIdentifier)
{
    EXPECT_STREQ(Sample().GetErrorId(), "001:000");
    EXPECT_STREQ(ExceptionNotEnoughBytesForDesiredDataType(L"", L"", 0, L"").GetErrorId(),
                 "003:000");
}

TEST(LegacyPlvExceptionTest, KeepsWhatItWasMadeOf)
{
    const ExceptionRegistryRequest e = Sample();
    EXPECT_EQ(e.Details(), L"d\x4E2D");
    EXPECT_EQ(e.File(), L"a\\File");
    EXPECT_EQ(e.Line(), 7U);
    EXPECT_EQ(e.Method(), L"Class::Method");
}

TEST(LegacyPlvExceptionTest, WhatIsTheDescriptionInUtf8)
{
    EXPECT_STREQ(Sample().what(), SampleText);
}

TEST(LegacyPlvExceptionTest, WhatGivesTheSameBufferAgain)
{
    const ExceptionRegistryRequest e = Sample();
    const char* first = e.what();
    EXPECT_EQ(e.what(), first);
    EXPECT_STREQ(first, SampleText);
}

TEST(LegacyPlvExceptionTest, FieldsStandInTheirOrder)
{
    EXPECT_EQ(OffsetsOf<LegacyPlvException>(Sample(), MemberOf(ThrownDetails{}),
                                            MemberOf(ThrownLine{}), MemberOf(ThrownMethod{}),
                                            MemberOf(ThrownFile{}), MemberOf(WhatBuffer{})),
              (std::vector<std::size_t>{8, 40, 48, 80, 112}));
    static_assert(sizeof(LegacyPlvException) == 120);
}

TEST(LegacyPlvExceptionTest, BufferOf2048BytesIsAllocatedByTheFirstCallOfWhat)
{
    const ExceptionRegistryRequest e = Sample();
    const std::unique_ptr<char[]>& buffer = e.*MemberOf(WhatBuffer{});
    EXPECT_EQ(buffer, nullptr);
    const char* what = e.what();
    EXPECT_EQ(buffer.get(), what);
    EXPECT_EQ(_msize(buffer.get()), 2048U);
}

TEST(LegacyPlvExceptionTest, CopyHasNoBufferYet)
{
    const ExceptionRegistryRequest e = Sample();
    static_cast<void>(e.what());
    const ExceptionRegistryRequest copy = e;
    EXPECT_EQ(copy.*MemberOf(WhatBuffer{}), nullptr);
}

/// Counts how often one piece of memory is freed. Replaced would free memory of its own before it
/// knows the real function.
struct FreedMemory
{
    static void Free(void* memory)
    {
        count += memory != nullptr && memory == watched ? 1 : 0;
        real(memory);
    }
    static inline void* watched = nullptr;
    static inline int count = 0;
    static inline void (*real)(void*) = nullptr;
};

TEST(LegacyPlvExceptionTest, BufferIsFreedWithTheException)
{
    FreedMemory::real = CRuntimeFunction<void(void*)>("free");
    ASSERT_NE(FreedMemory::real, nullptr);
    const PalvoLab::StandIn<void (*)(void*)> free("msvcrt", "free", &FreedMemory::Free);
    ASSERT_TRUE(free.IsApplied());
    {
        const ExceptionRegistryRequest e = Sample();
        static_cast<void>(e.what());
        FreedMemory::watched = (e.*MemberOf(WhatBuffer{})).get();
        EXPECT_EQ(FreedMemory::count, 0);
    }
    EXPECT_EQ(FreedMemory::count, 1);
    FreedMemory::watched = nullptr;
}

TEST(LegacyPlvExceptionTest, CopyHasABufferOfItsOwn)
{
    const ExceptionRegistryRequest e = Sample();
    const char* what = e.what();
    const ExceptionRegistryRequest copy = e;
    EXPECT_NE(copy.what(), what);
    EXPECT_STREQ(copy.what(), SampleText);
}

TEST(LegacyPlvExceptionTest, CopyOutlivesTheOriginal)
{
    auto original = std::make_unique<ExceptionRegistryRequest>(Sample());
    static_cast<void>(original->what());
    const ExceptionRegistryRequest copy = *original;
    original.reset();
    EXPECT_STREQ(copy.what(), SampleText);
}

TEST(LegacyPlvExceptionTest, WhatOf2047BytesIsWhole)
{
    const std::size_t empty = std::strlen(Sample(L"x").what()) - 1;
    const ExceptionRegistryRequest e = Sample(std::wstring(2047 - empty, L'x'));
    EXPECT_EQ(std::strlen(e.what()), 2047U);
    EXPECT_EQ(e.what()[2046], '\n');
}

TEST(LegacyPlvExceptionTest, LongerWhatIsCutTo2047BytesAndAZero)
{
    const ExceptionRegistryRequest e = Sample(std::wstring(30'000, L'x'));
    EXPECT_EQ(std::strlen(e.what()), 2047U);
    EXPECT_EQ(e.what()[2046], 'x');
}

TEST(LegacyPlvExceptionTest, WhatLeavesTheLastErrorAlone)
{
    const ExceptionRegistryRequest e = Sample();
    SetLastError(0xABCDE);
    static_cast<void>(e.what());
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST(LegacyPlvExceptionTest, WhatPutsBackALastErrorThatIsChangedOnTheWay)
{
    const ExceptionRegistryRequest e = Sample();
    const Replaced<"KERNEL32", "WideCharToMultiByte", decltype(WideCharToMultiByte)> convert(
        [](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR buffer, int size,
           LPCCH defaultCharacter, LPBOOL usedDefault)
        {
            const int written = decltype(convert)::Original(codePage, flags, text, length, buffer,
                                                            size, defaultCharacter, usedDefault);
            SetLastError(122);
            return written;
        });
    SetLastError(0xABCDE);
    EXPECT_STREQ(e.what(), SampleText);
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST(LegacyPlvExceptionTest, VirtualOperationsStandInTheirSlots)
{
    static_assert(std::has_virtual_destructor_v<LegacyPlvException>);
    EXPECT_EQ(VirtualSlot(&LegacyPlvException::what), FirstSlotAfterDestructor);
    EXPECT_EQ(VirtualSlot(&LegacyPlvException::Reserved), FirstSlotAfterDestructor + 1);
    EXPECT_EQ(VirtualSlot(&LegacyPlvException::GetErrorId), FirstSlotAfterDestructor + 2);
}

TEST(LegacyPlvExceptionTest, ReservedSlotDoesNothing)
{
    const ExceptionRegistryRequest e = Sample();
    SetLastError(0xABCDE);
    e.Reserved();
    EXPECT_EQ(GetLastError(), 0xABCDEU);
    EXPECT_STREQ(e.what(), SampleText);
}

TEST(LegacyPlvExceptionTest, WhatWithoutMemoryForItsBufferIsEmpty)
{
    const ScarceMemory memory;
    const ExceptionRegistryRequest e = Sample();
    ScarceMemory::Allow(0);
    const char* what = e.what();
    ScarceMemory::End();
    EXPECT_STREQ(what, "");
}

// In a process of its own: a description that asks for itself never ends.
TEST(LegacyPlvExceptionDeathTest, WhatThatRunsOutOfMemoryHalfWayComesToAnEnd)
{
    EXPECT_EXIT(
        {
            const ScarceMemory memory;
            const ExceptionRegistryRequest e = Sample();
            static_cast<void>(e.what());
            ScarceMemory::ForEveryRoom([&] { static_cast<void>(e.what()); }, [] {});
            std::exit(std::strcmp(e.what(), SampleText) == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(LegacyPlvComExceptionTest, KeepsItsResult)
{
    EXPECT_EQ(static_cast<unsigned>(LegacyPlvComException(E_ACCESSDENIED).Result()), 0x80070005U);
    EXPECT_STREQ(LegacyPlvComException(E_FAIL).what(), "");
    static_assert(sizeof(LegacyPlvComException) == 16, "the result alone");
}
} // namespace
