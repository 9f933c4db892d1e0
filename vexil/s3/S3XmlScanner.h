#pragma once

#include <cstddef>
#include <string_view>

namespace vexil {

/// Gets what a document has, in its order. Its functions may throw: the exception ends the scan.
class IS3XmlHandler {
public:
    virtual void beginElement(std::string_view name) = 0;
    virtual void endElement(std::string_view name) = 0;
    /// A piece of text inside an element, in UTF-8, as the parser splits it: line ends and references are
    /// pieces of their own.
    virtual void addText(std::string_view piece) = 0;
    virtual void beginCDATA() = 0;
    virtual void endCDATA() = 0;
    /// A comment or a processing instruction inside an element separates two texts.
    virtual void divideText() = 0;

protected:
    IS3XmlHandler() = default;
    IS3XmlHandler(const IS3XmlHandler&) = default;
    IS3XmlHandler& operator=(const IS3XmlHandler&) = default;
    ~IS3XmlHandler() = default;
};

/// Reads an XML document of any encoding that expat or wxWidgets knows. Leaves attributes out, expands no
/// entities of the document, and limits depth, number of elements and length of texts. Any thread: there is
/// no lock, unless the document declares an encoding that expat does not know.
/// \param error  set on failure to the end of a message, usually "invalid XML."; unchanged on success
/// \return false on failure
[[nodiscard]] bool scanXml(std::string_view document, IS3XmlHandler& handler, const char*& error);

/// Length in bytes of the UTF-8 character that begins with this byte.
[[nodiscard]] constexpr std::size_t getCharacterLength(unsigned char first) noexcept {
    return first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

}  // namespace vexil
