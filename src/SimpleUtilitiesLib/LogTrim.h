#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

// Which part of a log that has grown too large is kept, and with which line ends. Works on bytes,
// so that no byte that the machine's code page does not know can end or change a line.

namespace LogTrim
{
/// A log of up to this many bytes is left alone.
inline constexpr std::uint64_t LargestLog = 0x400000;

/// Finds the first byte that a trimmed log keeps.
///
/// The log is read in pieces: a line with its line feed, or the next 4096 characters of a longer
/// line. A carriage return before a line feed is no character of the piece, and every piece counts
/// one more than its length, so the count follows the position in the file. The pieces are kept
/// from the first one at whose end the count is more than the file's size less 2 MiB.
class Scanner
{
public:
    explicit Scanner(std::uint64_t fileSize);

    /// Reads the next bytes of the file. The position of the first byte to keep, once it is known.
    std::optional<std::uint64_t> Feed(std::string_view bytes);

    /// The end of the file, which ends a line without a line feed.
    std::optional<std::uint64_t> Finish();

private:
    std::size_t TakeUsualLines(std::string_view bytes);
    std::size_t TakeFromPiece(std::string_view bytes);
    void AddCharacters(std::size_t characters);
    void EndPiece();

    std::uint64_t droppedBytes;
    std::uint64_t position = 0;
    std::uint64_t count = 0;
    std::uint64_t pieceStart = 0;
    std::size_t pieceLength = 0;
    bool heldCarriageReturn = false;
    std::optional<std::uint64_t> firstKept;
};

/// Writes `bytes` to `text`, which has room for twice as many, with a carriage return before every
/// line feed that stands alone. Returns how many bytes it wrote. The byte before the first is taken
/// for no carriage return.
std::size_t WriteLineEnds(std::string_view bytes, char* text) noexcept;
} // namespace LogTrim
