#include "EventChannel.h"

#include "ChannelFile.h"
#include "LabLock.h"
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

// What a record takes in Windows's file beside the bytes that it has in the lab's: about a thousand
// printer events fill a channel of 1 MiB.
constexpr std::uint64_t kRecordOverhead = 900;

std::uint64_t SizeInWindows(std::uint64_t bytes, std::uint64_t count)
{
    return bytes + count * kRecordOverhead;
}

// Removes the oldest records, so that the rest counts at most `limit` bytes.
void RemoveOldest(std::string& records, std::uint32_t& count, std::uint64_t limit)
{
    std::size_t at = 0;
    while (at < records.size() && SizeInWindows(records.size() - at, count) > limit)
    {
        std::uint32_t size = 0;
        std::memcpy(&size, records.data() + at, sizeof size);
        if (size == 0)
        {
            at = records.size(); // torn: nothing behind it can be read
            count = 0;
            break;
        }
        at += size;
        --count;
    }
    records.erase(0, at);
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
    const std::uint64_t used = SizeInWindows(file.Size(), file.Header().recordCount);
    std::string added;
    std::uint32_t count = 0;
    for (Event& event : events)
    {
        event.recordId = file.Header().nextRecordId;
        event.time = event.time == 0 ? Now() : event.time;
        const std::string bytes = ToBytes(event);
        if (config.retention &&
            used + SizeInWindows(added.size() + bytes.size(), count + 1) > config.maxSize)
        {
            break;
        }
        added += bytes;
        ++file.Header().nextRecordId;
        ++count;
    }
    file.Header().recordCount += count;
    const bool isFull = used + SizeInWindows(added.size(), count) > config.maxSize;
    if (isFull)
    {
        // Overwriting a little more than needed keeps the next events from rewriting the file.
        added.insert(0, file.Records());
        RemoveOldest(added, file.Header().recordCount, config.maxSize - config.maxSize / 16);
    }
    file.WriteHeader();
    isFull ? file.Replace(added) : file.Append(added);
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
    file.Header().recordCount = 0;
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
