#pragma once

#include "Owners.h"

#include <array>
#include <map>
#include <string>

/// A process that was made from a program file and whose own code has not begun to run. It is ended
/// with this object. Every operation throws std::runtime_error when Windows does not do it.
class SuspendedProcess
{
public:
    /// `folder` becomes the current folder.
    SuspendedProcess(const std::wstring& program, const std::wstring& folder);
    SuspendedProcess(const SuspendedProcess&) = delete;
    SuspendedProcess& operator=(const SuspendedProcess&) = delete;

    /// Memory in the process, filled with zeros.
    [[nodiscard]] std::uint64_t Allocate(std::size_t size) const;

    /// Calls the function that the pointer at `slot` leads to, on a thread of its own.
    void CallThrough(std::uint64_t slot, const std::array<std::uint64_t, 4>& arguments) const;

    [[nodiscard]] std::uint64_t ReadPointer(std::uint64_t address) const;

    /// Where the program itself lies in memory.
    [[nodiscard]] std::uint64_t ProgramBase() const;

    /// The full path of every module by its address.
    [[nodiscard]] std::map<std::uint64_t, std::wstring> Modules() const;

    /// The full path of the module in which an address lies; empty when there is none.
    [[nodiscard]] std::wstring ModuleOf(std::uint64_t address) const;

private:
    /// Ends the process that a handle leads to, before the handle is closed: also when the rest of
    /// the constructor fails, after which no destructor of the whole object runs.
    class Ending
    {
    public:
        explicit Ending(const KernelHandle& ended) : process(ended) {}
        ~Ending();
        Ending(const Ending&) = delete;
        Ending& operator=(const Ending&) = delete;

    private:
        const KernelHandle& process;
    };

    KernelHandle process;
    Ending ending{process};
    KernelHandle thread;
    std::wstring program;
};
