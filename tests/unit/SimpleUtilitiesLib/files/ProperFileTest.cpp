#include "ProperFile.h"

#include "Journal.h"
#include "Replaced.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>

namespace
{
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;
using InformationDouble =
    Replaced<"KERNEL32", "GetFileInformationByHandle", decltype(GetFileInformationByHandle)>;
using StandardInfoDouble =
    Replaced<"KERNEL32", "GetFileInformationByHandleEx", decltype(GetFileInformationByHandleEx)>;
using FinalPathDouble =
    Replaced<"KERNEL32", "GetFinalPathNameByHandleW", decltype(GetFinalPathNameByHandleW)>;
using DispositionDouble =
    Replaced<"KERNEL32", "SetFileInformationByHandle", decltype(SetFileInformationByHandle)>;

constexpr DWORD Missing = INVALID_FILE_ATTRIBUTES;

class ProperFileTest : public testing::Test
{
protected:
    FileHandle OpenToRead(WhenMissing whenMissing = WhenMissing::Fail) const
    {
        return OpenProperFile(path, GENERIC_READ, FILE_SHARE_READ, whenMissing);
    }

    FileHandle Create() const { return CreateProperFile(path, GENERIC_WRITE, FILE_SHARE_READ); }

    DWORD Attributes() const { return GetFileAttributesW(path.c_str()); }

    TemporaryFolder folder;
    const std::wstring path = folder.Of(L"Log.log");
};

/// Every file's final path is `text`.
auto FinalPathIs(std::wstring text)
{
    return [text = std::move(text)](HANDLE, LPWSTR buffer, DWORD size, DWORD flags) -> DWORD
    {
        EXPECT_EQ(flags, 0U); // normalised, with a drive letter
        if (text.size() >= size)
        {
            return static_cast<DWORD>(text.size() + 1);
        }
        std::wmemcpy(buffer, text.c_str(), text.size() + 1);
        return static_cast<DWORD>(text.size());
    };
}

TEST_F(ProperFileTest, OrdinaryFileUnderItsPathIsProper)
{
    folder.WriteFile(L"Log.log", "x");
    EXPECT_TRUE(OpenToRead());
}

TEST_F(ProperFileTest, NoHandleIsNoProperFile)
{
    EXPECT_FALSE(IsProperFile(INVALID_HANDLE_VALUE, path));
    EXPECT_FALSE(IsProperFile(nullptr, path));
}

TEST_F(ProperFileTest, FileWithASecondNameIsNotProper)
{
    const std::wstring other = folder.WriteFile(L"other", "x");
    ASSERT_TRUE(CreateHardLinkW(path.c_str(), other.c_str(), nullptr));
    EXPECT_FALSE(OpenToRead());
    EXPECT_FALSE(OpenProperFile(other, GENERIC_READ, FILE_SHARE_READ, WhenMissing::Fail));
    ASSERT_TRUE(DeleteFileW(other.c_str()));
    EXPECT_TRUE(OpenToRead());
}

TEST_F(ProperFileTest, FolderIsNotProper)
{
    ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr));
    const FileHandle handle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    ASSERT_TRUE(handle);
    EXPECT_FALSE(IsProperFile(handle.Get(), path));
}

TEST_F(ProperFileTest, ReparsePointIsNotProper)
{
    folder.WriteFile(L"Log.log", "x");
    const InformationDouble information(
        [](HANDLE file, LPBY_HANDLE_FILE_INFORMATION result)
        {
            const BOOL known = decltype(information)::Original(file, result);
            result->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
            return known;
        });
    EXPECT_FALSE(OpenToRead());
}

TEST_F(ProperFileTest, FileOfWhichNothingCanBeLearntIsNotProper)
{
    folder.WriteFile(L"Log.log", "x");
    {
        const InformationDouble information(
            [](HANDLE file, LPBY_HANDLE_FILE_INFORMATION result)
            {
                decltype(information)::Original(file, result);
                return FALSE;
            });
        EXPECT_FALSE(OpenToRead());
    }
    {
        const StandardInfoDouble standardInfo(
            [](HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID result, DWORD size)
            {
                decltype(standardInfo)::Original(file, kind, result, size);
                return FALSE;
            });
        EXPECT_FALSE(OpenToRead());
    }
    const FinalPathDouble finalPath([](HANDLE, LPWSTR, DWORD, DWORD) -> DWORD { return 0; });
    EXPECT_FALSE(OpenToRead());
}

TEST_F(ProperFileTest, FileWhoseNameIsBeingDeletedIsNotProper)
{
    // Its second name is then the only one that counts.
    folder.WriteFile(L"Log.log", "x");
    const StandardInfoDouble standardInfo(
        [](HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID result, DWORD size)
        {
            EXPECT_EQ(kind, FileStandardInfo);
            const BOOL known = decltype(standardInfo)::Original(file, kind, result, size);
            static_cast<FILE_STANDARD_INFO*>(result)->DeletePending = TRUE;
            return known;
        });
    EXPECT_FALSE(OpenToRead());
}

TEST_F(ProperFileTest, FileWithAnotherFinalPathIsNotProper)
{
    folder.WriteFile(L"Log.log", "x");
    const FinalPathDouble finalPath(FinalPathIs(L"\\\\?\\C:\\elsewhere\\Log.log"));
    EXPECT_FALSE(OpenToRead());
}

TEST_F(ProperFileTest, FileWithAPathOfMoreThanAThousandCharactersIsNotProper)
{
    const FileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    const std::wstring fits = L"C:\\" + std::wstring(1016, L'x');
    {
        const FinalPathDouble finalPath(FinalPathIs(L"\\\\?\\" + fits));
        EXPECT_TRUE(IsProperFile(file.Get(), fits));
    }
    const FinalPathDouble finalPath(FinalPathIs(L"\\\\?\\" + fits + L"y"));
    EXPECT_FALSE(IsProperFile(file.Get(), fits + L"y"));
}

TEST_F(ProperFileTest, LinkIsOpenedItselfAndAPipeMayNotActForTheProgram)
{
    folder.WriteFile(L"Log.log", "x");
    std::vector<DWORD> opened;
    std::vector<DWORD> foldersOpened;
    const CreateFileDouble createFile(
        [&](LPCWSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            EXPECT_EQ(security, nullptr);
            (name == path ? opened : foldersOpened).push_back(flags);
            return decltype(createFile)::Original(name, access, sharing, security, disposition,
                                                  flags, other);
        });
    OpenToRead();
    DeleteName(path);
    Create();
    // FILE_FLAG_OPEN_REPARSE_POINT, SECURITY_SQOS_PRESENT, SECURITY_IDENTIFICATION and
    // FILE_ATTRIBUTE_NORMAL.
    EXPECT_EQ(opened, (std::vector<DWORD>{0x00310080, 0x00310080, 0x00310080}));
    // FILE_FLAG_BACKUP_SEMANTICS in place of the last.
    EXPECT_EQ(foldersOpened, std::vector<DWORD>{0x02310000});
}

TEST_F(ProperFileTest, MissingFileIsCreatedWhereThatIsAskedFor)
{
    EXPECT_FALSE(OpenToRead());
    EXPECT_EQ(Attributes(), Missing);
    EXPECT_TRUE(OpenToRead(WhenMissing::Create));
    EXPECT_NE(Attributes(), Missing);
}

TEST_F(ProperFileTest, FileThatIsThereIsNotCreatedAnew)
{
    folder.WriteFile(L"Log.log", "x");
    EXPECT_FALSE(Create());
    EXPECT_TRUE(OpenToRead(WhenMissing::Create));
    EXPECT_EQ(FileBytes(path), "x");
}

TEST_F(ProperFileTest, FileThatCannotBeOpenedForAnotherReasonIsNotCreated)
{
    int opened = 0;
    const CreateFileDouble createFile(
        [&](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
        {
            ++opened;
            SetLastError(ERROR_PATH_NOT_FOUND);
            return INVALID_HANDLE_VALUE;
        });
    EXPECT_FALSE(OpenToRead(WhenMissing::Create));
    EXPECT_EQ(opened, 1);
}

TEST_F(ProperFileTest, FileThatWasCreatedElsewhereAllTheSameIsGoneAgain)
{
    int asked = 0;
    const FinalPathDouble finalPath(
        [&](HANDLE file, LPWSTR buffer, DWORD size, DWORD flags)
        {
            // The mount point comes after the look at the folder.
            return ++asked == 1
                       ? decltype(finalPath)::Original(file, buffer, size, flags)
                       : FinalPathIs(L"\\\\?\\C:\\elsewhere\\Log.log")(file, buffer, size, flags);
        });
    EXPECT_FALSE(OpenToRead(WhenMissing::Create));
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(Attributes(), Missing);
}

TEST_F(ProperFileTest, NothingIsCreatedInAFolderThatLeadsElsewhere)
{
    const FinalPathDouble finalPath(FinalPathIs(L"\\\\?\\C:\\elsewhere"));
    std::vector<std::wstring> created;
    const CreateFileDouble createFile(
        [&](LPCWSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            if (disposition == CREATE_NEW)
            {
                created.emplace_back(name);
            }
            return decltype(createFile)::Original(name, access, sharing, security, disposition,
                                                  flags, other);
        });
    EXPECT_FALSE(Create());
    EXPECT_EQ(created, std::vector<std::wstring>());
}

TEST_F(ProperFileTest, WayIsProperAsFarAsThereAreFolders)
{
    EXPECT_TRUE(IsOnProperWay(folder.Path()));
    EXPECT_TRUE(IsOnProperWay(folder.Of(L"not\\there")));
    EXPECT_TRUE(IsOnProperWay(L"Q:\\not\\there"));
    EXPECT_TRUE(IsOnProperWay(L"C:"));
    EXPECT_TRUE(IsOnProperWay(L""));
    const FinalPathDouble finalPath(FinalPathIs(L"\\\\?\\C:\\elsewhere"));
    EXPECT_FALSE(IsOnProperWay(folder.Path()));
    EXPECT_FALSE(IsOnProperWay(folder.Of(L"not\\there")));
}

TEST_F(ProperFileTest, WayIsNotProperThroughALinkWhateverItLeadsTo)
{
    const InformationDouble information(
        [](HANDLE file, LPBY_HANDLE_FILE_INFORMATION result)
        {
            const BOOL known = decltype(information)::Original(file, result);
            result->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
            return known;
        });
    EXPECT_FALSE(IsOnProperWay(folder.Path()));
    EXPECT_FALSE(IsOnProperWay(folder.Of(L"not\\there")));
}

TEST_F(ProperFileTest, NameIsDeleted)
{
    folder.WriteFile(L"Log.log", "x");
    EXPECT_TRUE(DeleteName(path));
    EXPECT_EQ(Attributes(), Missing);
    EXPECT_FALSE(DeleteName(path));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(ProperFileTest, SecondNameIsDeletedAndTheFileStays)
{
    const std::wstring other = folder.WriteFile(L"other", "x");
    ASSERT_TRUE(CreateHardLinkW(path.c_str(), other.c_str(), nullptr));
    EXPECT_TRUE(DeleteName(path));
    EXPECT_EQ(Attributes(), Missing);
    EXPECT_EQ(FileBytes(other), "x");
}

TEST_F(ProperFileTest, FolderIsNotDeleted)
{
    ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr));
    EXPECT_FALSE(DeleteName(path));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_NE(Attributes(), Missing);
}

TEST_F(ProperFileTest, FileElsewhereIsNotDeleted)
{
    folder.WriteFile(L"Log.log", "x");
    const FinalPathDouble finalPath(FinalPathIs(L"\\\\?\\C:\\elsewhere\\Log.log"));
    EXPECT_FALSE(DeleteName(path));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CANT_ACCESS_FILE));
    EXPECT_EQ(FileBytes(path), "x");
}

TEST_F(ProperFileTest, FileIsDeletedAtOnceOrWhereWindowsCannotAtItsLastClose)
{
    folder.WriteFile(L"Log.log", "x");
    Journal journal;
    const DispositionDouble disposition(
        [&](HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID information, DWORD size) -> BOOL
        {
            DWORD value = 0;
            std::memcpy(&value, information, size);
            journal.push_back(std::to_wstring(static_cast<int>(kind)) + L": " +
                              std::to_wstring(value));
            return kind == FileDispositionInfo &&
                   decltype(disposition)::Original(file, kind, information, size);
        });
    EXPECT_TRUE(DeleteName(path));
    EXPECT_EQ(journal, (Journal{L"21: 3", L"4: 1"}));
    EXPECT_EQ(Attributes(), Missing);
}

TEST_F(ProperFileTest, FileThatCannotBeDeletedIsAFailure)
{
    folder.WriteFile(L"Log.log", "x");
    const DispositionDouble disposition(
        [](HANDLE, FILE_INFO_BY_HANDLE_CLASS, LPVOID, DWORD)
        {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });
    EXPECT_FALSE(DeleteName(path));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(SamePathTest, FinalPathOfADriveHasAMarkBeforeIt)
{
    EXPECT_TRUE(IsSamePath(L"\\\\?\\C:\\a\\b.log", L"C:\\a\\b.log"));
    EXPECT_TRUE(IsSamePath(L"\\\\?\\C:\\a\\b.log", L"\\\\?\\C:\\a\\b.log"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\D:\\a\\b.log", L"C:\\a\\b.log"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\C:\\a\\b.log", L"\\\\C:\\a\\b.log"));
}

TEST(SamePathTest, FinalPathOfAServerHasAnother)
{
    EXPECT_TRUE(IsSamePath(L"\\\\?\\UNC\\server\\share\\b.log", L"\\\\server\\share\\b.log"));
    EXPECT_TRUE(
        IsSamePath(L"\\\\?\\UNC\\server\\share\\b.log", L"\\\\?\\UNC\\server\\share\\b.log"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\server\\share\\b.log", L"\\\\server\\share\\b.log"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\UNC\\C:\\b.log", L"C:\\b.log"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\UNC\\server\\share\\b.log", L"\\server\\share\\b.log"));
}

TEST(SamePathTest, CaseAndSeparatorsDoNotMatter)
{
    EXPECT_TRUE(IsSamePath(L"\\\\?\\C:\\Dir\\\xC4nder.log", L"c:/dIR\\\\\xE4NDER.LOG"));
    EXPECT_TRUE(IsSamePath(L"\\\\?\\C:\\a", L"C:\\a\\"));
}

TEST(SamePathTest, EveryComponentCounts)
{
    EXPECT_FALSE(IsSamePath(L"\\\\?\\C:\\a\\b", L"C:\\a\\c"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\C:\\a\\b", L"C:\\ab"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\C:\\a\\b", L"C:\\axb"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\C:\\a\\b", L"C:\\a"));
    EXPECT_FALSE(IsSamePath(L"\\\\?\\C:\\a", L"C:\\a\\b"));
    EXPECT_FALSE(IsSamePath(L"", L"C:\\a"));
}
} // namespace
