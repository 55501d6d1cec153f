#pragma once

#include <cstdint>
#include <utility>
#include <vector>

/// The raw bytes of a registry value, and the number at their start. Further bytes are ignored.
/// Nothing walks: every call reads from the start.
class ByteBuffer
{
public:
    ByteBuffer() = default;
    explicit ByteBuffer(std::vector<std::uint8_t> value) : bytes(std::move(value)) {}

    /// The first 4 bytes, least significant first. Throws ExceptionNotEnoughBytesForDesiredDataType
    /// when there are fewer.
    [[nodiscard]] std::uint32_t WalkBufferToGetLong() const;

    /// The first 8 bytes, least significant first. Throws as above.
    [[nodiscard]] std::uint64_t WalkBufferToGetLong64() const;

private:
    std::vector<std::uint8_t> bytes;
};
