// The texts of a language: what a damaged file can't give stays as it was.
#include "agent/messages.h"
#include "base/text.h"
#include "data/xml_value.h"
#include "fuzz.h"

FUZZ_TARGET(locale) {
    agent::Messages messages;
    const bool isTaken = agent::takeMessages(messages, data::parseXml(input.data(), input.size()));
    const agent::Messages usual;
    for (const auto field :
         {&agent::Messages::launch, &agent::Messages::close, &agent::Messages::updateAvailableText}) {
        const WideString& text = messages.*field;
        fuzz::require(isTaken || text == usual.*field, "without a list nothing changes");
        fuzz::require(text.find(WCHAR{0}) == WideString::npos, "a text ends at its zero");
        fuzz::require(base::widen(base::narrow(text)) == text, "a text is Unicode");
    }
}
