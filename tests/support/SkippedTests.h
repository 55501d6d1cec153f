#pragma once

#include <gtest/gtest.h>

/// Skips a test that only what GCC's C runtime does makes possible.
#ifdef _MSC_VER
#define SKIP_WITH_VISUAL_CPP(reason) GTEST_SKIP() << "Visual C++: " << (reason)
#else
#define SKIP_WITH_VISUAL_CPP(reason) static_cast<void>(0)
#endif
