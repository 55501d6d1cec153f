#include "SimpleByteBuffer.h"

#include "LegacyPlvException.h"

#include <gtest/gtest.h>

namespace
{
static_assert(sizeof(ByteBuffer) == sizeof(std::vector<std::uint8_t>), "the bytes, and no more");

template <class Walk> void ExpectTooFewBytes(const wchar_t* method, Walk walk)
{
    try
    {
        static_cast<void>(walk());
        FAIL() << "nothing was thrown";
    }
    catch (const ExceptionNotEnoughBytesForDesiredDataType& e)
    {
        EXPECT_EQ(e.Method(), method);
        EXPECT_EQ(e.File(), L"src\\SimpleUtilitiesLib\\SimpleByteBuffer");
        EXPECT_EQ(e.Details(), L"");
    }
}

TEST(ByteBufferTest, NumberOf32BitsHasItsLeastByteFirst)
{
    EXPECT_EQ(ByteBuffer({0x01, 0x02, 0x03, 0x84}).WalkBufferToGetLong(), 0x84030201U);
}

TEST(ByteBufferTest, NumberOf64BitsHasItsLeastByteFirst)
{
    EXPECT_EQ(ByteBuffer({0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x88}).WalkBufferToGetLong64(),
              0x8807060504030201ULL);
}

TEST(ByteBufferTest, FurtherBytesAreIgnored)
{
    EXPECT_EQ(ByteBuffer({1, 0, 0, 0, 9}).WalkBufferToGetLong(), 1U);
    EXPECT_EQ(ByteBuffer({1, 0, 0, 0, 0, 0, 0, 0, 9}).WalkBufferToGetLong64(), 1U);
}

TEST(ByteBufferTest, ThreeBytesAreTooFewFor32Bits)
{
    ExpectTooFewBytes(L"ByteBuffer::WalkBufferToGetLong",
                      [] {
                          return ByteBuffer({1, 2, 3}).WalkBufferToGetLong();
                      });
}

TEST(ByteBufferTest, SevenBytesAreTooFewFor64Bits)
{
    ExpectTooFewBytes(L"ByteBuffer::WalkBufferToGetLong64",
                      [] {
                          return ByteBuffer({1, 2, 3, 4, 5, 6, 7}).WalkBufferToGetLong64();
                      });
}

TEST(ByteBufferTest, NoBytesAreTooFewForEither)
{
    ExpectTooFewBytes(L"ByteBuffer::WalkBufferToGetLong",
                      [] { return ByteBuffer().WalkBufferToGetLong(); });
    ExpectTooFewBytes(L"ByteBuffer::WalkBufferToGetLong64",
                      [] { return ByteBuffer().WalkBufferToGetLong64(); });
}
} // namespace
