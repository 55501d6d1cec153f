#include "ProgramFile.h"

#include "Text.h"

namespace
{
/// Stores the path in `path`. False if there is none or it was truncated.
bool ReadProgramPath(DWORD bufferCharacters, std::wstring& path)
{
    path.assign(bufferCharacters, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), bufferCharacters);
    // A truncated path fills the buffer but for the terminating zero.
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
