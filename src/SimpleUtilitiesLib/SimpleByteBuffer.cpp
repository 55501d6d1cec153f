#include "SimpleByteBuffer.h"

#include "LegacyPlvException.h"

namespace
{
constexpr wchar_t SourceFile[] = L"src\\SimpleUtilitiesLib\\SimpleByteBuffer";

template <class Number> Number LittleEndian(const std::vector<std::uint8_t>& bytes)
{
    Number number = 0;
    for (std::size_t i = sizeof(Number); i-- > 0;)
    {
        number = static_cast<Number>(number << 8 | bytes[i]);
    }
    return number;
}
} // namespace

std::uint32_t ByteBuffer::WalkBufferToGetLong() const
{
    if (bytes.size() < sizeof(std::uint32_t))
    {
        throw ExceptionNotEnoughBytesForDesiredDataType(L"", SourceFile, __LINE__,
                                                        L"ByteBuffer::WalkBufferToGetLong");
    }
    return LittleEndian<std::uint32_t>(bytes);
}

std::uint64_t ByteBuffer::WalkBufferToGetLong64() const
{
    if (bytes.size() < sizeof(std::uint64_t))
    {
        throw ExceptionNotEnoughBytesForDesiredDataType(L"", SourceFile, __LINE__,
                                                        L"ByteBuffer::WalkBufferToGetLong64");
    }
    return LittleEndian<std::uint64_t>(bytes);
}
