#include "LogTrim.h"

#include "CharacterSearch.h"

#include <emmintrin.h>

#include <algorithm>

namespace
{
constexpr std::uint64_t KeptBytes = 0x200000;
constexpr std::size_t LongestPiece = 4096;

/// True if a carriage return precedes every line feed. Compares sixteen bytes at a time.
bool HasUsualLineEnds(std::string_view lines)
{
    const __m128i lineFeeds = _mm_set1_epi8('\n');
    const __m128i carriageReturns = _mm_set1_epi8('\r');
    __m128i alone = _mm_setzero_si128();
    std::size_t position = 1;
    for (; position + sizeof(__m128i) <= lines.size(); position += sizeof(__m128i))
    {
        const auto* const bytes = reinterpret_cast<const __m128i*>(lines.data() + position);
        const auto* const before = reinterpret_cast<const __m128i*>(lines.data() + position - 1);
        const __m128i afterReturn = _mm_cmpeq_epi8(_mm_loadu_si128(before), carriageReturns);
        const __m128i isLineFeed = _mm_cmpeq_epi8(_mm_loadu_si128(bytes), lineFeeds);
        alone = _mm_or_si128(alone, _mm_andnot_si128(afterReturn, isLineFeed));
    }
    bool isUsual = _mm_movemask_epi8(alone) == 0 && !lines.starts_with('\n');
    for (; position < lines.size(); ++position)
    {
        isUsual = isUsual && (lines[position] != '\n' || lines[position - 1] == '\r');
    }
    return isUsual;
}
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
        bytes.remove_prefix(TakeUsualLines(bytes));
        if (!bytes.empty())
        {
            bytes.remove_prefix(TakeFromPiece(bytes));
        }
    }
    return firstKept;
}

/// Takes the whole lines that lie within the next 4096 bytes, each of which is one piece, when they
/// end as the program's own lines do and none of them is kept: their count is that of their bytes.
/// Takes nothing otherwise. A log of many megabytes has little else.
std::size_t Scanner::TakeUsualLines(std::string_view bytes)
{
    const std::string_view lines =
        bytes.substr(0, bytes.substr(0, LongestPiece).rfind('\n') + 1); // none: nothing
    if (pieceLength != 0 || count + lines.size() > droppedBytes || !HasUsualLineEnds(lines))
    {
        return 0;
    }
    count += lines.size();
    position += lines.size();
    pieceStart = position;
    return lines.size();
}

/// Takes the piece's next bytes, as many as can be searched at once. Returns their number.
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
    // The next byte decides whether the last carriage return is a character.
    heldCarriageReturn = taken.back() == '\r';
    position += taken.size();
    AddCharacters(taken.size() - (heldCarriageReturn ? 1 : 0));
    return taken.size();
}

void Scanner::AddCharacters(std::size_t characters)
{
    pieceLength += characters;
    if (pieceLength == LongestPiece)
    {
        EndPiece();
    }
}

/// Ends the piece at the current position.
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
        end = std::copy_n(bytes.begin(), lineFeed, end);
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
