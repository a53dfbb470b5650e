// The system itself can't be scripted: a test that wants that ends there.

#ifdef _WIN32

#include <stdexcept>

#include "win32/script.h"

namespace win32::script {

namespace {

[[noreturn]] void refuse() { throw std::runtime_error("the system can't be scripted"); }

}  // namespace

void failNext(const std::string& /*operation*/, DWORD /*code*/, unsigned /*after*/) { refuse(); }
void answerSleep(std::function<void(DWORD)> /*answer*/) { refuse(); }
void answerClock(std::function<ULONGLONG()> /*answer*/) { refuse(); }
void pretendDesktop(const std::vector<Monitor>& /*monitors*/) { refuse(); }
void answerProxyLookups(const std::string& /*program*/, unsigned /*milliseconds*/) { refuse(); }
void answerChain(const void* /*chain*/) { refuse(); }
void answerFileChooser(std::function<std::string(const std::string&)> /*answer*/) { refuse(); }
std::vector<std::string> calls(const std::string& /*operation*/) { refuse(); }
void reset() {}

}  // namespace win32::script

#endif
