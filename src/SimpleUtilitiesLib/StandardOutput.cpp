#include "StandardOutput.h"

#include "Text.h"

#include <cstdio>

namespace StandardOutput
{
void Write(const std::wstring& text)
{
    // In one go: fputs asks for the console's mode with every character.
    const std::string bytes = ToCodePage(text);
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    // A run that ends in the middle has still said what it did.
    std::fflush(stdout);
}
} // namespace StandardOutput
