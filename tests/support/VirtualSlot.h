#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

// The place of virtual operations in their class's table. The tests are compiled for the Itanium
// C++ ABI, in which a pointer to a virtual member function holds one more than the byte offset of
// its slot, and in which a virtual destructor that stands first takes the first two slots.

/// The slot of the first virtual operation after a destructor that stands first.
inline constexpr std::size_t FirstSlotAfterDestructor = 2;

/// The slot of a virtual operation. Throws std::logic_error when it is not virtual.
template <class Function> std::size_t VirtualSlot(Function operation)
{
    struct
    {
        std::uintptr_t slotOffsetAndOne;
        std::ptrdiff_t adjustment;
    } parts = {};
    static_assert(sizeof(operation) == sizeof(parts));
    std::memcpy(&parts, &operation, sizeof(parts));
    // The address of a function is even.
    if (parts.slotOffsetAndOne % 2 == 0)
    {
        throw std::logic_error("not virtual");
    }
    return (parts.slotOffsetAndOne - 1) / sizeof(void*);
}
