#pragma once

#include "Guarded.h"
#include "Random.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

/// What the command line asks for.
struct RunOptions
{
    std::uint64_t seed = 0;
    std::optional<std::uint64_t> cases;    ///< of each subject, in the place of its own number
    std::optional<std::uint64_t> onlyCase; ///< the number of the one case to run
};

/// Set by main before the tests run.
extern RunOptions runOptions;

/// The seed of one case, so that each can be made without those before it.
inline std::uint64_t SeedOfCase(std::uint64_t number)
{
    return Random(runOptions.seed).Next() ^ Random(number + 1).Next();
}

/// The simplest case that still differs, and how.
template <class Subject>
typename Subject::Case Shrink(Subject& subject, typename Subject::Case smallest,
                              std::string& difference)
{
    constexpr ULONGLONG MostMilliseconds = 60'000;
    const ULONGLONG start = GetTickCount64();
    for (bool goesOn = true; goesOn;)
    {
        goesOn = false;
        for (const auto& candidate : subject.Simpler(smallest))
        {
            if (GetTickCount64() - start > MostMilliseconds)
            {
                return smallest;
            }
            if (const auto stillDiffers = Guarded([&] { return subject.Difference(candidate); }))
            {
                smallest = candidate;
                difference = *stillDiffers;
                goesOn = true;
                break;
            }
        }
    }
    return smallest;
}

/// Compares the program with the model on random cases, up to the first difference. `inOne` of them
/// are tried at once, as one Case of the subject. A subject has
///     struct Case;
///     Case Generate(Random&);
///     std::optional<std::string> Difference(const Case&);  nothing when program and model agree
///     std::vector<Case> Simpler(const Case&);
///     std::string Text(const Case&);                       as code
template <class Subject>
void CompareRandomCases(const char* name, std::uint64_t usualCases, std::uint64_t inOne = 1)
{
    Subject subject;
    const ULONGLONG start = GetTickCount64();
    const std::uint64_t first = runOptions.onlyCase.value_or(0);
    const std::uint64_t end = runOptions.onlyCase
                                  ? first + 1
                                  : (runOptions.cases.value_or(usualCases) + inOne - 1) / inOne;
    for (std::uint64_t number = first; number < end; ++number)
    {
        Random random(SeedOfCase(number));
        const auto whole = subject.Generate(random);
        auto difference = Guarded([&] { return subject.Difference(whole); });
        if (difference)
        {
            const auto smallest = Shrink(subject, whole, *difference);
            // Not this file, which is that of no case.
            const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
            ADD_FAILURE_AT(test.file(), test.line())
                << name << ": seed " << runOptions.seed << ", case " << number << ", shrunk to\n"
                << subject.Text(smallest) << "\n"
                << *difference;
            return;
        }
    }
    std::printf("FIGURE: %s: %llu cases, %.1f s, seed %llu\n", name,
                static_cast<unsigned long long>((end - first) * inOne),
                static_cast<double>(GetTickCount64() - start) / 1000.0,
                static_cast<unsigned long long>(runOptions.seed));
}
