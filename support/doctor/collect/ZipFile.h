#pragma once

#include <cstdint>
#include <string>

/// Makes a zip in memory, without compression. Names and sizes are of the old format: up to 4 GiB
/// and 65,535 files.
class ZipFile
{
public:
    /// All files get this local time, in 100 ns since 1601.
    explicit ZipFile(std::uint64_t localTime);

    /// `name` is ASCII.
    void Add(const std::string& name, const std::string& content);

    /// The whole zip. Nothing is added after that.
    [[nodiscard]] std::string Bytes() const;

private:
    std::uint16_t date = 0;
    std::uint16_t time = 0;
    std::uint16_t count = 0;
    std::string files;
    std::string directory;
};

/// CRC-32 as zips have it.
std::uint32_t Crc32(const std::string& bytes);
