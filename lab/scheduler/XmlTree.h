// XML as a tree, read by the system's own parser.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace PalvoLab
{

struct XmlElement
{
    std::wstring name;
    std::wstring text; // all its text, that of its children excluded
    std::vector<std::pair<std::wstring, std::wstring>> attributes;
    std::vector<XmlElement> children;

    // Null when it has no such attribute.
    const std::wstring* Attribute(const std::wstring& attribute) const;
};

// The root element; nothing when the text is not well formed.
std::optional<XmlElement> ParseXml(const std::wstring& text);

// A text with the characters replaced that mean something in XML.
std::wstring EscapeXml(const std::wstring& text);

} // namespace PalvoLab
