// randomTests [--seed N] [--cases N] [--case N] [GoogleTest's options]
//
// Compares the program with models of its rules on random cases. Every subject is one test. --case
// runs one case alone, which a failure names beside the seed.

#include "RandomRun.h"

#include <cstdlib>
#include <string_view>

RunOptions runOptions;

namespace
{
/// The number that follows an option; nothing when it is no number.
std::optional<std::uint64_t> NumberAfter(int count, char** arguments, int index)
{
    if (index + 1 >= count || *arguments[index + 1] == '\0')
    {
        return std::nullopt;
    }
    char* end = nullptr;
    const std::uint64_t number = std::strtoull(arguments[index + 1], &end, 10);
    return *end == '\0' ? std::optional(number) : std::nullopt;
}

bool ReadOptions(int count, char** arguments)
{
    for (int i = 1; i < count; i += 2)
    {
        const std::string_view option = arguments[i];
        const auto number = NumberAfter(count, arguments, i);
        if (!number)
        {
            return false;
        }
        if (option == "--seed")
        {
            runOptions.seed = *number;
        }
        else if (option == "--cases" && *number != 0)
        {
            runOptions.cases = number;
        }
        else if (option == "--case")
        {
            runOptions.onlyCase = number;
        }
        else
        {
            return false;
        }
    }
    return true;
}

/// Another one for every run.
std::uint64_t NewSeed()
{
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    return Random(now.dwLowDateTime ^ GetCurrentProcessId()).Next() % 1'000'000'000;
}
} // namespace

int main(int count, char** arguments)
{
    // A crash ends the program with its code; no box waits for a person.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    // The last line before a crash must not stay in a buffer.
    std::setvbuf(stdout, nullptr, _IONBF, 0);

    testing::InitGoogleTest(&count, arguments);
    runOptions.seed = NewSeed();
    if (!ReadOptions(count, arguments))
    {
        std::fprintf(stderr, "usage: randomTests [--seed N] [--cases N] [--case N]\n");
        return 2;
    }
    std::printf("FIGURE: Seed %llu\n", static_cast<unsigned long long>(runOptions.seed));
    return RUN_ALL_TESTS();
}
