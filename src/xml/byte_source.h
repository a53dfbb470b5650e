// A document in memory as the XML library reads it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>

namespace xml {

// Puts the byte order mark in front of wide encodings that lack it, without which the library takes a document that
// has no declaration either for UTF-8.
class ByteSource final : public xercesc::InputSource {
public:
    // The bytes must outlive the source.
    explicit ByteSource(std::string_view bytes);

    xercesc::BinInputStream* makeStream() const override;

    // Whether the bytes hold a zero character, or a part of one at their end, by the width that the marks tell. The
    // library takes either for the end of the document when it comes behind the root.
    bool holdsFalseEnd() const;
    // The same for the part of a character that ends a document in UTF-8.
    bool endsInPartOfUtf8() const;
    // A document in UTF-8 whose prolog certainly has no document type, and so neither entities nor default attributes,
    // and of whose elements none has more than some hundreds of attributes.
    bool isPlain() const;

private:
    std::size_t width() const;

    std::string_view mark_;
    std::string_view bytes_;
};

}  // namespace xml
