#include "GlassHobGallery/tests/TestServer.h"

#include "GlassHobGallery/data/Secrets.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace glasshob::gallery {

namespace {

std::string made(const std::string& arguments, const std::string& ending) {
    const auto path = std::filesystem::temp_directory_path() / (randomText(16, "abcdefghij") + ending);
    if (std::system(("ffmpeg -v error -f lavfi " + arguments + " -y " + path.string()).c_str()) != 0)
        throw std::runtime_error("ffmpeg cannot make what the tests share.");
    std::ifstream file(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), {});
    std::filesystem::remove(path);
    return bytes;
}

} // namespace

const std::string& testLoop() {
    static const std::string bytes = made("-i testsrc=size=320x180:rate=30:duration=0.5 -f lavfi -i sine=duration=0.5 "
                                          "-c:v libx264 -pix_fmt yuv420p -c:a aac -movflags +faststart",
                                          ".mp4");
    return bytes;
}

const std::string& testThumb() {
    static const std::string bytes = made("-i testsrc=size=1200x675 -frames:v 1 -q:v 5", ".jpg");
    return bytes;
}

} // namespace glasshob::gallery
