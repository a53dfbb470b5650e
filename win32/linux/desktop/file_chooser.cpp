#include "linux/desktop/file_chooser.h"

#include <unistd.h>

#include <atomic>
#include <cctype>
#include <optional>

#include "linux/support/dbus.h"
#include "linux/support/scripted.h"
#include "linux/windows/presenter.h"
#include "win32/script.h"

namespace win32 {

namespace {

constexpr const char* portal = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* chooser = "org.freedesktop.portal.FileChooser";

// The portal's patterns heed the case of letters, those of Windows don't.
std::string ofAnyCase(const std::string& pattern) {
    std::string result;
    for (const char c : pattern) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && std::isalpha(byte) != 0) {
            result += {'[', static_cast<char>(std::tolower(byte)), static_cast<char>(std::toupper(byte)), ']'};
        } else {
            result += c;
        }
    }
    return result;
}

void dispatchMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        if (message.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

// One request to the portal: a call, whose answer is a signal from an object that stands for the dialog.
class PortalRequest {
public:
    bool send(const FileDialogRequest& question) {
        if (openBus(sd_bus_open_user, bus_) < 0) {
            return false;
        }
        const std::string token = nextToken();
        response_ = makeSlot([&](sd_bus_slot** slot) {
            return sd_bus_match_signal_async(bus_.get(), slot, nullptr, requestPath(token).c_str(),
                                             "org.freedesktop.portal.Request", "Response", onResponse, nullptr, this);
        });
        const std::string ownership = std::string(
                                          "type='signal',sender='org.freedesktop.DBus',path="
                                          "'/org/freedesktop/DBus',member='NameOwnerChanged',arg0='") +
                                      portal + "'";
        ownership_ = makeSlot([&](sd_bus_slot** slot) {
            return sd_bus_add_match_async(bus_.get(), slot, ownership.c_str(), onOwnerChanged, nullptr, this);
        });
        return response_ && ownership_ && call(question, token);
    }

    // Until the dialog is closed; the messages of the calling thread's windows are dispatched if it `hasWindows`.
    FileDialogResult await(bool hasWindows) {
        constexpr std::uint64_t tick = 15'000;
        while (!isOver_) {
            const int progress = sd_bus_process(bus_.get(), nullptr);
            if (progress < 0) {
                return {};
            }
            if (progress == 0 && !isOver_) {
                sd_bus_wait(bus_.get(), hasWindows ? tick : UINT64_MAX);
                if (hasWindows) {
                    dispatchMessages();
                }
            }
        }
        return answer_;
    }

private:
    static std::string nextToken() {
        static std::atomic<unsigned> count = 0;
        return "zelmo" + std::to_string(getpid()) + "_" + std::to_string(++count);
    }

    // Known before the call, so that no answer is missed.
    std::string requestPath(const std::string& token) const {
        const char* name = ":";
        sd_bus_get_unique_name(bus_.get(), &name);
        std::string sender = name + 1;
        for (char& c : sender) {
            c = c == '.' ? '_' : c;
        }
        return std::string(portalPath) + "/request/" + sender + "/" + token;
    }

    bool call(const FileDialogRequest& question, const std::string& token) {
        sd_bus_message* made = nullptr;
        if (sd_bus_message_new_method_call(bus_.get(), &made, portal, portalPath, chooser,
                                           question.saves ? "SaveFile" : "OpenFile") < 0) {
            return false;
        }
        const BusMessage message(made);
        const std::string parent = question.owner == nullptr ? "" : presenter().systemName(question.owner);
        sd_bus_message_append(made, "ss", parent.c_str(), question.title.c_str());
        sd_bus_message_open_container(made, 'a', "{sv}");
        sd_bus_message_append(made, "{sv}{sv}", "handle_token", "s", token.c_str(), "modal", "b", 1);
        appendOptions(made, question);
        sd_bus_message_close_container(made);
        sd_bus_message* replied = nullptr;
        const int result = sd_bus_call(bus_.get(), made, 0, nullptr, &replied);
        const BusMessage reply(replied);
        const char* const sender = result < 0 ? nullptr : sd_bus_message_get_sender(replied);
        portalName_ = sender == nullptr ? "" : sender;
        return result >= 0;
    }

    static void appendOptions(sd_bus_message* message, const FileDialogRequest& question) {
        if (question.picksFolder) {
            sd_bus_message_append(message, "{sv}", "directory", "b", 1);
        }
        if (!question.folder.empty()) {
            sd_bus_message_open_container(message, 'e', "sv");
            sd_bus_message_append(message, "s", "current_folder");
            sd_bus_message_open_container(message, 'v', "ay");
            sd_bus_message_append_array(message, 'y', question.folder.c_str(), question.folder.size() + 1);
            sd_bus_message_close_container(message);
            sd_bus_message_close_container(message);
        }
        if (!question.pattern.empty()) {
            const std::string pattern = ofAnyCase(question.pattern);
            sd_bus_message_append(message, "{sv}", "filters", "a(sa(us))", 1, question.filterName.c_str(), 1, 0U,
                                  pattern.c_str());
        }
    }

    static int onResponse(sd_bus_message* signal, void* data, sd_bus_error* /*error*/) {
        auto& self = *static_cast<PortalRequest*>(data);
        const char* const sender = sd_bus_message_get_sender(signal);
        if (sender == nullptr || self.portalName_ != sender) {
            return 0;
        }
        self.isOver_ = true;
        self.answer_ = readPortalAnswer(signal);
        return 0;
    }

    static int onOwnerChanged(sd_bus_message* signal, void* data, sd_bus_error* /*error*/) {
        auto& self = *static_cast<PortalRequest*>(data);
        const char* name = "";
        const char* before = "";
        const char* after = "";
        sd_bus_message_read(signal, "sss", &name, &before, &after);
        self.isOver_ |= !self.portalName_.empty() && self.portalName_ == before;
        return 0;
    }

    Bus bus_;
    BusSlot response_;
    BusSlot ownership_;
    std::string portalName_;
    bool isOver_ = false;
    FileDialogResult answer_;
};

#ifdef WIN32_SCRIPTED
using Chooser = std::function<std::string(const std::string&)>;

script::Substitute<Chooser>& substitute() {
    static auto* const instance = new script::Substitute<Chooser>;
    return *instance;
}

std::optional<FileDialogResult> scriptedAnswer(const FileDialogRequest& question) {
    const auto answer = substitute().get();
    if (!answer) {
        return std::nullopt;
    }
    const std::string path =
        (*answer)(question.title + "|" + question.folder + "|" + question.filterName + "|" + question.pattern + "|" +
                  (question.saves ? "save" : "open") + (question.picksFolder ? " folder" : ""));
    return FileDialogResult{path.empty() ? FileDialogResult::Outcome::cancelled : FileDialogResult::Outcome::chosen,
                            path};
}
#endif

}  // namespace

FileDialogResult runFileDialog(const FileDialogRequest& question) {
#ifdef WIN32_SCRIPTED
    if (auto scripted = scriptedAnswer(question)) {
        return *std::move(scripted);
    }
#endif
    PortalRequest request;
    return request.send(question) ? request.await(question.owner != nullptr) : FileDialogResult();
}

#ifdef WIN32_SCRIPTED
void script::answerFileChooser(std::function<std::string(const std::string&)> answer) {
    substitute().set(answer ? std::optional(std::move(answer)) : std::nullopt);
}
#endif

}  // namespace win32
