#include "PrinterNameModel.h"

namespace PrinterNameModel
{
namespace
{
bool IsBlank(wchar_t character)
{
    return character == L' ' || character == L'\t';
}

/// The program's name: backslashes mean nothing in it, quotes only keep blanks together.
std::wstring TakeProgram(const std::wstring& line, std::size_t& next)
{
    std::wstring program;
    bool quoted = false;
    for (; next < line.size() && (quoted || !IsBlank(line[next])); ++next)
    {
        if (line[next] == L'"')
        {
            quoted = !quoted;
        }
        else
        {
            program += line[next];
        }
    }
    return program;
}

std::wstring TakeArgument(const std::wstring& line, std::size_t& next)
{
    std::wstring argument;
    bool quoted = false;
    while (next < line.size() && (quoted || !IsBlank(line[next])))
    {
        std::size_t backslashes = 0;
        for (; next < line.size() && line[next] == L'\\'; ++next)
        {
            ++backslashes;
        }
        if (next == line.size() || line[next] != L'"')
        {
            argument.append(backslashes, L'\\');
            if (backslashes == 0)
            {
                argument += line[next++];
            }
            continue;
        }
        // Before a quote two backslashes are one, and an odd one takes the quote's meaning away.
        argument.append(backslashes / 2, L'\\');
        ++next;
        if (backslashes % 2 != 0)
        {
            argument += L'"';
        }
        else if (quoted && next < line.size() && line[next] == L'"')
        {
            argument += L'"';
            ++next;
        }
        else
        {
            quoted = !quoted;
        }
    }
    return argument;
}
} // namespace

std::vector<std::wstring> ArgumentsOf(const std::wstring& commandLine)
{
    std::size_t next = 0;
    std::vector<std::wstring> arguments = {TakeProgram(commandLine, next)};
    for (;;)
    {
        while (next < commandLine.size() && IsBlank(commandLine[next]))
        {
            ++next;
        }
        if (next == commandLine.size())
        {
            return arguments;
        }
        arguments.push_back(TakeArgument(commandLine, next));
    }
}
} // namespace PrinterNameModel
