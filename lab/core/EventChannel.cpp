#include "EventChannel.h"

#include "ChannelFile.h"
#include "LabState.h"
#include "Text.h"

#include <cstring>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kEventLock[] = L"Global\\PalvoLabEvents";

const wchar_t* const kChannels[] = {
    L"Application", L"Microsoft-Windows-PrintService/Admin", kPrintChannel, kSecurityChannel,
    L"System",
};

// How many bytes of the oldest records have to go, so that the rest is at most `limit` bytes.
std::size_t OldestBytes(const std::string& records, std::uint64_t limit)
{
    std::size_t at = 0;
    while (at < records.size() && records.size() - at > limit)
    {
        std::uint32_t size = 0;
        std::memcpy(&size, records.data() + at, sizeof size);
        if (size == 0)
        {
            return records.size(); // torn: nothing behind it can be read
        }
        at += size;
    }
    return at;
}

std::wstring ConfigKey(const std::wstring& channel)
{
    return L"Channels\\" + channel;
}

} // namespace

EventChannel::EventChannel(std::wstring name) : m_name(std::move(name)) {}

std::optional<EventChannel> EventChannel::Find(std::wstring_view name)
{
    for (const wchar_t* channel : kChannels)
    {
        if (EqualNoCase(channel, name))
        {
            return EventChannel(channel);
        }
    }
    return std::nullopt;
}

std::vector<std::wstring> EventChannel::Names()
{
    return {std::begin(kChannels), std::end(kChannels)};
}

const std::wstring& EventChannel::Name() const
{
    return m_name;
}

std::wstring EventChannel::FilePath() const
{
    std::wstring file = m_name;
    for (wchar_t& c : file)
    {
        c = c == L'/' ? L'_' : c;
    }
    return DataFolder() + file + L".events";
}

ChannelConfig EventChannel::Config() const
{
    ChannelConfig config;
    const LabKey key = OpenStateKey(ConfigKey(m_name));
    config.enabled = key.Number(L"Enabled").value_or(config.enabled ? 1 : 0) != 0;
    config.retention = key.Number(L"Retention").value_or(config.retention ? 1 : 0) != 0;
    if (const auto size = key.String(L"MaxSize"))
    {
        config.maxSize = ParseNumber(*size).value_or(config.maxSize);
    }
    return config;
}

void EventChannel::SaveConfig(const ChannelConfig& config) const
{
    const LabLock lock(kEventLock);
    const LabKey key = CreateStateKey(ConfigKey(m_name));
    key.SetNumber(L"Enabled", config.enabled ? 1 : 0);
    key.SetNumber(L"Retention", config.retention ? 1 : 0);
    key.SetString(L"MaxSize", std::to_wstring(config.maxSize));
}

std::size_t EventChannel::Append(std::vector<Event> events) const
{
    const LabLock lock(kEventLock);
    const ChannelConfig config = Config();
    if (!config.enabled)
    {
        return 0;
    }
    ChannelFile file(FilePath());
    const std::uint64_t used = file.Size();
    std::string added;
    std::size_t count = 0;
    for (Event& event : events)
    {
        event.recordId = file.Header().nextRecordId;
        event.time = event.time == 0 ? Now() : event.time;
        const std::string bytes = ToBytes(event);
        if (config.retention && used + added.size() + bytes.size() > config.maxSize)
        {
            break;
        }
        added += bytes;
        ++file.Header().nextRecordId;
        ++count;
    }
    file.WriteHeader();
    if (used + added.size() > config.maxSize)
    {
        // Overwriting a little more than needed keeps the next events from rewriting the file.
        const std::string all = file.Records() + added;
        file.Replace(all.substr(OldestBytes(all, config.maxSize - config.maxSize / 16)));
    }
    else
    {
        file.Append(added);
    }
    return count;
}

std::vector<Event> EventChannel::Select(const XPath* query) const
{
    std::string records;
    {
        const LabLock lock(kEventLock);
        records = ChannelFile(FilePath()).Records();
    }
    std::vector<Event> selected;
    EventTree tree;
    Event event;
    for (std::size_t at = 0; at + SmallestRecord() <= records.size();)
    {
        at += TakeEvent(records.data() + at, event);
        if (query != nullptr)
        {
            FillTree(event, m_name, tree);
            if (!query->Selects(tree))
            {
                continue;
            }
        }
        selected.push_back(event);
    }
    return selected;
}

void EventChannel::Clear() const
{
    const LabLock lock(kEventLock);
    ChannelFile file(FilePath());
    ++file.Header().generation;
    file.WriteHeader();
    file.Replace({});
}

std::uint32_t EventChannel::Generation() const
{
    const LabLock lock(kEventLock);
    return ChannelFile(FilePath()).Header().generation;
}

void EventChannel::Reset() const
{
    const LabLock lock(kEventLock);
    DeleteFileW(FilePath().c_str());
    RemoveStateKey(ConfigKey(m_name));
}

} // namespace PalvoLab
