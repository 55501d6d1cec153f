#include "XmlTree.h"

#include "WindowsHeaders.h"

#include <ole2.h>
#include <xmllite.h>

namespace PalvoLab
{
namespace
{

constexpr IID kReaderId = {
    0x7279fc81, 0x709d, 0x4095, {0xb6, 0x3d, 0x69, 0xfe, 0x4b, 0x0d, 0x90, 0x30}};

// mingw-w64 has XmlLite's header but no import library for it.
HRESULT MakeReader(void** reader)
{
    static const auto make = reinterpret_cast<decltype(&CreateXmlReader)>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"xmllite.dll"), "CreateXmlReader")));
    return make == nullptr ? E_NOTIMPL : make(kReaderId, reader, nullptr);
}

template <typename Interface> class Held
{
public:
    Held() = default;
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

    ~Held()
    {
        if (m_object != nullptr)
        {
            m_object->Release();
        }
    }

    Interface* operator->() const { return m_object; }

    Interface* Get() const { return m_object; }

    Interface** Receive() { return &m_object; }

private:
    Interface* m_object = nullptr;
};

std::string ToUtf8(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

bool Open(const std::string& bytes, Held<IStream>& stream, Held<IXmlReader>& reader)
{
    if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Receive())) ||
        FAILED(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr)) ||
        FAILED(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr)))
    {
        return false;
    }
    void* made = nullptr;
    if (FAILED(MakeReader(&made)))
    {
        return false;
    }
    *reader.Receive() = static_cast<IXmlReader*>(made);
    return SUCCEEDED(reader->SetInput(stream.Get()));
}

std::wstring LocalName(const Held<IXmlReader>& reader)
{
    const WCHAR* name = nullptr;
    return SUCCEEDED(reader->GetLocalName(&name, nullptr)) && name != nullptr ? name : L"";
}

std::wstring ValueOf(const Held<IXmlReader>& reader)
{
    const WCHAR* value = nullptr;
    return SUCCEEDED(reader->GetValue(&value, nullptr)) && value != nullptr ? value : L"";
}

XmlElement ReadStart(const Held<IXmlReader>& reader)
{
    XmlElement element;
    element.name = LocalName(reader);
    for (HRESULT result = reader->MoveToFirstAttribute(); result == S_OK;
         result = reader->MoveToNextAttribute())
    {
        element.attributes.emplace_back(LocalName(reader), ValueOf(reader));
    }
    reader->MoveToElement();
    return element;
}

} // namespace

const std::wstring* XmlElement::Attribute(const std::wstring& attribute) const
{
    for (const auto& [key, value] : attributes)
    {
        if (key == attribute)
        {
            return &value;
        }
    }
    return nullptr;
}

std::optional<XmlElement> ParseXml(const std::wstring& text)
{
    const std::string bytes = ToUtf8(text);
    Held<IStream> stream;
    Held<IXmlReader> reader;
    if (!Open(bytes, stream, reader))
    {
        return std::nullopt;
    }
    std::vector<XmlElement> open(1); // the document, then the elements that are open
    XmlNodeType type = XmlNodeType_None;
    HRESULT result = S_OK;
    const auto close = [&open]
    {
        XmlElement done = std::move(open.back());
        open.pop_back();
        open.back().children.push_back(std::move(done));
    };
    while ((result = reader->Read(&type)) == S_OK)
    {
        if (type == XmlNodeType_Element)
        {
            const bool isEmpty = reader->IsEmptyElement() != FALSE;
            open.push_back(ReadStart(reader));
            if (isEmpty)
            {
                close();
            }
        }
        else if (type == XmlNodeType_EndElement)
        {
            close();
        }
        else if (type == XmlNodeType_Text || type == XmlNodeType_CDATA)
        {
            open.back().text += ValueOf(reader);
        }
    }
    if (result != S_FALSE || open.size() != 1 || open[0].children.size() != 1)
    {
        return std::nullopt;
    }
    return std::move(open[0].children[0]);
}

std::wstring EscapeXml(const std::wstring& text)
{
    std::wstring escaped;
    for (const wchar_t c : text)
    {
        switch (c)
        {
        case L'&':
            escaped += L"&amp;";
            break;
        case L'<':
            escaped += L"&lt;";
            break;
        case L'>':
            escaped += L"&gt;";
            break;
        case L'"':
            escaped += L"&quot;";
            break;
        default:
            escaped += c;
            break;
        }
    }
    return escaped;
}

} // namespace PalvoLab
