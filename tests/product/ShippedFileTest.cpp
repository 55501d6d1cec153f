#include "ShippedFile.h"

#include <gtest/gtest.h>

namespace
{
/// The file that ships, as bytes, read by hand: a loaded image would hide what the loader changed.
class ShippedFile : public testing::Test
{
protected:
    void SetUp() override
    {
        m_bytes = ShippedFileBytes();
        const auto dos = ReadRecord<IMAGE_DOS_HEADER>(m_bytes, 0);
        m_headers = ReadRecord<IMAGE_NT_HEADERS64>(m_bytes, static_cast<std::size_t>(dos.e_lfanew));
    }

    std::string m_bytes;
    IMAGE_NT_HEADERS64 m_headers = {};
};

TEST(ReadRecordTest, FileThatEndsBeforeTheRecordIsRefused)
{
    EXPECT_EQ(ReadRecord<WORD>("MZ", 0), 0x5A4D);
    EXPECT_THROW(ReadRecord<WORD>("MZ", 1), std::out_of_range);
    EXPECT_THROW(ReadRecord<WORD>("MZ", 2), std::out_of_range);
    EXPECT_THROW(ReadRecord<WORD>("MZ", std::string::npos), std::out_of_range);
    EXPECT_THROW(ReadRecord<WORD>("", 0), std::out_of_range);
}

TEST_F(ShippedFile, IsASixtyFourBitConsoleProgram)
{
    EXPECT_EQ(m_headers.FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
    EXPECT_EQ(m_headers.OptionalHeader.Magic, IMAGE_NT_OPTIONAL_HDR64_MAGIC);
    EXPECT_EQ(m_headers.OptionalHeader.Subsystem, IMAGE_SUBSYSTEM_WINDOWS_CUI);
}

TEST_F(ShippedFile, IsLoadedAtARandomHighAddress)
{
    const WORD flags = m_headers.OptionalHeader.DllCharacteristics;
    EXPECT_TRUE(flags & 0x0040) << "dynamic base";
    EXPECT_TRUE(flags & 0x0020) << "high entropy";
    EXPECT_FALSE(m_headers.FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    EXPECT_GT(m_headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size, 8U);
}

TEST_F(ShippedFile, NeverRunsData)
{
    EXPECT_TRUE(m_headers.OptionalHeader.DllCharacteristics & 0x0100);
}

TEST_F(ShippedFile, HoldsNoDebuggingSymbols)
{
    EXPECT_EQ(m_headers.FileHeader.NumberOfSymbols, 0U);
}

TEST_F(ShippedFile, MakesTheMessageOfAHiveThatFails)
{
    EXPECT_NE(m_bytes.find("Encountered an exception, likely due to registry access issues.This "
                           "will be caught, but intended functionality likely failed. If this is "
                           "occuring in a limited access permission environment, such as Internet "
                           "Explorer Protected Mode, this is likely an expected failure."),
              std::string::npos);
}
} // namespace
