#pragma once

#include "Owners.h"

#include <cstdint>
#include <string>

/// A named auto-reset event (CreateEventW). If it could not be created it is never signalled. Its
/// request is lost with the event's last handle; the next refresh makes good for it.
class NamedEvent
{
public:
    /// Creates or opens the event of a name that MakeGlobalObjectName made; `isSignalledAtFirst`
    /// counts only when this call creates it.
    NamedEvent(std::wstring eventName, bool isSignalledAtFirst);

    void Set() noexcept;

    /// Resets the event. True if it was signalled. Does not wait.
    [[nodiscard]] bool Consume() noexcept;

    [[nodiscard]] const std::wstring& Name() const noexcept { return name; }

private:
    KernelHandle handle;
    std::wstring name;
    [[maybe_unused]] std::uint32_t reserved = 0; ///< only reserves room
    [[maybe_unused]] bool initialState;          ///< as it was asked for; read by nothing yet
};
