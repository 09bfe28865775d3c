#pragma once

// Frames as numbered PNG files, written by several threads at the same time: 8 bits a channel, tagged sRGB, no alpha.
// They are made in a hidden folder inside the one where they shall stand and move out of it together at the end, so
// that files which were there before are untouched until then. Given up, nothing is left, not even the folder when it
// was made for them.

#include "GlassHobRender/formats/FrameSink.h"

#include <memory>
#include <mutex>
#include <vector>

namespace glasshob {

// Where the files stand and how they are called.
class FrameNames {
  public:
    // A folder with a slash at its end ("frames/": then the files are 00000.png and so on), or a path whose last part
    // has one place for the number, as printf writes it: "frames/sea-%04d.png". Fails with a sentence.
    static std::expected<FrameNames, std::string> parse(const std::string& text);

    // Empty for the current one; a slash at its end otherwise.
    const std::string& folder() const { return folder_; }
    // Without the folder.
    std::string name(std::int64_t number) const;

  private:
    std::string folder_, before_, after_;
    int digits_ = 5;
};

class PngSink : public FrameSink {
  public:
    // Makes the folders, whose parent must be there. Files that are there are replaced, or else in the way.
    static std::expected<std::unique_ptr<PngSink>, std::string> make(FrameNames names, std::int64_t width,
                                                                     std::int64_t height, bool replaces = true);
    ~PngSink() override;
    PngSink(const PngSink&) = delete;
    PngSink& operator=(const PngSink&) = delete;

    unsigned threadCount() const override;
    std::expected<void, ExportError> write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                           const std::stop_token& stop) override;
    std::expected<void, ExportError> finish(const std::stop_token& stop) override;

  private:
    PngSink(FrameNames names, std::int64_t width, std::int64_t height, bool replaces);

    void forgetUnfinished() const;

    FrameNames names_;
    std::int64_t width_, height_;
    bool replaces_;
    std::string unfinished_; // the hidden folder, with a slash at its end; empty when there is none
    bool madeFolder_ = false;
    std::mutex lock_;
    std::vector<std::int64_t> written_;
};

} // namespace glasshob
