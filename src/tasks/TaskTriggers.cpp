#include "TaskTriggers.h"

#include "Format.h"

#include <random>

namespace TaskTriggers
{
std::wstring StartBoundary(unsigned seed)
{
    std::minstd_rand generator(seed);
    const auto hour = static_cast<int>(generator() % 4);
    const auto minute = static_cast<int>(generator() % 6 * 10);
    return Format(L"2000-01-01T%02d:%02d:00", hour, minute);
}
} // namespace TaskTriggers
