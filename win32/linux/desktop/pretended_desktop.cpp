#include "linux/desktop/pretended_desktop.h"

#ifdef WIN32_SCRIPTED

#include <utility>

#include "linux/support/scripted.h"
#include "win32/script.h"

namespace win32 {

namespace {

// Everything is there, and nothing is seen.
class PretendedDesktop final : public Presenter {
public:
    explicit PretendedDesktop(std::vector<Monitor> monitors) : monitors_(std::move(monitors)) {}

    void pump() override {}
    bool hasTray() override { return true; }
    bool hasPanel() override { return true; }
    void showIcon(const ShownIcon& /*icon*/) override {}
    void removeIcon() override {}
    // In the lower right corner of the primary monitor.
    std::optional<RECT> iconRectangle() override {
        constexpr LONG size = 24;
        const RECT& primary = monitors_.front().bounds;
        return RECT{primary.right - size, primary.bottom - size, primary.right, primary.bottom};
    }
    void showBalloon(const std::string& /*title*/, const std::string& /*text*/) override {}
    void offerMenu(std::vector<ShownItem> /*items*/) override {}
    bool showMenu(std::vector<ShownItem> /*items*/, std::function<void(UINT)> /*choose*/) override { return true; }
    std::vector<Monitor> monitors() override { return monitors_; }
    void showWindow(HWND /*window*/, const ShownWindow& /*shown*/) override {}
    void hideWindow(HWND /*window*/) override {}
    void forgetWindow(HWND /*window*/) override {}
    bool activate(HWND /*window*/) override { return true; }
    std::string systemName(HWND /*window*/) override { return {}; }

private:
    std::vector<Monitor> monitors_;
};

script::Substitute<std::shared_ptr<Presenter>>& substitute() {
    static auto* const instance = new script::Substitute<std::shared_ptr<Presenter>>;
    return *instance;
}

}  // namespace

std::shared_ptr<Presenter> pretendedDesktop() { return substitute().get().value_or(nullptr); }

void script::pretendDesktop(const std::vector<script::Monitor>& monitors) {
    std::vector<win32::Monitor> shown;
    shown.reserve(monitors.size());
    for (const script::Monitor& monitor : monitors) {
        shown.push_back({monitor.bounds, monitor.workArea});
    }
    substitute().set(shown.empty() ? nullptr : std::make_shared<PretendedDesktop>(std::move(shown)));
}

}  // namespace win32

#endif
