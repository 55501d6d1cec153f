#include "StandardOutput.h"

#include "Text.h"

#include <cstdio>

namespace StandardOutput
{
void Write(const std::wstring& text)
{
    // Write it in one call: fputs queries the console mode for each character.
    const std::string bytes = ToCodePage(text);
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    // So that the text is out even if the run is ended.
    std::fflush(stdout);
}
} // namespace StandardOutput
