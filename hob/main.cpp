#include "hob/Hob.h"
#include "hob/Memory.h"

#include <csignal>
#include <cstdlib>
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

} // namespace

int main(int count, char** words) {
    // A reader that goes away is a failed write, not the end of the program in the middle of its work.
    std::signal(SIGPIPE, SIG_IGN);
    // So is a file that may not grow any more.
    std::signal(SIGXFSZ, SIG_IGN);
    hob::prepareForLackOfMemory();
    keepDriversQuiet();
    hob::Console console(STDOUT_FILENO, STDERR_FILENO);
    return static_cast<int>(hob::run(std::vector<std::string>(words + 1, words + count), console));
}
