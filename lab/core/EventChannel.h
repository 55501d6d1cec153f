// The event channels of the lab: events with record ids that are never used twice, kept in files.
#pragma once

#include "XPath.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace PalvoLab
{

inline constexpr wchar_t kPrintChannel[] = L"Microsoft-Windows-PrintService/Operational";
inline constexpr wchar_t kSecurityChannel[] = L"Security";

struct Event
{
    std::uint64_t recordId = 0; // given by the channel
    std::uint64_t time = 0;     // 100 ns units since 1601
    std::uint16_t id = 0;
    std::optional<std::uint16_t> qualifiers;
    std::uint8_t level = 4;

    // The element under UserData that holds the parameters ("PrinterCreated"). Empty: the
    // parameters are Data elements with names, under EventData.
    std::wstring element;
    std::vector<std::pair<std::wstring, std::wstring>> parameters;
};

// The tree of an event, as its XML would have it. Its texts look into the event and the channel's
// name.
void FillTree(const Event& event, std::wstring_view channel, EventTree& tree);

// What the log knows about a channel, and what `EvtSetChannelConfigProperty` changes.
struct ChannelConfig
{
    bool enabled = true;
    bool retention = false;           // true: a full channel takes no more events
    std::uint64_t maxSize = 67108864; // bytes
};

// One channel. Every call is serialised between processes.
class EventChannel
{
public:
    // Nothing when there is no channel of that name (names ignore case).
    static std::optional<EventChannel> Find(std::wstring_view name);
    static std::vector<std::wstring> Names();

    const std::wstring& Name() const;

    ChannelConfig Config() const;
    void SaveConfig(const ChannelConfig& config) const;

    // Appends events, giving each the next record id and, where it has none, the present time.
    // A disabled channel records nothing. Returns the number of events that were recorded.
    std::size_t Append(std::vector<Event> events) const;

    // All events that the query selects, oldest first. `query` may be null for all.
    std::vector<Event> Select(const XPath* query) const;

    // Removes the events. Record ids go on counting.
    void Clear() const;

    // Changes whenever the channel is cleared: a result set from before is stale.
    std::uint32_t Generation() const;

    // Forgets everything, the record ids too.
    void Reset() const;

private:
    explicit EventChannel(std::wstring name);

    std::wstring FilePath() const;

    std::wstring m_name;
};

// The spooler's and the security log's own events.
Event PrinterCreatedEvent(const std::wstring& printer);
Event PrinterSetEvent(const std::wstring& printer);
Event LogonEvent(const std::wstring& user, const std::wstring& domain, unsigned logonType);

} // namespace PalvoLab
