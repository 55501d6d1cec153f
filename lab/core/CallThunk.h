// A stand-in for any function, whatever its parameters: it counts calls, lets most pass to the real
// function untouched, and answers some itself.
#pragma once

#include <cstdint>
#include <string>

namespace PalvoLab
{

// Decides about one call. True: the call is answered with `result` and the real function does not
// run. The last-error value and errno that it leaves are those that the caller sees.
class CallDecision
{
public:
    virtual ~CallDecision() = default;
    virtual bool Answer(std::uint64_t& result) = 0;
};

// Makes the code of a stand-in that passes to `target`. Both live until the process ends.
void* CreateCallThunk(void* target, CallDecision* decision);

} // namespace PalvoLab
