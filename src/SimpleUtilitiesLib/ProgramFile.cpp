#include "ProgramFile.h"

std::wstring ProgramPath(DWORD bufferCharacters)
{
    std::wstring path(bufferCharacters, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), bufferCharacters);
    // A path that does not fit fills the buffer and is cut one short, for the zero.
    path.resize(length < bufferCharacters ? length : bufferCharacters - 1);
    return path;
}
