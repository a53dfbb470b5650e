// Starting programs.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "linux/support/descriptor.h"

namespace win32 {

// Starts the program (a path, or a name that is searched in PATH) with the arguments behind its name, in a session of
// its own, with no descriptor of ours, /dev/null as its standard streams, default signals, and `directory` as working
// directory if that isn't empty. `output` is its standard output unless it is negative. The caller has to wait for
// `child`. Gives 0 or an error number of errno.
int spawn(const std::string& program, std::vector<std::string> arguments, const std::string& directory, int output,
          pid_t& child);

// The same for the program that `image` is open on, whatever stands at its path by now; `path` is only what it is
// called by. The program keeps that one descriptor.
int spawnImage(int image, const std::string& path, std::vector<std::string> arguments, const std::string& directory,
               pid_t& child);

// A program that is listened to for as long as the object lives, and then ended at once, with all that it started and
// that stayed in its session. Otherwise it is started as above.
class SpeakingChild {
public:
    SpeakingChild() = default;
    SpeakingChild(const SpeakingChild&) = delete;
    SpeakingChild& operator=(const SpeakingChild&) = delete;
    ~SpeakingChild();

    // Once. Gives 0 or an error number of errno.
    int start(const std::string& program, const std::vector<std::string>& arguments);
    // The program's standard output.
    int output() const { return output_.get(); }

private:
    Descriptor output_;
    pid_t process_ = 0;
};

}  // namespace win32
