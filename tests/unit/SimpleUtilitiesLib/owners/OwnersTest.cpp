#include "Owners.h"

#include "ComOwners.h"
#include "SessionOwners.h"

#include "Replaced.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
std::vector<int> closed;

struct NumberTraits
{
    using Value = int;
    static Value Nothing() noexcept { return 0; }
    static bool IsOwned(Value value) noexcept { return value != 0; }
    static void Close(Value value) noexcept
    {
        closed.push_back(value);
        SetLastError(static_cast<DWORD>(value));
    }
};
using Number = Owner<NumberTraits>;

class OwnerTest : public testing::Test
{
protected:
    void SetUp() override { closed.clear(); }
};

static_assert(!std::is_copy_constructible_v<Number>);
static_assert(!std::is_copy_assignable_v<Number>);

TEST_F(OwnerTest, GivesItsValueBackAtTheEndOfItsLife)
{
    {
        const Number number(7);
        EXPECT_EQ(number.Get(), 7);
        EXPECT_TRUE(number.IsValid());
        EXPECT_TRUE(static_cast<bool>(number));
        EXPECT_TRUE(closed.empty());
    }
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(OwnerTest, GivingBackLeavesTheLastErrorAlone)
{
    SetLastError(0xABCDE);
    {
        const Number number(7);
    }
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST_F(OwnerTest, NothingIsNotGivenBack)
{
    {
        const Number none;
        EXPECT_FALSE(none.IsValid());
        EXPECT_EQ(none.Get(), 0);
    }
    EXPECT_TRUE(closed.empty());
}

TEST_F(OwnerTest, MovedValueIsGivenBackOnce)
{
    {
        Number first(7);
        const Number second(std::move(first));
        EXPECT_EQ(second.Get(), 7);
    }
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(OwnerTest, AssignmentGivesTheOldValueBackFirst)
{
    {
        Number first(7);
        first = Number(8);
        EXPECT_EQ(closed, std::vector<int>{7});
        EXPECT_EQ(first.Get(), 8);
    }
    EXPECT_EQ(closed, (std::vector<int>{7, 8}));
}

TEST_F(OwnerTest, AssignmentToItselfKeepsTheValue)
{
    Number number(7);
    Number& same = number;
    number = std::move(same);
    EXPECT_EQ(number.Get(), 7);
    EXPECT_TRUE(closed.empty());
}

TEST_F(OwnerTest, ReleasedValueIsTheCallers)
{
    {
        Number number(7);
        EXPECT_EQ(number.Release(), 7);
        EXPECT_FALSE(number.IsValid());
    }
    EXPECT_TRUE(closed.empty());
}

TEST_F(OwnerTest, ReceivingGivesTheOldValueBackFirst)
{
    {
        Number number(7);
        int* place = number.Receive();
        EXPECT_EQ(closed, std::vector<int>{7});
        EXPECT_EQ(*place, 0);
        *place = 8;
    }
    EXPECT_EQ(closed, (std::vector<int>{7, 8}));
}

TEST_F(OwnerTest, ValueOfACallThatSucceededIsKept)
{
    {
        Number number;
        *number.Receive() = 7;
        EXPECT_TRUE(number.KeepIf(TRUE));
        EXPECT_EQ(number.Get(), 7);
    }
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(OwnerTest, ValueOfACallThatFailedIsForgotten)
{
    {
        Number number;
        *number.Receive() = 7;
        EXPECT_FALSE(number.KeepIf(FALSE));
        EXPECT_FALSE(number.IsValid());
    }
    EXPECT_TRUE(closed.empty());
}

TEST_F(OwnerTest, CallThatSucceededWithoutAValueGaveNone)
{
    Number number;
    EXPECT_FALSE(number.KeepIf(TRUE));
}

TEST_F(OwnerTest, ResetGivesBackAtOnceAndOnce)
{
    Number number(7);
    number.Reset();
    number.Reset();
    EXPECT_EQ(closed, std::vector<int>{7});
    EXPECT_FALSE(number.IsValid());
}

TEST(LastErrorKeeperTest, PutsTheValueBack)
{
    SetLastError(5);
    {
        const LastErrorKeeper keeper;
        SetLastError(6);
    }
    EXPECT_EQ(GetLastError(), 5U);
}

TEST(HandleTest, NullIsNoKernelHandleAndAllOnesIsOne)
{
    EXPECT_FALSE(KernelHandle().IsValid());
    EXPECT_EQ(KernelHandle().Get(), nullptr);
    KernelHandle process(GetCurrentProcess());
    EXPECT_TRUE(process.IsValid());
    static_cast<void>(process.Release());
}

TEST(HandleTest, NeitherNullNorAllOnesIsAFileHandle)
{
    EXPECT_EQ(FileHandle().Get(), INVALID_HANDLE_VALUE);
    EXPECT_FALSE(FileHandle().IsValid());
    EXPECT_FALSE(FileHandle(nullptr).IsValid());
    EXPECT_FALSE(FileHandle(INVALID_HANDLE_VALUE).IsValid());
}

TEST(HandleTest, KernelHandleIsClosed)
{
    HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    {
        const KernelHandle owner(event);
    }
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(event, &flags));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(HandleTest, RegistryHandleIsClosed)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &key), ERROR_SUCCESS);
    {
        const RegistryHandle owner(key);
    }
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
}

TEST(MemoryTest, LocalAndSessionMemoryIsFreed)
{
    std::vector<void*> freed;
    const Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree(
        [&](HLOCAL memory) -> HLOCAL
        {
            freed.push_back(memory);
            return nullptr;
        });
    const Replaced<"WTSAPI32", "WTSFreeMemory", decltype(WTSFreeMemory)> freeMemory(
        [&](PVOID memory) { freed.push_back(memory); });
    int one = 1;
    int two = 2;
    {
        const LocalPointer<int*> local(&one);
        const WtsMemory<int*> session(&two);
        EXPECT_EQ(*local.Get(), 1);
    }
    EXPECT_EQ(freed, (std::vector<void*>{&two, &one}));
}

class CountedObject final : public IUnknown
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    ULONG references = 1;
};

TEST(ComOwnersTest, InterfaceIsReleased)
{
    CountedObject object;
    {
        const ComPointer<IUnknown> pointer(&object);
        EXPECT_EQ(pointer->AddRef(), 2U);
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(ComOwnersTest, TextIsFreed)
{
    BSTR freed = nullptr;
    const Replaced<"OLEAUT32", "SysFreeString", decltype(SysFreeString)> freeString(
        [&](BSTR text) { freed = text; });
    wchar_t text[] = L"text";
    {
        const BStr owner(text);
    }
    EXPECT_EQ(freed, text);
}

TEST(ComOwnersTest, VariantStartsEmptyAndIsCleared)
{
    CountedObject object;
    object.AddRef();
    {
        Variant variant;
        EXPECT_EQ(variant.Get().vt, VT_EMPTY);
        (&variant)->vt = VT_UNKNOWN;
        (&variant)->punkVal = &object;
        SetLastError(0xABCDE);
    }
    EXPECT_EQ(GetLastError(), 0xABCDEU);
    EXPECT_EQ(object.references, 1U);
}

TEST(ComOwnersTest, ApartmentIsLeftWhenItWasEntered)
{
    int left = 0;
    const Replaced<"OLE32", "CoInitializeEx", decltype(CoInitializeEx)> enter(
        [](LPVOID reserved, DWORD model)
        {
            EXPECT_EQ(reserved, nullptr);
            EXPECT_EQ(model, 2U);
            return S_FALSE;
        });
    const Replaced<"OLE32", "CoUninitialize", decltype(CoUninitialize)> leave(
        [&]
        {
            ++left;
            SetLastError(1);
        });
    SetLastError(0xABCDE);
    {
        const ComApartment apartment;
        EXPECT_EQ(apartment.Result(), S_FALSE);
        EXPECT_EQ(left, 0);
    }
    EXPECT_EQ(left, 1);
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST(ComOwnersTest, ApartmentThatWasNotEnteredIsNotLeft)
{
    int left = 0;
    const Replaced<"OLE32", "CoInitializeEx", decltype(CoInitializeEx)> enter(
        [](LPVOID, DWORD) { return static_cast<HRESULT>(0x80010106); });
    const Replaced<"OLE32", "CoUninitialize", decltype(CoUninitialize)> leave([&] { ++left; });
    {
        const ComApartment apartment;
        EXPECT_EQ(static_cast<unsigned>(apartment.Result()), 0x80010106U);
    }
    EXPECT_EQ(left, 0);
}
} // namespace
