#include "ChildCommandLine.h"

#include "Format.h"

namespace
{
constexpr char EventArgument[] = "-c";
constexpr char OnePrinterArgument[] = "-e";

bool IsForOnePrinter(const WriterRequest& request)
{
    return request.mode == CmdLineOptionsEnum::NewOrChangedEvent && request.onePrinter;
}

/// `text` in double quotes. Quotes, and backslashes before a quote or at the end, are escaped with
/// a backslash so that CommandLineToArgvW returns `text`.
std::wstring Quoted(const std::wstring& text)
{
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : text)
    {
        if (character == L'"')
        {
            quoted.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        quoted += character;
    }
    quoted.append(backslashes, L'\\');
    return quoted + L"\"";
}
} // namespace

std::wstring QueryArguments(const WriterRequest& request)
{
    if (!IsForOnePrinter(request))
    {
        return WriterArguments(request);
    }
    return FromNarrow(OnePrinterArgument) + L" " + Quoted(request.printerName);
}

std::wstring WriterArguments(const WriterRequest& request)
{
    if (request.mode != CmdLineOptionsEnum::NewOrChangedEvent)
    {
        return {};
    }
    return FromNarrow(request.onePrinter ? OnePrinterArgument : EventArgument);
}

std::wstring InvokerTag(const std::wstring& arguments, const std::wstring& invoker,
                        std::uint32_t processId)
{
    return arguments + L" -i " +
           Format(L"\"PalvoPrinterConfiguration(%s%s%u)\"", invoker,
                  invoker.empty() ? L"" : L" PID: ", processId);
}

std::wstring ChildCommandLine(const std::wstring& path, const std::wstring& arguments)
{
    return path + L" " + arguments;
}
