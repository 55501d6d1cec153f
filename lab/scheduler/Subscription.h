// The event query of a trigger: which events of which channels start its task.
#pragma once

#include "EventChannel.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

// Why a subscription was refused.
struct SubscriptionError
{
    bool isNoXml = false;
    std::wstring reason;
};

class Subscription
{
public:
    // Reads a query list. Nothing when the text is no well-formed XML, or holds anything that the
    // lab could not obey: better refused than never matched.
    static std::optional<Subscription> Parse(const std::wstring& xml,
                                             SubscriptionError* error = nullptr);

    // The channels that it names, each once.
    std::vector<std::wstring> Channels() const;

    // Whether an event of a channel is one of those that it selects.
    bool Selects(const Event& event, std::wstring_view channel) const;

private:
    struct Select
    {
        std::wstring channel;
        std::shared_ptr<const XPath> condition;
    };

    std::vector<Select> m_selects;
};

} // namespace PalvoLab
