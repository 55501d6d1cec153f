// Faults: "the N-th call of function F fails with error E, once or from then on".
//
// A fault names a function by its name alone. It works for every function that the program imports,
// whether the lab has a double for it or not, because it stands in front of both. Calls are counted
// per process.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace PalvoLab
{

// How a function says that it failed.
enum class FailureStyle
{
    ZeroAndLastError,    // FALSE or null, and the last-error value
    InvalidHandle,       // INVALID_HANDLE_VALUE and the last-error value
    AllOnesAndLastError, // 0xFFFFFFFF (WAIT_FAILED and its like) and the last-error value
    ReturnsError,        // the error itself
    ReturnsResult,       // an HRESULT
    CrtZero,             // null or 0, and errno
    CrtMinusOne,         // -1 or EOF, and errno
    CannotFail,          // nothing to return, or never failing
};

// The style of a function; what no table names is ZeroAndLastError.
FailureStyle StyleOf(const std::string& function);

// A read that succeeds and gives something else than what is stored.
struct OddRead
{
    bool wrongType = false;  // data of another type
    std::uint32_t bytes = 0; // else: at most so many
};

struct FaultAction
{
    bool kill = false;              // end the process at this call
    std::uint64_t result = 0;       // what the call returns
    std::uint32_t lastError = 0;    // the last-error value after it
    std::optional<int> errorNumber; // errno after it
    std::optional<OddRead> read;    // the call is not answered; its double reads this
};

struct Fault
{
    std::wstring function;
    std::uint32_t nth = 1;
    std::wstring error;  // as given: "5", "0x80070005", "return=258", "return=1,error=5", "kill",
                         // and of calls that read "bytes=3", "wrong-type"
    bool always = false; // from the N-th call on
};

// The action for an error text; nothing when the text is none, or the function cannot fail so.
std::optional<FaultAction> ParseFault(const std::string& function, const std::wstring& error);

// The faults that are in force for processes started from now on.
std::vector<Fault> LoadFaults();
void AddFault(const Fault& fault);
void ClearFaults();

// A fault for one process alone, as "<function> <nth> <error> [always]", in its environment.
inline constexpr wchar_t kFaultVariable[] = L"PALVOLAB_FAULT";

} // namespace PalvoLab
