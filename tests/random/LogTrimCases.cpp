#include "CodeText.h"
#include "LogFile.h"
#include "LogTrim.h"
#include "LogTrimModel.h"
#include "RandomRun.h"
#include "Shrinking.h"
#include "TemporaryFolder.h"

namespace
{
constexpr std::uint64_t KeptBytes = 2097152;
constexpr std::uint64_t LargestLog = 4194304;

struct LogTrimCase
{
    std::string bytes;              ///< the log's beginning, or what a whole log repeats
    std::uint64_t droppedBytes = 0; ///< the log is that much larger than what is kept
    std::size_t blockSize = 1;      ///< how many bytes are read at a time
    bool wholeFile = false;         ///< a file of that size, for the log itself to trim
};

/// A log is trimmed where the model trims it.
class LogTrims
{
public:
    using Case = LogTrimCase;

    static Case Generate(Random& random)
    {
        Case result;
        for (std::size_t count = random.Below(8); count != 0; --count)
        {
            result.bytes += Line(random);
        }
        result.blockSize = random.Of<std::size_t>({1, 2, 3, 4095, 4096, 4097, 65536});
        result.wholeFile = random.OneIn(1000);
        if (result.wholeFile)
        {
            const std::uint64_t more =
                random.Of<std::uint64_t>({0, 0, 1, 1, 2, random.Below(std::size_t{1} << 20U)});
            result.droppedBytes = LargestLog + more - KeptBytes;
            return result;
        }
        // At the end of a piece, or close to it.
        const auto pieces = LogTrimModel::PiecesOf(result.bytes);
        const std::uint64_t count = pieces.empty() ? 0 : random.Of(pieces).count;
        result.droppedBytes = count + random.Below(3);
        result.droppedBytes -= result.droppedBytes == 0 ? 0 : 1;
        if (random.OneIn(4))
        {
            result.droppedBytes = random.Below(result.bytes.size() + 20);
        }
        return result;
    }

    static std::optional<std::string> Difference(const Case& tried)
    {
        return tried.wholeFile ? FileDifference(tried) : ScannerDifference(tried);
    }

    static std::vector<Case> Simpler(const Case& tried)
    {
        std::vector<Case> candidates;
        AddPlain(candidates, tried, &Case::wholeFile, false);
        AddWith(candidates, tried, &Case::bytes, ::Simpler(tried.bytes, 'x'));
        AddWith(candidates, tried, &Case::droppedBytes, Smaller(tried.droppedBytes));
        AddPlain(candidates, tried, &Case::blockSize, std::size_t{65536});
        return candidates;
    }

    static std::string Text(const Case& tried)
    {
        if (tried.wholeFile)
        {
            return "// repeated until the log has " +
                   std::to_string(KeptBytes + tried.droppedBytes) + " bytes:\n" +
                   (tried.bytes.empty() ? "\"x\"" : CodeText(tried.bytes));
        }
        const auto expected =
            LogTrimModel::FirstKept(Ended(tried.bytes), KeptBytes + tried.droppedBytes);
        return "EXPECT_EQ(FirstKept(" + std::to_string(tried.droppedBytes) + ", " +
               CodeText(Ended(tried.bytes)) + ", " + std::to_string(tried.blockSize) + "), " +
               Named(expected) + ");";
    }

private:
    static std::string Line(Random& random)
    {
        const std::size_t length = random.OneIn(3)
                                       ? random.Of<std::size_t>({0, 1, 2, 4093, 4094, 4095, 4096,
                                                                 4097, 8190, 8191, 8192, 8193})
                                       : random.Below(random.OneIn(20) ? 9000 : 100);
        std::string line(length, 'x');
        if (random.OneIn(2))
        {
            // Bytes that stand for the end of a text or of a line, or for nothing in the code page.
            for (std::size_t count = random.Below(length / 8 + 2); count != 0 && length != 0;
                 --count)
            {
                line[random.Below(length)] =
                    random.OneIn(3) ? random.Of({'\r', '\x1A', '\0', '\n', '\x81', '\xFF'})
                                    : static_cast<char>(random.Below(256));
            }
        }
        return line +
               random.Of<std::string>({"\r\n", "\r\n", "\r\n", "\n", "\r", "\r\r\n", "\n\r", ""});
    }

    /// The scanner decides at a line's end.
    static std::string Ended(const std::string& bytes) { return bytes + "\n"; }

    static std::optional<std::string> ScannerDifference(const Case& tried)
    {
        const std::string bytes = Ended(tried.bytes);
        LogTrim::Scanner scanner(KeptBytes + tried.droppedBytes);
        std::optional<std::uint64_t> found;
        for (std::size_t start = 0; start < bytes.size() && !found; start += tried.blockSize)
        {
            found = scanner.Feed(std::string_view(bytes).substr(start, tried.blockSize));
        }
        const auto expected = LogTrimModel::FirstKept(bytes, KeptBytes + tried.droppedBytes);
        return found == expected
                   ? std::nullopt
                   : std::optional("first kept: " + Named(found) + ", not " + Named(expected));
    }

    static std::optional<std::string> FileDifference(const Case& tried)
    {
        const std::uint64_t size = KeptBytes + tried.droppedBytes;
        std::string before;
        while (before.size() < size)
        {
            before += tried.bytes.empty() ? "x" : tried.bytes;
        }
        before.resize(size);
        const TemporaryFolder folder;
        const std::wstring path = folder.WriteFile(L"Log.log", before);
        {
            const LogFile log(folder.Path(), L"Log");
        }
        std::string after = FileBytes(path);
        std::string expected = before;
        if (size > LargestLog)
        {
            // It begins with the time stamp, which no model knows.
            static constexpr std::string_view LastLine = "): Log trimmed.\r\n";
            if (!after.ends_with(LastLine))
            {
                return "it does not end with the line of the trim";
            }
            after.erase(after.rfind('['));
            expected.erase(0, LogTrimModel::FirstKept(before, size).value_or(size));
            expected = LogTrimModel::Written(expected);
        }
        if (GetFileAttributesW((path + L".plvold").c_str()) != INVALID_FILE_ATTRIBUTES)
        {
            return "the copy is still there";
        }
        return after == expected ? std::nullopt
                                 : std::optional(std::to_string(after.size()) + " bytes, not the " +
                                                 std::to_string(expected.size()) + " expected");
    }

    static std::string Named(const std::optional<std::uint64_t>& position)
    {
        return position ? std::to_string(*position) + "U" : "std::nullopt";
    }
};

TEST(RandomTest, LogsAreTrimmedWhereTheModelTrimsThem)
{
    CompareRandomCases<LogTrims>("log trims", 6'000);
}
} // namespace
