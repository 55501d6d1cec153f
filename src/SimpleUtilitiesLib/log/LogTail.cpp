#include "LogTail.h"

#include "LogTrim.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

namespace
{
constexpr std::size_t ScannedBytes = 0x10000;
constexpr std::size_t CopiedBytes = 0x4000;

bool GoTo(HANDLE file, std::uint64_t position)
{
    LARGE_INTEGER distance = {};
    distance.QuadPart = static_cast<LONGLONG>(position);
    return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) != FALSE;
}

/// Reads the next block; empty at the end and on failure.
std::string_view ReadBlock(HANDLE file, std::span<char> buffer)
{
    DWORD length = 0;
    const BOOL isRead =
        ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &length, nullptr);
    return {buffer.data(), isRead ? length : 0};
}

/// False if fewer than `size` bytes could be copied.
bool CopyWhole(HANDLE source, std::uint64_t size, HANDLE target)
{
    std::array<char, ScannedBytes> buffer;
    std::uint64_t copied = 0;
    for (;;)
    {
        const std::string_view block = ReadBlock(source, buffer);
        if (block.empty())
        {
            return copied >= size;
        }
        DWORD written = 0;
        if (!WriteFile(target, block.data(), static_cast<DWORD>(block.size()), &written, nullptr) ||
            written != block.size())
        {
            return false;
        }
        copied += written;
    }
}

bool Empty(HANDLE file)
{
    return GoTo(file, 0) && SetEndOfFile(file);
}

/// Nothing if the file cannot be read that far.
std::optional<std::uint64_t> FirstKeptByte(HANDLE file, std::uint64_t size)
{
    std::array<char, ScannedBytes> buffer;
    LogTrim::Scanner scanner(size);
    for (;;)
    {
        const std::string_view block = ReadBlock(file, buffer);
        const std::optional<std::uint64_t> found = scanner.Feed(block);
        if (found || block.empty())
        {
            return found;
        }
    }
}

/// How many bytes may be written: those of whole lines, or all at the end of the file and if one
/// line fills the buffer. A carriage return waits for the byte after it.
std::size_t WritableLength(std::string_view bytes, bool isEnd, bool isFull)
{
    const std::size_t lineEnd = bytes.rfind('\n');
    if (isEnd)
    {
        return bytes.size();
    }
    if (isFull && lineEnd == std::string_view::npos)
    {
        return bytes.size() - (bytes.back() == '\r' ? 1 : 0);
    }
    return lineEnd + 1;
}

/// A file that is written from its beginning.
class FilledLog
{
public:
    explicit FilledLog(HANDLE emptyFile) : file(emptyFile) {}

    /// False if not all could be written; then no line is torn.
    bool Write(std::string_view bytes)
    {
        DWORD written = 0;
        if (!WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
        {
            written = 0; // the file may have got some of them all the same
        }
        const std::size_t lineFeed = bytes.substr(0, written).rfind('\n');
        if (lineFeed != std::string_view::npos)
        {
            endOfLines = size + lineFeed + 1;
        }
        size += written;
        if (written != bytes.size())
        {
            CutTornLineOff();
        }
        return written == bytes.size();
    }

    /// Truncates the file after its last whole line.
    void CutTornLineOff()
    {
        if (GoTo(file, endOfLines))
        {
            SetEndOfFile(file);
        }
    }

private:
    HANDLE file;
    std::uint64_t size = 0;       ///< as far as Windows has told
    std::uint64_t endOfLines = 0; ///< what lies behind belongs to a line that is not complete
};

/// Copies from byte `from` of `size` to the end in whole lines.
void CopyFrom(std::uint64_t from, std::uint64_t size, HANDLE source, FilledLog target)
{
    std::array<char, CopiedBytes> buffer;
    // A block of line feeds only becomes twice as long.
    std::array<char, 2 * CopiedBytes> text;
    std::size_t held = 0;
    for (;;)
    {
        const std::string_view block = ReadBlock(source, std::span(buffer).subspan(held));
        from += block.size();
        const std::string_view bytes(buffer.data(), held + block.size());
        const bool isEnd = block.empty() && from >= size;
        const std::size_t length = WritableLength(bytes, isEnd, bytes.size() == buffer.size());
        const std::size_t textLength = LogTrim::WriteLineEnds(bytes.substr(0, length), text.data());
        if (!target.Write({text.data(), textLength}) || isEnd)
        {
            return;
        }
        if (block.empty())
        {
            target.CutTornLineOff();
            return;
        }
        held = bytes.size() - length;
        std::memmove(buffer.data(), buffer.data() + length, held);
    }
}
} // namespace

void TrimOpenLog(HANDLE log, std::uint64_t size, HANDLE copy) noexcept
{
    if (!CopyWhole(log, size, copy) || !GoTo(copy, 0))
    {
        return;
    }
    const std::optional<std::uint64_t> firstKept = FirstKeptByte(copy, size);
    if (firstKept && GoTo(copy, *firstKept) && Empty(log))
    {
        CopyFrom(*firstKept, size, copy, FilledLog(log));
    }
}
