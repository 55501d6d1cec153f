#include "ZipFile.h"

#include "WindowsHeaders.h"

#include <array>

// The ZIP format (APPNOTE): local headers with their files, then the directory.

namespace
{
constexpr std::uint32_t LocalHeader = 0x04034B50;
constexpr std::uint32_t DirectoryEntry = 0x02014B50;
constexpr std::uint32_t EndOfDirectory = 0x06054B50;
constexpr std::uint16_t NeededVersion = 20;

void Put16(std::string& bytes, std::uint32_t value)
{
    bytes += static_cast<char>(value & 0xFF);
    bytes += static_cast<char>(value >> 8 & 0xFF);
}

void Put32(std::string& bytes, std::uint32_t value)
{
    Put16(bytes, value & 0xFFFF);
    Put16(bytes, value >> 16);
}

constexpr std::array<std::uint32_t, 256> MakeTable()
{
    std::array<std::uint32_t, 256> table = {};
    for (std::uint32_t i = 0; i < table.size(); ++i)
    {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
        {
            value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320 : value >> 1;
        }
        table[i] = value;
    }
    return table;
}
} // namespace

std::uint32_t Crc32(const std::string& bytes)
{
    static constexpr auto Table = MakeTable();
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes)
    {
        crc = Table[(crc ^ static_cast<std::uint8_t>(byte)) & 0xFF] ^ crc >> 8;
    }
    return ~crc;
}

ZipFile::ZipFile(std::uint64_t localTime)
{
    const FILETIME file = {static_cast<DWORD>(localTime), static_cast<DWORD>(localTime >> 32)};
    FileTimeToDosDateTime(&file, &date, &time);
}

void ZipFile::Add(const std::string& name, const std::string& content)
{
    const auto size = static_cast<std::uint32_t>(content.size());
    // What both headers have: version, flags, method "stored", time, checksum, sizes, lengths.
    std::string common;
    Put16(common, NeededVersion);
    Put16(common, 0);
    Put16(common, 0);
    Put16(common, time);
    Put16(common, date);
    Put32(common, Crc32(content));
    Put32(common, size);
    Put32(common, size);
    Put16(common, static_cast<std::uint32_t>(name.size()));
    Put16(common, 0);

    Put32(directory, DirectoryEntry);
    Put16(directory, NeededVersion);
    directory += common;
    Put16(directory, 0); // comment
    Put16(directory, 0); // disk
    Put16(directory, 0); // attributes
    Put32(directory, 0);
    Put32(directory, static_cast<std::uint32_t>(files.size()));
    directory += name;

    Put32(files, LocalHeader);
    files += common + name + content;
    ++count;
}

std::string ZipFile::Bytes() const
{
    std::string end;
    Put32(end, EndOfDirectory);
    Put32(end, 0); // disks
    Put16(end, count);
    Put16(end, count);
    Put32(end, static_cast<std::uint32_t>(directory.size()));
    Put32(end, static_cast<std::uint32_t>(files.size()));
    Put16(end, 0); // comment
    return files + directory + end;
}
