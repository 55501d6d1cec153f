#include "ShippedFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <vector>

namespace
{
/// The file that ships, as bytes, read by hand: a loaded image would hide what the loader changed.
class ShippedFile : public testing::Test
{
protected:
    void SetUp() override
    {
        std::ifstream file(ShippedFilePath().c_str(), std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
        ASSERT_GT(m_bytes.size(), sizeof(IMAGE_DOS_HEADER));
        const auto dos = Read<IMAGE_DOS_HEADER>(0);
        m_headers = Read<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(dos.e_lfanew));
        m_sections = static_cast<std::size_t>(dos.e_lfanew) + sizeof(IMAGE_NT_HEADERS64);
    }

    template <class Record> [[nodiscard]] Record Read(std::size_t offset) const
    {
        Record record = {};
        EXPECT_LE(offset + sizeof record, m_bytes.size());
        std::memcpy(&record, m_bytes.data() + offset, sizeof record);
        return record;
    }

    /// Where the byte at an address relative to the image lies in the file.
    [[nodiscard]] std::size_t Offset(DWORD address) const
    {
        for (WORD i = 0; i < m_headers.FileHeader.NumberOfSections; ++i)
        {
            const auto section =
                Read<IMAGE_SECTION_HEADER>(m_sections + i * sizeof(IMAGE_SECTION_HEADER));
            if (address >= section.VirtualAddress &&
                address < section.VirtualAddress + section.SizeOfRawData)
            {
                return address - section.VirtualAddress + section.PointerToRawData;
            }
        }
        ADD_FAILURE() << "no section holds the address " << address;
        return 0;
    }

    [[nodiscard]] std::set<std::string> DllsLoadedAtStart() const
    {
        std::set<std::string> names;
        const auto directory =
            m_headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        for (std::size_t at = Offset(directory.VirtualAddress);;
             at += sizeof(IMAGE_IMPORT_DESCRIPTOR))
        {
            const auto descriptor = Read<IMAGE_IMPORT_DESCRIPTOR>(at);
            if (descriptor.Name == 0)
            {
                return names;
            }
            std::string name = m_bytes.data() + Offset(descriptor.Name);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](char c) { return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c; });
            names.insert(name);
        }
    }

    std::vector<char> m_bytes;
    IMAGE_NT_HEADERS64 m_headers = {};
    std::size_t m_sections = 0;
};

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

TEST_F(ShippedFile, LoadsOnlyKernelRegistryAndRuntimeAtItsStart)
{
    const std::set<std::string> wanted = {"ADVAPI32.DLL", "KERNEL32.DLL", "MSVCRT.DLL"};
    EXPECT_EQ(DllsLoadedAtStart(), wanted);
}

TEST_F(ShippedFile, HoldsNoDebuggingSymbols)
{
    EXPECT_EQ(m_headers.FileHeader.NumberOfSymbols, 0U);
}
} // namespace
