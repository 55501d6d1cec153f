#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>

/// Runs `work`. When it ends at a trap of undefined behaviour, an assertion of the library or
/// another fault, tells at which; what it held is not given back then.
std::optional<std::string> FaultOf(const std::function<void()>& work);

/// What `work` gives; how it ended when it did not come to its own end.
template <class Work> std::optional<std::string> Guarded(Work work)
{
    std::optional<std::string> result;
    const auto fault = FaultOf(
        [&]
        {
            try
            {
                result = work();
            }
            catch (const std::exception& exception)
            {
                result = std::string("an exception: ") + exception.what();
            }
        });
    return fault ? fault : result;
}
