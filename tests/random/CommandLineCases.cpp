#include "CodeText.h"
#include "CommandLine.h"
#include "CommandLineModel.h"
#include "MemoryLog.h"
#include "RandomRun.h"
#include "RandomTexts.h"
#include "Shrinking.h"

namespace
{
/// Command lines are read as the model reads them: options, invoker and log lines.
class CommandLines
{
public:
    using Case = std::vector<std::wstring>; ///< without the program's name

    static Case Generate(Random& random)
    {
        // -APDI wants exactly three.
        const std::size_t count = random.OneIn(4) ? 3 : random.Below(random.OneIn(50) ? 60 : 9);
        Case arguments;
        for (std::size_t i = 0; i < count; ++i)
        {
            arguments.push_back(Argument(random));
        }
        return arguments;
    }

    std::optional<std::string> Difference(const Case& arguments)
    {
        std::vector<const wchar_t*> vector = {L"C:\\P\\PalvoPrinterConfiguration.exe"};
        for (const std::wstring& argument : arguments)
        {
            vector.push_back(argument.c_str());
        }
        const int count = static_cast<int>(vector.size());
        vector.push_back(nullptr);
        memoryLog.Clear();
        std::wstring invoker = L"left over";
        const CmdLineOptions options =
            ParseCommandLine(count, vector.data(), memoryLog.Log(), invoker);

        const CommandLineModel::Outcome expected = CommandLineModel::Of(arguments);
        const std::vector<unsigned> numbers = {
            static_cast<unsigned>(options.mode), static_cast<unsigned>(options.eventType),
            static_cast<unsigned>(options.ngen), static_cast<unsigned>(options.warmup)};
        const std::vector<unsigned> expectedNumbers = {expected.mode, expected.eventType,
                                                       expected.ngen, expected.warmup};
        if (numbers != expectedNumbers)
        {
            return "mode, event type, NGEN, warmup: " + testing::PrintToString(numbers) + ", not " +
                   testing::PrintToString(expectedNumbers);
        }
        if (invoker != expected.invoker)
        {
            return "invoker: " + CodeText(invoker) + ", not " + CodeText(expected.invoker);
        }
        return memoryLog.Difference(expected.log);
    }

    static std::vector<Case> Simpler(const Case& arguments)
    {
        std::vector<Case> candidates = Shorter(arguments);
        for (std::size_t i = 0; i < arguments.size(); ++i)
        {
            for (const std::wstring& text : ::Simpler(arguments[i], L'a'))
            {
                candidates.push_back(arguments);
                candidates.back()[i] = text;
            }
        }
        return candidates;
    }

    static std::string Text(const Case& arguments)
    {
        const CommandLineModel::Outcome expected = CommandLineModel::Of(arguments);
        return "Parse(" + CodeText(arguments) + ");\nExpect(" + std::to_string(expected.mode) +
               ", " + std::to_string(expected.eventType) + ", " + std::to_string(expected.ngen) +
               ", " + std::to_string(expected.warmup) + ");\nEXPECT_EQ(invoker, " +
               CodeText(expected.invoker) + ");\nExpectLog(" + CodeText(expected.log) + ");";
    }

private:
    static std::wstring Argument(Random& random)
    {
        static const std::vector<std::wstring> keys = {L"c",  L"r",  L"?",  L"DL", L"IT",
                                                       L"UT", L"IN", L"UN", L"w",  L"APDI"};
        static const std::vector<std::wstring> values = {
            L"NewOrChangedTask", L"PeriodicRefreshTask", L"UserLogonTask", L"POJEMService"};
        static const std::vector<std::wstring> oddities = {
            L"",     L"-",      L"/",      L"--c",     L"-/c",     L"-cc",     L"-c ",  L" -c",
            L"-x",   L"\\c",    L"+c",     L"-\u0131", L"-\u0130", L"\u2212c", L"-e",   L"-APD",
            L"-i:x", L"-i\"\"", L"-\"c\"", L"-INN",    L"-U",      L"-%s%n",   L"%s%n", L"\"",
            L"-w\n", L"- c",    L"-ci",    L"-I ",     L"-dl-"};
        switch (random.Below(10))
        {
        case 0:
        case 1:
        case 2:
        case 3:
            return Marked(random, random.Of(keys));
        case 4:
        case 5:
            return Marked(random, L"i");
        case 6:
            return MaybeQuoted(random, InAnyCase(random, random.Of(values)));
        case 7:
            return random.Of(oddities);
        case 8:
            return NearMiss(random,
                            random.OneIn(2) ? Marked(random, random.Of(keys)) : random.Of(values));
        default:
            return AnyText(random, random.Below(random.OneIn(100) ? 3000 : 12));
        }
    }

    static std::wstring Marked(Random& random, const std::wstring& key)
    {
        return (random.OneIn(2) ? L"-" : L"/") + InAnyCase(random, key);
    }

    static std::wstring MaybeQuoted(Random& random, std::wstring text)
    {
        for (std::size_t count = random.OneIn(3) ? random.Below(4) : 0; count != 0; --count)
        {
            text.insert(random.Below(text.size() + 1), 1, L'"');
        }
        return text;
    }

    MemoryLog memoryLog;
};

TEST(RandomTest, CommandLinesAreReadAsTheModelReadsThem)
{
    CompareRandomCases<CommandLines>("command lines", 20'000);
}
} // namespace
