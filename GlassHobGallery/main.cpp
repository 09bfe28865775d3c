// The gallery's program: serves, or does one thing to the data of a gallery (a backup, a link for a lost password).

#include "GlassHobGallery/check/UploadCheck.h"
#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Serve.h"
#include "GlassHobGallery/site/Upkeep.h"

#include "GlassHobCore/Identity.h"

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <sys/stat.h>

namespace {

using namespace glasshob;
using namespace glasshob::gallery;

constexpr const char* usage =
    R"(usage: glasshob-gallery [options]                  serve the gallery
       glasshob-gallery [options] backup FOLDER    write a whole copy of the data, while it serves
       glasshob-gallery [options] check            say whether the data are whole: the database and every file
       glasshob-gallery [options] reset-link NAME  print a link with which this person chooses a new password
options: --config FILE   lines "name = value": address, port, data, url, proxy, feed, get
         --address, --port, --data, --url, --proxy, --feed, --get VALUE   over the file and the environment
)";

struct Command {
    Config config;
    std::vector<std::string> words;
};

Command readArguments(int count, char** arguments) {
    Command command;
    std::string file;
    std::map<std::string, std::string> values;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (!argument.starts_with("--")) {
            command.words.push_back(argument);
            continue;
        }
        if (i + 1 == count) throw std::runtime_error("The option " + argument + " needs a value.");
        if (argument == "--config")
            file = arguments[++i];
        else
            values[argument.substr(2)] = arguments[++i];
    }
    if (!file.empty()) command.config.takeFile(file);
    command.config.takeEnvironment();
    command.config.take(values);
    if (command.config.get.empty()) command.config.get = "https://" + std::string(Identity::siteHost) + "/get";
    return command;
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string_view(arguments[1]) == uploadCheckArgument) return runUploadCheck();
    if (count == 2 && (std::string_view(arguments[1]) == "--help" || std::string_view(arguments[1]) == "-h")) {
        std::fputs(usage, stdout);
        return 0;
    }
    try {
        initSecrets();
        umask(077);
        const Command command = readArguments(count, arguments);
        const std::vector<std::string>& words = command.words;
        const std::string what = words.empty() ? "serve" : words[0];
        const std::size_t expected = what == "serve" || what == "check" ? std::min<std::size_t>(words.size(), 1) : 2;
        if (words.size() != expected ||
            (what != "serve" && what != "check" && what != "backup" && what != "reset-link")) {
            std::fputs(usage, stderr);
            return 2;
        }
        if (what != "serve" && !std::filesystem::exists(command.config.data + "/gallery.db"))
            throw std::runtime_error("There is no gallery in " + command.config.data +
                                     ". Name its folder with --data.");
        Data data = openData(command.config.data);
        if (what == "serve") {
            serve(command.config, data);
        } else if (what == "check") {
            const std::vector<std::string> problems = problemsOf(data);
            for (const std::string& problem : problems)
                std::printf("%s\n", problem.c_str());
            if (!problems.empty()) return 1;
            std::printf("The data are whole: the database, and %zu files that it names.\n",
                        data.database->usedMedia().size());
        } else if (what == "backup") {
            backUp(data, words[1]);
        } else {
            const std::string link = resetLink(command.config, data, words[1]);
            if (link.empty()) throw std::runtime_error("Nobody here is called " + words[1] + ".");
            std::printf("%s\n", link.c_str());
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
