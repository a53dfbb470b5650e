// zdproxy: looks up proxies for the program that starts it; linux/network/proxy_helper.h has its arguments and answers.

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "script_lookup.h"
#include "system_settings.h"

namespace {

// Texts of the user's that hold line feeds would pass for lines of the answer.
std::string line(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text + "\n";
}

std::string answer(std::vector<std::string> words) {
    if (words.size() == 1 && words[0] == "config") {
        const zdproxy::SystemSettings settings = zdproxy::readSystemSettings();
        return (settings.autoDetect ? "0\n1\n" : "0\n0\n") + line(settings.script) + line(settings.proxies) +
               line(settings.bypass);
    }
    const bool logon = !words.empty() && words.back() == "logon";
    words.resize(words.size() - (logon ? 1 : 0));
    zdproxy::Lookup lookup;
    if (words.size() == 4 && words[0] == "script") {
        lookup = zdproxy::runProxyScript(words[1], words[2], words[3], logon);
    } else if (words.size() == 3 && words[0] == "detect") {
        lookup = zdproxy::detectProxies(words[1], words[2], logon);
    } else {
        return {};
    }
    return std::to_string(lookup.code) + "\n" + line(lookup.proxies);
}

}  // namespace

int main(int argc, char** argv) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody is left to hear the answer
    // A script may fill the memory before its time is up; then it is this program that has to go.
    std::ofstream("/proc/self/oom_score_adj") << 1000;
    const std::string text = answer({argv + 1, argv + argc});
    if (text.empty()) {
        std::cerr << "usage: zdproxy config | script SCRIPT URL AGENT [logon] | detect URL AGENT [logon]\n";
        return 2;
    }
    std::cout << text << "end\n" << std::flush;
    _exit(0);  // what a script engine does at exit is of no use
}
