#include "GlassHobGallery/check/Sandbox.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace glasshob::gallery {
namespace {

// Runs in a process without rights; its answer is the exit status.
template <class Attempt>
int withoutRights(Attempt attempt) {
    const pid_t child = fork();
    if (child == 0) {
        if (!giveUpRights()) _exit(100);
        _exit(attempt() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 200;
}

TEST(Sandbox, ComputesAndDoesNothingElse) {
    EXPECT_EQ(withoutRights([] { return false; }), 0);
    EXPECT_EQ(withoutRights([] { return std::malloc(1 << 20) == nullptr; }), 0);
    EXPECT_EQ(withoutRights([] { return open("/etc/passwd", O_RDONLY) >= 0; }), 0);
    EXPECT_EQ(withoutRights([] { return open("/tmp/gallery-sandbox", O_CREAT | O_WRONLY, 0600) >= 0; }), 0);
    EXPECT_EQ(withoutRights([] { return socket(AF_INET, SOCK_STREAM, 0) >= 0; }), 0);
    EXPECT_EQ(withoutRights([] { return fork() >= 0; }), 0);
    EXPECT_EQ(withoutRights([] { return access("/etc", F_OK) == 0; }), 0);
    EXPECT_EQ(withoutRights([] { return kill(getppid(), 0) == 0; }), 0);
    EXPECT_EQ(withoutRights([] {
                  return mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
              }),
              0);
    EXPECT_EQ(withoutRights([] {
                  void* page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                  return page == MAP_FAILED || mprotect(page, 4096, PROT_READ | PROT_EXEC) == 0;
              }),
              0);
    EXPECT_EQ(withoutRights([] {
                  char* const arguments[] = {nullptr};
                  execv("/bin/true", arguments);
                  return false; // still here
              }),
              0);
}

} // namespace
} // namespace glasshob::gallery
