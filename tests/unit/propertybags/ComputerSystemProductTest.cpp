#include "ComputerSystemProduct.h"

#include "FakeWmi.h"

#include <gtest/gtest.h>

namespace
{
class ComputerSystemProductTest : public ::testing::Test
{
protected:
    ComputerSystemProductTest() { wmi.objects = {Machine()}; }

    ~ComputerSystemProductTest() override { EXPECT_EQ(wmi.Faults(), L""); }

    static std::map<std::wstring, FakeProperty> Machine()
    {
        return {{L"UUID", {VT_BSTR, L"4C4C4544-0042"}},
                {L"IdentifyingNumber", {VT_BSTR, L"SN 17"}}};
    }

    void ExpectNothing()
    {
        const ComputerSystemProduct product = QueryComputerSystemProduct();
        EXPECT_FALSE(product.ok);
        EXPECT_EQ(product.uuid, L"");
        EXPECT_EQ(product.identifyingNumber, L"");
    }

    /// The machine's serial number with this value of the property.
    std::wstring NumberOf(const FakeProperty& property)
    {
        wmi.objects[0][L"IdentifyingNumber"] = property;
        const ComputerSystemProduct product = QueryComputerSystemProduct();
        EXPECT_TRUE(product.ok);
        EXPECT_EQ(product.uuid, L"4C4C4544-0042");
        return product.identifyingNumber;
    }

    Journal journal;
    FakeWmi wmi{journal};
};

TEST_F(ComputerSystemProductTest, SingleObjectGivesBothTexts)
{
    const ComputerSystemProduct product = QueryComputerSystemProduct();
    EXPECT_TRUE(product.ok);
    EXPECT_EQ(product.uuid, L"4C4C4544-0042");
    EXPECT_EQ(product.identifyingNumber, L"SN 17");
}

TEST_F(ComputerSystemProductTest, EveryStepInOrder)
{
    QueryComputerSystemProduct();
    EXPECT_EQ(journal,
              (Journal{L"CoInitializeEx 2", L"CoCreateInstance", L"ConnectServer ROOT\\CIMV2",
                       L"CoSetProxyBlanket 10 0 null 3 3 null 0",
                       L"ExecQuery WQL SELECT * FROM Win32_ComputerSystemProduct 48", L"Next",
                       L"Get UUID", L"Get IdentifyingNumber", L"Next", L"CoUninitialize"}));
}

TEST_F(ComputerSystemProductTest, TwoObjectsGiveNothing)
{
    wmi.objects.push_back(Machine());
    ExpectNothing();
}

TEST_F(ComputerSystemProductTest, TwoHalvesOfAnObjectAreTakenForOne)
{
    wmi.objects = {{{L"UUID", {VT_BSTR, L"first"}}},
                   {{L"IdentifyingNumber", {VT_BSTR, L"second"}}}};
    const ComputerSystemProduct product = QueryComputerSystemProduct();
    EXPECT_TRUE(product.ok);
    EXPECT_EQ(product.uuid, L"first");
    EXPECT_EQ(product.identifyingNumber, L"second");
}

TEST_F(ComputerSystemProductTest, NoObjectGivesNothing)
{
    wmi.objects.clear();
    ExpectNothing();
}

TEST_F(ComputerSystemProductTest, MissingPropertyGivesNothing)
{
    wmi.objects[0].erase(L"UUID");
    ExpectNothing();
}

TEST_F(ComputerSystemProductTest, NullPropertyIsEmptyText)
{
    EXPECT_EQ(NumberOf({VT_NULL, {}}), L"");
}

TEST_F(ComputerSystemProductTest, EmptyPropertyIsEmptyText)
{
    EXPECT_EQ(NumberOf({VT_EMPTY, {}}), L"");
}

TEST_F(ComputerSystemProductTest, TextThatPointsNowhereIsEmptyText)
{
    EXPECT_EQ(NumberOf({VT_BSTR, {}, 0, true}), L"");
}

TEST_F(ComputerSystemProductTest, NullAndEmptyAreEmptyTextWhateverTheyWouldBeConvertedTo)
{
    using Change = Replaced<"OLEAUT32", "VariantChangeType", decltype(VariantChangeType)>;
    const Change change(
        [](VARIANTARG* text, const VARIANTARG*, USHORT flags, VARTYPE type)
        {
            EXPECT_EQ(flags, 0U);
            EXPECT_EQ(type, 8U);
            text->vt = type;
            text->bstrVal = SysAllocString(L"null");
            return S_OK;
        });
    EXPECT_EQ(NumberOf({VT_I4, {}, 4711}), L"null");
    EXPECT_EQ(NumberOf({VT_NULL, {}}), L"");
    EXPECT_EQ(NumberOf({VT_EMPTY, {}}), L"");
}

TEST_F(ComputerSystemProductTest, NumberBecomesItsText)
{
    EXPECT_EQ(NumberOf({VT_I4, {}, 4711}), L"4711");
}

TEST_F(ComputerSystemProductTest, ValueThatHasNoTextIsEmptyText)
{
    EXPECT_EQ(NumberOf({VT_UNKNOWN, {}, 0}), L"");
}

TEST_F(ComputerSystemProductTest, ApartmentThatIsThereAlreadyIsJoinedAndLeft)
{
    wmi.initializeResult = S_FALSE;
    EXPECT_TRUE(QueryComputerSystemProduct().ok);
}

TEST_F(ComputerSystemProductTest, FailedInitializationEndsTheQueryWithoutUninitializing)
{
    wmi.failing[L"CoInitializeEx"] = RPC_E_CHANGED_MODE;
    ExpectNothing();
    EXPECT_EQ(journal, Journal{L"CoInitializeEx 2"});
}

TEST_F(ComputerSystemProductTest, FailedLocatorUninitializes)
{
    wmi.failing[L"CoCreateInstance"] = REGDB_E_CLASSNOTREG;
    ExpectNothing();
    EXPECT_EQ(journal, (Journal{L"CoInitializeEx 2", L"CoCreateInstance", L"CoUninitialize"}));
}

TEST_F(ComputerSystemProductTest, EveryFailedStepGivesNothing)
{
    for (const wchar_t* step : {L"ConnectServer", L"CoSetProxyBlanket", L"ExecQuery", L"Next"})
    {
        SCOPED_TRACE(step);
        wmi.failing = {{step, E_ACCESSDENIED}};
        ExpectNothing();
    }
}

TEST_F(ComputerSystemProductTest, SuccessWithoutAnObjectEndsTheList)
{
    wmi.nextGivesNoObject = true;
    ExpectNothing();
}

TEST_F(ComputerSystemProductTest, SuccessWithACountOfNoneEndsTheList)
{
    wmi.nextCountsNone = true;
    ExpectNothing();
}

TEST_F(ComputerSystemProductTest, TextThatCannotBeAllocatedGivesNothing)
{
    for (std::size_t failing = 1; failing <= 3; ++failing)
    {
        SCOPED_TRACE(failing);
        wmi.failingText = failing;
        wmi.allocatedTexts = 0;
        ExpectNothing();
        EXPECT_GE(wmi.allocatedTexts, failing);
    }
}

TEST_F(ComputerSystemProductTest, EverythingIsGivenBackBeforeComEnds)
{
    for (const FakeProperty& property :
         {FakeProperty{VT_BSTR, L"SN 17"}, FakeProperty{VT_I4, {}, 4711}, FakeProperty{VT_NULL, {}},
          FakeProperty{VT_UNKNOWN, {}, 0}})
    {
        NumberOf(property);
        EXPECT_EQ(wmi.Faults(), L"") << property.type;
        ASSERT_FALSE(journal.empty());
        EXPECT_EQ(journal.back(), L"CoUninitialize");
    }
}

TEST_F(ComputerSystemProductTest, ConversionThatGivesNoTextIsEmptyText)
{
    using Change = Replaced<"OLEAUT32", "VariantChangeType", decltype(VariantChangeType)>;
    const Change change(
        [](VARIANTARG* text, const VARIANTARG*, USHORT, VARTYPE type)
        {
            text->vt = type;
            text->bstrVal = nullptr;
            return S_OK;
        });
    EXPECT_EQ(NumberOf({VT_I4, {}, 4711}), L"");
}
} // namespace
