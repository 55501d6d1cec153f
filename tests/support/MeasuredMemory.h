#pragma once

#include "../../lab/core/ImportPatch.h"

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>

/// Measures what the test program takes from the heap while the object lives: how much of it at
/// once, and how often. What was there before does not count, but giving it back makes room.
class MeasuredMemory
{
public:
    MeasuredMemory()
        : mallocStandIn("msvcrt", "malloc", &Malloc),
          reallocStandIn("msvcrt", "realloc", &Realloc),
          freeStandIn("msvcrt", "free", &Free)
    {
        if (!mallocStandIn.IsApplied() || !reallocStandIn.IsApplied() || !freeStandIn.IsApplied())
        {
            throw std::logic_error("not imported: malloc, realloc or free");
        }
        now = 0;
        most = 0;
        calls = 0;
    }
    MeasuredMemory(const MeasuredMemory&) = delete;
    MeasuredMemory& operator=(const MeasuredMemory&) = delete;

    /// The most bytes that were taken at once beside what there was at the start.
    [[nodiscard]] static std::size_t MostBytes()
    {
        return static_cast<std::size_t>(std::max<std::ptrdiff_t>(most, 0));
    }
    [[nodiscard]] static std::size_t Allocations() { return calls; }

private:
    static void Take(void* memory)
    {
        ++calls;
        now += memory == nullptr ? 0 : static_cast<std::ptrdiff_t>(_msize(memory));
        most = std::max(most, now);
    }
    static void GiveBack(void* memory)
    {
        now -= memory == nullptr ? 0 : static_cast<std::ptrdiff_t>(_msize(memory));
    }

    static void* Malloc(std::size_t size)
    {
        void* const memory = originalMalloc(size);
        Take(memory);
        return memory;
    }
    static void* Realloc(void* memory, std::size_t size)
    {
        GiveBack(memory);
        void* const moved = originalRealloc(memory, size);
        Take(moved);
        return moved;
    }
    static void Free(void* memory)
    {
        GiveBack(memory);
        originalFree(memory);
    }

    template <class Function> static Function* Original(const char* name)
    {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt"), name)));
    }

    static inline void* (*const originalMalloc)(std::size_t) =
        Original<void*(std::size_t)>("malloc");
    static inline void* (*const originalRealloc)(void*, std::size_t) =
        Original<void*(void*, std::size_t)>("realloc");
    static inline void (*const originalFree)(void*) = Original<void(void*)>("free");
    static inline std::ptrdiff_t now = 0;
    static inline std::ptrdiff_t most = 0;
    static inline std::size_t calls = 0;
    PalvoLab::StandIn<void* (*)(std::size_t)> mallocStandIn;
    PalvoLab::StandIn<void* (*)(void*, std::size_t)> reallocStandIn;
    PalvoLab::StandIn<void (*)(void*)> freeStandIn;
};
