#include "GlassHobGallery/site/KeptPages.h"

#include "GlassHobGallery/site/Gallery.h"

namespace glasshob::gallery {

namespace {

constexpr std::size_t most = 256;
constexpr std::size_t longestAddress = 512;

} // namespace

KeptPages::State KeptPages::state() {
    return {database_.version(), now()};
}

KeptPages::Ready KeptPages::find(const std::string& address) {
    const std::lock_guard lock(mutex_);
    if (const State now = state(); now != current_) {
        current_ = now;
        pages_.clear();
    }
    const auto found = pages_.find(address);
    return found == pages_.end() ? nullptr : found->second;
}

void KeptPages::keep(const std::string& address, const State& made, const Response& page) {
    if (address.size() > longestAddress) return;
    const std::lock_guard lock(mutex_);
    if (made == current_ && pages_.size() < most) pages_.emplace(address, std::make_shared<const ReadyResponse>(page));
}

} // namespace glasshob::gallery
