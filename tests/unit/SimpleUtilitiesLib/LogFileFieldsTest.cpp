#include "FieldOffsets.h"
#include "LogFile.h"
#include "PrivateMember.h"

#include <gtest/gtest.h>

#include <algorithm>

PRIVATE_FIELD(LogModuleName, LogFile, std::wstring, moduleName);
PRIVATE_FIELD(LogFolder, LogFile, std::wstring, directory);
PRIVATE_FIELD(LogPath, LogFile, std::wstring, path);
PRIVATE_FIELD(LogThreadIdFlag, LogFile, bool, includeThreadId);
PRIVATE_FIELD(LogMutexSecurity, LogFile, SharedObjectSecurityDescriptor, mutexSecurity);

namespace
{
TEST(LogFileFieldsTest, StandInTheirOrder)
{
    const LogFile log(L"", L"");
    const std::vector<std::size_t> offsets =
        OffsetsOf(log, MemberOf(LogModuleName{}), MemberOf(LogFolder{}), MemberOf(LogPath{}),
                  MemberOf(LogThreadIdFlag{}), MemberOf(LogMutexSecurity{}));
    EXPECT_EQ(offsets.front(), 0U);
    EXPECT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
}
} // namespace
