// How a name stands in the file system: one file a name, in the session's directory or, for "Global\", in the
// machine's shared memory. Each process holds it open once.
//
// - A shared flock for as long as the process has a handle: the name exists while anybody holds one.
// - Byte 0 locked: a thread of that process owns the mutex. Its content is not zero from taking to release; who gets
//   the lock and finds the mark set has inherited it from an owner that ended.
// - Byte 1 locked: the name is being opened or closed.
//
// Nothing is mapped and the content is one byte, so that a stranger who may write the file can at worst keep the
// mutex, or pretend that it was abandoned; the kernel undoes all locks of a process that ends.
#include "win32/mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "linux/kernel/handle.h"
#include "linux/support/directories.h"
#include "linux/support/errno_code.h"
#include "linux/support/name_file.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"

namespace win32 {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int ownerByte = 0;
constexpr int guardByte = 1;
constexpr const char* sharedMemory = "/dev/shm";

bool writeMark(int file, char mark) { return pwrite(file, &mark, 1, ownerByte) == 1; }

bool readMark(int file) {
    char mark = 0;
    return pread(file, &mark, 1, ownerByte) == 1 && mark != 0;
}

// A mutex as this process sees it: which of its threads owns it, and the file that speaks for the process.
class Mutex : public std::enable_shared_from_this<Mutex> {
public:
    Mutex() : Mutex({}, {}) {}
    Mutex(std::string path, Descriptor file) : path_(std::move(path)), file_(std::move(file)) {}
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex();

    DWORD wait(DWORD milliseconds);
    bool release();
    // The calling thread ends.
    void abandon();

private:
    bool claim(std::unique_lock<std::mutex>& lock, DWORD milliseconds, Clock::time_point end);
    DWORD take(DWORD milliseconds, Clock::time_point end);
    void letGo();

    const std::string path_;
    const Descriptor file_;
    std::mutex mutex_;
    std::condition_variable free_;
    std::thread::id owner_;  // set with count_ 0: that thread waits for the other processes
    unsigned long count_ = 0;
    bool abandoned_ = false;  // the mark of a mutex without a file
};

struct Registry {
    std::mutex mutex;
    std::map<std::string, std::weak_ptr<Mutex>> mutexes;  // by path
};

// Never destroyed: handles may be closed by threads that outlive main's statics.
Registry& registry() {
    static auto* const instance = new Registry;
    return *instance;
}

struct ThreadMutexes {
    std::vector<std::weak_ptr<Mutex>> owned;
    ~ThreadMutexes() {
        for (const auto& entry : owned) {
            if (const auto mutex = entry.lock()) {
                mutex->abandon();
            }
        }
    }
};
thread_local ThreadMutexes threadMutexes;

Mutex::~Mutex() {
    if (!file_) {
        return;
    }
    const std::lock_guard lock(registry().mutex);
    const auto entry = registry().mutexes.find(path_);
    if (entry != registry().mutexes.end() && entry->second.expired()) {
        registry().mutexes.erase(entry);
    }
    // The last one removes the file. Without the guard it stays, which is untidy only.
    if (lockByte(file_.get(), guardByte, 1000)) {
        if (flock(file_.get(), LOCK_EX | LOCK_NB) == 0) {
            if (isFileAt(file_.get(), path_)) {
                unlink(path_.c_str());
            }
            flock(file_.get(), LOCK_SH);  // a file that couldn't be removed must not be found locked
        }
        unlockByte(file_.get(), guardByte);
    }
}

DWORD Mutex::wait(DWORD milliseconds) {
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    std::unique_lock lock(mutex_);
    if (owner_ == std::this_thread::get_id()) {
        ++count_;
        return WAIT_OBJECT_0;
    }
    if (!claim(lock, milliseconds, end)) {
        return WAIT_TIMEOUT;
    }
    lock.unlock();
    const DWORD result = take(milliseconds, end);
    lock.lock();
    if (result == WAIT_TIMEOUT || result == WAIT_FAILED) {
        letGo();
        return result;
    }
    count_ = 1;
    std::erase_if(threadMutexes.owned, [](const auto& entry) { return entry.expired(); });
    threadMutexes.owned.push_back(weak_from_this());
    return result;
}

// Among the threads of this process.
bool Mutex::claim(std::unique_lock<std::mutex>& lock, DWORD milliseconds, Clock::time_point end) {
    const auto isFree = [this] { return owner_ == std::thread::id(); };
    if (milliseconds == INFINITE) {
        free_.wait(lock, isFree);
    } else if (!free_.wait_until(lock, end, isFree)) {
        return false;
    }
    owner_ = std::this_thread::get_id();
    return true;
}

// Among the processes.
DWORD Mutex::take(DWORD milliseconds, Clock::time_point end) {
    if (!file_) {
        return std::exchange(abandoned_, false) ? WAIT_ABANDONED : WAIT_OBJECT_0;
    }
    if (milliseconds != INFINITE) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        milliseconds = left > 0 ? static_cast<DWORD>(left) : 0;
    }
    if (!lockByte(file_.get(), ownerByte, milliseconds)) {
        return GetLastError() == WAIT_TIMEOUT ? WAIT_TIMEOUT : WAIT_FAILED;
    }
    const bool inherited = readMark(file_.get());
    if (!inherited && !writeMark(file_.get(), 1)) {
        failWithErrno(errno);
        unlockByte(file_.get(), ownerByte);
        return WAIT_FAILED;
    }
    return inherited ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

bool Mutex::release() {
    const std::lock_guard lock(mutex_);
    if (owner_ != std::this_thread::get_id()) {
        SetLastError(ERROR_NOT_OWNER);
        return false;
    }
    if (--count_ > 0) {
        return true;
    }
    std::erase_if(threadMutexes.owned, [self = weak_from_this()](const auto& entry) {
        return !entry.owner_before(self) && !self.owner_before(entry);
    });
    if (file_) {
        writeMark(file_.get(), 0);
        unlockByte(file_.get(), ownerByte);
    }
    letGo();
    return true;
}

void Mutex::abandon() {
    const std::lock_guard lock(mutex_);
    if (owner_ != std::this_thread::get_id()) {
        return;
    }
    abandoned_ = true;
    if (file_) {
        unlockByte(file_.get(), ownerByte);
    }
    count_ = 0;
    letGo();
}

void Mutex::letGo() {
    owner_ = {};
    free_.notify_one();
}

class MutexHandle final : public Object {
public:
    explicit MutexHandle(std::shared_ptr<Mutex> mutex) : mutex_(std::move(mutex)) {}
    DWORD wait(DWORD milliseconds) override { return mutex_->wait(milliseconds); }
    Mutex& mutex() { return *mutex_; }

private:
    const std::shared_ptr<Mutex> mutex_;
};

// Empty, with the last error set, for a name that can't be.
std::string pathOf(std::u16string_view name) {
    constexpr std::u16string_view global = u"Global\\";
    constexpr std::u16string_view local = u"Local\\";
    const bool isGlobal = name.starts_with(global);
    name.remove_prefix(isGlobal ? global.size() : name.starts_with(local) ? local.size() : 0);
    if (name.find(u'\\') != std::u16string_view::npos) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return {};
    }
    if (name.size() > MAX_PATH) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return {};
    }
    if (isGlobal) {
        return machineDirectory(sharedMemory) + "/zelmo-dockset-mutex-" + fileNameOf(name);
    }
    const std::string directory = sessionDirectory("mutex");
    return directory.empty() ? std::string() : directory + "/" + fileNameOf(name);
}

// Joins those who hold the name; gives whether there was one. The guard is held.
bool joinName(int file, bool& existed) {
    existed = flock(file, LOCK_EX | LOCK_NB) != 0;
    if (!existed && !writeMark(file, 0)) {
        return failWithErrno(errno);
    }
    // An exclusive lock of somebody else's is the last moment of a process that was killed just then.
    for (int tries = 0; flock(file, LOCK_SH | LOCK_NB) != 0; ++tries) {
        if (errno != EWOULDBLOCK || tries == 1000) {
            return failWithErrno(errno == EWOULDBLOCK ? EACCES : errno);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

struct Opened {
    std::shared_ptr<Mutex> mutex;
    bool existed = false;
};

Opened openNamed(std::u16string_view name, bool create, bool initialOwner) {
    const std::string path = pathOf(name);
    if (path.empty()) {
        return {};
    }
    const std::lock_guard lock(registry().mutex);
    if (const auto known = registry().mutexes.find(path); known != registry().mutexes.end()) {
        if (auto mutex = known->second.lock()) {
            return {std::move(mutex), true};
        }
    }
    Descriptor file = openLocked(path, guardByte, create, name.starts_with(u"Global\\") ? 0666 : 0600);
    bool existed = false;
    if (!file || !joinName(file.get(), existed)) {
        return {};
    }
    if (!existed && !create) {
        unlink(path.c_str());
        SetLastError(ERROR_FILE_NOT_FOUND);
        return {};
    }
    const int number = file.get();
    auto mutex = std::make_shared<Mutex>(path, std::move(file));
    registry().mutexes[path] = mutex;
    if (!existed && initialOwner) {
        mutex->wait(0);
    }
    unlockByte(number, guardByte);
    return {std::move(mutex), existed};
}

HANDLE createMutex(bool initialOwner, std::u16string_view name) {
    Opened opened;
    if (name.empty()) {
        opened.mutex = std::make_shared<Mutex>();
        if (initialOwner) {
            opened.mutex->wait(0);
        }
    } else {
        opened = openNamed(name, true, initialOwner);
    }
    if (!opened.mutex) {
        return nullptr;
    }
    const HANDLE handle = openHandle(std::make_shared<MutexHandle>(std::move(opened.mutex)));
    SetLastError(opened.existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

HANDLE openMutex(std::u16string_view name) {
    if (name.empty()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    Opened opened = openNamed(name, false, false);
    return opened.mutex ? openHandle(std::make_shared<MutexHandle>(std::move(opened.mutex))) : nullptr;
}

WideString textOrEmpty(LPCSTR text) { return text == nullptr ? WideString() : toWide(text); }

}  // namespace

}  // namespace win32

HANDLE WINAPI CreateMutexW(LPSECURITY_ATTRIBUTES /*security*/, BOOL initialOwner, LPCWSTR name) {
    WIN32_MAY_FAIL("CreateMutexW", nullptr);
    return win32::createMutex(initialOwner != FALSE, name == nullptr ? std::u16string_view() : name);
}

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES /*security*/, BOOL initialOwner, LPCSTR name) {
    WIN32_MAY_FAIL("CreateMutexA", nullptr);
    return win32::createMutex(initialOwner != FALSE, win32::textOrEmpty(name));
}

HANDLE WINAPI OpenMutexW(DWORD /*access*/, BOOL /*inherit*/, LPCWSTR name) {
    WIN32_MAY_FAIL("OpenMutexW", nullptr);
    if (name == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return win32::openMutex(name);
}

HANDLE WINAPI OpenMutexA(DWORD /*access*/, BOOL /*inherit*/, LPCSTR name) {
    WIN32_MAY_FAIL("OpenMutexA", nullptr);
    if (name == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return win32::openMutex(win32::toWide(name));
}

BOOL WINAPI ReleaseMutex(HANDLE mutex) {
    WIN32_MAY_FAIL("ReleaseMutex", FALSE);
    const auto handle = win32::objectAs<win32::MutexHandle>(mutex);
    return handle && handle->mutex().release() ? TRUE : FALSE;
}
