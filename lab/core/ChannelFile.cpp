#include "ChannelFile.h"

#include <cstring>

namespace PalvoLab
{
namespace
{

// A record: this, then the texts one after the other, each with its length in front.
struct RecordHeader
{
    std::uint32_t size;
    std::uint16_t id;
    std::uint16_t qualifiers;
    std::uint64_t recordId;
    std::uint64_t time;
    std::uint16_t parameterCount;
    std::uint8_t hasQualifiers;
    std::uint8_t level;
    std::uint32_t reserved;
};

void PutText(std::string& bytes, const std::wstring& text)
{
    const auto length = static_cast<std::uint32_t>(text.size());
    bytes.append(reinterpret_cast<const char*>(&length), sizeof length);
    bytes.append(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

std::wstring TakeText(const char*& at)
{
    std::uint32_t length = 0;
    std::memcpy(&length, at, sizeof length);
    at += sizeof length;
    std::wstring text(length, L'\0');
    std::memcpy(text.data(), at, length * sizeof(wchar_t));
    at += length * sizeof(wchar_t);
    return text;
}

} // namespace

std::string ToBytes(const Event& event)
{
    RecordHeader header = {};
    header.id = event.id;
    header.qualifiers = event.qualifiers.value_or(0);
    header.hasQualifiers = event.qualifiers ? 1 : 0;
    header.recordId = event.recordId;
    header.time = event.time;
    header.level = event.level;
    header.parameterCount = static_cast<std::uint16_t>(event.parameters.size());
    std::string bytes(sizeof header, '\0');
    PutText(bytes, event.element);
    for (const auto& [name, value] : event.parameters)
    {
        PutText(bytes, name);
        PutText(bytes, value);
    }
    header.size = static_cast<std::uint32_t>(bytes.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

std::size_t TakeEvent(const char* at, Event& event)
{
    RecordHeader header = {};
    std::memcpy(&header, at, sizeof header);
    event.recordId = header.recordId;
    event.time = header.time;
    event.id = header.id;
    event.level = header.level;
    event.qualifiers = header.hasQualifiers != 0 ? std::optional(header.qualifiers) : std::nullopt;
    const char* text = at + sizeof header;
    event.element = TakeText(text);
    event.parameters.resize(header.parameterCount);
    for (auto& [name, value] : event.parameters)
    {
        name = TakeText(text);
        value = TakeText(text);
    }
    return header.size;
}

std::size_t SmallestRecord()
{
    return sizeof(RecordHeader);
}

} // namespace PalvoLab
