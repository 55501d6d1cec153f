#pragma once

#include "../../lab/core/ImportPatch.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

/// A text that can be a template argument.
template <std::size_t Size> struct FixedText
{
    consteval FixedText(const char (&literal)[Size])
    {
        for (std::size_t i = 0; i < Size; ++i)
        {
            text[i] = literal[i];
        }
    }
    char text[Size];
};

/// Replaces one imported function of the test program by any callable for as long as the object
/// lives; a younger one hides an older one of the same function:
///     const Replaced<"KERNEL32", "Sleep", decltype(Sleep)> sleep([&](DWORD time) { ... });
/// The constructor throws when the program does not import the function: a test whose double is
/// never called must not pass.
template <FixedText Dll, FixedText Name, class Signature> class Replaced;

template <FixedText Dll, FixedText Name, class Result, class... Arguments>
class Replaced<Dll, Name, Result(Arguments...)>
{
public:
    using Behaviour = std::function<Result(Arguments...)>;

    explicit Replaced(Behaviour wanted)
    {
        if (!standIn)
        {
            // Stays for good, since looking through the import tables takes its time. Without a
            // behaviour it passes every call on.
            standIn.emplace(Dll.text, Name.text, &Call);
            if (!standIn->IsApplied())
            {
                standIn.reset();
                throw std::logic_error(std::string("not imported: ") + Name.text);
            }
        }
        hidden = std::exchange(current, std::move(wanted));
    }

    ~Replaced() { current = std::move(hidden); }

    Replaced(const Replaced&) = delete;
    Replaced& operator=(const Replaced&) = delete;

    /// Calls the real function.
    static Result Original(Arguments... arguments) { return standIn->Original()(arguments...); }

private:
    static Result Call(Arguments... arguments)
    {
        return current ? current(arguments...) : Original(arguments...);
    }

    static inline std::optional<PalvoLab::StandIn<Result (*)(Arguments...)>> standIn;
    static inline Behaviour current;

    Behaviour hidden;
};
