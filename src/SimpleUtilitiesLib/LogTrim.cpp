#include "LogTrim.h"

#include "CharacterSearch.h"

#include <algorithm>

namespace
{
constexpr std::uint64_t KeptBytes = 0x200000;
constexpr std::size_t LongestPiece = 4096;
} // namespace

namespace LogTrim
{
Scanner::Scanner(std::uint64_t fileSize) : droppedBytes(std::max(fileSize, KeptBytes) - KeptBytes)
{
}

std::optional<std::uint64_t> Scanner::Feed(std::string_view bytes)
{
    while (!bytes.empty() && !firstKept)
    {
        if (heldCarriageReturn && bytes.front() != '\n')
        {
            AddCharacters(1);
        }
        heldCarriageReturn = false;
        bytes.remove_prefix(TakeFromPiece(bytes));
    }
    return firstKept;
}

/// Takes the piece's next bytes, as many as can be looked through at once. Returns their number.
std::size_t Scanner::TakeFromPiece(std::string_view bytes)
{
    const std::string_view taken = bytes.substr(0, LongestPiece - pieceLength);
    const std::size_t lineFeed = FindCharacter(taken, '\n');
    if (lineFeed < taken.size())
    {
        const bool hasCarriageReturn = lineFeed > 0 && taken[lineFeed - 1] == '\r';
        position += lineFeed + 1;
        pieceLength += lineFeed + (hasCarriageReturn ? 0 : 1);
        EndPiece();
        return lineFeed + 1;
    }
    // Whether the last carriage return is a character is for the next byte to tell.
    heldCarriageReturn = taken.back() == '\r';
    position += taken.size();
    AddCharacters(taken.size() - (heldCarriageReturn ? 1 : 0));
    return taken.size();
}

std::optional<std::uint64_t> Scanner::Finish()
{
    if (heldCarriageReturn)
    {
        AddCharacters(1);
    }
    if (pieceLength > 0)
    {
        EndPiece();
    }
    return firstKept;
}

void Scanner::AddCharacters(std::size_t characters)
{
    pieceLength += characters;
    if (pieceLength == LongestPiece)
    {
        EndPiece();
    }
}

/// Ends the piece at the position that was reached.
void Scanner::EndPiece()
{
    count += pieceLength + 1;
    if (!firstKept && count > droppedBytes)
    {
        firstKept = pieceStart;
    }
    pieceStart = position;
    pieceLength = 0;
}

std::size_t WriteLineEnds(std::string_view bytes, char* text) noexcept
{
    char* end = text;
    while (!bytes.empty())
    {
        const std::size_t lineFeed = FindCharacter(bytes, '\n');
        end = std::copy_n(bytes.data(), lineFeed, end);
        if (lineFeed == bytes.size())
        {
            break;
        }
        if (lineFeed == 0 || bytes[lineFeed - 1] != '\r')
        {
            *end++ = '\r';
        }
        *end++ = '\n';
        bytes.remove_prefix(lineFeed + 1);
    }
    return static_cast<std::size_t>(end - text);
}
} // namespace LogTrim
