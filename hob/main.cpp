#include "hob/Hob.h"
#include "hob/Memory.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// Drivers look for a Wayland desktop when they start, and without the user's runtime folder that search complains on
// standard error. hob opens no window, so there the search is sent to a place where it ends in silence.
void keepDriversQuiet() {
    const char* runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
    if (runtimeFolder == nullptr || runtimeFolder[0] != '/') setenv("WAYLAND_DISPLAY", "/nonexistent", 1);
}

// Where the caller has closed one of the three, the next file that is opened would take its number, and messages would
// go into a movie. What stands there instead fails as a closed one does.
void keepStandardNumbers() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(number, F_GETFD) == -1)
            (void)open("/dev/null", (number == STDIN_FILENO ? O_WRONLY : O_RDONLY) | O_CLOEXEC);
}

} // namespace

int main(int count, char** words) {
    keepStandardNumbers();
    // A reader that goes away is a failed write, not the end of the program in the middle of its work.
    std::signal(SIGPIPE, SIG_IGN);
    // So is a file that may not grow any more.
    std::signal(SIGXFSZ, SIG_IGN);
    hob::prepareForLackOfMemory();
    keepDriversQuiet();
    hob::Console console(STDOUT_FILENO, STDERR_FILENO);
    return static_cast<int>(hob::run(std::vector<std::string>(words + 1, words + count), console));
}
