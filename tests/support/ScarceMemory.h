#pragma once

#include "../../lab/core/ImportPatch.h"
#include "CRuntime.h"

#include <cstdlib>
#include <limits>
#include <stdexcept>

/// Lets the test program run out of memory while `Allow` or `Refuse` holds, which `End` ends. Do as
/// little as possible between them: the test's own allocations fail too.
class ScarceMemory
{
public:
    ScarceMemory()
        : mallocStandIn("msvcrt", "malloc", &Malloc), reallocStandIn("msvcrt", "realloc", &Realloc)
    {
        if (!mallocStandIn.IsApplied() || !reallocStandIn.IsApplied())
        {
            throw std::logic_error("not imported: malloc or realloc");
        }
        // The first exception of a thread needs memory of the C++ runtime's own, without which the
        // runtime ends the program.
        try
        {
            throw std::runtime_error("first");
        }
        catch (const std::runtime_error&)
        {
            End();
        }
    }
    ~ScarceMemory() { End(); }
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;

    /// The next `count` allocations succeed, all that follow fail.
    static void Allow(unsigned long count) { Set(count, Always); }
    /// After `count` allocations a single one fails.
    static void Refuse(unsigned long count) { Set(count, 1); }
    static void End() { Set(Always, 0); }

    /// Runs `work` with room for no allocation, for one, for two and so on, until it gets along
    /// with the room that it has. Calls `check` after each time.
    template <class Work, class Check> static void ForEveryRoom(Work work, Check check)
    {
        ForEveryPosition(&Allow, work, check);
    }

    /// Runs `work` with its first allocation alone failing, with its second alone and so on, until
    /// it makes so many no more. Calls `check` after each time.
    template <class Work, class Check> static void ForEveryFailure(Work work, Check check)
    {
        ForEveryPosition(&Refuse, work, check);
    }

private:
    static constexpr unsigned long Always = std::numeric_limits<unsigned long>::max();

    /// Code that asks so often without success will do so for ever: the program ends with 2.
    static constexpr unsigned long TooManyRefusals = 1000;

    template <class Work, class Check>
    static void ForEveryPosition(void (*begin)(unsigned long), Work work, Check check)
    {
        for (unsigned long position = 0;; ++position)
        {
            refused = 0;
            begin(position);
            work();
            End();
            check();
            if (refused == 0)
            {
                return;
            }
        }
    }

    static void Set(unsigned long allowed, unsigned long failing)
    {
        left = allowed;
        refusals = failing;
    }

    static bool MayAllocate()
    {
        if (left != 0)
        {
            --left;
            return true;
        }
        if (refusals == 0)
        {
            return true;
        }
        --refusals;
        if (++refused == TooManyRefusals)
        {
            TerminateProcess(GetCurrentProcess(), 2);
        }
        return false;
    }

    static void* Malloc(std::size_t size) { return MayAllocate() ? originalMalloc(size) : nullptr; }

    static void* Realloc(void* memory, std::size_t size)
    {
        return MayAllocate() ? originalRealloc(memory, size) : nullptr;
    }

    // Looked up rather than taken from the stand-ins: putting one in place allocates already.
    static inline void* (*const originalMalloc)(std::size_t) =
        CRuntimeFunction<void*(std::size_t)>("malloc");
    static inline void* (*const originalRealloc)(void*, std::size_t) =
        CRuntimeFunction<void*(void*, std::size_t)>("realloc");
    static inline unsigned long left = Always;
    static inline unsigned long refusals = 0;
    static inline unsigned long refused = 0;
    PalvoLab::StandIn<void* (*)(std::size_t)> mallocStandIn;
    PalvoLab::StandIn<void* (*)(void*, std::size_t)> reallocStandIn;
};
