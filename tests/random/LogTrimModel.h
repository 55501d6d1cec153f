#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What is kept of a log that has grown too large, written down a second time and apart from the
/// program. Here the whole log is taken apart first, and then it is decided.
namespace LogTrimModel
{
/// A line with its line feed, or the next 4096 characters of a longer one.
struct Piece
{
    std::size_t start;   ///< of its first byte
    std::uint64_t count; ///< of all pieces up to this one: their characters and one for each
};
std::vector<Piece> PiecesOf(const std::string& bytes);

/// The first byte that is kept of `bytes`, the beginning of a log of `fileSize` bytes. Nothing when
/// none of its pieces is kept.
std::optional<std::uint64_t> FirstKept(const std::string& bytes, std::uint64_t fileSize);

/// Kept lines as they are written: the end of each is a carriage return and a line feed.
std::string Written(const std::string& kept);
} // namespace LogTrimModel
