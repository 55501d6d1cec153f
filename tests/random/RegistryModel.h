#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What the readers of the registry give, written down a second time and apart from the program.
namespace RegistryModel
{
/// A stored value and how the two queries for it end: for its size, and for its bytes. The type
/// matters to no reader.
struct Stored
{
    bool keyIsThere = true;
    bool valueIsThere = true;
    std::vector<std::uint8_t> bytes;
    long sizeError = 0;
    long bytesError = 0;
};

/// The bytes; `threw` when the reading ends with an exception.
struct Read
{
    bool threw = false;
    bool found = false;
    std::vector<std::uint8_t> bytes;
};
Read Bytes(const Stored& stored);

/// The text of an open key's value; nothing when the reading ends with an exception.
std::optional<std::wstring> TextOfOpenKey(const Stored& stored, const std::wstring& defaultText);

/// What the calls that open, read and close give.
std::wstring Text(const Stored& stored, const std::wstring& defaultText);
std::uint64_t Number(const Stored& stored, std::size_t size, std::uint64_t defaultNumber);

/// The number at the start of the bytes; nothing for too few.
std::optional<std::uint64_t> NumberAtStart(const std::vector<std::uint8_t>& bytes,
                                           std::size_t size);
} // namespace RegistryModel
