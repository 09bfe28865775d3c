#include "MSL/source/Arena.h"

#include <algorithm>

namespace msl {

namespace {

constexpr std::size_t firstBlock = std::size_t{64} * 1024;
constexpr std::size_t laterBlock = std::size_t{256} * 1024;
// A unit of work makes about so much.
constexpr std::size_t bytesPerStep = 256;

// What an ordinary shader takes. The address sanitizer sees a use after the arena's end only in memory that is freed.
#if __has_feature(address_sanitizer) || defined(__SANITIZE_ADDRESS__)
constexpr std::size_t mostSpareBlocks = 0;
#else
constexpr std::size_t mostSpareBlocks = 4;
#endif

} // namespace

class Arena::SpareBlocks {
  public:
    static SpareBlocks& ofThisThread() {
        static thread_local SpareBlocks spare;
        return spare;
    }

    ~SpareBlocks() { isOver = true; }

    // Without bytes when there is none of this size.
    Block take(std::size_t size) {
        for (Block& block : blocks_)
            if (block.size == size) {
                std::swap(block, blocks_.back());
                Block taken = std::move(blocks_.back());
                blocks_.pop_back();
                return taken;
            }
        return {};
    }

    void keep(Block& block) {
        if (block.size <= laterBlock && blocks_.size() < mostSpareBlocks) blocks_.push_back(std::move(block));
    }

    // Whether the thread's spare blocks are gone already: arenas of static duration outlive them.
    static inline thread_local bool isOver = false;

  private:
    std::vector<Block> blocks_;
};

Arena::~Arena() {
    if (limit_ != nullptr) limit_->giveBackBytes(reserved_);
    if (SpareBlocks::isOver) return;
    for (Block& block : blocks_)
        SpareBlocks::ofThisThread().keep(block);
}

void Arena::grow(std::size_t atLeast) {
    const std::size_t size = std::max(atLeast, blocks_.empty() ? firstBlock : laterBlock);
    if (limit_ != nullptr && (!limit_->step(size / bytesPerStep) || !limit_->takeBytes(size))) throw std::bad_alloc();
    reserved_ += size;
    Block block = SpareBlocks::isOver ? Block() : SpareBlocks::ofThisThread().take(size);
    if (block.bytes == nullptr) block = {std::unique_ptr<std::byte[]>(new std::byte[size]), size};
    cursor_ = reinterpret_cast<std::uintptr_t>(block.bytes.get());
    end_ = cursor_ + size;
    blocks_.push_back(std::move(block));
}

} // namespace msl
