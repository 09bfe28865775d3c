#include "hob/Hob.h"

#include <csignal>
#include <string>
#include <unistd.h>
#include <vector>

int main(int count, char** words) {
    // A reader that goes away is a failed write, not the end of the program in the middle of its work.
    std::signal(SIGPIPE, SIG_IGN);
    hob::Console console(STDOUT_FILENO, STDERR_FILENO);
    return static_cast<int>(hob::run(std::vector<std::string>(words + 1, words + count), console));
}
