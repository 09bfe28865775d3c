#include "hob/Memory.h"

#include "GlassHobCore/files/PartialFile.h"
#include "hob/Console.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <new>
#include <string_view>
#include <sys/resource.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace hob {

namespace {

constexpr std::uint64_t megabyte = std::uint64_t(1) << 20;

std::optional<std::uint64_t> addressSpaceLimit() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return std::nullopt;
    return std::uint64_t(limit.rlim_cur);
}

// What Mesa's CPU driver needs to draw a small picture: 977 MB were measured with 2 threads, one for each processor,
// and up to 1779 MB with 32; the memory that each thread's allocations begin with is taken where it is there.
std::uint64_t smallestAddressSpace() {
    const std::uint64_t threads = std::clamp(std::thread::hardware_concurrency(), 1U, 32U);
    return (1024 + 16 * threads) * megabyte;
}

[[noreturn]] void endWith(std::string_view sentence) {
    (void)!::write(STDERR_FILENO, sentence.data(), sentence.size());
    _exit(static_cast<int>(ExitStatus::failed));
}

// It runs out in whichever thread happens to ask for it, also in a library's.
[[noreturn]] void tellLackOfMemory() {
    std::set_new_handler(nullptr);
    glasshob::UnfinishedPaths::removeAll();
    endWith("\nhob: There is not enough memory for this: choose a smaller size or a shorter stretch, or close other "
            "programs.\n");
}

[[noreturn]] void tellWhatWasThrown() {
    try {
        if (const std::exception_ptr thrown = std::current_exception()) std::rethrow_exception(thrown);
    } catch (const std::bad_alloc&) {
        tellLackOfMemory();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::resource_unavailable_try_again) {
            glasshob::UnfinishedPaths::removeAll();
            endWith("\nhob: This machine lets hob start no more threads: allow it more memory or processes "
                    "(ulimit -v, ulimit -u), or close other programs.\n");
        }
    } catch (...) {
    }
    std::abort();
}

// Made beforehand, since a signal may do next to nothing. What is unfinished stays for the next export to remove.
char crashSentence[200];

[[noreturn]] void tellCrash(int) {
    endWith(crashSentence);
}

} // namespace

void prepareForLackOfMemory() {
    std::set_new_handler(tellLackOfMemory);
    std::set_terminate(tellWhatWasThrown);
    const auto limit = addressSpaceLimit();
    if (!limit) return;
    std::snprintf(
        crashSentence, sizeof crashSentence,
        "\nhob: The graphics driver has failed, most likely because hob may use only %llu MB of address space "
        "here (ulimit -v): raise the limit.\n",
        static_cast<unsigned long long>(*limit / megabyte));
    for (const int number : {SIGSEGV, SIGBUS, SIGABRT})
        std::signal(number, tellCrash);
}

std::optional<std::string> lackOfAddressSpace() {
    const auto limit = addressSpaceLimit();
    const std::uint64_t least = smallestAddressSpace();
    if (!limit || *limit >= least) return std::nullopt;
    return "hob may use only " + std::to_string(*limit / megabyte) +
           " MB of address space here (ulimit -v), and drawing takes " + std::to_string(least / megabyte) +
           " MB at the least: raise the limit.";
}

} // namespace hob
