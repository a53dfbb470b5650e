#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "captured_log.h"
#include "net/proxy_list.h"
#include "net/system_proxy.h"
#include "temp_directory.h"
#include "win32/proxy.h"
#include "win32/script.h"

namespace {

using tests::Lines;

// "address:port" of each, or the script's address.
Lines textsOf(std::vector<base::ProxyEntry> entries) {
    Lines lines;
    for (base::ProxyEntry& entry : entries) {
        lines.push_back(entry.size() == 1 ? entry["autoConfigScript"] : entry["address"] + ":" + entry["port"]);
    }
    return lines;
}

Lines entriesOf(const WideString& list) {
    base::SeenProxies seen;
    std::vector<base::ProxyEntry> result;
    base::addProxyList(seen, result, list);
    return textsOf(result);
}

TEST(ProxyList, IsTakenPlainFirstThenByScheme) {
    EXPECT_EQ(entriesOf(W("https=Secure:1;HTTP=One:2;Plain;http=two:3")),
              (Lines{"Plain:8080", "one:2", "two:3", "secure:1"}));
    EXPECT_EQ(entriesOf(W("a:1;;a:1;A:1;http=a:1;a:01;a:2")), (Lines{"a:1", "A:1", "a:2"}));
    EXPECT_EQ(entriesOf(W("a;b:;c:9x;http=d=e:5")), (Lines{"a:8080", "b:8080", "c:9", "d=e:5"}));
    EXPECT_EQ(entriesOf(W("a:0;b:65536;c:70000;d:port;e:-1;f:99999999999;:80;g h:1;\u00e4:1;http=;=;;")), Lines());
    EXPECT_EQ(entriesOf(W("socks=a:1;ftp=b:2;h:65535")), Lines{"h:65535"});
    EXPECT_EQ(entriesOf(W("=a:1")), Lines{"=a:1"});
}

// Stands in for the program that looks up proxies, with an answer for each kind of question.
class ProxyDiscoveryTest : public testing::Test {
protected:
    ~ProxyDiscoveryTest() override { win32::script::reset(); }

    void answer(const std::string& config, const std::string& script = "", const std::string& detect = "",
                const std::string& logon = "") {
        directory_.write("helper", "#!/bin/sh\nfor last; do :; done\n[ $last = logon ] && printf '" + logon +
                                       "' && exit\ncase $1 in config) printf '" + config + "' ;; script) printf '" +
                                       script + "' ;; *) printf '" + detect + "' ;; esac\n");
        boost::filesystem::permissions(directory_.file("helper"), boost::filesystem::owner_all);
        win32::script::answerProxyLookups(directory_.file("helper").string(), 10'000);
    }
    // The diagnostics and the entries.
    static Lines discover(const std::string& url = "http://u/") {
        std::string diagnostics = "earlier";
        const auto entries = base::SystemProxyDiscovery().getProxySettings(url, "agent", &diagnostics);
        Lines lines = textsOf(entries);
        lines.insert(lines.begin(), diagnostics);
        return lines;
    }
    static Lines lookUps() { return win32::script::calls("WinHttpGetProxyForUrl"); }

    tests::TempDirectory directory_;
    tests::CapturedLog log_;
};

TEST_F(ProxyDiscoveryTest, FindsScriptThenDetectionThenSettings) {
    answer("0\\n0\\n\\n\\n\\nend\\n");
    EXPECT_EQ(discover(), Lines{".nnn.."});
    EXPECT_EQ(lookUps(), Lines());
    answer("0\\n0\\n\\nhttp=p:1;q\\nlocal\\nend\\n");
    EXPECT_EQ(discover(), (Lines{".nny..", "q:8080", "p:1"}));
    answer("0\\n0\\nhttp://s/\\np:1\\n\\nend\\n", "0\\na:1;b:2\\nend\\n", "0\\nb:2;p:1\\nend\\n");
    EXPECT_EQ(discover(""), (Lines{".nyyyy", "http://s/", "a:1", "b:2", "p:1"}));
    EXPECT_EQ(lookUps(),
              (Lines{"https://software.tavrin.example/|2|0|http://s/|0", "https://software.tavrin.example/|1|3||0"}));
    answer("0\\n1\\n\\np:1\\n\\nend\\n", "", "0\\n\\nend\\n");
    EXPECT_EQ(discover(), (Lines{".yny.e", "p:1"}));
    answer("0\\n1\\nhttp://s s/\\n\\n\\nend\\n", "0\\nbad host\\nend\\n", "0\\n\\nend\\n");
    EXPECT_EQ(discover(), Lines{".yynen"});
    EXPECT_EQ(log_.lines(), Lines());
}

TEST_F(ProxyDiscoveryTest, LogsFailuresAndGoesOn) {
    answer("", "12167\\n\\nend\\n", "0\\nd:1\\nend\\n");
    EXPECT_EQ(discover(), (Lines{".e...y", "d:1"}));
    EXPECT_EQ(log_.take(), Lines{"getProxySettings WinHttpGetIEProxyConfigForCurrentUser 12178"});
    answer("0\\n0\\nhttp://s/\\n\\n\\nend\\n", "12167\\n\\nend\\n", "12180\\n\\nend\\n");
    EXPECT_EQ(discover(), (Lines{".nynye", "http://s/"}));
    EXPECT_EQ(log_.take(), Lines{"getProxySettings WinHttpGetProxyForURL type 0, 12167"});
}

TEST_F(ProxyDiscoveryTest, EndsAtOnceWhenItIsCancelled) {
    answer("0\\n0\\nhttp://s/\\n\\n\\nend\\n", "'; exec sleep 60; printf '");
    base::SystemProxyDiscovery discovery;
    const auto begin = std::chrono::steady_clock::now();
    std::thread canceller([&discovery] {
        while (lookUps().empty()) {
            std::this_thread::yield();
        }
        discovery.cancel();
    });
    std::string diagnostics;
    discovery.getProxySettings("http://u/", "agent", &diagnostics);
    canceller.join();
    EXPECT_EQ(log_.take(), Lines{"getProxySettings WinHttpGetProxyForURL type 0, 12017"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_TRUE(discovery.getProxySettings("http://u/", "agent", &diagnostics).empty());
    EXPECT_EQ(diagnostics, "e.....");
}

TEST_F(ProxyDiscoveryTest, LogsOnWhereItIsAskedTo) {
    answer("0\\n1\\nhttp://s/\\n\\n\\nend\\n", "12015\\n\\nend\\n", "12015\\n\\nend\\n", "0\\nl:1\\nend\\n");
    EXPECT_EQ(discover(), (Lines{".yynyy", "http://s/", "l:1"}));
    EXPECT_EQ(log_.take(),
              (Lines{"getProxySettings WinHttpGetProxyForURL type 0, ERROR_WINHTTP_LOGIN_FAILURE, will retry",
                     "getProxySettings WinHttpGetProxyForURL type 1, ERROR_WINHTTP_LOGIN_FAILURE, will retry"}));
    EXPECT_EQ(lookUps()[1], "http://u/|2|0|http://s/|1");
    answer("0\\n1\\n\\n\\n\\nend\\n", "", "12015\\n\\nend\\n", "12015\\n\\nend\\n");
    EXPECT_EQ(discover(), Lines{".ynn.e"});
    EXPECT_EQ(log_.take().back(), "getProxySettings WinHttpGetProxyForURL (auto-logon) type 1, 12015");
}

}  // namespace
