// The gallery's program with a fault to order, told by GLASSHOB_FAULT: "kill:place#3" ends it with SIGKILL before the
// third file is placed, "full:place#3" has the disk refuse there, once. It stands on the interfaces of the database and
// the media store; the gallery itself is the same.

#include "GlassHobGallery/check/UploadCheck.h"
#include "GlassHobGallery/data/DiskRefusal.h"
#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/data/SqliteDatabase.h"
#include "GlassHobGallery/site/Serve.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glasshob::gallery {
namespace {

void die() {
    kill(getpid(), SIGKILL);
    pause();
}

// Whether the fault that was ordered is to happen here.
bool isDue(const std::string& name, std::string_view kind) {
    static std::mutex mutex;
    static std::map<std::string, int> counts;
    const std::lock_guard lock(mutex);
    const std::string here = std::string(kind) + name;
    return std::getenv("GLASSHOB_FAULT") == here + "#" + std::to_string(++counts[here]);
}

void point(const std::string& name) {
    if (isDue(name, "kill:")) die();
    if (isDue(name, "full:")) throw DiskRefusal("the fault that was ordered");
}

struct FaultyMedia : MediaStore {
    explicit FaultyMedia(const std::string& folder) : to(openMediaFolder(folder)) {}

    struct File : Incoming {
        explicit File(std::unique_ptr<Incoming> file) : to(std::move(file)) {}
        bool write(std::string_view bytes) override { return !isDue("write", "full:") && to->write(bytes); }
        std::uint64_t size() const override { return to->size(); }
        int file() const override {
            // Once the process that looks at the upload is there.
            if (isDue("check", "kill:"))
                std::thread([] {
                    siginfo_t child{};
                    while (waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) != 0)
                        usleep(100);
                    die();
                }).detach();
            return to->file();
        }
        std::optional<std::string> finish() override {
            if (isDue("finish", "kill:")) die();
            if (isDue("finish", "full:")) return {};
            return to->finish();
        }
        std::unique_ptr<Incoming> to;
    };
    std::unique_ptr<Incoming> begin() override {
        point("begin");
        return std::make_unique<File>(to->begin());
    }
    void place(Incoming& incoming) override {
        point("place");
        to->place(*static_cast<File&>(incoming).to);
        point("placed");
    }
    void remove(std::string_view name) override { to->remove(name); }
    std::optional<MediaStore::File> open(std::string_view name) override { return to->open(name); }
    void eachOlderThan(std::int64_t seconds, const std::function<void(const std::string&)>& call) override {
        to->eachOlderThan(seconds, call);
    }
    std::unique_ptr<MediaStore> to;
};

struct FaultyDatabase : SqliteDatabase {
    using SqliteDatabase::SqliteDatabase;
    void write(const std::function<void()>& changes) override {
        SqliteDatabase::write(changes);
        if (std::exchange(isAdded, false)) point("committed");
    }
    std::int64_t addShader(const Shader& shader) override {
        point("add");
        const std::int64_t number = SqliteDatabase::addShader(shader);
        isAdded = false; // by the write within
        point("added");
        isAdded = true;
        return number;
    }
    static thread_local bool isAdded;
};
thread_local bool FaultyDatabase::isAdded = false;

} // namespace
} // namespace glasshob::gallery

int main(int count, char** arguments) {
    using namespace glasshob::gallery;
    if (count == 2 && std::string_view(arguments[1]) == uploadCheckArgument) return runUploadCheck();
    try {
        initSecrets();
        umask(077);
        Config config;
        for (int i = 1; i + 1 < count; i += 2)
            config.take({{std::string(arguments[i]).substr(2), arguments[i + 1]}});
        Data data{std::make_unique<FaultyDatabase>(config.data + "/gallery.db"),
                  std::make_unique<FaultyMedia>(config.data)};
        serve(config, data);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
