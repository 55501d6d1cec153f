#include "ProgramFile.h"

#include "Text.h"

namespace
{
/// Puts the path into `path`. False when there is none or it had to be cut.
bool ReadProgramPath(DWORD bufferCharacters, std::wstring& path)
{
    path.assign(bufferCharacters, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), bufferCharacters);
    // A path that does not fit fills the buffer and is cut one short, for the zero.
    const bool isWhole = length < bufferCharacters;
    path.resize(isWhole ? length : bufferCharacters - 1);
    return isWhole;
}
} // namespace

std::wstring ProgramPath(DWORD bufferCharacters)
{
    std::wstring path;
    ReadProgramPath(bufferCharacters, path);
    return path;
}

std::wstring ProgramDirectory()
{
    std::wstring path;
    return ReadProgramPath(260, path) ? DirectoryOf(path) : std::wstring();
}
