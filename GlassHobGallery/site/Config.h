#pragma once

// How this gallery runs: from one file of lines "name = value", then from the environment (GLASSHOB_GALLERY_PORT and so
// on), then from the command line, each over the one before. A plain value.

#include <cstdint>
#include <map>
#include <string>

namespace glasshob::gallery {

struct Config {
    // What to listen at.
    std::string address = "127.0.0.1";
    std::uint16_t port = 8080;
    // The folder that holds everything: the database and the media.
    std::string data = "gallery-data";
    // How people reach it, without a slash at the end. Empty: http://localhost and the port.
    std::string url;
    // Whether a proxy of ours stands in front, whose X-Forwarded-For is believed.
    bool isBehindProxy = false;
    // The file that /app/latest.json gives; empty for none.
    std::string feed;
    // Where people get the program.
    std::string get;

    // Changes what the names say. Throws std::runtime_error with a sentence about a name or a value that makes no
    // sense.
    void take(const std::map<std::string, std::string>& values);
    void takeFile(const std::string& path);
    void takeEnvironment();
};

} // namespace glasshob::gallery
