#include "GlassHobGallery/site/ShareReceiver.h"

#include "GlassHobCore/site/ShareUpload.h"

namespace glasshob::gallery {

namespace {

// Of the JSON that comes with an upload: all of it is in the source but two texts.
constexpr std::size_t metaLimit = 65536;

} // namespace

ShareReceiver::ShareReceiver(MediaStore* media, std::string_view contentType) : media_(media) {
    if (auto boundary = MultipartReader::boundaryOf(contentType))
        reader_.emplace(*std::move(boundary), static_cast<Receiver&>(*this));
}

void ShareReceiver::take(std::string_view bytes) {
    if (media_ && reader_) reader_->take(bytes);
}

ShareReceiver::Outcome ShareReceiver::outcome() const {
    if (isDiskFull_) return Outcome::diskRefused;
    if (isTooLarge_) return Outcome::tooLarge;
    return reader_ && reader_->isWhole() && hasMeta_ && source_ && loop_ && thumb_ ? Outcome::whole : Outcome::broken;
}

bool ShareReceiver::beginPart(std::string_view name) {
    struct Place {
        std::string_view name;
        std::unique_ptr<MediaStore::Incoming>* file;
        std::size_t limit;
    };
    if (name == "meta" && !hasMeta_) {
        hasMeta_ = true;
        current_ = nullptr;
        limit_ = metaLimit;
        return true;
    }
    for (const Place& place :
         {Place{"source", &source_, ShareUpload::sourceLimit}, Place{"loop", &loop_, ShareUpload::loopLimit},
          Place{"thumb", &thumb_, ShareUpload::thumbLimit}}) {
        if (name != place.name || *place.file) continue;
        try {
            *place.file = media_->begin();
        } catch (const std::exception&) {
            isDiskFull_ = true;
            return false;
        }
        current_ = place.file->get();
        limit_ = place.limit;
        return true;
    }
    return false; // a part that is not known, or comes twice
}

bool ShareReceiver::data(std::string_view bytes) {
    const std::size_t had = current_ ? current_->size() : meta_.size();
    if (had + bytes.size() > limit_) {
        isTooLarge_ = true;
        return false;
    }
    if (!current_)
        meta_ += bytes;
    else if (!current_->write(bytes))
        isDiskFull_ = true;
    return !isDiskFull_;
}

bool ShareReceiver::endPart() {
    return true;
}

} // namespace glasshob::gallery
