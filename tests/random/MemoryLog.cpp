#include "MemoryLog.h"

#include "CodeText.h"

namespace
{
/// Nobody else's handle.
HANDLE LogHandle()
{
    return reinterpret_cast<HANDLE>(0x50000000);
}

/// A message as it stands in the file: in the machine's code page, with its default character for
/// what it cannot hold and a carriage return before every line feed.
std::string InTheFile(const std::wstring& message)
{
    const int length = static_cast<int>(message.size());
    std::string narrow(message.size() * 4, '\0');
    const int size =
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, message.data(), length, narrow.data(),
                            static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(size));
    std::string bytes;
    for (const char character : narrow + "\n")
    {
        bytes += character == '\n' ? "\r\n" : std::string(1, character);
    }
    return bytes;
}
} // namespace

MemoryLog::MemoryLog()
    : log(folder.Path(), L"Random"),
      createFile(
          [this](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                 DWORD disposition, DWORD flags, HANDLE pattern)
          {
              return name == log.Path()
                         ? LogHandle()
                         : decltype(createFile)::Original(name, access, share, security,
                                                          disposition, flags, pattern);
          }),
      standardInfo(
          [](HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID result, DWORD size)
          {
              if (file != LogHandle())
              {
                  return decltype(standardInfo)::Original(file, kind, result, size);
              }
              *static_cast<FILE_STANDARD_INFO*>(result) = {{}, {}, 1, FALSE, FALSE};
              return TRUE;
          }),
      information(
          [](HANDLE file, LPBY_HANDLE_FILE_INFORMATION result)
          {
              if (file != LogHandle())
              {
                  return decltype(information)::Original(file, result);
              }
              *result = {};
              return TRUE;
          }),
      finalPath(
          [this](HANDLE file, LPWSTR buffer, DWORD size, DWORD flags)
          {
              if (file != LogHandle())
              {
                  return decltype(finalPath)::Original(file, buffer, size, flags);
              }
              const std::wstring path = L"\\\\?\\" + log.Path();
              path.copy(buffer, size);
              return static_cast<DWORD>(path.size());
          }),
      writeFile(
          [this](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
          {
              if (file != LogHandle())
              {
                  return decltype(writeFile)::Original(file, bytes, size, written, overlapped);
              }
              lines.emplace_back(static_cast<const char*>(bytes), size);
              *written = size;
              return TRUE;
          }),
      closeHandle(
          [](HANDLE handle)
          { return handle == LogHandle() ? TRUE : decltype(closeHandle)::Original(handle); }),
      wait([](HANDLE, DWORD) { return WAIT_OBJECT_0; }),
      releaseMutex([](HANDLE) { return TRUE; })
{
}

std::optional<std::string> MemoryLog::Difference(const std::vector<std::wstring>& messages) const
{
    static constexpr std::string_view BeforeMessage = "): ";
    for (std::size_t i = 0; i < std::max(lines.size(), messages.size()); ++i)
    {
        if (i >= lines.size())
        {
            return "a log line is missing: " + CodeText(messages[i]);
        }
        const std::size_t end = lines[i].find(BeforeMessage);
        const std::string logged =
            end == std::string::npos ? lines[i] : lines[i].substr(end + BeforeMessage.size());
        if (i >= messages.size())
        {
            return "a log line too many: " + CodeText(logged);
        }
        if (logged != InTheFile(messages[i]))
        {
            return "logged " + CodeText(logged) + "\nnot " + CodeText(InTheFile(messages[i]));
        }
    }
    return std::nullopt;
}
