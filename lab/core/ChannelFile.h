// The file that holds a channel's events, and their form in it.
#pragma once

#include "EventChannel.h"
#include "Owners.h"

namespace PalvoLab
{

struct FileHeader
{
    std::uint64_t nextRecordId = 1;
    std::uint32_t generation = 0;
    std::uint32_t recordCount = 0; // of those that are kept
};

// One event as bytes, and back. Reading keeps the event's buffers and gives the size of the record.
std::string ToBytes(const Event& event);
std::size_t TakeEvent(const char* at, Event& event);

// The least size of a record.
std::size_t SmallestRecord();

class ChannelFile
{
public:
    explicit ChannelFile(const std::wstring& path)
        : m_file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        DWORD read = 0;
        FileHeader header;
        if (ReadFile(m_file.Get(), &header, sizeof header, &read, nullptr) && read == sizeof header)
        {
            m_header = header;
        }
    }

    FileHeader& Header() { return m_header; }

    std::uint64_t Size() const
    {
        LARGE_INTEGER size = {};
        GetFileSizeEx(m_file.Get(), &size);
        return static_cast<std::uint64_t>(size.QuadPart);
    }

    std::string Records() const
    {
        const std::uint64_t size = Size();
        if (size <= sizeof(FileHeader))
        {
            return {};
        }
        std::string bytes(static_cast<std::size_t>(size - sizeof(FileHeader)), '\0');
        MoveTo(sizeof(FileHeader));
        DWORD read = 0;
        ReadFile(m_file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
        bytes.resize(read);
        return bytes;
    }

    void WriteHeader() const
    {
        MoveTo(0);
        DWORD written = 0;
        WriteFile(m_file.Get(), &m_header, sizeof m_header, &written, nullptr);
    }

    void Append(const std::string& bytes) const
    {
        const std::uint64_t size = Size();
        MoveTo(size < sizeof(FileHeader) ? sizeof(FileHeader) : size);
        DWORD written = 0;
        WriteFile(m_file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }

    void Replace(const std::string& bytes) const
    {
        MoveTo(sizeof(FileHeader));
        SetEndOfFile(m_file.Get());
        Append(bytes);
    }

private:
    void MoveTo(std::uint64_t position) const
    {
        LARGE_INTEGER to = {};
        to.QuadPart = static_cast<LONGLONG>(position);
        SetFilePointerEx(m_file.Get(), to, nullptr, FILE_BEGIN);
    }

    FileHandle m_file;
    FileHeader m_header;
};

} // namespace PalvoLab
