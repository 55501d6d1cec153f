#include "ShippedFile.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
class VersionResource : public testing::Test
{
protected:
    void SetUp() override
    {
        const std::wstring path = ShippedFilePath();
        DWORD ignored = 0;
        const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
        ASSERT_NE(size, 0U);
        m_data.resize(size);
        ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, size, m_data.data()));
    }

    /// The text of a field, or "NO SUCH FIELD".
    std::wstring Field(const std::wstring& name)
    {
        const std::wstring path = L"\\StringFileInfo\\040904B0\\" + name;
        void* text = nullptr;
        UINT length = 0;
        if (!VerQueryValueW(m_data.data(), path.c_str(), &text, &length))
        {
            return L"NO SUCH FIELD";
        }
        return static_cast<const wchar_t*>(text);
    }

    std::vector<BYTE> m_data;
};

TEST_F(VersionResource, NamesTheCompanyAndTheProduct)
{
    EXPECT_EQ(Field(L"CompanyName"), L"Palvo Corporation");
    EXPECT_EQ(Field(L"ProductName"), L"Palvo Orvela Printer Drivers");
    EXPECT_EQ(Field(L"FileDescription"), L"Palvo Printer Configuration");
}

TEST_F(VersionResource, NamesTheFile)
{
    EXPECT_EQ(Field(L"InternalName"), L"PalvoPrinterConfiguration");
    EXPECT_EQ(Field(L"OriginalFilename"), L"PalvoPrinterConfiguration.exe");
}

TEST_F(VersionResource, HasEveryOtherStandardField)
{
    for (const wchar_t* name : {L"Comments", L"LegalCopyright", L"LegalTrademarks"})
    {
        EXPECT_NE(Field(name), L"NO SUCH FIELD") << std::wstring(name);
    }
}

TEST_F(VersionResource, SaysVersionSevenInTextAndInNumbers)
{
    EXPECT_EQ(Field(L"FileVersion"), L"7.0.0.0");
    EXPECT_EQ(Field(L"ProductVersion"), L"7.0.0.0");

    void* block = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(m_data.data(), L"\\", &block, &length));
    ASSERT_GE(length, sizeof(VS_FIXEDFILEINFO));
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(block);
    EXPECT_EQ(fixed->dwFileVersionMS, 0x70000U);
    EXPECT_EQ(fixed->dwFileVersionLS, 0U);
    EXPECT_EQ(fixed->dwProductVersionMS, 0x70000U);
    EXPECT_EQ(fixed->dwProductVersionLS, 0U);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_APP));
}

TEST_F(VersionResource, SaysWhetherItIsADebugBuild)
{
    void* block = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(m_data.data(), L"\\", &block, &length));
    ASSERT_GE(length, sizeof(VS_FIXEDFILEINFO));
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(block);
    EXPECT_EQ(fixed->dwFileFlagsMask, 0x3FU);
    EXPECT_EQ(fixed->dwFileFlags, PALVO_IS_DEBUG_BUILD ? 1U : 0U);
}

TEST_F(VersionResource, IsInUnicodeEnglish)
{
    void* translation = nullptr;
    UINT length = 0;
    ASSERT_TRUE(
        VerQueryValueW(m_data.data(), L"\\VarFileInfo\\Translation", &translation, &length));
    ASSERT_EQ(length, 4U);
    const auto* words = static_cast<const WORD*>(translation);
    EXPECT_EQ(words[0], 0x0409);
    EXPECT_EQ(words[1], 1200);
}
} // namespace
