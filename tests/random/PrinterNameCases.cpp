#include "ChildCommandLine.h"
#include "CodeText.h"
#include "PrinterNameModel.h"
#include "RandomRun.h"
#include "RandomTexts.h"
#include "Shrinking.h"

#include <shellapi.h>

namespace
{
/// As Windows itself reads it.
std::vector<std::wstring> WindowsArgumentsOf(const std::wstring& commandLine)
{
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(commandLine.c_str(), &count);
    if (arguments == nullptr)
    {
        return {};
    }
    std::vector<std::wstring> copies(arguments, arguments + count);
    LocalFree(arguments);
    return copies;
}

/// The query program gets a printer's name as one operand, whatever the name is.
class PrinterNames
{
public:
    using Case = std::wstring;

    static Case Generate(Random& random)
    {
        const std::size_t length =
            random.Length(1024, {0, 1, 2, 3, 220, 221, 255, 256, 1023, 1024});
        return AnyPrinterName(random, length);
    }

    static std::optional<std::string> Difference(const Case& name)
    {
        const std::wstring arguments =
            QueryArguments({CmdLineOptionsEnum::NewOrChangedEvent, true, name});
        const std::vector<std::wstring> expected = {L"C:\\P\\PalvoPrinterQuery.exe", L"-e", name};
        const std::wstring line = ChildCommandLine(expected[0], arguments);
        for (const auto& read : {PrinterNameModel::ArgumentsOf(line), WindowsArgumentsOf(line)})
        {
            if (read != expected)
            {
                return CodeText(line) + "\nis read as " + CodeText(read);
            }
        }
        // A program in a folder with a blank is another program to its own arguments, but the name
        // is still the last of them.
        const std::wstring blankLine =
            ChildCommandLine(L"C:\\Program Files\\PalvoPrinterQuery.exe", arguments);
        for (const auto& read :
             {PrinterNameModel::ArgumentsOf(blankLine), WindowsArgumentsOf(blankLine)})
        {
            if (read.size() != 4 || read[2] != L"-e" || read[3] != name)
            {
                return CodeText(blankLine) + "\nis read as " + CodeText(read);
            }
        }
        return std::nullopt;
    }

    static std::vector<Case> Simpler(const Case& name) { return ::Simpler(name, L'a'); }

    static std::string Text(const Case& name)
    {
        return "const std::wstring name = " + CodeText(name) + ";";
    }
};

TEST(RandomTest, PrinterNamesReachTheQueryProgramAsOneOperand)
{
    CompareRandomCases<PrinterNames>("printer names", 20'000);
}
} // namespace
