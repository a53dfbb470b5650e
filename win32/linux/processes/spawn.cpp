#include "linux/processes/spawn.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "linux/support/environment.h"

namespace win32 {

namespace {

constexpr int imageNumber = STDERR_FILENO + 1;

class SpawnFiles {
public:
    // `output`: the program's standard output, or negative for none; `image`: what the program finds as imageNumber.
    SpawnFiles(const std::string& directory, int output, int image) {
        posix_spawn_file_actions_init(&actions_);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&actions_, stream, "/dev/null", O_RDWR, 0);
        }
        if (output >= 0) {
            posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        }
        if (image >= 0) {
            posix_spawn_file_actions_adddup2(&actions_, image, imageNumber);
        }
        posix_spawn_file_actions_addclosefrom_np(&actions_, image >= 0 ? imageNumber + 1 : imageNumber);
        if (!directory.empty()) {
            posix_spawn_file_actions_addchdir_np(&actions_, directory.c_str());
        }
    }
    SpawnFiles(const SpawnFiles&) = delete;
    SpawnFiles& operator=(const SpawnFiles&) = delete;
    ~SpawnFiles() { posix_spawn_file_actions_destroy(&actions_); }

    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

class SpawnAttributes {
public:
    SpawnAttributes() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

int spawnFile(const std::string& file, const std::string& name, std::vector<std::string> arguments,
              const SpawnFiles& files, pid_t& child) {
    arguments.insert(arguments.begin(), name);
    const std::vector<std::string> variables = childEnvironment();
    const SpawnAttributes attributes;
    return posix_spawnp(&child, file.c_str(), files.get(), attributes.get(), pointersTo(arguments).data(),
                        pointersTo(variables).data());
}

}  // namespace

int spawn(const std::string& program, std::vector<std::string> arguments, const std::string& directory, int output,
          pid_t& child) {
    return spawnFile(program, program, std::move(arguments), SpawnFiles(directory, output, -1), child);
}

int spawnImage(int image, const std::string& path, std::vector<std::string> arguments, const std::string& directory,
               pid_t& child) {
    // A script's interpreter opens it by this name, too.
    return spawnFile("/proc/self/fd/" + std::to_string(imageNumber), path, std::move(arguments),
                     SpawnFiles(directory, -1, image), child);
}

int SpeakingChild::start(const std::string& program, const std::vector<std::string>& arguments) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return errno;
    }
    output_ = Descriptor(ends[0]);
    const Descriptor childsEnd(ends[1]);
    const int error = spawn(program, arguments, {}, childsEnd.get(), process_);
    if (error != 0) {
        process_ = 0;
    }
    return error;
}

SpeakingChild::~SpeakingChild() {
    if (process_ != 0) {
        kill(-process_, SIGKILL);
        while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

}  // namespace win32
