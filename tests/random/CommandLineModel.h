#pragma once

#include <string>
#include <vector>

/// What a command line means, written down a second time and apart from the program.
namespace CommandLineModel
{
struct Outcome
{
    unsigned eventType = 0;
    unsigned mode = 1;
    unsigned warmup = 0;
    unsigned ngen = 0;
    std::wstring invoker;
    std::vector<std::wstring> log;
};

/// The arguments are given without the program's name.
Outcome Of(const std::vector<std::wstring>& arguments);
} // namespace CommandLineModel
