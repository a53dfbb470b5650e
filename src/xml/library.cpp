#include "xml/library.h"

#include <xercesc/util/PlatformUtils.hpp>

// The library makes a network accessor at its start, although nothing here ever opens an address. Where that is
// libcurl's, this one takes its place, and so keeps the whole HTTP stack behind it out of the process.
#if __has_include(<xercesc/util/NetAccessors/Curl/CurlNetAccessor.hpp>)
#include <xercesc/util/NetAccessors/Curl/CurlNetAccessor.hpp>

XERCES_CPP_NAMESPACE_BEGIN

const XMLCh CurlNetAccessor::fgMyName[] = {0};

CurlNetAccessor::CurlNetAccessor() = default;
CurlNetAccessor::~CurlNetAccessor() = default;
void CurlNetAccessor::initCurl() {}
void CurlNetAccessor::cleanupCurl() {}
BinInputStream* CurlNetAccessor::makeNew(const XMLURL& /*address*/, const XMLNetHTTPInfo* /*request*/) {
    return nullptr;
}

XERCES_CPP_NAMESPACE_END
#endif

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
