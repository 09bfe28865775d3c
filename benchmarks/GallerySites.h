// What the gallery's benchmark runs: galleries with what it puts into them, and nginx with one file. All on free ports
// of this machine, in folders that go with them.
#pragma once

#include "GlassHobGallery/data/Database.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

// A folder that goes with its object, and everything in it.
class Folder {
  public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// A process that is ended with its object. What it says goes where `output` is, or nowhere.
class Process {
  public:
    explicit Process(const std::vector<std::string>& command, int output = -1);
    ~Process();
    Process(const Process&) = delete;
    pid_t id() const { return process_; }

  private:
    pid_t process_ = 0;
};

// The gallery's program on a folder of its own, with one administrator, who is signed in.
class GallerySite {
  public:
    // `fill` puts shaders of that person into the database before the program starts.
    using Fill = void (*)(glasshob::gallery::Database& database, glasshob::gallery::Id person);
    explicit GallerySite(Fill fill = nullptr);

    int port() const { return port_; }
    pid_t process() const { return process_->id(); }
    // Lines of requests of the person's browser and program.
    const std::string& browser() const { return browser_; }
    const std::string& program() const { return program_; }
    const std::filesystem::path& folder() const { return folder_.path(); }

  private:
    Folder folder_;
    std::string browser_, program_;
    int port_ = 0;
    std::unique_ptr<Process> process_;
};

// nginx with one worker that gives these bytes at "/".
class Nginx {
  public:
    explicit Nginx(const std::string& bytes);
    int port() const { return port_; }

  private:
    Folder folder_;
    int port_ = 0;
    std::unique_ptr<Process> process_;
};

// A film of about so many bytes and a picture, made by ffmpeg.
std::string film(const std::string& size, int seconds, int bytes);
std::string picture();

// The body of a share, with this boundary.
std::string shareBody(const std::string& boundary, const std::string& title, const std::string& source,
                      const std::string& loop, const std::string& thumb);

} // namespace bench
