#include "LogTrim.h"

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
    for (const char byte : bytes)
    {
        if (heldCarriageReturn && byte != '\n')
        {
            AddCharacter('\r', position);
        }
        heldCarriageReturn = byte == '\r';
        ++position;
        if (!heldCarriageReturn)
        {
            AddCharacter(byte, position);
        }
    }
    return firstKept;
}

std::optional<std::uint64_t> Scanner::Finish()
{
    if (heldCarriageReturn)
    {
        AddCharacter('\r', position);
    }
    if (pieceLength > 0)
    {
        EndPiece(position);
    }
    return firstKept;
}

void Scanner::AddCharacter(char character, std::uint64_t nextPosition)
{
    ++pieceLength;
    if (character == '\n' || pieceLength == LongestPiece)
    {
        EndPiece(nextPosition);
    }
}

void Scanner::EndPiece(std::uint64_t nextPosition)
{
    count += pieceLength + 1;
    if (!firstKept && count > droppedBytes)
    {
        firstKept = pieceStart;
    }
    pieceStart = nextPosition;
    pieceLength = 0;
}
} // namespace LogTrim
