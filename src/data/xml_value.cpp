#include "data/xml_value.h"

#include <string>
#include <utility>
#include <vector>

#include "xml/xml_reader.h"

namespace data {

namespace {

// The node of a new child element.
Value& addElement(Value& parent, const std::string& name) {
    parent.type = ValueType::Object;
    const auto member = parent.members.lower_bound(name);
    if (member == parent.members.end() || member->first != name) {
        return parent.members.emplace_hint(member, name, ValueType::String)->second;
    }
    Value& present = member->second;
    if (present.type != ValueType::Array) {
        Value array(ValueType::Array);
        array.append(std::move(present));
        present = std::move(array);
    }
    return present.items.emplace_back(ValueType::String);
}

class TreeBuilder {
public:
    explicit TreeBuilder(Value& document) : open_{&document} {}

    void start(const xml::XmlReader& reader) {
        Value& node = addElement(*open_.back(), reader.name());
        for (const xml::XmlAttribute& attribute : reader.attributes()) {
            node.attributes.make()[attribute.name] = attribute.value;
        }
        if (!comment_.empty()) {
            node.comment.make() = std::exchange(comment_, {});
        }
        open_.push_back(&node);
    }
    void end() { open_.pop_back(); }
    void text(const std::string& text) { open_.back()->text += text; }
    void comment(const std::string& text) { comment_ = text; }

private:
    std::vector<Value*> open_;
    std::string comment_;
};

}  // namespace

Value parseXml(const void* bytes, std::size_t length) {
    Value document(ValueType::Object);
    TreeBuilder builder(document);
    xml::XmlReader reader(bytes, length);
    while (true) {
        switch (reader.next()) {
            case xml::XmlEvent::Start:
                builder.start(reader);
                break;
            case xml::XmlEvent::End:
                builder.end();
                break;
            case xml::XmlEvent::Text:
                builder.text(reader.text());
                break;
            case xml::XmlEvent::Comment:
                builder.comment(reader.text());
                break;
            case xml::XmlEvent::Finished:
                return document;
            case xml::XmlEvent::Failed:
                return Value(ValueType::Null);
        }
    }
}

}  // namespace data
