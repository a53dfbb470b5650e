// XML event by event, and as a tree.
#include "data/xml_value.h"
#include "fuzz.h"
#include "xml/xml_reader.h"

using xml::XmlEvent;

FUZZ_TARGET(xml) {
    // Entities and default attributes add about a third of this in characters at most, of up to three bytes each.
    constexpr std::size_t mostAdded = 3'300'000;
    xml::XmlReader reader(input.data(), input.size());
    std::size_t depth = 0;
    std::size_t handedOut = 0;
    bool hasRoot = false;
    XmlEvent event = reader.next();
    for (; event != XmlEvent::Finished && event != XmlEvent::Failed; event = reader.next()) {
        if (event == XmlEvent::Start) {
            fuzz::require(depth > 0 || !hasRoot, "one root");
            hasRoot = true;
            ++depth;
            handedOut += reader.name().size();
            for (const auto& [name, value] : reader.attributes()) {
                fuzz::require(!name.empty(), "an attribute has a name");
                handedOut += name.size() + value.size();
            }
        } else if (event == XmlEvent::End) {
            fuzz::require(depth > 0, "what ends has begun");
            --depth;
        } else if (event == XmlEvent::Text) {
            fuzz::require(depth > 0 && !reader.text().empty(), "text stands inside of the root");
            handedOut += reader.text().size();
        }
        fuzz::require(handedOut <= 3 * input.size() + mostAdded, "a document isn't blown up");
    }
    fuzz::require(reader.next() == event, "the end repeats");
    fuzz::require(event == XmlEvent::Failed || (hasRoot && depth == 0), "a whole document has one whole root");
    const data::Value tree = data::parseXml(input.data(), input.size());
    fuzz::require((tree.type == data::ValueType::Null) == (event == XmlEvent::Failed), "a tree for each document");
    fuzz::require(tree.members.size() == (event == XmlEvent::Failed ? 0 : 1), "the root is the one member");
}
