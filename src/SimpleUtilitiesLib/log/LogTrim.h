#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

// Which part of a log that is too large is kept, and with which line ends. Works on bytes, so that
// a byte unknown to the code page can neither end nor change a line.

namespace LogTrim
{
/// A log of up to this many bytes is not trimmed.
inline constexpr std::uint64_t LargestLog = 0x400000;

/// Finds the first byte that a trimmed log keeps.
///
/// The log is read in pieces: a line with its line feed, or the next 4096 characters of a longer
/// line. A carriage return before a line feed is not counted as a character, but each piece counts
/// one more than its length, so the count follows the file position. Kept are the pieces from the
/// first one on at whose end the count exceeds the file's size minus 2 MiB.
class Scanner
{
public:
    explicit Scanner(std::uint64_t fileSize);

    /// Reads the next bytes of the file. Returns the position of the first byte to keep, once
    /// known: in a log that is trimmed about 2 MiB before its end.
    std::optional<std::uint64_t> Feed(std::string_view bytes);

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

/// Writes `bytes` to `text`, which has room for twice as many, with a carriage return before each
/// bare line feed. Returns the number of bytes written. Assumes no carriage return before the first
/// byte.
std::size_t WriteLineEnds(std::string_view bytes, char* text) noexcept;
} // namespace LogTrim
