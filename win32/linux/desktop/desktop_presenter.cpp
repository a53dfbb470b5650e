#include "linux/windows/presenter.h"

#include <poll.h>

#include <array>

#include "linux/desktop/display.h"
#include "linux/desktop/pretended_desktop.h"
#include "linux/desktop/tray.h"

namespace win32 {

namespace {

class DesktopPresenter final : public Presenter {
public:
    void pump() override {
        pumpOnce(0);
        // The bus's first answers are under way: each would cost the icon a tick of the program's loop.
        while (tray_.isSettling()) {
            pumpOnce(1);
        }
    }

    bool hasTray() override { return tray_.isThere(); }
    bool hasPanel() override { return tray_.hasPanel(); }
    void showIcon(const ShownIcon& icon) override { tray_.showIcon(icon); }
    void removeIcon() override { tray_.removeIcon(); }
    std::optional<RECT> iconRectangle() override {
        const auto click = tray_.lastClick();
        return click ? std::optional(RECT{click->x, click->y, click->x, click->y}) : std::nullopt;
    }
    void showBalloon(const std::string& title, const std::string& text) override { tray_.showBalloon(title, text); }
    void offerMenu(std::vector<ShownItem> items) override { tray_.offerMenu(std::move(items)); }
    bool showMenu(std::vector<ShownItem> items, std::function<void(UINT)> choose) override {
        return tray_.showMenu(std::move(items), std::move(choose));
    }

    std::vector<Monitor> monitors() override { return display_.monitors(); }
    void showWindow(HWND window, const ShownWindow& shown) override { display_.showWindow(window, shown); }
    void hideWindow(HWND window) override { display_.hideWindow(window); }
    void forgetWindow(HWND window) override { display_.forgetWindow(window); }
    bool activate(HWND window) override { return display_.activate(window); }
    std::string systemName(HWND window) override { return display_.systemName(window); }

private:
    void pumpOnce(int milliseconds) {
        std::array<pollfd, 2> sources = {tray_.waitsFor(), display_.waitsFor()};
        if (sources[0].fd >= 0 || sources[1].fd >= 0) {
            poll(sources.data(), sources.size(), milliseconds);
        }
        // A press takes the popup away before the same press is a click on the icon.
        display_.pump(sources[1].revents != 0);
        tray_.pump(sources[0].revents != 0);
    }

    Tray tray_;
    Display display_;
};

}  // namespace

Presenter& presenter() {
#ifdef WIN32_SCRIPTED
    if (const auto pretended = pretendedDesktop()) {
        return *pretended;
    }
#endif
    thread_local DesktopPresenter desktop;
    return desktop;
}

}  // namespace win32
