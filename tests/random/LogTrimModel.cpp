#include "LogTrimModel.h"

namespace LogTrimModel
{
namespace
{
constexpr std::size_t LongestPiece = 4096;
constexpr std::uint64_t KeptBytes = 0x200000;
} // namespace

std::vector<Piece> PiecesOf(const std::string& bytes)
{
    std::vector<Piece> pieces;
    std::uint64_t count = 0;
    for (std::size_t next = 0; next < bytes.size();)
    {
        const std::size_t start = next;
        std::size_t length = 0;
        for (bool lineEnds = false; !lineEnds && length < LongestPiece && next < bytes.size();)
        {
            // A carriage return and its line feed are one character.
            next += bytes.compare(next, 2, "\r\n") == 0 ? 1U : 0U;
            lineEnds = bytes[next] == '\n';
            ++next;
            ++length;
        }
        count += length + 1;
        pieces.push_back({start, count});
    }
    return pieces;
}

std::optional<std::uint64_t> FirstKept(const std::string& bytes, std::uint64_t fileSize)
{
    for (const Piece& piece : PiecesOf(bytes))
    {
        if (piece.count > fileSize - KeptBytes)
        {
            return piece.start;
        }
    }
    return std::nullopt;
}

std::string Written(const std::string& kept)
{
    std::string written;
    for (const char byte : kept)
    {
        const bool standsAlone = byte == '\n' && !written.ends_with('\r');
        written += standsAlone ? "\r\n" : std::string(1, byte);
    }
    return written;
}
} // namespace LogTrimModel
