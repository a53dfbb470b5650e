// Command lines, and what becomes of them in the desktop's autostart, as an independent reader of that sees it.
#include "linux/processes/command_line.h"

#include <glib.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "base/utf8.h"
#include "fuzz.h"
#include "linux/registry/autostart.h"
#include "temp_session.h"

namespace {

using Arguments = std::vector<std::string>;

struct Free {
    void operator()(char* text) const { g_free(text); }
    void operator()(char** texts) const { g_strfreev(texts); }
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};

// As a careful program composes it: the backslashes before a quote are doubled, and so are those at the end.
std::string quoted(const std::string& argument) {
    std::string text = "\"";
    std::size_t slashes = 0;
    for (const char c : argument) {
        text.append(c == '"' ? slashes + 1 : 0, '\\');
        slashes = c == '\\' ? slashes + 1 : 0;
        text += c;
    }
    return text.append(slashes, '\\') + "\"";
}

Arguments readEntry(const std::string& path) {
    const std::unique_ptr<GKeyFile, Free> file(g_key_file_new());
    g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr);
    const std::unique_ptr<char, Free> exec(g_key_file_get_string(file.get(), "Desktop Entry", "Exec", nullptr));
    char** words = nullptr;
    int count = 0;
    if (!exec || g_shell_parse_argv(exec.get(), &count, &words, nullptr) == FALSE) {
        return {};
    }
    const std::unique_ptr<char*, Free> owner(words);
    Arguments arguments(words, words + count);
    for (std::string& each : arguments) {
        for (std::size_t at = each.find("%%"); at != std::string::npos; at = each.find("%%", at + 1)) {
            each.erase(at, 1);
        }
    }
    return arguments;
}

}  // namespace

FUZZ_TARGET(command_line) {
    static const tests::TempSession session;
    const std::string line(fuzz::textOf(input));
    std::string program;
    win32::splitCommandLine(line, program);
    fuzz::require(program.find('"') == std::string::npos, "a program has no quotes");
    Arguments arguments;
    for (fuzz::Parts parts(input); !parts.empty();) {
        arguments.push_back(parts.text());
    }
    std::string composed;
    for (const std::string& argument : arguments) {
        composed += quoted(argument) + " ";
    }
    fuzz::require(win32::splitArguments(composed) == arguments, "arguments come back as they were");
    if (arguments.empty() || !base::isUtf8(line)) {
        return;
    }
    std::ranges::replace(arguments[0], '\\', '/');
    arguments[0] = win32::resolveProgram(arguments[0]);
    fuzz::require(win32::writeAutostartEntry("name", composed), "an entry is written");
    const auto path = session.path() / "config/autostart/name.desktop";
    fuzz::require(readEntry(path.string()) == arguments, "the desktop starts the same");
}
