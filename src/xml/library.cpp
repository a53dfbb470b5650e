#include "xml/library.h"

#include <xercesc/util/PlatformUtils.hpp>

namespace xml {

bool startLibrary() {
    static const bool started = [] {
        try {
            xercesc::XMLPlatformUtils::Initialize();
            return true;
        } catch (const xercesc::XMLException&) {
            return false;
        }
    }();
    return started;
}

}  // namespace xml
