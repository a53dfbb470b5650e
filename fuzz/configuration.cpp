// zd-config.xml: whatever it holds, the sections and keys that everybody looks up are there.
#include "settings/configuration.h"

#include "data/xml_value.h"
#include "fuzz.h"
#include "trees.h"

FUZZ_TARGET(configuration) {
    data::Value tree = data::parseXml(input.data(), input.size());
    const bool isRead = tree.type != data::ValueType::Null;
    const bool wasSystest = data::isSystest(tree);
    if (!isRead) {
        return;
    }
    data::completeConfiguration(tree);
    fuzz::require(tree.find("config", "device-support", "accept-unrecognized-devices").isString(), "a key is there");
    fuzz::require(tree.find("config", "update-engine", "server").isString(), "another key is there");
    fuzz::require(tree.members.size() <= 2, "one root, and the configuration's own");
    fuzz::require(wasSystest == data::isSystest(tree), "completing hides nothing that was there");
    const std::string completed = fuzz::describe(tree);
    data::completeConfiguration(tree);
    fuzz::require(fuzz::describe(tree) == completed, "what is complete stays as it is");
}
