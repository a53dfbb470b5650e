#include "linux/pipes/pipe_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "linux/support/directories.h"
#include "linux/support/errno_code.h"
#include "linux/support/name_file.h"
#include "win32/error.h"

namespace win32 {

namespace {

// Room for the longest message that a system with usual limits lets through.
constexpr int sendBufferSize = 262144;

constexpr std::u16string_view prefix = u"\\\\.\\pipe\\";

std::string servicesDirectory() { return machineDirectory("/run/zelmo-dockset"); }

PipeDirectory machineWideDirectory() { return {servicesDirectory() + "/pipe", true}; }

struct Address {
    sockaddr_un name{};
    Descriptor directory;
    bool isValid = false;
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&name); }
};

// By way of the open directory, since a socket's path is limited to 107 bytes.
Address addressOf(const std::string& directory, const std::string& file) {
    Address address;
    address.directory = Descriptor(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::string path = "/proc/self/fd/" + std::to_string(address.directory.get()) + "/" + file;
    if (address.directory && path.size() >= sizeof(address.name.sun_path)) {
        errno = ENAMETOOLONG;
    } else if (address.directory) {
        address.name.sun_family = AF_UNIX;
        std::memcpy(address.name.sun_path, path.c_str(), path.size() + 1);
        address.isValid = true;
    }
    return address;
}

Descriptor makeSocket(int type) { return Descriptor(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)); }

// The socket's mode. In the machine's place everybody may connect.
mode_t modeOf(bool isMachineWide, bool isFree) {
    if (isMachineWide) {
        return isFree ? 0777 : 0666;
    }
    return isFree ? 0700 : 0600;
}

}  // namespace

std::vector<std::string> PipeDirectory::instances(const std::string& pipe) const {
    std::vector<std::string> files;
    const auto close = [](DIR* directory) { closedir(directory); };
    const std::unique_ptr<DIR, decltype(close)> directory(opendir(path.c_str()), close);
    while (const dirent* const entry = directory ? readdir(directory.get()) : nullptr) {
        if (std::string_view(entry->d_name).starts_with(pipe + ".")) {
            files.emplace_back(entry->d_name);
        }
    }
    return files;
}

// A socket of another type never gets through, but the error tells a live socket from a dead one.
bool PipeDirectory::isAlive(const std::string& file) const {
    const Address address = addressOf(path, file);
    const Descriptor probe = makeSocket(SOCK_STREAM);
    return address.isValid && probe && connect(probe.get(), address.get(), sizeof(address.name)) != 0 &&
           errno == EPROTOTYPE;
}

PipeState PipeDirectory::stateOf(const std::string& file) const {
    struct stat status {};
    if (lstat((path + "/" + file).c_str(), &status) != 0) {
        return {};
    }
    return {(status.st_mode & S_IXUSR) != 0, status.st_mtim.tv_sec};
}

void PipeDirectory::setFree(const std::string& file, bool isFree) const {
    static std::atomic<long> changes = 0;
    const timespec times[] = {{0, UTIME_OMIT}, {++changes, 0}};
    const std::string socket = path + "/" + file;
    utimensat(AT_FDCWD, socket.c_str(), times, 0);
    chmod(socket.c_str(), modeOf(isMachineWide, isFree));
}

void PipeDirectory::remove(const std::string& file) const { unlink((path + "/" + file).c_str()); }

Descriptor PipeDirectory::listenAt(const std::string& file) const {
    const Address address = addressOf(path, file);
    Descriptor socket = makeSocket(SOCK_SEQPACKET);
    if (!address.isValid || !socket || bind(socket.get(), address.get(), sizeof(address.name)) != 0) {
        return {};
    }
    setFree(file, true);
    // A queue of one: the client that the instance serves next.
    if (listen(socket.get(), 0) != 0) {
        remove(file);
        return {};
    }
    return socket;
}

Descriptor PipeDirectory::connectTo(const std::string& file) const {
    const Address address = addressOf(path, file);
    Descriptor socket = makeSocket(SOCK_SEQPACKET);
    if (!address.isValid || !socket || connect(socket.get(), address.get(), sizeof(address.name)) != 0) {
        return {};
    }
    setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &sendBufferSize, sizeof(sendBufferSize));
    return socket;
}

std::vector<PipeDirectory> clientDirectories() {
    std::vector<PipeDirectory> directories;
    if (const std::string session = sessionDirectory("pipe"); !session.empty()) {
        directories.push_back({session, false});
    }
    directories.push_back(machineWideDirectory());
    return directories;
}

PipeDirectory serverDirectory() {
    if (geteuid() != 0 || std::getenv("XDG_RUNTIME_DIR") != nullptr) {
        return {sessionDirectory("pipe"), false};
    }
    PipeDirectory directory = machineWideDirectory();
    // Open to all whatever the service's umask is.
    if (!makeDirectories(directory.path, 0755) || chmod(servicesDirectory().c_str(), 0755) != 0 ||
        chmod(directory.path.c_str(), 0755) != 0) {
        failWithErrno(errno);
        return {};
    }
    return directory;
}

bool isPeerTrusted(int socket) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && (peer.uid == geteuid() || peer.uid == 0);
}

bool isPipePath(std::u16string_view path) {
    const auto isSame = [](char16_t expected, char16_t given) {
        return given == expected || (given == u'/' && expected == u'\\') ||
               (given >= u'A' && given <= u'Z' && given + 32 == expected);
    };
    return path.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), path.begin(), isSame);
}

std::string pipeFileName(std::u16string_view path) {
    if (!isPipePath(path) || path.size() == prefix.size()) {
        SetLastError(ERROR_INVALID_NAME);
        return {};
    }
    return fileNameOfAnyCase(path.substr(prefix.size()));
}

}  // namespace win32
