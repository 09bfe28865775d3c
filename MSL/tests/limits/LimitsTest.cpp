// No text makes the compiler crash, run for long or take much memory. Each hostile text is compiled in a process of its
// own whose memory and processor time the system limits, once as a tool would and once as the live picture does.
#include "HostileTexts.h"

#include "MSL/Compiler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace msl {

namespace test {
void PrintTo(const HostileText& text, std::ostream* out) {
    *out << text.name;
}
} // namespace test

namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define IS_SANITIZED 1
#endif
#endif
#ifdef IS_SANITIZED
constexpr bool limitsMemory = false; // the sanitizer's own shadow is far larger
constexpr rlim_t processorSeconds = 60;
#else
constexpr bool limitsMemory = true;
constexpr rlim_t processorSeconds = 4; // of a debug build on a busy machine; 2 are the promise of the release
#endif
constexpr rlim_t memoryLimit = 500U << 20;
#if defined(NDEBUG) && !defined(IS_SANITIZED)
constexpr bool measuresTime = true;
#else
constexpr bool measuresTime = false; // only that it ends
#endif

// What a text may take: alone, and while somebody types.
struct Promise {
    int milliseconds; // CompileOptions::timeLimit
    double seconds;   // of processor time; three times the promise where it is a moment, for a busy machine
    long megabytes;   // beside the text
};
constexpr Promise promises[] = {{0, 2.0, 500}, {250, 0.9, 300}};

struct Outcome {
    int status = 0;
    double seconds = 0; // of processor time
    long kilobytes = 0;
    std::string messages;
};

// The child: noexcept, so that memory that runs out ends it instead of unwinding into the test's own loop.
[[noreturn]] void answerAndLeave(const std::string& text, std::chrono::milliseconds timeLimit, rlim_t memory,
                                 int to) noexcept {
    const auto bound = [](auto what, rlim_t value) {
        const rlimit limit{.rlim_cur = value, .rlim_max = value};
        setrlimit(what, &limit);
    };
    bound(RLIMIT_CORE, 0);
    bound(RLIMIT_CPU, processorSeconds);
    if (limitsMemory) bound(RLIMIT_AS, memory + text.size());
    CompileOptions options;
    options.timeLimit = timeLimit;
    const auto compiled = compile(text, options);
    const std::string answer = compiled ? "" : compiled.error().text.substr(0, 60'000);
    const bool isWritten = write(to, answer.data(), answer.size()) == static_cast<ssize_t>(answer.size());
    _exit(isWritten && (compiled || !answer.empty()) ? 0 : 1);
}

// Compiles in a child process. What it says comes back through a pipe; how it ended through its status.
Outcome compileApart(const std::string& text, std::chrono::milliseconds timeLimit, rlim_t memory = memoryLimit) {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    const pid_t child = fork();
    if (child == 0) answerAndLeave(text, timeLimit, memory, ends[1]);
    close(ends[1]);
    Outcome outcome;
    char buffer[4096];
    for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;)
        outcome.messages.append(buffer, static_cast<std::size_t>(got));
    close(ends[0]);
    rusage usage{};
    wait4(child, &outcome.status, 0, &usage);
    outcome.seconds = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                      double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
    outcome.kilobytes = usage.ru_maxrss;
    return outcome;
}

class Limits : public ::testing::TestWithParam<test::HostileText> {};

TEST_P(Limits, HoldFor) {
    const std::string text = GetParam().make();
    for (const auto& [milliseconds, seconds, megabytes] : promises) {
        const Outcome outcome = compileApart(text, std::chrono::milliseconds(milliseconds));
        EXPECT_TRUE(WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == 0)
            << (WIFSIGNALED(outcome.status) ? strsignal(WTERMSIG(outcome.status)) : "no result") << " after "
            << outcome.seconds << " s and " << outcome.kilobytes / 1024 << " MB";
        EXPECT_THAT(outcome.messages, ::testing::Not(::testing::HasSubstr("internal compiler error")));
        if (measuresTime) EXPECT_LE(outcome.seconds, seconds);
        if (limitsMemory) EXPECT_LE(outcome.kilobytes / 1024, megabytes + long(text.size() >> 20));
        if (milliseconds == 0) EXPECT_THAT(outcome.messages, ::testing::HasSubstr(GetParam().message));
        if (std::getenv("GLASSHOB_MEASURE") != nullptr)
            std::printf("%-50s %3d ms limit: %6.2f s %4ld MB  %s\n", GetParam().name, milliseconds, outcome.seconds,
                        outcome.kilobytes / 1024,
                        outcome.messages.substr(0, outcome.messages.find('\n')).substr(0, 150).c_str());
    }
}

// The system may have less memory than the compiler would take: that is a message too.
TEST(Memory, ThatTheSystemDoesNotHaveIsAMessage) {
    if (!limitsMemory) GTEST_SKIP() << "the sanitizer has its own allocator";
    std::string text = "template <int N> float f() { float s = 0;";
    for (int i = 0; i < 2'000; ++i)
        text += "s += N * s;";
    text += "return s; }\nkernel void k(device float* o [[buffer(0)]]) {\n";
    for (int i = 0; i < 1'000; ++i)
        text += "o[0] = f<" + std::to_string(i) + ">();\n";
    text += "}\n";
    for (const rlim_t megabytes : {30, 50, 80}) {
        const Outcome outcome = compileApart(text, std::chrono::milliseconds(0), megabytes << 20);
        EXPECT_TRUE(WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == 0) << megabytes;
        EXPECT_THAT(outcome.messages, ::testing::HasSubstr("too much memory")) << megabytes;
    }
}

std::string testName(const ::testing::TestParamInfo<test::HostileText>& info) {
    std::string out;
    for (const char c : std::string_view(info.param.name)) {
        if (std::isalnum(static_cast<unsigned char>(c)))
            out += out.empty() || out.back() == '_' ? static_cast<char>(std::toupper(c)) : c;
        else if (c == ' ')
            out += '_';
    }
    std::erase(out, '_');
    return out;
}

INSTANTIATE_TEST_SUITE_P(Compiler, Limits, ::testing::ValuesIn(test::hostileTexts()), testName);

} // namespace
} // namespace msl
