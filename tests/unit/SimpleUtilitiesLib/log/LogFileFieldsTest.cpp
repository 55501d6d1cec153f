#include "FieldOffsets.h"
#include "LogFile.h"
#include "PrivateMember.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <type_traits>

PRIVATE_FIELD(LogModuleName, LogFile, std::wstring, moduleName);
PRIVATE_FIELD(LogFolder, LogFile, std::wstring, directory);
PRIVATE_FIELD(LogPath, LogFile, std::wstring, path);
PRIVATE_FIELD(LogThreadIdFlag, LogFile, bool, includeThreadId);
HIDDEN_FIELD(LogMutexSecurity, LogFile, mutexSecurity);
HIDDEN_FIELD(LogMutex, LogFile, mutex);
HIDDEN_FIELD(MutexHandle, LogFile::NamedMutex, handle);
HIDDEN_FIELD(MutexName, LogFile::NamedMutex, name);

namespace
{
class LogFileFieldsTest : public testing::Test
{
protected:
    TemporaryFolder folder;
    LogFile log{folder.Path(), L"Log"};
};

TEST_F(LogFileFieldsTest, StandInTheirOrderAndAreAll)
{
    EXPECT_EQ(OffsetsOf(log, MemberOf(LogModuleName{}), MemberOf(LogFolder{}), MemberOf(LogPath{}),
                        MemberOf(LogThreadIdFlag{}), MemberOf(LogMutexSecurity{}),
                        MemberOf(LogMutex{})),
              (std::vector<std::size_t>{0, 32, 64, 96, 104, 184}));
    static_assert(sizeof(LogFile) == 192);
}

TEST_F(LogFileFieldsTest, HolderOfTheMutexHasItsHandleAndItsName)
{
    const auto& holder = *(log.*MemberOf(LogMutex{}));
    EXPECT_EQ(OffsetsOf(holder, MemberOf(MutexHandle{}), MemberOf(MutexName{})),
              (std::vector<std::size_t>{0, 8}));
    static_assert(sizeof holder == 40);
    EXPECT_TRUE((std::is_same_v<const KernelHandle&, decltype(holder.*MemberOf(MutexHandle{}))>));
    EXPECT_TRUE((std::is_same_v<const std::wstring&, decltype(holder.*MemberOf(MutexName{}))>));
}

TEST_F(LogFileFieldsTest, HoldWhatTheLogWasBuiltWith)
{
    EXPECT_EQ(log.*MemberOf(LogModuleName{}), L"SimpleUtilitiesLibTests");
    EXPECT_EQ(log.*MemberOf(LogFolder{}), folder.Path());
    EXPECT_EQ(log.*MemberOf(LogPath{}), folder.Path() + L"\\Log.log");
    EXPECT_FALSE(log.*MemberOf(LogThreadIdFlag{}));
    const auto& security = log.*MemberOf(LogMutexSecurity{});
    EXPECT_TRUE(security.shared.isValid);
    EXPECT_EQ(security.attributes.nLength, 24U);
    EXPECT_EQ(security.attributes.lpSecurityDescriptor, &security.shared.descriptor);
    EXPECT_FALSE(security.attributes.bInheritHandle);

    const auto& holder = *(log.*MemberOf(LogMutex{}));
    EXPECT_EQ(holder.*MemberOf(MutexName{}), LogMutexName(folder.Path()));
    EXPECT_TRUE((holder.*MemberOf(MutexHandle{})).IsValid());
}
} // namespace
