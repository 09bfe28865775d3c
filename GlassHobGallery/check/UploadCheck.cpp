#include "GlassHobGallery/check/UploadCheck.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <optional>

namespace glasshob::gallery {

namespace {

constexpr auto longestCheck = std::chrono::seconds(75);
constexpr std::size_t answerLimit = 1'000'000;

UploadFacts undone() {
    UploadFacts facts;
    facts.isUndone = true;
    facts.problem = "The gallery could not look at the upload. Try again later.";
    return facts;
}

UploadFacts factsOf(const QJsonObject& answer) {
    UploadFacts facts;
    facts.problem = answer["problem"].toString().toStdString();
    facts.kind = answer["kind"].toString().toStdString();
    facts.hasSound = answer["sound"].toBool();
    facts.forkedFrom = answer["forkedFrom"].toString().toStdString();
    for (const QJsonValue& tag : answer["tags"].toArray())
        facts.tags.push_back(tag.toString().toStdString());
    facts.params = QJsonDocument(answer["params"].toArray()).toJson(QJsonDocument::Compact).toStdString();
    return facts;
}

// What the process writes until it closes its end; nothing when that takes too long or is too much.
std::optional<std::string> readAll(int from) {
    const auto end = std::chrono::steady_clock::now() + longestCheck;
    std::string all;
    char buffer[4096];
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waiting{from, POLLIN, 0};
        if (left.count() <= 0 || poll(&waiting, 1, int(left.count())) == 0) return {};
        const ssize_t got = read(from, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return all;
        all.append(buffer, std::size_t(got));
        if (all.size() > answerLimit) return {};
    }
}

} // namespace

UploadFacts checkUpload(const UploadFiles& files) {
    int answer[2];
    if (pipe2(answer, O_CLOEXEC) != 0) return undone();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // First out of the way of 3 to 7, where they may be already.
    std::vector<int> copies;
    int target = 3;
    for (const int file : {files.source, files.loop, files.thumb, files.smallLoop, files.smallThumb}) {
        copies.push_back(fcntl(file, F_DUPFD_CLOEXEC, 16));
        posix_spawn_file_actions_adddup2(&actions, copies.back(), target++);
    }
    posix_spawn_file_actions_adddup2(&actions, answer[1], 1);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
#if !__has_feature(address_sanitizer) // whose words about a mistake are what the tests look for
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
#endif
    posix_spawn_file_actions_addclosefrom_np(&actions, 8);
    char name[] = "glasshob-gallery";
    std::string argument = uploadCheckArgument;
    char* const arguments[] = {name, argument.data(), nullptr};
    char locale[] = "LC_ALL=C.UTF-8";
    char* const environment[] = {locale, nullptr};
    pid_t child = 0;
    const int failed = posix_spawn(&child, "/proc/self/exe", &actions, nullptr, arguments, environment);
    posix_spawn_file_actions_destroy(&actions);
    for (const int copy : copies)
        close(copy);
    close(answer[1]);
    const std::optional<std::string> text = failed ? std::nullopt : readAll(answer[0]);
    close(answer[0]);
    if (failed) return undone();
    if (!text) kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && text) {
        const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(*text));
        if (document.isObject()) return factsOf(document.object());
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 3) return undone();
    if (WIFEXITED(status) && WEXITSTATUS(status) == uploadCheckWithoutRoom) {
        UploadFacts facts;
        facts.isWithoutRoom = true;
        return facts;
    }
    // It ran out of time or memory, or fell over what it read.
    UploadFacts facts;
    facts.end = WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                    : "status " + std::to_string(WEXITSTATUS(status));
    facts.problem = "The gallery could not read the upload: the shader, the loop or the thumbnail is too much for it.";
    return facts;
}

} // namespace glasshob::gallery
