#include "TestLog.h"

std::wstring MessageOf(const std::wstring& line)
{
    const std::size_t end = line.find(L"): ");
    return end == std::wstring::npos ? L"NO LOG LINE: " + line : line.substr(end + 3);
}

std::vector<std::wstring> LinesOf(const std::string& bytes)
{
    std::vector<std::wstring> lines;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = bytes.find("\r\n", start)) != std::string::npos;
         start = end + 2)
    {
        const int length = static_cast<int>(end - start);
        std::wstring line(end - start, L'\0');
        const int size =
            MultiByteToWideChar(CP_ACP, 0, bytes.data() + start, length, line.data(), length);
        line.resize(static_cast<std::size_t>(size));
        lines.push_back(line);
    }
    if (start != bytes.size())
    {
        lines.push_back(L"A LINE WITHOUT AN END");
    }
    return lines;
}

std::vector<std::wstring> TestLog::Messages() const
{
    std::vector<std::wstring> messages;
    for (const std::wstring& line : LinesOf(FileBytes(log.Path())))
    {
        messages.push_back(MessageOf(line));
    }
    return messages;
}

LogJournal::LogJournal(Journal& target)
    : writeFile(
          [&target](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written,
                    LPOVERLAPPED overlapped)
          {
              for (const std::wstring& line :
                   LinesOf(std::string(static_cast<const char*>(bytes), size)))
              {
                  target.push_back(L"log: " + MessageOf(line));
              }
              return decltype(writeFile)::Original(file, bytes, size, written, overlapped);
          })
{
}
