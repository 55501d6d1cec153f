#pragma once

#include <bit>
#include <cstddef>

// The place of virtual operations in their class's table, in the C++ ABI of GCC and in that of
// Visual C++, which puts overloads in the reverse order.

/// The slot of the first virtual operation after a destructor that stands first: GCC has two
/// entries for a destructor.
#ifdef _MSC_VER
inline constexpr std::size_t FirstSlotAfterDestructor = 1;
#else
inline constexpr std::size_t FirstSlotAfterDestructor = 2;
#endif

namespace VirtualSlotDetail
{
inline std::size_t called = 0;

template <std::size_t Slot> void Note()
{
    called = Slot;
}

/// A class with virtual operations, as which the witness is called.
struct AnyClass
{
    virtual void Operation() = 0;
};

/// An object whose virtual operations note their slots, and nothing else.
struct Witness
{
    static constexpr void (*Table[])() = {&Note<0>, &Note<1>, &Note<2>, &Note<3>,
                                          &Note<4>, &Note<5>, &Note<6>, &Note<7>};
    void (*const* table)() = Table;
};
} // namespace VirtualSlotDetail

/// The slot of an operation that is virtual: one of the first eight.
template <class Function> std::size_t VirtualSlot(Function operation)
{
    using namespace VirtualSlotDetail;
    Witness witness;
    // The caller of a 64-bit function takes its arguments off the stack itself: one that has some
    // can be called without any.
    (reinterpret_cast<AnyClass&>(witness).*std::bit_cast<void (AnyClass::*)()>(operation))();
    return called;
}
