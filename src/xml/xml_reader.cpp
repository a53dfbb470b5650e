#include "xml/xml_reader.h"

#include <string_view>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "xml/byte_source.h"
#include "xml/library.h"
#include "xml/transcode.h"

namespace xml {

namespace {

using xercesc::XMLString;
using xercesc::XMLUni;

// What entities and default attributes may add to a document, by number of uses, by the length of one, and in all.
constexpr XMLSize_t maximumEntityUses = 10'000;
constexpr XMLSize_t maximumEntityLength = 4'096;
constexpr std::size_t maximumAddition = 1'048'576;

// Ends the parsing from within a callback.
struct Refusal {};

struct Event {
    XmlEvent kind = XmlEvent::Failed;
    std::string text;
    std::vector<XmlAttribute> attributes;
};

bool isHighSurrogate(XMLCh unit) { return unit >= 0xD800 && unit < 0xDC00; }

}  // namespace

// The library's progressive parser. One step of it can give several events, which wait in a queue whose entries are
// used again. The overrides are the scanner's own callbacks, which saves the detour by the SAX interface.
class XmlReader::Parser final : public xercesc::SAX2XMLReaderImpl {
public:
    explicit Parser(std::string_view bytes)
        : source_(bytes),
          allowance_(bytes.size() + maximumAddition),
          hasUtf8Mark_(bytes.starts_with("\xEF\xBB\xBF")),
          ended_(source_.holdsFalseEnd()) {
        for (const XMLCh* feature : {XMLUni::fgSAX2CoreValidation, XMLUni::fgSAX2CoreNameSpaces, XMLUni::fgXercesSchema,
                                     XMLUni::fgXercesLoadExternalDTD, XMLUni::fgXercesCalculateSrcOfs}) {
            setFeature(feature, false);
        }
        setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
        // The scanner calls back only for what somebody listens to.
        setContentHandler(&listener_);
        setErrorHandler(&listener_);
        setEntityResolver(&listener_);
        setDeclarationHandler(&listener_);
        limits_.setEntityExpansionLimit(maximumEntityUses);
        setProperty(XMLUni::fgXercesSecurityManager, &limits_);
        // The default scanner, which knows schemas, is slower and takes three times the memory for each open element.
        // The one for mere well-formedness is the fastest, but passes over a document type and loses its entities, and
        // compares each attribute of an element with each.
        const XMLCh* const scanner = source_.isPlain() ? XMLUni::fgWFXMLScanner : XMLUni::fgDGXMLScanner;
        setProperty(XMLUni::fgXercesScannerName, const_cast<XMLCh*>(scanner));
    }

    const Event& next() {
        ++current_;
        while (current_ >= count_) {
            current_ = count_ = 0;
            if (!step()) {
                add(finished_ ? XmlEvent::Finished : XmlEvent::Failed);
            }
        }
        return queue_[current_];
    }

    const Event& current() const { return queue_[current_]; }

private:
    bool step() {
        if (ended_) {
            return false;
        }
        try {
            const bool goesOn = begun_ ? parseNext(token_) : parseFirst(source_, token_);
            begun_ = true;
            ended_ = !goesOn;
            // The last step has events of its own.
            return goesOn || count_ > 0;
        } catch (const Refusal&) {
        } catch (const xercesc::XMLException&) {
        } catch (const xercesc::OutOfMemoryException&) {
        }
        ended_ = true;
        finished_ = false;
        return count_ > 0;
    }

    Event& add(XmlEvent kind) {
        if (count_ == queue_.size()) {
            queue_.emplace_back();
        }
        Event& event = queue_[count_++];
        event.kind = kind;
        event.text.clear();
        event.attributes.clear();
        return event;
    }

    void spend(std::size_t characters) {
        if (characters > allowance_) {
            throw Refusal();
        }
        allowance_ -= characters;
    }

    void addText(const XMLCh* characters, XMLSize_t length) {
        const bool continues = count_ > 0 && queue_[count_ - 1].kind == XmlEvent::Text;
        appendUtf8((continues ? queue_[count_ - 1] : add(XmlEvent::Text)).text, characters, length);
    }

    void docCharacters(const XMLCh* const characters, const XMLSize_t length, const bool /*cdata*/) override {
        if (depth_ == 0 || length == 0) {
            return;
        }
        spend(length);
        // A piece may end between the two halves of a pair.
        const bool endsInPair = isHighSurrogate(characters[length - 1]);
        if (half_.empty() && !endsInPair) {
            addText(characters, length);
            return;
        }
        half_.append(characters, length);
        std::basic_string<XMLCh> rest(endsInPair ? 1 : 0, characters[length - 1]);
        addText(half_.data(), half_.size() - rest.size());
        half_ = std::move(rest);
    }

    void ignorableWhitespace(const XMLCh* const characters, const XMLSize_t length, const bool cdata) override {
        docCharacters(characters, length, cdata);
    }

    void startElement(const xercesc::XMLElementDecl& declaration, const unsigned int /*uri*/,
                      const XMLCh* const /*prefix*/, const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                      const XMLSize_t attributeCount, const bool isEmpty, const bool /*isRoot*/) override {
        Event& event = add(XmlEvent::Start);
        appendName(event.text, declaration.getFullName());
        event.attributes.resize(attributeCount);
        for (XMLSize_t i = 0; i < attributeCount; ++i) {
            const xercesc::XMLAttr& attribute = *attributes.elementAt(i);
            appendName(event.attributes[i].name, attribute.getQName());
            appendName(event.attributes[i].value, attribute.getValue());
        }
        ++depth_;
        if (isEmpty) {
            endElement(declaration, 0, false, nullptr);
        }
    }

    void appendName(std::string& out, const XMLCh* text) {
        const XMLSize_t length = XMLString::stringLen(text);
        spend(length);
        appendUtf8(out, text, length);
    }

    void endElement(const xercesc::XMLElementDecl& /*declaration*/, const unsigned int /*uri*/, const bool /*isRoot*/,
                    const XMLCh* const /*prefix*/) override {
        --depth_;
        add(XmlEvent::End);
    }

    void docComment(const XMLCh* const comment) override {
        appendUtf8(add(XmlEvent::Comment).text, comment, XMLString::stringLen(comment));
    }

    void docPI(const XMLCh* const /*target*/, const XMLCh* const /*text*/) override {}
    void startDocument() override {}
    void endDocument() override { finished_ = !isUtf8_ || !source_.endsInPartOfUtf8(); }

    // The library takes any text that begins with a version that it knows, and any encoding of bytes after a mark of
    // UTF-8.
    void XMLDecl(const XMLCh* const version, const XMLCh* const encoding, const XMLCh* const /*standalone*/,
                 const XMLCh* const /*actualEncoding*/) override {
        const bool isKnown =
            XMLString::equals(version, XMLUni::fgVersion1_0) || XMLString::equals(version, XMLUni::fgVersion1_1);
        const bool isDeclared = encoding != nullptr && *encoding != 0;
        const bool isUtf8 = XMLString::compareIStringASCII(encoding, XMLUni::fgUTF8EncodingString) == 0 ||
                            XMLString::compareIStringASCII(encoding, XMLUni::fgUTF8EncodingString2) == 0;
        isUtf8_ = !isDeclared || isUtf8;
        if (!isKnown || (hasUtf8Mark_ && !isUtf8_)) {
            throw Refusal();
        }
    }

    void entityDecl(const xercesc::DTDEntityDecl& entity, const bool /*isParameter*/, const bool /*ignored*/) override {
        if (entity.getValueLen() > maximumEntityLength) {
            throw Refusal();
        }
    }

    // The scanner itself stops at what is fatal. That the declared encoding isn't the one in use is only a warning to
    // it.
    void error(const unsigned int code, const XMLCh* const domain, const xercesc::XMLErrorReporter::ErrTypes /*type*/,
               const XMLCh* const /*text*/, const XMLCh* const /*systemId*/, const XMLCh* const /*publicId*/,
               const XMLFileLoc /*line*/, const XMLFileLoc /*column*/) override {
        if (code == xercesc::XMLErrs::ContradictoryEncoding && XMLString::equals(domain, XMLUni::fgXMLErrDomain)) {
            throw Refusal();
        }
    }

    xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* /*identifier*/) override {
        static constexpr XMLByte nothing{};
        return new xercesc::MemBufInputSource(&nothing, 0, XMLUni::fgZeroLenString);
    }

    ByteSource source_;
    xercesc::DefaultHandler listener_;
    xercesc::SecurityManager limits_;
    xercesc::XMLPScanToken token_;
    std::vector<Event> queue_;
    std::size_t current_ = 0;
    std::size_t count_ = 0;
    std::size_t allowance_;
    bool hasUtf8Mark_;
    bool isUtf8_ = true;
    std::size_t depth_ = 0;
    std::basic_string<XMLCh> half_;
    bool begun_ = false;
    bool ended_;
    bool finished_ = false;
};

XmlReader::XmlReader(const void* bytes, std::size_t length)
    : parser_(startLibrary() ? std::make_unique<Parser>(std::string_view(static_cast<const char*>(bytes), length))
                             : nullptr) {}

XmlReader::~XmlReader() = default;

XmlEvent XmlReader::next() { return parser_ ? parser_->next().kind : XmlEvent::Failed; }

const std::string& XmlReader::name() const { return parser_->current().text; }
const std::string& XmlReader::text() const { return parser_->current().text; }
const std::vector<XmlAttribute>& XmlReader::attributes() const { return parser_->current().attributes; }

}  // namespace xml
