// Two ends of a bus inside of the process, with no daemon between.
#pragma once

#include <sys/socket.h>

#include <array>

#include "fuzz.h"
#include "linux/support/dbus.h"

namespace fuzz {

class PeerBus {
public:
    PeerBus() {
        std::array<int, 2> ends{};
        require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) == 0, "a socket");
        sd_bus* made = nullptr;
        sd_bus_new(&made);
        server.reset(made);
        sd_bus_set_fd(made, ends[0], ends[0]);
        sd_bus_set_server(made, 1, sd_id128_t{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}});
        sd_bus_new(&made);
        client.reset(made);
        sd_bus_set_fd(made, ends[1], ends[1]);
        require(sd_bus_start(server.get()) >= 0 && sd_bus_start(client.get()) >= 0, "a bus");
        while (sd_bus_is_ready(client.get()) == 0 || sd_bus_is_ready(server.get()) == 0) {
            pump();
        }
    }

    // Until nothing is left to do at either end.
    void pump() const {
        for (bool isBusy = true; isBusy;) {
            const int served = sd_bus_process(server.get(), nullptr);
            const int asked = sd_bus_process(client.get(), nullptr);
            require(served >= 0 && asked >= 0, "the bus stays open");
            isBusy = served > 0 || asked > 0;
        }
    }

    win32::Bus server;
    win32::Bus client;
};

// Appends values of these types (b, i, u, s, v and containers of them) to a message, as the input has them.
class Arguments {
public:
    Arguments(sd_bus_message* message, Parts& parts) : message_(message), parts_(parts) {}

    // `types` is one type or several without a container that isn't closed.
    void append(std::string_view types) {
        while (!types.empty()) {
            const std::size_t length = lengthOf(types);
            appendOne(types.substr(0, length));
            types.remove_prefix(length);
        }
    }

private:
    static std::size_t lengthOf(std::string_view types) {
        if (types[0] == 'a') {
            return 1 + lengthOf(types.substr(1));
        }
        std::size_t length = 0;
        int depth = 0;
        do {
            const char c = types[length++];
            depth += c == '(' || c == '{' ? 1 : c == ')' || c == '}' ? -1 : 0;
        } while (depth > 0);
        return length;
    }

    void appendOne(std::string_view type) {
        const std::string inside(type.size() > 2 ? type.substr(1, type.size() - 2) : "");
        switch (type[0]) {
            case 'a': {
                const std::string element(type.substr(1));
                sd_bus_message_open_container(message_, 'a', element.c_str());
                for (int count = parts_.byte() % 4; count > 0; --count) {
                    appendOne(element);
                }
                sd_bus_message_close_container(message_);
                break;
            }
            case '(':
            case '{':
                sd_bus_message_open_container(message_, type[0] == '(' ? 'r' : 'e', inside.c_str());
                append(inside);
                sd_bus_message_close_container(message_);
                break;
            case 'v': {
                constexpr std::array<const char*, 6> variants{"s", "as", "i", "a{sv}", "(su)", "v"};
                const char* const variant = variants[++depth_ > 8 ? 0 : parts_.byte() % variants.size()];
                sd_bus_message_open_container(message_, 'v', variant);
                append(variant);
                sd_bus_message_close_container(message_);
                --depth_;
                break;
            }
            case 's':
                sd_bus_message_append_basic(message_, 's', parts_.text().c_str());
                break;
            default: {
                // Small ones too, negative ones among them.
                const int head = static_cast<signed char>(parts_.byte());
                const int value = head == 127 ? parts_.byte() << 24 | parts_.byte() : head;
                const int truth = value & 1;
                sd_bus_message_append_basic(message_, type[0], type[0] == 'b' ? &truth : &value);
            }
        }
    }

    sd_bus_message* message_;
    Parts& parts_;
    int depth_ = 0;
};

}  // namespace fuzz
