#include "win32/pipe.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "linux/kernel/handle.h"
#include "linux/pipes/pipe.h"
#include "linux/pipes/pipe_directory.h"
#include "linux/support/errno_code.h"
#include "linux/support/name_file.h"
#include "linux/support/scripted.h"

namespace win32 {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds retryInterval(10);
constexpr DWORD defaultWaitMilliseconds = 50;

bool waitFor(int socket, short events) {
    pollfd entry{socket, events, 0};
    int ready = 0;
    do {
        ready = poll(&entry, 1, -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

// One client with its server, seen from either end. The socket doesn't block; each call waits in poll.
class Connection {
public:
    explicit Connection(Descriptor socket) : socket_(std::move(socket)) {}

    int socket() const { return socket_.get(); }
    // Looks for `limit` milliseconds.
    bool isOtherEndGone(int limit) const {
        pollfd entry{socket(), 0, 0};
        return poll(&entry, 1, limit) > 0;
    }
    void flush() const;
    BOOL write(const void* bytes, DWORD size, DWORD* done) const;
    BOOL read(void* buffer, DWORD size, DWORD* done, bool byMessage);

private:
    bool fill();

    const Descriptor socket_;
    std::mutex mutex_;
    std::vector<std::byte> message_;  // the one being read
    std::size_t taken_ = 0;
};

BOOL Connection::write(const void* bytes, DWORD size, DWORD* done) const {
    if (size == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);  // the other end would take it for the end
        return FALSE;
    }
    ssize_t sent = 0;
    do {
        sent = send(socket(), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (sent < 0 && (errno == EINTR || (errno == EAGAIN && waitFor(socket(), POLLOUT))));
    if (sent < 0) {
        return failWithErrno(errno == ECONNRESET ? EPIPE : errno);
    }
    *done = size;
    return TRUE;
}

// Until the other end has read everything or is gone.
void Connection::flush() const {
    int unread = 0;
    while (ioctl(socket(), SIOCOUTQ, &unread) == 0 && unread > 0 && !isOtherEndGone(1)) {
    }
}

// Takes the next message whole: what a packet's receiver leaves behind is lost.
bool Connection::fill() {
    ssize_t size = 0;
    bool wasReset = false;
    for (;;) {
        size = recv(socket(), nullptr, 0, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
        if (size > 0) {
            message_.resize(static_cast<std::size_t>(size));
            size = recv(socket(), message_.data(), message_.size(), MSG_DONTWAIT);
        }
        if (size >= 0) {
            break;
        }
        // A server that left part of the request unread resets; its answer comes after that error.
        const bool again = errno == EINTR || (errno == EAGAIN && waitFor(socket(), POLLIN)) ||
                           (errno == ECONNRESET && !std::exchange(wasReset, true));
        if (!again) {
            return failWithErrno(errno);
        }
    }
    message_.resize(static_cast<std::size_t>(size));
    taken_ = 0;
    if (size == 0) {
        SetLastError(ERROR_BROKEN_PIPE);
    }
    return size > 0;
}

BOOL Connection::read(void* buffer, DWORD size, DWORD* done, bool byMessage) {
    const std::lock_guard lock(mutex_);
    if (taken_ == message_.size() && !fill()) {
        return FALSE;
    }
    const std::size_t part = std::min<std::size_t>(size, message_.size() - taken_);
    std::memcpy(buffer, message_.data() + taken_, part);
    taken_ += part;
    *done = static_cast<DWORD>(part);
    if (byMessage && taken_ < message_.size()) {
        SetLastError(ERROR_MORE_DATA);
        return FALSE;
    }
    return TRUE;
}

// Either end, as its handle stands for it.
class Pipe : public Object {
public:
    Pipe(DWORD access, DWORD codeOfNobody) : access_(access), codeOfNobody_(codeOfNobody) {}

    BOOL read(void* buffer, DWORD size, DWORD* done) override {
        const auto connection = connected(GENERIC_READ);
        return connection ? connection->read(buffer, size, done, readsMessages_) : FALSE;
    }
    BOOL write(const void* bytes, DWORD size, DWORD* done) override {
        const auto connection = connected(GENERIC_WRITE);
        return connection ? connection->write(bytes, size, done) : FALSE;
    }
    BOOL flush() override {
        const auto connection = connected(GENERIC_WRITE);
        if (connection) {
            connection->flush();
        }
        return connection != nullptr;
    }
    // Wakes whoever still reads or writes; what was sent stays readable at the other end.
    void closing() override { setConnection(nullptr); }
    void setReadsMessages(bool readsMessages) { readsMessages_ = readsMessages; }
    bool allows(DWORD access) const { return isGranted(access_, access); }

protected:
    std::shared_ptr<Connection> connection() {
        const std::lock_guard lock(mutex_);
        return connection_;
    }
    // Null with the last error set if the handle isn't for that, or there is nobody at the other end.
    std::shared_ptr<Connection> connected(DWORD access) {
        if (!allows(access)) {
            return nullptr;
        }
        auto current = connection();
        if (!current) {
            SetLastError(codeOfNobody_);
        }
        return current;
    }
    void setCodeOfNobody(DWORD code) { codeOfNobody_ = code; }
    void setConnection(std::shared_ptr<Connection> connection) {
        const std::lock_guard lock(mutex_);
        if (connection_) {
            shutdown(connection_->socket(), SHUT_RDWR);
        }
        connection_ = std::move(connection);
    }

private:
    const DWORD access_;
    std::atomic<DWORD> codeOfNobody_;
    std::mutex mutex_;
    std::shared_ptr<Connection> connection_;
    std::atomic<bool> readsMessages_ = false;
};

class PipeClient final : public Pipe {
public:
    PipeClient(Descriptor socket, DWORD access) : Pipe(access, ERROR_PIPE_NOT_CONNECTED) {
        setConnection(std::make_shared<Connection>(std::move(socket)));
    }
};

class PipeInstance final : public Pipe {
public:
    PipeInstance(PipeDirectory directory, std::string file, Descriptor listener)
        : Pipe(GENERIC_READ | GENERIC_WRITE, ERROR_PIPE_LISTENING),
          directory_(std::move(directory)),
          file_(std::move(file)),
          listener_(std::move(listener)) {}
    ~PipeInstance() override { directory_.remove(file_); }

    void closing() override {
        shutdown(listener_.get(), SHUT_RDWR);
        Pipe::closing();
    }
    BOOL connect();
    BOOL disconnect();

private:
    bool accept();

    const PipeDirectory directory_;
    const std::string file_;
    const Descriptor listener_;
};

// Takes a waiting client, if there is one that may be served.
bool PipeInstance::accept() {
    directory_.setFree(file_, false);
    Descriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket || !(directory_.isMachineWide || isPeerTrusted(socket.get()))) {
        directory_.setFree(file_, true);
        return false;
    }
    setConnection(std::make_shared<Connection>(std::move(socket)));
    return true;
}

BOOL PipeInstance::connect() {
    pollfd entry{listener_.get(), POLLIN, 0};
    const auto client = connection();
    if (client || (poll(&entry, 1, 0) > 0 && accept())) {
        SetLastError(client && client->isOtherEndGone(0) ? ERROR_NO_DATA : ERROR_PIPE_CONNECTED);
        return FALSE;
    }
    setCodeOfNobody(ERROR_PIPE_LISTENING);
    directory_.setFree(file_, true);
    do {
        if ((poll(&entry, 1, -1) < 0 && errno != EINTR) || (entry.revents & POLLHUP) != 0) {
            SetLastError(ERROR_NO_DATA);
            return FALSE;
        }
    } while (!accept());
    return TRUE;
}

BOOL PipeInstance::disconnect() {
    if (!connected(GENERIC_WRITE)) {
        return FALSE;
    }
    setCodeOfNobody(ERROR_PIPE_NOT_CONNECTED);
    setConnection(nullptr);
    return TRUE;
}

// The instances whose queue was full when this thread last opened a pipe, with their changes by then: they are taken,
// although a server that is slow to notice still calls them free.
thread_local std::map<std::string, long> refusals;

bool isRefusal(const std::string& file, long changes) {
    const auto found = refusals.find(file);
    return found != refusals.end() && found->second == changes;
}

// The outcome of a client's attempt at all instances in one place.
Descriptor connectWithin(const PipeDirectory& directory, const std::string& pipe, bool& isBusy, bool& isForeign) {
    for (const std::string& file : directory.instances(pipe)) {
        const PipeState state = directory.stateOf(file);
        if (!state.isFree) {
            isBusy = isBusy || directory.isAlive(file);
            continue;
        }
        Descriptor socket = directory.connectTo(file);
        if (socket && isPeerTrusted(socket.get())) {
            return socket;
        }
        if (!socket && errno == EAGAIN) {
            refusals[file] = state.changes;
            isBusy = true;
        }
        isForeign = isForeign || socket || errno == EACCES;
    }
    return {};
}

// How many live instances a pipe has; removes the others. The place is locked.
std::size_t tidyInstances(const PipeDirectory& directory, const std::string& pipe) {
    std::size_t alive = 0;
    for (const std::string& file : directory.instances(pipe)) {
        if (directory.isAlive(file)) {
            ++alive;
        } else {
            directory.remove(file);
        }
    }
    return alive;
}

HANDLE createInstance(const std::string& pipe, DWORD openMode, DWORD pipeMode, DWORD instances) {
    static std::atomic<unsigned> counter = 0;
    PipeDirectory directory = serverDirectory();
    const Descriptor guard =
        directory.path.empty() ? Descriptor() : openLocked(directory.path + "/.lock", 0, true, 0600);
    if (!guard) {
        return INVALID_HANDLE_VALUE;
    }
    const std::size_t present = tidyInstances(directory, pipe);
    if (present > 0 && (openMode & FILE_FLAG_FIRST_PIPE_INSTANCE) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    if (instances != PIPE_UNLIMITED_INSTANCES && present >= instances) {
        SetLastError(ERROR_PIPE_BUSY);
        return INVALID_HANDLE_VALUE;
    }
    std::string file = pipe + "." + std::to_string(getpid()) + "." + std::to_string(++counter);
    Descriptor listener = directory.listenAt(file);
    if (!listener) {
        failWithErrno(errno);
        return INVALID_HANDLE_VALUE;
    }
    auto instance = std::make_shared<PipeInstance>(std::move(directory), std::move(file), std::move(listener));
    instance->setReadsMessages((pipeMode & PIPE_READMODE_MESSAGE) != 0);
    return openHandle(std::move(instance));
}

enum class Availability { missing, busy, free };

Availability availabilityOf(const std::string& pipe) {
    Availability found = Availability::missing;
    for (const PipeDirectory& directory : clientDirectories()) {
        for (const std::string& file : directory.instances(pipe)) {
            if (directory.isAlive(file)) {
                const PipeState state = directory.stateOf(file);
                const bool isFree = state.isFree && !isRefusal(file, state.changes);
                found = std::max(found, isFree ? Availability::free : Availability::busy);
            }
        }
    }
    return found;
}

}  // namespace

HANDLE openPipe(std::u16string_view name, DWORD access) {
    const std::string pipe = pipeFileName(name);
    if (pipe.empty()) {
        return INVALID_HANDLE_VALUE;
    }
    refusals.clear();
    bool isBusy = false;
    bool isForeign = false;
    for (const PipeDirectory& directory : clientDirectories()) {
        if (Descriptor socket = connectWithin(directory, pipe, isBusy, isForeign)) {
            const HANDLE handle = openHandle(std::make_shared<PipeClient>(std::move(socket), access));
            SetLastError(ERROR_SUCCESS);
            return handle;
        }
        if (isBusy) {
            break;
        }
    }
    SetLastError(isBusy ? ERROR_PIPE_BUSY : isForeign ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
}

}  // namespace win32

BOOL WINAPI WaitNamedPipeW(LPCWSTR path, DWORD timeout) {
    WIN32_MAY_FAIL("WaitNamedPipeW", FALSE);
    const std::string pipe = win32::pipeFileName(path);
    if (pipe.empty()) {
        return FALSE;
    }
    const DWORD wait = timeout == NMPWAIT_USE_DEFAULT_WAIT ? win32::defaultWaitMilliseconds : timeout;
    const auto end = win32::Clock::now() + win32::milliseconds(wait);
    for (;;) {
        const auto found = win32::availabilityOf(pipe);
        if (found == win32::Availability::free) {
            return TRUE;
        }
        const bool isMissing = found == win32::Availability::missing;
        if (isMissing || (timeout != NMPWAIT_WAIT_FOREVER && win32::Clock::now() >= end)) {
            SetLastError(isMissing ? ERROR_FILE_NOT_FOUND : ERROR_SEM_TIMEOUT);
            return FALSE;
        }
        std::this_thread::sleep_for(win32::retryInterval);
    }
}

BOOL WINAPI SetNamedPipeHandleState(HANDLE handle, LPDWORD mode, LPDWORD collectCount, LPDWORD collectTimeout) {
    WIN32_MAY_FAIL("SetNamedPipeHandleState", FALSE);
    const auto pipe = win32::objectAs<win32::Pipe>(handle);
    if (!pipe || !pipe->allows(GENERIC_WRITE)) {
        return FALSE;
    }
    if (collectCount != nullptr || collectTimeout != nullptr ||
        (mode != nullptr && *mode != PIPE_READMODE_MESSAGE && *mode != PIPE_READMODE_BYTE)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (mode != nullptr) {
        pipe->setReadsMessages(*mode == PIPE_READMODE_MESSAGE);
    }
    return TRUE;
}

HANDLE WINAPI CreateNamedPipeW(LPCWSTR path, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD /*outSize*/,
                               DWORD /*inSize*/, DWORD /*defaultTimeout*/, LPSECURITY_ATTRIBUTES /*security*/) {
    WIN32_MAY_FAIL("CreateNamedPipeW", INVALID_HANDLE_VALUE);
    const std::string pipe = win32::pipeFileName(path);
    if (pipe.empty()) {
        return INVALID_HANDLE_VALUE;
    }
    constexpr DWORD duplex = PIPE_ACCESS_DUPLEX;
    if ((openMode & duplex) != duplex || (pipeMode & PIPE_TYPE_MESSAGE) == 0 || instances == 0 ||
        instances > PIPE_UNLIMITED_INSTANCES) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    return win32::createInstance(pipe, openMode, pipeMode, instances);
}

BOOL WINAPI ConnectNamedPipe(HANDLE pipe, LPOVERLAPPED overlapped) {
    WIN32_MAY_FAIL("ConnectNamedPipe", FALSE);
    const auto instance = win32::objectAs<win32::PipeInstance>(pipe);
    if (instance && overlapped != nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return FALSE;
    }
    return instance ? instance->connect() : FALSE;
}

BOOL WINAPI DisconnectNamedPipe(HANDLE pipe) {
    WIN32_MAY_FAIL("DisconnectNamedPipe", FALSE);
    const auto instance = win32::objectAs<win32::PipeInstance>(pipe);
    return instance ? instance->disconnect() : FALSE;
}
