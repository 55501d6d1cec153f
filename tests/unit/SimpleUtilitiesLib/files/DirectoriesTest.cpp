#include "Directories.h"

#include "Replaced.h"
#include "TemporaryFolder.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
bool IsDirectory(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Which directories MakeDirectory tries to create, with the answers that the test wants.
class CreatedDirectories
{
public:
    using Paths = std::vector<std::wstring>;

    /// The last-error value of every call, in order; the last one goes on. 0 is success.
    explicit CreatedDirectories(std::vector<DWORD> wanted) : answers(std::move(wanted)) {}

    [[nodiscard]] const Paths& Tried() const { return paths; }

private:
    std::vector<DWORD> answers;
    Paths paths;
    Replaced<"KERNEL32", "CreateDirectoryW", decltype(CreateDirectoryW)> createDirectory{
        [this](LPCWSTR path, LPSECURITY_ATTRIBUTES attributes)
        {
            EXPECT_EQ(attributes, nullptr);
            const DWORD answer = answers[std::min(paths.size(), answers.size() - 1)];
            paths.emplace_back(path);
            SetLastError(answer);
            return answer == ERROR_SUCCESS ? TRUE : FALSE;
        }};
};

TEST(MakeDirectoryTest, MakesAllMissingLevels)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(MakeDirectory(folder.Of(L"a\\b\\c d\\\x4E2D")));
    EXPECT_TRUE(IsDirectory(folder.Of(L"a\\b\\c d\\\x4E2D")));
}

TEST(MakeDirectoryTest, DirectoryThatExistsIsSuccess)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(MakeDirectory(folder.Path()));
}

TEST(MakeDirectoryTest, BackslashAtTheEndIsAccepted)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(MakeDirectory(folder.Of(L"a\\b\\")));
    EXPECT_TRUE(IsDirectory(folder.Of(L"a\\b")));
}

TEST(MakeDirectoryTest, LevelThatIsAFileIsFailure)
{
    const TemporaryFolder folder;
    folder.WriteFile(L"file", "x");
    EXPECT_FALSE(MakeDirectory(folder.Of(L"file\\a\\b")));
    EXPECT_FALSE(MakeDirectory(folder.Of(L"file\\a")));
}

TEST(MakeDirectoryTest, EmptyPathIsFailure)
{
    EXPECT_FALSE(MakeDirectory(L""));
}

TEST(MakeDirectoryTest, FirstTryMaySucceed)
{
    const CreatedDirectories created({0});
    EXPECT_TRUE(MakeDirectory(L"C:\\a\\b"));
    EXPECT_EQ(created.Tried(), CreatedDirectories::Paths{L"C:\\a\\b"});
}

TEST(MakeDirectoryTest, FirstTryMayFindItThere)
{
    const CreatedDirectories created({183});
    EXPECT_TRUE(MakeDirectory(L"C:\\a\\b"));
    EXPECT_EQ(created.Tried(), CreatedDirectories::Paths{L"C:\\a\\b"});
}

TEST(MakeDirectoryTest, LevelsOfADriveFollowTheDrive)
{
    const CreatedDirectories created({3, 183, 0});
    EXPECT_TRUE(MakeDirectory(L"C:\\a\\b\\c"));
    const CreatedDirectories::Paths paths = {L"C:\\a\\b\\c", L"C:\\a", L"C:\\a\\b", L"C:\\a\\b\\c"};
    EXPECT_EQ(created.Tried(), paths);
}

TEST(MakeDirectoryTest, OneBackslashAtTheEndIsDropped)
{
    const CreatedDirectories created({3, 0});
    EXPECT_TRUE(MakeDirectory(L"C:\\a\\b\\"));
    const CreatedDirectories::Paths paths = {L"C:\\a\\b\\", L"C:\\a", L"C:\\a\\b"};
    EXPECT_EQ(created.Tried(), paths);
}

TEST(MakeDirectoryTest, LevelsOfAServerFollowItsName)
{
    const CreatedDirectories created({3, 183, 0});
    EXPECT_TRUE(MakeDirectory(L"\\\\server\\share\\a\\b"));
    const CreatedDirectories::Paths paths = {L"\\\\server\\share\\a\\b", L"\\\\server\\share",
                                             L"\\\\server\\share\\a", L"\\\\server\\share\\a\\b"};
    EXPECT_EQ(created.Tried(), paths);
}

TEST(MakeDirectoryTest, LevelsOfADriveBehindTwoBackslashesFollowTheDrive)
{
    const CreatedDirectories created({3, 183, 0});
    EXPECT_TRUE(MakeDirectory(L"\\\\?\\C:\\a\\b\\c"));
    const CreatedDirectories::Paths paths = {L"\\\\?\\C:\\a\\b\\c", L"\\\\?\\C:\\a",
                                             L"\\\\?\\C:\\a\\b", L"\\\\?\\C:\\a\\b\\c"};
    EXPECT_EQ(created.Tried(), paths);
}

TEST(MakeDirectoryTest, LevelsFollowTheBackslashOfADriveThoughTheFirstHasNoName)
{
    const CreatedDirectories created({3, 183});
    EXPECT_TRUE(MakeDirectory(L"C:\\\\a\\b"));
    const CreatedDirectories::Paths paths = {L"C:\\\\a\\b", L"C:\\", L"C:\\\\a", L"C:\\\\a\\b"};
    EXPECT_EQ(created.Tried(), paths);
}

TEST(MakeDirectoryTest, LevelsFollowTheThirdBackslashOfAServerWithoutAName)
{
    const CreatedDirectories created({3, 183});
    EXPECT_TRUE(MakeDirectory(L"\\\\\\share\\a"));
    const CreatedDirectories::Paths paths = {L"\\\\\\share\\a", L"\\\\\\share", L"\\\\\\share\\a"};
    EXPECT_EQ(created.Tried(), paths);
}

TEST(MakeDirectoryTest, PathWithNeitherIsTriedWholeAlone)
{
    const CreatedDirectories created({3});
    EXPECT_FALSE(MakeDirectory(L"a\\b\\c\\d"));
    EXPECT_EQ(created.Tried(), (CreatedDirectories::Paths{L"a\\b\\c\\d", L"a\\b\\c\\d"}));
}

TEST(MakeDirectoryTest, ServerAloneIsTriedWholeAlone)
{
    const CreatedDirectories created({53});
    EXPECT_FALSE(MakeDirectory(L"\\\\server"));
    EXPECT_EQ(created.Tried(), (CreatedDirectories::Paths{L"\\\\server", L"\\\\server"}));
}

TEST(MakeDirectoryTest, BackslashAloneIsKept)
{
    const CreatedDirectories created({5});
    EXPECT_FALSE(MakeDirectory(L"\\"));
    EXPECT_EQ(created.Tried(), (CreatedDirectories::Paths{L"\\", L"\\"}));
}

TEST(MakeDirectoryTest, LevelThatCannotBeMadeEndsTheWork)
{
    const CreatedDirectories created({3, 183, 5});
    EXPECT_FALSE(MakeDirectory(L"C:\\a\\b\\c\\d"));
    EXPECT_EQ(created.Tried(),
              (CreatedDirectories::Paths{L"C:\\a\\b\\c\\d", L"C:\\a", L"C:\\a\\b"}));
}

TEST(MakeDirectoryTest, LastLevelThatCannotBeMadeIsFailure)
{
    const CreatedDirectories created({3, 183, 5});
    EXPECT_FALSE(MakeDirectory(L"C:\\a\\b"));
    EXPECT_EQ(created.Tried().size(), 3U);
}

TEST(MakeDirectoryTest, LastLevelThatSomebodyElseMadeMeanwhileIsSuccess)
{
    const CreatedDirectories created({3, 183});
    EXPECT_TRUE(MakeDirectory(L"C:\\a\\b"));
}
} // namespace
