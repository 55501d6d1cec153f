#pragma once

#include "CommandLine.h"
#include "TestLog.h"

#include <gtest/gtest.h>

#include <vector>

/// Parses command lines, given without the program's name.
class CommandLineFixture : public ::testing::Test
{
protected:
    void Parse(const std::vector<std::wstring>& arguments)
    {
        // The program's name is no argument, whatever it looks like.
        std::vector<const wchar_t*> vector = {L"/c"};
        for (const std::wstring& argument : arguments)
        {
            vector.push_back(argument.c_str());
        }
        const int count = static_cast<int>(vector.size());
        vector.push_back(nullptr);
        options = ParseCommandLine(count, vector.data(), testLog.Log(), invoker);
    }

    /// Compares the numbers of mode, event type, NGEN and warmup request.
    void Expect(unsigned mode, unsigned eventType = 0, unsigned ngen = 0, unsigned warmup = 0) const
    {
        EXPECT_EQ(static_cast<unsigned>(options.mode), mode);
        EXPECT_EQ(static_cast<unsigned>(options.eventType), eventType);
        EXPECT_EQ(static_cast<unsigned>(options.ngen), ngen);
        EXPECT_EQ(static_cast<unsigned>(options.warmup), warmup);
    }

    void ExpectLog(const std::vector<std::wstring>& messages) const
    {
        EXPECT_EQ(testLog.Messages(), messages);
    }

    TestLog testLog;
    CmdLineOptions options;
    std::wstring invoker = L"left over";
};
