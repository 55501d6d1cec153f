#pragma once

#include <gtest/gtest.h>

#include <string>

/// What `work` writes to standard output, with plain line feeds. An exception passes.
template <class Work> std::string OutputOf(Work work)
{
    struct Capture
    {
        Capture() { testing::internal::CaptureStdout(); }
        ~Capture()
        {
            if (running)
            {
                testing::internal::GetCapturedStdout();
            }
        }
        std::string End()
        {
            running = false;
            return testing::internal::GetCapturedStdout();
        }
        bool running = true;
    };
    Capture capture;
    work();
    return capture.End();
}
