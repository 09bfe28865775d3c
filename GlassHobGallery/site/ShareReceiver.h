#pragma once

// Takes an upload as it comes: its parts go to files beside the media, held to their limits. What is no such upload is
// read and dropped, and remembered as what it was. One thread at a time.

#include "GlassHobGallery/data/MediaStore.h"
#include "GlassHobGallery/http/Http.h"
#include "GlassHobGallery/http/MultipartReader.h"

#include <memory>
#include <optional>
#include <string>

namespace glasshob::gallery {

class ShareReceiver : public BodySink, private MultipartReader::Receiver {
  public:
    // Without a store everything is dropped.
    ShareReceiver(MediaStore* media, std::string_view contentType);

    void take(std::string_view bytes) override;

    enum class Outcome { whole, broken, tooLarge, diskRefused };
    Outcome outcome() const;
    // Of a whole one.
    const std::string& meta() const { return meta_; }
    MediaStore::Incoming& source() { return *source_; }
    MediaStore::Incoming& loop() { return *loop_; }
    MediaStore::Incoming& thumb() { return *thumb_; }

  private:
    bool beginPart(std::string_view name) override;
    bool data(std::string_view bytes) override;
    bool endPart() override;

    MediaStore* media_;
    std::optional<MultipartReader> reader_;
    std::string meta_;
    bool hasMeta_ = false, isTooLarge_ = false, isDiskFull_ = false;
    std::unique_ptr<MediaStore::Incoming> source_, loop_, thumb_;
    // Where the part that is being read goes; null for the meta part.
    MediaStore::Incoming* current_ = nullptr;
    std::size_t limit_ = 0;
};

} // namespace glasshob::gallery
