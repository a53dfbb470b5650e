// Reads an XML document event by event, as the caller asks for them.
//
// Well-formed documents of XML 1.0 and 1.1 in UTF-8, UTF-16, ISO-10646-UCS-4, ISO-8859-1 and what else the library
// knows; names and text come as UTF-8. Nothing is validated, no namespace is resolved and nothing outside of the
// document is ever opened. An encoding declaration that contradicts the bytes is an error, and so is a document whose
// entities and default attributes add more than about a million characters to it, and, in UCS-4 alone, a character
// beyond U+FFFF before the first '>'.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace xml {

enum class XmlEvent : std::uint8_t {
    Start,    // of an element: name() and attributes()
    End,      // of the innermost open element, an empty one too
    Text,     // inside the root element: text(); one run may come in several pieces
    Comment,  // anywhere: text()
    Finished,
    Failed,
};

struct XmlAttribute {
    std::string name;
    std::string value;
};

// One thread at a time; readers share nothing, so threads may read at once. The bytes must outlive the reader, which
// may be dropped at any point of the document.
class XmlReader {
public:
    XmlReader(const void* bytes, std::size_t length);
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;
    ~XmlReader();

    // Finished and Failed repeat. What precedes a failure has been handed out by then.
    XmlEvent next();

    // Of the last event, until the next one. Names are qualified, as they stand in the document.
    const std::string& name() const;
    const std::string& text() const;
    const std::vector<XmlAttribute>& attributes() const;

private:
    class Parser;
    std::unique_ptr<Parser> parser_;
};

}  // namespace xml
