// Whether a user sees the process, and messages that a program showed or sent, as lines for
// `palvo-lab show messages`.
#pragma once

#include <cstdint>
#include <string>

namespace PalvoLab
{

// A message sent to a session. The texts are as long as the given byte counts say.
void RecordSentMessage(std::uint32_t session, const std::wstring& title, std::uint32_t titleBytes,
                       const std::wstring& text, std::uint32_t textBytes, std::uint32_t style);

// A message box of the process itself, and what it returned.
void RecordMessageBox(const std::wstring& title, const std::wstring& text, std::uint32_t style,
                      int result);

// Whether what the process shows can be seen.
bool HasVisibleStation();

} // namespace PalvoLab
