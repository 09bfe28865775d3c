#include "hob/Hob.h"

#include "GlassHobCore/files/PartialFile.h"

#include <csignal>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

// Drivers look for a Wayland desktop when they start, and without the user's runtime folder that search complains on
// standard error. hob opens no window, so there the search is sent to a place where it ends in silence.
void keepDriversQuiet() {
    const char* runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
    if (runtimeFolder == nullptr || runtimeFolder[0] != '/') setenv("WAYLAND_DISPLAY", "/nonexistent", 1);
}

// Memory runs out in whichever thread happens to ask for it, also in a library's.
[[noreturn]] void tellLackOfMemory() {
    std::set_new_handler(nullptr);
    glasshob::UnfinishedPaths::removeAll();
    constexpr std::string_view sentence =
        "\nhob: There is not enough memory for this: choose a smaller size or a shorter stretch, or close other "
        "programs.\n";
    (void)!::write(STDERR_FILENO, sentence.data(), sentence.size());
    _exit(static_cast<int>(hob::ExitStatus::failed));
}

} // namespace

int main(int count, char** words) {
    // A reader that goes away is a failed write, not the end of the program in the middle of its work.
    std::signal(SIGPIPE, SIG_IGN);
    // So is a file that may not grow any more.
    std::signal(SIGXFSZ, SIG_IGN);
    std::set_new_handler(tellLackOfMemory);
    keepDriversQuiet();
    hob::Console console(STDOUT_FILENO, STDERR_FILENO);
    return static_cast<int>(hob::run(std::vector<std::string>(words + 1, words + count), console));
}
