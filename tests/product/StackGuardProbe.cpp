// A program with the stack guard of the one that ships.
//
//   smash   writes beyond a buffer, and returns 1 when nobody noticed
//   guard   prints the guard's value as it was before the first constructor, and now

#include "WindowsHeaders.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

extern "C" std::uintptr_t __stack_chk_guard; // NOLINT(bugprone-reserved-identifier)

namespace
{
/// Constructed before anything else that a program can construct.
struct EarlyWitness
{
    EarlyWitness() : guard(__stack_chk_guard) {}
    std::uintptr_t guard;
};
__attribute__((init_priority(101))) const EarlyWitness witness;

/// Where it is written to is nothing that a compiler can see through: Clang leaves an array that
/// nobody else sees away, and its guard with it.
__attribute__((noinline)) void WriteBeyond(volatile char* buffer, std::size_t length)
{
    for (std::size_t i = 0; i < length; ++i)
    {
        buffer[i] = 'x';
    }
}

__attribute__((noinline)) int Smash()
{
    volatile char buffer[16] = {};
    WriteBeyond(buffer, sizeof buffer + 24);
    return buffer[0];
}

void Print(std::uintptr_t guard)
{
    std::printf("%08lx%08lx\n", static_cast<unsigned long>(guard >> 32),
                static_cast<unsigned long>(guard & 0xFFFFFFFF));
}
} // namespace

int main(int count, char** arguments)
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    if (count == 2 && std::strcmp(arguments[1], "smash") == 0)
    {
        Smash();
        return 1;
    }
    Print(witness.guard);
    Print(__stack_chk_guard);
    return 0;
}
